// TIFF decoding from memory to the finished image, beside libtiff on the same file in the same run. The
// files are encoded by libtiff: a page of text of A4 size at 300 dots an inch, and a photograph.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "bench/tiff_pictures.h"
#include "orvimg32/sized.h"

namespace orv::bench
{
namespace
{

using Clock = std::chrono::steady_clock;

bool is_fax(u16 compression)
{
    return compression >= COMPRESSION_CCITTRLE && compression <= COMPRESSION_CCITTFAX4;
}

// How a file lies: rows of a strip, 0 for what libtiff takes; planes apart.
struct Layout {
    u32 strip_rows = 0;
    bool planes = false;
};

void write_rows(TIFF* tiff, const Raster& raster, bool planes)
{
    for (u16 plane = 0; plane < (planes ? raster.samples : 1); ++plane) {
        for (u32 y = 0; y < raster.height; ++y) {
            const u8* const from = raster.rows.data() + y * raster.row_bytes();
            Bytes row(from, from + raster.row_bytes());
            for (usize x = 0; planes && x < raster.width; ++x) {
                row[x] = from[x * raster.samples + plane];
            }
            TIFFWriteScanline(tiff, row.data(), y, plane);
        }
    }
}

MemoryFile encode(const Raster& raster, u16 compression, u16 predictor, const Layout& layout)
{
    MemoryFile file;
    TIFF* const tiff = open_memory(file, "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, raster.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, raster.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, raster.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, raster.samples);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, layout.planes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 raster.samples == 3   ? PHOTOMETRIC_RGB
                 : is_fax(compression) ? PHOTOMETRIC_MINISWHITE
                                       : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 300.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 300.0);
    const u32 usual = raster.bits == 1 ? raster.height : TIFFDefaultStripSize(tiff, 0);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, layout.strip_rows != 0 ? layout.strip_rows : usual);
    if (predictor != 0) {
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, predictor);
    }
    write_rows(tiff, raster, layout.planes);
    TIFFClose(tiff);
    return file;
}

// --- The two decoders, each from opening to closing ---

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

// --- The same from a file ---

// To rows of whole pixels, as both decoders give them; blue first where they are of colours.
bool decode_file_by_libtiff(const char* path, const Raster& raster, bool planes)
{
    TIFF* const tiff = TIFFOpen(path, "r");
    Bytes image(raster.rows.size());
    Bytes strip(static_cast<usize>(TIFFStripSize(tiff)));
    const u32 strips = TIFFNumberOfStrips(tiff);
    usize done = 0;
    for (u32 i = 0; i < strips; ++i) {
        const tmsize_t came = TIFFReadEncodedStrip(tiff, i, strip.data(), static_cast<tmsize_t>(strip.size()));
        const usize count = came > 0 ? static_cast<usize>(came) : 0;
        if (planes) {
            const usize plane_bytes = usize{raster.width} * raster.height;
            const usize plane = done / plane_bytes;
            u8* const to = image.data() + done % plane_bytes * 3 + (2 - plane);
            for (usize k = 0; k < count; ++k) {
                to[3 * k] = strip[k];
            }
        } else {
            std::memcpy(image.data() + done, strip.data(), count);
            for (usize k = 0; raster.samples == 3 && k + 2 < count; k += 3) {
                std::swap(image[done + k], image[done + k + 2]);
            }
        }
        done += count;
    }
    TIFFClose(tiff);
    benchmark::DoNotOptimize(image.data());
    return done == image.size();
}

bool decode_file_by_library(const char* path)
{
    const i16 handle = IMG_decompress_bitmap(path);
    return handle >= 0 && IMG_delete_bitmap(handle) == 0;
}

struct Case {
    const char* name;
    const Raster& (*raster)();  // made when it is first asked for
    u16 compression;
    u16 predictor;
    double goal;
    Layout layout = {};
};

double milliseconds(Clock::time_point start, Clock::time_point end)
{
    return std::chrono::duration<double, std::milli>(end - start).count();
}

// All times are the best of the run.
void run(benchmark::State& state, const Case& test)
{
    const Raster& raster = test.raster();
    MemoryFile file = encode(raster, test.compression, test.predictor, test.layout);
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

void run_file(benchmark::State& state, const Case& test)
{
    const Raster& raster = test.raster();
    const char* const path = "bench_tiff.tif";
    const MemoryFile file = encode(raster, test.compression, test.predictor, test.layout);
    std::FILE* const out = std::fopen(path, "wb");
    const bool written = std::fwrite(file.bytes.data(), 1, file.bytes.size(), out) == file.bytes.size();
    std::fclose(out);
    double ours = 1e9;
    double peer = 1e9;
    for ([[maybe_unused]] auto step : state) {
        const Clock::time_point start = Clock::now();
        bool decoded = written && decode_file_by_library(path);
        const Clock::time_point own_end = Clock::now();
        decoded = decoded && decode_file_by_libtiff(path, raster, test.layout.planes);
        if (!decoded) {
            state.SkipWithError("not decoded");
            break;
        }
        peer = std::min(peer, milliseconds(own_end, Clock::now()));
        ours = std::min(ours, milliseconds(start, own_end));
        state.SetIterationTime(milliseconds(start, own_end) / 1e3);
    }
    std::remove(path);
    char label[120];
    std::snprintf(label, sizeof label, "%.2f times libtiff, goal %.1f (best %.3f ms; libtiff %.3f ms)",
                  peer / ours, test.goal, ours, peer);
    state.SetLabel(label);
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
        {"t6_text", page, COMPRESSION_CCITTFAX4, 0, 3},
        {"t4_text", page, COMPRESSION_CCITTFAX3, 0, 3},
        {"huffman_text", page, COMPRESSION_CCITTRLE, 0, 2},
        {"lzw_photo", photo, COMPRESSION_LZW, 0, 2.3},
        {"lzw_photo_predictor", photo, COMPRESSION_LZW, 2, 2.3},
        {"lzw_palette", palette, COMPRESSION_LZW, 0, 2.3},
        {"lzw_text", page, COMPRESSION_LZW, 0, 2.3},
        {"packbits_palette", palette, COMPRESSION_PACKBITS, 0, 1.8},
        {"packbits_text", page, COMPRESSION_PACKBITS, 0, 1.8},
        {"raw_photo", photo, COMPRESSION_NONE, 0, 1},
        {"raw_text", page, COMPRESSION_NONE, 0, 1},
    };
    for (const Case& test : cases) {
        benchmark::RegisterBenchmark(test.name, run, test)->UseManualTime()->Unit(benchmark::kMillisecond);
    }
    // From files: rows a strip by itself, strips of 8 KB, planes.
    static const Case file_cases[] = {
        {"file_raw_text_rows", page, COMPRESSION_NONE, 0, 1, {.strip_rows = 1, .planes = false}},
        {"file_raw_photo_8k", photo, COMPRESSION_NONE, 0, 1},
        {"file_raw_planes", photo, COMPRESSION_NONE, 0, 1, {.strip_rows = 2, .planes = true}},
        {"file_packbits_rows", palette, COMPRESSION_PACKBITS, 0, 1, {.strip_rows = 1, .planes = false}},
        {"file_lzw_planes", photo, COMPRESSION_LZW, 0, 1, {.strip_rows = 16, .planes = true}},
        {"file_t6_8k", page, COMPRESSION_CCITTFAX4, 0, 1, {.strip_rows = 26, .planes = false}},
    };
    for (const Case& test : file_cases) {
        benchmark::RegisterBenchmark(test.name, run_file, test)->UseManualTime()->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
