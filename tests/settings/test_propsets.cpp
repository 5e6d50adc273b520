// Sets and links: event dispatch, the disable count and its closing event,
// state changes, field links and their Modified/Updating flags, source
// chains, the designer, values by name, registration and the design-time
// adapters.
#include <gtest/gtest.h>

#include "SettingsTestUtil.h"
#include "settings/IDEPropSet.h"
#include "settings/IDERegIniPropSet.h"

using namespace ide;
using ide::test::MessageOf;

namespace {
// An ini set without a file is a complete in-memory store.
struct Fixture {
    TIniPropSet Set{nullptr};
    TStringPropField* A;
    TIntegerPropField* B;
    Fixture() {
        Set.SetName(u"Prefs");
        A = new TStringPropField(&Set);
        A->SetFieldName(u"A");
        A->SetPropSet(&Set);
        B = new TIntegerPropField(&Set);
        B->SetFieldName(u"B");
        B->SetPropSet(&Set);
    }
};

// A link that logs what it hears.
struct LoggedLink {
    TFieldPropLink Link;
    std::string Log;
    explicit LoggedLink(const char* tag) {
        std::string t = tag;
        Link.OnDataChange = [this, t](TObject*) { Log += t + ".data "; };
        Link.OnUpdateData = [this, t](TObject*) { Log += t + ".update "; };
        Link.OnActiveChange = [this, t](TObject*) { Log += t + ".active "; };
        Link.OnAttributesChange = [this, t](TObject*) { Log += t + ".attr "; };
    }
};
}  // namespace

TEST(PropSets, FieldChangeReachesLinksThenOnChangeAndTheDesigner) {
    Fixture x;
    LoggedLink l1("1"), l2("2");
    l1.Link.SetFieldName(u"A");
    l2.Link.SetFieldName(u"B");
    l1.Link.SetPropSet(&x.Set);
    l2.Link.SetPropSet(&x.Set);
    EXPECT_EQ(l1.Link.GetField(), x.A);
    EXPECT_EQ(l1.Log, "1.data 1.active ");  // resolved (a refresh) then told active
    l1.Log.clear();
    l2.Log.clear();
    std::string changes;
    x.A->OnChange = [&](TPropField*) { changes += "c"; };
    struct Designer : TPropSetDesigner {
        using TPropSetDesigner::TPropSetDesigner;
        std::string Log;
        void DataEvent(TPropEvent e, intptr_t) override { Log += std::to_string(e); }
    };
    auto* d = new Designer(&x.Set);
    x.A->SetEditText(u"new");
    EXPECT_EQ(changes, "cc");              // stored twice: by the store and by Change
    EXPECT_EQ(l1.Log, "1.data 1.data ");   // the field's own link refreshes
    EXPECT_EQ(l2.Log, "");                 // a link of another field doesn't
    EXPECT_EQ(d->Log, "00");
    delete d;
    EXPECT_EQ(x.Set.GetDesigner(), nullptr);
}

TEST(PropSets, TheOpeningCallDecidesTheClosingEventAndNothingIsQueued) {
    Fixture x;
    LoggedLink l("l");
    l.Link.SetFieldName(u"A");
    l.Link.SetPropSet(&x.Set);
    l.Log.clear();
    int changes = 0;
    x.A->OnChange = [&](TPropField*) { ++changes; };
    x.Set.BeginUpdate();
    x.Set.BeginUpdate();
    x.A->SetEditText(u"v");
    x.Set.EndUpdate();
    EXPECT_EQ(l.Log, "");
    x.Set.EndUpdate();
    EXPECT_EQ(l.Log, "l.data ");  // one peRecordChange at the outer end
    EXPECT_EQ(changes, 0);        // events while disabled fire no OnChange
    l.Log.clear();
    x.Set.EndUpdate();  // at zero: nothing
    EXPECT_EQ(l.Log, "");
    x.Set.DisableControls();
    x.Set.BeginUpdate();  // inside: doesn't change the closing event
    x.Set.EndUpdate();
    x.Set.EnableControls();
    EXPECT_EQ(l.Log, "");  // peFieldListChange: field links ignore it
    // SetState goes past the disable count, at once.
    x.Set.BeginUpdate();
    x.Set.SetState(psInactive);
    EXPECT_FALSE(l.Link.GetActive());
    EXPECT_EQ(l.Link.GetField(), nullptr);
    x.Set.EndUpdate();
}

TEST(PropSets, ModifiedEditsAreWrittenBackOnceAndRefusedOnesStayPending) {
    Fixture x;
    LoggedLink mine("m"), other("o");
    String pending = u"typed";
    mine.Link.OnUpdateData = [&](TObject*) { mine.Log += "m.update "; x.B->SetEditText(pending); };
    mine.Link.SetFieldName(u"B");
    other.Link.SetFieldName(u"B");
    mine.Link.SetPropSet(&x.Set);
    other.Link.SetPropSet(&x.Set);
    mine.Log.clear();
    other.Log.clear();
    mine.Link.Modified();
    EXPECT_THROW(mine.Link.UpdateRecord(), Exception);  // "typed" isn't an integer
    EXPECT_TRUE(mine.Link.GetModified());               // pending: the next try writes again
    EXPECT_FALSE(mine.Link.GetUpdating());
    pending = u"42";
    mine.Log.clear();
    mine.Link.UpdateRecord();
    EXPECT_FALSE(mine.Link.GetModified());
    EXPECT_EQ(mine.Log, "m.update ");     // its own change isn't echoed back
    EXPECT_EQ(other.Log, "o.data o.data ");  // the other control on the field refreshes
    // A change of another field leaves a pending edit alone; a record change
    // overwrites it.
    mine.Link.Modified();
    x.A->SetEditText(u"zzz");
    EXPECT_TRUE(mine.Link.GetModified());
    x.Set.DataEvent(peRecordChange, 0);
    EXPECT_FALSE(mine.Link.GetModified());
    // An inactive link loses a pending edit.
    mine.Link.Modified();
    x.Set.SetState(psInactive);
    mine.Log.clear();
    mine.Link.UpdateRecord();
    EXPECT_EQ(mine.Log, "");
    EXPECT_FALSE(mine.Link.GetModified());
}

TEST(PropSets, LinksResolveFieldsByNameWithTheControlInTheMessage) {
    Fixture x;
    TComponent control(nullptr);
    control.SetName(u"Edit1");
    TFieldPropLink withControl;
    withControl.SetControl(&control);
    withControl.SetPropSet(&x.Set);
    EXPECT_EQ(MessageOf<Exception>([&] { withControl.SetFieldName(u"Missing"); }), "Edit1: Field 'Missing' not found");
    withControl.SetPropSet(nullptr);
    TFieldPropLink bare;
    x.Set.SetState(psInactive);
    bare.SetPropSet(&x.Set);
    bare.SetFieldName(u"Missing");  // inactive: nothing resolved yet
    EXPECT_EQ(MessageOf<Exception>([&] { x.Set.SetState(psActive); }), "Field 'Missing' not found");
    // Attributes go only to the link of the control named.
    LoggedLink l("l");
    l.Link.SetControl(&control);
    l.Link.SetPropSet(&x.Set);
    l.Log.clear();
    x.A->UpdateAttributes(&control);
    x.A->SetValueNames(TPropValueNames());  // sends the field itself: no link reacts
    EXPECT_EQ(l.Log, "l.attr ");
    // Focus: the link of the field takes it and clears it for the others.
    int focused = 0;
    l.Link.SetFieldName(u"A");
    l.Link.OnTakeFocus = [&] { ++focused; return true; };
    TFieldPropLink second;
    second.SetFieldName(u"A");
    second.OnTakeFocus = [&] { focused += 10; return true; };
    second.SetPropSet(&x.Set);
    x.A->FocusControl();
    EXPECT_EQ(focused, 1);
}

TEST(PropSets, SourcesForwardAndChainButRefuseThemselves) {
    Fixture x;
    TPropSetSource s1(nullptr), s2(nullptr);
    EXPECT_EQ(MessageOf<Exception>([&] { s1.SetPropSet(&s1); }), "Cannot link a TPropSetSource to itself");
    // Unlinked: inert answers.
    EXPECT_EQ(s1.GetState(), psInactive);
    EXPECT_EQ(s1.GetFieldCount(), 0);
    EXPECT_EQ(s1.GetFieldValuesList(u"A").GetCount(), 0);
    s2.SetPropSet(&s1);
    s1.SetPropSet(&x.Set);
    EXPECT_EQ(s2.GetState(), psActive);
    EXPECT_EQ(s2.FieldByName(u"B"), x.B);
    LoggedLink l("l");
    l.Link.SetFieldName(u"B");
    l.Link.SetPropSet(&s2);
    l.Log.clear();
    int changes = 0;
    x.B->OnChange = [&](TPropField*) { ++changes; };
    x.B->SetValue(Variant(3));
    EXPECT_EQ(l.Log, "l.data l.data ");  // up the chain, both deliveries
    EXPECT_EQ(changes, 6);                // twice at the set and twice at each source
    // Two sources linked to each other aren't refused, but can't loop forever.
    TPropSetSource a(nullptr), b(nullptr);
    a.SetPropSet(&b);
    EXPECT_EQ(MessageOf<Exception>([&] { b.SetPropSet(&a); }), "Property set sources are linked in a cycle");
    EXPECT_EQ(MessageOf<Exception>([&] { a.GetFieldCount(); }), "Property set sources are linked in a cycle");
    a.SetPropSet(nullptr);
    // A source drops a set that is destroyed. (A link on the chain that
    // names a field the new set lacks would raise on the move, as any link.)
    l.Link.SetPropSet(nullptr);
    {
        TIniPropSet gone(nullptr);
        s1.SetPropSet(&gone);
    }
    EXPECT_EQ(s1.GetPropSet(), nullptr);
}

TEST(PropSets, ValuesByNameAreUnfinishedByDesign) {
    Fixture x;
    EXPECT_TRUE(x.Set.GetFieldValue(u"A").IsEmpty());
    Variant v = x.Set.GetFieldValue(u"A; B");
    ASSERT_EQ(v.Type(), varArray);
    EXPECT_EQ(v.AsArray().size(), 2u);
    EXPECT_TRUE(v.AsArray()[0].IsEmpty());
    EXPECT_EQ(MessageOf<Exception>([&] { x.Set.GetFieldValue(u"A;Nope"); }), "Field 'Nope' not found");
    x.Set.SetFieldValue(u"A;B", Variant(1));  // checked, stores nothing
    EXPECT_EQ(Utf8(x.A->GetValue().AsString()), "");
    TStringList names;
    x.Set.GetFieldNames(names);
    EXPECT_EQ(Utf8(names.GetCommaText()), "A,B");
    EXPECT_EQ(&x.Set.GetFieldValuesList(u"a"), &x.A->GetValueNames());
}

TEST(PropSets, RegistrationNeedsTheDesignTimeProcedure) {
    EXPECT_EQ(MessageOf<Exception>([] { RegisterPropFields({&FieldClassOf<TStringPropField>}); }),
              "Invalid Prop Field registration proc");
    size_t got = 0;
    RegisterPropFieldsProc = [&](const std::vector<TPropFieldClass>& c) { got = c.size(); };
    RegisterPropFields({&FieldClassOf<TStringPropField>, &FieldClassOf<TEnumPropField>});
    RegisterPropFieldsProc = nullptr;
    EXPECT_EQ(got, 2u);
}

TEST(PropSets, DesignTimeAdaptersPresentFieldsAsProperties) {
    Fixture x;
    auto* on = new TBooleanPropField(&x.Set);
    on->SetFieldName(u"On");
    on->SetPropSet(&x.Set);
    auto* mode = new TEnumPropField(&x.Set);
    mode->SetFieldName(u"Mode");
    mode->SetPropSet(&x.Set);
    mode->GetValueNames().AddValue(u"Zero", Variant(0));
    mode->GetValueNames().AddValue(u"One", Variant(1));
    mode->GetValueNames().AddValue(u"Ten", Variant(10));
    x.A->SetDisplayLabel(u"Alpha");
    x.A->SetDescription(u"first");

    auto plain = MakePropFieldProperty(x.A);
    EXPECT_EQ(Utf8(plain->GetName()), "Alpha");
    EXPECT_EQ(Utf8(plain->GetDescription()), "first");
    EXPECT_TRUE(plain->GetAttributes().Empty());
    plain->SetValue(u"hello");
    EXPECT_EQ(Utf8(plain->GetValue()), "hello");
    EXPECT_FALSE(As<IPropertyDefaultQuery>(plain)->GetIsDefault());

    auto b = MakePropFieldProperty(on);
    EXPECT_TRUE(b->GetAttributes().Contains(paValueList));
    std::string values;
    b->GetValues([&](const String& s) { values += Utf8(s) + ","; });
    EXPECT_EQ(values, "No,Yes,");
    b->SetValue(u"yes");
    EXPECT_EQ(Utf8(b->GetValue()), "Yes");
    b->SetValue(u"perhaps");  // ignored
    EXPECT_EQ(Utf8(b->GetValue()), "Yes");

    auto e = MakePropFieldProperty(mode);
    EXPECT_EQ(e->GetAttributes().Bits(), TPropertyAttributes({paValueList, paAutoUpdate}).Bits());
    // "Ten" is at position 2, and 2 isn't a value of the field: refused.
    EXPECT_EQ(MessageOf<Exception>([&] { e->SetValue(u"Ten"); }), "Invalid enumeration value");
    EXPECT_EQ(mode->GetValue().AsInteger(), 0);
    e->SetValue(u"One");  // position 1 is also the value 1: they agree
    EXPECT_EQ(Utf8(e->GetValue()), "One");
    String edit;
    EXPECT_TRUE(e->GetEditValue(edit));
    EXPECT_EQ(Utf8(edit), "One");
}
