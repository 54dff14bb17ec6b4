// WPG and PostScript of 3000 by 2000 pixels in memory, beside GraphicsMagick, Leptonica and Pillow. The drawing
// has flat areas, lines and lettering; the photograph is the one of photo.h, at 4 bits in sixteen steps. Rates
// are in bytes of pixels, whatever the file's size.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <string>

#include "bench/peers.h"
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
constexpr usize kBlockBytes = usize{kWidth} * kHeight * 7;

enum class Motif { Photo, Drawing };

i64 pixel_bytes(int bits)
{
    return i64{kWidth} * kHeight * bits / 8;
}

// 0 to 255.
u8 drawing_value(int x, int y)
{
    const bool line = (x + 2 * y) % 500 < 3 || y % 250 < 2;
    const bool lettering = y % 100 < 24 && x % 700 < 400 && ((x / 4) * 7 + (y / 3) * 5) % 3 == 0;
    const bool area = x % 900 > 300 && y % 600 > 250;
    return line || lettering ? 0 : area ? static_cast<u8>(96 + x / 900 * 32) : 255;
}

// The motif at 1, 4, 8 or 24 bits, as IMG_create_handle takes it.
std::vector<u8> bitmap_of(Motif motif, int bits)
{
    std::vector<u8> source = orv::bench::photo(kWidth, kHeight, bits == 24 ? 24 : 8);
    const usize values = source.size() - static_cast<usize>(kWidth * kHeight * (bits == 24 ? 3 : 1));
    for (usize i = values; motif == Motif::Drawing && i < source.size(); ++i) {
        const int x = static_cast<int>((i - values) / (bits == 24 ? 3 : 1));
        source[i] = drawing_value(x % kWidth, x / kWidth);
    }
    if (bits >= 8) {
        return source;
    }
    const usize palette = usize{4} << bits;
    const usize stride = static_cast<usize>(orv::row_stride_wide(kWidth, bits));
    std::vector<u8> bitmap(40 + palette + stride * kHeight);
    std::memcpy(bitmap.data(), source.data(), 40);
    bitmap[14] = static_cast<u8>(bits);
    for (usize i = 0; i < palette; i++) {
        bitmap[40 + i] = i % 4 == 3 ? 0 : static_cast<u8>(i / 4 * 255 / ((usize{1} << bits) - 1));
    }
    for (usize i = 0; i < usize{kWidth} * kHeight; i++) {
        const usize bit = i % kWidth * static_cast<usize>(bits);
        bitmap[40 + palette + i / kWidth * stride + bit / 8] |=
            static_cast<u8>(source[values + i] >> (8 - bits) << (8 - bits - static_cast<int>(bit % 8)));
    }
    return bitmap;
}

i16 handle_of(Motif motif, int bits)
{
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap_of(motif, bits).data()));
}

std::vector<u8> file_of(Motif motif, int bits, i16 format)
{
    std::vector<u8> file(kBlockBytes);
    u32 written = 0;
    const i16 handle = handle_of(motif, bits);
    IMG_save_bitmap_mem_sized(handle, file.data(), static_cast<u32>(file.size()), format, &written);
    IMG_delete_bitmap(handle);
    file.resize(written);
    return file;
}

void decode(benchmark::State& state, Motif motif, int bits)
{
    const std::vector<u8> file = file_of(motif, bits, ORV_FORMAT_WPG);
    for (auto _ : state) {
        const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
        if (handle < 0) {
            state.SkipWithError("the file does not load");
            break;
        }
        IMG_delete_bitmap(handle);
    }
    state.SetBytesProcessed(state.iterations() * pixel_bytes(bits));
}

void encode(benchmark::State& state, Motif motif, int bits, i16 format)
{
    std::vector<u8> block(kBlockBytes);
    const i16 handle = handle_of(motif, bits);
    for (auto _ : state) {
        u32 written = 0;
        const u32 room = static_cast<u32>(block.size());
        if (IMG_save_bitmap_mem_sized(handle, block.data(), room, format, &written) != 0) {
            state.SkipWithError("the picture does not save");
            break;
        }
    }
    IMG_delete_bitmap(handle);
    state.SetBytesProcessed(state.iterations() * pixel_bytes(bits));
}

void decode_graphicsmagick(benchmark::State& state, Motif motif, int bits)
{
    const std::vector<u8> file = file_of(motif, bits, ORV_FORMAT_WPG);
    for (auto _ : state) {
        if (!orv::bench::graphicsmagick_load(file.data(), file.size(), "WPG")) {
            state.SkipWithError("the file does not load");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * pixel_bytes(bits));
}

// Rows of 3000 pixels have no padding at 8 and 24 bits.
void postscript_leptonica(benchmark::State& state, int bits)
{
    const std::vector<u8> bitmap = bitmap_of(Motif::Photo, bits);
    const u8* const pixels = bitmap.data() + bitmap.size() - static_cast<usize>(pixel_bytes(bits));
    void* const picture = orv::bench::leptonica_picture(pixels, kWidth, kHeight, bits);
    for (auto _ : state) {
        if (!orv::bench::leptonica_postscript(picture)) {
            state.SkipWithError("the picture does not save");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * pixel_bytes(bits));
}

// Pillow times itself, in a process of its own.
void postscript_pillow(benchmark::State& state, int bits)
{
    const std::string mode = bits == 24 ? "RGB" : "L";
    const std::string program =
        "/usr/bin/python3 -c \"import io, os, time; from PIL import Image; p = Image.frombytes('" + mode +
        "', (3000, 2000), os.urandom(" + std::to_string(pixel_bytes(bits)) +
        "))\nfor i in range(5):\n t = time.perf_counter(); p.save(io.BytesIO(), 'EPS');"
        " print(time.perf_counter() - t)\" 2>/dev/null";
    for (auto _ : state) {
        double best = 0;
        FILE* const pipe = popen(program.c_str(), "r");
        double seconds = 0;
        while (pipe != nullptr && std::fscanf(pipe, "%lf", &seconds) == 1) {
            best = best == 0 ? seconds : std::min(best, seconds);
        }
        if (pipe == nullptr || pclose(pipe) != 0 || best == 0) {
            state.SkipWithError("no Pillow");
            break;
        }
        state.SetIterationTime(best);
    }
    state.SetBytesProcessed(state.iterations() * pixel_bytes(bits));
}

void add(const std::string& name, const std::function<void(benchmark::State&)>& body)
{
    benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    for (const Motif motif : {Motif::Drawing, Motif::Photo}) {
        for (const int bits : {8, 4, 1}) {
            std::string what = motif == Motif::Photo ? "_photo_" : "_drawing_";
            what += std::to_string(bits);
            add("wpg_decode" + what, [=](benchmark::State& state) { decode(state, motif, bits); });
            add("wpg_decode_graphicsmagick" + what,
                [=](benchmark::State& state) { decode_graphicsmagick(state, motif, bits); });
            add("wpg_encode" + what,
                [=](benchmark::State& state) { encode(state, motif, bits, ORV_FORMAT_WPG); });
        }
    }
    for (const int bits : {24, 8, 4, 1}) {
        std::string what = "_";
        what += std::to_string(bits);
        add("postscript" + what,
            [=](benchmark::State& state) { encode(state, Motif::Photo, bits, ORV_FORMAT_EPS); });
        if (bits >= 8) {
            add("postscript_leptonica" + what,
                [=](benchmark::State& state) { postscript_leptonica(state, bits); });
            benchmark::RegisterBenchmark(("postscript_pillow" + what).c_str(),
                                         [=](benchmark::State& state) { postscript_pillow(state, bits); })
                ->UseManualTime()
                ->Iterations(1)
                ->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();

}  // namespace
