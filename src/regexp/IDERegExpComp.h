// The regular expression engine: a small backtracking matcher over UTF-16
// text. TIDERegularExpression is the component a host uses; TCompiledRE is
// the program it owns while its pattern stays the same.
//
// Syntax (everything else is a literal character):
//   ^  start of the whole text        $  end of the whole text
//   .  one character                  [...] [^...]  one of / none of
//   (...)  group                      a|b  alternatives, first one first
//   x* x+ x?  greedy repeats          \_  a character of set 0
//   \w \W  (the same) a character of set 1
//   \c  the literal character c; `]`, `{` and `}` are ordinary.
//
// Positions are UTF-16 code units. The text is treated as one line; a line
// break is an ordinary character. A NUL code unit ends the pattern and acts as
// the text's terminator wherever the engine looks for one.
//
// Oddities kept on purpose:
// - A `.` also matches the terminator and moves one past it, so "a." matches
//   "a" with a length of 2. That position reads as a terminator to the next
//   node ("a.$" matches "a"); a further `.` fails there, having nothing left to
//   step over ("a.." doesn't match "a", and "(.)*" ends).
// - Up to 6000 groups compile, but node kinds hold nine: a group numbered 10
//   or more gets the kind (number + 11) and 255 for its start and
//   (number + 21) and 255 for its end. Group 10's start is tnCLOSE, which the
//   matcher refuses with "*** internal RE error ***"; higher numbers land on
//   other kinds and behave as those.
// - \w and \W are the same; `{` and `}` are ordinary; brackets have no
//   escapes; with reCaseInsensitive the pattern (so \w becomes \W) and the
//   text are upper-cased but the character sets are not.
// - SetMatch moves later slots by half the change of length (see SetMatch).
#pragma once

#include <bitset>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Runtime.h"
#include "regexp/IDERegExpConst.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EREError, Exception)

// Raises EREError with one of the messages of IDERegExpConst.h.
[[noreturn]] void REError(const char* Msg);

// A search that took more steps than the component's StepBudget allows, with
// the text SErrorStepBudget. It is an EREError, so a caller that handles the
// engine's errors handles this one too.
IDE_DECLARE_EXCEPTION(EREStepBudgetExceeded, EREError)

enum TREOption : uint8_t { reCaseInsensitive, reAutoMatch };

// A set of TREOption.
class TREOptions {
public:
    constexpr TREOptions() = default;
    constexpr TREOptions(std::initializer_list<TREOption> Items) {
        for (TREOption o : Items) FBits |= Bit(o);
    }
    constexpr bool Contains(TREOption O) const { return (FBits & Bit(O)) != 0; }
    constexpr TREOptions& Include(TREOption O) { FBits |= Bit(O); return *this; }
    constexpr TREOptions& Exclude(TREOption O) { FBits &= ~Bit(O); return *this; }
    constexpr bool Empty() const { return FBits == 0; }
    friend constexpr bool operator==(TREOptions A, TREOptions B) { return A.FBits == B.FBits; }

private:
    static constexpr uint8_t Bit(TREOption O) { return static_cast<uint8_t>(1u << O); }
    uint8_t FBits = 0;
};

enum TIsMatch : uint8_t { imUnknown, imNo, imYes };

// A set of 8-bit characters; only members 1 to 255 take part in matching.
using TRECharSet = std::bitset<256>;

// The node kinds of a program, in their fixed order.
enum TNodeKind : uint8_t {
    tnEND, tnBOL, tnEOL, tnANY, tnANYOF, tnANYBUT, tnBRANCH, tnEXACTLY, tnNOTHING, tnSTAR, tnPLUS,
    tnOPEN,  // never emitted: slot 0 is the whole match
    tnOPEN1, tnOPEN2, tnOPEN3, tnOPEN4, tnOPEN5, tnOPEN6, tnOPEN7, tnOPEN8, tnOPEN9,
    tnCLOSE,  // never emitted by design; group 10's open node lands on it
    tnCLOSE1, tnCLOSE2, tnCLOSE3, tnCLOSE4, tnCLOSE5, tnCLOSE6, tnCLOSE7, tnCLOSE8, tnCLOSE9,
};

// Flags that the compiler passes up while scanning (combined as bits).
enum TNodeFlag : uint8_t {
    nfHasWidth = 1,  // cannot match empty
    nfSimple = 2,    // exactly one character wide: usable under tnSTAR / tnPLUS
    nfSPStart = 4,   // starts with a repeat: the required-literal shortcut applies
};

inline constexpr int MaxSubExpressions = 6000;  // compile-time bound on groups
inline constexpr int MatchSlots = 6001;         // slot 0 plus every group

class TIDERegularExpression;

// The compiled program. A node is, at a fixed layout:
//   bytes 0-3  Kind (TNodeKind in the low byte, the rest zero)
//   bytes 4-7  Next: signed byte distance to the next node, 0 for none
//   bytes 8-   Operand: a NUL-terminated string of UTF-16 units, or the
//              nested chain of a tnBRANCH / tnSTAR / tnPLUS.
// The compiler runs twice over the pattern: the first pass only counts (8
// bytes a node, 2 a character), then the block is allocated once at that exact
// size and the second pass fills it.
class TCompiledRE : public TObject {
public:
    // Compiles the pattern of ARE with its options and character sets.
    // Raises EREError for a bad pattern.
    explicit TCompiledRE(TIDERegularExpression* ARE);
    ~TCompiledRE() override;
    TCompiledRE(const TCompiledRE&) = delete;
    TCompiledRE& operator=(const TCompiledRE&) = delete;

    // Searches FRE's text, trying positions from Start on (0 for Match), and
    // fills FRE's slots on success. Raises EREStepBudgetExceeded when the
    // search takes more steps than FRE's step budget allows.
    bool Match(size_t Start);
    // Steps taken by the last search (see TIDERegularExpression::StepBudget).
    int64_t StepsUsed() const { return FStepsUsed; }

    // Introspection, for tests and the gallery.
    int64_t CodeSize() const { return FCodeSize; }
    Char Begin() const { return FBegin; }
    bool Anchor() const { return FAnchor; }
    std::u16string_view OptMatch() const;
    const String& CIPattern() const { return FCIPattern; }
    // A listing of the program in memory order: one node a line,
    // "offset: KIND [operand] -> next". Meant for programs of fewer than ten
    // groups; with more, group nodes take other kinds and the listing may
    // misread the bytes that follow them.
    std::string Dump() const;

private:
    using PNode = Char*;
    using PCNode = const Char*;

    // Compiler.
    void ScanRE(bool Paren, int& Flags, PNode& Result);
    PNode ScanBranch(int& Flags);
    PNode ScanPiece(int& Flags);
    PNode ScanAtom(int& Flags);
    void ScanBracket();
    void ScanSetNode(int Index);
    bool Sizing() const { return FEmit == reinterpret_cast<const Char*>(&FEmit); }
    PNode EmitNode(int Kind);
    void EmitChar(Char C);
    void EmitInsert(int Kind, PNode Opnd);
    void EmitTail(PNode P, PNode Val);
    void EmitOpndTailFixup(PNode P, PNode Val);
    void Analyse(int Flags);
    void BuildSetIndex();
    // Fewer than ten groups: every node kind is what it says, and a try can
    // fail in no other way than by not matching. The search shortcuts that
    // go beyond the classic ones apply only then.
    bool Analysable() const;

    // Matcher.
    // The matcher's loops come in two forms: Fold reads every unit of the
    // subject through the upper-casing table (reCaseInsensitive), so the
    // text is never copied.
    template <bool Fold> bool MatchFrom(size_t Start);
    template <bool Fold> bool MatchText(size_t Start);
    template <bool Fold> size_t MatchSimpleCount(PCNode Node, size_t Pos) const;
    bool InSet(PCNode Node, Char C) const;
    // The unit at Pos as the program sees it: 0 past the terminator.
    template <bool Fold> Char Ch(size_t Pos) const {
        const Char c = Pos <= FLen ? FSubject[Pos] : Char(0);
        return Fold ? FFold[c] : c;
    }
    PCNode NextAlternative(PCNode Branch, Char C) const;
    void PopChoice();
    [[noreturn]] void StepBudgetExceeded();

    TIDERegularExpression* FRE;  // owner, not owned
    String FCIPattern;           // the pattern as compiled
    const Char* FFold = nullptr; // the upper-casing table, for reCaseInsensitive
    Char FBegin = 0;             // if not 0, every match starts with it
    Char FBeginUnits[3] = {};    // the text units that read as FBegin
    int FBeginUnitCount = 0;     // 0: more than three
    Char FBeginCasePair = 0;     // the lower case when those are an ASCII letter's two cases
    bool FAnchor = false;        // can only match at the start
    PCNode FOptMatch = nullptr;  // a literal every match contains
    int FOptMatchLen = 0;
    const Char* FScan = nullptr; // cursor in the pattern while compiling
    size_t FPos = 0;             // cursor in the subject while matching
    PNode FNodes = nullptr;      // the program
    Char* FEmit = nullptr;       // write position; points at itself in pass one
    int64_t FCodeSize = 0;       // bytes counted by pass one
    std::unique_ptr<Char[]> FBlock;

    // Matching accelerators, built after pass two; they never change what
    // matches. Per set node (by unit offset) an index into FSetMaps.
    struct TSetMap {
        std::bitset<256> Low;  // members below 256
        bool Wide = false;     // some member is 256 or above
        std::shared_ptr<std::bitset<65536>> All;  // every member, for long wide sets
    };
    std::vector<int32_t> FSetIndex;
    std::vector<TSetMap> FSetMaps;
    std::vector<size_t> FSetNodes;  // unit offsets of set nodes while emitting
    bool FHasFirstSet = false;      // positions may be skipped by FFirstSet
    std::bitset<256> FFirstSet;     // possible first characters below 256
    bool FFirstWide = false;        // a first character may be 256 or above

    // Characters a chain of nodes can start with, where known: a try of the
    // chain fails at once on any other character. Per tnBRANCH node (for its
    // operand) and per tnSTAR / tnPLUS node (for what follows it), by unit
    // offset, an index into FFirstSets; -1 where nothing is known. Only for
    // programs of fewer than ten groups.
    struct TFirstSet {
        std::bitset<256> Low;  // possible first characters below 256
        bool Wide = false;     // a first character may be 256 or above
        bool Test(Char C) const { return C < 256 ? Low[C] : Wide; }
    };
    // A literal that every match contains, at a distance from the match's
    // start between FRequiredMin and FRequiredMax (SIZE_MAX: no bound),
    // searched for by its units at FRequiredP1 and FRequiredP2.
    PCNode FRequired = nullptr;
    size_t FRequiredLen = 0;
    size_t FRequiredMin = 0;
    size_t FRequiredMax = 0;
    size_t FRequiredP1 = 0;
    size_t FRequiredP2 = 0;
    // The text units that read as the literal's units at P1 and P2 (three
    // each, repeated to fill); only when the text is read through FFold.
    Char FRequiredUnits1[3] = {};
    Char FRequiredUnits2[3] = {};
    bool FRequiredFolds = false;  // some unit at P1 or P2 has more than three
    // A simple repeat that a match starts with (after group starts): a try
    // that fails fails for every start inside the repeat's run too.
    PCNode FLead = nullptr;
    size_t FLeadRun = 0;  // run length of the lead repeat in the last try, or SIZE_MAX
    // The lead repeat is followed at once by the required literal: a match
    // starts at the beginning of the repeat's run that ends at an occurrence.
    bool FLeadThenRequired = false;
    // Or a repeated group of which every iteration takes one character by
    // one of a few simple nodes, as in "(a|e)+": its run is as long as the
    // characters those nodes take, and the same holds for it.
    bool FLeadGroup = false;
    bool FLeadGroupPlus = false;         // "+": at least one iteration
    std::bitset<256> FLeadLow;           // the characters below 256 it takes
    std::vector<PCNode> FLeadTakers;     // its simple nodes, for wider ones
    bool BuildLeadGroup(PCNode First);
    // Whether the lead repeat takes a character C (not the terminator).
    bool LeadTakes(Char C) const;
    bool SimpleTakes(PCNode Node, Char C) const;
    // The first characters of a match (FFirstSet) as a table with the
    // terminator marked, and as up to three units of the text when that is
    // all they are (with FFold: every unit that reads as one of them).
    uint8_t FFirstStop[256] = {};
    Char FFirstFew[3] = {};
    int FFirstFewCount = 0;
    void BuildRequired();
    void BuildLead();
    template <bool Fold> bool Search(size_t Start);
    template <bool Fold> size_t ScanFirst(size_t At) const;
    template <bool Fold> size_t FindRequired(size_t From) const;
    template <bool Fold> size_t FindBegin(size_t From) const;
    std::vector<int32_t> FFirstIndex;
    std::vector<TFirstSet> FFirstSets;
    // Whether what follows a repeat may match at a character: by the first
    // characters of what follows where they are known, else by the first
    // character of a literal that follows (0: any character).
    struct TFollow {
        const TFirstSet* Set;
        Char Want;
        bool Test(Char C) const { return Set ? Set->Test(C) : Want == 0 || C == Want; }
    };
    TFollow FollowOf(PCNode Repeat, PCNode Next) const;
    PCNode FStart = nullptr;  // where a try starts: the program, or the operand of its only alternative
    const TFirstSet* FirstSetOf(PCNode Node) const {
        const size_t at = static_cast<size_t>(Node - FNodes);
        if (at >= FFirstIndex.size() || FFirstIndex[at] < 0) return nullptr;
        return &FFirstSets[static_cast<size_t>(FFirstIndex[at])];
    }
    void BuildFirstSets();

    // The backtrack stack: choices still open and the slot values to put
    // back when the matcher returns to them. It lives on the heap, so the
    // depth of a search is bounded by memory, not by the thread's stack.
    enum TFrameKind : uint32_t { fkAlternative, fkRepeat, fkSlot };
    struct TFrame {
        TFrameKind Kind;
        uint32_t Node;  // unit offset of the next alternative / of the repeat; a slot's node kind
        size_t Pos;     // position to go on from / last position tried / the slot's old value
        size_t Aux;     // a repeat's lowest position / the slot's old FSavedAt
    };
    static constexpr size_t NoChoice = SIZE_MAX;
    std::vector<TFrame> FStack;
    size_t FTopChoice = NoChoice;     // index of the newest choice frame
    int64_t FStepsLeft = 0;           // of the budget of the current search
    int64_t FStepsUsed = 0;           // by the last search
    size_t FSavedAt[tnCLOSE9 + 1];    // per group node kind: the choice its slot was saved under

    // The subject while matching.
    const Char* FSubject = nullptr;
    size_t FLen = 0;
};

// The component. Set Pattern, Options and Text, then ask IsMatch and the
// slots; or call Match(Text). Pattern, options and character sets invalidate
// the program; the text invalidates only the result. Reading a result
// compiles on demand.
class TIDERegularExpression : public TObject {
public:
    explicit TIDERegularExpression(TObject* AOwner = nullptr);
    ~TIDERegularExpression() override;
    TIDERegularExpression(const TIDERegularExpression&) = delete;
    TIDERegularExpression& operator=(const TIDERegularExpression&) = delete;

    // Stores the options, then sets the pattern.
    static std::unique_ptr<TIDERegularExpression> CreateRE(TObject* AOwner, const String& APattern,
                                                           TREOptions AOptions);

    TObject* Owner() const { return FOwner; }

    const String& Pattern() const { return FPattern; }
    void SetPattern(const String& Value);
    TREOptions Options() const { return FOptions; }
    void SetOptions(TREOptions Value);
    const String& Text() const { return FText; }
    void SetText(const String& Value);
    // Set 0 is the `\_` set, set 1 the `\w` set. Empty means the default
    // (line feed, carriage return, blank: members of set 0, non-members of
    // set 1).
    const TRECharSet& CharSet(int Index) const;
    void SetCharSet(int Index, const TRECharSet& Value);
    int CharCount(int Index) const;

    void Compile();
    void UnCompile();
    void ResetMatches();
    bool Match(const String& AText);
    // Not part of the classic interface: searches Text (which is not stored
    // again) for the first match that starts at Start or later, leaving the
    // result exactly as Match would for such a match: `^` still means the
    // start of the whole text, and slot 0 begins at the match found. Used to
    // walk through all matches of a long text without copying it. Start past
    // the end of the text finds nothing.
    bool MatchFrom(size_t Start);
    bool IsMatch();
    int MatchCount();
    String GetMatch(int AMatch);
    int GetMatchPos(int AMatch);
    int GetMatchLen(int AMatch);
    void SetMatch(int AMatch, const String& AText);

    // The step budget of one search (Match, MatchFrom, IsMatch and every
    // setter that matches with reAutoMatch). A step is one node of the
    // program run, or one return to an open choice; a search that needs more
    // raises EREStepBudgetExceeded instead of running on. A backtracking
    // matcher takes exponential time on some patterns ("(a+)+b" on a long
    // run of a's), and the budget keeps such a search from freezing its
    // caller.
    //   AutoStepBudget (the default): DefaultStepBudget of the characters
    //     searched, enough for any search whose work grows linearly with the
    //     text;
    //   NoStepBudget (any negative value): no limit;
    //   a positive number: that many steps.
    // Changing the budget changes neither the program nor the last result.
    static constexpr int64_t AutoStepBudget = 0;
    static constexpr int64_t NoStepBudget = -1;
    int64_t StepBudget() const { return FStepBudget; }
    void SetStepBudget(int64_t Value) { FStepBudget = Value; }
    // 1,000,000 steps plus 256 for every character from the start of the
    // search to the end of the text, the terminator included.
    static int64_t DefaultStepBudget(size_t Chars);
    // Steps taken by the last search; 0 before the first.
    int64_t StepsUsed() const { return FCompiledRE ? FCompiledRE->StepsUsed() : 0; }

    // State, for tests and tools.
    bool Compiled() const { return FCompiledRE != nullptr; }
    TCompiledRE* CompiledRE() const { return FCompiledRE.get(); }
    TIsMatch IsMatchState() const { return FIsMatch; }

    // The slots hold byte offsets into the text's storage (a character is two
    // bytes), or NotSet for a slot that is not set (offset 0 is a real
    // position). A case-insensitive search reads the text through the
    // upper-casing unit for unit, so its offsets are the text's too, and the
    // slots of groups not taken stay NotSet. GetMatchPos
    // answers -1 and GetMatchLen 0 for such a slot; GetMatch an empty string.
    static constexpr int64_t NotSet = INT64_MIN;
    int64_t SlotStart(int AMatch) const { return FStarts[AMatch]; }
    int64_t SlotEnd(int AMatch) const { return FEnds[AMatch]; }

private:
    friend class TCompiledRE;
    void CheckSlot(int AMatch);

    TObject* FOwner;
    String FPattern;
    String FText;
    TREOptions FOptions;
    int FCharCounts[2] = {0, 0};
    TRECharSet FCharSets[2];
    TIsMatch FIsMatch = imUnknown;
    int FMatchCount = 0;
    std::vector<int64_t> FStarts;
    std::vector<int64_t> FEnds;
    std::unique_ptr<TCompiledRE> FCompiledRE;
    int64_t FStepBudget = AutoStepBudget;
};

inline bool TCompiledRE::Analysable() const { return FRE->FMatchCount <= 10; }

// The engine's upper-casing of one UTF-16 code unit: a fixed table, the same
// in every locale, that keeps the length of the text (one unit to one unit).
// It maps ASCII, Latin-1, Latin Extended-A, Latin Extended Additional, Greek,
// Cyrillic, Armenian and the fullwidth Latin letters to their simple upper
// case; every other unit, surrogates included, stays as it is.
Char REUpCase(Char C) noexcept;
String REUpperCase(std::u16string_view S);

}  // namespace ide
