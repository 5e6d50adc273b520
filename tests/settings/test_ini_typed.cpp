// Typed access to an ini cache through text (what a read answers when the
// text doesn't convert), section and ident listing with duplicates, and how
// an ini property set maps a field name onto a section and an ident.
#include <gtest/gtest.h>

#include "SettingsTestUtil.h"
#include "foundation/Conversions.h"
#include "settings/IDERegIniPropSet.h"
#include "settings/IniFiles.h"

using namespace ide;

TEST(IniTyped, ReadsThatDontConvertAnswerTheDefault) {
    TMemIniFile ini;
    ini.LoadFromBytes(
        "[T]\nInt= 42\nHex=$1F\nBig=4294967296\nWord=forty\nReal=2.5\nBadReal=2,5.1\nYes=1\nNo=0\nOdd=maybe\n"
        "Date=2024-02-29\nBadDate=2024-02-30\nTime=06:30:15\nStamp=2024-02-29 06:30:15\n");
    EXPECT_EQ(ini.ReadInteger(u"T", u"Int", -1), 42);  // white space was trimmed on loading
    EXPECT_EQ(ini.ReadInteger(u"T", u"Hex", -1), 31);
    EXPECT_EQ(ini.ReadInteger(u"T", u"Big", -1), -1);  // beyond 32 bits
    EXPECT_EQ(ini.ReadInteger(u"T", u"Word", -1), -1);
    EXPECT_EQ(ini.ReadInteger(u"T", u"Missing", -1), -1);
    EXPECT_DOUBLE_EQ(ini.ReadFloat(u"T", u"Real", 0), 2.5);
    EXPECT_DOUBLE_EQ(ini.ReadFloat(u"T", u"BadReal", -3), -3);
    EXPECT_DOUBLE_EQ(ini.ReadFloat(u"T", u"Missing", 7.5), 7.5);
    EXPECT_TRUE(ini.ReadBool(u"T", u"Yes", false));
    EXPECT_FALSE(ini.ReadBool(u"T", u"No", true));
    EXPECT_TRUE(ini.ReadBool(u"T", u"Odd", true));  // not a number: the default
    EXPECT_FALSE(ini.ReadBool(u"T", u"Odd", false));
    EXPECT_DOUBLE_EQ(ini.ReadDate(u"T", u"Date", 0), StrToDate(u"2024-02-29"));
    EXPECT_DOUBLE_EQ(ini.ReadDate(u"T", u"BadDate", 1), 1);
    EXPECT_DOUBLE_EQ(ini.ReadTime(u"T", u"Time", 0), StrToTime(u"06:30:15"));
    EXPECT_DOUBLE_EQ(ini.ReadDateTime(u"T", u"Stamp", 0), StrToDateTime(u"2024-02-29 06:30:15"));
    EXPECT_DOUBLE_EQ(ini.ReadDateTime(u"T", u"Word", 2), 2);
}

TEST(IniTyped, WritesStoreTheTextOfEachKind) {
    TMemIniFile ini;
    ini.WriteInteger(u"W", u"Int", -5);
    ini.WriteBool(u"W", u"On", true);
    ini.WriteBool(u"W", u"Off", false);
    ini.WriteFloat(u"W", u"Real", 0.125);
    ini.WriteDate(u"W", u"Date", StrToDate(u"2024-02-29"));
    ini.WriteTime(u"W", u"Time", StrToTime(u"23:59:58"));
    ini.WriteDateTime(u"W", u"Stamp", StrToDateTime(u"2024-02-29 06:30:15"));
    EXPECT_EQ(ini.SaveToBytes(),
              "[W]\nInt=-5\nOn=1\nOff=0\nReal=0.125\nDate=2024-02-29\nTime=23:59:58\nStamp=2024-02-29 06:30:15\n");
    // Each reads back as what was written.
    EXPECT_EQ(ini.ReadInteger(u"W", u"Int", 0), -5);
    EXPECT_TRUE(ini.ReadBool(u"W", u"On", false));
    EXPECT_DOUBLE_EQ(ini.ReadTime(u"W", u"Time", 0), StrToTime(u"23:59:58"));
}

TEST(IniTyped, ListingsNameEachSectionAndIdentOnceInFileOrder) {
    TMemIniFile ini;
    ini.LoadFromBytes("[B]\nz=1\na=2\nZ=3\n[A]\nx=1\n[b]\nq=4\na=5\n");
    TStringList sections, idents;
    ini.ReadSections(sections);
    EXPECT_EQ(Utf8(sections.GetCommaText()), "B,A");
    ini.ReadSection(u"b", idents);
    EXPECT_EQ(Utf8(idents.GetCommaText()), "z,a,q");  // duplicates (any case) listed once
    EXPECT_EQ(Utf8(ini.ReadString(u"B", u"a", u"")), "2");
    EXPECT_EQ(ini.MergedSectionCount(), 1);
    // Deleting the first of two duplicates uncovers the second.
    ini.DeleteKey(u"B", u"z");
    EXPECT_EQ(Utf8(ini.ReadString(u"B", u"z", u"")), "3");
    ini.ReadSection(u"B", idents);
    EXPECT_EQ(Utf8(idents.GetCommaText()), "a,Z,q");
    ini.ReadSection(u"Nowhere", idents);
    EXPECT_EQ(idents.Count(), 0);
    // An erased section can be made again; it goes to the end.
    ini.EraseSection(u"B");
    ini.WriteString(u"B", u"new", u"1");
    ini.ReadSections(sections);
    EXPECT_EQ(Utf8(sections.GetCommaText()), "A,B");
    EXPECT_FALSE(ini.ValueExists(u"B", u"a"));
}

TEST(IniTyped, AnIniSetMapsFieldNamesOntoSectionsBelowItsRoot) {
    TIniPropSet set(nullptr);
    EXPECT_EQ(Utf8(set.GetSectionName(u"Size")), "");
    EXPECT_EQ(Utf8(set.GetSectionName(u"General\\Size")), "\\General\\");
    EXPECT_EQ(Utf8(set.GetSectionName(u"\\General\\Size")), "\\General\\");
    set.SetRootName(u"Editor");
    EXPECT_EQ(Utf8(set.GetSectionName(u"Size")), "Editor");
    EXPECT_EQ(Utf8(set.GetSectionName(u"General\\Font\\Size")), "Editor\\General\\Font\\");
    EXPECT_EQ(Utf8(TIniPropSet::GetValueName(u"General\\Font\\Size")), "Size");
    EXPECT_EQ(Utf8(TIniPropSet::GetValueName(u"Size")), "Size");
    EXPECT_EQ(Utf8(TIniPropSet::GetValueName(u"Trailing\\")), "");
    // A field reads and writes exactly there.
    auto* f = new TIntegerPropField(&set);
    f->SetFieldName(u"General\\Size");
    f->SetPropSet(&set);
    set.GetValues().WriteString(u"Editor\\General\\", u"Size", u"17");
    EXPECT_EQ(f->GetValue().AsInteger(), 17);
    f->SetValue(Variant(18));
    EXPECT_EQ(set.GetValues().SaveToBytes(), "[Editor\\General\\]\nSize=18\n");
}
