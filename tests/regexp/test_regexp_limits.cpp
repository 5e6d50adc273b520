// Limits: the matcher works at any subject length (its choices live on the
// heap, not on the thread's stack), and the step budget stops searches that
// backtrack exponentially with a clear error, never linear ones.
#include <gtest/gtest.h>

#include <string>

#include "RegExpTestUtil.h"

using namespace ide;
using retest::RaisesRE;
using retest::U;

namespace {

constexpr size_t kLong = 10000000;

// "abab...ab", Length characters.
String Pairs(size_t Length) {
    String text(Length, u'a');
    for (size_t i = 1; i < Length; i += 2) text[i] = u'b';
    return text;
}

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

    String pairs = Pairs(kLong);
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
    const String text = Pairs(400000) + U("x");
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

// A run of Length a's, then a line with a b: "(a+)+b" backtracks
// exponentially at every a (the b is there, so the search can't give up
// before trying).
String Hopeless(size_t Length) { return String(Length, u'a') + U("\nb"); }

// A pattern that a randomised comparison found to run for minutes on a short
// subject, and the classic exponential one.
TEST(RegExpLimits, ExponentialBacktrackingStopsWithTheBudgetError) {
    TIDERegularExpression re;
    re.SetPattern(U("(([c-c]*.+|b*[^a-c]c).*)*c^|a*(a*$)"));
    const String subject = U("baaabca\nba\nc\naacaccccbc");
    EXPECT_TRUE(RaisesRE([&] { re.Match(subject); }, SErrorStepBudget));
    EXPECT_EQ(re.StepsUsed(), TIDERegularExpression::DefaultStepBudget(subject.size()));

    re.SetPattern(U("(a+)+b"));
    const String run(30, u'a');
    try {
        re.Match(Hopeless(30));
        ADD_FAILURE() << "(a+)+b over 30 a's ended without the budget error";
    } catch (const EREStepBudgetExceeded& e) {
        EXPECT_STREQ(e.what(), SErrorStepBudget);
    }
    // Nothing is left half-done: no result, and the component goes on.
    EXPECT_EQ(re.IsMatchState(), imUnknown);
    EXPECT_EQ(re.SlotStart(0), TIDERegularExpression::NotSet);
    EXPECT_EQ(re.SlotStart(1), TIDERegularExpression::NotSet);
    ASSERT_TRUE(re.Match(run + U("b")));
    EXPECT_EQ(re.GetMatchLen(0), 31);
}

TEST(RegExpLimits, TheDefaultBudgetNeverTripsOnLinearWork) {
    // 10,000,000 characters through a loop over a group and through a
    // failing search that tries every start position: the steps grow with the
    // text, a small multiple of its length.
    const String text = Pairs(kLong);
    TIDERegularExpression re;
    re.SetPattern(U("(a|b)*$"));
    ASSERT_TRUE(re.Match(text));
    EXPECT_EQ(re.GetMatchLen(0), static_cast<int>(kLong));
    EXPECT_LT(re.StepsUsed(), static_cast<int64_t>(8 * kLong));
    re.SetPattern(U("b(a|b)x"));
    EXPECT_FALSE(re.Match(text));
    EXPECT_LT(re.StepsUsed(), static_cast<int64_t>(8 * kLong));
}

TEST(RegExpLimits, CallersRaiseLowerOrDisableTheBudget) {
    TIDERegularExpression re;
    EXPECT_EQ(re.StepBudget(), TIDERegularExpression::AutoStepBudget);
    re.SetPattern(U("(a+)+b"));
    const String run = Hopeless(16);  // about a million steps, exponential in the run

    re.SetStepBudget(1000);
    EXPECT_TRUE(RaisesRE([&] { re.Match(run); }, SErrorStepBudget));
    EXPECT_EQ(re.StepsUsed(), 1000);

    re.SetStepBudget(TIDERegularExpression::NoStepBudget);
    EXPECT_FALSE(re.Match(run));
    const int64_t needed = re.StepsUsed();
    EXPECT_GT(needed, 1000);

    re.SetStepBudget(needed);  // exactly enough
    EXPECT_FALSE(re.Match(run));
    re.SetStepBudget(needed - 1);
    EXPECT_TRUE(RaisesRE([&] { re.Match(run); }, SErrorStepBudget));

    // A low budget stops even a linear search over a long text; the error is
    // an EREError like every other failure of the engine, also when a setter
    // matches with reAutoMatch.
    TIDERegularExpression linear;
    linear.SetOptions({reAutoMatch});
    linear.SetStepBudget(100);
    linear.SetPattern(U("(a|b)*$"));
    EXPECT_TRUE(RaisesRE([&] { linear.SetText(Pairs(1000)); }, SErrorStepBudget));
    linear.SetStepBudget(TIDERegularExpression::AutoStepBudget);
    EXPECT_TRUE(linear.IsMatch());
}

}  // namespace
