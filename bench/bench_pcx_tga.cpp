// PCX and TGA of 3000 by 2000 pixels, from memory to the finished image and back. The picture is the
// synthetic photograph of photo.h; at 4 bits it is gray in sixteen steps, at 1 bit dithered by a matrix.
// Rates are in bytes of pixels, whatever the file's size; memcpy of 18 MB runs beside them.
#include <benchmark/benchmark.h>

#include <functional>

#include "bench/photo.h"
#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"

namespace
{

using orv::i16;
using orv::i64;
using orv::u16;
using orv::u32;
using orv::u8;
using orv::usize;

constexpr int kWidth = 3000;
constexpr int kHeight = 2000;
constexpr usize kPixels = usize{kWidth} * kHeight;
constexpr usize kBlockBytes = kPixels * 6 + 4096;

i64 pixel_bytes(int bits)
{
    return static_cast<i64>(kPixels) * bits / 8;
}

// The photograph at 1 and 4 bits, from its gray form.
std::vector<u8> reduced_photo(int bits)
{
    constexpr u8 kMatrix[4][4] = {
        {8, 136, 40, 168}, {200, 72, 232, 104}, {56, 184, 24, 152}, {248, 120, 216, 88}};
    const std::vector<u8> gray = orv::bench::photo(kWidth, kHeight, 8);
    const usize palette = usize{4} << bits;
    const usize stride = static_cast<usize>(orv::row_stride_wide(kWidth, bits));
    std::vector<u8> bitmap(40 + palette + stride * kHeight);
    std::memcpy(bitmap.data(), gray.data(), 40);
    bitmap[14] = static_cast<u8>(bits);
    for (usize i = 0; i < palette; i++) {
        const usize top = (usize{1} << bits) - 1;
        bitmap[40 + i] = i % 4 == 3 ? 0 : static_cast<u8>(i / 4 * 255 / top);
    }
    for (usize y = 0; y < kHeight; y++) {
        for (usize x = 0; x < kWidth; x++) {
            const u8 value = gray[40 + 1024 + y * kWidth + x];
            const int level = bits == 4 ? value >> 4 : value > kMatrix[y % 4][x % 4] ? 1 : 0;
            const usize bit = x * static_cast<usize>(bits);
            bitmap[40 + palette + y * stride + bit / 8] |=
                static_cast<u8>(level << (8 - bits - static_cast<int>(bit % 8)));
        }
    }
    return bitmap;
}

i16 photo_handle(int bits)
{
    const std::vector<u8> bitmap = bits < 8 ? reduced_photo(bits) : orv::bench::photo(kWidth, kHeight, bits);
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
}

std::vector<u8> photo_file(int bits, i16 format)
{
    std::vector<u8> file(kBlockBytes);
    u32 written = 0;
    const i16 handle = photo_handle(bits);
    IMG_save_bitmap_mem_sized(handle, file.data(), static_cast<u32>(file.size()), format, &written);
    IMG_delete_bitmap(handle);
    file.resize(written);
    return file;
}

// The raw TGA file in packets, of each value only `kept_bits`: runs where two pixels or more are alike, as most
// writers make them.
std::vector<u8> tga_in_packets(std::vector<u8> raw, u8 kept_bits)
{
    for (usize at = 18; at < raw.size(); at++) {
        raw[at] &= kept_bits;
    }
    std::vector<u8> file(raw.begin(), raw.begin() + 18);
    file[2] = 10;
    for (usize y = 0; y < kHeight; y++) {
        const u8* row = raw.data() + 18 + y * kWidth * 3;
        auto alike = [&](usize x) {
            return x + 1 < kWidth && std::memcmp(row + x * 3, row + x * 3 + 3, 3) == 0;
        };
        for (usize x = 0; x < kWidth;) {
            const usize start = x;
            const bool run = alike(x);
            while (x < kWidth && x - start < 128 && (run ? x == start || alike(x - 1) : !alike(x))) {
                x++;
            }
            file.push_back(static_cast<u8>((run ? 0x80U : 0U) | (x - start - 1)));
            file.insert(file.end(), row + start * 3, row + (run ? start + 1 : x) * 3);
        }
    }
    return file;
}

void decode(benchmark::State& state, const std::vector<u8>& file, int bits, const char* goal)
{
    for (auto _ : state) {
        const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
        if (handle < 0) {
            state.SkipWithError("the file does not load");
            break;
        }
        IMG_delete_bitmap(handle);
    }
    state.SetBytesProcessed(state.iterations() * pixel_bytes(bits));
    state.counters["file_of_pixels"] =
        static_cast<double>(file.size()) / static_cast<double>(pixel_bytes(bits));
    state.SetLabel(goal);
}

void encode(benchmark::State& state, int bits, i16 format, const char* goal)
{
    std::vector<u8> block(kBlockBytes);
    const i16 handle = photo_handle(bits);
    for (auto _ : state) {
        u32 written = 0;
        if (IMG_save_bitmap_mem_sized(handle, block.data(), static_cast<u32>(block.size()), format, &written) !=
            0) {
            state.SkipWithError("the picture does not save");
            break;
        }
    }
    IMG_delete_bitmap(handle);
    state.SetBytesProcessed(state.iterations() * pixel_bytes(bits));
    state.SetLabel(goal);
}

void memcpy_18_mb(benchmark::State& state)
{
    const std::vector<u8> from(kPixels * 3, 1);
    std::vector<u8> to(kPixels * 3, 2);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(from.size()));
}
BENCHMARK(memcpy_18_mb)->Unit(benchmark::kMillisecond);

void add(const char* name, const std::function<void(benchmark::State&)>& body)
{
    benchmark::RegisterBenchmark(name, body)->Unit(benchmark::kMillisecond);
}

void add_decode(const char* name, int bits, i16 format, const char* goal)
{
    add(name, [=](benchmark::State& state) { decode(state, photo_file(bits, format), bits, goal); });
}

void add_encode(const char* name, int bits, i16 format, const char* goal)
{
    add(name, [=](benchmark::State& state) { encode(state, bits, format, goal); });
}

const bool registered = [] {
    add_decode("pcx_decode_24", 24, ORV_FORMAT_PCX, "goal 600 MB/s");
    add_decode("pcx_decode_8", 8, ORV_FORMAT_PCX, "goal 600 MB/s");
    add_decode("pcx_decode_4_planes", 4, ORV_FORMAT_PCX, "goal 250 MB/s");
    add_decode("pcx_decode_1", 1, ORV_FORMAT_PCX, "goal 400 MB/s");
    add_decode("tga_decode_24", 24, ORV_FORMAT_TGA, "goal 2 GB/s");
    add_decode("tga_decode_8", 8, ORV_FORMAT_TGA, "goal 2 GB/s");
    add("tga_decode_24_runs", [](benchmark::State& state) {
        decode(state, tga_in_packets(photo_file(24, ORV_FORMAT_TGA), 0xFF), 24, "goal 900 MB/s");
    });
    add("tga_decode_24_runs_8_levels", [](benchmark::State& state) {
        decode(state, tga_in_packets(photo_file(24, ORV_FORMAT_TGA), 0xE0), 24, "goal 900 MB/s");
    });
    add_encode("pcx_encode_24", 24, ORV_FORMAT_PCX, "goal 400 MB/s");
    add_encode("pcx_encode_8", 8, ORV_FORMAT_PCX, "");
    add_encode("pcx_encode_4_planes", 4, ORV_FORMAT_PCX, "");
    add_encode("pcx_encode_1", 1, ORV_FORMAT_PCX, "");
    add_encode("tga_encode_24", 24, ORV_FORMAT_TGA, "goal 3 GB/s");
    return true;
}();

}  // namespace
