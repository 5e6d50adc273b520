// A window side for the tree view's logic without a window: fixed client
// size, recorded invalidations, the recording canvas for measuring.
#pragma once

#include <vector>

#include "foundation/RecordingCanvas.h"
#include "model/IDEGraphImplContainers.h"
#include "views/IDEItemPainters.h"
#include "views/IDEViewImpl.h"

namespace ide::test {

class TFakeHost : public TViewHost {
public:
    bool Handle = true;
    bool Showing = true;
    TDimension Client{200, 100};
    TPoint Scroll;
    TDimension Range;
    int Increment = 0;
    std::vector<TRect> Invalidated;
    int InvalidatedAll = 0;
    TRecordingCanvas Canvas;

    bool HasHandle() override { return Handle; }
    bool IsShowing() override { return Showing; }
    TDimension GetClientSize() override { return Client; }
    TPoint GetScrollPosition() override { return Scroll; }
    void SetScrollPosition(int X, int Y) override { Scroll = {X, Y}; }
    void SetScrollRange(int W, int H) override { Range = {W, H}; }
    void SetVerticalIncrement(int V) override { Increment = V; }
    void Invalidate(const TRect& R, bool) override { Invalidated.push_back(R); }
    void InvalidateAll() override { ++InvalidatedAll; }
    TCanvas* GetMeasureCanvas() override { return &Canvas; }
};

// A painter of fixed size (17 px high unless told otherwise).
class TFixedPainter : public TInterfacedObject, public virtual IItemPainter {
public:
    explicit TFixedPainter(int W = 40, int H = 17) : FSize{W, H} {}
    TDimension GetPreferredSize(const IntfRef<IInterface>&, TCanvas*, TItemStates, const IntfRef<IItemPaintSite>&) override {
        return FSize;
    }
    void Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
               const IntfRef<IItemPaintSite>& Site) override {
        G->SetBrushColor(State.Contains(isSelected) ? clHighlight : Site->GetBackground());
        G->FillRect(ToRect(R));
        G->TextOut(R.Left, R.Top, Data ? As<IStringObject>(Data)->GetString() : String());
        if (State.Contains(isFocused)) G->DrawFocusRect(ToRect(R));
    }
    TDimension FSize;
};

}  // namespace ide::test
