// The disassembler view without the toolkit: the pane of a debugger's
// processor window that lists machine instructions, optionally mixed with the
// source lines they came from, labels, and extra lines the host wants above
// an instruction.
//
// Its position is an address in a stream of variable-length instructions,
// not a line number: the stream has no length and cannot be decoded
// backwards. So the top is an address, every movement asks the host for the
// next or previous address, the vertical scroll bar is a fixed dummy, and
// every mapping from a screen line to an address walks forward from the top
// again. The only memory of what was painted is FAddressList, one address per
// screen line, never cleared between paints (stale entries are scanned too).
//
// The control (a widget in the platform layer) owns one TDisassemblerLogic
// and forwards paint, input, focus and size to it; tests drive it headless
// through a recording canvas and window.
//
// Oddities kept on purpose:
// - GoForward counts labels and additional lines, GoBack counts source
//   headers only, so a page up and a page down across labels don't meet.
// - GoBack compares with a signed limit: in a 32-bit view above 0x7FFFFFFF no
//   source line is ever looked up.
// - FBottomAddress is the last line that fits, the partly hidden one
//   included; a selection there still scrolls.
// - Selected lines keep the window-text colour, not a highlight-text colour.
// - The focus rectangle marks the group whose instruction contains the
//   selection, also a selection in the middle of an instruction.
// - Moving up within the screen retraces the painted lines before it asks
//   the host.
// - Ctrl+Left moves the top one byte down in memory, Ctrl+Right one byte up.
// The canvas has no window origin: the horizontal scroll is subtracted from
// every x coordinate instead, so hooks get rectangles in client coordinates.
// Decisions where the behaviour is open: without OnGetNextAddr or
// OnGetPrevAddr the view steps by one byte; the selected-text walk stops
// when the host's next address does not advance; GoForward stops after
// 65,536 instructions (its 16-bit counter could otherwise wrap for ever);
// an additional-lines count beyond the lines of its text gives the lines
// the text holds; the selected text holds at most 65,536 instructions.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "cpuviews/DisCompCache.h"
#include "cpuviews/DisCompTypes.h"

namespace ide {

// Thread: UI thread only.
class TDisassemblerLogic {
public:
    // The callback of the forward walk: the instruction's address (the
    // callback moves it on) and its source position; True to go on.
    using TIterateCallback = std::function<bool(int64_t& Address, TCPUSourcePos& SourcePos)>;

    explicit TDisassemblerLogic(TDisasmWindow* Window = nullptr);
    TDisassemblerLogic(const TDisassemblerLogic&) = delete;
    TDisassemblerLogic& operator=(const TDisassemblerLogic&) = delete;
    virtual ~TDisassemblerLogic();

    void SetWindow(TDisasmWindow* Window) { FWindow = Window; }

    // --- The debugger's events ---
    TFindLineCodeEvent OnFindLineCode;
    TFindSourceLineEvent OnFindSourceLine;
    TDisassembleEvent OnDisassemble;
    TDisassembleAdditionalEvent OnDisassembleAdditional;
    TGetFileNameEvent OnGetFileName;
    TGetSourceTextEvent OnGetSourceText;
    TGetNextPrevEvent OnGetNextAddr;
    TGetNextPrevEvent OnGetPrevAddr;
    TPaintGutterEvent OnPaintGutter;
    TIsBreakpointEvent OnIsBreakpoint;
    TGutterClickedEvent OnGutterClicked;
    TGetLabelEvent OnGetLabel;
    TAddressChangedEvent OnAddressChanged;
    TPaintGutterEvent OnPaintEndOfLine;

    // --- Read-through operations: the memo first, the host on a miss ---
    // A paint asks the ones on every line: their hits are inline, the
    // exchange with the host on a miss is not.
    void DisassembleAt(int64_t& Address, String& Text) {
        int64_t next = Address;
        if (FCache.FetchAsmCode(Address, Text, next))
            Address = next;
        else
            AskDisassemble(Address, Text);
    }
    int32_t DisassembleAdditionalAt(int64_t Address, String& Text) {
        int32_t count = 0;
        if (FCache.FetchAddlAsmCode(Address, Text, count)) return count;
        return AskAdditional(Address, Text);
    }
    int32_t DisassembleAdditionalAt(int64_t Address);
    TCPUSourcePos FindSourceLine(int64_t Address, int64_t& FirstStat, int32_t& LineSize) {
        TCPUSourcePos pos;
        if (FCache.FetchSourcePos(Address, pos, FirstStat, LineSize)) return pos;
        return AskSourceLine(Address, FirstStat, LineSize);
    }
    bool FindLineCode(const TCPUSourcePos& SourcePos, int64_t& Address, int32_t& LineSize);
    String GetFileName(const TCPUSourcePos& SourcePos);
    int64_t GetNextAddr(int64_t Address) {
        int64_t next = 0;
        if (FCache.FetchNextAddr(Address, next)) return next;
        return AskNextAddr(Address);
    }
    int64_t GetPrevAddr(int64_t Address) {
        int64_t prev = 0;
        if (FCache.FetchPrevAddr(Address, prev)) return prev;
        return AskPrevAddr(Address);
    }
    bool GetLabel(int64_t Address, String& Text) {
        // On a hit the answer is derived from the text: an empty label is False.
        if (FCache.FetchLabelCode(Address, Text)) return !Text.empty();
        return AskLabel(Address, Text);
    }
    bool GetLabel(int64_t Address);
    // Never cached.
    String GetSourceText(const TCPUSourcePos& SourcePos);
    bool IsBreakpoint(int64_t Address) {
        bool result = false;
        if (OnIsBreakpoint) OnIsBreakpoint(this, Address, result);
        return result;
    }

    // --- Position and selection ---
    int64_t TopAddress() const { return FTopAddress; }
    void SetTopAddress(int64_t Value);
    int64_t BottomAddress() const { return FBottomAddress; }
    int64_t SelectedAddress() const { return FSelectedAddress; }
    void SetSelectedAddress(int64_t Value);
    void SteppingSetSelectedAddress(int64_t Value);
    void InternalSetSelectedAddress(int64_t Value);
    int64_t EndSelectionAddress() const { return FEndSelectionAddress; }
    void SetEndSelectionAddress(int64_t Value);
    bool HasMultiSelection() const { return FHasMultiSelection; }
    bool AddressIsSelected(int64_t Address) const {
        if (Address == FSelectedAddress) return true;
        if (!FHasMultiSelection) return false;
        const int64_t lo = FSelectedAddress < FEndSelectionAddress ? FSelectedAddress : FEndSelectionAddress;
        const int64_t hi = FSelectedAddress < FEndSelectionAddress ? FEndSelectionAddress : FSelectedAddress;
        return lo <= Address && Address <= hi;
    }
    String GetSelectedText();

    // --- Walks and the screen-line map ---
    void IterateAddrs(const TIterateCallback& Callback, int64_t Address);
    int64_t GoForward(int Count, int64_t Address);
    int64_t GoBack(int Count, int64_t Address);
    int LineFromY(int Y) const { return FLineHeight ? Y / FLineHeight : 0; }
    int GetIndex(int64_t Address, bool FindLast) const;
    const std::vector<int64_t>& AddressList() const { return FAddressList; }
    int64_t PreviousLineAddress(int64_t Address);

    // --- Redraws ---
    void InvalidateAtAddress(int64_t Address, bool IsEIP);
    void InvalidateSelection(int64_t A, int64_t B);

    // --- Painting: one forward walk of FLineCount lines ---
    void Paint(TCanvas& Canvas);
    bool DrawLine(int64_t& Address, int& Line, TCPUSourcePos SourcePos, bool Draw, String& Text,
                  TCanvas* Canvas = nullptr);

    // --- Input ---
    void KeyDown(uint16_t Key, TShiftState Shift);
    void LineUp(bool Shift);
    void LineDown(bool Shift);
    void PageUp(bool Shift);
    void PageDown(bool Shift);
    void MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y);
    void MouseMove(TShiftState Shift, int X, int Y);
    void MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y);
    // Notches: positive = wheel up (towards the user's earlier addresses).
    void MouseWheel(int Notches);
    void VScroll(TScrollCode Code);
    void HScroll(TScrollCode Code, int Position);
    void FocusIn();
    void FocusOut(bool Destroying = false);
    // The client area got a new size (WM_SIZE).
    void Resize(int ClientWidth, int ClientHeight);
    // The font changed: line height and line count from its measures.
    void FontChanged();
    void CreateWnd();

    // --- Properties ---
    void ClearCache() { FCache.Clear(); }
    bool DisableCaching() const { return FCache.DisableCaching(); }
    void SetDisableCaching(bool Value);
    TAddressSize AddressSize() const { return FAddressSize; }
    void SetAddressSize(TAddressSize Value);
    bool MixedSource() const { return FMixedSource; }
    void SetMixedSource(bool Value);
    bool ShowAdditionalDisasm() const { return FShowAdditionalDisasm; }
    void SetShowAdditionalDisasm(bool Value);
    int LeftGutterWidth() const { return FLeftGutterWidth; }
    void SetLeftGutterWidth(int Value);
    bool MultiSelect() const { return FMultiSelect; }
    void SetMultiSelect(bool Value) { FMultiSelect = Value; }
    TColor BreakpointColor() const { return FBreakpointColor; }
    void SetBreakpointColor(TColor Value) { FBreakpointColor = Value; Invalidate(); }
    TColor BreakpointTextColor() const { return FBreakpointTextColor; }
    void SetBreakpointTextColor(TColor Value) { FBreakpointTextColor = Value; Invalidate(); }
    TColor Color() const { return FColor; }
    void SetColor(TColor Value) { FColor = Value; Invalidate(); }
    TColor FontColor() const { return FFontColor; }
    void SetFontColor(TColor Value) { FFontColor = Value; Invalidate(); }
    int64_t Previous() const { return FPrevious; }
    void SetPrevious(int64_t Value) { FPrevious = Value; }
    bool SmallDisplay() const { return FSmallDisplay; }
    void SetSmallDisplay(bool Value) { FSmallDisplay = Value; }
    int LineHeight() const { return FLineHeight; }
    int LineCount() const { return FLineCount; }
    int LeftCol() const { return FLeftCol; }
    int ClientWidth() const { return FClientWidth; }
    int ClientHeight() const { return FClientHeight; }
    TDisassemblyCache& Cache() { return FCache; }
    void RefreshList() {}
    void ResizeList() {}

protected:
    // The misses of the read-through operations: the host is asked and its
    // answer deposited. The string arguments arrive cleared.
    void AskDisassemble(int64_t& Address, String& Text);
    int32_t AskAdditional(int64_t Address, String& Text);
    TCPUSourcePos AskSourceLine(int64_t Address, int64_t& FirstStat, int32_t& LineSize);
    int64_t AskNextAddr(int64_t Address);
    int64_t AskPrevAddr(int64_t Address);
    bool AskLabel(int64_t Address, String& Text);

    struct TScratch;
    struct TLineWriter;
    // The lines of an instruction's group, drawn and recorded by W.
    bool DrawHeaderLine(TLineWriter& W, int64_t Address, const TCPUSourcePos& SourcePos);
    void DrawLabelLine(TLineWriter& W, String& Label);
    void DrawAdditionalLines(TLineWriter& W, const String& Additional, int32_t Count);
    // IterateAddrs for the view's own walks (paint, GoForward): the callback
    // is called directly, not through a std::function.
    template <class TCallback>
    void Iterate(TCallback&& Callback, int64_t Address);
    // DrawLine, collecting the text only when Text is given.
    bool DrawLineTo(int64_t& Address, int& Line, TCPUSourcePos SourcePos, bool Draw, String* Text, TCanvas* Canvas);
    void Invalidate();
    void RecordLine(int Line, int64_t Address) {
        if (Line >= 0 && static_cast<size_t>(Line) < FAddressList.size())
            FAddressList[static_cast<size_t>(Line)] = Address;
        else
            GrowAndRecordLine(Line, Address);
    }
    void GrowAndRecordLine(int Line, int64_t Address);
    void PaintGutter(TCanvas& Canvas, int64_t Address, const TRect& Rect, bool IsSourceOrLabel);
    void SetLeftCol(int Value);
    void KeepInView(int64_t Value);

    TDisasmWindow* FWindow = nullptr;
    int64_t FTopAddress = 0;
    int64_t FBottomAddress = 0;
    int64_t FSelectedAddress = 0;
    int FLineHeight = 0;
    int FLineCount = 1;
    int FLeftGutterWidth = 30;
    int FLeftCol = 0;
    int FClientWidth = 100;
    int FClientHeight = 100;
    TColor FBreakpointColor = clRed;
    TColor FBreakpointTextColor = clBlack;
    TColor FColor = clBtnFace;
    TColor FFontColor = clWindowText;
    bool FMixedSource = true;
    bool FMultiSelect = true;
    bool FHasMultiSelection = false;
    int64_t FEndSelectionAddress = 0;
    bool FShowAdditionalDisasm = true;
    int64_t FPrevious = 0;
    bool FSmallDisplay = false;
    std::vector<int64_t> FAddressList;  // allocated length is FAddressListCount
    TAddressSize FAddressSize = as32;
    bool FMouseDown = false;
    TDisassemblyCache FCache;
    // The strings kept between lines so that painting a page allocates
    // nothing: the instruction line, the label, the additional lines and one
    // of them. A hook that paints or copies again from inside a paint gets
    // its own.
    String FScratchLine;
    bool FScratchLineInUse = false;
    String FScratchLabel;
    bool FScratchLabelInUse = false;
    String FScratchAdditional;
    bool FScratchAdditionalInUse = false;
    String FScratchPart;
    bool FScratchPartInUse = false;
};

template <class TCallback>
void TDisassemblerLogic::Iterate(TCallback&& Callback, int64_t Address) {
    // Address arithmetic wraps instead of overflowing.
    auto addWrap = [](int64_t A, int64_t B) {
        return static_cast<int64_t>(static_cast<uint64_t>(A) + static_cast<uint64_t>(B));
    };
    int64_t srcAddr = 0;  // first statement of the next source line
    int32_t lineSize = 0;
    TCPUSourcePos sourcePos;
    for (;;) {
        TCPUSourcePos noSource;
        if (!FMixedSource) {
            if (!Callback(Address, noSource)) return;
            continue;
        }
        if (srcAddr < Address || Address == 0) {
            sourcePos = FindSourceLine(Address, srcAddr, lineSize);
            if (sourcePos.FileIndex > 0 && Address > srcAddr) {
                // Inside a source line: its header is not shown; aim at the
                // next one. Its own first statement goes unused.
                srcAddr = addWrap(srcAddr, lineSize);
                int64_t unused = 0;
                sourcePos = FindSourceLine(srcAddr, unused, lineSize);
            } else if (sourcePos.FileIndex == 0) {
                srcAddr = 0;
            }
        }
        if (Address == srcAddr) {
            TCPUSourcePos pos = sourcePos;
            if (!Callback(Address, pos)) return;
            if (sourcePos.FileIndex > 0) {
                srcAddr = addWrap(srcAddr, lineSize);
                int64_t unused = 0;
                sourcePos = FindSourceLine(srcAddr, unused, lineSize);
            }
        } else {
            if (!Callback(Address, noSource)) return;
        }
    }
}

}  // namespace ide
