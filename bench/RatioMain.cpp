// main() for every benchmark of the project: runs the registered benchmarks
// with the console reporter, then prints a ratio table.
//
// Benchmarks are named "Group/Impl" or "Group/Impl/Args". Implementations
// whose name starts with "ide" are the library's own; every other name is a
// peer. For each group and argument set, each of ours is reported against
// each peer as ours/peer time: below 1.0 ours is faster.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Entry {
    std::string impl;
    double ns;
};

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.error_occurred) continue;
            if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "mean") continue;
            std::string name = r.run_name.function_name;
            std::string args = r.run_name.args;
            auto slash = name.find('/');
            std::string group = slash == std::string::npos ? name : name.substr(0, slash);
            std::string impl = slash == std::string::npos ? std::string("?") : name.substr(slash + 1);
            std::string key = args.empty() ? group : group + "/" + args;
            if (!order_.count(key)) order_[key] = seq_++;
            double ns = r.GetAdjustedRealTime();
            if (r.time_unit == benchmark::kMicrosecond) ns *= 1e3;
            else if (r.time_unit == benchmark::kMillisecond) ns *= 1e6;
            else if (r.time_unit == benchmark::kSecond) ns *= 1e9;
            auto& list = groups_[key];
            bool replaced = false;
            for (auto& e : list)
                if (e.impl == impl) { e.ns = ns; replaced = true; }
            if (!replaced) list.push_back({impl, ns});
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::vector<std::pair<int, std::string>> keys;
        for (auto& [k, v] : order_) keys.push_back({v, k});
        std::sort(keys.begin(), keys.end());
        std::printf("\nRatios, ours/peer in real time (below 1.00: ours is faster)\n");
        for (auto& [seq, key] : keys) {
            (void)seq;
            const auto& list = groups_[key];
            for (const Entry& ours : list) {
                if (ours.impl.rfind("ide", 0) != 0) continue;
                for (const Entry& peer : list) {
                    if (peer.impl.rfind("ide", 0) == 0) continue;
                    std::printf("  %-40s %-28s vs %-32s %8.2fx\n", key.c_str(), ours.impl.c_str(), peer.impl.c_str(),
                                peer.ns > 0 ? ours.ns / peer.ns : 0.0);
                }
            }
        }
        std::fflush(stdout);
    }

private:
    std::map<std::string, std::vector<Entry>> groups_;
    std::map<std::string, int> order_;
    int seq_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
