// The component: what invalidates the program and what only the result,
// automatic matching, the character sets, reading slots, SetMatch.
#include <gtest/gtest.h>

#include "RegExpTestUtil.h"

using namespace ide;
using retest::RaisesRE;
using retest::U;

namespace {

TEST(RegExpComponent, PatternOptionsAndSetsInvalidateTheProgram) {
    TIDERegularExpression re;
    re.SetPattern(U("a(b)"));
    EXPECT_FALSE(re.Compiled());  // compiled on demand
    EXPECT_EQ(re.MatchCount(), 2);
    EXPECT_TRUE(re.Compiled());
    TCompiledRE* program = re.CompiledRE();

    re.SetText(U("xab"));  // the text invalidates only the result
    EXPECT_EQ(re.CompiledRE(), program);
    EXPECT_EQ(re.IsMatchState(), imUnknown);
    EXPECT_TRUE(re.IsMatch());
    EXPECT_EQ(re.IsMatchState(), imYes);
    EXPECT_EQ(re.CompiledRE(), program);

    re.SetOptions(TREOptions{});  // the same options: nothing happens
    EXPECT_EQ(re.CompiledRE(), program);
    EXPECT_EQ(re.IsMatchState(), imYes);
    re.SetCharSet(0, TRECharSet());  // the same set: nothing happens
    EXPECT_EQ(re.CompiledRE(), program);

    re.SetOptions({reCaseInsensitive});
    EXPECT_FALSE(re.Compiled());
    EXPECT_EQ(re.IsMatchState(), imUnknown);
    EXPECT_TRUE(re.IsMatch());

    re.SetCharSet(1, TRECharSet().set('q'));
    EXPECT_FALSE(re.Compiled());
    EXPECT_TRUE(re.IsMatch());

    re.SetPattern(re.Pattern());  // setting the pattern always uncompiles
    EXPECT_FALSE(re.Compiled());
    EXPECT_EQ(re.IsMatchState(), imUnknown);
}

TEST(RegExpComponent, ResultsSurviveUntilReset) {
    TIDERegularExpression re;
    re.SetPattern(U("(b+)"));
    ASSERT_TRUE(re.Match(U("abbc")));
    EXPECT_EQ(re.SlotStart(1), 2);  // byte offsets
    EXPECT_EQ(re.SlotEnd(1), 6);
    // A new pattern drops the program, not the slots; reading compiles again
    // and that clears them.
    re.SetPattern(U("c"));
    EXPECT_EQ(re.SlotStart(1), 2);
    EXPECT_EQ(re.MatchCount(), 1);
    EXPECT_EQ(re.SlotStart(1), TIDERegularExpression::NotSet);
    // A new text resets the result.
    ASSERT_TRUE(re.Match(U("abbc")));
    re.SetText(U("xyz"));
    EXPECT_EQ(re.SlotStart(0), TIDERegularExpression::NotSet);
    EXPECT_FALSE(re.IsMatch());
}

TEST(RegExpComponent, ReadingSlotsChecksTheMatchAndTheIndex) {
    TIDERegularExpression re;
    re.SetPattern(U("(a)|(b)"));
    re.SetText(U("xyz"));
    EXPECT_TRUE(RaisesRE([&] { re.GetMatch(0); }, SErrorNotFound));
    EXPECT_TRUE(RaisesRE([&] { re.GetMatchPos(0); }, SErrorNotFound));
    EXPECT_TRUE(RaisesRE([&] { re.GetMatchLen(0); }, SErrorNotFound));
    re.SetText(U("xbz"));
    EXPECT_EQ(re.GetMatch(0), U("b"));
    EXPECT_EQ(re.GetMatch(2), U("b"));
    EXPECT_EQ(re.GetMatch(1), String());  // not taken: empty
    EXPECT_TRUE(RaisesRE([&] { re.GetMatch(3); }, SErrorNotFound));
    EXPECT_TRUE(RaisesRE([&] { re.GetMatch(-1); }, SErrorNotFound));
    EXPECT_TRUE(RaisesRE([&] { re.SetMatch(1, U("q")); }, SErrorNotFound));
    EXPECT_TRUE(RaisesRE([&] { re.SetCharSet(2, TRECharSet()); }, SErrorInvalidParameter));
}

TEST(RegExpComponent, FailedCompileLeavesAUsableComponent) {
    TIDERegularExpression re;
    re.SetPattern(U("(ab"));
    EXPECT_TRUE(RaisesRE([&] { re.Match(U("ab")); }, SErrorUnmatchedParens));
    EXPECT_FALSE(re.Compiled());
    EXPECT_EQ(re.IsMatchState(), imUnknown);
    EXPECT_EQ(re.Text(), U("ab"));
    re.SetPattern(U("(ab)"));
    EXPECT_TRUE(re.IsMatch());
    EXPECT_EQ(re.GetMatch(1), U("ab"));
}

TEST(RegExpComponent, AutoMatchFollowsEveryChange) {
    auto re = TIDERegularExpression::CreateRE(nullptr, U("b+"), {reAutoMatch});
    EXPECT_TRUE(re->Compiled());           // matched the empty text at once
    EXPECT_EQ(re->IsMatchState(), imNo);
    re->SetText(U("abbc"));
    EXPECT_EQ(re->IsMatchState(), imYes);  // without anyone asking
    EXPECT_EQ(re->GetMatch(0), U("bb"));
    re->SetPattern(U("c"));
    EXPECT_EQ(re->IsMatchState(), imYes);
    EXPECT_EQ(re->GetMatchPos(0), 3);
    re->SetOptions({reAutoMatch, reCaseInsensitive});
    EXPECT_EQ(re->IsMatchState(), imYes);
    re->SetCharSet(0, TRECharSet().set('B'));  // matched against the upper-cased text
    EXPECT_EQ(re->IsMatchState(), imYes);
    re->SetPattern(U("\\_+"));
    EXPECT_EQ(re->GetMatch(0), U("bb"));
    // A refused pattern raises from the setter itself.
    EXPECT_TRUE(RaisesRE([&] { re->SetPattern(U("[")); }, SErrorUnmatchedBracket));
    EXPECT_FALSE(re->Compiled());
}

TEST(RegExpComponent, CharacterSets) {
    TIDERegularExpression re;
    re.SetPattern(U("\\_+"));
    ASSERT_TRUE(re.Match(U("a - \t\r\nb")));
    EXPECT_EQ(re.GetMatch(0), U(" "));  // default set 0: LF, CR, blank

    TRECharSet dashes;
    dashes.set('-');
    re.SetCharSet(0, dashes);
    EXPECT_EQ(re.CharCount(0), 1);
    ASSERT_TRUE(re.Match(U("a --b")));
    EXPECT_EQ(re.GetMatch(0), U("--"));
    re.SetCharSet(0, TRECharSet());  // empty again: the default again
    EXPECT_EQ(re.CharCount(0), 0);
    ASSERT_TRUE(re.Match(U("a --b")));
    EXPECT_EQ(re.GetMatch(0), U(" "));

    // Member 0 doesn't count: a set of just #0 is empty.
    re.SetCharSet(0, TRECharSet().set(0));
    EXPECT_EQ(re.CharCount(0), 0);
    ASSERT_TRUE(re.Match(U("ab c")));
    EXPECT_EQ(re.GetMatchPos(0), 2);

    // 128 members or more: the complement is stored, so characters above
    // 255 are members.
    TRECharSet most;
    for (int c = 1; c <= 255; ++c)
        if (c != 'x') most.set(static_cast<size_t>(c));
    re.SetCharSet(1, most);
    EXPECT_EQ(re.CharCount(1), 254);
    re.SetPattern(U("\\w+"));
    ASSERT_TRUE(re.Match(U("xxa\xd0\x96" "bx")));
    EXPECT_EQ(re.GetMatchPos(0), 2);
    EXPECT_EQ(re.GetMatchLen(0), 3);
    re.Compile();
    EXPECT_NE(re.CompiledRE()->Dump().find("ANYBUT \"x\""), std::string::npos);

    // Fewer than 128: the members themselves, so nothing above 255 is one.
    TRECharSet few;
    few.set('a').set('b');
    re.SetCharSet(1, few);
    ASSERT_TRUE(re.Match(U("\xd0\x96" "ab")));
    EXPECT_EQ(re.GetMatchPos(0), 1);
    EXPECT_EQ(re.GetMatchLen(0), 2);
}

TEST(RegExpComponent, SetMembersAreNotUpperCased) {
    // With reCaseInsensitive the pattern and the text are upper-cased, the
    // sets are not: a lower-case member never meets the upper-cased text.
    TIDERegularExpression re;
    re.SetCharSet(1, TRECharSet().set('a'));
    re.SetPattern(U("\\w"));
    EXPECT_TRUE(re.Match(U("a")));
    re.SetOptions({reCaseInsensitive});
    EXPECT_FALSE(re.Match(U("a")));
    re.SetCharSet(1, TRECharSet().set('A'));
    EXPECT_TRUE(re.Match(U("a")));
}

TEST(RegExpComponent, SetMatchMovesLaterSlotsByHalfTheChange) {
    TIDERegularExpression re;
    re.SetPattern(U("(a+)(b+)"));
    ASSERT_TRUE(re.Match(U("aaabbb")));
    re.SetMatch(1, U("x"));
    EXPECT_EQ(re.Text(), U("xbbb"));
    EXPECT_EQ(re.IsMatchState(), imYes);  // the result stays
    // Shrunk by 2 characters: later positions move by 2 bytes, one character.
    EXPECT_EQ(re.GetMatchPos(1), 0);  // the slot's own start stays
    EXPECT_EQ(re.GetMatchLen(1), 2);
    EXPECT_EQ(re.GetMatch(1), U("xb"));
    EXPECT_EQ(re.GetMatchPos(2), 2);  // a correct shift would say 1
    EXPECT_EQ(re.GetMatchLen(2), 3);
    EXPECT_EQ(re.GetMatch(2), U("bb"));
    EXPECT_EQ(re.GetMatch(0), U("xbbb"));

    // Growing: "ab" -> "xyzb", 2 more characters, later slots 1 character on.
    re.SetPattern(U("(a)(b)"));
    ASSERT_TRUE(re.Match(U("ab")));
    re.SetMatch(1, U("xyz"));
    EXPECT_EQ(re.Text(), U("xyzb"));
    EXPECT_EQ(re.GetMatchPos(2), 2);
    EXPECT_EQ(re.GetMatch(2), U("z"));
    EXPECT_EQ(re.GetMatch(1), U("xy"));

    // An odd change leaves a position between two characters: it reads
    // truncated.
    ASSERT_TRUE(re.Match(U("ab")));
    re.SetMatch(1, U("xy"));  // one more character: one byte
    EXPECT_EQ(re.SlotStart(2), 3);
    EXPECT_EQ(re.GetMatchPos(2), 1);
    EXPECT_EQ(re.GetMatchLen(2), 1);

    // Replacing an earlier slot leaves the positions before it alone.
    ASSERT_TRUE(re.Match(U("ab")));
    re.SetMatch(2, U("QQQQ"));
    EXPECT_EQ(re.Text(), U("aQQQQ"));
    EXPECT_EQ(re.GetMatch(1), U("a"));
    // Its own start stays, its end moves 3 bytes: (4 + 3 - 2) / 2 = 2 characters.
    EXPECT_EQ(re.GetMatch(2), U("QQ"));
}

TEST(RegExpComponent, SetMatchWithAutoMatchMatchesAgain) {
    auto re = TIDERegularExpression::CreateRE(nullptr, U("a+"), {reAutoMatch});
    re->SetText(U("xaay"));
    ASSERT_EQ(re->GetMatch(0), U("aa"));
    re->SetMatch(0, U("b"));
    EXPECT_EQ(re->Text(), U("xby"));
    EXPECT_EQ(re->IsMatchState(), imNo);
    EXPECT_TRUE(RaisesRE([&] { re->GetMatch(0); }, SErrorNotFound));
    re->SetText(U("aXa"));
    re->SetMatch(0, U("aaa"));
    EXPECT_EQ(re->Text(), U("aaaXa"));
    EXPECT_EQ(re->GetMatch(0), U("aaa"));
}

TEST(RegExpComponent, SetMatchOnASlotPastTheEnd) {
    // "a." on "a" ends one past the terminator; replacing it takes what is
    // there.
    TIDERegularExpression re;
    re.SetPattern(U("a."));
    ASSERT_TRUE(re.Match(U("a")));
    EXPECT_EQ(re.GetMatchLen(0), 2);
    EXPECT_EQ(re.GetMatch(0), U("a"));
    re.SetMatch(0, U("xyz"));
    EXPECT_EQ(re.Text(), U("xyz"));
}

TEST(RegExpComponent, UpperCasingKeepsTheLength) {
    const String mixed = u"abz \u00C0\u00FF\u0131\u017F\u00B5 \u00E9\u00F1 \u03C9\u03C2 \u0451\u044F \u0561 \uFF5A \u01C4 \u00DF \U0001D49C";
    const String upper = REUpperCase(mixed);
    EXPECT_EQ(upper.size(), mixed.size());
    EXPECT_EQ(upper, u"ABZ \u00C0\u0178IS\u039C \u00C9\u00D1 \u03A9\u03A3 \u0401\u042F \u0531 \uFF3A \u01C4 \u00DF \U0001D49C");
    EXPECT_EQ(REUpCase(u'q'), u'Q');
    EXPECT_EQ(REUpCase(0xD835), 0xD835);  // surrogates stay
}

}  // namespace
