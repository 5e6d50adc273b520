// The registry and ini property sets: every field type round-trips through
// both stores, the encodings on disk, the deliberate asymmetries, profiles
// (SubKeys/KeyIndex) and relative key paths, failures, and the thread-safe
// registry set under concurrent use.
#include <gtest/gtest.h>

#include <thread>

#include "SettingsTestUtil.h"
#include "settings/IDEPropSet.h"
#include "settings/IDERegIniPropSet.h"

using namespace ide;
using ide::test::MessageOf;

namespace {
// One field of every stored type, with non-zero defaults.
struct Fields {
    TStringPropField* Str;
    TIntegerPropField* Int;
    TFloatPropField* Real;
    TBooleanPropField* Bool;
    TEnumPropField* Enum;
    TColorPropField* Color;
    TDatePropField* Date;
    TTimePropField* Time;
    TDateTimePropField* Stamp;

    template <class T>
    static T* Add(TPropSet& set, const char16_t* name) {
        auto* f = new T(&set);
        f->SetFieldName(name);
        f->SetPropSet(&set);
        return f;
    }
    explicit Fields(TPropSet& set, const char16_t* prefix = u"") {
        String p = prefix;
        auto n = [&](const char16_t* s) { return p + s; };
        Str = Add<TStringPropField>(set, n(u"Title").c_str());
        Str->FDefault = u"untitled";
        Int = Add<TIntegerPropField>(set, n(u"Size").c_str());
        Int->FDefault = 12;
        Real = Add<TFloatPropField>(set, n(u"Ratio").c_str());
        Real->FDefault = 0.5;
        Bool = Add<TBooleanPropField>(set, n(u"Wrap").c_str());
        Bool->FDefault = true;
        Enum = Add<TEnumPropField>(set, n(u"Mode").c_str());
        Enum->GetValueNames().AddValue(u"Insert", Variant(0));
        Enum->GetValueNames().AddValue(u"Overwrite", Variant(1));
        Enum->FDefault = 1;
        Color = Add<TColorPropField>(set, n(u"Back").c_str());
        Color->FDefault = 0xFF0000;
        Date = Add<TDatePropField>(set, n(u"Since").c_str());
        Date->SetDefaultValue(45000);
        Time = Add<TTimePropField>(set, n(u"At").c_str());
        Time->SetDefaultValue(0.25);
        Stamp = Add<TDateTimePropField>(set, n(u"Stamp").c_str());
        Stamp->SetDefaultValue(45000.5);
    }
    void SetAll() const {
        Str->SetEditText(u"Hello, \"world\" \\ é");
        Int->SetEditText(u"-7");
        Real->SetEditText(u"2.25");
        Bool->SetValue(Variant(false));
        Enum->SetValueName(u"Insert");
        Color->SetEditText(u"clLime");
        Date->SetEditText(u"2024-02-29");
        Time->SetEditText(u"06:30:15");
        Stamp->SetEditText(u"2024-02-29 06:30:15");
    }
    void ExpectAll() const {
        EXPECT_EQ(Utf8(Str->GetDisplayText()), "Hello, \"world\" \\ é");
        EXPECT_EQ(Int->GetValue().AsInteger(), -7);
        EXPECT_DOUBLE_EQ(Real->GetValue().AsDouble(), 2.25);
        EXPECT_FALSE(Bool->GetValue().AsBoolean());
        EXPECT_EQ(Utf8(Enum->GetDisplayText()), "Insert");
        EXPECT_EQ(Utf8(Color->GetDisplayText()), "clLime");
        EXPECT_EQ(Utf8(Date->GetDisplayText()), "2024-02-29");
        EXPECT_EQ(Utf8(Time->GetDisplayText()), "06:30:15");
        EXPECT_EQ(Utf8(Stamp->GetDisplayText()), "2024-02-29 06:30:15");
    }
};
}  // namespace

class Stores : public ide::test::TempDir {};

TEST_F(Stores, EveryFieldTypeRoundTripsThroughTheIniFile) {
    const String file = Str(PathOf("editor.ini"));
    {
        TIniPropSet set(nullptr);
        set.SetFileName(file);
        set.SetRootName(u"Editor");
        Fields f(set, u"General\\");
        f.SetAll();
        set.SavePropValues();
    }
    const std::string text = ReadFile(PathOf("editor.ini"));
    EXPECT_EQ(text,
              "[Editor\\General\\]\nTitle=Hello, \"world\" \\ é\nSize=-7\nRatio=2.25\nWrap=False\nMode=Insert\n"
              "Back=clLime\nSince=2024-02-29\nAt=06:30:15\nStamp=2024-02-29 06:30:15\n");
    TIniPropSet set(nullptr);
    set.SetFileName(file);
    set.SetRootName(u"Editor");
    Fields f(set, u"General\\");
    EXPECT_EQ(f.Int->GetValue().AsInteger(), 12);  // named, not yet read
    set.LoadPropValues();
    f.ExpectAll();
    // The ini set answers a boolean with the value text of its row.
    EXPECT_EQ(f.Bool->GetValue().Type(), varUString);
    EXPECT_EQ(Utf8(f.Bool->GetValue().AsString()), "0");
}

TEST_F(Stores, EveryFieldTypeRoundTripsThroughTheRegistry) {
    {
        TRegistryPropSet set(nullptr);
        set.SetKeyPath(u"\\Software\\Test\\Editor");
        Fields f(set, u"General\\");  // a backslash is part of the value name here
        f.SetAll();
        set.SavePropValues();
    }
    const std::string hive = ReadFile(HiveFileName(HKEY_CURRENT_USER));
    EXPECT_NE(hive.find("[Software\\Test\\Editor]\n\"General\\\\Title\"=\"Hello, \\\"world\\\" \\\\ é\"\n"
                        "\"General\\\\Size\"=dword:fffffff9\n\"General\\\\Ratio\"=hex:00,00,00,00,00,00,02,40\n"
                        "\"General\\\\Wrap\"=\"False\"\n\"General\\\\Mode\"=\"Insert\"\n\"General\\\\Back\"=\"clLime\"\n"),
              std::string::npos)
        << hive;
    THive::ResetAll();
    TRegistryPropSet set(nullptr);
    set.SetKeyPath(u"\\Software\\Test\\Editor");
    Fields f(set, u"General\\");
    set.LoadPropValues();
    f.ExpectAll();
    EXPECT_EQ(f.Bool->GetValue().Type(), varBoolean);  // the registry set answers a boolean
}

TEST_F(Stores, ARegistryLoadFillsDefaultsAndASaveWritesZeroForUnloadedDates) {
    TRegistryPropSet set(nullptr);
    set.SetKeyPath(u"\\Software\\Fresh");
    Fields f(set);
    // Never loaded: defaults everywhere.
    EXPECT_EQ(Utf8(f.Str->GetDisplayText()), "untitled");
    EXPECT_EQ(Utf8(f.Enum->GetDisplayText()), "Overwrite");
    EXPECT_EQ(Utf8(f.Color->GetDisplayText()), "clBlue");
    set.SavePropValues();
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\Software\\Fresh", false));
    EXPECT_EQ(Utf8(r.ReadString(u"Title")), "untitled");
    EXPECT_EQ(r.ReadInteger(u"Size"), 12);
    EXPECT_EQ(Utf8(r.ReadString(u"Wrap")), "True");
    EXPECT_DOUBLE_EQ(r.ReadFloat(u"Ratio"), 0.0);  // not the field's default
    EXPECT_DOUBLE_EQ(r.ReadDate(u"Since"), 0.0);
    // A load fills missing values with defaults; the next save writes them.
    r.DeleteValue(u"Title");
    r.CloseKey();
    set.LoadPropValues();
    EXPECT_EQ(Utf8(set.GetValues().ReadString(u"\\Software\\Fresh", u"Title", u"?")), "untitled");
    EXPECT_DOUBLE_EQ(f.Real->GetValue().AsDouble(), 0.0);  // what the registry held
    // An enum default no row names is stored by its number as text.
    f.Enum->FDefault = 7;
    ASSERT_TRUE(r.OpenKey(u"\\Software\\Fresh", false));
    r.DeleteValue(u"Mode");
    set.LoadPropValues();
    EXPECT_EQ(Utf8(set.GetValues().ReadString(u"\\Software\\Fresh", u"Mode", u"")), "7");
}

TEST_F(Stores, IniBooleansReadBackAsTextOrNumbers) {
    const std::string path = PathOf("b.ini");
    WriteFile(path, "[S]\nYes=Yes\nTwo=2\nEmpty=\n");
    TIniPropSet set(nullptr);
    set.SetFileName(Str(path));
    set.SetRootName(u"S");
    auto* yes = Fields::Add<TBooleanPropField>(set, u"Yes");
    auto* two = Fields::Add<TBooleanPropField>(set, u"Two");
    auto* empty = Fields::Add<TBooleanPropField>(set, u"Empty");
    empty->FDefault = true;
    set.LoadPropValues();
    EXPECT_EQ(Utf8(yes->GetValue().AsString()), "-1");
    EXPECT_EQ(two->GetValue().Type(), varInteger);
    EXPECT_EQ(two->GetValue().AsInteger(), 2);
    EXPECT_EQ(empty->GetValue().Type(), varInteger);
    EXPECT_EQ(empty->GetValue().AsInteger(), -1);
    EXPECT_EQ(Utf8(yes->GetDisplayText()), "-1");  // shown as stored, unlike the registry set
    // Writes stay in the cache until a save.
    two->SetValue(Variant(false));
    EXPECT_EQ(ReadFile(path), "[S]\nYes=Yes\nTwo=2\nEmpty=\n");
    set.SavePropValues();
    EXPECT_EQ(ReadFile(path), "[S]\nYes=Yes\nTwo=False\nEmpty=\n");
}

TEST_F(Stores, ProfilesSaveEveryKeyAndKeepTheIndex) {
    TRegistryPropSet set(nullptr);
    set.SetKeyPath(u"\\Software\\Profiles");
    TStringList subs;
    subs.SetCommaText(u"Default,\\Dark,Light");  // a leading backslash isn't doubled
    set.SetSubKeys(subs);
    auto* size = Fields::Add<TIntegerPropField>(set, u"Size");
    int refreshes = 0;
    TFieldPropLink link;
    link.OnDataChange = [&](TObject*) { ++refreshes; };
    link.SetFieldName(u"Size");
    link.SetPropSet(&set);
    for (int i = 0; i < 3; ++i) {
        set.SetKeyIndex(i);
        size->SetValue(Variant(10 + i));
    }
    EXPECT_EQ(Utf8(set.GetCurrentPath()), "\\Software\\Profiles\\Light");
    refreshes = 0;
    set.SetKeyIndex(1);
    EXPECT_EQ(refreshes, 1);  // controls read another section of the cache
    EXPECT_EQ(size->GetValue().AsInteger(), 11);
    set.SavePropValues();
    EXPECT_EQ(set.GetKeyIndex(), 1);
    TRegistry r;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(r.OpenKey(u"\\Software\\Profiles\\" + subs[i].substr(subs[i][0] == u'\\' ? 1 : 0), false));
        EXPECT_EQ(r.ReadInteger(u"Size"), 10 + i);
    }
    // A load reads all three back and tells the controls once.
    THive::ResetAll();
    TRegistryPropSet again(nullptr);
    again.SetKeyPath(u"\\Software\\Profiles");
    again.SetSubKeys(subs);
    auto* size2 = Fields::Add<TIntegerPropField>(again, u"Size");
    again.LoadPropValues();
    again.SetKeyIndex(2);
    EXPECT_EQ(size2->GetValue().AsInteger(), 12);
    again.SetKeyIndex(7);
    EXPECT_THROW(size2->GetValue(), EListError);  // outside the list
}

TEST_F(Stores, RelativeKeyPathsResolveAgainstTheOpenKey) {
    TRegistryPropSet set(nullptr);
    set.SetKeyPath(u"Rel");
    auto* n = Fields::Add<TIntegerPropField>(set, u"N");
    n->SetValue(Variant(1));
    set.SavePropValues();  // opens "Rel" from the root
    set.SavePropValues();  // opens "Rel" below the open "Rel"
    TRegistry r;
    EXPECT_TRUE(r.KeyExists(u"\\Rel\\Rel"));
    set.SetKeyPath(u"\\Abs");
    set.SavePropValues();
    set.SavePropValues();
    EXPECT_TRUE(r.KeyExists(u"\\Abs"));
    EXPECT_FALSE(r.KeyExists(u"\\Abs\\Abs"));  // only the absolute form is stable
}

TEST_F(Stores, FailuresOfTheRegistryStore) {
    TRegistryPropSet set(nullptr);
    set.SetRootKey(hkLocalMachine);
    EXPECT_EQ(set.GetRootKey(), hkLocalMachine);
    set.SetKeyPath(u"\\Software\\Machine");
    Fields::Add<TIntegerPropField>(set, u"N");
    EXPECT_EQ(MessageOf<Exception>([&] { set.LoadPropValues(); }), "Unable to open Key: \\Software\\Machine");
    set.SetRootKey(hkNone);  // closes the key, keeps the root
    EXPECT_EQ(set.GetRootKey(), hkLocalMachine);
    set.SetRootKey(hkCurrentUser);
    // A value of another kind stops the load there, the index restored.
    {
        TRegistry r;
        ASSERT_TRUE(r.OpenKey(u"\\Software\\Machine\\P1", true));
        r.WriteString(u"N", u"not a number");
    }
    TStringList subs;
    subs.SetCommaText(u"P0,P1");
    set.SetSubKeys(subs);
    set.SetKeyIndex(0);
    int refreshes = 0;
    TFieldPropLink link;
    link.OnDataChange = [&](TObject*) { ++refreshes; };
    link.SetPropSet(&set);
    refreshes = 0;
    EXPECT_EQ(MessageOf<ERegistryException>([&] { set.LoadPropValues(); }), "Invalid data type for 'N'");
    EXPECT_EQ(set.GetKeyIndex(), 0);
    EXPECT_EQ(refreshes, 0);  // no peRecordChange
    EXPECT_TRUE(set.GetValues().ValueExists(u"\\Software\\Machine\\P0", u"N"));  // fields before it are cached
}

TEST_F(Stores, AThreadSafeRegistrySetTakesConcurrentReadsAndWrites) {
    TRegistryPropSet set(nullptr);
    set.SetThreadSafe(true);
    set.SetKeyPath(u"\\Software\\Threads");
    std::vector<TIntegerPropField*> fields;
    for (int i = 0; i < 4; ++i) fields.push_back(Fields::Add<TIntegerPropField>(set, (u"F" + IntToStr(i)).c_str()));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                fields[static_cast<size_t>(t)]->SetValue(Variant(i));
                (void)fields[static_cast<size_t>((t + 1) % 4)]->GetValue();
                if (i % 50 == 0) set.SavePropValues();
            }
        });
    for (auto& th : threads) th.join();
    set.SavePropValues();
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\Software\\Threads", false));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(r.ReadInteger(u"F" + IntToStr(i)), 199);
}
