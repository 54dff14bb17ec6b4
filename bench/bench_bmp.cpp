// BMP of 3000 by 2000 pixels: files in the page cache to handles and back, beside the read() of the same
// file into one buffer. Rates are in bytes of pixels, run-length files too. The process start stands here
// as well.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/photo.h"
#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"

namespace
{

using orv::i16;
using orv::i64;
using orv::u32;
using orv::u8;
using orv::usize;

constexpr int kWidth = 3000;
constexpr int kHeight = 2000;

// What the rows hold: a photograph, whose noise leaves hardly any runs, or flat areas as in a drawing.
enum class Motif { Photo, Drawing };

std::vector<u8> bitmap_of(int bits, Motif motif)
{
    std::vector<u8> gray = orv::bench::photo(kWidth, kHeight, bits == 24 ? 24 : 8);
    if (bits == 24) {
        return gray;
    }
    const usize palette = usize{4} << bits;
    const usize stride = static_cast<usize>(orv::row_stride_wide(kWidth, bits));
    std::vector<u8> bitmap(gray.begin(), gray.begin() + static_cast<i64>(40 + palette));
    bitmap.resize(40 + palette + stride * kHeight);
    bitmap[14] = static_cast<u8>(bits);
    for (usize y = 0; y < kHeight; y++) {
        for (usize x = 0; x < kWidth; x++) {
            const usize from = motif == Motif::Photo ? x : x / 40 * 40;
            const u32 value = gray[40 + 1024 + y * kWidth + from] >> (8 - bits);
            u8& byte = bitmap[40 + palette + y * stride + x * static_cast<usize>(bits) / 8];
            byte = static_cast<u8>(byte | value << (8 - bits - x * static_cast<usize>(bits) % 8));
        }
    }
    return bitmap;
}

std::string file_path()
{
    return (std::filesystem::temp_directory_path() / "orvimg32-bench.bmp").string();
}

i16 make_handle(int bits, Motif motif)
{
    const std::vector<u8> bitmap = bitmap_of(bits, motif);
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
}

void count_pixels(benchmark::State& state, int bits)
{
    state.SetBytesProcessed(state.iterations() * i64{kWidth} * kHeight * bits / 8);
}

void save(benchmark::State& state, int bits, i16 format, Motif motif, const char* goal)
{
    const i16 handle = make_handle(bits, motif);
    for (auto _ : state) {
        if (IMG_save_bitmap(handle, file_path().c_str(), format, 1, 1, 1, 1) != 0) {
            state.SkipWithError("no save");
        }
    }
    IMG_delete_bitmap(handle);
    count_pixels(state, bits);
    state.SetLabel(goal);
}

void encode(benchmark::State& state, int bits, Motif motif, const char* goal)
{
    const i16 handle = make_handle(bits, motif);
    std::vector<u8> block(usize{kWidth} * kHeight * 5);
    for (auto _ : state) {
        if (IMG_save_bitmap_mem_sized(handle, block.data(), static_cast<u32>(block.size()), ORV_FORMAT_BMP_RLE,
                                      nullptr) != 0) {
            state.SkipWithError("no save");
        }
    }
    IMG_delete_bitmap(handle);
    count_pixels(state, bits);
    state.SetLabel(goal);
}

void load(benchmark::State& state, int bits, i16 format, Motif motif, const char* goal)
{
    const i16 saved = make_handle(bits, motif);
    IMG_save_bitmap(saved, file_path().c_str(), format, 1, 1, 1, 1);
    IMG_delete_bitmap(saved);
    for (auto _ : state) {
        const i16 handle = IMG_decompress_bitmap(file_path().c_str());
        if (IMG_delete_bitmap(handle) != 0) {
            state.SkipWithError("no load");
        }
    }
    count_pixels(state, bits);
    state.SetLabel(goal);
}

// The file of load/24 into a buffer that is new, as a handle's is, or used before.
void read_file(benchmark::State& state, bool fresh)
{
    const i16 saved = make_handle(24, Motif::Photo);
    IMG_save_bitmap(saved, file_path().c_str(), ORV_FORMAT_BMP, 1, 1, 1, 1);
    IMG_delete_bitmap(saved);
    const usize bytes = std::filesystem::file_size(file_path());
    auto buffer = std::make_unique<u8[]>(bytes);
    for (auto _ : state) {
        if (fresh) {
            buffer.reset();
            buffer.reset(static_cast<u8*>(::operator new[](bytes)));
        }
        const int file = open(file_path().c_str(), O_RDONLY);
        if (read(file, buffer.get(), bytes) != static_cast<ssize_t>(bytes)) {
            state.SkipWithError("short read");
        }
        close(file);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(bytes));
}

void process_start(benchmark::State& state)
{
    const i16 saved = make_handle(1, Motif::Photo);
    IMG_save_bitmap(saved, file_path().c_str(), ORV_FORMAT_BMP, 1, 1, 1, 1);
    IMG_delete_bitmap(saved);
    std::string program = ORV_FILETYPE_PROGRAM;
    std::string path = file_path();
    char* arguments[] = {program.data(), path.data(), nullptr};
    for (auto _ : state) {
        pid_t child = 0;
        int status = 1;
        if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(child, &status, 0) != child || status != 0) {
            state.SkipWithError("it does not run");
        }
    }
    state.SetLabel("goal: under 2 ms");
}

void memcpy_18_mb(benchmark::State& state)
{
    const std::vector<u8> from(18000000, 1);
    std::vector<u8> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 18000000);
}

BENCHMARK(memcpy_18_mb);
BENCHMARK_CAPTURE(read_file, used_buffer, false);
BENCHMARK_CAPTURE(read_file, new_buffer, true);
BENCHMARK_CAPTURE(load, bmp_24, 24, ORV_FORMAT_BMP, Motif::Photo, "goal: 1.5 times read_file");
BENCHMARK_CAPTURE(load, bmp_8, 8, ORV_FORMAT_BMP, Motif::Photo, "");
BENCHMARK_CAPTURE(load, bmp_1, 1, ORV_FORMAT_BMP, Motif::Photo, "");
BENCHMARK_CAPTURE(load, rle8_photo, 8, ORV_FORMAT_BMP_RLE, Motif::Photo, "goal: 500 MB/s");
BENCHMARK_CAPTURE(load, rle8_drawing, 8, ORV_FORMAT_BMP_RLE, Motif::Drawing, "goal: 500 MB/s");
BENCHMARK_CAPTURE(load, rle4_photo, 4, ORV_FORMAT_BMP_RLE, Motif::Photo, "");
BENCHMARK_CAPTURE(load, rle4_drawing, 4, ORV_FORMAT_BMP_RLE, Motif::Drawing, "");
BENCHMARK_CAPTURE(save, bmp_24, 24, ORV_FORMAT_BMP, Motif::Photo, "");
BENCHMARK_CAPTURE(save, bmp_8, 8, ORV_FORMAT_BMP, Motif::Photo, "");
BENCHMARK_CAPTURE(save, bmp_1, 1, ORV_FORMAT_BMP, Motif::Photo, "");
BENCHMARK_CAPTURE(encode, rle8_photo, 8, Motif::Photo, "goal: 300 MB/s");
BENCHMARK_CAPTURE(encode, rle8_drawing, 8, Motif::Drawing, "goal: 300 MB/s");
BENCHMARK_CAPTURE(encode, rle4_photo, 4, Motif::Photo, "");
BENCHMARK_CAPTURE(encode, rle4_drawing, 4, Motif::Drawing, "");
BENCHMARK(process_start)->UseRealTime();

}  // namespace
