// TIFF decoding from memory to the finished image, beside libtiff on the same file in the same run. The
// files are encoded by libtiff: a page of text of A4 size at 300 dots an inch, and a photograph.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <chrono>
#include <functional>
#include <string>

#include "bench/photo.h"
#include "orvimg32/sized.h"

namespace orv::bench
{
namespace
{

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<u8>;

// ---- files in memory for libtiff

struct MemoryFile {
    Bytes bytes;
    usize position = 0;
};

tmsize_t memory_read(thandle_t handle, void* buffer, tmsize_t count)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    const usize there = std::min(static_cast<usize>(count), file.bytes.size() - file.position);
    std::memcpy(buffer, file.bytes.data() + file.position, there);
    file.position += there;
    return static_cast<tmsize_t>(there);
}

tmsize_t memory_write(thandle_t handle, void* buffer, tmsize_t count)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    file.bytes.resize(std::max(file.bytes.size(), file.position + static_cast<usize>(count)));
    std::memcpy(file.bytes.data() + file.position, buffer, static_cast<usize>(count));
    file.position += static_cast<usize>(count);
    return count;
}

toff_t memory_seek(thandle_t handle, toff_t offset, int origin)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    const usize from = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? file.position : file.bytes.size();
    return file.position = from + offset;
}

int memory_map(thandle_t handle, void** base, toff_t* size)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    *base = file.bytes.data();
    *size = file.bytes.size();
    return 1;
}

TIFF* open_memory(MemoryFile& file, const char* mode)
{
    file.position = 0;
    return TIFFClientOpen(
        "memory", mode, &file, memory_read, memory_write, memory_seek, [](thandle_t) { return 0; },
        [](thandle_t handle) { return static_cast<toff_t>(static_cast<MemoryFile*>(handle)->bytes.size()); },
        memory_map, [](thandle_t, void*, toff_t) {});
}

// ---- pictures

struct Raster {
    u32 width, height;
    u16 bits;     // a sample
    u16 samples;  // a pixel
    Bytes rows;   // as TIFF has them

    usize row_bytes() const { return (usize{width} * bits * samples + 7) / 8; }
};

void black_box(Raster& page, u32 left, u32 top, u32 width, u32 height)
{
    for (u32 y = top; y < top + height; ++y) {
        for (u32 x = left; x < left + width; ++x) {
            page.rows[y * page.row_bytes() + x / 8] |= static_cast<u8>(0x80 >> x % 8);
        }
    }
}

// A letter of stems, bars and bowls, as its number says, 30 dots high.
void letter(Raster& page, u32 left, u32 top, u32 which)
{
    if (which % 2 == 0) {
        black_box(page, left, top, 4, 30);
    }
    if (which % 3 == 0) {
        black_box(page, left + 13, top + 9, 4, 21);
    }
    if (which % 5 == 0) {
        black_box(page, left, top + which % 7 * 4, 16, 3);
    }
    for (u32 y = 0; y < 21 && which % 4 != 0; ++y) {  // a ring 18 wide, its pen thicker at the sides
        const u32 rise = y < 11 ? y : 20 - y;
        const u32 inset = rise > 6 ? 0 : (6 - rise) * (6 - rise) / 4;
        const u32 pen = rise < 2 ? 9 - inset : 4;
        black_box(page, left + inset, top + 9 + y, pen, 1);
        black_box(page, left + 18 - inset - pen, top + 9 + y, which % 6 == 1 && rise > 4 ? 0 : pen, 1);
    }
}

Raster text_page()
{
    Raster page = {.width = 2480, .height = 3508, .bits = 1, .samples = 1, .rows = {}};
    page.rows.resize(page.row_bytes() * page.height);
    std::minstd_rand random(11);
    for (u32 top = 300; top < 3200; top += random() % 9 == 0 ? 100 : 50) {
        const u32 end = random() % 6 == 0 ? 900 + static_cast<u32>(random() % 1200) : 2230;
        for (u32 left = 250; left < end;) {
            for (u32 n = 1 + static_cast<u32>(random() % 9); n > 0 && left < end; --n, left += 22) {
                letter(page, left, top, 1 + static_cast<u32>(random() % 30));
            }
            left += 16;
        }
    }
    return page;
}

Raster photograph(bool palette)
{
    Raster picture = {.width = 3000, .height = 2000, .bits = 8, .samples = u16(palette ? 1 : 3), .rows = {}};
    std::minstd_rand random(7);
    for (int y = 0; y < 2000; ++y) {
        for (int x = 0; x < 3000; ++x) {
            const u8 r = photo_value(x, y, 0, random);
            const u8 g = photo_value(x, y, 1, random);
            const u8 b = photo_value(x, y, 2, random);
            if (palette) {
                picture.rows.push_back(static_cast<u8>((r & 0xE0) | (g & 0xE0) >> 3 | b >> 6));
            } else {
                picture.rows.insert(picture.rows.end(), {r, g, b});
            }
        }
    }
    return picture;
}

bool is_fax(u16 compression)
{
    return compression >= COMPRESSION_CCITTRLE && compression <= COMPRESSION_CCITTFAX4;
}

MemoryFile encode(const Raster& raster, u16 compression, u16 predictor)
{
    MemoryFile file;
    TIFF* const tiff = open_memory(file, "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, raster.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, raster.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, raster.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, raster.samples);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 raster.samples == 3   ? PHOTOMETRIC_RGB
                 : is_fax(compression) ? PHOTOMETRIC_MINISWHITE
                                       : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 300.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 300.0);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, raster.bits == 1 ? raster.height : TIFFDefaultStripSize(tiff, 0));
    if (predictor != 0) {
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, predictor);
    }
    for (u32 y = 0; y < raster.height; ++y) {
        Bytes row(raster.rows.begin() + static_cast<i64>(y * raster.row_bytes()),
                  raster.rows.begin() + static_cast<i64>((y + 1) * raster.row_bytes()));
        TIFFWriteScanline(tiff, row.data(), y, 0);
    }
    TIFFClose(tiff);
    return file;
}

// ---- the two decoders, each from opening to closing

// The rows as TIFF has them; `blue_first` turns them to the order of a bitmap's, strip by strip.
bool decode_by_libtiff(MemoryFile& file, bool blue_first)
{
    TIFF* const tiff = open_memory(file, "r");
    u32 height = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    const usize size = static_cast<usize>(TIFFScanlineSize(tiff)) * height;
    u8* const image = static_cast<u8*>(std::malloc(size));
    usize done = 0;
    for (u32 strip = 0; strip < TIFFNumberOfStrips(tiff); ++strip) {
        const tmsize_t came =
            TIFFReadEncodedStrip(tiff, strip, image + done, static_cast<tmsize_t>(size - done));
        for (tmsize_t i = 0; blue_first && i + 2 < came; i += 3) {
            std::swap(image[done + static_cast<usize>(i)], image[done + static_cast<usize>(i) + 2]);
        }
        done += came > 0 ? static_cast<usize>(came) : 0;
    }
    benchmark::DoNotOptimize(image);
    benchmark::ClobberMemory();
    std::free(image);
    TIFFClose(tiff);
    return done == size;
}

bool decode_by_library(MemoryFile& file)
{
    const i16 handle =
        IMG_decompress_bitmap_mem_sized(file.bytes.data(), static_cast<u32>(file.bytes.size()), 0);
    return handle >= 0 && IMG_delete_bitmap(handle) == 0;
}

struct Case {
    const char* name;
    const Raster& (*raster)();  // made when it is first asked for
    u16 compression;
    u16 predictor;
    double goal;
};

double milliseconds(Clock::time_point start, Clock::time_point end)
{
    return std::chrono::duration<double, std::milli>(end - start).count();
}

// All times are the best of the run.
void run(benchmark::State& state, const Case& test)
{
    const Raster& raster = test.raster();
    MemoryFile file = encode(raster, test.compression, test.predictor);
    double ours = 1e9;
    double rows = 1e9;
    double bitmap = 1e9;
    for ([[maybe_unused]] auto step : state) {
        const Clock::time_point start = Clock::now();
        bool decoded = decode_by_library(file);
        const Clock::time_point own_end = Clock::now();
        decoded = decoded && decode_by_libtiff(file, false);
        const Clock::time_point rows_end = Clock::now();
        decoded = decoded && decode_by_libtiff(file, raster.samples == 3);
        const Clock::time_point bitmap_end = Clock::now();
        if (!decoded) {
            state.SkipWithError("not decoded");
            break;
        }
        ours = std::min(ours, milliseconds(start, own_end));
        rows = std::min(rows, milliseconds(own_end, rows_end));
        bitmap = std::min(bitmap, milliseconds(rows_end, bitmap_end));
        state.SetIterationTime(milliseconds(start, own_end) / 1e3);
    }
    char label[160];
    std::snprintf(label, sizeof label,
                  "%.2f times libtiff, goal %.1f (best %.3f ms; libtiff %.3f ms, its bare rows %.3f ms)",
                  bitmap / ours, test.goal, ours, bitmap, rows);
    state.SetLabel(label);
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(raster.rows.size()));
}

}  // namespace
}  // namespace orv::bench

int main(int argc, char** argv)
{
    using namespace orv::bench;
    benchmark::Initialize(&argc, argv);
    const auto page = []() -> const Raster& {
        static const Raster raster = text_page();
        return raster;
    };
    const auto photo = []() -> const Raster& {
        static const Raster raster = photograph(false);
        return raster;
    };
    const auto palette = []() -> const Raster& {
        static const Raster raster = photograph(true);
        return raster;
    };
    static const Case cases[] = {
        {"t6_text", page, COMPRESSION_CCITTFAX4, 0, 2},
        {"t4_text", page, COMPRESSION_CCITTFAX3, 0, 2},
        {"huffman_text", page, COMPRESSION_CCITTRLE, 0, 2},
        {"lzw_photo", photo, COMPRESSION_LZW, 0, 1.5},
        {"lzw_photo_predictor", photo, COMPRESSION_LZW, 2, 1.5},
        {"lzw_palette", palette, COMPRESSION_LZW, 0, 1.5},
        {"lzw_text", page, COMPRESSION_LZW, 0, 1.5},
        {"packbits_palette", palette, COMPRESSION_PACKBITS, 0, 1.5},
        {"packbits_text", page, COMPRESSION_PACKBITS, 0, 1.5},
        {"raw_photo", photo, COMPRESSION_NONE, 0, 1},
        {"raw_text", page, COMPRESSION_NONE, 0, 1},
    };
    for (const Case& test : cases) {
        benchmark::RegisterBenchmark(test.name, run, test)->UseManualTime()->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
