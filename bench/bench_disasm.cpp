// The disassembler view over the C library's .text, through the view's own
// read-through path (the memo in front of the Zydis back end in static
// mode), against `objdump -d -j .text` run as a process on the same file,
// output to /dev/null. Both print addresses, code bytes and instructions.
//
// - Disasm/ideCold: a new view (empty memo) walks the whole .text with
//   DisassembleAt, one instruction after the other; the file is opened inside
//   the timing too.
// - Disasm/ideWarm: the same walk on a view whose memo already holds it all.
// - Scroll/ideCached against Scroll/viewWithoutCache: the same view, 60
//   lines high, moved 10,000 pages (up and down over a 50-page stretch of the
//   library, painted after every move with a canvas that draws nothing), with
//   its memo and with DisableCaching; one step is 100 pages. Without the memo every line up asks the
//   back end for a previous address, which decodes forward again from the
//   start of the enclosing function.
//
// Times are processor time (user + system), for objdump that of the child
// process: the machines these run on are shared, and wall time there says
// more about the neighbours than about the code. The wall time of the same
// steps is reported beside it as the counter "wall" (seconds per step).
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <time.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/debughost/DisasmBackEnd.h"

using namespace ide;

namespace {

std::string LibC() {
    std::error_code ec;
    for (const char* p : {"/lib/x86_64-linux-gnu/libc.so.6", "/usr/lib/x86_64-linux-gnu/libc.so.6"}) {
        auto real = std::filesystem::canonical(p, ec);
        if (!ec) return real.string();
    }
    return {};
}

struct NullCanvas : TCanvas {
    void FillRect(const TRect&) override {}
    void FrameRect(const TRect&) override {}
    void Rectangle(const TRect&) override {}
    void DrawFocusRect(const TRect&) override {}
    void TextOut(int, int, const String&) override {}
    void TextRect(const TRect&, int, int, const String& T) override { benchmark::DoNotOptimize(T.data()); }
    TDimension TextExtent(const String& T) override { return {7 * static_cast<int>(T.size() % 1000), 13}; }
    int TextMetricHeight() override { return 13; }
    void Draw(int, int, const TBitmap&) override {}
    void BrushCopy(const TRect&, const TBitmap&, const TRect&, TColor) override {}

protected:
    void DoLine(int, int, int, int) override {}
};

struct NullWindow : TDisasmWindow {
    void Invalidate() override {}
    void InvalidateRect(const TRect&) override {}
    bool Focused() const override { return true; }
    int TextWidth(const String& T) override { return 7 * static_cast<int>(T.size()); }
    int TextHeight(const String&) override { return 14; }
    void ShowScrollBars(bool) override {}
    void SetHorzScroll(int, int, int) override {}
};

double ChildrenCpu() {
    rusage u{};
    getrusage(RUSAGE_CHILDREN, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

// The benchmarks run on one thread: its clock is the process's, and cheaper
// to read (no sum over a thread group) inside a loop of short steps.
double Wall() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Adds one step's wall time to the "wall" counter.
struct WallClock {
    double Total = 0;
    void Report(benchmark::State& State) {
        State.counters["wall"] = benchmark::Counter(Total, benchmark::Counter::kAvgIterations);
    }
};

double OwnCpu() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

size_t WalkText(TDisassemblerLogic& View, const TElfImage& Image) {
    int64_t a = static_cast<int64_t>(Image.TextAddress());
    const int64_t end = static_cast<int64_t>(Image.TextEnd());
    String text;
    size_t lines = 0;
    while (a < end) {
        View.DisassembleAt(a, text);
        ++lines;
    }
    benchmark::DoNotOptimize(text.data());
    return lines;
}

void DisasmObjdump(benchmark::State& state) {
    const std::string lib = LibC();
    const std::string cmd = "objdump -d -j .text '" + lib + "' > /dev/null 2>&1";
    WallClock wall;
    for (auto _ : state) {
        const double before = ChildrenCpu();
        const double start = Wall();
        if (std::system(cmd.c_str()) != 0) state.SkipWithError("objdump failed");
        wall.Total += Wall() - start;
        state.SetIterationTime(ChildrenCpu() - before);
    }
    wall.Report(state);
}

void DisasmIdeCold(benchmark::State& state) {
    const std::string lib = LibC();
    size_t lines = 0;
    WallClock wall;
    for (auto _ : state) {
        const double before = OwnCpu();
        const double start = Wall();
        auto image = TElfImage::Open(lib);
        TDisasmBackEnd backEnd(image);
        TDisassemblerLogic view;
        backEnd.Attach(view);
        view.SetSmallDisplay(false);
        lines = WalkText(view, *image);
        wall.Total += Wall() - start;
        state.SetIterationTime(OwnCpu() - before);
    }
    wall.Report(state);
    state.counters["insns"] = static_cast<double>(lines);
}

void DisasmIdeWarm(benchmark::State& state) {
    auto image = TElfImage::Open(LibC());
    TDisasmBackEnd backEnd(image);
    TDisassemblerLogic view;
    backEnd.Attach(view);
    WalkText(view, *image);
    size_t lines = 0;
    WallClock wall;
    for (auto _ : state) {
        const double before = OwnCpu();
        const double start = Wall();
        lines = WalkText(view, *image);
        wall.Total += Wall() - start;
        state.SetIterationTime(OwnCpu() - before);
    }
    wall.Report(state);
    state.counters["insns"] = static_cast<double>(lines);
}

constexpr int kPagesPerStep = 100;

void Scroll(benchmark::State& state, bool Cached) {
    auto image = TElfImage::Open(LibC());
    TDisasmBackEnd backEnd(image);
    NullWindow window;
    NullCanvas canvas;
    TDisassemblerLogic view(&window);
    backEnd.Attach(view);
    view.Resize(900, 59 * 14);
    view.FontChanged();
    view.SetDisableCaching(!Cached);
    // A stretch a little into the library, where long functions are.
    const int64_t start = static_cast<int64_t>(image->TextAddress() + image->Text().size() / 3);
    view.SetTopAddress(start);
    view.Paint(canvas);
    // 100 pages a step: reading a processor clock costs microseconds on
    // these machines, which must not count as scrolling.
    int step = 0;
    WallClock wall;
    for (auto _ : state) {
        const double before = OwnCpu();
        const double start = Wall();
        for (int i = 0; i < kPagesPerStep; ++i, ++step) {
            view.VScroll((step / 50) % 2 == 0 ? SB_PAGEDOWN : SB_PAGEUP);
            view.Paint(canvas);
        }
        wall.Total += Wall() - start;
        state.SetIterationTime(OwnCpu() - before);
    }
    wall.Report(state);
    state.counters["lines"] = view.LineCount();
}

BENCHMARK(DisasmObjdump)->Name("Disasm/objdump")->Unit(benchmark::kMillisecond)->Iterations(3)->UseManualTime();
BENCHMARK(DisasmIdeCold)->Name("Disasm/ideCold")->Unit(benchmark::kMillisecond)->Iterations(3)->UseManualTime();
BENCHMARK(DisasmIdeWarm)->Name("Disasm/ideWarm")->Unit(benchmark::kMillisecond)->Iterations(5)->UseManualTime();
BENCHMARK_CAPTURE(Scroll, cached, true)->Name("Scroll/ideCached")->Unit(benchmark::kMicrosecond)->Iterations(10000 / kPagesPerStep)->UseManualTime();
BENCHMARK_CAPTURE(Scroll, uncached, false)
    ->Name("Scroll/viewWithoutCache")
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(10000 / kPagesPerStep)
    ->UseManualTime();

}  // namespace
