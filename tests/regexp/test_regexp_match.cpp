// Matching: a table of patterns and texts against the expected match and
// groups, then the behaviours that a table can't show on its own.
#include <gtest/gtest.h>

#include <vector>

#include "RegExpTestUtil.h"

using namespace ide;
using retest::U;

namespace {

struct Span {
    int pos;  // -1: the group took no part
    int len;
};

struct MatchCase {
    const char* pattern;
    const char* text;
    bool caseInsensitive;
    bool matches;
    std::vector<Span> slots;  // slot 0 first; only checked when matches
};

std::ostream& operator<<(std::ostream& os, const MatchCase& c) {
    return os << "/" << c.pattern << "/ on \"" << c.text << "\"" << (c.caseInsensitive ? " (ci)" : "");
}

const MatchCase kCases[] = {
    // Literals and the search for the leftmost start.
    {"abc", "xxabcxx", false, true, {{2, 3}}},
    {"abc", "ababab", false, false, {}},
    {"ab|cd", "xxcd", false, true, {{2, 2}}},
    {"a|b|", "xyz", false, true, {{0, 0}}},
    {"{a}", "x{a}", false, true, {{1, 3}}},
    // Anchors: the whole text only; a line break is an ordinary character.
    {"^abc", "abcabc", false, true, {{0, 3}}},
    {"^abc", "xabc", false, false, {}},
    {"abc$", "abcabc", false, true, {{3, 3}}},
    {"a$", "a\nb", false, false, {}},
    {"a\nb$", "a\nb", false, true, {{0, 3}}},
    {"$", "abc", false, true, {{3, 0}}},
    {"^", "abc", false, true, {{0, 0}}},
    // The dot and the terminator.
    {"a.", "a", false, true, {{0, 2}}},
    {"a.$", "a", false, true, {{0, 2}}},
    {"a..", "a", false, false, {}},
    {"a.*", "a", false, true, {{0, 1}}},
    {"(.)*", "ab", false, true, {{0, 3}, {2, 1}}},
    // Simple repeats and their backtracking.
    {"x*", "", false, true, {{0, 0}}},
    {"x*", "abc", false, true, {{0, 0}}},
    {"x+", "", false, false, {}},
    {"a*ab", "aaab", false, true, {{0, 4}}},
    {".*x", "axbxc", false, true, {{0, 4}}},
    {"a?b", "b", false, true, {{0, 1}}},
    {"a?b", "ab", false, true, {{0, 2}}},
    {"abc*", "abccc", false, true, {{0, 5}}},
    {"abc*", "xab", false, true, {{1, 2}}},
    {"ab+", "abbbc", false, true, {{0, 4}}},
    // Brackets.
    {"[]]", "x]", false, true, {{1, 1}}},
    {"[a-a]", "ba", false, true, {{1, 1}}},
    {"[a-]", "x-", false, true, {{1, 1}}},
    {"[-a]+", "x-a-", false, true, {{1, 3}}},
    {"[^a-c]+", "abcdefabc", false, true, {{3, 3}}},
    {"[a-c-e]+", "z-deabx", false, true, {{2, 4}}},
    {"[\\n]", "a\\b", false, true, {{1, 1}}},
    // Escapes: no classes beyond the two sets.
    {"\\.", "a.b", false, true, {{1, 1}}},
    {"\\d", "1d", false, true, {{1, 1}}},
    {"\\_", "ab c", false, true, {{2, 1}}},
    {"\\w+", "  ab c", false, true, {{2, 2}}},
    {"\\W+", "  ab c", false, true, {{2, 2}}},
    {"\\_\\w", "\r\na", false, true, {{1, 2}}},
    // Groups and alternation, first alternative first.
    {"(fox|dog) jumps", "the dog jumps", false, true, {{4, 9}, {4, 3}}},
    {"(a|ab)(c|bcd)(d*)", "abcd", false, true, {{0, 4}, {0, 1}, {1, 3}, {4, 0}}},
    {"(a|b)*c", "abac", false, true, {{0, 4}, {2, 1}}},
    {"(a|b|c)+d", "xabcd", false, true, {{1, 4}, {3, 1}}},
    {"(a+)+b", "aab", false, true, {{0, 3}, {0, 2}}},
    {"(a*)b", "aaab", false, true, {{0, 4}, {0, 3}}},
    {"((a)b)+", "ababx", false, true, {{0, 4}, {2, 2}, {2, 1}}},
    {"(a)(b)?", "ac", false, true, {{0, 1}, {0, 1}, {-1, 0}}},
    {"()", "abc", false, true, {{0, 0}, {0, 0}}},
    {"(a|ab)c", "abc", false, true, {{0, 3}, {0, 2}}},
    {"(ab|a)(bc|c)", "abc", false, true, {{0, 3}, {0, 2}, {2, 1}}},
    // Case-insensitive: compiled and matched upper-cased, positions in the
    // original text.
    {"b[a-z]*n", "a Brown Ban", true, true, {{2, 5}}},
    {"STRASSE", "die strasse", true, true, {{4, 7}}},
    {"(fox|DOG)", "The Dog", true, true, {{4, 3}, {4, 3}}},
    {"\\w+", "  ab", true, true, {{2, 2}}},
    {"[a-z]+", "éÉx", true, true, {{2, 1}}},
    {"é+", "xÉé", true, true, {{1, 2}}},
};

class MatchTable : public ::testing::TestWithParam<MatchCase> {};

TEST_P(MatchTable, MatchAndGroups) {
    const MatchCase& c = GetParam();
    TIDERegularExpression re;
    re.SetOptions(c.caseInsensitive ? TREOptions{reCaseInsensitive} : TREOptions{});
    re.SetPattern(U(c.pattern));
    ASSERT_EQ(re.Match(U(c.text)), c.matches);
    EXPECT_EQ(re.IsMatch(), c.matches);
    if (!c.matches) return;
    ASSERT_GE(re.MatchCount(), static_cast<int>(c.slots.size()));
    for (size_t i = 0; i < c.slots.size(); ++i) {
        const Span& want = c.slots[i];
        const int slot = static_cast<int>(i);
        if (want.pos < 0) {
            EXPECT_EQ(re.SlotStart(slot), TIDERegularExpression::NotSet) << "slot " << i;
            EXPECT_EQ(re.GetMatch(slot), String()) << "slot " << i;
            continue;
        }
        EXPECT_EQ(re.GetMatchPos(slot), want.pos) << "slot " << i;
        EXPECT_EQ(re.GetMatchLen(slot), want.len) << "slot " << i;
        // The slot's text is taken from the original text, clipped at its end.
        const String text = U(c.text);
        const size_t from = std::min(text.size(), static_cast<size_t>(want.pos));
        EXPECT_EQ(re.GetMatch(slot), text.substr(from, static_cast<size_t>(want.len))) << "slot " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Patterns, MatchTable, ::testing::ValuesIn(kCases));

// ---------------------------------------------------------------------------

TEST(RegExpMatch, CaseInsensitiveGroupsReadTheOriginalText) {
    auto re = TIDERegularExpression::CreateRE(nullptr, U("(b)(r[a-z]*)"), {reCaseInsensitive});
    ASSERT_TRUE(re->Match(U("xx BRoWn")));
    EXPECT_EQ(re->GetMatch(0), U("BRoWn"));
    EXPECT_EQ(re->GetMatch(1), U("B"));
    EXPECT_EQ(re->GetMatch(2), U("RoWn"));
    EXPECT_EQ(re->GetMatchPos(2), 4);
    EXPECT_EQ(re->Text(), U("xx BRoWn"));  // the text itself is never upper-cased
}

TEST(RegExpMatch, GroupsKeepTheLastIterationOfALoop) {
    TIDERegularExpression re;
    re.SetPattern(U("((a|b)c)*d"));
    ASSERT_TRUE(re.Match(U("acbcacd")));
    EXPECT_EQ(re.GetMatch(0), U("acbcacd"));
    EXPECT_EQ(re.GetMatch(1), U("ac"));
    EXPECT_EQ(re.GetMatchPos(1), 4);
    EXPECT_EQ(re.GetMatch(2), U("a"));
    EXPECT_EQ(re.GetMatchPos(2), 4);
}

TEST(RegExpMatch, BacktracksIntoEarlierAlternativesAndRepeats) {
    TIDERegularExpression re;
    // The loop must give back iterations for the tail to match.
    re.SetPattern(U("(ab|a)*abc"));
    ASSERT_TRUE(re.Match(U("ababc")));
    EXPECT_EQ(re.GetMatchPos(0), 0);
    EXPECT_EQ(re.GetMatchLen(0), 5);
    EXPECT_EQ(re.GetMatch(1), U("ab"));
    // The first alternative that leads to success wins, not the longest.
    re.SetPattern(U("(a|ab)(b*)$"));
    ASSERT_TRUE(re.Match(U("abbb")));
    EXPECT_EQ(re.GetMatch(1), U("a"));
    EXPECT_EQ(re.GetMatch(2), U("bbb"));
    // A simple repeat backs off one at a time until the rest fits.
    re.SetPattern(U("[a-z]+ing"));
    ASSERT_TRUE(re.Match(U("a singing bird")));
    EXPECT_EQ(re.GetMatch(0), U("singing"));
}

TEST(RegExpMatch, NulEndsThePatternAndActsAsTerminatorInTheText) {
    TIDERegularExpression re;
    String pattern = U("ab");
    pattern.push_back(0);
    pattern += U("zz");
    re.SetPattern(pattern);  // compiles as "ab"
    EXPECT_TRUE(re.Match(U("xab")));
    String text = U("ab");
    text.push_back(0);
    text += U("cd");
    re.SetPattern(U("cd"));
    EXPECT_FALSE(re.Match(text));  // the search stops at the first terminator
    re.SetPattern(U("b$"));
    EXPECT_TRUE(re.Match(text));
    re.SetPattern(U("b.c"));  // a dot steps over it
    ASSERT_TRUE(re.Match(text));
    EXPECT_EQ(re.GetMatchPos(0), 1);
    EXPECT_EQ(re.GetMatchLen(0), 3);
}

TEST(RegExpMatch, SimpleRepeatsDoNotRecursePerCharacter) {
    // A million characters under a simple repeat: one frame, not a million.
    String text(1000000, u'a');
    text += U("b");
    TIDERegularExpression re;
    re.SetPattern(U("a*b"));
    ASSERT_TRUE(re.Match(text));
    EXPECT_EQ(re.GetMatchLen(0), 1000001);
    // The required literal is looked for first: without it nothing is tried.
    re.SetPattern(U(".*x"));
    EXPECT_FALSE(re.Match(text));
    EXPECT_EQ(re.CompiledRE()->OptMatch(), std::u16string_view(u"x"));
}

TEST(RegExpMatch, MatchFromWalksThroughAllMatches) {
    TIDERegularExpression re;
    re.SetPattern(U("an?"));
    re.SetText(U("banana and"));
    std::vector<int> starts;
    size_t from = 0;
    while (re.MatchFrom(from)) {
        starts.push_back(re.GetMatchPos(0));
        const int len = re.GetMatchLen(0);
        from = static_cast<size_t>(re.GetMatchPos(0) + (len > 0 ? len : 1));
    }
    EXPECT_EQ(starts, (std::vector<int>{1, 3, 5, 7}));
    EXPECT_EQ(re.IsMatchState(), imNo);
    EXPECT_FALSE(re.MatchFrom(100));
    // ^ keeps meaning the start of the whole text.
    re.SetPattern(U("^a"));
    re.SetText(U("aa"));
    EXPECT_TRUE(re.MatchFrom(0));
    EXPECT_FALSE(re.MatchFrom(1));
    // Each MatchFrom leaves the same result as a Match that found that match.
    re.SetPattern(U("(n)(a)"));
    re.SetText(U("banana"));
    ASSERT_TRUE(re.MatchFrom(3));
    EXPECT_EQ(re.GetMatchPos(0), 4);
    EXPECT_EQ(re.GetMatch(2), U("a"));
}

TEST(RegExpMatch, SearchShortcutsAgreeWithPlainSearch) {
    // Patterns that take each search path, checked against the expected
    // first match.
    struct Case {
        const char* pattern;
        const char* text;
        int pos;
        int len;
    };
    const Case cases[] = {
        {"dog", "hot dog dog", 4, 3},                // first character
        {"^dog", "dog dog", 0, 3},                   // anchor
        {"x*dog", "a dog", 2, 3},                    // required literal
        {"x*dog", "no cat", -1, 0},                  // required literal absent
        {"(c|d)og", "a cog", 2, 3},                  // first-character set
        {"[^a ]+", "a  xy", 3, 2},                   // first-character set from a complement
        {"(x|)y", "ab", -1, 0},                      // empty alternative: every position
        {"(x|)b", "ab", 1, 1},
        {"\\_*$", "ab  ", 2, 2},
        {"(a|\xd0\x96)+", "x\xd0\x96\xd0\x96", 1, 2},  // a first character above 255
    };
    for (const Case& c : cases) {
        TIDERegularExpression re;
        re.SetPattern(U(c.pattern));
        const bool found = re.Match(U(c.text));
        EXPECT_EQ(found, c.pos >= 0) << c.pattern;
        if (found && c.pos >= 0) {
            EXPECT_EQ(re.GetMatchPos(0), c.pos) << c.pattern;
            EXPECT_EQ(re.GetMatchLen(0), c.len) << c.pattern;
        }
    }
}

}  // namespace
