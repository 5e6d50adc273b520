// Limits: the matcher works at any subject length (its choices live on the
// heap, not on the thread's stack).
#include <gtest/gtest.h>

#include <string>

#include "RegExpTestUtil.h"

using namespace ide;
using retest::U;

namespace {

constexpr size_t kLong = 10000000;

// A quoted string of Body characters with an escaped quote and an escaped
// backslash every few characters, then a tail after the closing quote.
String QuotedText(size_t Body) {
    String text;
    text.reserve(Body + 16);
    text += u'"';
    while (text.size() < Body + 1) {
        text += u"abc def ";
        text += u"\\\"";   // \"
        text += u"\\\\";   // \\ (an escaped backslash)
    }
    text += u"\" tail";
    return text;
}

TEST(RegExpLimits, RepeatsOverGroupsWorkAtAnySubjectLength) {
    TIDERegularExpression re;

    const String quoted = QuotedText(kLong);
    const int closing = static_cast<int>(quoted.size()) - 6;  // index of the closing quote
    re.SetPattern(U(R"("([^"\\]|\\.)*")"));
    ASSERT_TRUE(re.Match(quoted));
    EXPECT_EQ(re.GetMatchPos(0), 0);
    EXPECT_EQ(re.GetMatchLen(0), closing + 1);
    EXPECT_EQ(re.GetMatch(1), U(R"(\\)"));  // the last iteration: the escaped backslash
    EXPECT_EQ(re.GetMatchPos(1), closing - 2);

    String pairs;
    for (size_t i = 0; i < kLong / 2; ++i) pairs += u"ab";
    re.SetPattern(U("(ab)*c"));
    EXPECT_FALSE(re.Match(pairs));  // no c: every start position fails, none crashes
    pairs += u'c';
    ASSERT_TRUE(re.Match(pairs));
    EXPECT_EQ(re.GetMatchLen(0), static_cast<int>(kLong) + 1);
    EXPECT_EQ(re.GetMatchPos(1), static_cast<int>(kLong) - 2);
    EXPECT_EQ(re.GetMatchLen(1), 2);

    re.SetPattern(U("(a|b)*c"));
    ASSERT_TRUE(re.Match(pairs));
    EXPECT_EQ(re.GetMatchLen(0), static_cast<int>(kLong) + 1);
    EXPECT_EQ(re.GetMatch(1), U("b"));
    EXPECT_EQ(re.GetMatchPos(1), static_cast<int>(kLong) - 1);
}

TEST(RegExpLimits, OpenChoicesOfALongMatchAreKeptAndTakenBack) {
    // (ab|a)* keeps a choice at every iteration (the shorter alternative),
    // 200,000 of them open at once when the repeat reaches the x.
    String text;
    for (size_t i = 0; i < 200000; ++i) text += u"ab";
    text += u"x";
    TIDERegularExpression re;
    re.SetPattern(U("(ab|a)*b?x"));
    ASSERT_TRUE(re.Match(text));
    EXPECT_EQ(re.GetMatchPos(0), 0);
    EXPECT_EQ(re.GetMatchLen(0), static_cast<int>(text.size()));
    EXPECT_EQ(re.GetMatch(1), U("ab"));
    // Going back must also put back the slots: the group's last iteration is
    // the one before the repeat gave up its final try.
    re.SetPattern(U("(ab|a)*(a)bx"));
    ASSERT_TRUE(re.Match(text));
    EXPECT_EQ(re.GetMatchLen(0), static_cast<int>(text.size()));
    EXPECT_EQ(re.GetMatchPos(1), static_cast<int>(text.size()) - 5);
    EXPECT_EQ(re.GetMatch(1), U("ab"));
    EXPECT_EQ(re.GetMatchPos(2), static_cast<int>(text.size()) - 3);
}

}  // namespace
