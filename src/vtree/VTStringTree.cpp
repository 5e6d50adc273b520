#include "vtree/VTStringTree.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

namespace ide {

namespace {
constexpr int kCaptionChunk = 3;
}

String TCustomVirtualStringTree::GetText(PVirtualNode Node, TColumnIndex Column) {
    String text;
    if (!IsNode(Node)) return text;
    if (!HasState(Node, vsInitialized)) InitNode(Node);
    DoGetText(Node, Column, text);
    return text;
}

void TCustomVirtualStringTree::SetText(PVirtualNode Node, TColumnIndex Column, const String& Text) {
    if (!IsNode(Node)) return;
    DoNewText(Node, Column, Text);
    InvalidateNode(Node);
}

void TCustomVirtualStringTree::DoGetText(PVirtualNode Node, TColumnIndex Column, String& Text) {
    if (OnGetText) OnGetText(this, Node, Column, Text);
}

void TCustomVirtualStringTree::DoNewText(PVirtualNode Node, TColumnIndex Column, const String& Text) {
    if (OnNewText) OnNewText(this, Node, Column, Text);
}

int TCustomVirtualStringTree::DoGetNodeWidth(PVirtualNode Node, TColumnIndex Column) {
    return MeasureTextWidth(GetText(Node, Column));
}

void TCustomVirtualStringTree::DoPaintNode(TCanvas& Canvas, PVirtualNode Node, const TRect& R, bool Selected) {
    const String text = GetText(Node, -1);
    const int width = Canvas.TextWidth(text) + 2 * int(FTextMargin);
    const TRect cell{R.Left, R.Top, std::min(R.Right, R.Left + width), R.Bottom};
    if (Selected) {
        Canvas.SetBrushColor(clHighlight);
        Canvas.FillRect(cell);
    }
    Canvas.Font().SetColor(Selected ? TColor(clHighlightText) : HasState(Node, vsDisabled) ? TColor(clGrayText)
                                                                                         : TColor(clWindowText));
    Canvas.SetBrushStyle(bsClear);
    const int y = R.Top + (R.Height() - Canvas.TextMetricHeight()) / 2;
    Canvas.TextRect(cell, R.Left + int(FTextMargin), y, text);
}

int TCustomVirtualStringTree::DoIncrementalSearch(PVirtualNode Node, const String& Text) {
    if (OnIncrementalSearch) return TBaseVirtualTree::DoIncrementalSearch(Node, Text);
    if (!Node) return 0;
    if (!IsNode(Node)) return Text.empty() ? 0 : 1;
    if (!HasState(Node, vsInitialized)) InitNode(Node);
    // A search asks a million nodes for their text: the text goes into a
    // buffer kept from node to node. A client that searches again from
    // inside OnGetText gets a buffer of its own.
    if (FSearchTextBusy) {
        String text;
        DoGetText(Node, FFocusedColumn, text);
        return text.starts_with(Text) ? 0 : 1;
    }
    struct TBusy {
        bool& Flag;
        explicit TBusy(bool& F) : Flag(F) { Flag = true; }
        ~TBusy() { Flag = false; }
    } busy(FSearchTextBusy);
    FSearchText.clear();
    DoGetText(Node, FFocusedColumn, FSearchText);
    return FSearchText.starts_with(Text) ? 0 : 1;
}

void TCustomVirtualStringTree::WriteChunks(TStream& Stream, PVirtualNode Node) {
    TBaseVirtualTree::WriteChunks(Stream, Node);
    if (!HasOption(toSaveCaptions) || Node == FRoot || !HasState(Node, vsInitialized)) return;
    String text = std::move(FCaptionText);
    text.clear();
    DoGetText(Node, -1, text);
    if (!text.empty()) {
        const uint32_t size = uint32_t(2 * text.size());
        uint8_t header[8];
        for (int i = 0; i < 4; ++i) {
            header[i] = uint8_t(uint32_t(kCaptionChunk) >> (8 * i));
            header[4 + i] = uint8_t(size >> (8 * i));
        }
        Stream.WriteBuffer(header, 8);
        if constexpr (std::endian::native == std::endian::little) {
            Stream.WriteBuffer(text.data(), size);
        } else {
            std::vector<uint8_t>& bytes = FCaptionBytes;
            bytes.resize(size);
            for (size_t i = 0; i < text.size(); ++i) {
                bytes[2 * i] = uint8_t(text[i]);
                bytes[2 * i + 1] = uint8_t(text[i] >> 8);
            }
            Stream.WriteBuffer(bytes.data(), size);
        }
    }
    FCaptionText = std::move(text);
}

// An odd size reads as whole code units; the reader of the node skips the
// last byte.
bool TCustomVirtualStringTree::ReadChunk(TStream& Stream, int Version, PVirtualNode Node, int ChunkType,
                                         int ChunkSize) {
    if (ChunkType != kCaptionChunk) return TBaseVirtualTree::ReadChunk(Stream, Version, Node, ChunkType, ChunkSize);
    String text = std::move(FCaptionText);
    text.clear();
    if (ChunkSize > 0) {
        text.resize(size_t(ChunkSize) / 2);
        const int64_t size = int64_t(2 * text.size());
        if constexpr (std::endian::native == std::endian::little) {
            Stream.ReadBuffer(text.data(), size);
        } else {
            std::vector<uint8_t>& bytes = FCaptionBytes;
            bytes.resize(size_t(size));
            Stream.ReadBuffer(bytes.data(), size);
            for (size_t i = 0; i < text.size(); ++i) text[i] = Char(bytes[2 * i] | (bytes[2 * i + 1] << 8));
        }
    }
    SetText(Node, -1, text);
    FCaptionText = std::move(text);
    return true;
}

}  // namespace ide
