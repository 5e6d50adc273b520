// The ini cache over real files: what a load replaces, what a save keeps
// (comments, encodings, line ends, foreign bytes), hostile input, atomic
// saves that survive a crash, and the list-section codec.
#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "SettingsTestUtil.h"
#include "settings/FileIO.h"
#include "settings/IniFiles.h"

using namespace ide;
using ide::test::MessageOf;

class IniFile : public ide::test::TempDir {};

TEST_F(IniFile, LookupsFoldCaseAndKeepBackslashSectionsAndFirstDuplicates) {
    TMemIniFile ini;
    ini.LoadFromBytes("[Editor\\General\\]\n Size = 12 \nsize=99\n[editor\\general\\]\nColor=red\n");
    EXPECT_EQ(Utf8(ini.ReadString(u"EDITOR\\GENERAL\\", u"SIZE", u"")), "12");  // first ident wins
    EXPECT_EQ(Utf8(ini.ReadString(u"Editor\\General\\", u"color", u"")), "red");  // merged section
    EXPECT_EQ(Utf8(ini.ReadString(u"Editor\\General", u"Size", u"none")), "none");  // the trailing \ matters
    TStringList sections, idents;
    ini.ReadSections(sections);
    ini.ReadSection(u"editor\\general\\", idents);
    EXPECT_EQ(Utf8(sections.GetCommaText()), "Editor\\General\\");
    EXPECT_EQ(Utf8(idents.GetCommaText()), "Size,Color");
    EXPECT_EQ(ini.ReadInteger(u"Editor\\General\\", u"Size", 0), 12);
    EXPECT_EQ(ini.ReadInteger(u"Editor\\General\\", u"Color", -5), -5);  // not a number: the default
}

TEST_F(IniFile, ASaveKeepsCommentsEncodingLineEndsAndUntouchedLines) {
    const std::string crlf = "; settings\r\n[Main]\r\nName = First   \r\n# note\r\nOld=1\r\n\r\n[Other]\r\nX=1";
    TMemIniFile ini;
    ini.LoadFromBytes(crlf);
    EXPECT_EQ(ini.SaveToBytes(), crlf);  // untouched: byte for byte, no final line end added
    ini.WriteString(u"Main", u"Old", u"2");
    ini.WriteString(u"Main", u"New", u"3");
    ini.WriteString(u"Fresh", u"K", u"v");
    ini.DeleteKey(u"Other", u"X");
    EXPECT_EQ(ini.SaveToBytes(),
              "; settings\r\n[Main]\r\nName = First   \r\n# note\r\nOld=2\r\nNew=3\r\n\r\n[Other]\r\n[Fresh]\r\nK=v\r\n");
    // Mixed line ends stay as each line had them.
    ini.LoadFromBytes("[A]\nX=1\r\nY=2\rZ=3");
    ini.WriteString(u"A", u"Y", u"5");
    EXPECT_EQ(ini.SaveToBytes(), "[A]\nX=1\r\nY=5\rZ=3");

    // UTF-16 with a BOM is written back as UTF-16 in the same byte order.
    std::string le = std::string("\xFF\xFE", 2);
    const std::u16string text = u"[S]\nK=é\n";
    for (char16_t c : text) { le.push_back(char(c & 0xFF)); le.push_back(char(c >> 8)); }
    ini.LoadFromBytes(le);
    EXPECT_EQ(Utf8(ini.ReadString(u"S", u"K", u"")), "é");
    EXPECT_EQ(ini.SaveToBytes(), le);
    ini.WriteString(u"S", u"K", u"ü");
    TMemIniFile back;
    back.LoadFromBytes(ini.SaveToBytes());
    EXPECT_EQ(Utf8(back.ReadString(u"S", u"K", u"")), "ü");
    EXPECT_EQ(ini.SaveToBytes().substr(0, 2), "\xFF\xFE");
    // UTF-8 with a BOM keeps it.
    ini.LoadFromBytes("\xEF\xBB\xBF[S]\nK=1\n");
    ini.WriteString(u"S", u"K", u"2");
    EXPECT_EQ(ini.SaveToBytes(), "\xEF\xBB\xBF[S]\nK=2\n");
}

TEST_F(IniFile, BytesThatAreNotUtf8AreKeptNotMangled) {
    const std::string latin1 = "[S]\nName=Caf\xE9\nBad=\xC3\x28\xFF\n";
    TMemIniFile ini;
    ini.LoadFromBytes(latin1);
    ini.WriteString(u"S", u"Other", u"x");
    std::string saved = ini.SaveToBytes();
    EXPECT_NE(saved.find("Name=Caf\xE9\n"), std::string::npos);
    EXPECT_NE(saved.find("Bad=\xC3\x28\xFF\n"), std::string::npos);
    // Even a value rewritten with the bytes it was read with keeps them.
    ini.WriteString(u"S", u"Name", ini.ReadString(u"S", u"Name", u"") + u"!");
    EXPECT_NE(ini.SaveToBytes().find("Name=Caf\xE9!\n"), std::string::npos);
}

TEST_F(IniFile, HostileInputIsRefusedWithFileAndLineAndLoadsNothing) {
    TMemIniFile ini;
    ini.LoadFromBytes("[Keep]\nA=1\n");
    EXPECT_EQ(MessageOf<EIniFileException>([&] { ini.LoadFromBytes(std::string("\xFF\xFE[\0S", 5), "x.ini"); }),
              "x.ini: truncated UTF-16 text (odd byte count)");
    std::string huge = "[S]\nK=" + std::string(TMemIniFile::MaxLineLength + 1, 'x') + "\n";
    EXPECT_EQ(MessageOf<EIniFileException>([&] { ini.LoadFromBytes(huge, "big.ini"); }), "big.ini:2: line too long");
    EXPECT_EQ(Utf8(ini.ReadString(u"Keep", u"A", u"")), "1");  // the old cache stays
    // Odd but harmless input loads: NULs, bare CRs, entries before a section.
    ini.LoadFromBytes(std::string("stray=1\r[S]\rK=a\0b\r", 19));
    EXPECT_EQ(ini.ReadString(u"S", u"K", u"").size(), 3u);
    EXPECT_FALSE(ini.ValueExists(u"", u"stray"));
    EXPECT_EQ(ini.SaveToBytes(), std::string("stray=1\r[S]\rK=a\0b\r", 19));
    // Values with line breaks can't be saved.
    ini.WriteString(u"S", u"Multi", u"a\nb");
    EXPECT_EQ(MessageOf<EIniFileException>([&] { ini.SaveToBytes(); }),
              "Value 'Multi' in section 'S' can't be saved: it holds a line break");
    EXPECT_THROW(ini.WriteString(u"S", u"a=b", u"x"), EIniFileException);
}

TEST_F(IniFile, LoadReplacesTheCacheAndAMissingFileIsEmpty) {
    const std::string path = PathOf("a.ini");
    WriteFile(path, "[S]\nA=1\n");
    TMemIniFile ini(Str(path));
    EXPECT_TRUE(ini.ValueExists(u"S", u"A"));
    ini.WriteString(u"S", u"B", u"2");
    WriteFile(path, "[T]\nC=3\n");
    ini.Rename(Str(path), true);
    EXPECT_FALSE(ini.SectionExists(u"S"));  // replaced, not merged
    EXPECT_EQ(Utf8(ini.ReadString(u"T", u"C", u"")), "3");
    ini.Rename(Str(PathOf("missing.ini")), true);
    EXPECT_FALSE(ini.SectionExists(u"T"));
    ini.WriteString(u"N", u"K", u"v");
    ini.UpdateFile();
    EXPECT_EQ(ReadFile(PathOf("missing.ini")), "[N]\nK=v\n");
    TMemIniFile unnamed;
    EXPECT_EQ(MessageOf<EIniFileException>([&] { unnamed.UpdateFile(); }),
              "Cannot save the ini file: it has no file name");
    EXPECT_THROW(TMemIniFile(Str(Dir)), EFileError);  // a directory isn't a file
}

TEST_F(IniFile, ACrashDuringASaveLeavesTheOldFileIntact) {
    const std::string path = PathOf("c.ini");
    WriteFile(path, "[S]\nA=old\n");
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // The child dies between writing the new content and replacing the file.
        FileSaveHook = [](const std::string&) { ::raise(SIGKILL); };
        TMemIniFile ini(Str(path));
        ini.WriteString(u"S", u"A", u"new");
        ini.UpdateFile();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(ReadFile(path), "[S]\nA=old\n");
    TMemIniFile after(Str(path));
    EXPECT_EQ(Utf8(after.ReadString(u"S", u"A", u"")), "old");
}

TEST_F(IniFile, ListSectionsKeepOldHigherItemsAndCapTheCount) {
    TMemIniFile ini;
    TStringList five, three, back;
    five.SetCommaText(u"a,b,c,d,e");
    three.SetCommaText(u"x,y,z");
    WriteListSection(ini, u"History", u"Files", &five);
    WriteListSection(ini, u"History", u"Files", &three);
    EXPECT_TRUE(ini.ValueExists(u"History\\Files", u"Item4"));  // left in place
    ReadListSection(ini, u"History", u"Files", back);
    EXPECT_EQ(Utf8(back.GetCommaText()), "x,y,z");
    ini.DeleteKey(u"History\\Files", u"Item1");
    ReadListSection(ini, u"History", u"Files", back);
    EXPECT_EQ(back.Count(), 3);  // a missing item is an empty row
    EXPECT_EQ(Utf8(back[1]), "");
    WriteListSection(ini, u"History", u"", &three);  // no name: skipped
    EXPECT_FALSE(ini.SectionExists(u"History\\"));
    ini.WriteString(u"History\\Files", u"Count", u"2000000000");
    EXPECT_EQ(MessageOf<EIniFileException>([&] { ReadListSection(ini, u"History", u"Files", back); }),
              "List 'History\\Files': Count 2000000000 is out of range (0 to 100000)");
    WriteListSection(ini, u"History", u"Files", nullptr);  // empty: the section goes
    EXPECT_FALSE(ini.SectionExists(u"History\\Files"));
    ini.WriteString(u"History\\Other", u"Item0", u"no count");
    ReadListSection(ini, u"History", u"Other", back);
    EXPECT_EQ(back.Count(), 0);
}
