// A replay driver for fuzz_regexp.cpp where libFuzzer isn't available (a
// g++ build): feeds the seed files given on the command line, then a fixed
// number of pseudo-random inputs from a fixed seed, built from the pattern
// and text alphabets that matter to the engine. Same inputs on every run.
//
//   regexp_fuzz_replay <iterations> [seed files or directories...]
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size);

namespace {

uint64_t g_state = 0x9E3779B97F4A7C15ull;

uint32_t Next() {
    g_state ^= g_state << 13;
    g_state ^= g_state >> 7;
    g_state ^= g_state << 17;
    return static_cast<uint32_t>(g_state >> 11);
}

void RunFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(data.data(), data.size());
}

}  // namespace

int main(int argc, char** argv) {
    const long iterations = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 20000;
    long files = 0;
    for (int i = 2; i < argc; ++i) {
        std::filesystem::path p(argv[i]);
        if (std::filesystem::is_directory(p)) {
            for (const auto& e : std::filesystem::directory_iterator(p))
                if (e.is_regular_file()) {
                    RunFile(e.path());
                    ++files;
                }
        } else if (std::filesystem::is_regular_file(p)) {
            RunFile(p);
            ++files;
        }
    }

    static const char kPattern[] = "ab()|*+?.[]^-$\\_wWz{}";
    static const char kText[] = "abcz -]_\n";
    std::vector<uint8_t> input;
    for (long n = 0; n < iterations; ++n) {
        input.clear();
        const uint8_t mode = static_cast<uint8_t>(Next());
        input.push_back(mode);
        for (int s = 0; s < 2; ++s)
            if (mode & (4 << s))
                for (int b = 0; b < 32; ++b) input.push_back(static_cast<uint8_t>(Next() & Next()));
        if (mode & 16) input.push_back(static_cast<uint8_t>(Next()));
        const uint8_t patternLen = static_cast<uint8_t>(Next() % 24);
        input.push_back(patternLen);
        for (int i = 0; i < patternLen; ++i) {
            const uint32_t r = Next();
            if (r % 40 == 0) {  // now and then a unit above 255
                input.push_back(0xF8);
                input.push_back(static_cast<uint8_t>(r >> 8));
                input.push_back(static_cast<uint8_t>(r >> 16));
            } else {
                input.push_back(static_cast<uint8_t>(kPattern[r % (sizeof kPattern - 1)]));
            }
        }
        const int textLen = static_cast<int>(Next() % 40);
        for (int i = 0; i < textLen; ++i) input.push_back(static_cast<uint8_t>(kText[Next() % (sizeof kText - 1)]));
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("replayed %ld files and %ld generated inputs\n", files, iterations);
    return 0;
}
