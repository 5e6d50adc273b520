// What the disassembler view needs of its surroundings, stated without the
// toolkit: the window it lives in, the input values it is given, and the
// events through which the debugger answers. It paints on the library's
// abstract TCanvas; modifier keys and buttons are the library's TShiftState
// and TMouseButton.
//
// The events are the debugger's contract: the view knows nothing of the
// program but what these handlers say. An unassigned handler is never an
// error; it gives an empty or default answer.
#pragma once

#include <cstdint>
#include <functional>

#include "cpuviews/DisCompCache.h"
#include "foundation/DesignIntf.h"
#include "foundation/Graphics.h"

namespace ide {

class TDisassemblerLogic;

enum TAddressSize : uint8_t { as32, as64 };

// The keys the view answers, by their virtual-key numbers.
enum TDisKey : uint16_t {
    VK_PRIOR = 0x21, VK_NEXT = 0x22, VK_END = 0x23, VK_HOME = 0x24,
    VK_LEFT = 0x25, VK_UP = 0x26, VK_RIGHT = 0x27, VK_DOWN = 0x28,
};

// The scroll requests of the two bars.
enum TScrollCode : uint8_t {
    SB_LINEUP, SB_LINEDOWN, SB_PAGEUP, SB_PAGEDOWN, SB_THUMBPOSITION, SB_THUMBTRACK, SB_ENDSCROLL
};

// What the view needs of the control that holds it: redraws, the focus, the
// scroll bars, text measures of its font, and the host theme.
// Thread: UI thread only.
class TDisasmWindow {
public:
    virtual ~TDisasmWindow() = default;
    virtual void Invalidate() = 0;                          // the whole control
    virtual void InvalidateRect(const TRect& Rect) = 0;     // client coordinates
    virtual bool Focused() const = 0;
    virtual int TextWidth(const String& Text) = 0;           // of the control's font
    virtual int TextHeight(const String& Text) = 0;
    virtual void ShowScrollBars(bool Show) = 0;
    // The horizontal bar: range, page and position, as the view sets them.
    virtual void SetHorzScroll(int Max, int Page, int Position) = 0;
    // A host theme may give the colour of an unfocused selection.
    virtual bool ThemeActive() const { return false; }
    virtual TColor ThemeUnfocusedSelectionColor() const { return clInactiveCaption; }
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
using TPaintGutterEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address, TCanvas& Canvas,
                                             const TRect& Rect, bool IsSourceOrLabel)>;
using TGutterClickedEvent = std::function<void(TDisassemblerLogic* Sender, TMouseButton Button, TShiftState Shift)>;
using TAddressChangedEvent = std::function<void(TDisassemblerLogic* Sender, int64_t Address)>;

}  // namespace ide
