// Painting and the text of lines: DrawLine is both the painter and the text
// formatter, so the clipboard gets what the user sees.
#include "cpuviews/DisComp.h"

#include <algorithm>
#include <cstdio>
#include <optional>

namespace ide {

namespace {

// A selection can span any two addresses; its text stops after this many
// instructions rather than filling the memory.
constexpr int kMaxSelectedInstructions = 0x10000;

String CutPath(const String& Name) {
    const size_t slash = Name.find_last_of(u"/\\");
    return slash == String::npos ? Name : Name.substr(slash + 1);
}

}  // namespace

// One of the view's kept strings, or a string of its own when the kept ones
// are in use further up the stack. A kept string keeps its last text: its
// user overwrites it whole, and a string that need not grow costs no fill.
struct TDisassemblerLogic::TScratch {
    TScratch(String& Kept, bool& InUse) : FInUse(InUse), FOwn(InUse), Text(FOwn ? FLocal.emplace() : Kept) {
        FInUse = true;
    }
    ~TScratch() {
        if (!FOwn) FInUse = false;
    }
    TScratch(const TScratch&) = delete;
    TScratch& operator=(const TScratch&) = delete;

    bool& FInUse;
    const bool FOwn;
    std::optional<String> FLocal;  // made only when the kept one is in use
    String& Text;
};

namespace {

void SetColors(TCanvas& Canvas, TColor PenAndBrush, TColor FontColor) {
    Canvas.SetBrushColor(PenAndBrush);
    Canvas.SetPenColor(PenAndBrush);
    // The same colour changes nothing and tells no one: most lines keep it.
    if (Canvas.Font().Color() != FontColor) Canvas.Font().SetColor(FontColor);
}

void SetBold(TCanvas& Canvas, bool Bold) {
    TFontStyles style = Canvas.Font().Style();
    Bold ? style.Include(fsBold) : style.Exclude(fsBold);
    Canvas.Font().SetStyle(style);
}

}  // namespace

void TDisassemblerLogic::PaintGutter(TCanvas& Canvas, int64_t Address, const TRect& Rect, bool IsSourceOrLabel) {
    SetColors(Canvas, FColor, FFontColor);
    if (OnPaintGutter)
        OnPaintGutter(this, Address, Canvas, Rect, IsSourceOrLabel);
    else
        Canvas.FillRect(Rect);
}

bool TDisassemblerLogic::DrawLine(int64_t& Address, int& Line, TCPUSourcePos SourcePos, bool Draw, String& Text,
                                  TCanvas* Canvas) {
    return DrawLineTo(Address, Line, SourcePos, Draw, &Text, Canvas);
}

// Where the lines of one instruction's group go: the canvas (when drawing),
// the collected text (when asked for), the screen-line map.
struct TDisassemblerLogic::TLineWriter {
    TDisassemblerLogic& View;
    TCanvas* Canvas;  // null: nothing is drawn
    String* Text;     // null: no text is collected
    int64_t LineAddress;
    int& Line;
    bool AnyLine;
    // Logical x runs from the unscrolled left edge; the canvas gets x minus
    // the horizontal scroll.
    int Dx, Right, Height;

    void Emit(const String& LineText) {
        if (Text) {
            if (AnyLine) *Text += u"\r\n";
            AnyLine = true;
            *Text += LineText;
        }
        if (Canvas) {
            const int top = Line * Height;
            Canvas->TextRect(Rect(View.FLeftGutterWidth + Dx, top, Right, top + Height), View.FLeftGutterWidth + 3 + Dx,
                             top, LineText);
        }
        View.RecordLine(Line, LineAddress);
        ++Line;
    }
    void Bold(bool On) {
        if (Canvas) SetBold(*Canvas, On);
    }
};

bool TDisassemblerLogic::DrawHeaderLine(TLineWriter& W, int64_t Address, const TCPUSourcePos& SourcePos) {
    W.Bold(true);
    String label;
    const String source = GetSourceText(SourcePos);
    if (source.empty() && GetLabel(Address, label)) {
        W.Emit(label + u":");
    } else {
        String file = CutPath(GetFileName(SourcePos));
        if (file.empty()) file = u"<unknown file>";
        char num[16];
        std::snprintf(num, sizeof num, ".%u: ", SourcePos.LineNum);
        W.Emit(file + Str(num) + source);
    }
    W.Bold(false);
    return true;
}

void TDisassemblerLogic::DrawLabelLine(TLineWriter& W, String& Label) {
    W.Bold(true);
    Label += u':';  // a kept string: no new one for the line
    W.Emit(Label);
    W.Bold(false);
}

void TDisassemblerLogic::DrawAdditionalLines(TLineWriter& W, const String& Additional, int32_t Count) {
    W.Bold(true);
    // A count beyond the lines the text holds gives the lines it holds.
    const int32_t held =
        1 + static_cast<int32_t>(std::min<size_t>(std::count(Additional.begin(), Additional.end(), u'\n'), 0x7FFFFFFE));
    TScratch part(FScratchPart, FScratchPartInUse);
    size_t from = 0;
    for (int32_t i = 0; i < std::min(Count, held); ++i) {
        const size_t lf = from <= Additional.size() ? Additional.find(u'\n', from) : String::npos;
        if (lf == String::npos) {
            if (from < Additional.size())
                part.Text.assign(Additional, from);
            else
                part.Text.clear();
            from = Additional.size() + 1;
        } else {
            part.Text.assign(Additional, from, lf - from);
            from = lf + 1;
        }
        W.Emit(part.Text);
    }
    W.Bold(false);
}

bool TDisassemblerLogic::DrawLineTo(int64_t& Address, int& Line, TCPUSourcePos SourcePos, bool Draw, String* Text,
                                    TCanvas* Canvas) {
    Draw = Draw && Canvas;
    const int firstLine = Line;
    const int lh = FLineHeight;
    const int dx = -FLeftCol;
    TLineWriter w{*this, Draw ? Canvas : nullptr, Text, Address, Line, Text && !Text->empty(), dx,
                  FClientWidth + FLeftCol + dx, lh};

    if (Draw) {
        if (AddressIsSelected(Address)) {
            // Selected text keeps the window-text colour on purpose.
            if (FWindow && FWindow->Focused())
                SetColors(*Canvas, clHighlight, clWindowText);
            else if (FWindow && FWindow->ThemeActive())
                SetColors(*Canvas, FWindow->ThemeUnfocusedSelectionColor(), clWindowText);
            else
                SetColors(*Canvas, clInactiveCaption, clWindowText);
        } else if (IsBreakpoint(Address)) {
            SetColors(*Canvas, FBreakpointColor, FBreakpointTextColor);
        } else {
            SetColors(*Canvas, FColor, FFontColor);
        }
    }

    // The group above the instruction: a source header or a label, then the
    // additional lines. Most instructions have none; what there is to draw
    // is drawn out of line.
    // The memo's answer that there is none needs no text: only a label or
    // lines that are there are read out (or asked for) as text.
    bool group = false;
    bool hasLabel = false;
    if (SourcePos.FileIndex > 0 && FMixedSource) {
        group = DrawHeaderLine(w, Address, SourcePos);
    } else if (!FCache.FetchLabelCode(Address, hasLabel) || hasLabel) {
        TScratch label(FScratchLabel, FScratchLabelInUse);
        if (GetLabel(Address, label.Text)) {
            DrawLabelLine(w, label.Text);
            group = true;
        }
    }
    int32_t count = 0;
    if (FShowAdditionalDisasm && Line < FLineCount && (!FCache.FetchAddlAsmCount(Address, count) || count > 0)) {
        TScratch additional(FScratchAdditional, FScratchAdditionalInUse);
        count = DisassembleAdditionalAt(Address, additional.Text);
        if (count > 0) {
            DrawAdditionalLines(w, additional.Text, count);
            group = true;
        }
    }

    bool result = false;
    const int instructionLine = Line;
    const int64_t lineAddress = w.LineAddress;
    if (!(Draw && Line >= FLineCount)) {
        TScratch scratch(FScratchLine, FScratchLineInUse);
        String& lineText = scratch.Text;
        DisassembleAt(Address, lineText);
        if (Text) {
            if (w.AnyLine) *Text += u"\r\n";
            w.AnyLine = true;
            *Text += lineText;
        }
        if (Draw) {
            const int top = Line * lh;
            Canvas->TextRect(Rect(FLeftGutterWidth + dx, top, w.Right, top + lh), FLeftGutterWidth + 3 + dx, top, lineText);
            if (OnPaintEndOfLine) {
                const int textEnd = FLeftGutterWidth + 3 + dx + Canvas->TextWidth(lineText);
                OnPaintEndOfLine(this, lineAddress, *Canvas, Rect(textEnd, top, w.Right, top + lh), false);
            }
            // The window is asked only for the line that holds the selection.
            if (lineAddress <= FSelectedAddress && FSelectedAddress < Address && FWindow && !FWindow->ThemeActive() &&
                FWindow->Focused())
                Canvas->DrawFocusRect(Rect(FLeftGutterWidth + dx, firstLine * lh, w.Right + 1, (Line + 1) * lh));
        }
        RecordLine(Line, lineAddress);
        ++Line;
        result = true;
    }

    if (Draw && FLeftCol <= FLeftGutterWidth) {
        if (group)
            PaintGutter(*Canvas, -1, Rect(dx, firstLine * lh, FLeftGutterWidth + dx, instructionLine * lh), true);
        PaintGutter(*Canvas, lineAddress,
                    Rect(dx, instructionLine * lh, FLeftGutterWidth + dx, (instructionLine + 1) * lh), false);
    }
    return result;
}

void TDisassemblerLogic::Paint(TCanvas& Canvas) {
    int line = 0;
    Iterate(
        [&](int64_t& Address, TCPUSourcePos& SourcePos) {
            // The lines' text is not collected: nothing reads it.
            const bool drew = DrawLineTo(Address, line, SourcePos, true, nullptr, &Canvas);
            if (line < FLineCount) FBottomAddress = Address;
            return drew && line < FLineCount;
        },
        FTopAddress);
}

String TDisassemblerLogic::GetSelectedText() {
    String text;
    auto selectedLineText = [&](int64_t& Address) {
        int64_t firstStat = 0;
        int32_t lineSize = 0;
        TCPUSourcePos pos = FindSourceLine(Address, firstStat, lineSize);
        if (firstStat != Address) pos.FileIndex = 0;
        int index = GetIndex(Address, false);
        if (index < 0) index = 0;
        DrawLine(Address, index, pos, false, text);
    };
    if (FMultiSelect && FHasMultiSelection) {
        int64_t address = std::min(FSelectedAddress, FEndSelectionAddress);
        const int64_t high = std::max(FSelectedAddress, FEndSelectionAddress);
        for (int count = 0; address <= high && count < kMaxSelectedInstructions; ++count) {
            const int64_t before = address;
            selectedLineText(address);
            if (address <= before) break;  // a host whose stream does not advance
        }
    } else {
        int64_t address = FSelectedAddress;
        selectedLineText(address);
    }
    return text;
}

}  // namespace ide
