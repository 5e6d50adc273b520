// Fuzz target for the regular expression engine: random patterns, texts,
// options and character sets through compile, match, the slots and SetMatch.
//
// The matcher keeps its choices on the heap, so the text may be as long as
// the input allows. Every search runs under a step budget set at run time
// (a backtracking matcher is exponential on some patterns, which is expected
// and not a fault): a search that runs out raises EREStepBudgetExceeded,
// which this target accepts. The pattern's length is one byte, so the
// compiler's recursion per nesting level of groups stays shallow.
//
// Layout of an input:
//   byte 0     bit 0 reCaseInsensitive, bit 1 reAutoMatch, bit 2 custom set 0,
//              bit 3 custom set 1, bit 4 prefix of many empty groups (so that
//              the pattern's groups get numbers 226 and up, where node kinds
//              wrap around), bit 5 walk all matches with MatchFrom;
//              with bit 0 and not bit 4, the case-insensitive search is
//              also compared with a search of the upper-cased text
//   32 bytes   set 0, if bit 2;  32 bytes set 1, if bit 3
//   1 byte     number of prefix groups (225 + n mod 31), if bit 4
//   1 byte     pattern length in units
//   then units of the pattern and, after it, of the text (the rest of the
//   input): a byte below 0xF8 is that unit; 0xF8 and above take the next two
//   bytes as one 16-bit unit.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "regexp/IDERegExpComp.h"

using namespace ide;

namespace {

struct Reader {
    const uint8_t* data;
    size_t size;
    size_t at = 0;
    bool More() const { return at < size; }
    uint8_t Byte() { return at < size ? data[at++] : 0; }
    Char Unit() {
        const uint8_t b = Byte();
        if (b < 0xF8) return b;
        const uint8_t hi = Byte();
        return static_cast<Char>(hi << 8 | Byte());
    }
};

// Enough for every search of a linear pattern over an input-sized text.
constexpr int64_t kStepBudget = 200000;

void Check(bool Condition) {
    if (!Condition) std::abort();
}

// Fresh: straight after a match (SetMatch moves slots by half distances, so
// afterwards only reading them safely is checked).
void ReadSlots(TIDERegularExpression& re, bool Fresh) {
    const int count = re.MatchCount();
    const int64_t limit = static_cast<int64_t>(re.Text().size()) + 1;
    for (int i = 0; i < count && i < 16; ++i) {
        const String m = re.GetMatch(i);
        if (re.SlotStart(i) == TIDERegularExpression::NotSet || re.SlotEnd(i) == TIDERegularExpression::NotSet)
            continue;
        const int pos = re.GetMatchPos(i);
        const int len = re.GetMatchLen(i);
        Check(m.size() <= re.Text().size());
        if (Fresh && i == 0) {
            // The whole match lies in the text, its end at most one past the
            // terminator.
            Check(pos >= 0 && pos <= limit - 1);
            Check(len >= 0 && pos + len <= limit);
        }
    }
}

// The start and end of every slot of up to eight matches of a walk with
// MatchFrom, or nothing when the search was refused or ran out of steps.
std::vector<int64_t> Walk(const String& Pattern, const String& Text, bool CaseInsensitive,
                          const TRECharSet* Sets, bool& Refused) {
    std::vector<int64_t> slots;
    Refused = false;
    try {
        TIDERegularExpression re;
        re.SetStepBudget(kStepBudget);
        re.SetCharSet(0, Sets[0]);
        re.SetCharSet(1, Sets[1]);
        if (CaseInsensitive) re.SetOptions(TREOptions{reCaseInsensitive});
        re.SetPattern(Pattern);
        re.SetText(Text);
        size_t from = 0;
        for (int guard = 0; guard < 8 && from <= Text.size() && re.MatchFrom(from); ++guard) {
            for (int i = 0; i < re.MatchCount() && i < 10; ++i) {
                slots.push_back(re.SlotStart(i));
                slots.push_back(re.SlotEnd(i));
            }
            const int len = re.GetMatchLen(0);
            from = static_cast<size_t>(re.GetMatchPos(0)) + static_cast<size_t>(len > 0 ? len : 1);
        }
    } catch (const EREError&) {
        Refused = true;
    }
    return slots;
}

// A case-insensitive search reads the text through the upper-casing: it
// finds what the upper-cased pattern finds in an upper-cased copy.
void CheckCaseInsensitiveReading(const String& Pattern, const String& Text, const TRECharSet* Sets) {
    bool refusedRead = false, refusedCopy = false;
    const auto read = Walk(Pattern, Text, true, Sets, refusedRead);
    const auto copied = Walk(REUpperCase(Pattern), REUpperCase(Text), false, Sets, refusedCopy);
    if (refusedRead || refusedCopy) return;
    Check(read == copied);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    Reader in{Data, Size};
    const uint8_t mode = in.Byte();
    TRECharSet sets[2];
    for (int s = 0; s < 2; ++s) {
        if (!(mode & (4 << s))) continue;
        for (int b = 0; b < 32; ++b) {
            const uint8_t v = in.Byte();
            for (int k = 0; k < 8; ++k)
                if (v >> k & 1) sets[s].set(static_cast<size_t>(b * 8 + k));
        }
    }

    String pattern;
    if (mode & 16) {
        const int groups = 225 + in.Byte() % 31;
        pattern.push_back(1);
        for (int i = 0; i < groups; ++i) pattern += u"()";
        pattern += u"|";
    }
    const size_t patternLen = in.Byte();
    for (size_t i = 0; i < patternLen && in.More(); ++i) pattern.push_back(in.Unit());
    String text;
    while (in.More()) text.push_back(in.Unit());

    if ((mode & 1) && !(mode & 16)) CheckCaseInsensitiveReading(pattern, text, sets);

    TREOptions options;
    if (mode & 1) options.Include(reCaseInsensitive);
    if (mode & 2) options.Include(reAutoMatch);

    try {
        TIDERegularExpression re;
        re.SetStepBudget(kStepBudget);
        re.SetCharSet(0, sets[0]);
        re.SetCharSet(1, sets[1]);
        re.SetText(text);
        try {
            re.SetOptions(options);
            re.SetPattern(pattern);
        } catch (const EREError&) {
            // Without reAutoMatch the setters only compile nothing, so this
            // can't happen; with it, a refused pattern, a match-time error or
            // the end of the step budget.
            Check((mode & 2) != 0);
            return 0;
        }
        try {
            re.Compile();
        } catch (const EREError&) {
            Check(!re.Compiled());
            return 0;
        }
        Check(re.CompiledRE()->CodeSize() > 0);
        (void)re.CompiledRE()->Dump();
        if (mode & 32) {
            size_t from = 0;
            for (int guard = 0; guard < 80 && from <= re.Text().size(); ++guard) {
                if (!re.MatchFrom(from)) break;
                ReadSlots(re, true);
                const int pos = re.GetMatchPos(0);
                const int len = re.GetMatchLen(0);
                Check(static_cast<size_t>(pos) >= from);
                from = static_cast<size_t>(pos) + static_cast<size_t>(len > 0 ? len : 1);
            }
            return 0;
        }
        if (re.IsMatch()) {
            ReadSlots(re, true);
            const int slot = static_cast<int>(text.size() % static_cast<size_t>(re.MatchCount()));
            if (re.SlotStart(slot) != TIDERegularExpression::NotSet &&
                re.SlotEnd(slot) != TIDERegularExpression::NotSet) {
                re.SetMatch(slot, text.size() % 2 ? u"xyz" : u"");
                if (re.IsMatch()) ReadSlots(re, (mode & 2) != 0);
            }
        }
        // The text alone keeps the program.
        TCompiledRE* program = re.CompiledRE();
        re.SetText(pattern);
        if (!(mode & 2)) Check(re.CompiledRE() == program);
        (void)re.IsMatch();
    } catch (const EREStepBudgetExceeded&) {
        // Exponential backtracking on a hostile pattern: the budget ended it.
    } catch (const EREError&) {
        // Refused at match time: ten or more groups, or group kinds that
        // wrapped around. Expected.
    }
    return 0;
}
