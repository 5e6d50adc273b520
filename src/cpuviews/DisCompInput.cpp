// Keyboard, mouse, wheel, the two scroll bars, focus and size.
#include "cpuviews/DisComp.h"

#include <algorithm>

namespace ide {

void TDisassemblerLogic::LineDown(bool Shift) {
    if (!Shift) {
        SetSelectedAddress(GetNextAddr(FSelectedAddress));
        return;
    }
    const int64_t e = FHasMultiSelection ? FEndSelectionAddress : FSelectedAddress;
    SetEndSelectionAddress(GetNextAddr(e));
}

void TDisassemblerLogic::LineUp(bool Shift) {
    if (!Shift) {
        SetSelectedAddress(PreviousLineAddress(FSelectedAddress));
        return;
    }
    const int64_t e = FHasMultiSelection ? FEndSelectionAddress : FSelectedAddress;
    SetEndSelectionAddress(PreviousLineAddress(e));
}

void TDisassemblerLogic::PageDown(bool Shift) {
    const int lines = FLineCount - 1;
    FTopAddress = GoForward(lines, FTopAddress);
    if (!Shift)
        SetSelectedAddress(GoForward(lines, FSelectedAddress));
    else
        SetEndSelectionAddress(GoForward(lines, FHasMultiSelection ? FEndSelectionAddress : FSelectedAddress));
    Invalidate();
}

void TDisassemblerLogic::PageUp(bool Shift) {
    const int lines = FLineCount - 1;
    FTopAddress = GoBack(lines, FTopAddress);
    if (!Shift)
        SetSelectedAddress(GoBack(lines, FSelectedAddress));
    else
        SetEndSelectionAddress(GoBack(lines, FHasMultiSelection ? FEndSelectionAddress : FSelectedAddress));
    Invalidate();
}

void TDisassemblerLogic::SetLeftCol(int Value) {
    // The horizontal bar ranges over twice the client width with a page of
    // one client width, so the position stops at one client width.
    FLeftCol = std::clamp(Value, 0, std::max(0, FClientWidth));
    if (FWindow) FWindow->SetHorzScroll(2 * FClientWidth, FClientWidth, FLeftCol);
    Invalidate();
}

void TDisassemblerLogic::KeyDown(uint16_t Key, TShiftState Shift) {
    if (Shift & ShiftBit(ssCtrl)) {
        if (Key != VK_LEFT && Key != VK_RIGHT) return;
        // The user's means of resynchronising the stream by hand.
        const int64_t oldTop = FTopAddress;
        const int64_t newTop = static_cast<int64_t>(static_cast<uint64_t>(oldTop) + (Key == VK_LEFT ? -1ull : 1ull));
        if (FSelectedAddress == oldTop) InternalSetSelectedAddress(newTop);
        SetTopAddress(newTop);
        return;
    }
    if (Shift & ShiftBit(ssAlt)) return;
    const bool shift = (Shift & ShiftBit(ssShift)) != 0;
    switch (Key) {
    case VK_PRIOR: PageUp(shift); break;
    case VK_NEXT: PageDown(shift); break;
    case VK_UP: LineUp(shift); break;
    case VK_DOWN: LineDown(shift); break;
    case VK_LEFT: SetLeftCol(FLeftCol - 8); break;
    case VK_RIGHT: SetLeftCol(FLeftCol + 8); break;
    default: break;  // Home and End do nothing
    }
}

void TDisassemblerLogic::MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y) {
    if (X < 0 || Y < 0 || X >= FClientWidth || Y >= FClientHeight) return;
    if (Button == mbLeft) FMouseDown = true;
    const int64_t a = GoForward(LineFromY(Y), FTopAddress);
    if (FMultiSelect && (Shift & ShiftBit(ssShift)))
        SetEndSelectionAddress(a);
    else if (!(Button == mbRight && AddressIsSelected(a)))  // a popup menu acts on the whole selection
        SetSelectedAddress(a);
    if (X < FLeftGutterWidth && OnGutterClicked) OnGutterClicked(this, Button, Shift);
}

void TDisassemblerLogic::MouseMove(TShiftState, int X, int Y) {
    if (!FMultiSelect || !FMouseDown) return;
    if (X < 0 || Y < 0 || X >= FClientWidth || Y >= FClientHeight) return;  // no auto-scroll
    SetEndSelectionAddress(GoForward(LineFromY(Y), FTopAddress));
}

void TDisassemblerLogic::MouseUp(TMouseButton Button, TShiftState, int, int) {
    if (Button == mbLeft) FMouseDown = false;
}

void TDisassemblerLogic::MouseWheel(int Notches) {
    int64_t top = FTopAddress;
    for (; Notches < 0; ++Notches)
        for (int i = 0; i < 3; ++i) top = GetNextAddr(top);
    for (; Notches > 0; --Notches)
        for (int i = 0; i < 3; ++i) top = GetPrevAddr(top);
    SetTopAddress(top);
}

void TDisassemblerLogic::VScroll(TScrollCode Code) {
    switch (Code) {
    case SB_LINEUP: SetTopAddress(GetPrevAddr(FTopAddress)); break;
    case SB_LINEDOWN: SetTopAddress(GetNextAddr(FTopAddress)); break;
    case SB_PAGEUP: SetTopAddress(GoBack(FLineCount - 1, FTopAddress)); break;
    case SB_PAGEDOWN: SetTopAddress(GoForward(FLineCount - 1, FTopAddress)); break;
    default: break;  // the thumb never moves; tracking is ignored
    }
}

void TDisassemblerLogic::HScroll(TScrollCode Code, int Position) {
    switch (Code) {
    case SB_LINEUP: SetLeftCol(FLeftCol - 8); break;
    case SB_LINEDOWN: SetLeftCol(FLeftCol + 8); break;
    case SB_PAGEUP: SetLeftCol(FLeftCol - FClientWidth); break;
    case SB_PAGEDOWN: SetLeftCol(FLeftCol + FClientWidth); break;
    case SB_THUMBPOSITION:
    case SB_THUMBTRACK: SetLeftCol(Position); break;
    default: break;
    }
}

void TDisassemblerLogic::CreateWnd() {
    if (!FWindow) return;
    FWindow->SetHorzScroll(2 * FClientWidth, FClientWidth, 0);
    FWindow->ShowScrollBars(false);
}

void TDisassemblerLogic::FocusIn() {
    if (FWindow) {
        FWindow->SetHorzScroll(2 * FClientWidth, FClientWidth, FLeftCol);
        FWindow->ShowScrollBars(true);
    }
    InvalidateAtAddress(FSelectedAddress, false);
    if (GetNextAddr(FSelectedAddress) == FBottomAddress) SetTopAddress(GetNextAddr(FTopAddress));
}

void TDisassemblerLogic::FocusOut(bool Destroying) {
    if (Destroying) return;
    if (FWindow) FWindow->ShowScrollBars(false);
    InvalidateAtAddress(FSelectedAddress, false);
}

void TDisassemblerLogic::Resize(int ClientWidth, int ClientHeight) {
    FClientWidth = std::max(0, ClientWidth);
    FClientHeight = std::max(0, ClientHeight);
    if (FLineHeight != 0) FLineCount = FClientHeight / FLineHeight + 1;
    if (FWindow) {
        const bool small = FWindow->TextWidth(u"M") * 40 + FLeftGutterWidth > FClientWidth;
        if (small != FSmallDisplay) {
            FSmallDisplay = small;
            FCache.Clear();  // the host's texts depend on the flag
        }
    }
    Invalidate();
}

void TDisassemblerLogic::FontChanged() {
    if (!FWindow) return;
    FLineHeight = std::max(1, FWindow->TextHeight(u"Ij"));
    FLineCount = FClientHeight / FLineHeight + 1;
    Invalidate();
}

}  // namespace ide
