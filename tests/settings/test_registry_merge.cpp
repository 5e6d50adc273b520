// The registry's merge of this process's changes with what another process
// wrote meanwhile (a second THive over the same file stands for the other
// process): deletions and key removals survive it, the other side's values
// are kept, and keys keep their case while matching without it.
#include <gtest/gtest.h>

#include <algorithm>

#include "SettingsTestUtil.h"
#include "settings/Registry.h"

using namespace ide;
using ide::test::MessageOf;

namespace {

TRegValue Dword(uint32_t v) {
    TRegValue r;
    r.Kind = REG_DWORD;
    r.DWord = v;
    return r;
}

// Reads the hive file as a fresh process would.
std::vector<String> NamesOnDisk(const String& key) {
    THive::ResetAll();
    TRegistry r;
    TStringList names;
    if (r.OpenKeyReadOnly(key)) r.GetValueNames(names);
    std::vector<String> out;
    for (int i = 0; i < names.Count(); ++i) out.push_back(names[i]);
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace

class RegistryMerge : public ide::test::TempDir {};

TEST_F(RegistryMerge, ThisProcessesDeletionsAndTheOtherProcessesWritesBothSurvive) {
    const std::string file = HiveFileName(HKEY_CURRENT_USER);
    {
        TRegistry r;
        ASSERT_TRUE(r.OpenKey(u"\\Software\\Merge", true));
        r.WriteInteger(u"Keep", 1);
        r.WriteInteger(u"Gone", 2);
        r.Flush();
        // Another process adds a value and changes one of ours.
        THive other(file, true);
        other.SetValue(u"Software\\Merge", u"Theirs", Dword(3));
        other.SetValue(u"Software\\Merge", u"Keep", Dword(10));
        other.Flush();
        // This process deletes one value and adds another, unaware of them.
        EXPECT_TRUE(r.DeleteValue(u"Gone"));
        EXPECT_FALSE(r.DeleteValue(u"Gone"));  // already gone here
        r.WriteString(u"Mine", u"m");
        r.CloseKey();
    }
    EXPECT_EQ(NamesOnDisk(u"\\Software\\Merge"), (std::vector<String>{u"Keep", u"Mine", u"Theirs"}));
    TRegistry r;
    ASSERT_TRUE(r.OpenKeyReadOnly(u"\\software\\merge"));
    EXPECT_EQ(r.ReadInteger(u"Keep"), 10);  // their change of a value we didn't touch again
    EXPECT_EQ(r.ReadInteger(u"theirs"), 3);
    EXPECT_EQ(Utf8(r.ReadString(u"MINE")), "m");
}

TEST_F(RegistryMerge, AKeyDeletedHereStaysDeletedWithWhatTheOtherSideAddedUnderIt) {
    const std::string file = HiveFileName(HKEY_CURRENT_USER);
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\App\\Old\\Deep", true));
    r.WriteInteger(u"V", 1);
    r.CloseKey();
    // Deleted here first; then the other side, which still has the key,
    // adds below it and beside it and saves before this process does.
    EXPECT_TRUE(r.DeleteKey(u"\\APP\\old"));
    EXPECT_FALSE(r.KeyExists(u"\\App\\Old\\Deep"));
    THive other(file, true);
    other.SetValue(u"App\\Old", u"Late", Dword(2));
    other.SetValue(u"App\\Old\\Deeper\\Still", u"X", Dword(3));
    other.SetValue(u"App\\Sibling", u"Y", Dword(4));
    other.Flush();
    ASSERT_TRUE(r.OpenKey(u"\\App", false));
    r.CloseKey();  // the flush merges with the other side's file
    THive::ResetAll();
    TRegistry fresh;
    EXPECT_FALSE(fresh.KeyExists(u"\\App\\Old"));
    EXPECT_FALSE(fresh.KeyExists(u"\\App\\Old\\Deeper\\Still"));
    ASSERT_TRUE(fresh.OpenKeyReadOnly(u"\\App\\Sibling"));
    EXPECT_EQ(fresh.ReadInteger(u"Y"), 4);
    EXPECT_EQ(THive::Open(file, true)->Text().find("Old"), std::string::npos);
}

TEST_F(RegistryMerge, KeysMatchWithoutCaseAndKeepTheCaseTheyWereMadeIn) {
    TRegistry r;
    ASSERT_TRUE(r.OpenKey(u"\\Software\\MixedCase\\Sub", true));
    r.WriteInteger(u"Value\\With\\Slashes", 1);
    ASSERT_TRUE(r.OpenKey(u"\\SOFTWARE\\mixedcase\\OTHER", true));
    ASSERT_TRUE(r.OpenKey(u"\\software\\MIXEDCASE", false));
    TStringList keys;
    r.GetKeyNames(keys);
    keys.Sort();
    EXPECT_EQ(Utf8(keys.GetCommaText()), "OTHER,Sub");  // each as first made
    ASSERT_TRUE(r.OpenKey(u"Sub", false));  // relative to the open key
    EXPECT_EQ(r.ReadInteger(u"VALUE\\with\\slashes"), 1);
    EXPECT_EQ(r.GetDataType(u"missing"), rdUnknown);
    EXPECT_EQ(Utf8(r.ReadString(u"missing")), "");  // a missing text reads empty
    EXPECT_EQ(MessageOf<ERegistryException>([&] { r.ReadInteger(u"missing"); }),
              "Invalid data type for 'missing'");
    EXPECT_EQ(MessageOf<ERegistryException>([&] { r.ReadBinaryData(u"Value\\With\\Slashes"); }),
              "Invalid data type for 'Value\\With\\Slashes'");
    r.CloseKey();
    const std::string text = THive::Open(HiveFileName(HKEY_CURRENT_USER), true)->Text();
    EXPECT_NE(text.find("[Software\\MixedCase\\Sub]"), std::string::npos);
    EXPECT_NE(text.find("\"Value\\\\With\\\\Slashes\"=dword:00000001"), std::string::npos);
}

TEST_F(RegistryMerge, NothingIsWrittenWithoutChangesOrThroughAReadOnlyKey) {
    const std::string file = HiveFileName(HKEY_CURRENT_USER);
    {
        TRegistry r;
        ASSERT_TRUE(r.OpenKey(u"\\K", true));
        r.WriteInteger(u"A", 1);
    }  // the destructor flushes
    const std::string before = ReadFile(file);
    ASSERT_NE(before.find("\"A\"=dword:00000001"), std::string::npos);
    WriteFile(file, before + "\n[Edited]\n\"ByHand\"=\"yes\"\n");
    {
        TRegistry r;
        ASSERT_TRUE(r.OpenKeyReadOnly(u"\\K"));
        EXPECT_EQ(MessageOf<ERegistryException>([&] { r.WriteInteger(u"A", 2); }), "Failed to set data for 'A'");
        EXPECT_FALSE(r.DeleteValue(u"A"));
        r.CloseKey();
        ASSERT_TRUE(r.OpenKey(u"\\K", false));
        r.CloseKey();  // no change: the file is left as the user edited it
    }
    EXPECT_NE(ReadFile(file).find("\"ByHand\"=\"yes\""), std::string::npos);
    TRegistry r;
    ASSERT_TRUE(r.OpenKeyReadOnly(u"\\Edited"));  // and the edit is read
    EXPECT_EQ(Utf8(r.ReadString(u"ByHand")), "yes");
}
