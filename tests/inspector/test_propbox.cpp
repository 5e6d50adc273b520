// The property list box without a window: divider arithmetic, rows and
// their colours, opening rows, the cycle guard, finding rows, the deferred
// update and the mouse sink.
#include <gtest/gtest.h>

#include "FakeProperty.h"
#include "inspector/PropBox.h"

namespace ide {
namespace {
using namespace test;

// A list box whose rows come from a fixed list of properties.
struct Box : TCustomPropListBox {
    std::vector<IntfRef<IProperty>> Props;
    int Invalidates = 0, Resizes = 0;
    Box() {
        OnGetProperties = [this](TCustomPropListBox*, const TGetPropProc& add) {
            for (auto& p : Props) add(p);
        };
    }
    void Invalidate() override { ++Invalidates; }
    void ResizeControls() override { ++Resizes; }
    std::vector<std::string> Names() const {
        std::vector<std::string> r;
        for (int i = 0; i < Count(); ++i)
            r.push_back(std::string(GetPropItem(i)->ItemLevel(), '.') + Utf8(GetPropItem(i)->GetName()));
        return r;
    }
};

TEST(PropBoxDivider, CalcNewMiddleClampsAndTheLeftLimitWins) {
    Box b;
    b.SetItemHeight(16);
    b.SetClientSize(100, 200);
    EXPECT_EQ(b.CalcNewMiddle(90), 52);
    EXPECT_EQ(b.CalcNewMiddle(10), 32);
    EXPECT_EQ(b.CalcNewMiddle(40), 40);
    b.SetClientSize(60, 200);
    for (int m : {-5, 0, 31, 32, 50, 200}) EXPECT_EQ(b.CalcNewMiddle(m), 32) << m;
}

TEST(PropBoxDivider, FirstSizePlacesItKeepsProportionFromTheRememberedPairWithoutDrift) {
    Box b;
    b.SetItemHeight(16);
    b.SetClientSize(400, 300);
    b.SetControlWidth(400, 0);
    b.SizeChanged();
    EXPECT_EQ(b.Middle(), 400 / 2 - 1 + b.ItemLevelOffset(0));  // with the gutter

    b.SetMiddle(200);
    b.SetClientSize(300, 300);
    b.SetControlWidth(300, 0);
    b.SizeChanged();  // only records the pair (200, 300)
    EXPECT_EQ(b.Middle(), 200);
    b.SetClientSize(150, 300);
    b.SetControlWidth(150, 0);
    b.SizeChanged();  // halved: scaled from the pair
    EXPECT_EQ(b.Middle(), 100);
    b.SetClientSize(100, 300);
    b.SetControlWidth(100, 0);
    b.SizeChanged();
    EXPECT_EQ(b.Middle(), 52);  // 67 scaled, then limited to ClientWidth - 3 * 16
    // Many sizes in a row: each computed from the remembered pair, no drift.
    for (int i = 0; i < 20; ++i) {
        b.SetClientSize(333 + 7 * i, 300);
        b.SetControlWidth(333 + 7 * i, 0);
        b.SizeChanged();
    }
    b.SetClientSize(300, 300);
    b.SetControlWidth(300, 0);
    b.SizeChanged();
    EXPECT_EQ(b.Middle(), 200);
}

TEST(PropBoxDivider, ScrollBarCountsWhileItFitsSoTheDividerStays) {
    Box b;
    b.SetItemHeight(16);
    b.SetShowGutter(false);
    // Without a scroll bar: client 300 of a 300 control.
    b.SetClientSize(300, 300);
    b.SetControlWidth(300, 16);
    b.SizeChanged();
    EXPECT_EQ(b.Middle(), 149);
    Box c;
    c.SetItemHeight(16);
    c.SetShowGutter(false);
    // The scroll bar shows: client 284 of the same control gives the same W.
    c.SetClientSize(284, 300);
    c.SetControlWidth(300, 16);
    c.SizeChanged();
    EXPECT_EQ(c.Middle(), 149);
}

TEST(PropBoxGeometry, SubBoxWidthIndentAndExpandBox) {
    Box b;
    b.SetItemHeight(30);
    EXPECT_EQ(b.GetSubBoxWidth(), 10);
    b.SetTheme({true, false});
    EXPECT_EQ(b.GetSubBoxWidth(), 16);
    b.SetTheme({true, true});
    EXPECT_EQ(b.GetSubBoxWidth(), 18);
    b.SetTheme({});
    EXPECT_EQ(b.ItemLevelOffset(0), 4);
    EXPECT_EQ(b.ItemLevelOffset(2), 24);
    b.SetIndentSecondLevel(false);
    EXPECT_EQ(b.ItemLevelOffset(1), b.ItemLevelOffset(0));
    EXPECT_EQ(b.ItemLevelOffset(2), 14);

    b.SetIndentSecondLevel(true);
    b.Props = {Prop(u"Font", u"", TPropertyAttributes{paSubProperties}), Prop(u"Left", u"3")};
    b.Reset();
    TPropItem* font = b.GetPropItem(0);
    EXPECT_FALSE(font->IsOverExpandBox(5, 0));  // WasExpandable not read yet
    font->Attributes();
    EXPECT_TRUE(font->IsOverExpandBox(3, 999));  // x - 4 = -1
    EXPECT_TRUE(font->IsOverExpandBox(13, 0));
    EXPECT_FALSE(font->IsOverExpandBox(2, 0));
    EXPECT_FALSE(font->IsOverExpandBox(14, 0));
    b.GetPropItem(1)->Attributes();
    EXPECT_FALSE(b.GetPropItem(1)->IsOverExpandBox(5, 0));
}

TEST(PropBoxRows, ResetFillsFromTheEventOrTheSelectionAndFiltersTopLevelOnly) {
    Box b;
    auto font = Prop(u"Font", u"(font)", TPropertyAttributes{paSubProperties});
    font->FChildren = {Prop(u"Name", u"Sans"), Prop(u"Size", u"9")};
    b.Props = {Prop(u"Caption"), font, Prop(u"Name"), nullptr};
    b.Reset();
    EXPECT_EQ(b.Names(), (std::vector<std::string>{"Caption", "Font", "Name"}));
    EXPECT_EQ(b.ItemIndex(), 0);

    b.SetFilter(u"NA");
    EXPECT_EQ(b.Names(), (std::vector<std::string>{"Name"}));
    b.SetFilter(u"fo");
    b.AdjustItem(0);
    // Sub-properties are never filtered.
    EXPECT_EQ(b.Names(), (std::vector<std::string>{"Font", ".Name", ".Size"}));
    b.SetFilter(u"zz");
    EXPECT_EQ(b.Count(), 0);
    EXPECT_EQ(b.ItemIndex(), -1);
    EXPECT_FALSE(b.Populated());
    EXPECT_EQ(b.CurItem(), nullptr);
    EXPECT_EQ(b.GetPropItem(5), nullptr);

    struct Sel : TInterfacedObject, IPropListBoxSelection {
        std::vector<IntfRef<IProperty>> top, subs;
        IntfRef<IProperty> parent;
        int GetCount() override { return static_cast<int>(top.size()); }
        IntfRef<IProperty> GetProperty(int i) override { return top[static_cast<size_t>(i)]; }
        void SelectParent(const IntfRef<IProperty>& p) override { parent = p; }
        IntfRef<IProperty> GetParent() override { return parent; }
        int GetSubCount() override { return parent ? static_cast<int>(subs.size()) : 0; }
        IntfRef<IProperty> GetSubProperty(int i) override { return subs[static_cast<size_t>(i)]; }
    };
    auto sel = Make<Sel>();
    sel->top = {font, Prop(u"Width")};
    sel->subs = {Prop(u"Color")};
    const int ownCalls = font->Count("GetProperties");
    TCustomPropListBox plain;
    plain.SetSelection(sel);
    EXPECT_EQ(plain.Count(), 2);
    plain.AdjustItem(0);
    // The selection's sub-properties, not the property's own.
    EXPECT_TRUE(SameObject(sel->parent, IntfRef<IProperty>(font)));
    ASSERT_EQ(plain.Count(), 3);
    EXPECT_EQ(plain.GetPropItem(1)->GetName(), u"Color");
    EXPECT_EQ(font->Count("GetProperties"), ownCalls);
}

TEST(PropBoxRows, NameColourIsChosenAtInsertion) {
    Box b;
    auto readOnlyInfo = Prop(u"Handle");
    readOnlyInfo->FInfo.HasWriter = false;
    auto displayRO = Prop(u"Shown", u"", TPropertyAttributes{paDisplayReadOnly});
    auto noInfo = Prop(u"Plain");
    noInfo->FHasInfo = false;
    int target = 0;
    auto ref = Prop<TFakeRefProp>(u"Parent", &target);
    ref->FChildren = {Prop(u"Left"), displayRO};
    struct Vis : TFakeProp, IPropertyRefVisibility {
        using TFakeProp::TFakeProp;
        bool ShowReferenceProperty() override { return true; }
    };
    b.Props = {readOnlyInfo, displayRO, noInfo, ref, Prop<Vis>(u"Link")};
    b.Reset();
    EXPECT_EQ(b.GetPropItem(0)->Color(), b.FReadOnlyColor);
    b.FReadOnlyColor = 0x111111;
    b.FPropNameColor = 0x222222;
    b.Reset();
    EXPECT_EQ(b.GetPropItem(0)->Color(), 0x111111);
    EXPECT_EQ(b.GetPropItem(1)->Color(), 0x111111);
    EXPECT_EQ(b.GetPropItem(2)->Color(), 0x222222);
    EXPECT_EQ(b.GetPropItem(3)->Color(), b.FReferenceColor);
    EXPECT_TRUE(b.GetPropItem(3)->Reference());
    EXPECT_EQ(b.GetPropItem(4)->Color(), b.FReferenceColor);
    EXPECT_FALSE(b.GetPropItem(4)->Reference());
    b.AdjustItem(3);
    EXPECT_EQ(b.GetPropItem(4)->Color(), b.FSubPropColor);  // sub-property of a reference
    EXPECT_EQ(b.GetPropItem(5)->Color(), 0x111111);         // display read-only wins
    EXPECT_EQ(b.GetPropItem(4)->GetPath(), u"Parent.Left");
}

TEST(PropBoxRows, OpeningAndClosingInsertsAndFreesChildrenAndKeepsTheCurrentRow) {
    Box b;
    auto font = Prop(u"Font", u"", TPropertyAttributes{paSubProperties});
    auto style = Prop<TFakePathProp>(u"Style", u"", TPropertyAttributes{paSubProperties});
    style->FChildren = {Prop(u"Bold"), Prop(u"Italic")};
    font->FChildren = {Prop(u"Name"), style};
    b.Props = {Prop(u"Caption"), font, Prop(u"Width")};
    b.Reset();
    b.SetItemIndex(2);  // Width
    b.AdjustItem(1);
    EXPECT_EQ(b.Names(), (std::vector<std::string>{"Caption", "Font", ".Name", ".Style", "Width"}));
    EXPECT_EQ(b.CurItem()->GetName(), u"Width");
    EXPECT_EQ(style->FPath, u"Font.Style");
    b.AdjustItem(3);
    EXPECT_EQ(b.Count(), 7);
    EXPECT_TRUE(b.GetPropItem(3)->IsExpanded());
    b.SetItemIndex(5);  // Italic
    b.AdjustItem(1);    // closing Font closes its open descendants too
    EXPECT_EQ(b.Names(), (std::vector<std::string>{"Caption", "Font", "Width"}));
    EXPECT_EQ(b.CurItem()->GetName(), u"Font");
    EXPECT_FALSE(b.GetPropItem(1)->IsExpanded());
    b.AdjustItem(0);   // not expandable: nothing
    b.AdjustItem(17);  // outside: nothing
    EXPECT_EQ(b.Count(), 3);

    bool allow = false;
    b.OnAllowExpansion = [&](TCustomPropListBox*, const IntfRef<IProperty>& p, bool& r) {
        EXPECT_TRUE(SameObject(p, IntfRef<IProperty>(font)));
        r = allow;
    };
    b.AdjustItem(1);
    EXPECT_EQ(b.Count(), 3);
    allow = true;
    b.AdjustItem(1);
    EXPECT_EQ(b.Count(), 5);
}

TEST(PropBoxRows, OpeningNearTheBottomScrollsTheChildrenInWhileTheCurrentRowStays) {
    Box b;
    b.SetItemHeight(10);
    b.SetClientSize(100, 50);  // five rows
    auto last = Prop(u"Zlast", u"", TPropertyAttributes{paSubProperties});
    for (int i = 0; i < 3; ++i) last->FChildren.push_back(Prop(u"c" + String(1, char16_t(u'0' + i))));
    for (int i = 0; i < 7; ++i) b.Props.push_back(Prop(u"p" + String(1, char16_t(u'0' + i))));
    b.Props.push_back(last);
    b.Reset();
    b.SetTopIndex(3);
    b.SetItemIndex(7);
    b.AdjustItem(7);
    // visible = 50 / 10 - 3 - 1 = 1: the row goes to the top, the children under it.
    EXPECT_EQ(b.TopIndex(), 6);
    EXPECT_EQ(b.ItemIndex(), 7);
    EXPECT_GE(b.TopIndex() + 4, 10);
}

TEST(PropBoxRows, ReferenceToAnAncestorsObjectShowsNoExpandBox) {
    Box b;
    int frame = 0, button = 0;
    auto parentOfButton = Prop<TFakeRefProp>(u"parent", &frame);
    auto defaultOfFrame = Prop<TFakeRefProp>(u"defaultWidget", &button);
    auto parentAgain = Prop<TFakeRefProp>(u"parent", &frame);
    auto nilRef = Prop<TFakeRefProp>(u"buddy", nullptr);
    parentOfButton->FChildren = {Prop(u"width"), defaultOfFrame};
    defaultOfFrame->FChildren = {parentAgain};
    parentAgain->FChildren = {Prop(u"never")};
    b.Props = {parentOfButton, nilRef};
    b.Reset();
    EXPECT_FALSE(b.GetPropItem(1)->IsExpandable());  // nil target
    b.AdjustItem(0);
    b.AdjustItem(2);
    ASSERT_EQ(b.Names(), (std::vector<std::string>{"parent", ".width", ".defaultWidget", "..parent", "buddy"}));
    EXPECT_FALSE(b.GetPropItem(3)->IsExpandable());
    EXPECT_TRUE(b.GetPropItem(3)->WasExpandable());  // it has sub-properties; the guard says no
    b.AdjustItem(3);
    EXPECT_EQ(b.Count(), 5);
    EXPECT_EQ(parentAgain->Count("GetProperties"), 0);
}

TEST(PropBoxFind, ByNameByPathAndByPriority) {
    Box b;
    auto font = Prop(u"Font", u"", TPropertyAttributes{paSubProperties});
    font->FChildren = {Prop(u"Style"), Prop(u"Size")};
    b.Props = {Prop(u"Align"), font, Prop(u"Font.Style"), Prop(u"B"), Prop(u"A")};
    b.Reset();
    b.AdjustItem(1);
    // Rows: Align, Font, .Style, .Size, Font.Style (a top-level name with a dot), B, A
    EXPECT_EQ(b.FindItem(u"style"), 2);
    EXPECT_EQ(b.FindItem(u"FONT.STYLE"), 2);  // the level-0 row "Font.Style" never matches a path
    EXPECT_EQ(b.FindItem(u"Nothing"), -1);
    EXPECT_EQ(b.SetSelectedPropertyPath(u"font"), 1);
    EXPECT_EQ(b.SetSelectedPropertyPath(u"Size"), -1);  // level 0 only without a dot
    // With a dot it is a search by that one name: sub-rows never match it,
    // a top-level row named with the dotted text does.
    EXPECT_EQ(b.SetSelectedPropertyPath(u"Font.Size"), -1);
    EXPECT_EQ(b.SetSelectedPropertyPath(u"font.style"), 4);
    EXPECT_EQ(b.ItemIndex(), 4);

    // Names in falling priority: A before B although B comes first.
    EXPECT_EQ(b.SetSelectedProperty({u"A", u"B"}), 6);
    EXPECT_EQ(b.SetSelectedProperty({u"X", u"B"}), 5);
    EXPECT_EQ(b.SetSelectedProperty({u"Align", u"A"}), 0);
    EXPECT_EQ(b.SetSelectedProperty({u"X", u"Y"}), -1);
    EXPECT_EQ(b.ItemIndex(), 0);
}

TEST(PropBoxUpdate, DirtyRequestsCollapseIntoOneQueuedMessage) {
    Box b;
    int posted = 0, updates = 0;
    bool pending = false;
    b.PostUpdateProc = [&] { ++posted, pending = true; };
    b.UpdatePendingProc = [&] { return pending; };
    b.OnUpdateDirtyData = [&](TCustomPropListBox*) { ++updates; };
    for (int i = 0; i < 10; ++i) b.PostUpdateMsg();
    EXPECT_EQ(posted, 1);
    pending = false;
    b.UpdateDirtyData();
    b.PostUpdateMsg();
    EXPECT_EQ(posted, 2);
    EXPECT_EQ(updates, 1);
}

TEST(PropBoxMouseSink, RowTakesTheMouseWithTheRectCutTheOtherWayAndCapturesIt) {
    Box b;
    b.SetItemHeight(16);
    b.SetClientSize(200, 100);
    b.SetMiddle(80);
    auto sink = Prop<TFakeMouseProp>(u"Color");
    b.Props = {Prop(u"A"), sink};
    b.Reset();
    EXPECT_FALSE(b.ItemMouseMove(0, 10, 20));
    EXPECT_EQ(sink->Count("MouseMove"), 1);
    EXPECT_TRUE(sink->LastInName);                     // 10 < 80 + 8
    EXPECT_EQ(sink->LastRect, (TRect{80, 16, 200, 32}));  // in the name: Left becomes the divider
    EXPECT_TRUE(b.ItemMouseDown(mbLeft, 0, 150, 20));
    EXPECT_FALSE(sink->LastInName);
    EXPECT_EQ(sink->LastRect, (TRect{0, 16, 80, 32}));
    EXPECT_TRUE(b.Captured());
    // Captured: moves go to the tracked row even over another one.
    b.ItemMouseMove(0, 150, 2);
    EXPECT_EQ(sink->Count("MouseMove"), 2);
    EXPECT_TRUE(b.ItemMouseUp(mbLeft, 0, 150, 2));
    EXPECT_FALSE(b.Captured());
    b.ItemMouseMove(0, 150, 2);  // row 0 has no sink
    EXPECT_EQ(sink->Count("MouseMove"), 2);
    EXPECT_FALSE(b.ItemMouseDown(mbLeft, 0, 150, 2));
    b.MouseLeave();
    EXPECT_FALSE(b.ItemMouseDown(mbLeft, 0, 150, 20));
}

TEST(PropBoxText, PrefixComparisonFoldsCaseBeyondAscii) {
    EXPECT_TRUE(AnsiStartsText(u"CL", u"clRed"));
    EXPECT_TRUE(AnsiStartsText(u"", u"x"));
    EXPECT_FALSE(AnsiStartsText(u"clRedX", u"clRed"));
    EXPECT_TRUE(AnsiStartsText(u"\u00C4r", u"\u00E4rger"));
    EXPECT_TRUE(AnsiStartsText(u"\u0416", u"\u0436\u0430"));
    EXPECT_FALSE(AnsiStartsText(u"\u0416", u"\u0437"));
}

}  // namespace
}  // namespace ide
