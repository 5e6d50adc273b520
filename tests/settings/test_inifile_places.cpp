// The ini cache's remembered places (the fast path of a property set's reads
// and writes) against the plain look-ups by name: every change of the cache's
// shape must send a place back to a look-up, never to a stale line. Also the
// lines kept without a copy of their text, which must still be written back
// byte for byte, and the ini set's own bookkeeping of its fields.
#include <gtest/gtest.h>

#include "SettingsTestUtil.h"
#include "settings/IDERegIniPropSet.h"
#include "settings/IniFiles.h"

using namespace ide;
using ide::test::MessageOf;

namespace {

String ReadVia(TMemIniFile& ini, const String& section, const String& ident, TIniPlace& place) {
    const String* v = ini.FindValue(section, ident, place);
    return v ? *v : String(u"<none>");
}

// A cache whose section S has the lines A, B and C, and places for each.
struct ThreeLines {
    TMemIniFile Ini;
    TIniPlace A, B, C;
    ThreeLines() {
        Ini.LoadFromBytes("[S]\nA=1\nB=2\nC=3\n\n[T]\nX=9\n");
        EXPECT_EQ(Utf8(ReadVia(Ini, u"S", u"A", A)), "1");
        EXPECT_EQ(Utf8(ReadVia(Ini, u"S", u"B", B)), "2");
        EXPECT_EQ(Utf8(ReadVia(Ini, u"S", u"C", C)), "3");
    }
};

}  // namespace

TEST(IniPlaces, APlaceReadsAndWritesTheValueItWasFoundFor) {
    ThreeLines t;
    t.Ini.WriteString(u"S", u"B", u"20", t.B);
    EXPECT_EQ(Utf8(t.Ini.ReadString(u"S", u"B", u"")), "20");
    EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"B", t.B)), "20");
    // A plain write is seen through the place, and the other way round.
    t.Ini.WriteString(u"S", u"C", u"30");
    EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"C", t.C)), "30");
    EXPECT_EQ(t.Ini.SaveToBytes(), "[S]\nA=1\nB=20\nC=30\n\n[T]\nX=9\n");
    // A value that isn't there leaves the place unknown; once written, it is found.
    TIniPlace d;
    EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"D", d)), "<none>");
    t.Ini.WriteString(u"S", u"D", u"4", d);
    EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"D", d)), "4");
    EXPECT_EQ(t.Ini.SaveToBytes(), "[S]\nA=1\nB=20\nC=30\nD=4\n\n[T]\nX=9\n");
}

TEST(IniPlaces, RemovingOrMovingLinesSendsPlacesBackToTheLookUp) {
    {  // a deleted line: the places after it would point one line too far
        ThreeLines t;
        t.Ini.DeleteKey(u"S", u"A");
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"B", t.B)), "2");
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"C", t.C)), "3");
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"A", t.A)), "<none>");
        t.Ini.WriteString(u"S", u"C", u"33", t.C);
        EXPECT_EQ(t.Ini.SaveToBytes(), "[S]\nB=2\nC=33\n\n[T]\nX=9\n");
    }
    {  // a new ident goes before the blank line: the blank line moves, and the
       // next section's place must not be disturbed
        ThreeLines t;
        TIniPlace x;
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"T", u"X", x)), "9");
        t.Ini.WriteString(u"S", u"New", u"n");
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"C", t.C)), "3");
        t.Ini.WriteString(u"S", u"C", u"c", t.C);
        t.Ini.WriteString(u"T", u"X", u"x", x);
        EXPECT_EQ(t.Ini.SaveToBytes(), "[S]\nA=1\nB=2\nC=c\nNew=n\n\n[T]\nX=x\n");
    }
    {  // an erased section: a place into it must not reach the freed lines
        ThreeLines t;
        t.Ini.EraseSection(u"S");
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"B", t.B)), "<none>");
        t.Ini.WriteString(u"S", u"B", u"back", t.B);
        EXPECT_EQ(Utf8(t.Ini.ReadString(u"S", u"B", u"")), "back");
        EXPECT_EQ(t.Ini.SaveToBytes(), "[T]\nX=9\n[S]\nB=back\n");
    }
}

TEST(IniPlaces, ALoadOrAnotherCacheNeverAnswersThroughAnOldPlace) {
    ThreeLines t;
    t.Ini.LoadFromBytes("[S]\nC=third\nB=second\n");
    EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"B", t.B)), "second");
    EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"A", t.A)), "<none>");
    t.Ini.Clear();
    EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"C", t.C)), "<none>");
    // A place found in one cache means nothing in another.
    ThreeLines other;
    TMemIniFile fresh;
    fresh.LoadFromBytes("[S]\nA=x\nB=y\nC=z\n");
    EXPECT_EQ(Utf8(ReadVia(fresh, u"S", u"C", other.A)), "z");
    EXPECT_EQ(Utf8(ReadVia(other.Ini, u"S", u"A", other.A)), "1");
}

TEST(IniPlaces, AReloadWithTheSameLinesKeepsPlacesAndAnyOtherShapeDropsThem) {
    {  // only values (and comments' text) changed: the places still name the same lines
        ThreeLines t;
        const uint64_t shape = t.C.Shape;
        t.Ini.LoadFromBytes("[S]\nA=one\nB=two\nC=three\n\n[T]\nX=nine\n");
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"C", t.C)), "three");
        EXPECT_EQ(t.C.Shape, shape);  // answered through the place, not looked up again
        t.Ini.WriteString(u"S", u"A", u"uno", t.A);
        EXPECT_EQ(t.Ini.SaveToBytes(), "[S]\nA=uno\nB=two\nC=three\n\n[T]\nX=nine\n");
    }
    {  // merged headers: a fresh cache, but the places still name the same lines
        TMemIniFile ini;
        ini.LoadFromBytes("[S]\nA=1\n[T]\nX=9\n[S]\nB=2\n");
        TIniPlace b;
        EXPECT_EQ(Utf8(ReadVia(ini, u"S", u"B", b)), "2");
        const uint64_t shape = b.Shape;
        ini.LoadFromBytes("[S]\nA=10\n[T]\nX=90\n[S]\nB=20\n");
        EXPECT_EQ(Utf8(ReadVia(ini, u"S", u"B", b)), "20");
        EXPECT_EQ(b.Shape, shape);
        EXPECT_EQ(ini.MergedSectionCount(), 1);
    }
    {  // written lines are clean again after the reload, and keep the file's spelling
        ThreeLines t;
        t.Ini.WriteString(u"S", u"A", u"dirty", t.A);
        t.Ini.LoadFromBytes("[S]\r\nA = 1\r\nB=2\r\nC=3\r\n\r\n[T]\r\nX=9");
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"S", u"A", t.A)), "1");
        t.Ini.WriteString(u"S", u"D", u"4");
        EXPECT_EQ(t.Ini.SaveToBytes(), "[S]\r\nA = 1\r\nB=2\r\nC=3\r\nD=4\r\n\r\n[T]\r\nX=9");
    }
    // Each of these files differs from the first only in its shape; a place
    // taken before must never read a line of the new one by position.
    const char* const reshaped[] = {
        "[S]\nB=2\nA=1\nC=3\n\n[T]\nX=9\n",     // idents swapped
        "[S]\nA=1\nb=2\nC=3\n\n[T]\nX=9\n",     // an ident respelled
        "[S]\n;A=1\nB=2\nC=3\n\n[T]\nX=9\n",    // a line that is no longer an entry
        "[S]\n\nA=1\nB=2\nC=3\n[T]\nX=9\n",     // a blank line moved
        "[T]\nX=9\n[S]\nA=1\nB=2\nC=3\n",       // sections swapped
        "[s]\nA=1\nB=2\nC=3\n\n[T]\nX=9\n",     // a section respelled
        "[S]\nA=1\nB=2\nC=3\n\n[T]\nX=9\nY=8\n",  // a line more
    };
    for (const char* file : reshaped) {
        SCOPED_TRACE(file);
        ThreeLines t;
        TIniPlace x;
        EXPECT_EQ(Utf8(ReadVia(t.Ini, u"T", u"X", x)), "9");
        t.Ini.LoadFromBytes(file);
        TIniPlace* places[] = {&t.A, &t.B, &t.C, &x};
        const char16_t* const idents[] = {u"A", u"B", u"C", u"X"};
        for (int i = 0; i < 4; ++i) {
            const String section = i < 3 ? u"S" : u"T";
            EXPECT_EQ(Utf8(ReadVia(t.Ini, section, idents[i], *places[i])),
                      Utf8(t.Ini.ReadString(section, idents[i], u"<none>")));
        }
    }
}

TEST(IniPlaces, WritesThroughAPlaceStillCheckTheIdentAndTrimNames) {
    TMemIniFile ini;
    ini.LoadFromBytes("[S]\n[odd=1\n");
    TIniPlace odd;
    EXPECT_EQ(Utf8(ReadVia(ini, u"S", u"[odd", odd)), "1");  // a foreign file may hold one
    EXPECT_EQ(MessageOf<EIniFileException>([&] { ini.WriteString(u"S", u"[odd", u"2", odd); }),
              "'[odd' is not a valid ini ident");
    // Names with white space around them are trimmed for the write; the place
    // isn't kept for them, so a read with the same untrimmed names (which
    // finds nothing) doesn't start answering.
    TIniPlace spaced;
    ini.WriteString(u" S ", u" K ", u"v", spaced);
    EXPECT_EQ(Utf8(ini.ReadString(u"S", u"K", u"")), "v");
    EXPECT_EQ(Utf8(ReadVia(ini, u" S ", u" K ", spaced)), "<none>");
}

TEST(IniPlainLines, UntouchedLinesOfEveryFormComeBackByteForByte) {
    const std::string file =
        "top=level\n[S]\nPlain=1\nSpaced = 2\n\tTabbed=3\nEmpty=\n=novalue\nnoequals\n; c=1\nTrail=4 \r\n[T]\nK=v";
    TMemIniFile ini;
    ini.LoadFromBytes(file);
    EXPECT_EQ(ini.SaveToBytes(), file);
    EXPECT_EQ(Utf8(ini.ReadString(u"S", u"Spaced", u"")), "2");
    EXPECT_EQ(Utf8(ini.ReadString(u"S", u"Empty", u"x")), "");
    EXPECT_FALSE(ini.ValueExists(u"S", u""));
    // Writing one line leaves the others as they were; writing a value equal
    // to the one read keeps the line's own spelling.
    ini.WriteString(u"S", u"Plain", u"one");
    ini.WriteString(u"S", u"Spaced", u"2");
    ini.WriteString(u"S", u"Trail", u"four");
    EXPECT_EQ(ini.SaveToBytes(),
              "top=level\n[S]\nPlain=one\nSpaced = 2\n\tTabbed=3\nEmpty=\n=novalue\nnoequals\n; c=1\nTrail=four\r\n"
              "[T]\nK=v");
    // The last line keeps having no end until a line follows it.
    ini.WriteString(u"T", u"L", u"w");
    const std::string saved = ini.SaveToBytes();
    EXPECT_EQ(saved.substr(saved.size() - 12), "[T]\nK=v\nL=w\n");
}

TEST(IniPlainLines, FileLineEndsFillNewLinesInEveryEncoding) {
    TMemIniFile ini;
    ini.LoadFromBytes("[S]\r\nA=1");
    ini.WriteString(u"N", u"B", u"2");
    EXPECT_EQ(ini.SaveToBytes(), "[S]\r\nA=1\r\n[N]\r\nB=2\r\n");
    ini.LoadFromBytes("[S]\rA=1\r");
    ini.WriteString(u"S", u"B", u"2");
    EXPECT_EQ(ini.SaveToBytes(), "[S]\rA=1\rB=2\r");
    // UTF-16 big-endian: new text is written in the file's byte order.
    std::string be("\xFE\xFF", 2);
    for (char16_t c : std::u16string(u"[S]\nA=\u00e9\n")) {
        be.push_back(char(c >> 8));
        be.push_back(char(c & 0xFF));
    }
    ini.LoadFromBytes(be);
    ini.WriteString(u"S", u"B", u"\u20ac");
    std::string expected("\xFE\xFF", 2);
    for (char16_t c : std::u16string(u"[S]\nA=\u00e9\nB=\u20ac\n")) {
        expected.push_back(char(c >> 8));
        expected.push_back(char(c & 0xFF));
    }
    EXPECT_EQ(ini.SaveToBytes(), expected);
    // A text outside the basic plane goes out as one UTF-8 sequence.
    ini.LoadFromBytes("[S]\n");
    ini.WriteString(u"S", u"G", u"\U0001F600");
    EXPECT_EQ(ini.SaveToBytes(), "[S]\nG=\xF0\x9F\x98\x80\n");
}

TEST(IniPlainLines, ASaveThatCantKeepTheShapeWritesNothing) {
    TMemIniFile ini;
    ini.LoadFromBytes("[S]\nA=1\n");
    ini.WriteString(u"Bad\nSection", u"K", u"v");
    EXPECT_EQ(MessageOf<EIniFileException>([&] { ini.SaveToBytes(); }),
              "Section 'Bad\nSection' can't be saved: it holds a line break");
    ini.EraseSection(u"Bad\nSection");
    ini.WriteString(u"S", u"A", u"two\rlines");
    EXPECT_EQ(MessageOf<EIniFileException>([&] { ini.SaveToBytes(); }),
              "Value 'A' in section 'S' can't be saved: it holds a line break");
    ini.WriteString(u"S", u"A", u"fine");
    EXPECT_EQ(ini.SaveToBytes(), "[S]\nA=fine\n");
}

class IniSetFields : public ide::test::TempDir {};

TEST_F(IniSetFields, FieldsFollowReloadsDeletionsAndRootChanges) {
    const std::string path = PathOf("f.ini");
    WriteFile(path, "[App\\Editor\\]\nSize=12\nName=first\n[Other\\Editor\\]\nSize=99\n");
    TIniPropSet set(nullptr);
    set.SetRootName(u"App");
    set.SetFileName(Str(path));
    auto* size = new TIntegerPropField(&set);
    size->SetFieldName(u"Editor\\Size");
    size->SetPropSet(&set);
    auto* name = new TStringPropField(&set);
    name->SetFieldName(u"Editor\\Name");
    name->SetPropSet(&set);
    set.LoadPropValues();
    EXPECT_EQ(size->GetValue().AsInteger(), 12);
    EXPECT_EQ(Utf8(name->GetValue().AsString()), "first");
    // The file changes under the set; a load answers the new values.
    WriteFile(path, "[App\\Editor\\]\nName=second\nSize=13\n");
    set.LoadPropValues();
    EXPECT_EQ(size->GetValue().AsInteger(), 13);
    EXPECT_EQ(Utf8(name->GetValue().AsString()), "second");
    // A line removed behind the set's back: the other field still finds its own.
    set.GetValues().DeleteKey(u"App\\Editor\\", u"Name");
    EXPECT_EQ(size->GetValue().AsInteger(), 13);
    size->SetValue(Variant(14));
    EXPECT_EQ(Utf8(set.GetValues().ReadString(u"App\\Editor\\", u"Size", u"")), "14");
    EXPECT_EQ(Utf8(name->GetValue().AsString()), "");  // the default
    // Another root: the same fields read another section.
    set.SetRootName(u"Other");
    WriteFile(path, "[App\\Editor\\]\nSize=12\n[Other\\Editor\\]\nSize=99\n");
    set.LoadPropValues();
    EXPECT_EQ(size->GetValue().AsInteger(), 99);
    size->SetValue(Variant(100));
    set.SavePropValues();
    EXPECT_EQ(ReadFile(path), "[App\\Editor\\]\nSize=12\n[Other\\Editor\\]\nSize=100\n");
}

TEST_F(IniSetFields, AFieldNamedAfterJoiningOrMovingBetweenSetsReadsItsOwnValue) {
    TIniPropSet a(nullptr), b(nullptr);
    a.GetValues().LoadFromBytes("[\\G\\]\nLate=1\nMoved=2\n");
    b.GetValues().LoadFromBytes("[\\G\\]\nLate=10\nMoved=20\n");
    auto* late = new TIntegerPropField(&a);
    a.AddField(late);  // (SetPropSet wants a name first; AddField doesn't ask)
    EXPECT_EQ(late->GetValue().AsInteger(), 0);  // no name yet: nothing to read
    late->SetFieldName(u"G\\Late");
    EXPECT_EQ(late->GetValue().AsInteger(), 1);
    auto* moved = new TIntegerPropField(&a);
    moved->SetFieldName(u"G\\Moved");
    moved->SetPropSet(&a);
    EXPECT_EQ(moved->GetValue().AsInteger(), 2);
    moved->SetPropSet(&b);
    EXPECT_EQ(moved->GetValue().AsInteger(), 20);
    moved->SetValue(Variant(21));
    EXPECT_EQ(Utf8(b.GetValues().ReadString(u"\\G\\", u"Moved", u"")), "21");
    EXPECT_EQ(Utf8(a.GetValues().ReadString(u"\\G\\", u"Moved", u"")), "2");
    // A set asked directly about a field it doesn't hold answers from its own
    // cache, by the field's name, for fields of the same length too.
    Variant v;
    ASSERT_TRUE(a.GetFieldData(moved, v));
    EXPECT_EQ(v.AsInteger(), 2);
    ASSERT_TRUE(a.GetFieldData(late, v));
    EXPECT_EQ(v.AsInteger(), 1);
    auto* other = new TIntegerPropField(&b);
    other->SetFieldName(u"G\\Later");
    b.GetValues().WriteString(u"\\G\\", u"Later", u"7");
    a.GetValues().WriteString(u"\\G\\", u"Later", u"8");
    ASSERT_TRUE(a.GetFieldData(other, v));
    EXPECT_EQ(v.AsInteger(), 8);
    ASSERT_TRUE(a.GetFieldData(late, v));
    EXPECT_EQ(v.AsInteger(), 1);
}
