// The regular expression engine against PCRE2 (UTF-16, with and without JIT)
// and std::regex: "find all matches" through 10,000,000 UTF-16 characters of
// real source text, the C headers under /usr/include concatenated in sorted
// path order.
//
// Every engine does the same per iteration: compile the pattern, then search
// from offset 0, and after each match go on from its end (one further for an
// empty match), counting matches. Ours compiles on demand after UnCompile;
// the text itself is set once (MatchFrom searches it from an offset).
//
// std::regex has no char16_t traits in libstdc++ and is slow: it runs on a
// wchar_t copy of the first 1,000,000 characters, and its time is scaled by
// 10 (corpus / slice) to stand for the whole corpus. Its "chars" counter
// shows the slice it really searched.
#include <benchmark/benchmark.h>

#define PCRE2_CODE_UNIT_WIDTH 16
#include <pcre2.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "regexp/IDERegExpComp.h"

using namespace ide;
namespace fs = std::filesystem;

namespace {

constexpr size_t kCorpusChars = 10000000;
constexpr size_t kStdRegexChars = 1000000;
constexpr int kIterations = 5;

const String& Corpus() {
    static const String corpus = [] {
        std::vector<fs::path> files;
        std::error_code ec;
        for (auto it = fs::recursive_directory_iterator("/usr/include", fs::directory_options::skip_permission_denied, ec);
             it != fs::recursive_directory_iterator(); it.increment(ec)) {
            if (ec) break;
            if (it->is_regular_file(ec) && it->path().extension() == ".h") files.push_back(it->path());
        }
        std::sort(files.begin(), files.end());
        String text;
        text.reserve(kCorpusChars);
        for (const auto& f : files) {
            std::ifstream in(f, std::ios::binary);
            std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            String part = Str(bytes);
            part.erase(std::remove(part.begin(), part.end(), u'\0'), part.end());
            text += part;
            if (text.size() >= kCorpusChars) break;
        }
        if (text.size() > kCorpusChars) text.resize(kCorpusChars);
        return text;
    }();
    return corpus;
}

const std::wstring& WideSlice() {
    static const std::wstring slice = [] {
        const String& c = Corpus();
        const size_t n = std::min(kStdRegexChars, c.size());
        return std::wstring(c.begin(), c.begin() + static_cast<std::ptrdiff_t>(n));
    }();
    return slice;
}

struct PatternCase {
    const char* name;
    const char* pattern;
    bool caseInsensitive;
};

const PatternCase kPatterns[] = {
    {"return", "return", false},                 // common identifier, many hits
    {"nohit", "zqxwvj_absent", false},           // literal, no hit
    {"az_ing", "[a-z]+ing", false},              // class repeat, backtracking
    {"fox_dog", "(fox|dog) jumps", false},       // group of alternatives
    {"ci_b_az_n", "b[a-z]*n", true},             // case-insensitive
    {"a_or_e_plus_d", "(a|e)+d", false},         // repeat over a group
};

using Clock = std::chrono::steady_clock;

void Report(benchmark::State& state, Clock::duration elapsed, double scale, long matches, size_t chars) {
    state.SetIterationTime(std::chrono::duration<double>(elapsed).count() * scale);
    state.counters["matches"] = static_cast<double>(matches);
    state.counters["chars"] = static_cast<double>(chars);
}

void RunIde(benchmark::State& state, const PatternCase& pc) {
    const String& text = Corpus();
    TIDERegularExpression re;
    re.SetOptions(pc.caseInsensitive ? TREOptions{reCaseInsensitive} : TREOptions{});
    re.SetPattern(Str(pc.pattern));
    re.SetText(text);
    for (auto _ : state) {
        const auto t0 = Clock::now();
        re.UnCompile();
        long matches = 0;
        size_t from = 0;
        while (from <= text.size() && re.MatchFrom(from)) {
            ++matches;
            const int pos = re.GetMatchPos(0);
            const int len = re.GetMatchLen(0);
            from = static_cast<size_t>(pos) + static_cast<size_t>(len > 0 ? len : 1);
        }
        Report(state, Clock::now() - t0, 1.0, matches, text.size());
    }
}

void RunPcre(benchmark::State& state, const PatternCase& pc, bool jit) {
    const String& text = Corpus();
    const String pattern = Str(pc.pattern);
    for (auto _ : state) {
        const auto t0 = Clock::now();
        int err = 0;
        PCRE2_SIZE errOffset = 0;
        pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                         pc.caseInsensitive ? PCRE2_CASELESS : 0, &err, &errOffset, nullptr);
        if (!code) {
            state.SkipWithError("pcre2_compile failed");
            return;
        }
        if (jit) pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
        pcre2_match_data* md = pcre2_match_data_create_from_pattern(code, nullptr);
        long matches = 0;
        size_t from = 0;
        const auto subject = reinterpret_cast<PCRE2_SPTR>(text.data());
        while (from <= text.size() && pcre2_match(code, subject, text.size(), from, 0, md, nullptr) >= 0) {
            ++matches;
            const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(md);
            from = ov[1] > ov[0] ? ov[1] : ov[0] + 1;
        }
        pcre2_match_data_free(md);
        pcre2_code_free(code);
        Report(state, Clock::now() - t0, 1.0, matches, text.size());
    }
}

void RunStdRegex(benchmark::State& state, const PatternCase& pc) {
    const std::wstring& text = WideSlice();
    const std::string narrow = pc.pattern;
    const std::wstring pattern(narrow.begin(), narrow.end());
    const double scale = static_cast<double>(Corpus().size()) / static_cast<double>(text.size());
    for (auto _ : state) {
        const auto t0 = Clock::now();
        auto flags = std::regex_constants::ECMAScript;
        if (pc.caseInsensitive) flags |= std::regex_constants::icase;
        const std::wregex re(pattern, flags);
        long matches = 0;
        for (std::wsregex_iterator it(text.begin(), text.end(), re), end; it != end; ++it) ++matches;
        Report(state, Clock::now() - t0, scale, matches, text.size());
    }
}

const bool kRegistered = [] {
    for (const PatternCase& pc : kPatterns) {
        const std::string group = pc.name;
        benchmark::RegisterBenchmark((group + "/ide").c_str(), [&pc](benchmark::State& s) { RunIde(s, pc); })
            ->UseManualTime()->Iterations(kIterations)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((group + "/pcre2_jit").c_str(),
                                     [&pc](benchmark::State& s) { RunPcre(s, pc, true); })
            ->UseManualTime()->Iterations(kIterations)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((group + "/pcre2_nojit").c_str(),
                                     [&pc](benchmark::State& s) { RunPcre(s, pc, false); })
            ->UseManualTime()->Iterations(kIterations)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((group + "/std_regex").c_str(), [&pc](benchmark::State& s) { RunStdRegex(s, pc); })
            ->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
