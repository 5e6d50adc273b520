// Gallery page "Million-node tree": a string tree whose content is computed
// from a hash of each node's path and never stored, with a root count from
// 1k to 16M, optional variable heights, tri-state check boxes, a live panel
// (counts, nodes initialised, cache state, hit-test time, the state-change
// log), sorting, the stream, a move of the selection into a second tree and
// the incremental search modes. The source "Debian packages" shows the
// installed packages of the dpkg status file; a package's files are read
// from its list file when it is expanded.
//
// The first view is fixed: 1M rows scrolled to row 500,000 with one node
// expanded, one of its children checked (so the parent shows the mixed
// state) and a box checked, so the screenshot is the same each time.
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QStringList>
#include <QTextStream>
#include <QTimer>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "Gallery.h"
#include "platform/QtCanvas.h"
#include "vtree/widgets/VirtualTreeWidgets.h"

using namespace ide;

namespace {

// A 32-bit mix of a node's path (its indexes from the top level down).
uint32_t PathHash(TBaseVirtualTree* T, PVirtualNode N, std::string* Label = nullptr) {
    uint32_t idx[8];
    int depth = 0;
    for (PVirtualNode run = N; run && run != T->RootNode() && depth < 8; run = run->Parent) idx[depth++] = run->Index;
    uint32_t h = 2166136261u;
    if (Label) *Label = "Node ";
    for (int i = depth - 1; i >= 0; --i) {
        h = (h ^ idx[i]) * 16777619u;
        h ^= h >> 13;
        if (Label) *Label += std::to_string(idx[i]) + (i ? "." : "");
    }
    return h;
}

const char* const kStateNames[] = {
    "CancelHintAnimation", "ChangePending", "CheckPropagation", "Collapsing", "ToggleFocusedSelection",
    "ClearPending", "ClipboardFlushing", "CopyPending", "CutPending", "DrawSelPending", "DrawSelecting", "Editing",
    "EditPending", "Expanding", "Hint", "InAnimation", "IncrementalSearching", "IncrementalSearchPending",
    "Iterating", "KeyCheckPending", "LeftButtonDown", "LeftDblClick", "MouseCheckPending", "MiddleButtonDown",
    "MiddleDblClick", "NeedScale", "NeedRootCountUpdate", "OLEDragging", "OLEDragPending", "Painting",
    "RightButtonDown", "RightDblClick", "PopupMenuShown", "Scrolling", "ScrollPending", "Sizing", "StopValidation",
    "StructureChangePending", "SynchMode", "ThumbTracking", "UpdateHiddenChildrenNeeded", "Updating", "UseCache",
    "UserDragObject", "UseThemes", "Validating", "ValidationNeeded", "LATTICEDragging", "LATTICEDragPending",
    "WheelPanning", "WheelScrolling", "WindowCreating"};

QString StateList(TVirtualTreeStates S) {
    QStringList names;
    for (int i = 0; i < tsStateCount; ++i)
        if (S & (TVirtualTreeStates(1) << i)) names << QString("ts") + kStateNames[i];
    return names.join(",");
}

struct TPackage {
    String Name, Version;
    std::vector<String> Files;
    bool Loaded = false;
};

class TMillionPage : public QWidget {
public:
    explicit TMillionPage(QWidget* Parent) : QWidget(Parent) {
        auto* grid = new QGridLayout(this);
        auto* controls = new QHBoxLayout;
        FSource = new QComboBox;
        FSource->addItems({"Computed (hash of the path)", "Debian packages"});
        FCount = new QComboBox;
        for (const char* c : {"1,000", "100,000", "1,000,000", "16,000,000"}) FCount->addItem(c);
        FCount->setCurrentIndex(2);
        FVariable = new QCheckBox("Variable heights");
        FSearch = new QComboBox;
        FSearch->addItems({"Search: all nodes", "Search: off", "Search: initialised only", "Search: visible only"});
        controls->addWidget(FSource);
        controls->addWidget(new QLabel("Roots:"));
        controls->addWidget(FCount);
        controls->addWidget(FVariable);
        controls->addWidget(FSearch);
        controls->addStretch(1);
        grid->addLayout(controls, 0, 0, 1, 2);

        auto* buttons = new QHBoxLayout;
        auto button = [&](const char* text, auto fn) {
            auto* b = new QPushButton(text);
            connect(b, &QPushButton::clicked, this, fn);
            buttons->addWidget(b);
        };
        button("Sort \u25B2", [this] { Sort(sdAscending); });
        button("Sort \u25BC", [this] { Sort(sdDescending); });
        button("Save stream", [this] { Save(); });
        button("Load stream", [this] { Load(); });
        button("Move selection \u2192", [this] { MoveSelection(); });
        button("Hit test bottom row", [this] { HitTest(); });
        buttons->addStretch(1);
        grid->addLayout(buttons, 1, 0, 1, 2);

        FTree = new TVirtualStringTree;
        FTree->SetOptions(FTree->Options() | toCheckSupport | toMultiSelect | toSaveCaptions | toAutoTristateTracking);
        FOther = new TVirtualStringTree;
        FOther->SetOptions(FOther->Options() | toSaveCaptions);
        FOther->OnGetText = [this](TBaseVirtualTree*, PVirtualNode n, TColumnIndex, String& s) {
            auto it = FMoved.find(n);
            if (it != FMoved.end()) s = it->second;
        };
        FOther->OnNewText = [this](TBaseVirtualTree*, PVirtualNode n, TColumnIndex, const String& s) { FMoved[n] = s; };
        FOther->OnFreeNode = [this](TBaseVirtualTree*, PVirtualNode n) { FMoved.erase(n); };
        auto* split = new QSplitter;
        split->addWidget(FTree);
        split->addWidget(FOther);
        split->setStretchFactor(0, 3);
        split->setStretchFactor(1, 1);
        grid->addWidget(split, 2, 0);

        auto* side = new QVBoxLayout;
        FPanel = new QLabel;
        FPanel->setTextFormat(Qt::RichText);
        FPanel->setMinimumWidth(260);
        FStatus = new QLabel("\u2014");
        FStatus->setWordWrap(true);
        FLog = new QPlainTextEdit;
        FLog->setReadOnly(true);
        FLog->setMaximumBlockCount(400);
        side->addWidget(FPanel);
        side->addWidget(FStatus);
        side->addWidget(new QLabel("State changes (OnStateChange)"));
        side->addWidget(FLog, 1);
        grid->addLayout(side, 2, 1);
        grid->setColumnStretch(0, 1);
        grid->setRowStretch(2, 1);

        FTree->OnStateChange = [this](TBaseVirtualTree*, TVirtualTreeStates enter, TVirtualTreeStates leave) {
            // Painting comes and goes with every frame; the rest is worth reading.
            enter &= ~tsPainting;
            leave &= ~tsPainting;
            if (!enter && !leave) return;
            FLog->appendPlainText((enter ? "+" + StateList(enter) : QString()) +
                                  (leave ? " -" + StateList(leave) : QString()));
        };
        connect(FSource, &QComboBox::currentIndexChanged, this, [this] { Rebuild(); });
        connect(FCount, &QComboBox::currentIndexChanged, this, [this] { Rebuild(); });
        connect(FVariable, &QCheckBox::toggled, this, [this] { Rebuild(); });
        connect(FSearch, &QComboBox::currentIndexChanged, this,
                [this](int i) { FTree->SetSearchOption(TVTIncrementalSearch(i)); });
        FTree->SetSearchOption(isAll);
        auto* timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, [this] { UpdatePanel(); });
        timer->start(300);

        Rebuild();
        // The fixed first view.
        FTree->resize(640, 520);
        FTree->SetClientSize(620, 500);
        FTree->UpdateScrollBars(true);
        PVirtualNode row = Child(500000);
        FTree->SetTopNode(row);
        for (PVirtualNode n = Child(500002); n && n->Index < 500020; n = n->NextSibling) {
            FTree->ValidateNode(n, false);
            if (FTree->HasChildren(n)) {
                FTree->ToggleNode(n);
                // One child checked: the parent's box shows the mixed state.
                FTree->SetCheckState(n->FirstChild, csCheckedNormal);
                break;
            }
        }
        FTree->SetCheckState(Child(500001), csCheckedNormal);
        FTree->SetFocusedNode(Child(500003));
        FTree->SetSelected(Child(500003), true);
        FTree->WaitForValidation();
        FLog->clear();
        FLog->appendPlainText("(the log starts after the first view was set up)");
        FBuildMs = -1;  // no timing in the first view: the screenshot stays the same
        UpdatePanel();
    }

    ~TMillionPage() override {
        FTree->OnStateChange = nullptr;
        delete FTree;
        delete FOther;
    }

private:
    PVirtualNode Child(uint32_t Index) {
        PVirtualNode n = FTree->GetFirstNoInit();
        // Root children lie in creation order; step by index from the cache-free chain.
        uint32_t i = 0;
        if (Index > 1000 && FTree->RootNodeCount() > Index) {
            int top = 0;
            n = FTree->GetNodeAt(0, int(Index * FTree->DefaultNodeHeight()), false, top);
            while (n && n->Parent != FTree->RootNode()) n = n->Parent;
            i = n ? n->Index : 0;
        }
        while (n && i < Index) {
            n = n->NextSibling;
            ++i;
        }
        return n;
    }

    void Rebuild() {
        FTree->Clear();
        FTree->SetRootNodeCount(0);
        FPackages.clear();
        const bool packages = FSource->currentIndex() == 1;
        FCount->setEnabled(!packages);
        FTree->SetOptions((FTree->Options() & ~toVariableNodeHeight) | (FVariable->isChecked() ? TVTOptions(toVariableNodeHeight) : TVTOptions(0)));
        if (packages) {
            LoadPackages();
            FTree->OnInitNode = [](TBaseVirtualTree* t, PVirtualNode parent, PVirtualNode n,
                                   TVirtualNodeInitStates& s) {
                if (!parent) s |= ivsHasChildren;
                t->SetCheckType(n, parent ? ctCheckBox : ctTriStateCheckBox);
            };
            FTree->OnInitChildren = [this](TBaseVirtualTree*, PVirtualNode n, uint32_t& count) {
                TPackage& p = FPackages[n->Index];
                if (!p.Loaded) {
                    std::ifstream in("/var/lib/dpkg/info/" + Utf8(p.Name) + ".list");
                    if (!in) in.open("/var/lib/dpkg/info/" + Utf8(p.Name) + ":amd64.list");
                    for (std::string line; std::getline(in, line);) p.Files.push_back(Str(line));
                    p.Loaded = true;
                }
                count = uint32_t(p.Files.size());
            };
            FTree->OnGetText = [this](TBaseVirtualTree* t, PVirtualNode n, TColumnIndex, String& s) {
                if (n->Parent == t->RootNode()) {
                    const TPackage& p = FPackages[n->Index];
                    s = p.Name + u"  " + p.Version;
                } else {
                    s = FPackages[n->Parent->Index].Files[n->Index];
                }
            };
            FTree->SetRootNodeCount(uint32_t(FPackages.size()));
        } else {
            FTree->OnInitNode = [](TBaseVirtualTree* t, PVirtualNode parent, PVirtualNode n, TVirtualNodeInitStates& s) {
                const uint32_t h = PathHash(t, n);
                const bool children = t->GetNodeLevel(n) < 3 && h % 5 == 0;
                if (children) s |= ivsHasChildren;
                t->SetCheckType(n, children ? ctTriStateCheckBox : ctCheckBox);
                (void)parent;
            };
            FTree->OnInitChildren = [](TBaseVirtualTree* t, PVirtualNode n, uint32_t& count) {
                count = 1 + PathHash(t, n) % 12;
            };
            FTree->OnGetText = [](TBaseVirtualTree* t, PVirtualNode n, TColumnIndex, String& s) {
                std::string label;
                PathHash(t, n, &label);
                s = Str(label);
            };
            static const uint32_t counts[] = {1000, 100000, 1000000, 16000000};
            QElapsedTimer timer;
            timer.start();
            FTree->SetRootNodeCount(counts[FCount->currentIndex()]);
            FBuildMs = timer.nsecsElapsed() / 1e6;
        }
        FTree->OnMeasureItem = [](TBaseVirtualTree* t, PVirtualNode n, int& h) { h = 16 + int(PathHash(t, n) % 33); };
        FTree->viewport()->update();
        UpdatePanel();
    }

    void LoadPackages() {
        QFile f("/var/lib/dpkg/status");
        if (!f.open(QIODevice::ReadOnly)) return;
        QTextStream in(&f);
        TPackage current;
        bool installed = false;
        auto flush = [&] {
            if (!current.Name.empty() && installed) FPackages.push_back(current);
            current = TPackage();
            installed = false;
        };
        while (!in.atEnd()) {
            const QString line = in.readLine();
            if (line.isEmpty()) flush();
            else if (line.startsWith("Package: ")) current.Name = FromQString(line.mid(9));
            else if (line.startsWith("Version: ")) current.Version = FromQString(line.mid(9));
            else if (line.startsWith("Status: ")) installed = line.endsWith(" installed");
        }
        flush();
    }

    void UpdatePanel() {
        const char* cache = FTree->InState(tsUseCache)     ? "valid"
                            : FTree->InState(tsValidating) ? "building"
                                                           : "stale";
        FPanel->setText(QString("<b>Root nodes</b> %L1<br><b>Total nodes</b> %L2<br><b>Initialised so far</b> %L3<br>"
                                "<b>Visible</b> %L4<br><b>Cache</b> %5, %6 entries<br><b>Node memory</b> %L7 MB<br>"
                                "<b>Search buffer</b> \"%8\"<br><b>Last hit test</b> %9<br><b>Built in</b> %10 ms")
                            .arg(FTree->RootNodeCount())
                            .arg(FTree->TotalCount())
                            .arg(FTree->InitializedCount())
                            .arg(FTree->VisibleCount())
                            .arg(cache)
                            .arg(FTree->InState(tsUseCache) ? FTree->PositionCache().size() : 0)  // the worker owns it otherwise
                            .arg(qulonglong(FTree->Allocator().ReservedBytes() >> 20))
                            .arg(ToQString(FTree->SearchBuffer()))
                            .arg(FHitTest)
                            .arg(FSource->currentIndex() == 0 && FBuildMs >= 0 ? QString::number(FBuildMs, 'f', 1) : "\u2014"));
    }

    void Sort(TSortDirection Direction) {
        FTree->OnCompareNodes = [](TBaseVirtualTree* t, PVirtualNode a, PVirtualNode b, TColumnIndex, int& r) {
            auto* s = static_cast<TCustomVirtualStringTree*>(t);
            r = s->GetText(a).compare(s->GetText(b));
        };
        QElapsedTimer timer;
        timer.start();
        FTree->Sort(nullptr, -1, Direction, false);
        FStatus->setText(QString("Sorted %L1 top-level nodes in %2 ms").arg(FTree->RootNodeCount()).arg(timer.elapsed()));
        FTree->viewport()->update();
    }

    QString StreamPath() const { return QDir::temp().filePath("million-node-tree.vt"); }

    void Save() {
        QElapsedTimer timer;
        timer.start();
        FTree->SaveToFile(FromQString(StreamPath()));
        FStatus->setText(QString("Saved %L1 bytes in %2 ms to %3")
                             .arg(QFileInfo(StreamPath()).size())
                             .arg(timer.elapsed())
                             .arg(StreamPath()));
    }

    void Load() {
        if (!QFileInfo::exists(StreamPath())) {
            FStatus->setText("Save a stream first.");
            return;
        }
        QElapsedTimer timer;
        timer.start();
        try {
            FTree->LoadFromFile(FromQString(StreamPath()));
            FStatus->setText(QString("Loaded %L1 nodes in %2 ms").arg(FTree->TotalCount()).arg(timer.elapsed()));
        } catch (const Exception& e) {
            FStatus->setText(QString("Load failed: %1").arg(QString::fromUtf8(e.what())));
        }
        FTree->viewport()->update();
    }

    void MoveSelection() {
        const TNodeArray nodes = FTree->GetSortedSelection(true);
        for (PVirtualNode n : nodes) FTree->MoveTo(n, FOther->RootNode(), amAddChildLast, false);
        FStatus->setText(QString("Moved %1 selected node(s) through the stream").arg(nodes.size()));
        FTree->viewport()->update();
        FOther->viewport()->update();
    }

    void HitTest() {
        FTree->WaitForValidation();
        const int y = int(FTree->RangeY()) - 1;
        QElapsedTimer timer;
        timer.start();
        int top = 0;
        PVirtualNode n = nullptr;
        for (int i = 0; i < 1000; ++i) n = FTree->GetNodeAt(0, y, false, top);
        FHitTest = QString("%1 \u00B5s (%2)").arg(timer.nsecsElapsed() / 1e6, 0, 'f', 2).arg(n ? ToQString(FTree->GetText(n)) : "none");
        UpdatePanel();
    }

    TVirtualStringTree* FTree;
    TVirtualStringTree* FOther;
    std::map<PVirtualNode, String> FMoved;
    std::vector<TPackage> FPackages;
    QComboBox *FSource, *FCount, *FSearch;
    QCheckBox* FVariable;
    QLabel *FPanel, *FStatus;
    QPlainTextEdit* FLog;
    QString FHitTest = "\u2014";
    double FBuildMs = 0;
};

gallery::GalleryPage page(60, "Million-node tree", [](QWidget* parent) { return new TMillionPage(parent); });

}  // namespace
