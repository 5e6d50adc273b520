// TCustomVirtualDrawTree: the tree whose client paints each node itself on
// the canvas (OnDrawNode) and tells its width (OnGetNodeWidth).
//
// Thread: UI thread only.
#pragma once

#include "vtree/VTBaseTree.h"

namespace ide {

class TCustomVirtualDrawTree : public TBaseVirtualTree {
public:
    std::function<void(TBaseVirtualTree*, TCanvas& Canvas, PVirtualNode Node, const TRect& R, bool Selected)> OnDrawNode;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, TColumnIndex Column, int& Width)> OnGetNodeWidth;

protected:
    void DoPaintNode(TCanvas& Canvas, PVirtualNode Node, const TRect& R, bool Selected) override {
        if (OnDrawNode) OnDrawNode(this, Canvas, Node, R, Selected);
    }
    int DoGetNodeWidth(PVirtualNode Node, TColumnIndex Column) override {
        int width = 0;
        if (OnGetNodeWidth) OnGetNodeWidth(this, Node, Column, width);
        return width;
    }
};

}  // namespace ide
