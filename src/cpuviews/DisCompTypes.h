// What the disassembler view needs of its surroundings, stated without the
// toolkit: the canvas it paints on, the window it lives in, the input values
// it is given, and the events through which the debugger answers.
//
// The events are the debugger's contract: the view knows nothing of the
// program but what these handlers say. An unassigned handler is never an
// error; it gives an empty or default answer.
#pragma once

#include <cstdint>
#include <functional>

#include "cpuviews/DisCompCache.h"

namespace ide {

class TDisassemblerLogic;

enum TAddressSize : uint8_t { as32, as64 };

struct TDisPoint {
    int X = 0, Y = 0;
};

// A rectangle by its edges, right and bottom exclusive.
struct TDisRect {
    int Left = 0, Top = 0, Right = 0, Bottom = 0;
    friend bool operator==(const TDisRect&, const TDisRect&) = default;
};

// Modifier keys and buttons held during input.
enum TShiftFlag : uint8_t { ssShift = 1, ssAlt = 2, ssCtrl = 4, ssLeft = 8, ssRight = 16, ssMiddle = 32 };
using TShiftState = uint8_t;
enum TMouseButton : uint8_t { mbLeft, mbRight, mbMiddle };

// The keys the view answers, by their virtual-key numbers.
enum TDisKey : uint16_t {
    VK_PRIOR = 0x21, VK_NEXT = 0x22, VK_END = 0x23, VK_HOME = 0x24,
    VK_LEFT = 0x25, VK_UP = 0x26, VK_RIGHT = 0x27, VK_DOWN = 0x28,
};

// The scroll requests of the two bars.
enum TScrollCode : uint8_t {
    SB_LINEUP, SB_LINEDOWN, SB_PAGEUP, SB_PAGEDOWN, SB_THUMBPOSITION, SB_THUMBTRACK, SB_ENDSCROLL
};

// Colours of the view: a plain RGB value (0x00BBGGRR) or, with the top bit
// set, one of the system colours below, which the canvas maps through the
// current style.
using TDisColor = uint32_t;
namespace discolor {
constexpr TDisColor clSystem = 0x80000000u;
constexpr TDisColor clBtnFace = clSystem | 15;
constexpr TDisColor clHighlight = clSystem | 13;
constexpr TDisColor clWindowText = clSystem | 8;
constexpr TDisColor clInactiveCaption = clSystem | 3;
constexpr TDisColor clRed = 0x0000FF;
constexpr TDisColor clBlack = 0x000000;
}  // namespace discolor

// The drawing operations the view uses. Coordinates are logical: the window
// origin is subtracted before anything reaches the device.
// Thread: UI thread only.
class TDisasmCanvas {
public:
    virtual ~TDisasmCanvas() = default;
    virtual void SetWindowOrigin(int X, int Y) = 0;
    // Pen and brush get one colour, the font another.
    virtual void SetColors(TDisColor PenAndBrush, TDisColor FontColor) = 0;
    virtual void SetBold(bool Bold) = 0;
    virtual int TextWidth(const String& Text) = 0;
    virtual int TextHeight(const String& Text) = 0;
    // Fills Clip with the brush and draws Text from (X, Y), clipped to Clip.
    virtual void TextRect(const TDisRect& Clip, int X, int Y, const String& Text) = 0;
    virtual void FillRect(const TDisRect& Rect) = 0;
    virtual void DrawFocusRect(const TDisRect& Rect) = 0;
    // For the host's gutter marks: filled with the brush.
    virtual void Ellipse(const TDisRect& Rect) = 0;
    virtual void Polygon(const TDisPoint* Points, int Count) = 0;
};

// What the view needs of the control that holds it: redraws, the focus, the
// scroll bars, text measures of its font, and the host theme.
// Thread: UI thread only.
class TDisasmWindow {
public:
    virtual ~TDisasmWindow() = default;
    virtual void Invalidate() = 0;                              // the whole control
    virtual void InvalidateRect(const TDisRect& Rect) = 0;      // client coordinates
    virtual bool Focused() const = 0;
    virtual int TextWidth(const String& Text) = 0;               // of the control's font
    virtual int TextHeight(const String& Text) = 0;
    virtual void ShowScrollBars(bool Show) = 0;
    // The horizontal bar: range, page and position, as the view sets them.
    virtual void SetHorzScroll(int Max, int Page, int Position) = 0;
    // A host theme may give the colour of an unfocused selection.
    virtual bool ThemeActive() const { return false; }
    virtual TDisColor ThemeUnfocusedSelectionColor() const { return discolor::clInactiveCaption; }
};

// The debugger's answers. Sender is the view's logic; `&` marks what a
// handler writes.
using TDisassembleEvent = std::function<void(TDisassemblerLogic* Sender, int64_t& Address, String& Result,
                                             int32_t& InstSize)>;
using TDisassembleAdditionalEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address,
                                                       int64_t PrevAddr, String& Result, int32_t& NumStrings)>;
using TFindSourceLineEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address, int64_t& FirstStat,
                                                int32_t& LineSize, TCPUSourcePos& SourcePos)>;
using TFindLineCodeEvent = std::function<void(TDisassemblerLogic* Sender, const TCPUSourcePos& SourcePos,
                                              int64_t& Address, int32_t& LineSize, bool& Result)>;
using TGetFileNameEvent = std::function<void(TDisassemblerLogic* Sender, const TCPUSourcePos& SourcePos,
                                             String& Result)>;
using TGetSourceTextEvent = TGetFileNameEvent;
using TGetNextPrevEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address, int64_t& NewAddr)>;
using TGetLabelEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address, String& RetLabel,
                                          bool& Result)>;
using TIsBreakpointEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address, bool& Result)>;
using TPaintGutterEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address, TDisasmCanvas& Canvas,
                                             const TDisRect& Rect, bool IsSourceOrLabel)>;
using TGutterClickedEvent = std::function<void(TDisassemblerLogic* Sender, TMouseButton Button, TShiftState Shift)>;
using TAddressChangedEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address)>;

}  // namespace ide
