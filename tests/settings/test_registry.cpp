// The hive store: its text format both ways, case-insensitive keys that keep
// their case, typed values and their read errors, relative and absolute
// keys, the machine root, one shared hive per file, and two processes
// writing the same hive.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "SettingsTestUtil.h"
#include "foundation/Conversions.h"
#include "settings/Registry.h"

using namespace ide;
using ide::test::MessageOf;

class Registry : public ide::test::TempDir {};

TEST_F(Registry, TypedValuesRoundTripThroughTheHiveText) {
    {
        TRegistry r;
        ASSERT_TRUE(r.OpenKey(u"\\Software\\Vendor\\Editor", true));
        r.WriteString(u"Name", u"say \"hi\" \\ there\nline2\x01");
        r.WriteInteger(u"Size", -2);
        r.WriteFloat(u"Ratio", 1.5);
        r.WriteDateTime(u"When", 45000.75);
        r.WriteBinaryData(u"Blob", {1, 2, 255});
        r.WriteString(u"Path\\With\\Backslashes", u"kept");
        r.CloseKey();
    }
    const std::string text = ReadFile(HiveFileName(HKEY_CURRENT_USER));
    EXPECT_EQ(text,
              "ide-registry-hive 1\n\n[Software]\n\n[Software\\Vendor]\n\n[Software\\Vendor\\Editor]\n"
              "\"Name\"=\"say \\\"hi\\\" \\\\ there\\nline2\\u0001\"\n"
              "\"Size\"=dword:fffffffe\n"
              "\"Ratio\"=hex:00,00,00,00,00,00,f8,3f\n"
              "\"When\"=hex:00,00,00,00,18,f9,e5,40\n"
              "\"Blob\"=hex:01,02,ff\n"
              "\"Path\\\\With\\\\Backslashes\"=\"kept\"\n");
    THive::ResetAll();  // read back from the file
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\SOFTWARE\\vendor\\EDITOR", false));
    EXPECT_EQ(Utf8(r.ReadString(u"name")), "say \"hi\" \\ there\nline2\x01");
    EXPECT_EQ(r.ReadInteger(u"Size"), -2);
    EXPECT_DOUBLE_EQ(r.ReadFloat(u"Ratio"), 1.5);
    EXPECT_DOUBLE_EQ(r.ReadDateTime(u"When"), 45000.75);
    EXPECT_EQ(r.ReadBinaryData(u"Blob"), (std::vector<uint8_t>{1, 2, 255}));
    EXPECT_TRUE(r.ValueExists(u"path\\with\\backslashes"));
    EXPECT_EQ(r.GetDataType(u"Size"), rdInteger);
    // A read of another kind raises; a missing text reads as empty.
    EXPECT_EQ(MessageOf<ERegistryException>([&] { r.ReadInteger(u"Name"); }), "Invalid data type for 'Name'");
    EXPECT_EQ(MessageOf<ERegistryException>([&] { r.ReadFloat(u"Blob"); }), "Invalid data type for 'Blob'");
    EXPECT_EQ(MessageOf<ERegistryException>([&] { r.ReadString(u"Size"); }), "Invalid data type for 'Size'");
    EXPECT_EQ(Utf8(r.ReadString(u"Missing")), "");
    TStringList names;
    r.GetValueNames(names);
    EXPECT_EQ(names.Count(), 6);
    ASSERT_TRUE(r.OpenKey(u"\\software", false));
    r.GetKeyNames(names);
    EXPECT_EQ(Utf8(names.GetCommaText()), "Vendor");  // the case it was made in
}

TEST_F(Registry, RelativeKeysResolveAgainstTheOpenKey) {
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"Base", true));  // nothing open: from the root
    EXPECT_EQ(Utf8(r.GetCurrentPath()), "Base");
    ASSERT_TRUE(r.OpenKey(u"Child", true));
    EXPECT_EQ(Utf8(r.GetCurrentPath()), "Base\\Child");
    ASSERT_TRUE(r.OpenKey(u"Child", true));  // again relative: one level deeper
    EXPECT_EQ(Utf8(r.GetCurrentPath()), "Base\\Child\\Child");
    ASSERT_TRUE(r.OpenKey(u"\\Base\\", false));  // absolute, normalised
    EXPECT_EQ(Utf8(r.GetCurrentPath()), "Base");
    EXPECT_FALSE(r.OpenKey(u"\\Nope", false));
    EXPECT_FALSE(r.OpenKey(u"\\Bad\x01Name", true));
    EXPECT_TRUE(r.DeleteKey(u"\\Base\\Child"));
    EXPECT_FALSE(r.KeyExists(u"\\base\\child\\child"));  // with its subkeys
    EXPECT_TRUE(r.KeyExists(u"\\BASE"));
}

TEST_F(Registry, TheMachineRootIsReadOnlyAndOddRootsNeverOpen) {
    WriteFile(PathOf("HKEY_LOCAL_MACHINE.reg"), "ide-registry-hive 1\n[Software\\Shared]\n\"Edition\"=\"pro\"\n");
    TRegistry r;
    r.SetRootKey(HKEY_LOCAL_MACHINE);
    EXPECT_FALSE(r.OpenKey(u"\\Software\\Shared", true));
    ASSERT_TRUE(r.OpenKeyReadOnly(u"\\Software\\Shared"));
    EXPECT_EQ(Utf8(r.ReadString(u"Edition")), "pro");
    EXPECT_EQ(MessageOf<ERegistryException>([&] { r.WriteString(u"Edition", u"x"); }),
              "Failed to set data for 'Edition'");
    for (HKEY root : {HKEY_PERFORMANCE_DATA, HKEY_DYN_DATA, HKEY(0), HKEY(12345)}) {
        r.SetRootKey(root);
        EXPECT_FALSE(r.OpenKey(u"\\Any", true));
    }
}

TEST_F(Registry, CorruptHivesNameFileAndLineAndLoadNothing) {
    const std::string file = HiveFileName(HKEY_CURRENT_USER);
    struct Case {
        const char* Text;
        const char* Error;
    };
    const Case cases[] = {
        {"", ":1: empty file (expected \"ide-registry-hive 1\")"},
        {"ide-registry-hive 2\n", ":1: not a registry hive (expected \"ide-registry-hive 1\")"},
        {"ide-registry-hive 1\n\"A\"=\"x\"\n", ":2: value outside a key"},
        {"ide-registry-hive 1\n[K]\n\"A\"=dword:123\n", ":3: bad hexadecimal number"},
        {"ide-registry-hive 1\n[K]\n\"A\"=hex:0,1\n", ":3: bad hexadecimal number"},
        {"ide-registry-hive 1\n[K]\n\"A\"=\"x\n", ":3: unterminated text"},
        {"ide-registry-hive 1\n[K]\n\"A\"=\"\\q\"\n", ":3: unknown escape"},
        {"ide-registry-hive 1\n[K]\n\"A\"=\"x\"\n\"a\"=\"y\"\n", ":4: duplicate value \"a\""},
        {"ide-registry-hive 1\n[K]\n[k]\n", ":3: duplicate key [k]"},
        {"ide-registry-hive 1\n[K]\n\"A\"=\"\xC3\x28\"\n", ":3: not valid UTF-8"},
        {"ide-registry-hive 1\n[K]\n\"A\"=\"x\" trailing\n", ":3: unexpected text after the value"},
        {"ide-registry-hive 1\n[K]\n\"A\"=hex(4):00\n", ":3: kind written in its own form"},
        {"ide-registry-hive 1\n[K\n", ":2: expected ']'"},
    };
    for (const auto& c : cases) {
        THive::ResetAll();
        WriteFile(file, c.Text);
        TRegistry r;
        EXPECT_EQ(MessageOf<ERegistryException>([&] { r.OpenKey(u"\\K", false); }), file + c.Error) << c.Text;
    }
    // A good file with comments, CRLF and odd kinds loads.
    THive::ResetAll();
    WriteFile(file, "ide-registry-hive 1\r\n; a comment\r\n[K]\r\n\"A\"=hex(7):41,00\r\n\"E\"=expand:\"%HOME%\"\r\n");
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\K", false));
    EXPECT_EQ(Utf8(r.ReadString(u"E")), "%HOME%");
    EXPECT_EQ(r.GetDataType(u"A"), rdUnknown);
}

TEST_F(Registry, OneHivePerFileIsSharedByEveryRegistryObject) {
    TRegistry a, b;
    ASSERT_TRUE(a.OpenKey(u"\\Shared", true));
    ASSERT_TRUE(b.OpenKey(u"\\SHARED", false));
    a.WriteInteger(u"N", 7);
    EXPECT_EQ(b.ReadInteger(u"n"), 7);  // visible before any flush
    EXPECT_TRUE(THive::Open(HiveFileName(HKEY_CURRENT_USER), true)->Dirty());
    a.Flush();
    EXPECT_FALSE(THive::Open(HiveFileName(HKEY_CURRENT_USER), true)->Dirty());
}

TEST_F(Registry, TwoProcessesWritingTheSameHiveBothKeepTheirValues) {
    constexpr int kRounds = 25;
    auto writer = [&](const char* prefix) {
        for (int i = 0; i < kRounds; ++i) {
            TRegistry r;
            if (!r.OpenKey(u"\\Software\\Race", true)) ::_exit(2);
            r.WriteInteger(Str(prefix) + IntToStr(i), i);
            r.CloseKey();  // flush: lock, re-read, merge, replace
        }
        ::_exit(0);
    };
    pid_t p1 = ::fork();
    if (p1 == 0) writer("A");
    pid_t p2 = ::fork();
    if (p2 == 0) writer("B");
    int s1 = 0, s2 = 0;
    ::waitpid(p1, &s1, 0);
    ::waitpid(p2, &s2, 0);
    ASSERT_TRUE(WIFEXITED(s1) && WEXITSTATUS(s1) == 0);
    ASSERT_TRUE(WIFEXITED(s2) && WEXITSTATUS(s2) == 0);
    THive::ResetAll();
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\Software\\Race", false));
    for (int i = 0; i < kRounds; ++i) {
        EXPECT_EQ(r.ReadInteger(u"A" + IntToStr(i)), i);
        EXPECT_EQ(r.ReadInteger(u"B" + IntToStr(i)), i);
    }
}

TEST_F(Registry, IniViewOfAKeyStoresListsWithIntegerCounts) {
    TRegistryIniFile ini(u"Software\\App");
    TStringList items, back;
    items.SetCommaText(u"one,two");
    WriteListSection(ini, u"History", u"Recent", &items);
    ini.UpdateFile();
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\Software\\App\\History\\Recent", false));
    EXPECT_EQ(r.GetDataType(u"Count"), rdInteger);  // REG_DWORD, not text
    ReadListSection(ini, u"History", u"Recent", back);
    EXPECT_EQ(Utf8(back.GetCommaText()), "one,two");
    WriteListSection(ini, u"History", u"Recent", nullptr);
    EXPECT_FALSE(ini.SectionExists(u"History\\Recent"));
}
