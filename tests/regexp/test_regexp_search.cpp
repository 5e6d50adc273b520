// The search shortcuts (first characters, the required literal and its
// distances, the lead repeat's run, alternatives and repeat lengths skipped by
// their first characters) must never change a result. Each case is checked
// against the same pattern made to take the plain search: with an extra
// alternative that never matches and holds ten groups, the program has too
// many groups for any shortcut, so every position is tried and every
// alternative kept, and the extra alternative adds nothing to the result.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "RegExpTestUtil.h"

using namespace ide;
using retest::U;

namespace {

// The plain-search twin of a pattern: \x01 never stands in the texts below.
String Plain(const String& Pattern) {
    String p = Pattern + u"|\x01";
    for (int i = 0; i < 10; ++i) p += u"()";
    return p;
}

// What a search shows: found or not, every slot of the pattern's own groups,
// and the matches of a walk with MatchFrom; or the error.
std::string Outcome(const String& Pattern, const String& Text, bool CaseInsensitive, int Groups) {
    std::string out;
    try {
        TIDERegularExpression re;
        re.SetStepBudget(TIDERegularExpression::NoStepBudget);
        re.SetOptions(CaseInsensitive ? TREOptions{reCaseInsensitive} : TREOptions{});
        re.SetPattern(Pattern);
        re.SetText(Text);
        size_t from = 0;
        for (int guard = 0; guard < 40 && from <= Text.size() && re.MatchFrom(from); ++guard) {
            for (int s = 0; s <= Groups; ++s)
                out += std::to_string(re.SlotStart(s)) + ":" + std::to_string(re.SlotEnd(s)) + " ";
            out += "| ";
            const int len = re.GetMatchLen(0);
            from = static_cast<size_t>(re.GetMatchPos(0) + (len > 0 ? len : 1));
        }
    } catch (const EREError& e) {
        out += std::string("error: ") + e.what();
    }
    return out;
}

// Random patterns from a small grammar, rich in the forms the shortcuts look
// at: literals on the path of every match, leading repeats, alternatives with
// distinct and shared first characters, `$` and `^`.
class PatternMaker {
public:
    explicit PatternMaker(unsigned Seed) : FRng(Seed) {}
    String Make(int& Groups) {
        FGroups = 0;
        String p;
        static const char16_t* const leads[] = {u"[a-c]*", u"[a-c]+", u".*",        u".+",       u"a*",
                                                u"b+",     u"[^b]*",  u"\\w+",     u"(a|b)+",   u"([ab]|c)*",
                                                u"(a)+",   u"(c|[^a])*", u"(a|b|\\.)+"};
        if (Pick(3) == 0) p += leads[Pick(13)];
        p += Alternatives(0);
        Groups = FGroups;
        return p;
    }

private:
    unsigned Pick(unsigned N) { return static_cast<unsigned>(FRng() % N); }
    String Atom(int Depth) {
        static const char16_t* const atoms[] = {u"a", u"b", u"c", u"ab", u"ca", u"bca", u".", u"[ab]", u"[^a]",
                                                u"[a-c]", u"\\_", u"\\w", u"^", u"$", u"A", u"\\.", u"\x0416"};
        if (Pick(5) == 0 && Depth < 3 && FGroups < 8) {
            ++FGroups;
            return u"(" + Alternatives(Depth + 1) + u")";
        }
        return atoms[Pick(17)];
    }
    String Piece(int Depth) {
        String a = Atom(Depth);
        const unsigned r = Pick(7);
        if (r == 0) a += u'*';
        if (r == 1) a += u'+';
        if (r == 2) a += u'?';
        return a;
    }
    String Alternatives(int Depth) {
        String r;
        do {
            if (!r.empty()) r += u'|';
            const unsigned n = 1 + Pick(3);
            for (unsigned i = 0; i < n; ++i) r += Piece(Depth);
        } while (Pick(3) == 0);
        return r;
    }
    std::mt19937 FRng;
    int FGroups = 0;
};

String RandomText(std::mt19937& Rng) {
    static const char16_t units[] = {u'a', u'b', u'c', u'a', u'b', u'A', u'.', u' ', u'\n', u'\0', u'\x0416'};
    String t;
    const size_t n = Rng() % 40;
    for (size_t i = 0; i < n; ++i) t += units[Rng() % (sizeof units / sizeof units[0])];
    return t;
}

TEST(RegExpSearch, ShortcutsNeverChangeAResult) {
    PatternMaker maker(20261123);
    std::mt19937 rng(7);
    int compared = 0, matched = 0;
    for (int i = 0; i < 3000; ++i) {
        int groups = 0;
        const String pattern = maker.Make(groups);
        const String text = RandomText(rng);
        const bool ci = rng() % 4 == 0;
        const std::string fast = Outcome(pattern, text, ci, groups);
        const std::string plain = Outcome(Plain(pattern), text, ci, groups);
        if (fast.rfind("error: ", 0) == 0 && plain.rfind("error: ", 0) == 0) continue;  // refused alike
        ++compared;
        if (fast.find('|') != std::string::npos) ++matched;
        ASSERT_EQ(fast, plain) << "pattern /" << retest::S(pattern) << "/ on \"" << retest::S(text) << "\""
                               << (ci ? " (case-insensitive)" : "");
    }
    // The grammar makes valid patterns, and many of them match.
    EXPECT_GT(compared, 2000);
    EXPECT_GT(matched, 1000);
}

TEST(RegExpSearch, RequiredLiteralAndLeadRepeatCases) {
    struct Case {
        const char* pattern;
        const char* text;
        int pos;  // -1: no match
        int len;
    };
    const Case cases[] = {
        {"(fox|dog) jumps", "the dog barks, the fox jumps", 19, 9},  // literal at a fixed distance
        {"(fox|dog) jumps", "he jumps; a dog jumps", 12, 9},
        {"(fox|dog) jumps", "cat jumps", -1, 0},
        {"[a-z]+ing", "ING ing a singing bird", 10, 7},               // the run before the literal
        {"[a-z]+ing", "ing", -1, 0},                                  // nothing to repeat before it
        {"[a-z]*ing", "ing", 0, 3},                                   // a star needs nothing
        {"[a-z]+ing", "12ing abing", 6, 5},
        {"[a-z]*q", "abc abq", 4, 3},                                 // a failed run is skipped
        {"x+y", "xxxz xxy", 5, 3},
        {"a(b|c)*d$", "abd acbd", 4, 4},
        {"return", "returned; return x", 0, 6},
        {"(a|e)+d", "aee eaed", 4, 4},                                // a repeated group's run
        {"(a|e)+d", "d aed", 2, 3},
        {"(a|e)*d", "xd", 1, 1},
        {"(a|e)+d", "ea", -1, 0},
        {"(a|e)+ad", "eeaad", 0, 5},                                  // the literal's unit is in the run
        {"([a-c]|x)*cd", "abx abcd", 4, 4},
    };
    for (const Case& c : cases) {
        TIDERegularExpression re;
        re.SetPattern(U(c.pattern));
        const bool found = re.Match(U(c.text));
        EXPECT_EQ(found, c.pos >= 0) << c.pattern << " on " << c.text;
        if (found && c.pos >= 0) {
            EXPECT_EQ(re.GetMatchPos(0), c.pos) << c.pattern << " on " << c.text;
            EXPECT_EQ(re.GetMatchLen(0), c.len) << c.pattern << " on " << c.text;
        }
    }
}

TEST(RegExpSearch, NoStartPastATerminatorEvenWhenALiteralLiesBeyondIt) {
    // A search never starts past the text's first terminator; a literal that
    // only stands after it must not pull the search there.
    TIDERegularExpression re;
    String text = U("xx");
    text.push_back(0);
    text += U("dog jumps");
    for (const char* pattern : {"(fox|dog) jumps", "[a-z]+jumps", "[a-z]+ jumps", "g jumps"}) {
        re.SetPattern(U(pattern));
        EXPECT_FALSE(re.Match(text)) << pattern;
    }
    // A match that starts before it may run over it with a dot.
    re.SetPattern(U("x.dog"));
    ASSERT_TRUE(re.Match(text));
    EXPECT_EQ(re.GetMatchPos(0), 1);
}

}  // namespace

// A case-insensitive search reads the text through the upper-casing as it
// goes: it must find what the upper-cased pattern finds in an upper-cased
// copy of the text, slot for slot, whichever shortcut it takes (first
// character, a few first characters, the first-character table, the
// required literal). The units below include the ones that several units
// upper-case to: s, S and the long s; i, I and the dotless i; the micro sign
// and both Greek mus.
TEST(RegExpSearch, CaseInsensitiveSearchEqualsASearchOfTheUpperCasedText) {
    static const char16_t folding[] = {u's', u'S', 0x17F, u'i', u'I', 0x131, 0xB5, 0x3BC, 0x39C, 0x436, 0x416};
    PatternMaker maker(1123);
    std::mt19937 rng(11);
    auto fold = [&](String s) {
        for (Char& c : s)
            if ((c == u'a' || c == u'c') && rng() % 2 == 0) c = folding[rng() % (sizeof folding / sizeof folding[0])];
        return s;
    };
    int compared = 0, matched = 0;
    for (int i = 0; i < 3000; ++i) {
        int groups = 0;
        const String pattern = fold(maker.Make(groups));
        const String text = fold(RandomText(rng));
        const std::string read = Outcome(pattern, text, true, groups);
        const std::string copied = Outcome(REUpperCase(pattern), REUpperCase(text), false, groups);
        if (read.rfind("error: ", 0) == 0 && copied.rfind("error: ", 0) == 0) continue;
        ++compared;
        if (read.find('|') != std::string::npos) ++matched;
        ASSERT_EQ(read, copied) << "pattern /" << retest::S(pattern) << "/ on \"" << retest::S(text) << "\"";
    }
    EXPECT_GT(compared, 2000);
    EXPECT_GT(matched, 1000);
}

TEST(RegExpSearch, CaseInsensitiveUnitsThatUpperCaseAlike) {
    struct Case {
        const char16_t* pattern;
        const char16_t* text;
        int pos;  // -1: no match
        int len;
    };
    const Case cases[] = {
        {u"sx", u"ax \x017Fx", 3, 2},          // first character S: s, S and the long s
        {u"[is]x", u"ax \x0131x", 3, 2},       // six units start a match: the table, read through
        {u"[a-z]*\x00B5n", u"ab\x03BCN", 0, 4}, // a required literal whose unit has three readers
        {u"(x|y)ing", u"yING xInG", 0, 4},
        {u"\x0436+", u"a\x0416\x0436\x0416" u"b", 1, 3},
        {u"b[a-z]*n", u"AB Bean", 3, 4},
    };
    for (const Case& c : cases) {
        TIDERegularExpression re;
        re.SetOptions(TREOptions{reCaseInsensitive});
        re.SetPattern(c.pattern);
        const bool found = re.Match(c.text);
        EXPECT_EQ(found, c.pos >= 0) << retest::S(c.pattern);
        if (found && c.pos >= 0) {
            EXPECT_EQ(re.GetMatchPos(0), c.pos) << retest::S(c.pattern);
            EXPECT_EQ(re.GetMatchLen(0), c.len) << retest::S(c.pattern);
        }
    }
}
