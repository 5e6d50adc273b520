// TCustomVirtualStringTree: the tree whose nodes show texts. The texts are
// the client's, asked for through OnGetText whenever needed and never stored;
// OnNewText hears of a text set on a node (by an editor or the stream's
// caption chunks).
//
// Stream: with toSaveCaptions, a node's main-column text is written as a
// caption chunk (type 3) after its other chunks; reading hands the text to
// SetText. A caption of an odd byte size gives its whole code units and
// skips the last byte.
//
// Incremental search without a handler: the node matches when its text in
// the focused column begins with the search text, exactly and with case.
//
// Thread: UI thread only.
#pragma once

#include <vector>

#include "vtree/VTBaseTree.h"

namespace ide {

class TCustomVirtualStringTree : public TBaseVirtualTree {
public:
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, TColumnIndex Column, String& Text)> OnGetText;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, TColumnIndex Column, const String& Text)> OnNewText;

    // The text of a node in a column (-1: the main column); initialises the
    // node first.
    String GetText(PVirtualNode Node, TColumnIndex Column = -1);
    void SetText(PVirtualNode Node, TColumnIndex Column, const String& Text);

    // Average width of a character where no font measures (headless).
    static constexpr int HeadlessCharWidth = 7;

protected:
    virtual void DoGetText(PVirtualNode Node, TColumnIndex Column, String& Text);
    virtual void DoNewText(PVirtualNode Node, TColumnIndex Column, const String& Text);
    // The width of a text in pixels; the widget measures with its font.
    virtual int MeasureTextWidth(const String& Text) { return int(Text.size()) * HeadlessCharWidth; }
    int DoGetNodeWidth(PVirtualNode Node, TColumnIndex Column) override;
    void DoPaintNode(TCanvas& Canvas, PVirtualNode Node, const TRect& R, bool Selected) override;
    int DoIncrementalSearch(PVirtualNode Node, const String& Text) override;
    void WriteChunks(TStream& Stream, PVirtualNode Node) override;
    bool ReadChunk(TStream& Stream, int Version, PVirtualNode Node, int ChunkType, int ChunkSize) override;

private:
    // Buffers kept from node to node by the search and the stream, which
    // visit millions of nodes one text at a time.
    String FSearchText, FCaptionText;
    bool FSearchTextBusy = false;
    std::vector<uint8_t> FCaptionBytes;
};

}  // namespace ide
