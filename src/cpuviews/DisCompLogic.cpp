// The read-through operations, the forward walk and its two counters, the
// screen-line map, selection and redraw bookkeeping.
#include "cpuviews/DisComp.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <limits>

namespace ide {

namespace {

// Address arithmetic wraps instead of overflowing.
int64_t AddWrap(int64_t A, int64_t B) {
    return static_cast<int64_t>(static_cast<uint64_t>(A) + static_cast<uint64_t>(B));
}

}  // namespace

TDisassemblerLogic::TDisassemblerLogic(TDisasmWindow* Window) : FWindow(Window), FAddressList(128, 0) {}

TDisassemblerLogic::~TDisassemblerLogic() = default;

void TDisassemblerLogic::Invalidate() {
    if (FWindow) FWindow->Invalidate();
}

// ---------------------------------------------------------------------------
// Read-through operations

void TDisassemblerLogic::AskDisassemble(int64_t& Address, String& Text) {
    if (OnDisassemble) {
        const int64_t key = Address;
        int32_t size = 0;
        OnDisassemble(this, Address, Text, size);
        if (size > 0) FCache.DepositAsmCode(key, Text, Address);
        return;
    }
    char buf[40];
    if (FAddressSize == as64)
        std::snprintf(buf, sizeof buf, "%.16" PRIx64 " ????", static_cast<uint64_t>(Address));
    else
        std::snprintf(buf, sizeof buf, "%.8" PRIx32 " ????", static_cast<uint32_t>(Address));
    Text = Str(buf);
    Address = AddWrap(Address, 1);
}

int32_t TDisassemblerLogic::AskAdditional(int64_t Address, String& Text) {
    int32_t count = 0;
    Text.clear();
    if (OnDisassembleAdditional) {
        const int64_t prev = GetPrevAddr(Address);
        OnDisassembleAdditional(this, Address, prev, Text, count);
        FCache.DepositAddlAsmCode(Address, Text, count);
    }
    return count;
}

int32_t TDisassemblerLogic::DisassembleAdditionalAt(int64_t Address) {
    // A hit needs no text: nothing is copied for a walk that only counts.
    int32_t count = 0;
    if (FCache.FetchAddlAsmCount(Address, count)) return count;
    String text;
    return AskAdditional(Address, text);
}

TCPUSourcePos TDisassemblerLogic::AskSourceLine(int64_t Address, int64_t& FirstStat, int32_t& LineSize) {
    TCPUSourcePos pos;
    FirstStat = 0;
    LineSize = 0;
    if (OnFindSourceLine) OnFindSourceLine(this, Address, FirstStat, LineSize, pos);
    FCache.DepositSourcePos(Address, pos, FirstStat, LineSize);  // "no source" is an answer too
    return pos;
}

bool TDisassemblerLogic::FindLineCode(const TCPUSourcePos& SourcePos, int64_t& Address, int32_t& LineSize) {
    // The Boolean has no meaning on a hit or without a handler.
    if (FCache.FetchAddress(SourcePos, Address, LineSize)) return false;
    Address = 0;
    LineSize = 0;
    bool result = false;
    if (OnFindLineCode) OnFindLineCode(this, SourcePos, Address, LineSize, result);
    FCache.DepositAddress(SourcePos, Address, LineSize);
    return result;
}

String TDisassemblerLogic::GetFileName(const TCPUSourcePos& SourcePos) {
    String name;
    if (FCache.FetchFileName(SourcePos, name)) return name;
    if (OnGetFileName) OnGetFileName(this, SourcePos, name);
    FCache.DepositFileName(SourcePos, name);
    return name;
}

int64_t TDisassemblerLogic::AskNextAddr(int64_t Address) {
    if (!OnGetNextAddr) return AddWrap(Address, 1);
    int64_t next = Address;
    OnGetNextAddr(this, Address, next);
    FCache.DepositNextAddr(Address, next);
    return next;
}

int64_t TDisassemblerLogic::AskPrevAddr(int64_t Address) {
    if (!OnGetPrevAddr) return AddWrap(Address, -1);
    int64_t prev = Address;
    OnGetPrevAddr(this, Address, prev);
    FCache.DepositPrevAddr(Address, prev);
    return prev;
}

bool TDisassemblerLogic::AskLabel(int64_t Address, String& Text) {
    bool result = false;
    if (OnGetLabel) OnGetLabel(this, Address, Text, result);
    FCache.DepositLabelCode(Address, Text);
    return result;
}

bool TDisassemblerLogic::GetLabel(int64_t Address) {
    bool notEmpty = false;
    if (FCache.FetchLabelCode(Address, notEmpty)) return notEmpty;
    String text;
    return AskLabel(Address, text);
}

String TDisassemblerLogic::GetSourceText(const TCPUSourcePos& SourcePos) {
    String text;
    if (OnGetSourceText) OnGetSourceText(this, SourcePos, text);
    return text;
}

// ---------------------------------------------------------------------------
// The forward walk

void TDisassemblerLogic::IterateAddrs(const TIterateCallback& Callback, int64_t Address) {
    Iterate(Callback, Address);
}

int64_t TDisassemblerLogic::GoForward(int Count, int64_t Address) {
    uint16_t counter = 0;  // 16 bits wide, as the line arithmetic of the view
    int64_t last = Address;
    // A 16-bit counter can wrap when a host claims thousands of additional
    // lines; no screen is 65,536 instructions long, so the walk ends there.
    int steps = 0;
    Iterate(
        [&](int64_t& A, TCPUSourcePos& Pos) {
            last = A;
            if (!(counter < Count) || ++steps > 0x10000) return false;
            ++counter;
            if (Pos.FileIndex > 0)
                ++counter;
            else if (GetLabel(A))
                ++counter;
            if (FShowAdditionalDisasm) counter = static_cast<uint16_t>(counter + DisassembleAdditionalAt(A));
            const bool goOn = counter <= Count;
            A = GetNextAddr(A);
            return goOn;
        },
        Address);
    return last;
}

int64_t TDisassemblerLogic::GoBack(int Count, int64_t Address) {
    int64_t limit = FAddressSize == as64 ? std::numeric_limits<int64_t>::max() : 0x7FFFFFFF;
    while (Count > 0) {
        Address = GetPrevAddr(Address);
        --Count;
        if (Address < limit) {
            int64_t firstStat = 0;
            int32_t lineSize = 0;
            const TCPUSourcePos pos = FindSourceLine(Address, firstStat, lineSize);
            if (pos.FileIndex > 0) FindLineCode(pos, limit, lineSize);
        }
        if (Address == limit) --Count;  // the source header line
    }
    return Address;
}

int TDisassemblerLogic::GetIndex(int64_t Address, bool FindLast) const {
    int found = -1;
    const int n = static_cast<int>(FAddressList.size());
    for (int i = 0; i < n; ++i) {
        const int64_t a = FAddressList[i];
        if (a > Address) break;
        if (a == Address) {
            if (!FindLast) return i;
            found = i;
        }
    }
    return found;
}

void TDisassemblerLogic::GrowAndRecordLine(int Line, int64_t Address) {
    if (Line < 0) return;
    while (static_cast<size_t>(Line) >= FAddressList.size()) FAddressList.resize(FAddressList.size() + 128, 0);
    FAddressList[Line] = Address;
}

int64_t TDisassemblerLogic::PreviousLineAddress(int64_t Address) {
    const int index = GetIndex(Address, false);
    if (index <= 0) return GetPrevAddr(Address);
    if (FAddressList[index - 1] != Address) return FAddressList[index - 1];
    if (index != 1) return FAddressList[index - 2];
    return GetPrevAddr(Address);
}

// ---------------------------------------------------------------------------
// Position and selection

void TDisassemblerLogic::SetTopAddress(int64_t Value) {
    if (Value == FTopAddress) return;
    FTopAddress = Value;
    Invalidate();
}

void TDisassemblerLogic::InternalSetSelectedAddress(int64_t Value) {
    FSelectedAddress = Value;
    FHasMultiSelection = false;
    FEndSelectionAddress = 0;
}

// Step 3 of keeping a new selection in view: the value is not on screen.
void TDisassemblerLogic::KeepInView(int64_t Value) {
    if (Value == FBottomAddress)
        SetTopAddress(GetNextAddr(FTopAddress));
    else if (GetNextAddr(FBottomAddress) == Value)
        SetTopAddress(GetNextAddr(GetNextAddr(FTopAddress)));
    else if (Value == FTopAddress)
        SetTopAddress(GetPrevAddr(FTopAddress));
    else
        SetTopAddress(Value);
}

void TDisassemblerLogic::SetSelectedAddress(int64_t Value) {
    const int64_t oldSelected = FSelectedAddress;
    const int64_t oldEnd = FEndSelectionAddress;
    const bool wasMulti = FHasMultiSelection;
    InternalSetSelectedAddress(Value);
    if (wasMulti) InvalidateSelection(oldSelected, oldEnd);
    if (FTopAddress <= Value && Value < FBottomAddress) {
        if (GetIndex(Value, false) >= 0) {
            InvalidateAtAddress(oldSelected, false);
            InvalidateAtAddress(Value, false);
        } else {
            SetTopAddress(Value);  // inside a shown instruction, or the list is out of date
        }
    } else {
        KeepInView(Value);
    }
    if (OnAddressChanged) OnAddressChanged(this, FSelectedAddress);
}

void TDisassemblerLogic::SteppingSetSelectedAddress(int64_t Value) {
    if (FTopAddress <= Value && Value < FBottomAddress) {
        SetSelectedAddress(Value);
        return;
    }
    InternalSetSelectedAddress(Value);
    SetTopAddress(Value);
}

void TDisassemblerLogic::SetEndSelectionAddress(int64_t Value) {
    if (FHasMultiSelection && FEndSelectionAddress == Value) return;
    int64_t previousEnd = Value;
    if (FHasMultiSelection) {
        previousEnd = FEndSelectionAddress;
        if (!(FTopAddress <= Value && Value < FBottomAddress)) KeepInView(Value);
    }
    FHasMultiSelection = true;
    FEndSelectionAddress = Value;
    const int64_t lo = std::min({FSelectedAddress, FEndSelectionAddress, previousEnd});
    const int64_t hi = std::max({FSelectedAddress, FEndSelectionAddress, previousEnd});
    InvalidateSelection(lo, hi);
}

// ---------------------------------------------------------------------------
// Redraws

void TDisassemblerLogic::InvalidateSelection(int64_t A, int64_t B) {
    int64_t low = std::max(std::min(A, B), FTopAddress);
    // At most 128 bytes per screen line, without overflowing near the top.
    const int64_t span = static_cast<int64_t>(FLineCount) * 128;
    const int64_t limit = FTopAddress > std::numeric_limits<int64_t>::max() - span
                              ? std::numeric_limits<int64_t>::max()
                              : FTopAddress + span;
    const int64_t high = std::min(std::max(A, B), limit);
    if (low > high) return;
    for (int64_t address = low;; ++address) {
        if (GetIndex(address, false) >= 0) InvalidateAtAddress(address, false);
        if (address == high) break;
    }
}

void TDisassemblerLogic::InvalidateAtAddress(int64_t Address, bool IsEIP) {
    if (Address < FTopAddress || Address > FBottomAddress) return;
    if (!FWindow) return;
    const int index = GetIndex(Address, IsEIP);
    if (index < 0) {
        FWindow->Invalidate();
        return;
    }
    // The first line of the group down to its instruction line; with IsEIP
    // the instruction line alone.
    const int last = IsEIP ? index : GetIndex(Address, true);
    FWindow->InvalidateRect(Rect(0, index * FLineHeight, FClientWidth, (last + 1) * FLineHeight));
}

// ---------------------------------------------------------------------------
// Properties

void TDisassemblerLogic::SetDisableCaching(bool Value) {
    FCache.SetDisableCaching(Value);
    if (Value) FCache.Clear();
}

void TDisassemblerLogic::SetAddressSize(TAddressSize Value) {
    if (Value == FAddressSize) return;
    FAddressSize = Value;
    Invalidate();
}

void TDisassemblerLogic::SetMixedSource(bool Value) {
    if (Value == FMixedSource) return;
    FMixedSource = Value;
    Invalidate();
}

void TDisassemblerLogic::SetShowAdditionalDisasm(bool Value) {
    if (Value == FShowAdditionalDisasm) return;
    FShowAdditionalDisasm = Value;
    Invalidate();
}

void TDisassemblerLogic::SetLeftGutterWidth(int Value) {
    if (Value == FLeftGutterWidth) return;
    FLeftGutterWidth = Value;
    Invalidate();
}

}  // namespace ide
