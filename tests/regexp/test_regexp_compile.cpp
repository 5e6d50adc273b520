// Compiling: refused patterns and their messages, the program's shape and
// exact size, the search shortcuts, and the group limits.
#include <gtest/gtest.h>

#include <sstream>

#include "RegExpTestUtil.h"

using namespace ide;
using retest::RaisesRE;
using retest::U;

namespace {

struct ErrorCase {
    const char* pattern;
    bool caseInsensitive;
    const char* message;
};

std::ostream& operator<<(std::ostream& os, const ErrorCase& c) { return os << "/" << c.pattern << "/"; }

const ErrorCase kErrors[] = {
    {"a**", false, SErrorNestedRepeat},
    {"a+?", false, SErrorNestedRepeat},
    {"(ab)??", false, SErrorNestedRepeat},
    {"^*", false, SErrorInvalidRepeat},
    {"$+", false, SErrorInvalidRepeat},
    {"(a*)*", false, SErrorInvalidRepeat},
    {"()+", false, SErrorInvalidRepeat},
    {"(a|b?)*", false, SErrorInvalidRepeat},
    {"*a", false, SErrorInvalidRepeat},
    {"a|+", false, SErrorInvalidRepeat},
    {"(?a)", false, SErrorInvalidRepeat},
    {"[z-a]", false, SErrorInvalidRange},
    {"[a-c-a]", false, SErrorInvalidRange},
    {"[Z-a]", true, SErrorInvalidRange},  // upper-cased to [Z-A]
    {"[abc", false, SErrorUnmatchedBracket},
    {"[", false, SErrorUnmatchedBracket},
    {"[]", false, SErrorUnmatchedBracket},
    {"[^]", false, SErrorUnmatchedBracket},
    {"abc\\", false, SErrorTrailingBackslash},
    {"\\", false, SErrorTrailingBackslash},
    {"(abc", false, SErrorUnmatchedParens},
    {"((a)", false, SErrorUnmatchedParens},
    {"abc)", false, SErrorUnmatchedParens},
    {")", false, SErrorUnmatchedParens},
    {"a|)", false, SErrorUnmatchedParens},
};

class CompileErrors : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(CompileErrors, RaiseTheirMessageAndLeaveNoProgram) {
    const ErrorCase& c = GetParam();
    TIDERegularExpression re;
    re.SetOptions(c.caseInsensitive ? TREOptions{reCaseInsensitive} : TREOptions{});
    re.SetPattern(U(c.pattern));
    EXPECT_TRUE(RaisesRE([&] { re.Compile(); }, c.message));
    EXPECT_FALSE(re.Compiled());
    EXPECT_EQ(re.IsMatchState(), imUnknown);
    // Every way of reading a result compiles again and raises the same.
    EXPECT_TRUE(RaisesRE([&] { re.IsMatch(); }, c.message));
    EXPECT_TRUE(RaisesRE([&] { re.MatchCount(); }, c.message));
    EXPECT_TRUE(RaisesRE([&] { re.GetMatch(0); }, c.message));
    EXPECT_TRUE(RaisesRE([&] { re.Match(U("abc")); }, c.message));
    EXPECT_EQ(re.Text(), U("abc"));  // Match stores the text before compiling
    EXPECT_FALSE(re.Compiled());
}

INSTANTIATE_TEST_SUITE_P(Patterns, CompileErrors, ::testing::ValuesIn(kErrors));

TEST(RegExpCompile, AcceptedOddities) {
    // Patterns that look wrong but are valid.
    for (const char* p : {"[a-a]", "[]]", "[a-]", "[-]", "()?", "^?", "(a*)?", "{}", "a{2}", "]", "}{", "[]-a]",
                          "[--z]", "x|", "|", "(|)", "\\_\\w\\W"}) {
        TIDERegularExpression re;
        re.SetPattern(U(p));
        EXPECT_NO_THROW(re.Compile()) << p;
        EXPECT_TRUE(re.Compiled()) << p;
    }
    // The case-sensitive [Z-a] is a valid range.
    TIDERegularExpression re;
    re.SetPattern(U("[Z-a]"));
    EXPECT_TRUE(re.Match(U("_")));
}

// The program in memory order, node kinds and operands only.
std::string Shape(TIDERegularExpression& re) {
    re.Compile();
    std::istringstream in(re.CompiledRE()->Dump());
    std::string line, out;
    while (std::getline(in, line)) {
        std::string body = line.substr(line.find(": ") + 2);
        const auto arrow = body.find(" ->");
        if (arrow != std::string::npos) body.erase(arrow);
        if (!out.empty()) out += ' ';
        out += body;
    }
    return out;
}

TEST(RegExpCompile, ProgramShapes) {
    TIDERegularExpression re;
    struct Case {
        const char* pattern;
        const char* shape;
    };
    const Case cases[] = {
        {"", "BRANCH NOTHING END"},
        {"abc*", "BRANCH EXACTLY \"ab\" STAR EXACTLY \"c\" END"},
        {"abc+d", "BRANCH EXACTLY \"ab\" PLUS EXACTLY \"c\" EXACTLY \"d\" END"},
        {"ab?", "BRANCH EXACTLY \"a\" BRANCH EXACTLY \"b\" BRANCH NOTHING END"},
        {"(a|b)*c",
         "BRANCH BRANCH OPEN1 BRANCH EXACTLY \"a\" BRANCH EXACTLY \"b\" CLOSE1 NOTHING BRANCH NOTHING "
         "EXACTLY \"c\" END"},
        {"(a)+", "BRANCH OPEN1 BRANCH EXACTLY \"a\" CLOSE1 BRANCH NOTHING BRANCH NOTHING END"},
        {"^.$", "BRANCH BOL ANY EOL END"},
        {"[a-d]", "BRANCH ANYOF \"abcd\" END"},
        {"[^x-z]", "BRANCH ANYBUT \"xyz\" END"},
        {"[]a-]", "BRANCH ANYOF \"]a-\" END"},
        {"\\_", "BRANCH ANYOF \"\\u000A\\u000D \" END"},
        {"\\w", "BRANCH ANYBUT \"\\u000A\\u000D \" END"},
        {"\\(", "BRANCH EXACTLY \"(\" END"},
    };
    for (const Case& c : cases) {
        re.SetPattern(U(c.pattern));
        EXPECT_EQ(Shape(re), c.shape) << c.pattern;
    }
    // Case-insensitive: the pattern is compiled upper-cased, \w becoming \W.
    re.SetOptions({reCaseInsensitive});
    re.SetPattern(U("[a-c]x\\w"));
    EXPECT_EQ(Shape(re), "BRANCH ANYOF \"ABC\" EXACTLY \"X\" ANYBUT \"\\u000A\\u000D \" END");
    EXPECT_EQ(re.CompiledRE()->CIPattern(), U("[A-C]X\\W"));
}

TEST(RegExpCompile, LinksFollowTheChains) {
    // x* over a group: the loop's NOTHING leads back to the branch in front.
    TIDERegularExpression re;
    re.SetPattern(U("(a)*"));
    re.Compile();
    const std::string dump = re.CompiledRE()->Dump();
    // Nodes: 0 BRANCH, 8 BRANCH(loop), 16 OPEN1, 24 BRANCH, 32 EXACTLY "a",
    // 44 CLOSE1, 52 NOTHING (back), 60 BRANCH, 68 NOTHING, 76 END.
    EXPECT_NE(dump.find("8: BRANCH -> 60"), std::string::npos) << dump;
    EXPECT_NE(dump.find("52: NOTHING -> 8"), std::string::npos) << dump;
    EXPECT_NE(dump.find("44: CLOSE1 -> 52"), std::string::npos) << dump;
    EXPECT_NE(dump.find("60: BRANCH -> 68"), std::string::npos) << dump;
    EXPECT_NE(dump.find("68: NOTHING -> 76"), std::string::npos) << dump;
    EXPECT_EQ(re.CompiledRE()->CodeSize(), 84);
}

TEST(RegExpCompile, CodeSizeIsCountedExactly) {
    // 8 bytes a node, 2 a character (terminators included).
    struct Case {
        const char* pattern;
        int size;
    };
    const Case cases[] = {
        {"", 24},                 // BRANCH NOTHING END
        {"a", 28},                // BRANCH EXACTLY(a,0) END
        {"abc*", 50},             // BRANCH EXACTLY(ab,0) STAR EXACTLY(c,0) END
        {"(a|b)*c", 116},
        {"[a-z]", 8 + 8 + 54 + 8},
        {"a|b", 8 + 12 + 8 + 12 + 8},
    };
    for (const Case& c : cases) {
        TIDERegularExpression re;
        re.SetPattern(U(c.pattern));
        re.Compile();
        EXPECT_EQ(re.CompiledRE()->CodeSize(), c.size) << c.pattern;
    }
}

TEST(RegExpCompile, SearchShortcuts) {
    TIDERegularExpression re;
    re.SetPattern(U("abc|abd"));  // two top-level choices: no shortcut
    re.Compile();
    EXPECT_EQ(re.CompiledRE()->Begin(), 0);
    EXPECT_FALSE(re.CompiledRE()->Anchor());

    re.SetPattern(U("abc"));
    re.Compile();
    EXPECT_EQ(re.CompiledRE()->Begin(), u'a');
    EXPECT_TRUE(re.CompiledRE()->OptMatch().empty());  // only after a leading repeat

    re.SetPattern(U("^abc"));
    re.Compile();
    EXPECT_TRUE(re.CompiledRE()->Anchor());
    EXPECT_FALSE(re.Match(U("xabc")));

    re.SetPattern(U(".*abc.*de"));
    re.Compile();
    EXPECT_EQ(re.CompiledRE()->OptMatch(), std::u16string_view(u"abc"));

    re.SetPattern(U("x?ab.*cd"));  // of equal lengths the last wins
    re.Compile();
    EXPECT_EQ(re.CompiledRE()->OptMatch(), std::u16string_view(u"cd"));

    re.SetPattern(U("a*b(cdef)"));  // only the top-level chain counts
    re.Compile();
    EXPECT_EQ(re.CompiledRE()->OptMatch(), std::u16string_view(u"b"));
    EXPECT_TRUE(re.Match(U("bcdef")));
    EXPECT_FALSE(re.Match(U("acdef")));
}

TEST(RegExpCompile, GroupLimits) {
    // 6000 groups compile; the next one is refused.
    String many;
    for (int i = 0; i < 6000; ++i) many += U("()");
    TIDERegularExpression re;
    re.SetPattern(many);
    EXPECT_NO_THROW(re.Compile());
    EXPECT_EQ(re.MatchCount(), 6001);
    re.SetPattern(many + U("()"));
    EXPECT_TRUE(RaisesRE([&] { re.Compile(); }, SErrorTooManySubExps));
    EXPECT_FALSE(re.Compiled());
}

TEST(RegExpCompile, TenOrMoreGroupsFailAtMatchTime) {
    // Group 10's open node has the kind tnCLOSE, which the matcher refuses.
    TIDERegularExpression re;
    re.SetPattern(U("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)"));
    EXPECT_NO_THROW(re.Compile());
    EXPECT_EQ(re.MatchCount(), 11);
    EXPECT_TRUE(RaisesRE([&] { re.Match(U("abcdefghij")); }, SErrorInternal));
    EXPECT_EQ(re.IsMatchState(), imUnknown);

    // As long as the matcher doesn't reach group 10, nothing shows.
    re.SetPattern(U("(a)(b)(c)(d)(e)(f)(g)(h)(i)|q(j)"));
    ASSERT_TRUE(re.Match(U("abcdefghi")));
    EXPECT_EQ(re.GetMatch(9), U("i"));
    EXPECT_EQ(re.GetMatch(10), String());
    EXPECT_TRUE(RaisesRE([&] { re.Match(U("qj")); }, SErrorInternal));

    // Group 11 opens with the kind of CLOSE1: it sets slot 1's end, then its
    // own end (kind 32) is refused.
    re.SetPattern(U("()()()()()()()()()x(y)|(z)"));
    EXPECT_TRUE(RaisesRE([&] { re.Match(U("z")); }, SErrorInternal));
}

TEST(RegExpCompile, GroupKindsWrapAroundTheByte) {
    // Group 245's open node is (245 + 11) and 255 = 0: tnEND. Reaching it
    // ends the match there, successfully.
    String pattern = U("q");
    for (int i = 0; i < 244; ++i) pattern += U("()");
    pattern += U("|x(abc)");
    TIDERegularExpression re;
    re.SetPattern(pattern);
    ASSERT_EQ(re.MatchCount(), 246);
    ASSERT_TRUE(re.Match(U("zzxyz")));
    EXPECT_EQ(re.GetMatchPos(0), 2);
    EXPECT_EQ(re.GetMatchLen(0), 1);  // "x", then END in place of the group
    EXPECT_EQ(re.GetMatch(0), U("x"));
}

}  // namespace

// The message texts themselves, character for character.
TEST(RegExpCompile, MessageTexts) {
    EXPECT_STREQ(SErrorUnmatchedParens, "Unmatched \"(\"");
    EXPECT_STREQ(SErrorUnmatchedBracket, "Unmatched \"[\"");
    EXPECT_STREQ(SErrorTrailingBackslash, "Trailing \"\\\\\" not allowed");
    EXPECT_STREQ(SErrorInternal, "*** internal RE error ***");
    EXPECT_STREQ(SErrorNotFound, "No match found for regular expression");
    TIDERegularExpression re;
    re.SetPattern(U("ab\\"));
    try {
        re.Compile();
        FAIL() << "compiled";
    } catch (const EREError& e) {
        EXPECT_EQ(std::string(e.what()), std::string("Trailing \"") + '\\' + '\\' + "\" not allowed");
    }
}
