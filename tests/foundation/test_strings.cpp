// TStrings/TStringList: name=value rows, sorting and duplicates, update
// counting and change events, objects per row, the text forms.
#include <gtest/gtest.h>

#include "foundation/Strings.h"

using namespace ide;

namespace {
struct Counted : TObject {
    explicit Counted(int& live) : Live(live) { ++Live; }
    ~Counted() override { --Live; }
    int& Live;
};

std::string Rows(const TStrings& l) { return Utf8(l.GetCommaText()); }
}  // namespace

TEST(StringList, NameValueRowsUseTheFirstSeparatorAndFoldCase) {
    TStringList l;
    l.Add(u"Size=12");
    l.Add(u"Path=a=b");
    l.Add(u"plain");
    l.Add(u"SIZE=99");
    EXPECT_EQ(l.Names(1), u"Path");
    EXPECT_EQ(l.ValueFromIndex(1), u"a=b");
    EXPECT_EQ(l.Names(2), u"");
    EXPECT_EQ(l.IndexOfName(u"size"), 0);  // first match wins, any case
    EXPECT_EQ(l.Values(u"size"), u"12");
    EXPECT_EQ(l.Values(u"missing"), u"");
    l.SetValue(u"path", u"x");
    EXPECT_EQ(l[1], u"path=x");
    l.SetValue(u"New", u"1");
    EXPECT_EQ(l.Count(), 5);
    l.SetValue(u"New", u"");  // empty value deletes the row
    EXPECT_EQ(l.IndexOfName(u"New"), -1);
    l.NameValueSeparator = u':';
    l.Add(u"k:v");
    EXPECT_EQ(l.Values(u"k"), u"v");
}

TEST(StringList, IndexOfFoldsCaseUnlessCaseSensitive) {
    TStringList l;
    l.Add(u"Straße");
    l.Add(u"ÉCOLE");
    EXPECT_EQ(l.IndexOf(u"STRAßE"), 0);
    EXPECT_EQ(l.IndexOf(u"école"), 1);
    l.SetCaseSensitive(true);
    EXPECT_EQ(l.IndexOf(u"école"), -1);
    EXPECT_EQ(l.IndexOf(u"ÉCOLE"), 1);
}

TEST(StringList, SortedListsKeepOrderAndApplyTheDuplicatesPolicy) {
    TStringList l;
    l.SetSorted(true);
    for (auto s : {u"pear", u"Apple", u"fig", u"apple"}) l.Add(s);
    EXPECT_EQ(Rows(l), "Apple,fig,pear");  // "apple" ignored (same folded text)
    int idx = -1;
    EXPECT_TRUE(l.Find(u"FIG", idx));
    EXPECT_EQ(idx, 1);
    EXPECT_FALSE(l.Find(u"grape", idx));
    EXPECT_EQ(idx, 2);  // insertion point
    EXPECT_THROW(l.Insert(0, u"x"), EStringListError);
    EXPECT_THROW(l.Put(0, u"x"), EStringListError);

    l.SetDuplicates(dupAccept);
    l.Add(u"fig");
    EXPECT_EQ(Rows(l), "Apple,fig,fig,pear");
    l.SetDuplicates(dupError);
    try {
        l.Add(u"pear");
        FAIL();
    } catch (const EStringListError& e) {
        EXPECT_STREQ(e.what(), "String list does not allow duplicates");
    }
    // Unsorted lists accept anything whatever the policy.
    TStringList u;
    u.SetDuplicates(dupError);
    u.Add(u"a");
    u.Add(u"a");
    EXPECT_EQ(u.Count(), 2);
    u.Add(u"B");
    u.Add(u"a0");
    u.Sort();
    EXPECT_EQ(Rows(u), "a,a,a0,B");
    u.CustomSort([](TStringList& s, int a, int b) { return int(s[b].size()) - int(s[a].size()); });
    EXPECT_EQ(Rows(u), "a0,a,a,B");  // longest first, stable
}

TEST(StringList, ChangeEventsFireOncePerOuterUpdate) {
    TStringList l;
    std::string log;
    l.OnChanging = [&](TObject* s) { log += "<"; EXPECT_EQ(s, &l); };
    l.OnChange = [&](TObject*) { log += ">"; };
    l.Add(u"a");
    EXPECT_EQ(log, "<>");
    log.clear();
    l.BeginUpdate();
    l.BeginUpdate();
    l.Add(u"b");
    l.Delete(0);
    l.EndUpdate();
    EXPECT_EQ(l.UpdateCount(), 1);
    EXPECT_EQ(log, "<");
    l.EndUpdate();
    EXPECT_EQ(log, "<>");
    l.EndUpdate();  // at zero: nothing
    EXPECT_EQ(log, "<>");
    log.clear();
    l.SetText(u"x\r\ny\nz");  // one batch
    EXPECT_EQ(log, "<>");
    EXPECT_EQ(Rows(l), "x,y,z");
    log.clear();
    l.Clear();
    l.Clear();  // already empty: no event
    EXPECT_EQ(log, "<>");
}

TEST(StringList, ObjectsTravelWithRowsAndAreFreedOnlyWhenOwned) {
    int live = 0;
    {
        TStringList l(true);
        l.AddObject(u"a", new Counted(live));
        l.AddObject(u"b", new Counted(live));
        TObject* second = l.GetObject(1);
        l.Exchange(0, 1);
        EXPECT_EQ(l.GetObject(0), second);
        EXPECT_EQ(l.IndexOfObject(second), 0);
        l.Move(0, 1);
        EXPECT_EQ(l[1], u"b");
        EXPECT_EQ(l.GetObject(1), second);
        l.Delete(0);
        EXPECT_EQ(live, 1);
    }
    EXPECT_EQ(live, 0);
    Counted kept(live);
    {
        TStringList l;
        l.AddObject(u"k", &kept);
    }
    EXPECT_EQ(live, 1);
}

TEST(StringList, TextFormsRoundTripAndBadIndexesRaise) {
    TStringList l;
    l.SetCommaText(u"one, \"two words\",\"say \"\"hi\"\"\",,last,");
    EXPECT_EQ(l.Count(), 6);
    EXPECT_EQ(l[1], u"two words");
    EXPECT_EQ(l[2], u"say \"hi\"");
    EXPECT_EQ(l[3], u"");
    EXPECT_EQ(l[5], u"");
    TStringList back;
    back.SetCommaText(l.GetCommaText());
    EXPECT_TRUE(back.Equals(l));
    EXPECT_EQ(l.GetText().substr(0, 4), u"one\n");
    try {
        (void)l.Get(6);
        FAIL();
    } catch (const EListError& e) {
        EXPECT_STREQ(e.what(), "List index out of bounds (6)");
    }
    EXPECT_THROW(l.Delete(-1), EListError);
    EXPECT_THROW(l.Insert(8, u"x"), EListError);
    TStringList copy;
    copy.Assign(&l);
    EXPECT_TRUE(copy.Equals(l));
}
