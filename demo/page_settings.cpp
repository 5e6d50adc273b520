// Gallery page "Settings store": one field of every type, bound both to an
// ini set over a copy of a real system file (with added sections whose names
// carry backslashes) and to a registry set with three profiles. Load, Save
// and the profile selector drive the sets; the log shows what the links and
// OnChange hear (a stored change arrives twice); the ini text and the hive
// text sit side by side and are read again from disk after each save.
//
// Everything lives in a temporary directory of the page: the ini copy, and
// the registry (IDE_REGISTRY_DIR points there), so the user's settings are
// never touched.
#include <QComboBox>
#include <QFile>
#include <QFont>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTableWidget>
#include <QTextCursor>
#include <QTemporaryDir>
#include <QVBoxLayout>
#include <memory>
#include <vector>

#include "Gallery.h"
#include "GalleryWidgets.h"
#include "settings/IDERegIniPropSet.h"

using namespace ide;

namespace {

QString Q(const String& s) { return QString::fromStdU16String(s); }
String S(const QString& q) { return q.toStdU16String(); }

const char* TypeName(TPropFieldType t) {
    static const char* names[] = {"ptString", "ptInteger", "ptBoolean", "ptReal",        "ptCurrency",    "ptDate",
                                  "ptTime",   "ptDateTime", "ptEnum",   "ptUnsupported", "ptUserDefined", "ptColor"};
    return names[t];
}

// Adds one field of every stored type to a set; an ini set gets the fields
// under "General\" so they land in a section with a trailing backslash.
std::vector<TPropField*> AddFields(TPropSet& set, const String& prefix) {
    std::vector<TPropField*> out;
    auto add = [&](TPropField* f, const char16_t* name) {
        f->SetFieldName(prefix + name);
        f->SetPropSet(&set);
        out.push_back(f);
    };
    auto* title = new TStringPropField(&set);
    title->FDefault = u"untitled";
    add(title, u"Title");
    auto* size = new TIntegerPropField(&set);
    size->FDefault = 12;
    size->FMinValue = 6;
    size->FMaxValue = 72;
    add(size, u"FontSize");
    auto* ratio = new TFloatPropField(&set);
    ratio->FDefault = 1.5;
    add(ratio, u"LineSpacing");
    auto* wrap = new TBooleanPropField(&set);
    wrap->FDefault = true;
    add(wrap, u"WordWrap");
    auto* mode = new TEnumPropField(&set);
    mode->GetValueNames().AddValue(u"Insert", Variant(0));
    mode->GetValueNames().AddValue(u"Overwrite", Variant(1));
    add(mode, u"TypingMode");
    auto* color = new TColorPropField(&set);
    color->FDefault = 0xFFFFFF;
    add(color, u"Background");
    auto* date = new TDatePropField(&set);
    date->SetDefaultValue(45000);
    add(date, u"InstalledOn");
    auto* time = new TTimePropField(&set);
    time->SetDefaultValue(0.375);
    add(time, u"BackupAt");
    auto* stamp = new TDateTimePropField(&set);
    stamp->SetDefaultValue(45000.5);
    add(stamp, u"LastOpened");
    return out;
}

class SettingsPage : public QWidget {
public:
    explicit SettingsPage(QWidget* parent) : QWidget(parent), FIni(nullptr), FReg(nullptr) {
        ::setenv("IDE_REGISTRY_DIR", qPrintable(FDir.path()), 1);
        THive::ResetAll();
        PrepareIniCopy();
        FIni.SetFileName(S(FDir.filePath("settings.ini")));
        FIni.SetRootName(u"Editor");
        FIniFields = AddFields(FIni, u"General\\");
        FReg.SetKeyPath(u"\\Software\\IDE Gallery\\Editor");
        TStringList profiles;
        profiles.SetCommaText(u"Default,Dark,Light");
        FReg.SetSubKeys(profiles);
        FReg.SetKeyIndex(0);
        FRegFields = AddFields(FReg, u"");
        BuildUi();
        Hook(FIni, FIniFields, "ini");
        Hook(FReg, FRegFields, "registry");

        // A short, fixed session so the page opens with something to show.
        Run("Load", [this] { FIni.LoadPropValues(); FReg.LoadPropValues(); });
        Run("Edit", [this] {
            FIniFields[1]->SetEditText(u"14");
            FRegFields[4]->SetValueName(u"Overwrite");
        });
        Run("Profile", [this] { FReg.SetKeyIndex(1); });
        Run("Edit", [this] { FRegFields[5]->SetEditText(u"clBlack"); });
        Run("Edit", [this] { FRegFields[1]->SetEditText(u"200"); });
        Run("Profile", [this] { FReg.SetKeyIndex(0); });
        Save();
    }

    ~SettingsPage() override { THive::ResetAll(); }

protected:
    void showEvent(QShowEvent* e) override {
        QWidget::showEvent(e);
        ScrollIniToEnd();
    }

private:
    void PrepareIniCopy() {
        // A real ini-like file of the system, with sections added whose
        // names carry backslashes (the settings layer's own layout).
        QByteArray bytes;
        for (const char* path : {"/usr/share/applications/vim.desktop", "/etc/os-release"}) {
            QFile f(path);
            if (f.open(QIODevice::ReadOnly)) {
                bytes = f.readAll();
                break;
            }
        }
        if (!bytes.startsWith('[') && !bytes.contains("\n[")) bytes.prepend("[System]\n");
        if (!bytes.endsWith('\n')) bytes.append('\n');
        bytes.append("\n; added by the gallery: sections with backslashes\n[Editor\\General\\]\nFontSize=11\n"
                     "WordWrap=No\n\n[Editor\\Recent\\Files]\nCount=2\nItem0=main.cpp\nItem1=README.md\n");
        QFile out(FDir.filePath("settings.ini"));
        if (out.open(QIODevice::WriteOnly)) out.write(bytes);
    }

    void BuildUi() {
        auto* top = new QVBoxLayout(this);
        auto* controls = new QHBoxLayout;
        controls->addLayout(gallery::ButtonRow(this, {{"Load", &SettingsPage::Load}, {"Save", &SettingsPage::Save}}));
        controls->addWidget(new QLabel("Registry profile (KeyIndex):"));
        FProfile = new QComboBox;
        FProfile->addItems({"Default", "Dark", "Light"});
        connect(FProfile, &QComboBox::currentIndexChanged, this, [this](int i) {
            Run("Profile", [this, i] { FReg.SetKeyIndex(i); });
        });
        controls->addWidget(FProfile);
        controls->addStretch(1);
        top->addLayout(controls);

        auto* split = new QSplitter(Qt::Vertical);
        auto* upper = new QWidget;
        auto* upperRow = new QHBoxLayout(upper);
        upperRow->setContentsMargins(0, 0, 0, 0);
        FTable = new QTableWidget(static_cast<int>(FIniFields.size()), 4);
        FTable->setHorizontalHeaderLabels({"Field", "Type", "Ini set (Editor\\General\\)", "Registry set (profile)"});
        FTable->verticalHeader()->hide();
        FTable->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
        for (int r = 0; r < FTable->rowCount(); ++r) {
            TPropField* f = FRegFields[static_cast<size_t>(r)];
            auto* name = new QTableWidgetItem(Q(f->GetFieldName()));
            auto* type = new QTableWidgetItem(TypeName(f->GetFieldType()));
            name->setFlags(name->flags() & ~Qt::ItemIsEditable);
            type->setFlags(type->flags() & ~Qt::ItemIsEditable);
            FTable->setItem(r, 0, name);
            FTable->setItem(r, 1, type);
        }
        connect(FTable, &QTableWidget::cellChanged, this, [this](int row, int col) {
            if (FRefreshing || col < 2) return;
            TPropField* f = (col == 2 ? FIniFields : FRegFields)[static_cast<size_t>(row)];
            String text = S(FTable->item(row, col)->text());
            Run("Edit", [f, text] { f->SetEditText(text); });
            Refresh();
        });
        upperRow->addWidget(FTable, 3);
        FLog = gallery::AddEventLog(upperRow);
        split->addWidget(upper);

        auto* texts = new QWidget;
        auto* textRow = new QHBoxLayout(texts);
        textRow->setContentsMargins(0, 0, 0, 0);
        QFont mono("Monospace");
        mono.setStyleHint(QFont::TypeWriter);
        for (auto [label, edit] : {std::pair{"settings.ini (the ini set's file)", &FIniText},
                                   std::pair{"HKEY_CURRENT_USER.reg (the registry hive)", &FHiveText}}) {
            auto* col = new QVBoxLayout;
            col->addWidget(new QLabel(label));
            *edit = new QPlainTextEdit;
            (*edit)->setReadOnly(true);
            (*edit)->setFont(mono);
            (*edit)->setLineWrapMode(QPlainTextEdit::NoWrap);
            col->addWidget(*edit);
            textRow->addLayout(col, 1);
        }
        split->addWidget(texts);
        split->setStretchFactor(0, 3);
        split->setStretchFactor(1, 2);
        top->addWidget(split, 1);
    }

    // Every field's OnChange and a link per field log what they hear.
    void Hook(TPropSet& set, std::vector<TPropField*>& fields, const char* store) {
        for (TPropField* f : fields) {
            QString name = Q(f->GetFieldName()).section('\\', -1);
            f->OnChange = [this, store, name](TPropField*) { Log(QString("%1: OnChange %2").arg(store, name)); };
            auto link = std::make_unique<TFieldPropLink>();
            link->OnDataChange = [this, store, name](TObject*) {
                if (FQuiet) ++FQuietRefreshes;
                else Log(QString("%1: link of %2 refreshes").arg(store, name));
            };
            link->SetFieldName(f->GetFieldName());
            link->SetPropSet(&set);
            FLinks.push_back(std::move(link));
        }
    }

    void Log(const QString& line) { FLog->appendPlainText(line); }

    template <class F>
    void Run(const char* what, F f) {
        Log(QString("-- %1").arg(what));
        // Loads and profile switches refresh every link: counted, not listed.
        FQuiet = std::string(what) == "Load" || std::string(what) == "Profile";
        FQuietRefreshes = 0;
        try {
            f();
        } catch (const std::exception& e) {
            Log(QString("refused: %1").arg(QString::fromUtf8(e.what())));
        }
        if (FQuiet) Log(QString("%1 link refreshes").arg(FQuietRefreshes));
        FQuiet = false;
        Refresh();
    }

    void Load() { Run("Load", [this] { FIni.LoadPropValues(); FReg.LoadPropValues(); }); }

    void Save() {
        Run("Save", [this] { FIni.SavePropValues(); FReg.SavePropValues(); });
        QFile ini(FDir.filePath("settings.ini")), hive(FDir.filePath("HKEY_CURRENT_USER.reg"));
        FIniText->setPlainText(ini.open(QIODevice::ReadOnly) ? QString::fromUtf8(ini.readAll()) : "(no file)");
        FHiveText->setPlainText(hive.open(QIODevice::ReadOnly) ? QString::fromUtf8(hive.readAll()) : "(no file)");
        ScrollIniToEnd();
    }

    // The sections the set writes come last in the copied file: show them.
    void ScrollIniToEnd() {
        FIniText->moveCursor(QTextCursor::End);
        FIniText->ensureCursorVisible();
    }

    void Refresh() {
        if (!FTable) return;
        FRefreshing = true;
        for (int r = 0; r < FTable->rowCount(); ++r)
            for (int c : {2, 3}) {
                TPropField* f = (c == 2 ? FIniFields : FRegFields)[static_cast<size_t>(r)];
                QString text;
                try {
                    text = Q(f->GetDisplayText());
                } catch (const std::exception& e) {
                    text = QString("<%1>").arg(e.what());
                }
                FTable->setItem(r, c, new QTableWidgetItem(text));
            }
        FRefreshing = false;
    }

    QTemporaryDir FDir;
    TIniPropSet FIni;
    TRegistryPropSet FReg;
    std::vector<TPropField*> FIniFields, FRegFields;
    std::vector<std::unique_ptr<TFieldPropLink>> FLinks;
    QTableWidget* FTable = nullptr;
    QPlainTextEdit* FLog = nullptr;
    QPlainTextEdit* FIniText = nullptr;
    QPlainTextEdit* FHiveText = nullptr;
    QComboBox* FProfile = nullptr;
    bool FRefreshing = false;
    bool FQuiet = false;
    int FQuietRefreshes = 0;
};

}  // namespace

static gallery::GalleryPage page(60, "Settings store", [](QWidget* parent) -> QWidget* {
    return new SettingsPage(parent);
});
