// The replay driver of every fuzz target where libFuzzer isn't linked (the
// ordinary g++ build that `make test` runs): feeds each seed file, then a
// fixed number of mutations of it (bit flips, byte overwrites, truncations,
// insertions, splices with another seed) from a fixed random seed. The same
// inputs on every run, so a failure here reproduces.
//
//   <target>_replay <mutations per seed> [seed files or directories...]
#include <algorithm>
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

using Bytes = std::vector<uint8_t>;

Bytes ReadFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void Mutate(Bytes& b, const std::vector<Bytes>& all) {
    const int steps = 1 + static_cast<int>(Next() % 4);
    for (int s = 0; s < steps; ++s) {
        switch (Next() % 6) {
        case 0:  // flip a bit
            if (!b.empty()) b[Next() % b.size()] ^= static_cast<uint8_t>(1u << (Next() % 8));
            break;
        case 1:  // overwrite a byte with an interesting value
            if (!b.empty()) {
                static const uint8_t kValues[] = {0, 1, 0x7F, 0x80, 0xFF, '\n', '\\', '"', '=', '['};
                b[Next() % b.size()] = kValues[Next() % sizeof kValues];
            }
            break;
        case 2:  // truncate
            if (!b.empty()) b.resize(Next() % b.size());
            break;
        case 3: {  // insert random bytes
            const size_t at = b.empty() ? 0 : Next() % (b.size() + 1);
            const size_t n = 1 + Next() % 8;
            for (size_t i = 0; i < n; ++i) b.insert(b.begin() + static_cast<long>(at), static_cast<uint8_t>(Next()));
            break;
        }
        case 4: {  // splice in a piece of another seed
            const Bytes& o = all[Next() % all.size()];
            if (o.empty()) break;
            const size_t from = Next() % o.size();
            const size_t n = std::min<size_t>(o.size() - from, 1 + Next() % 64);
            const size_t at = b.empty() ? 0 : Next() % (b.size() + 1);
            b.insert(b.begin() + static_cast<long>(at), o.begin() + static_cast<long>(from),
                     o.begin() + static_cast<long>(from + n));
            break;
        }
        default:  // duplicate a run
            if (b.size() > 1) {
                const size_t from = Next() % b.size();
                const size_t n = std::min<size_t>(b.size() - from, 1 + Next() % 32);
                Bytes run(b.begin() + static_cast<long>(from), b.begin() + static_cast<long>(from + n));
                b.insert(b.begin() + static_cast<long>(from), run.begin(), run.end());
            }
            break;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const long mutations = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 200;
    std::vector<Bytes> seeds;
    for (int i = 2; i < argc; ++i) {
        std::filesystem::path p(argv[i]);
        if (std::filesystem::is_directory(p)) {
            std::vector<std::filesystem::path> files;
            for (const auto& e : std::filesystem::directory_iterator(p))
                if (e.is_regular_file()) files.push_back(e.path());
            std::sort(files.begin(), files.end());  // directory order is not stable
            for (const auto& f : files) seeds.push_back(ReadFile(f));
        } else if (std::filesystem::is_regular_file(p)) {
            seeds.push_back(ReadFile(p));
        }
    }
    for (const Bytes& s : seeds) LLVMFuzzerTestOneInput(s.data(), s.size());
    if (seeds.empty()) seeds.emplace_back();
    long runs = 0;
    for (size_t i = 0; i < seeds.size(); ++i)
        for (long m = 0; m < mutations; ++m) {
            Bytes b = seeds[i];
            Mutate(b, seeds);
            LLVMFuzzerTestOneInput(b.data(), b.size());
            ++runs;
        }
    std::printf("replayed %zu seeds and %ld mutations\n", seeds.size(), runs);
    return 0;
}
