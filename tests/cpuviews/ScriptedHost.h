// A scripted debugger for the disassembler view's tests: a variable-length
// instruction stream with source lines, labels and additional lines, which
// counts every question the view asks. An address inside an instruction
// decodes as a filler instruction that ends where the enclosing one ends, so
// a stream started at the wrong byte falls back into step as real code does.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cpuviews/DisComp.h"

namespace distest {

using ide::String;

struct Instr {
    int64_t Addr;
    int Len;
    std::string Text;
};

struct SourceLine {
    int64_t Start, End;  // [Start, End)
    uint32_t Line;
    std::string Text;
};

struct ScriptedHost {
    std::vector<Instr> Code;  // sorted, contiguous or with gaps
    std::vector<SourceLine> Lines;
    std::map<int64_t, std::string> Labels;
    std::map<int64_t, std::string> Additional;  // lines separated by '\n'
    std::string FileName = "/src/prog/main.c";
    std::map<int64_t, bool> Breakpoints;
    bool CacheableAnswers = true;  // InstSize > 0

    int Disassemble = 0, Next = 0, Prev = 0, Source = 0, LineCode = 0, FileNames = 0, Texts = 0, LabelAsks = 0,
        AdditionalAsks = 0;

    // Lays out instructions of the given lengths from Start.
    void Lay(int64_t Start, std::initializer_list<int> Lengths) {
        int64_t a = Start;
        for (int len : Lengths) {
            Code.push_back({a, len, "insn_" + std::to_string(Code.size())});
            a += len;
        }
    }

    const Instr* Containing(int64_t A) const {
        for (const Instr& i : Code)
            if (i.Addr <= A && A < i.Addr + i.Len) return &i;
        return nullptr;
    }

    int64_t NextOf(int64_t A) const {
        const Instr* i = Containing(A);
        return i ? i->Addr + i->Len : A + 1;
    }

    int64_t PrevOf(int64_t A) const {
        const Instr* best = nullptr;
        for (const Instr& i : Code)
            if (i.Addr < A) best = &i;
        return best && best->Addr + best->Len >= A ? best->Addr : A - 1;
    }

    std::string TextOf(int64_t A) const {
        const Instr* i = Containing(A);
        if (!i) return "??";
        return i->Addr == A ? i->Text : "mid_" + std::to_string(A - i->Addr);
    }

    const SourceLine* LineOf(int64_t A) const {
        for (const SourceLine& l : Lines)
            if (l.Start <= A && A < l.End) return &l;
        return nullptr;
    }

    void Attach(ide::TDisassemblerLogic& V) {
        V.OnDisassemble = [this](ide::TDisassemblerLogic*, int64_t& A, String& R, int32_t& Size) {
            ++Disassemble;
            R = ide::Str(TextOf(A));
            const int64_t n = NextOf(A);
            Size = CacheableAnswers ? static_cast<int32_t>(n - A) : 0;
            A = n;
        };
        V.OnGetNextAddr = [this](ide::TDisassemblerLogic*, int64_t A, int64_t& N) {
            ++Next;
            N = NextOf(A);
        };
        V.OnGetPrevAddr = [this](ide::TDisassemblerLogic*, int64_t A, int64_t& P) {
            ++Prev;
            P = PrevOf(A);
        };
        V.OnFindSourceLine = [this](ide::TDisassemblerLogic*, int64_t A, int64_t& First, int32_t& Size,
                                    ide::TCPUSourcePos& Pos) {
            ++Source;
            if (const SourceLine* l = LineOf(A)) {
                First = l->Start;
                Size = static_cast<int32_t>(l->End - l->Start);
                Pos = ide::MakeCPUSourcePos(1, l->Line, 0);
            }
        };
        V.OnFindLineCode = [this](ide::TDisassemblerLogic*, const ide::TCPUSourcePos& Pos, int64_t& A,
                                  int32_t& Size, bool& Result) {
            ++LineCode;
            for (const SourceLine& l : Lines)
                if (l.Line == Pos.LineNum) {
                    A = l.Start;
                    Size = static_cast<int32_t>(l.End - l.Start);
                    Result = true;
                }
        };
        V.OnGetFileName = [this](ide::TDisassemblerLogic*, const ide::TCPUSourcePos&, String& R) {
            ++FileNames;
            R = ide::Str(FileName);
        };
        V.OnGetSourceText = [this](ide::TDisassemblerLogic*, const ide::TCPUSourcePos& Pos, String& R) {
            ++Texts;
            for (const SourceLine& l : Lines)
                if (l.Line == Pos.LineNum) R = ide::Str(l.Text);
        };
        V.OnGetLabel = [this](ide::TDisassemblerLogic*, int64_t A, String& R, bool& Result) {
            ++LabelAsks;
            auto it = Labels.find(A);
            if (it != Labels.end()) {
                R = ide::Str(it->second);
                Result = true;
            }
        };
        V.OnDisassembleAdditional = [this](ide::TDisassemblerLogic*, int64_t A, int64_t, String& R, int32_t& N) {
            ++AdditionalAsks;
            auto it = Additional.find(A);
            if (it != Additional.end()) {
                R = ide::Str(it->second);
                N = 1 + static_cast<int32_t>(std::count(it->second.begin(), it->second.end(), '\n'));
            }
        };
        V.OnIsBreakpoint = [this](ide::TDisassemblerLogic*, int64_t A, bool& R) {
            const auto it = Breakpoints.find(A);  // no entry made for the question
            R = it != Breakpoints.end() && it->second;
        };
    }
};

// A canvas that keeps what was drawn, line by line (by the text's top
// edge), with the colours and the weight of each text; 8 by 10 pixels a
// character.
struct RecordingCanvas : ide::TCanvas {
    struct Text {
        int Y;
        std::string S;
        bool Bold;
        ide::TColor Back, Fore;
    };
    std::vector<Text> Texts;
    std::vector<ide::TRect> Fills, FocusRects;

    void FillRect(const ide::TRect& R) override { Fills.push_back(R); }
    void FrameRect(const ide::TRect&) override {}
    void Rectangle(const ide::TRect& R) override { Fills.push_back(R); }
    void DrawFocusRect(const ide::TRect& R) override { FocusRects.push_back(R); }
    void TextOut(int, int Y, const String& T) override { TextRect({}, 0, Y, T); }
    void TextRect(const ide::TRect&, int, int Y, const String& T) override {
        Texts.push_back({Y, ide::Utf8(T), Font().Style().Contains(ide::fsBold), BrushColor(), Font().Color()});
    }
    ide::TDimension TextExtent(const String& T) override { return {8 * static_cast<int>(T.size()), 10}; }
    int TextMetricHeight() override { return 10; }
    void Draw(int, int, const ide::TBitmap&) override {}
    void BrushCopy(const ide::TRect&, const ide::TBitmap&, const ide::TRect&, ide::TColor) override {}

    std::vector<std::string> Lines() const {
        std::vector<std::string> out;
        for (const Text& t : Texts) out.push_back(t.S);
        return out;
    }
    void Reset() {
        Texts.clear();
        Fills.clear();
        FocusRects.clear();
    }

protected:
    void DoLine(int, int, int, int) override {}
};

// A window with a fixed-pitch font of 8 by 10 pixels that records redraws.
struct RecordingWindow : ide::TDisasmWindow {
    int Whole = 0;
    std::vector<ide::TRect> Rects;
    bool Focus = false;
    bool BarsShown = false;
    int HorzMax = 0, HorzPage = 0, HorzPos = 0;

    void Invalidate() override { ++Whole; }
    void InvalidateRect(const ide::TRect& R) override { Rects.push_back(R); }
    bool Focused() const override { return Focus; }
    int TextWidth(const String& T) override { return 8 * static_cast<int>(T.size()); }
    int TextHeight(const String&) override { return 10; }
    void ShowScrollBars(bool Show) override { BarsShown = Show; }
    void SetHorzScroll(int Max, int Page, int Pos) override { HorzMax = Max, HorzPage = Page, HorzPos = Pos; }
    void Reset() {
        Whole = 0;
        Rects.clear();
    }
};

}  // namespace distest
