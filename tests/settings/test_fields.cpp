// Fields: the write path, conversion and validation by kind, value names,
// text forms, defaults and definitions, against a set that records every
// store call.
#include <gtest/gtest.h>

#include <map>

#include "SettingsTestUtil.h"
#include "settings/IDEPropSet.h"

using namespace ide;
using ide::test::MessageOf;

namespace {
// A set that keeps values by field and logs reads, writes and events.
class TRecordingSet : public TPropSet {
public:
    explicit TRecordingSet(TComponent* owner = nullptr) : TPropSet(owner) { SetState(psActive); }
    ~TRecordingSet() override {
        Destroying();
        DestroyFields();
    }
    bool GetFieldData(TPropField* f, Variant& v) override {
        Log += "G ";
        auto it = Values.find(f);
        v = it == Values.end() ? f->GetDefaultValue() : it->second;
        return true;
    }
    void SetFieldData(TPropField* f, const Variant& v) override {
        Log += "S ";
        Values[f] = v;
        DataEvent(peFieldChange, reinterpret_cast<intptr_t>(f));
    }
    std::map<TPropField*, Variant> Values;
    std::string Log;

protected:
    void InitFieldDefs() override {
        GetFieldDefs()->Add(u"Name", ptString);
        GetFieldDefs()->Add(u"Count", ptInteger);
        GetFieldDefs()->Add(u"When", ptTime);
        ++InitCalls;
    }
    void StateChanged() override {}

public:
    int InitCalls = 0;
};

template <class T>
T* NewField(TRecordingSet& set, const char16_t* name) {
    auto* f = new T(&set);
    f->SetFieldName(name);
    f->SetPropSet(&set);
    return f;
}
}  // namespace

TEST(Fields, WritePathConvertsValidatesComparesThenStoresAndChangesTwice) {
    TRecordingSet set;
    auto* f = NewField<TIntegerPropField>(set, u"Size");
    int changes = 0;
    f->OnChange = [&](TPropField*) { ++changes; };
    set.Log.clear();
    f->SetEditText(u"12");
    EXPECT_EQ(set.Log, "G S ");
    EXPECT_EQ(set.Values[f].Type(), varInteger);  // text converted before the store
    EXPECT_EQ(changes, 2);                         // the store's event, then Change
    set.Log.clear();
    f->SetValue(Variant(u"12"));  // equal after conversion: no write, no event
    EXPECT_EQ(set.Log, "G ");
    EXPECT_EQ(changes, 2);
    // A refused value touches nothing, not even a read.
    set.Log.clear();
    EXPECT_EQ(MessageOf<Exception>([&] { f->SetEditText(u"abc"); }), "Value must be a valid integer number");
    EXPECT_EQ(set.Log, "");
    // Only text is converted: a double stays a double up to the store.
    f->SetValue(Variant(2.5));
    EXPECT_EQ(set.Values[f].Type(), varDouble);
}

TEST(Fields, AFieldWithoutASetValidatesThenDropsTheValue) {
    auto* f = new TIntegerPropField(nullptr);
    f->FMaxValue = 10;
    EXPECT_TRUE(f->GetValue().IsEmpty());
    EXPECT_NO_THROW(f->SetValue(Variant(5)));
    EXPECT_THROW(f->SetValue(Variant(11)), Exception);
    f->Change();  // nothing to tell
    delete f;
}

TEST(Fields, IntegerRangeCountsOnlyWithANonZeroBoundAndIsNotNormalised) {
    TRecordingSet set;
    auto* f = NewField<TIntegerPropField>(set, u"N");
    EXPECT_NO_THROW(f->SetValue(Variant(-999999)));
    f->FMaxValue = 10;
    EXPECT_NO_THROW(f->SetValue(Variant(0)));
    EXPECT_NO_THROW(f->SetValue(Variant(10)));
    EXPECT_EQ(MessageOf<Exception>([&] { f->SetValue(Variant(11)); }), "Value not in the range 0 to 10");
    EXPECT_THROW(f->SetValue(Variant(-1)), Exception);
    f->FMinValue = 5;
    f->FMaxValue = 0;
    for (int v : {-1, 0, 3, 5, 6}) EXPECT_THROW(f->SetValue(Variant(v)), Exception) << v;
    // The event sees only values that passed the built-in test.
    f->FMinValue = 0;
    f->FMaxValue = 0;
    std::vector<int> seen;
    f->OnValidate = [&](TPropField*, const Variant& v) {
        seen.push_back(v.AsInteger());
        if (v.AsInteger() == 13) throw Exception("unlucky");
    };
    EXPECT_EQ(MessageOf<Exception>([&] { f->SetEditText(u"13"); }), "unlucky");
    EXPECT_EQ(seen, std::vector<int>{13});
}

TEST(Fields, FloatRangePrecisionAndText) {
    TRecordingSet set;
    auto* f = NewField<TFloatPropField>(set, u"Ratio");
    EXPECT_EQ(f->GetAlignment(), taLeftJustify);  // not right-justified by its constructor
    f->SetAlignment(taRightJustify);
    EXPECT_FALSE(f->IsAlignmentStored());  // ...and right-justified isn't streamed
    f->SetMinValue(-1.0);
    EXPECT_TRUE(f->GetCheckRange());
    EXPECT_EQ(MessageOf<Exception>([&] { f->SetValue(Variant(0.5)); }), "Value not in the range -1 to 0");
    f->SetMinValue(0.0);
    EXPECT_FALSE(f->GetCheckRange());
    f->SetMaxValue(0.0);  // the same value: nothing recomputed
    EXPECT_FALSE(f->GetCheckRange());
    f->SetPrecision(1);
    EXPECT_EQ(f->GetPrecision(), 2);
    f->SetPrecision(16);
    EXPECT_EQ(f->GetPrecision(), 15);
    f->SetEditText(u"1234.5");
    EXPECT_EQ(Utf8(f->GetDisplayText()), "1234.5");
    EXPECT_EQ(MessageOf<Exception>([&] { f->SetEditText(u"1,5"); }), "Value must be a valid floating point number");
    f->SetCurrency(true);
    EXPECT_EQ(Utf8(f->GetDisplayText()), "$1,234.50");
    EXPECT_EQ(Utf8(f->GetEditText()), "1234.50");
    f->SetDisplayFormat(u"#,##0.0");
    f->SetEditFormat(u"0.000");
    EXPECT_EQ(Utf8(f->GetDisplayText()), "1,234.5");
    EXPECT_EQ(Utf8(f->GetEditText()), "1234.500");
}

TEST(Fields, ColourValuesAreAlwaysTheirNormalText) {
    TRecordingSet set;
    auto* f = NewField<TColorPropField>(set, u"Back");
    f->FDefault = 0xFF0000;
    EXPECT_EQ(Utf8(f->GetDefaultValue().AsString()), "clBlue");
    f->SetEditText(u"255");
    EXPECT_EQ(Utf8(set.Values[f].AsString()), "clRed");
    f->SetColor(0x123456);
    EXPECT_EQ(Utf8(f->GetDisplayText()), "$00123456");
    EXPECT_EQ(f->GetColor(), 0x123456);
    EXPECT_EQ(MessageOf<Exception>([&] { f->SetEditText(u"pinkish"); }), "Value must be a valid color");
    EXPECT_EQ(f->GetAlignment(), taRightJustify);
    EXPECT_EQ(Utf8(f->GetControlClass()), "TPropColorBox");
}

TEST(Fields, DateTimeFieldsConvertTruncateDefaultsAndFormat) {
    TRecordingSet set;
    auto* d = NewField<TDatePropField>(set, u"Day");
    auto* t = NewField<TTimePropField>(set, u"At");
    auto* dt = NewField<TDateTimePropField>(set, u"Stamp");
    d->SetDefaultValue(45000.75);
    t->SetDefaultValue(45000.75);
    dt->SetDefaultValue(45000.75);
    EXPECT_DOUBLE_EQ(d->GetDefault(), 45000.0);
    EXPECT_DOUBLE_EQ(t->GetDefault(), 0.75);
    EXPECT_DOUBLE_EQ(dt->GetDefault(), 45000.75);
    EXPECT_EQ(Utf8(d->GetDisplayText()), "2023-03-15");
    EXPECT_EQ(Utf8(t->GetDisplayText()), "18:00:00");
    EXPECT_EQ(Utf8(dt->GetDisplayText()), "2023-03-15 18:00:00");
    dt->SetEditText(u"2024-02-29 06:30:00");
    EXPECT_EQ(set.Values[dt].Type(), varDate);
    dt->SetDisplayFormat(u"dd mmm yyyy");
    EXPECT_EQ(Utf8(dt->GetDisplayText()), "29 Feb 2024");
    EXPECT_EQ(Utf8(dt->GetEditText()), "2024-02-29 06:30:00");  // the display format is for display only
    EXPECT_EQ(MessageOf<Exception>([&] { d->SetEditText(u"2023-02-30"); }), "Value must be a valid date/time");
}

TEST(Fields, StringFieldsMaskDisplayAndRetypeOleText) {
    TRecordingSet set;
    auto* f = NewField<TStringPropField>(set, u"Phone");
    EXPECT_EQ(f->GetDisplayWidth(), 20);
    EXPECT_EQ(f->GetDataSize(), 1);
    f->SetEditMask(u"(000) 000-0000;0;_");
    f->SetEditText(u"5551234567");
    EXPECT_EQ(Utf8(f->GetDisplayText()), "(555) 123-4567");
    EXPECT_EQ(Utf8(f->GetEditText()), "5551234567");
    f->FOleStringsOnly = true;
    f->SetEditText(u"x");
    EXPECT_EQ(set.Values[f].Type(), varOleStr);
    // Text handlers replace the built-in forms and the whole write path.
    f->OnGetText = [](TPropField*, String& text, bool display) { text = display ? u"D" : u"E"; };
    f->OnSetText = [](TPropField* s, const String& text) { s->SetValue(Variant(text + u"!")); };
    EXPECT_EQ(Utf8(f->GetDisplayText()), "D");
    f->SetEditText(u"y");
    EXPECT_EQ(Utf8(set.Values[f].AsString()), "y!");
}

TEST(Fields, BooleanValueNamesStoreTrueAsMinusOne) {
    TRecordingSet set;
    auto* b = NewField<TBooleanPropField>(set, u"On");
    EXPECT_EQ(Utf8(b->GetValueNames().GetCommaText()), "True=-1,False=0,Yes=-1,No=0,1=-1,0=0");
    EXPECT_EQ(b->GetValueNames().IndexOfValue(-1), 0);
    EXPECT_EQ(b->GetValueNames().IndexOfValue(0), 1);
    set.Log.clear();
    b->SetValueName(u"No");  // the candidate is the text "0"; equal to the default false
    EXPECT_EQ(set.Log, "G ");
    b->SetValueName(u"Yes");
    EXPECT_EQ(Utf8(set.Values[b].AsString()), "-1");
    EXPECT_EQ(Utf8(b->GetValueName()), "True");
    EXPECT_EQ(Utf8(b->GetControlClass()), "TPropCheckBox");
}

TEST(Fields, EnumNamesStrictValuesAndDuplicatePolicies) {
    TRecordingSet set;
    auto* e = NewField<TEnumPropField>(set, u"Mode");
    TPropValueNames& n = e->GetValueNames();
    n.AddValue(u"Fast", Variant(1));
    n.AddValue(u"Slow", Variant(5));
    n.AddValue(u"Again", Variant(5));  // ignored: the policy is on the value
    EXPECT_EQ(n.GetCount(), 2);
    n.SetDuplicates(dupError);
    EXPECT_EQ(MessageOf<Exception>([&] { n.AddValue(u"X", Variant(1)); }), "Duplicate Value: 1");
    n.SetDuplicates(dupAccept);
    n.AddValue(u"Fast", Variant(9));  // repeated name: its lookup answers the first row's value
    EXPECT_EQ(n.IndexOfValue(9), -1);
    e->SetValueName(u"Slow");
    EXPECT_EQ(Utf8(e->GetDisplayText()), "Slow");
    EXPECT_EQ(MessageOf<Exception>([&] { e->SetValue(Variant(7)); }), "Invalid enumeration value");
    EXPECT_EQ(MessageOf<Exception>([&] { e->SetValueName(u"Unknown"); }), "Invalid enumeration value");
    e->FStrictValues = false;
    e->SetValue(Variant(7));
    EXPECT_EQ(Utf8(e->GetDisplayText()), "7");  // an unnamed value shows its number
    EXPECT_EQ(Utf8(e->GetControlClass()), "TPropComboBox");
}

TEST(Fields, NamesLabelsWidthsAndMembership) {
    TRecordingSet set;
    auto* f = NewField<TStringPropField>(set, u"Title");
    EXPECT_EQ(Utf8(f->GetDisplayLabel()), "Title");
    f->SetDisplayWidth(0);
    EXPECT_EQ(f->GetDisplayWidth(), 20);
    EXPECT_EQ(MessageOf<Exception>([&] { f->SetFieldName(u"Other"); }), "Field name can't be modified");
    auto* g = new TStringPropField(&set);
    EXPECT_EQ(MessageOf<Exception>([&] { g->SetFieldName(u""); g->SetPropSet(&set); }), "Field name missing");
    EXPECT_EQ(MessageOf<Exception>([&] { g->SetFieldName(u"TITLE"); g->SetPropSet(&set); }),
              "Duplicate field name 'TITLE'");
    EXPECT_EQ(set.GetFieldCount(), 1);
    EXPECT_EQ(set.FieldByName(u"title"), f);
    EXPECT_EQ(MessageOf<Exception>([&] { set.FieldByName(u"Nope"); }), "Field 'Nope' not found");
    // Streaming attaches a field to the set it is read into, and a field
    // answers its set as its parent.
    auto* h = new TStringPropField(nullptr);
    h->SetFieldName(u"Streamed");
    TReader reader;
    reader.Parent = &set;
    h->ReadState(reader);
    EXPECT_EQ(h->GetParentComponent(), &set);
    EXPECT_TRUE(h->HasParent());
    EXPECT_THROW(h->SetParentComponent(g), EIntfCastError);
    delete h;  // leaves the set
    EXPECT_EQ(set.FindField(u"Streamed"), nullptr);
    delete g;
}

TEST(Fields, FindFieldAnswersTheFirstOfANameThroughAdditionsNamingAndRemovals) {
    TRecordingSet set;
    auto* a = NewField<TStringPropField>(set, u"Alpha");
    EXPECT_EQ(set.FindField(u"ALPHA"), a);  // the first look-up builds the index
    // Added after the index exists: found at once.
    auto* b = NewField<TStringPropField>(set, u"Beta");
    EXPECT_EQ(set.FindField(u"beta"), b);
    // Named after joining: not found before, found after.
    auto* late = new TStringPropField(&set);
    set.AddField(late);
    EXPECT_EQ(set.FindField(u"Late"), nullptr);
    late->SetFieldName(u"Late");
    EXPECT_EQ(set.FindField(u"late"), late);
    // AddField doesn't check names: of two fields named alike the first in
    // order answers, and the second once the first has gone.
    auto* twin = new TStringPropField(&set);
    twin->SetFieldName(u"alpha");
    set.AddField(twin);
    EXPECT_EQ(set.FindField(u"Alpha"), a);
    set.RemoveField(a);
    EXPECT_EQ(set.FindField(u"Alpha"), twin);
    // A field that leaves (for another set, or freed) is not found any more.
    TRecordingSet other;
    b->SetPropSet(&other);
    EXPECT_EQ(set.FindField(u"Beta"), nullptr);
    EXPECT_EQ(other.FindField(u"Beta"), b);
    delete late;
    EXPECT_EQ(set.FindField(u"Late"), nullptr);
    EXPECT_EQ(MessageOf<Exception>([&] { set.FieldByName(u"late"); }), "Field 'late' not found");
    // Names freed are free again.
    auto* again = NewField<TStringPropField>(set, u"Late");
    EXPECT_EQ(set.FindField(u"LATE"), again);
    delete a;
}

TEST(Fields, DefinitionsCreateTypedOrUntypedFields) {
    TRecordingSet set;
    set.SetName(u"Options");
    TPropFieldDefs& defs = *set.GetFieldDefs();
    set.UpdateFieldDefs();
    set.UpdateFieldDefs();
    EXPECT_EQ(set.InitCalls, 1);
    EXPECT_EQ(defs.GetCount(), 3);
    EXPECT_EQ(MessageOf<Exception>([&] { defs.Add(u"name", ptString); }), "Duplicate field name 'name'");
    EXPECT_EQ(MessageOf<Exception>([&] { defs.Find(u"x"); }), "Options: Field 'x' not found");
    TStringList names;
    set.GetFieldNames(names);  // no fields yet: the definitions
    EXPECT_EQ(Utf8(names.GetCommaText()), "Name,Count,When");
    set.CreateDefaultFields();
    EXPECT_NE(dynamic_cast<TStringPropField*>(set.FieldByName(u"Name")), nullptr);
    EXPECT_NE(dynamic_cast<TIntegerPropField*>(set.FieldByName(u"Count")), nullptr);
    // A time definition comes out as an untyped field.
    EXPECT_EQ(typeid(*set.FieldByName(u"When")), typeid(TPropField));
    EXPECT_EQ(set.FieldByName(u"Name")->GetOwner(), &set);
    delete defs.GetItem(0);  // removing a definition clears the flag
    EXPECT_FALSE(defs.GetUpdated());
}
