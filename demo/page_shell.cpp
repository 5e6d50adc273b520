// Gallery page "Namespace and changes". Left, a namespace inspector: the
// item list of a path as a hex dump split by item, every cached property
// with its cache flag, and the provider calls of a first and a second look
// (the second is always zero). Right, a live change notifier over a
// temporary folder: the watched folders, raw events coming in, filtered
// batches going out, and buttons that run real bursts.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QThread>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdio>
#include <memory>

#include "Gallery.h"
#include "shellexplorer/IDEVirtualNamespace.h"
#include "shellexplorer/IDEVirtualShellNotifier.h"
#include "shellexplorer/qt/ShellQt.h"

namespace {

using namespace ide;

QString ToQ(const String& S) { return QString::fromUtf16(S.data(), static_cast<qsizetype>(S.size())); }

void Touch(const std::string& Path, const char* Content = "") {
    if (FILE* F = std::fopen(Path.c_str(), "w")) {
        std::fputs(Content, F);
        std::fclose(F);
    }
}

class ShellPage : public QWidget {
public:
    explicit ShellPage(QWidget* Parent) : QWidget(Parent) {
        char Tmpl[] = "/tmp/ide_gallery_shell_XXXXXX";
        Root = mkdtemp(Tmpl) ? Tmpl : "/tmp";
        for (const char* D : {"/Documents", "/Documents/sub", "/Downloads", "/burst", "/.local", "/.local/share",
                              "/.local/share/Trash", "/.local/share/Trash/files", "/.local/share/Trash/info"})
            mkdir((Root + D).c_str(), 0755);
        Touch(Root + "/Documents/report.txt", "quarterly figures\n");
        Touch(Root + "/Documents/photo.png");
        Touch(Root + "/Documents/bad\xff\xfename.txt", "not UTF-8 in its name");
        Touch(Root + "/Documents/.hidden");
        [[maybe_unused]] int R = symlink("sub", (Root + "/Documents/link to sub").c_str());
        TPosixRoots Roots;
        Roots.Home = Root;
        Roots.DataHome = Root + "/.local/share";
        Roots.UserDirs = {{TSpecialFolder::sfDocuments, Root + "/Documents"}, {TSpecialFolder::sfDownloads, Root + "/Downloads"}};
        Provider = std::make_shared<TPosixShellProvider>(Roots, std::make_shared<TQtFileTypeSource>());
        TShellSourcePaths Sources;
        Sources.TrashFolders = {Roots.TrashFiles(), Roots.TrashInfo()};
        Notifier = std::make_unique<TVirtualChangeNotifier>(Provider, Sources);
        Build();
        StartNotifier();
        ShowPath(Root + "/Documents/bad\xff\xfename.txt");
        // Offscreen (the screenshots), run one burst and wait for its batch.
        if (QGuiApplication::platformName() == "offscreen") {
            Burst();
            QElapsedTimer T;
            T.start();
            while (Batches == 0 && T.elapsed() < 4000) QApplication::processEvents(QEventLoop::AllEvents, 20);
        }
    }

    ~ShellPage() override {
        // The producers end (and are joined) before anything they report to.
        Notifier->UnRegisterAllNotify();
        Control.reset();
        Extra.reset();
        Extra2.reset();
        Notifier.reset();
        std::string Cmd = "rm -rf '" + Root + "'";
        [[maybe_unused]] int R = std::system(Cmd.c_str());
    }

private:
    void Build() {
        const QFont Mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        auto* Split = new QSplitter(this);
        auto* Outer = new QHBoxLayout(this);
        Outer->addWidget(Split);

        auto* Left = new QGroupBox("Namespace inspector");
        auto* L = new QVBoxLayout(Left);
        auto* PathRow = new QHBoxLayout;
        PathBox = new QLineEdit;
        PathRow->addWidget(new QLabel("Path"));
        PathRow->addWidget(PathBox, 1);
        L->addLayout(PathRow);
        Folder = new QListWidget;
        Folder->setMaximumHeight(90);
        L->addWidget(Folder);
        L->addWidget(new QLabel("Item list, one item per line: cb · kind · d_type · name bytes"));
        Hex = new QPlainTextEdit;
        Hex->setReadOnly(true);
        Hex->setFont(Mono);
        Hex->setMaximumHeight(95);
        Hex->setLineWrapMode(QPlainTextEdit::NoWrap);
        L->addWidget(Hex);
        Calls = new QLabel;
        L->addWidget(Calls);
        Props = new QTableWidget(0, 3);
        Props->setHorizontalHeaderLabels({"Property", "Value", "Cache flag"});
        Props->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
        Props->verticalHeader()->setDefaultSectionSize(18);
        Props->verticalHeader()->hide();
        L->addWidget(Props, 1);
        Split->addWidget(Left);

        auto* Right = new QGroupBox("Change notifier");
        auto* Rl = new QVBoxLayout(Right);
        auto* Buttons = new QHBoxLayout;
        auto Add = [&](const char* Text, void (ShellPage::*Slot)()) {
            auto* B = new QPushButton(Text);
            connect(B, &QPushButton::clicked, this, [this, Slot] { (this->*Slot)(); });
            Buttons->addWidget(B);
        };
        Add("Create + delete 1,000 files", &ShellPage::Burst);
        Add("Rename across folders", &ShellPage::RenameAcross);
        Add("Move a file to the trash", &ShellPage::Trash);
        Rl->addLayout(Buttons);
        Rl->addWidget(new QLabel("Watched folders"));
        Watched = new QListWidget;
        Watched->setMaximumHeight(70);
        Rl->addWidget(Watched);
        Rl->addWidget(new QLabel("Raw events in, batches out (quiet period 750 ms)"));
        Log = new QPlainTextEdit;
        Log->setReadOnly(true);
        Log->setFont(Mono);
        Rl->addWidget(Log, 1);
        Split->addWidget(Right);
        Split->setSizes({520, 480});

        connect(PathBox, &QLineEdit::returnPressed, this, [this] { ShowPath(PathBox->text().toStdString()); });
        connect(Folder, &QListWidget::currentRowChanged, this, [this](int Row) {
            if (Row >= 0 && Row < static_cast<int>(FolderPaths.size())) ShowPath(FolderPaths[static_cast<size_t>(Row)]);
        });
    }

    void FillFolder(const std::string& Path) {
        auto NS = TNamespace::CreateFromFileName(Provider, Path);
        FolderPaths.clear();
        QSignalBlocker Block(Folder);
        Folder->clear();
        NS->EnumerateFolder(true, true, true, [&](PItemIDList P, TNamespace* Parent, void*, bool&) {
            TNamespace Child(Parent->ProviderRef(), P, Parent);
            std::string ChildPath;
            Provider->PathOf(Child.AbsolutePIDL(), ChildPath);
            FolderPaths.push_back(ChildPath);
            Folder->addItem(ToQ(Child.GetNameInFolder()));
            return true;
        }, nullptr);
    }

    static QString HexDump(PCItemIDList P) {
        QString Out;
        int Index = 0;
        for (PCItemIDList I = P; PIDLItemSize(I) != 0; I += PIDLItemSize(I)) {
            QString Bytes, Text;
            for (int B = 0; B < PIDLItemSize(I); ++B) {
                Bytes += QString::asprintf("%02x ", I[B]);
                Text += (I[B] >= 32 && I[B] < 127) ? QChar(I[B]) : QChar('.');
            }
            Out += QString("item %1 (cb %2): %3| %4\n").arg(++Index).arg(PIDLItemSize(I)).arg(Bytes, Text);
        }
        Out += "terminator: 00 00";
        return Out;
    }

    void ShowPath(const std::string& Path) {
        PathBox->setText(QString::fromUtf8(Path.data(), static_cast<qsizetype>(Path.size())));
        std::unique_ptr<TNamespace> NS;
        try {
            NS = TNamespace::CreateFromFileName(Provider, Path);
        } catch (const Exception& E) {
            Calls->setText(QString::fromUtf8(E.what()));
            return;
        }
        std::string Dir = Path.substr(0, Path.find_last_of('/'));
        if (Folder->count() == 0 || Dir != ShownFolder) {
            ShownFolder = Dir;
            FillFolder(Dir);
        }
        Hex->setPlainText(HexDump(NS->AbsolutePIDL()));
        struct Row {
            const char* Name;
            QString Value;
            int Flag;  // -1: none of its own
        };
        auto Look = [&] {
            std::vector<Row> Rows;
            auto B = [](bool V) { return QString(V ? "true" : "false"); };
            Rows.push_back({"NameInFolder", ToQ(NS->GetNameInFolder()), scInFolderName});
            Rows.push_back({"NameNormal", ToQ(NS->GetNameNormal()), scNormalName});
            Rows.push_back({"NameForParsing", ToQ(NS->GetNameForParsing()), scParsedName});
            Rows.push_back({"Folder", B(NS->GetFolder()), scFolder});
            Rows.push_back({"FileSystem", B(NS->GetFileSystem()), scFileSystem});
            Rows.push_back({"Link", B(NS->GetLink()), scLink});
            Rows.push_back({"CanCopy", B(NS->GetCanCopy()), scCanCopy});
            Rows.push_back({"CanDelete", B(NS->GetCanDelete()), scCanDelete});
            Rows.push_back({"CanRename", B(NS->GetCanRename()), scCanRename});
            Rows.push_back({"Ghosted", B(NS->GetGhosted()), scGhosted});
            Rows.push_back({"FileType", ToQ(NS->GetFileType()), scFileType});
            Rows.push_back({"SizeOfFile", ToQ(NS->GetSizeOfFile()), scFileSize});
            Rows.push_back({"SizeOfFileKB", ToQ(NS->GetSizeOfFileKB()), scFileSizeKB});
            Rows.push_back({"LastWriteTime", ToQ(NS->GetLastWriteTime()), scLastWriteTime});
            Rows.push_back({"CreationTime", ToQ(NS->GetCreationTime()), scCreationTime});
            Rows.push_back({"SmallIcon", QString::fromStdString(Provider->Types().IconName(NS->GetIconIndex(false))),
                            scSmallIcon});
            for (int C = 0; C < NS->DetailsSupportedColumns(); ++C)
                Rows.push_back({nullptr, ToQ(NS->DetailsColumnTitle(C)) + ": " + ToQ(NS->DetailsOf(C)), -2});
            return Rows;
        };
        Provider->ResetCallCount();
        auto Rows = Look();
        uint64_t First = Provider->CallCount();
        Provider->ResetCallCount();
        Look();
        uint64_t Second = Provider->CallCount();
        Calls->setText(QString("Provider calls: first look %1, second look %2").arg(First).arg(Second));
        Props->setRowCount(static_cast<int>(Rows.size()));
        for (int I = 0; I < static_cast<int>(Rows.size()); ++I) {
            const Row& Rw = Rows[static_cast<size_t>(I)];
            QString Flag = Rw.Flag >= 0 ? ((NS->ShellCache().ShellCacheFlags & ScBit(TShellCacheFlag(Rw.Flag))) ? "set" : "clear")
                                        : QString("(column)");
            Props->setItem(I, 0, new QTableWidgetItem(Rw.Name ? Rw.Name : "DetailsOf"));
            Props->setItem(I, 1, new QTableWidgetItem(Rw.Value));
            Props->setItem(I, 2, new QTableWidgetItem(Flag));
        }
    }

    // Everything but last access, which reading a folder would trigger.
    static constexpr TVirtualKernelNotifyEvents Watch = AllKernelNotifyEvents & ~(1 << vkneLastAccess);

    void StartNotifier() {
        InstallChangeNotifierListener(*Notifier, this);
        QPointer<ShellPage> Self(this);
        // Raw events come on the producers' threads: hand them to this one.
        Notifier->OnRawEvent = [Self](const std::string& Source, const std::string& What) {
            QString Line = QString::fromStdString(Source + ": " + What);
            QMetaObject::invokeMethod(qApp, [Self, Line] {
                if (Self) Self->RawLine(Line);
            }, Qt::QueuedConnection);
        };
        Control = std::make_unique<TQtShellChangeControl>(*Notifier);
        Control->OnShellNotify = [this](TVirtualShellEventList& List) { ShowBatch(List); };
        Notifier->RegisterShellChangeNotify(Control.get());
        Notifier->RegisterKernelChangeNotify(Control.get(), Watch);
        Notifier->NotifyWatchFolder(Control.get(), Root + "/burst");
        // Two more watchers, so a move between folders is seen from both ends.
        Extra = std::make_unique<TQtShellChangeControl>(*Notifier);
        Notifier->RegisterKernelChangeNotify(Extra.get(), Watch);
        Notifier->NotifyWatchFolder(Extra.get(), Root + "/Documents");
        Extra2 = std::make_unique<TQtShellChangeControl>(*Notifier);
        Notifier->RegisterKernelChangeNotify(Extra2.get(), Watch);
        Notifier->NotifyWatchFolder(Extra2.get(), Root + "/Downloads");
        QElapsedTimer T;
        T.start();
        while (Notifier->WatchedFolders().size() < 3 && T.elapsed() < 2000) QThread::msleep(5);
        for (const auto& W : Notifier->WatchedFolders()) Watched->addItem(QString::fromStdString(W));
    }

    void RawLine(const QString& Line) {
        // Summed per burst, so the log shows what came in without a line per read.
        if (Line.startsWith("kernel: ") && Line.contains("raw event")) {
            RawPending += Line.mid(8).section(' ', 0, 0).toInt();
            return;
        }
        Log->appendPlainText("in   " + Line);
    }

    void ShowBatch(TVirtualShellEventList& List) {
        ++Batches;
        if (RawPending) Log->appendPlainText(QString("in   kernel: %1 raw inotify events").arg(RawPending));
        RawPending = 0;
        Log->appendPlainText(QString("out  batch %1: %2 event(s)").arg(List.ID()).arg(List.Count()));
        for (int I = 0; I < List.Count(); ++I) {
            const TVirtualShellEvent& E = *List[I];
            std::string Path;
            QString Where = E.FPIDL1 && Provider->PathOf(E.FPIDL1, Path)
                                ? QString::fromStdString(Path.substr(Root.size()))
                                : (E.FPIDL1 ? "(virtual folder)" : "");
            Log->appendPlainText(QString("       %1  %2").arg(VirtualShellNotifyEventToStr(E.FShellNotifyEvent), Where));
        }
    }

    void Burst() {
        Log->appendPlainText("-- create and delete 1,000 files in /burst");
        for (int I = 0; I < 1000; ++I) Touch(Root + "/burst/f" + std::to_string(I));
        for (int I = 0; I < 1000; ++I) unlink((Root + "/burst/f" + std::to_string(I)).c_str());
    }

    void RenameAcross() {
        Log->appendPlainText("-- move report.txt from /Documents to /Downloads and back");
        std::string A = Root + "/Documents/report.txt", B = Root + "/Downloads/report.txt";
        if (std::rename(A.c_str(), B.c_str()) != 0) std::rename(B.c_str(), A.c_str());
    }

    void Trash() {
        Log->appendPlainText("-- move photo.png to the trash");
        std::string From = Root + "/Documents/photo.png";
        std::string Name = "photo-" + std::to_string(++TrashCount) + ".png";
        Touch(Root + "/.local/share/Trash/info/" + Name + ".trashinfo",
              ("[Trash Info]\nPath=" + From + "\nDeletionDate=2026-01-01T00:00:00\n").c_str());
        if (std::rename(From.c_str(), (Root + "/.local/share/Trash/files/" + Name).c_str()) != 0) Touch(From);
        // The library's own verb tells the shell side too.
        TPIDLHolder P(Provider->ParseDisplayName(Root + "/.local/share/Trash/files/" + Name));
        Notifier->PostShellNotifyEvent(vsneCreate, P.Get(), nullptr);
    }

    std::string Root;
    std::string ShownFolder;
    std::vector<std::string> FolderPaths;
    std::shared_ptr<TPosixShellProvider> Provider;
    std::unique_ptr<TVirtualChangeNotifier> Notifier;
    std::unique_ptr<TQtShellChangeControl> Control, Extra, Extra2;
    QLineEdit* PathBox = nullptr;
    QListWidget* Folder = nullptr;
    QPlainTextEdit* Hex = nullptr;
    QLabel* Calls = nullptr;
    QTableWidget* Props = nullptr;
    QListWidget* Watched = nullptr;
    QPlainTextEdit* Log = nullptr;
    int Batches = 0;
    int RawPending = 0;
    int TrashCount = 0;
};

}  // namespace

static gallery::GalleryPage page(80, "Namespace and changes", [](QWidget* parent) -> QWidget* { return new ShellPage(parent); });
