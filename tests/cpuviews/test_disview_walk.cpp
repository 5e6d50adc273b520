// The forward walk, painting and the two line counters: where source headers,
// labels and additional lines appear, what the screen-line map holds, and
// scrolling forwards and backwards through a variable-length stream, also
// from addresses in the middle of an instruction.
#include <gtest/gtest.h>

#include "AllocationCount.h"
#include "ScriptedHost.h"

using namespace ide;
using namespace distest;

namespace {

using Lines = std::vector<std::string>;

// 6 screen lines of 10 pixels; 16 instructions from 0x1000.
struct Walk : ::testing::Test {
    ScriptedHost host;
    RecordingWindow window;
    TDisassemblerLogic view{&window};

    void SetUp() override {
        // insn_0 0x1000, insn_1 0x1001, insn_2 0x1004, insn_3 0x1006 (5 bytes),
        // insn_4 0x100B, insn_5 0x100F, ...
        host.Lay(0x1000, {1, 3, 2, 5, 4, 1, 2, 3, 6, 1, 2, 2, 7, 1, 1, 3});
        host.Attach(view);
        view.Resize(200, 50);
        view.FontChanged();
        view.SetMixedSource(false);
    }

    Lines Paint() {
        RecordingCanvas canvas;
        view.Paint(canvas);
        return canvas.Lines();
    }
    int64_t At(int i) const { return host.Code[i].Addr; }
};

TEST_F(Walk, LineCountCountsThePartlyHiddenLineAndBottomIsItsAddress) {
    EXPECT_EQ(view.LineHeight(), 10);
    EXPECT_EQ(view.LineCount(), 6);
    view.SetTopAddress(0x1000);
    EXPECT_EQ(Paint(), (Lines{"insn_0", "insn_1", "insn_2", "insn_3", "insn_4", "insn_5"}));
    EXPECT_EQ(view.BottomAddress(), At(5));
    const std::vector<int64_t> expected{At(0), At(1), At(2), At(3), At(4), At(5)};
    EXPECT_EQ(std::vector<int64_t>(view.AddressList().begin(), view.AddressList().begin() + 6), expected);
    EXPECT_EQ(view.AddressList().size(), 128u);
}

TEST_F(Walk, MixedSourceShowsAHeaderAtEachLinesFirstStatementOnly) {
    host.Lines = {{0x1000, 0x1004, 10, "int x = 1;"}, {0x1004, 0x100B, 11, ""}};
    view.SetMixedSource(true);
    view.SetTopAddress(0x1000);
    // An empty source text without a label still prints the file form.
    EXPECT_EQ(Paint(), (Lines{"main.c.10: int x = 1;", "insn_0", "insn_1", "main.c.11: ", "insn_2", "insn_3"}));
    EXPECT_EQ(view.BottomAddress(), At(3));
    EXPECT_EQ(view.GetIndex(At(2), false), 3);  // the header line holds its instruction's address
    EXPECT_EQ(view.GetIndex(At(2), true), 4);

    // A top inside a source line shows no header for it, and the next one.
    view.SetTopAddress(At(1));
    EXPECT_EQ(Paint(), (Lines{"insn_1", "main.c.11: ", "insn_2", "insn_3", "insn_4", "insn_5"}));

    // With no source text but a label, the header is the label.
    host.Labels[0x1004] = "loop";
    view.ClearCache();
    EXPECT_EQ(Paint()[1], "loop:");
    host.FileName = "";
    host.Lines[1].Text = "y++;";
    view.ClearCache();
    EXPECT_EQ(Paint()[1], "<unknown file>.11: y++;");
}

TEST_F(Walk, ALabelThenBoldAdditionalLinesThenTheInstructionWithOneGutterCallForTheGroup) {
    host.Labels[At(1)] = "start";
    host.Additional[At(1)] = "; call target\n; second";
    std::vector<std::pair<int64_t, TRect>> gutter;
    view.OnPaintGutter = [&](TDisassemblerLogic*, int64_t A, TCanvas&, const TRect& R, bool IsSource) {
        gutter.push_back({A, R});
        EXPECT_EQ(IsSource, A == -1);
    };
    view.SetTopAddress(0x1000);
    RecordingCanvas canvas;
    view.Paint(canvas);
    EXPECT_EQ(canvas.Lines(), (Lines{"insn_0", "start:", "; call target", "; second", "insn_1", "insn_2"}));
    EXPECT_FALSE(canvas.Texts[0].Bold);
    EXPECT_TRUE(canvas.Texts[1].Bold);
    EXPECT_TRUE(canvas.Texts[3].Bold);
    EXPECT_FALSE(canvas.Texts[4].Bold);
    ASSERT_GE(gutter.size(), 3u);
    EXPECT_EQ(gutter[0].first, At(0));
    EXPECT_EQ(gutter[1].first, -1);
    EXPECT_EQ(gutter[1].second, (TRect{0, 10, 30, 40}));  // covers all but the instruction line
    EXPECT_EQ(gutter[2].first, At(1));
    EXPECT_EQ(gutter[2].second, (TRect{0, 40, 30, 50}));
}

// A canvas that draws nothing and keeps nothing.
struct NullCanvas : TCanvas {
    int TextLines = 0;
    void FillRect(const TRect&) override {}
    void FrameRect(const TRect&) override {}
    void Rectangle(const TRect&) override {}
    void DrawFocusRect(const TRect&) override {}
    void TextOut(int, int, const String&) override {}
    void TextRect(const TRect&, int, int, const String&) override { ++TextLines; }
    TDimension TextExtent(const String& T) override { return {8 * static_cast<int>(T.size()), 10}; }
    int TextMetricHeight() override { return 10; }
    void Draw(int, int, const TBitmap&) override {}
    void BrushCopy(const TRect&, const TBitmap&, const TRect&, TColor) override {}

protected:
    void DoLine(int, int, int, int) override {}
};

TEST_F(Walk, APaintFromTheMemoAllocatesNothingLabelsAndAdditionalLinesIncluded) {
    // Labels and lines longer than a string holds without the heap.
    host.Labels[At(1)] = "a_function_with_a_long_name";
    host.Additional[At(1)] = "; call a_function_with_a_long_name\n; and a second additional line";
    host.Labels[At(3)] = "another_rather_long_label";
    view.Resize(400, 100);
    view.FontChanged();
    view.SetTopAddress(At(0));
    NullCanvas canvas;
    host.Lay(host.Code.back().Addr + host.Code.back().Len, {2, 3, 4, 5, 6, 7, 1, 2, 3, 4, 5, 6, 7, 1, 2, 3, 4, 5});
    auto round = [&] {
        view.SetTopAddress(At(0));
        view.Paint(canvas);
        view.VScroll(SB_PAGEDOWN);
        view.Paint(canvas);
        view.VScroll(SB_PAGEUP);
    };
    for (Instr& i : host.Code) i.Text += " qword ptr [rax+rbx*8+0x12345678], 0x7FFFFFFF";
    round();  // fills the memo and the kept strings
    round();
    canvas.TextLines = 0;
    const int asked = host.Disassemble + host.Next + host.Prev + host.LabelAsks + host.AdditionalAsks;
    const long before = distest::AllocationCount();
    for (int i = 0; i < 3; ++i) round();
    EXPECT_EQ(distest::AllocationCount() - before, 0);
    EXPECT_EQ(host.Disassemble + host.Next + host.Prev + host.LabelAsks + host.AdditionalAsks, asked);
    EXPECT_GT(canvas.TextLines, 6 * 9);  // every paint drew its screen
}

TEST_F(Walk, GoForwardCountsEveryDisplayLineAndGoBackOnlySourceHeaders) {
    EXPECT_EQ(view.GoForward(0, At(3)), At(3));
    EXPECT_EQ(view.GoForward(4, At(0)), At(4));
    EXPECT_EQ(view.GoBack(4, At(4)), At(0));

    // A label takes a screen line going forward but not going back.
    host.Labels[At(2)] = "here";
    view.ClearCache();
    EXPECT_EQ(view.GoForward(4, At(0)), At(3));
    EXPECT_EQ(view.GoBack(4, At(3)), At(0) - 1);  // the page up overshoots

    // A click on a label line selects the instruction below it.
    EXPECT_EQ(view.GoForward(2, At(0)), At(2));
    EXPECT_EQ(view.GoForward(3, At(0)), At(2));

    // Source headers count both ways.
    host.Labels.clear();
    host.Lines = {{At(2), At(4), 20, "s"}};
    view.ClearCache();
    view.SetMixedSource(true);
    EXPECT_EQ(view.GoForward(5, At(0)), At(4));
    EXPECT_EQ(view.GoBack(5, At(4)), At(0));
}

TEST_F(Walk, AHostClaimingEndlessAdditionalLinesCannotHangTheView) {
    // 65,535 additional lines on an address that never advances would wrap
    // the 16-bit line counter for ever.
    view.OnGetNextAddr = [](TDisassemblerLogic*, int64_t A, int64_t& N) { N = A; };
    view.OnDisassembleAdditional = [](TDisassemblerLogic*, int64_t, int64_t, String& R, int32_t& N) {
        R = u"a\nb";
        N = 65535;
    };
    EXPECT_EQ(view.GoForward(3, At(0)), At(0));
    // Only the lines the text holds are shown.
    view.SetTopAddress(At(0));
    EXPECT_EQ(Paint(), (Lines{"a", "b", "insn_0", "a", "b", "insn_1"}));
}

TEST_F(Walk, GoBackLooksUpNoSourceAbove2GInA32BitView) {
    ScriptedHost high;
    high.Lay(0x80000000, {2, 2, 2, 2});
    high.Lines = {{0x80000000, 0x80000008, 1, "s"}};
    high.Attach(view);
    view.SetMixedSource(true);
    EXPECT_EQ(view.GoBack(3, 0x80000004), 0x80000000 - 1);
    EXPECT_EQ(high.Source, 0);
    view.SetAddressSize(as64);
    view.ClearCache();
    EXPECT_EQ(view.GoBack(3, 0x80000004), 0x80000000);  // the header line counts now
    EXPECT_GT(high.Source, 0);
}

TEST_F(Walk, ATopInsideAnInstructionDecodesFromThatByteAndFallsBackIntoStep) {
    view.SetTopAddress(At(3) + 1);
    EXPECT_EQ(Paint(), (Lines{"mid_1", "insn_4", "insn_5", "insn_6", "insn_7", "insn_8"}));
    // Scrolling up a line asks the host, which answers with the enclosing start.
    view.VScroll(SB_LINEUP);
    EXPECT_EQ(view.TopAddress(), At(3));
    EXPECT_EQ(Paint()[0], "insn_3");
    // Ctrl+Right and Ctrl+Left move the top by one byte, the selection with it.
    view.InternalSetSelectedAddress(At(3));
    view.KeyDown(VK_RIGHT, ShiftBit(ssCtrl));
    EXPECT_EQ(view.TopAddress(), At(3) + 1);
    EXPECT_EQ(view.SelectedAddress(), At(3) + 1);
    view.KeyDown(VK_LEFT, ShiftBit(ssCtrl) | ShiftBit(ssAlt));
    EXPECT_EQ(view.TopAddress(), At(3));
    EXPECT_EQ(view.SelectedAddress(), At(3));
}

TEST_F(Walk, PagesAndLinesScrollBothWaysThroughTheStream) {
    view.SetTopAddress(At(0));
    Paint();
    view.VScroll(SB_PAGEDOWN);
    EXPECT_EQ(view.TopAddress(), At(5));
    view.VScroll(SB_LINEDOWN);
    EXPECT_EQ(view.TopAddress(), At(6));
    view.VScroll(SB_PAGEUP);
    EXPECT_EQ(view.TopAddress(), At(1));
    view.VScroll(SB_THUMBTRACK);  // the dummy bar's thumb does nothing
    EXPECT_EQ(view.TopAddress(), At(1));
    view.MouseWheel(-1);  // a notch down: three instructions
    EXPECT_EQ(view.TopAddress(), At(4));
    view.MouseWheel(2);
    EXPECT_EQ(view.TopAddress(), At(0) - 2);  // no code above: the host steps by a byte

    // Pages down and back up, painting after each move as the control does,
    // land where they started; the second time round the memo answers all.
    auto round = [&] {
        view.SetTopAddress(At(0));
        for (TScrollCode code : {SB_PAGEDOWN, SB_PAGEDOWN, SB_PAGEUP, SB_PAGEUP}) {
            view.VScroll(code);
            Paint();
        }
        EXPECT_EQ(view.TopAddress(), At(0));
    };
    round();
    const int asked = host.Next + host.Prev + host.Disassemble + host.Source + host.LabelAsks;
    round();
    EXPECT_EQ(host.Next + host.Prev + host.Disassemble + host.Source + host.LabelAsks, asked);

    // The keys move the selection by the same count of lines as the top.
    view.InternalSetSelectedAddress(At(2));
    view.KeyDown(VK_NEXT, 0);
    EXPECT_EQ(view.SelectedAddress(), At(7));
    view.KeyDown(VK_PRIOR, 0);
    EXPECT_EQ(view.SelectedAddress(), At(2));
}

TEST_F(Walk, HorizontalScrollStepsClampsAndMovesTheOrigin) {
    view.KeyDown(VK_RIGHT, 0);
    EXPECT_EQ(view.LeftCol(), 8);
    view.KeyDown(VK_LEFT, 0);
    view.KeyDown(VK_LEFT, 0);
    EXPECT_EQ(view.LeftCol(), 0);
    view.HScroll(SB_THUMBTRACK, 5000);
    EXPECT_EQ(view.LeftCol(), 200);
    EXPECT_EQ(window.HorzMax, 400);
    EXPECT_EQ(window.HorzPage, 200);
    EXPECT_EQ(window.HorzPos, 200);
    // With the gutter scrolled out, no gutter is painted.
    int gutterCalls = 0;
    view.OnPaintGutter = [&](TDisassemblerLogic*, int64_t, TCanvas&, const TRect&, bool) { ++gutterCalls; };
    RecordingCanvas canvas;
    view.Paint(canvas);
    EXPECT_EQ(gutterCalls, 0);
    view.HScroll(SB_PAGEUP, 0);
    EXPECT_EQ(view.LeftCol(), 0);
    view.Paint(canvas);
    EXPECT_EQ(gutterCalls, 6);
}

TEST_F(Walk, ResizingAcrossFortyCharactersFlipsSmallDisplayAndLosesTheCache) {
    EXPECT_TRUE(view.SmallDisplay());  // 40 * 8 + 30 > 200
    view.SetTopAddress(At(0));
    Paint();
    ASSERT_GT(view.Cache().AddressCount(), 0u);
    view.Resize(300, 80);
    EXPECT_EQ(view.LineCount(), 9);
    EXPECT_GT(view.Cache().AddressCount(), 0u);
    view.Resize(400, 80);
    EXPECT_FALSE(view.SmallDisplay());
    EXPECT_EQ(view.Cache().AddressCount(), 0u);
    Paint();
    view.FontChanged();  // fonts don't touch the flag or the cache
    EXPECT_GT(view.Cache().AddressCount(), 0u);
    EXPECT_FALSE(view.SmallDisplay());
}

TEST_F(Walk, PaintColoursSelectionBreakpointsAndTheFocusRectangleByRange) {
    host.Breakpoints[At(2)] = true;
    view.SetTopAddress(At(0));
    view.InternalSetSelectedAddress(At(1) + 1);  // inside insn_1
    window.Focus = true;
    RecordingCanvas canvas;
    view.Paint(canvas);
    EXPECT_EQ(canvas.Texts[2].Back, clRed);
    EXPECT_EQ(canvas.Texts[2].Fore, clBlack);
    EXPECT_EQ(canvas.Texts[0].Back, clBtnFace);
    ASSERT_EQ(canvas.FocusRects.size(), 1u);  // the selection points into insn_1
    EXPECT_EQ(canvas.FocusRects[0], (TRect{30, 10, 201, 20}));

    view.InternalSetSelectedAddress(At(1));
    canvas.Reset();
    view.Paint(canvas);
    EXPECT_EQ(canvas.Texts[1].Back, clHighlight);
    EXPECT_EQ(canvas.Texts[1].Fore, clWindowText);  // no highlight-text colour, on purpose
    window.Focus = false;
    canvas.Reset();
    view.Paint(canvas);
    EXPECT_EQ(canvas.Texts[1].Back, clInactiveCaption);
    EXPECT_TRUE(canvas.FocusRects.empty());
}

TEST_F(Walk, AHookThatCopiesOrPaintsAgainInsideAPaintLeavesTheLinesIntact) {
    // Painting keeps its line strings from one line to the next; a hook that
    // copies or paints again from inside a paint sees the same lines, and
    // the outer paint goes on unchanged.
    view.SetTopAddress(At(0));
    view.InternalSetSelectedAddress(At(3));
    const Lines plain = Paint();
    std::vector<String> copied;
    int depth = 0;
    view.OnPaintEndOfLine = [&](TDisassemblerLogic* Sender, int64_t, TCanvas&, const TRect&, bool) {
        copied.push_back(Sender->GetSelectedText());
        if (depth++ == 0) {
            RecordingCanvas inner;
            Sender->Paint(inner);
            EXPECT_EQ(inner.Lines(), plain);
        }
    };
    EXPECT_EQ(Paint(), plain);
    ASSERT_EQ(copied.size(), 2 * plain.size());
    for (const String& c : copied) EXPECT_EQ(c, u"insn_3");
}

}  // namespace

namespace {

// One view with its memo and one with DisableCaching, each over its own copy
// of the same scripted program: labels, additional lines, source lines,
// breakpoints and gaps. Whatever the user does, the memo may only save
// questions; the two views must paint and select alike, line for line.
struct TwinViews {
    ScriptedHost Host[2];
    RecordingWindow Window[2];
    TDisassemblerLogic View[2]{TDisassemblerLogic(&Window[0]), TDisassemblerLogic(&Window[1])};

    TwinViews() {
        uint64_t seed = 777;
        auto next = [&] {
            seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
            return seed;
        };
        for (ScriptedHost& h : Host) {
            seed = 777;
            int64_t a = 0x4000;
            for (int i = 0; i < 400; ++i) {
                const int len = 1 + static_cast<int>(next() % 7);
                h.Code.push_back({a, len, "op" + std::to_string(i) + std::string(next() % 40, 'x')});
                if (i % 37 == 5) h.Labels[a] = "fn" + std::to_string(i);
                if (i % 23 == 7) h.Additional[a] = "; note " + std::to_string(i) + (i % 2 ? "\n; more" : "");
                if (i % 11 == 3) h.Breakpoints[a] = true;
                a += len + (i % 97 == 50 ? 9 : 0);  // a few gaps without code
            }
            for (int i = 0; i + 3 < 400; i += 3 + static_cast<int>(next() % 5))
                if (i % 4 != 1)
                    h.Lines.push_back({h.Code[i].Addr, h.Code[i + 2].Addr + h.Code[i + 2].Len, uint32_t(100 + i),
                                       i % 3 ? "x = " + std::to_string(i) + ";" : ""});
        }
        for (int v = 0; v < 2; ++v) {
            Host[v].Attach(View[v]);
            View[v].Resize(480, 95);
            View[v].FontChanged();
            View[v].SetDisableCaching(v == 1);
            View[v].SetTopAddress(0x4000);
        }
    }

    template <class F>
    void Both(F&& Action) {
        for (int v = 0; v < 2; ++v) Action(View[v], Window[v]);
    }
};

TEST(CachedAndUncachedViews, PaintSelectAndScrollAlikeWhateverTheUserDoes) {
    TwinViews twins;
    uint64_t seed = 4242;
    auto next = [&] {
        seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
        return seed;
    };
    int cachedAsked = 0;
    for (int step = 0; step < 600; ++step) {
        const uint64_t r = next();
        const int what = static_cast<int>(r % 16);
        const int arg = static_cast<int>((r >> 8) % 1000);
        twins.Both([&](TDisassemblerLogic& v, RecordingWindow& w) {
            switch (what) {
            case 0: case 1: v.VScroll(SB_PAGEDOWN); break;
            case 2: case 3: v.VScroll(SB_PAGEUP); break;
            case 4: v.VScroll(arg % 2 ? SB_LINEDOWN : SB_LINEUP); break;
            case 5: v.KeyDown(arg % 2 ? VK_DOWN : VK_UP, arg % 3 == 0 ? ShiftBit(ssShift) : 0); break;
            case 6: v.KeyDown(arg % 2 ? VK_NEXT : VK_PRIOR, arg % 5 == 0 ? ShiftBit(ssShift) : 0); break;
            case 7: v.KeyDown(arg % 2 ? VK_LEFT : VK_RIGHT, ShiftBit(ssCtrl)); break;  // off by a byte
            case 8: v.MouseWheel(arg % 2 ? 1 : -1); break;
            case 9:
                v.MouseDown(arg % 3 == 0 ? mbRight : mbLeft, arg % 4 == 0 ? ShiftBit(ssShift) : 0, arg % 300,
                            arg % 95);
                v.MouseUp(mbLeft, 0, 0, 0);
                break;
            case 10: v.SetSelectedAddress(0x4000 + arg % 1800); break;  // also inside instructions
            case 11: v.SetMixedSource(arg % 3 != 0); break;
            case 12: v.SetShowAdditionalDisasm(arg % 4 != 0); break;
            case 13: arg % 2 ? v.FocusIn() : v.FocusOut(); w.Focus = arg % 2; break;
            case 14: v.SetTopAddress(0x4000 + arg * 2); break;
            default: v.HScroll(SB_LINEDOWN, 0); break;
            }
        });
        RecordingCanvas canvas[2];
        twins.Both([&](TDisassemblerLogic& v, RecordingWindow&) { v.Paint(canvas[&v == &twins.View[1]]); });
        const TDisassemblerLogic& a = twins.View[0];
        const TDisassemblerLogic& b = twins.View[1];
        ASSERT_EQ(canvas[0].Texts.size(), canvas[1].Texts.size()) << "step " << step;
        for (size_t i = 0; i < canvas[0].Texts.size(); ++i) {
            const RecordingCanvas::Text& x = canvas[0].Texts[i];
            const RecordingCanvas::Text& y = canvas[1].Texts[i];
            ASSERT_EQ(x.S, y.S) << "step " << step << " line " << i;
            ASSERT_EQ(x.Y, y.Y) << "step " << step;
            ASSERT_EQ(x.Bold, y.Bold) << "step " << step;
            ASSERT_EQ(x.Back, y.Back) << "step " << step;
            ASSERT_EQ(x.Fore, y.Fore) << "step " << step;
        }
        ASSERT_EQ(canvas[0].Fills, canvas[1].Fills) << "step " << step;
        ASSERT_EQ(canvas[0].FocusRects, canvas[1].FocusRects) << "step " << step;
        ASSERT_EQ(a.TopAddress(), b.TopAddress()) << "step " << step;
        ASSERT_EQ(a.BottomAddress(), b.BottomAddress()) << "step " << step;
        ASSERT_EQ(a.SelectedAddress(), b.SelectedAddress()) << "step " << step;
        ASSERT_EQ(a.HasMultiSelection(), b.HasMultiSelection()) << "step " << step;
        ASSERT_EQ(a.EndSelectionAddress(), b.EndSelectionAddress()) << "step " << step;
        ASSERT_EQ(a.AddressList(), b.AddressList()) << "step " << step;
        ASSERT_EQ(twins.Window[0].Rects, twins.Window[1].Rects) << "step " << step;
        if (step % 50 == 0) {
            ASSERT_EQ(twins.View[0].GetSelectedText(), twins.View[1].GetSelectedText()) << "step " << step;
        }
        cachedAsked = twins.Host[0].Disassemble + twins.Host[0].Prev + twins.Host[0].Next + twins.Host[0].Source;
    }
    // The memo saved questions; the view without it asked every time.
    const int uncachedAsked =
        twins.Host[1].Disassemble + twins.Host[1].Prev + twins.Host[1].Next + twins.Host[1].Source;
    EXPECT_LT(cachedAsked * 5, uncachedAsked);
}

}  // namespace
