// A benchmark that runs other programs' libraries in the same iterations and tells how many times as fast
// as the fastest of them ours is. Times are the least of all iterations, so that a busy machine matters
// little.
//
//     BENCHMARK_CAPTURE / register: beside(state, bytes, ours, {{"FreeImage", [&] { ... }}}, "goal 1");
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace orv::bench
{

// One run of a job; false fails the benchmark.
using Run = std::function<bool()>;

struct Peer {
    const char* name;
    Run run;
};

// Seconds of one run, or 0 for a run that fails.
inline double seconds_of(const Run& run)
{
    const auto start = std::chrono::steady_clock::now();
    const bool done = run();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return done ? seconds : 0;
}

// `bytes` of pixels for the rate. The state must use manual time.
inline void beside(benchmark::State& state, std::int64_t bytes, const Run& ours, const std::vector<Peer>& peers,
                   const char* goal)
{
    double best = std::numeric_limits<double>::max();
    std::vector<double> others(peers.size(), best);
    for (auto _ : state) {
        const double own = seconds_of(ours);
        if (own == 0) {
            state.SkipWithError("our run fails");
            return;
        }
        best = std::min(best, own);
        state.SetIterationTime(own);
        for (std::size_t i = 0; i < peers.size(); ++i) {
            const double other = seconds_of(peers[i].run);
            if (other == 0) {
                state.SkipWithError(peers[i].name);
                return;
            }
            others[i] = std::min(others[i], other);
        }
    }
    std::string label;
    if (!peers.empty()) {
        const auto fastest =
            static_cast<std::size_t>(std::min_element(others.begin(), others.end()) - others.begin());
        char text[120];
        std::snprintf(text, sizeof text, "%.2f times %s", others[fastest] / best, peers[fastest].name);
        label = text;
        for (std::size_t i = 0; i < peers.size(); ++i) {
            if (i != fastest) {
                std::snprintf(text, sizeof text, ", %.1f %s", others[i] / best, peers[i].name);
                label += text;
            }
        }
        label += "; ";
    }
    state.SetLabel(label + goal);
    state.SetBytesProcessed(state.iterations() * bytes);
}

// Registers it under a name.
inline void add_beside(const std::string& name, std::int64_t bytes, Run ours, std::vector<Peer> peers,
                       const char* goal)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) { beside(state, bytes, ours, peers, goal); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace orv::bench
