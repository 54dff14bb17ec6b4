// Flips, turns, resizing and sharpening of a 3000 by 2000 picture, with memcpy of its 18 MB beside them.
// Bytes are those of the source, for resizing those of the result; items are result pixels.
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "frame/rows.h"
#include "frame/types.h"

namespace orv
{
namespace
{

constexpr i32 kWidth = 3000;
constexpr i32 kHeight = 2000;

i64 bytes_of(i32 width, i32 height, i32 bits)
{
    return row_stride_wide(width, bits) * height;
}

// Noise on a slope, with a gray palette.
std::vector<u8> packed_picture(i32 width, i32 height, i32 bits)
{
    BITMAPINFOHEADER info = {};
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = width;
    info.biHeight = height;
    info.biPlanes = 1;
    info.biBitCount = static_cast<u16>(bits);
    const usize head = kBitmapHeaderBytes + static_cast<usize>(palette_bytes(info));
    std::vector<u8> packed(head + static_cast<usize>(bytes_of(width, height, bits)));
    u32 state = 1;
    for (usize i = head; i < packed.size(); i++) {
        state = state * 1664525 + 1013904223;
        packed[i] = static_cast<u8>((i >> 6) + (state >> 27));
    }
    for (usize i = kBitmapHeaderBytes; i < head; i++) {
        packed[i] = static_cast<u8>(i % 4 == 3 ? 0 : (i - kBitmapHeaderBytes) / 4);
    }
    std::memcpy(packed.data(), &info, sizeof info);
    return packed;
}

// Runs an operation again and again on the same picture, whatever it has become.
template <class Job>
void run_repeated(benchmark::State& state, i32 width, i32 height, i32 bits, Job job)
{
    const std::vector<u8> packed = packed_picture(width, height, bits);
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
    for ([[maybe_unused]] auto step : state) {
        if (job(handle) != 0) {
            state.SkipWithError("the operation failed");
            break;
        }
    }
    IMG_delete_bitmap(handle);
    state.SetBytesProcessed(state.iterations() * bytes_of(width, height, bits));
    state.SetItemsProcessed(state.iterations() * width * height);
}

void memcpy_18mb(benchmark::State& state)
{
    std::vector<u8> from(18000000, 1);
    std::vector<u8> to(18000000, 2);
    for ([[maybe_unused]] auto step : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 18000000);
}

void flip_y(benchmark::State& state)
{
    state.SetLabel("goal 60 % of memcpy");
    run_repeated(state, kWidth, kHeight, static_cast<i32>(state.range(0)), IMG_flip_bitmapy);
}

void flip_x(benchmark::State& state)
{
    const i32 bits = static_cast<i32>(state.range(0));
    state.SetLabel(bits >= 8 ? "goal 2 GB/s" : "");
    run_repeated(state, kWidth, kHeight, bits, IMG_flip_bitmapx);
}

void rotate_90(benchmark::State& state)
{
    const i32 bits = static_cast<i32>(state.range(0));
    const auto turn = [](i32 handle) { return IMG_rotate_bitmap(handle, 90); };
    switch (bits) {
    case 1:
        state.SetLabel("2480 by 3508, goal 2 ms");
        run_repeated(state, 2480, 3508, bits, turn);
        return;
    case 4: state.SetLabel("goal 0.5 GB/s"); break;
    case 8: state.SetLabel("goal 1 GB/s"); break;
    default: state.SetLabel("goal 1.3 GB/s"); break;
    }
    run_repeated(state, kWidth, kHeight, bits, turn);
}

void rotate_180(benchmark::State& state)
{
    run_repeated(state, kWidth, kHeight, static_cast<i32>(state.range(0)),
                 [](i32 handle) { return IMG_rotate_bitmap(handle, 180); });
}

void sharpen(benchmark::State& state)
{
    const i32 bits = static_cast<i32>(state.range(0));
    const i16 strength = static_cast<i16>(state.range(1));
    state.SetLabel(bits == 24 ? "goal 300 MB/s" : "");
    run_repeated(state, kWidth, kHeight, bits,
                 [strength](i32 handle) { return IMG_sharpen_bitmap(handle, strength); });
}

// Each run needs the picture afresh; only the resizing is timed.
void resize(benchmark::State& state)
{
    const i32 bits = static_cast<i32>(state.range(0));
    const i32 width = static_cast<i32>(kWidth * state.range(1) / 100);
    const i32 height = static_cast<i32>(kHeight * state.range(1) / 100);
    state.SetLabel(bits == 1 ? "goal 1.5 G items/s" : bits >= 8 ? "goal 1.5 GB/s" : "");
    const std::vector<u8> packed = packed_picture(kWidth, kHeight, bits);
    for ([[maybe_unused]] auto step : state) {
        const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
        const auto start = std::chrono::steady_clock::now();
        if (IMG_resize_bitmap(handle, static_cast<i16>(width), static_cast<i16>(height)) != 0) {
            state.SkipWithError("the operation failed");
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count());
        IMG_delete_bitmap(handle);
    }
    state.SetBytesProcessed(state.iterations() * bytes_of(width, height, bits));
    state.SetItemsProcessed(state.iterations() * width * height);
}

BENCHMARK(memcpy_18mb)->Unit(benchmark::kMillisecond);
BENCHMARK(flip_y)->Arg(1)->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK(flip_x)->Arg(1)->Arg(4)->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK(rotate_90)->Arg(1)->Arg(4)->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK(rotate_180)->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK(resize)
    ->ArgNames({"bits", "percent"})
    ->ArgsProduct({{1, 4, 8, 24}, {43, 137}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(sharpen)
    ->ArgNames({"bits", "strength"})
    ->ArgsProduct({{4, 8, 24}, {-64, 64}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orv
