// Colour reduction, dithering and tone on a photograph of 3000 by 2000 pixels. memcpy of its 18 MB runs
// beside them: the goals are for a machine where that is 10 GB/s.
#include <benchmark/benchmark.h>

#include <chrono>

#include "bench/photo.h"
#include "orvimg32/orvimg32.h"

namespace
{

using orv::i16;
using orv::i32;
using orv::i64;
using orv::u8;
using orv::usize;
using Clock = std::chrono::steady_clock;

constexpr int kWidth = 3000;
constexpr int kHeight = 2000;
constexpr usize kPixels = usize{kWidth} * kHeight;
constexpr usize kCopied = kPixels * 3;

double seconds_since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double copy_once()
{
    static std::vector<u8> from(kCopied, 1), to(kCopied, 2);
    const Clock::time_point start = Clock::now();
    std::memcpy(to.data(), from.data(), kCopied);
    benchmark::ClobberMemory();
    return seconds_since(start);
}

// Bytes a second, the best of twenty.
double copy_rate()
{
    static const double rate = [] {
        double best = 1e9;
        for (int i = 0; i < 20; i++) {
            best = std::min(best, copy_once());
        }
        return static_cast<double>(kCopied) / best;
    }();
    return rate;
}

void memcpy_18_mb(benchmark::State& state)
{
    for (auto _ : state) {
        state.SetIterationTime(copy_once());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(kCopied));
}
BENCHMARK(memcpy_18_mb)->UseManualTime();

using Operation = i16 (*)(i32);

// Times the operation alone, on a fresh handle each time. `bytes_per_memcpy` relates it to memcpy.
void run(benchmark::State& state, Operation operation, int bits, const char* goal)
{
    const std::vector<u8> bitmap = orv::bench::photo(kWidth, kHeight, bits);
    for (auto _ : state) {
        const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
        const Clock::time_point start = Clock::now();
        const i16 result = operation(handle);
        state.SetIterationTime(seconds_since(start));
        IMG_delete_bitmap(handle);
        if (result != 0) {
            state.SkipWithError("the operation failed");
            break;
        }
    }
    const double runs = static_cast<double>(state.iterations());
    const double bytes = static_cast<double>(kPixels) * bits / 8;
    state.SetBytesProcessed(static_cast<i64>(runs * bytes));
    state.SetItemsProcessed(static_cast<i64>(runs * static_cast<double>(kPixels)));
    state.counters["source_of_memcpy"] =
        benchmark::Counter(runs * bytes / copy_rate(), benchmark::Counter::kIsRate);
    state.SetLabel(goal);
}

void add(const char* name, Operation operation, int bits, const char* goal)
{
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { run(state, operation, bits, goal); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    add("invert_24", IMG_invert_bitmap, 24, "goal 0.6 of memcpy");
    add(
        "contrast_24", [](i32 h) { return IMG_set_lut(h, 30, 10); }, 24, "goal 3 GB/s");
    add("gray_24", IMG_color_gray, 24, "goal 2 GB/s");
    add("bayer_8", IMG_bayer_mono, 8, "goal 1.5 Gpixel/s");
    add("halftone_8", IMG_halftone_mono, 8, "goal 1.5 Gpixel/s");
    add("bayer_24", IMG_bayer_mono, 24, "");
    add("diffusion_8", IMG_diffusion_mono, 8, "goal 250 Mpixel/s");
    add("diffusion_24", IMG_diffusion_mono, 24, "");
    add("mediancut_24", IMG_mediancut_color, 24, "goal 70 Mpixel/s");
    add("diffusion_color_24", IMG_diffusion_color, 24, "goal 70 Mpixel/s");
    add("mediancut_8", IMG_mediancut_color, 8, "");
    add("bayer_color_24", IMG_bayer_color, 24, "");
    add("popularity_24", IMG_popularity_color, 24, "goal 150 Mpixel/s");
    return true;
}();

}  // namespace
