// Gallery pages of the item view layer.
//
// "File tree": the tree view over the project's own source tree, read
// lazily (a folder is listed when it is first opened), with file-type icons
// from an image list, toggles for the view's options, Expand all, a box that
// vetoes every change of the focused row, and a log of tree, focus and
// selection events.
//
// "Painters": every alignment of the text painter, clipped text, and both
// orientations of the composite painter, with the rectangles they compute
// outlined.
#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "Gallery.h"
#include "GalleryWidgets.h"
#include "foundation/ExceptionBridge.h"
#include "platform/QtCanvas.h"
#include "views/IDEItemPainters.h"
#include "views/widgets/TreeViewWidget.h"

using namespace ide;

namespace {

enum { icFolder, icOpenFolder, icSource, icHeader, icText, icOther };

// 16 x 16 icons drawn here, so the page looks the same on every machine.
void AddIcons(TImageList& list) {
    auto make = [&](TColor body, TColor edge, bool folder, TColor mark) {
        TBitmap b(16, 16, clFuchsia);
        if (folder) {
            b.Fill(Rect(1, 3, 7, 5), edge);
            b.Fill(Rect(1, 5, 15, 14), edge);
            b.Fill(Rect(2, 6, 14, 13), body);
        } else {
            b.Fill(Rect(3, 1, 13, 15), edge);
            b.Fill(Rect(4, 2, 12, 14), body);
            if (mark != clNone) b.Fill(Rect(5, 5, 11, 11), mark);
        }
        list.AddMasked(b, clFuchsia);
    };
    make(RGBColor(0xF6, 0xD2, 0x6B), RGBColor(0xB8, 0x8A, 0x1C), true, clNone);  // folder
    make(RGBColor(0xFF, 0xE8, 0x9C), RGBColor(0xB8, 0x8A, 0x1C), true, clNone);  // open folder
    make(clWhite, RGBColor(0x40, 0x60, 0xA0), false, RGBColor(0x40, 0x80, 0xE0));  // source
    make(clWhite, RGBColor(0x70, 0x40, 0x90), false, RGBColor(0xA0, 0x60, 0xD0));  // header
    make(clWhite, clGray, false, clSilver);                                       // text
    make(clWhite, clGray, false, clNone);                                         // other
}

int IconFor(const QFileInfo& f) {
    if (f.isDir()) return icFolder;
    QString s = f.suffix();
    if (s == "cpp" || s == "c" || s == "cc") return icSource;
    if (s == "h" || s == "hpp") return icHeader;
    if (s == "md" || s == "txt" || s == "cmake" || f.fileName() == "CMakeLists.txt") return icText;
    return icOther;
}

// A file or folder; a folder lists its entries when first asked.
class TFileNode : public THashObject, public virtual IGraphLocation {
public:
    TFileNode(TFileNode* Parent, QFileInfo Info) : FParent(Parent), FInfo(std::move(Info)) {
        FItem = Make<TTextIndexObject>(FromQString(FInfo.fileName().isEmpty() ? FInfo.absoluteFilePath() : FInfo.fileName()),
                                       IconFor(FInfo));
    }
    IntfRef<IGraphLocation> GetParent() override { return FParent ? Retain<IGraphLocation>(FParent) : nullptr; }
    TTriState HasChildren() override {
        if (!FInfo.isDir()) return tsNo;
        if (!FListed) return tsUnknown;  // not read yet: a box, opened on demand
        return FChildren.empty() ? tsNo : tsYes;
    }
    IntfRef<IInterfaceList> GetChildren() override {
        List();
        auto list = NewInterfaceList();
        for (auto& c : FChildren) list->Add(IntfRef<IInterface>(c));
        return list;
    }
    IntfRef<IInterface> Item() { return FItem; }
    bool Listed() const { return FListed; }

private:
    void List() {
        if (FListed || !FInfo.isDir()) return;
        FListed = true;
        QDir dir(FInfo.absoluteFilePath());
        auto entries = dir.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::DirsFirst | QDir::Name);
        for (const auto& e : entries)
            if (!e.fileName().startsWith('.')) FChildren.push_back(Make<TFileNode>(this, e));
    }
    TFileNode* FParent;
    QFileInfo FInfo;
    bool FListed = false;
    std::vector<IntfRef<TFileNode>> FChildren;
    IntfRef<IInterface> FItem;
};

class TFileModel : public TInterfacedObject, public virtual IGraphModel {
public:
    explicit TFileModel(const QString& Path) : FRoot(Make<TFileNode>(nullptr, QFileInfo(Path))) {}
    IntfRef<IGraphLocation> GetRoot() override { return FRoot; }
    IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& L) override {
        auto* n = dynamic_cast<TFileNode*>(L.get());
        return n ? n->Item() : nullptr;
    }
    IntfRef<IGraphLocation> Find(const IntfRef<IInterface>&) override { return nullptr; }
    void AddModelListener(const IntfRef<IGraphModelListener>&) override {}
    void RemoveModelListener(const IntfRef<IGraphModelListener>&) override {}

private:
    IntfRef<TFileNode> FRoot;
};

// The project's own sources: the folder this page was built from.
QString SourceRoot() {
    QDir d(QStringLiteral(IDE_SOURCE_DIR));
    return d.exists("src") ? d.filePath("src") : QStringLiteral("/usr/include");
}

class TLogListener : public TInterfacedObject, public virtual ITreeListener, public virtual IGraphSelectionListener {
public:
    std::function<void(const QString&)> Log;
    std::function<QString(const IntfRef<IGraphLocation>&)> Name;
    void NodeExpanded(const IntfRef<ITreeEvent>& E) override { Log("NodeExpanded " + Name(E->GetLocation())); }
    void NodeCollapsed(const IntfRef<ITreeEvent>& E) override { Log("NodeCollapsed " + Name(E->GetLocation())); }
    void SelectionItemChanged(const IntfRef<IGraphSelectionEvent>& E) override {
        Log("SelectionItemChanged " + gallery::ChangeCode(E->GetChange() >> 8) + " " + Name(E->GetLocation()));
    }
    void SelectionChanged(const IntfRef<IGraphSelectionEvent>& E) override {
        Log("SelectionChanged, " + QString::number(E->GetSelection()->GetCount()) + " selected");
    }
};

class FileTreePage : public QWidget {
public:
    explicit FileTreePage(QWidget* parent) : QWidget(parent), FImages(16, 16) {
        AddIcons(FImages);
        auto* layout = new QHBoxLayout(this);
        auto* left = new QVBoxLayout;
        left->addWidget(new QLabel("TTreeView2 over " + SourceRoot() + " (folders are read when first opened)"));
        FTree = new TTreeViewWidget;
        TTreeView2& v = FTree->View();
        auto text = Make<TFocusableItemPainter>(Make<TSelectableTextItemPainter>());
        v.SetViewManager(Make<TBasicViewManager>(Make<TCompositeItemPainter>(Make<TImageListItemPainter>(&FImages), text)));
        FModel = Make<TFileModel>(SourceRoot());
        auto listener = Make<TLogListener>();
        listener->Log = [this](const QString& s) { Log(s); };
        listener->Name = [this](const IntfRef<IGraphLocation>& l) { return Name(l); };
        v.AddTreeListener(listener);
        v.AddSelectionListener(listener);
        v.OnSubfocusChanging = [this](TTreeView2&, const IntfRef<IGraphSubfocusEvent>& e) {
            if (FVeto->isChecked()) {
                Log("SubfocusChanging " + Name(e->GetLocation()) + ": vetoed");
                throw EVetoException("The focus stays");
            }
        };
        v.OnSubfocusChanged = [this](TTreeView2&, const IntfRef<IGraphSubfocusEvent>& e) {
            Log("SubfocusChanged " + Name(e->GetLocation()));
        };
        v.SetModel(FModel);
        v.Expand(FModel->GetRoot());
        left->addWidget(FTree, 1);
        auto* toggles = new QHBoxLayout;
        auto toggle = [&](const char* label, bool on, std::function<void(bool)> apply) {
            auto* box = new QCheckBox(label);
            box->setChecked(on);
            connect(box, &QCheckBox::toggled, this, [apply](bool b) { CallGuarded(nullptr, [&] { apply(b); }); });
            toggles->addWidget(box);
            return box;
        };
        toggle("Root lines", true, [this](bool b) { FTree->View().SetShowRootLines(b); });
        toggle("Buttons as arrows", false, [this](bool b) { FTree->View().SetStyle(b ? tvsArrows : tvsPluses); });
        toggle("Show root", true, [this](bool b) { FTree->View().SetShowRoot(b); });
        toggle("Multi-select", true, [this](bool b) { FTree->View().SetMultiSelect(b); });
        FVeto = toggle("Veto focus changes", false, [](bool) {});
        left->addLayout(toggles);
        auto* buttons = new QHBoxLayout;
        auto* expandAll = new QPushButton("Expand all");
        connect(expandAll, &QPushButton::clicked, this, [this] {
            CallGuarded(nullptr, [&] { FTree->View().ExpandAll(FModel->GetRoot()); });
        });
        auto* collapseAll = new QPushButton("Collapse all");
        connect(collapseAll, &QPushButton::clicked, this, [this] {
            CallGuarded(nullptr, [&] { FTree->View().CollapseAll(FModel->GetRoot()); });
        });
        buttons->addWidget(expandAll);
        buttons->addWidget(collapseAll);
        buttons->addStretch(1);
        left->addLayout(buttons);
        layout->addLayout(left, 3);
        FLog = gallery::AddEventLog(layout);
        // A state worth a screenshot: two folders open and a row selected.
        if (auto views = FindChild(FModel->GetRoot(), u"views")) {
            v.Expand(views);
            if (auto widgets = FindChild(views, u"widgets")) v.Expand(widgets);
            if (auto painters = FindChild(views, u"IDEItemPainters.h")) {
                v.AddNotify();
                v.SetSubfocus(painters);
            }
        }
    }

private:
    IntfRef<IGraphLocation> FindChild(const IntfRef<IGraphLocation>& parent, const String& name) {
        auto children = parent->GetChildren();
        for (int i = 0; i < children->GetCount(); ++i) {
            auto l = Supports<IGraphLocation>(children->Get(i));
            if (As<IStringObject>(FModel->Get(l))->GetString() == name) return l;
        }
        return nullptr;
    }
    QString Name(const IntfRef<IGraphLocation>& l) {
        if (!l) return "(none)";
        auto s = Supports<IStringObject>(FModel->Get(l));
        return s ? ToQString(s->GetString()) : "?";
    }
    void Log(const QString& s) {
        if (FLog) FLog->appendPlainText(s);
    }

    TImageList FImages;
    TTreeViewWidget* FTree = nullptr;
    QCheckBox* FVeto = nullptr;
    QPlainTextEdit* FLog = nullptr;
    IntfRef<TFileModel> FModel;
};

// ---------------------------------------------------------------- painters

class PaintersCanvas : public QWidget {
public:
    explicit PaintersCanvas(QWidget* parent) : QWidget(parent) { setMinimumSize(900, 620); }

protected:
    void paintEvent(QPaintEvent*) override {
        CallGuarded(nullptr, [&] {
            QPainter p(this);
            TQtCanvas c(&p, palette());
            AssignQFont(c.Font(), font(), clWindowText);
            c.SetBrushColor(clWindow);
            c.FillRect(Rect(0, 0, width(), height()));
            auto outline = [&](const TRectangle& r, TColor color) {
                c.SetBrushColor(color);
                c.FrameRect(ToRect(r));
            };
            auto caption = [&](int x, int y, const char* s) {
                c.SetBrushStyle(bsClear);
                c.Font().SetColor(clGrayText);
                c.TextOut(x, y, Str(s));
                c.Font().SetColor(clWindowText);
            };
            auto item = Make<TTextObject>(u"Text");
            // Every alignment: three across by three down.
            caption(10, 6, "TTextItemPainter: every alignment (margins 1)");
            TAlignments hs[] = {aLeft, aCenter, aRight};
            TAlignments vs[] = {aTop, aMiddle, aBottom};
            for (int row = 0; row < 3; ++row)
                for (int col = 0; col < 3; ++col) {
                    TRectangle r = Rectangle(10 + col * 130, 26 + row * 50, 120, 42);
                    auto painter = Make<TTextItemPainter>(TAlignment{hs[col], vs[row]});
                    c.SetBrushColor(RGBColor(0xF4, 0xF7, 0xFF));
                    painter->Paint(item, &c, r, {}, nullptr);
                    outline(r, clNavy);
                }
            // Selected, inactive and disabled states.
            caption(430, 6, "Selectable and embossed states");
            struct State {
                const char* Name;
                TItemStates S;
            } states[] = {{"plain", {}}, {"selected", {isSelected}}, {"selected, inactive", {isSelected, isInactive}}, {"disabled", {isDisabled}}};
            for (int i = 0; i < 4; ++i) {
                TRectangle r = Rectangle(430, 26 + i * 30, 200, 24);
                auto painter = Make<TSelectableTextItemPainter>(TAlignment{aLeft, aMiddle}, std::make_unique<TInsets>(4, 1, 1, 1), true);
                c.SetBrushColor(clWindow);
                painter->Paint(Make<TTextObject>(Str(states[i].Name)), &c, r, states[i].S, nullptr);
                outline(r, clSilver);
            }
            // Clipped text at shrinking widths.
            caption(10, 186, "TClippedTextItemPainter: the same text in narrower and narrower rows");
            auto clipped = Make<TClippedTextItemPainter>(TAlignment{aLeft, aMiddle});
            auto longText = Make<TTextObject>(u"A long file name that does not fit.cpp");
            for (int i = 0; i < 6; ++i) {
                TRectangle r = Rectangle(10, 206 + i * 26, 280 - i * 50, 22);
                c.SetBrushColor(RGBColor(0xFF, 0xFB, 0xE8));
                clipped->Paint(longText, &c, r, {}, nullptr);
                outline(r, clMaroon);
            }
            // Composites, both orientations, with the computed rectangles.
            caption(470, 186, "TCompositeItemPainter: image list + text; computed rectangles in red");
            TImageList images(16, 16);
            AddIcons(images);
            auto text = Make<TFocusableItemPainter>(Make<TSelectableTextItemPainter>());
            auto icon = Make<TImageListItemPainter>(&images);
            auto data = Make<TTextIndexObject>(u"IDEItemPainters.cpp", icSource);
            auto horizontal = Make<TCompositeItemPainter>(icon, text, oHorizontal);
            auto vertical = Make<TCompositeItemPainter>(icon, text, oVertical);
            TRectangle hr = Rectangle(470, 206, 300, 40);
            TRectangle vr = Rectangle(470, 262, 300, 70);
            TRectangle vr2 = Rectangle(0, 360, 300, 70);  // at the origin's row: the first rectangle's left is Rect.Top
            for (auto [painter, r, states] : {std::tuple{horizontal, hr, TItemStates{isSelected, isFocused}},
                                              std::tuple{vertical, vr, TItemStates{}},
                                              std::tuple{vertical, vr2, TItemStates{isSelected}}}) {
                TRectangle r1, r2;
                c.SetBrushColor(clWindow);
                painter->Paint(data, &c, r, states, nullptr);
                painter->CalculateRects(data, &c, r, states, nullptr, r1, r2);
                outline(r, clGray);
                outline(r1, clRed);
                outline(r2, clRed);
            }
            caption(310, 440, "<- a vertical composite at (0, 360): its picture's left comes from Rect.Top");
        });
    }
};

class PaintersPage : public QWidget {
public:
    explicit PaintersPage(QWidget* parent) : QWidget(parent) {
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(new PaintersCanvas(this), 1);
    }
};

gallery::GalleryPage fileTreePage(40, "File tree", [](QWidget* parent) { return new FileTreePage(parent); });
gallery::GalleryPage paintersPage(41, "Painters", [](QWidget* parent) { return new PaintersPage(parent); });

}  // namespace
