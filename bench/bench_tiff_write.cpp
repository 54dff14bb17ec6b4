// TIFF encoding from a bitmap in memory to memory, beside libtiff, Leptonica and FreeImage in the same run:
// each from its own picture in memory, in the same coding.
#include <benchmark/benchmark.h>

#include <chrono>

#include "bench/peers.h"
#include "bench/tiff_pictures.h"
#include "orvimg32/sized.h"

namespace orv::bench
{
namespace
{

using Clock = std::chrono::steady_clock;

// What a raster is to our library and to the others: a bitmap, bottom row first, blue first; at 1 bit 1 is
// white.
struct Source {
    const Raster& raster;
    Bytes bitmap;
    i16 handle;

    usize stride() const { return (raster.row_bytes() + 3) / 4 * 4; }
    const u8* row(u32 y) const { return bitmap.data() + bitmap.size() - stride() * (y + 1); }
};

Source make_source(const Raster& raster)
{
    Source source = {.raster = raster, .bitmap = {}, .handle = -1};
    ImageHeader header = {};
    header.info.biSize = kBitmapHeaderBytes;
    header.info.biWidth = static_cast<i32>(raster.width);
    header.info.biHeight = static_cast<i32>(raster.height);
    header.info.biPlanes = 1;
    header.info.biBitCount = static_cast<u16>(raster.bits * raster.samples);
    header.info.biXPelsPerMeter = 204;
    header.info.biYPelsPerMeter = 196;
    for (u32 i = 0; i < 256; ++i) {
        header.palette[i] = {static_cast<u8>(i), static_cast<u8>(i), static_cast<u8>(i), 0};
    }
    const usize top = kBitmapHeaderBytes + static_cast<usize>(palette_bytes(header.info));
    source.bitmap.resize(top + source.stride() * raster.height);
    std::memcpy(source.bitmap.data(), &header, top);
    for (u32 y = 0; y < raster.height; ++y) {
        u8* const row = const_cast<u8*>(source.row(y));
        std::memcpy(row, raster.rows.data() + y * raster.row_bytes(), raster.row_bytes());
        for (usize i = 0; i < raster.row_bytes(); ++i) {
            row[i] = raster.bits == 1 ? static_cast<u8>(~row[i]) : row[i];
        }
        for (usize i = 0; raster.samples == 3 && i + 2 < raster.row_bytes(); i += 3) {
            std::swap(row[i], row[i + 2]);
        }
    }
    source.handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(source.bitmap.data()));
    return source;
}

// libtiff, a row at a time; its encoders take 0 for white.
bool encode_by_libtiff(const Source& source, u16 compression, MemoryFile& file)
{
    const Raster& raster = source.raster;
    file.bytes.clear();
    TIFF* const tiff = open_memory(file, "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, raster.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, raster.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, raster.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, raster.samples);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 raster.samples == 3 ? PHOTOMETRIC_RGB
                 : raster.bits == 1  ? PHOTOMETRIC_MINISWHITE
                                     : PHOTOMETRIC_MINISBLACK);
    const u32 strip_rows = compression == COMPRESSION_LZW
                               ? std::max<u32>(1, static_cast<u32>(10000 / raster.row_bytes()))
                               : raster.height;
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, strip_rows);
    Bytes row(raster.row_bytes());
    bool written = true;
    for (u32 y = 0; y < raster.height && written; ++y) {
        const u8* const from = source.row(y);
        if (raster.samples == 3) {
            for (usize i = 0; i < row.size(); i += 3) {
                row[i] = from[i + 2];
                row[i + 1] = from[i + 1];
                row[i + 2] = from[i];
            }
        } else if (raster.bits == 1) {
            for (usize i = 0; i < row.size(); ++i) {
                row[i] = static_cast<u8>(~from[i]);
            }
        } else {
            std::memcpy(row.data(), from, row.size());
        }
        written = TIFFWriteScanline(tiff, row.data(), y, 0) == 1;
    }
    TIFFClose(tiff);
    return written;
}

struct Case {
    const char* name;
    const Raster& (*raster)();
    i16 format;
    TiffCoding coding;
    u16 compression;
    double goal;
};

double since(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void best(double& least, Clock::time_point start)
{
    least = std::min(least, since(start));
}

void run(benchmark::State& state, const Case& test)
{
    const Source source = make_source(test.raster());
    const Raster& raster = source.raster;
    void* const leptonica =
        leptonica_raster(raster.rows.data(), raster.row_bytes(), static_cast<int>(raster.width),
                         static_cast<int>(raster.height), raster.bits * raster.samples);
    void* const freeimage = freeimage_dib(
        source.bitmap.data() + source.bitmap.size() - source.stride() * raster.height, source.stride(),
        static_cast<int>(raster.width), static_cast<int>(raster.height), raster.bits * raster.samples);
    Bytes block(64 << 20);
    MemoryFile file;
    double ours = 1e9;
    double peers[3] = {1e9, 1e9, 1e9};
    bool whole = source.handle >= 0;
    for ([[maybe_unused]] auto step : state) {
        u32 written = 0;
        Clock::time_point start = Clock::now();
        whole = whole && IMG_save_bitmap_mem_sized(source.handle, block.data(), static_cast<u32>(block.size()),
                                                   test.format, &written) == 0;
        state.SetIterationTime(since(start) / 1e3);
        best(ours, start);
        start = Clock::now();
        whole = whole && encode_by_libtiff(source, test.compression, file);
        best(peers[0], start);
        start = Clock::now();
        if (leptonica_tiff(leptonica, test.coding)) {
            best(peers[1], start);
        }
        start = Clock::now();
        if (freeimage_tiff(freeimage, test.coding)) {
            best(peers[2], start);
        }
        if (!whole) {
            state.SkipWithError("not encoded");
            break;
        }
    }
    IMG_delete_bitmap(source.handle);
    const double fastest = std::min({peers[0], peers[1], peers[2]});
    char label[200];
    std::snprintf(
        label, sizeof label,
        "%.2f times the fastest, goal %.1f (best %.3f ms; libtiff %.3f, Leptonica %.3f, FreeImage %.3f)",
        fastest / ours, test.goal, ours, peers[0], peers[1], peers[2]);
    state.SetLabel(label);
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(raster.rows.size()));
}

template <Raster (*make)()>
const Raster& kept()
{
    static const Raster raster = make();
    return raster;
}

Raster photo_page()
{
    return photograph(false);
}

Raster palette_page()
{
    return photograph(true);
}

Raster gray_page()
{
    const Raster& photo = kept<photo_page>();
    Raster gray = {.width = photo.width, .height = photo.height, .bits = 8, .samples = 1, .rows = {}};
    for (usize i = 1; i < photo.rows.size(); i += 3) {
        gray.rows.push_back(photo.rows[i]);
    }
    return gray;
}

}  // namespace
}  // namespace orv::bench

int main(int argc, char** argv)
{
    using namespace orv::bench;
    benchmark::Initialize(&argc, argv);
    constexpr TiffCoding kT6 = TiffCoding::T6;
    static const Case cases[] = {
        {"t6_text", kept<text_page>, ORV_FORMAT_TIFF_T6, kT6, COMPRESSION_CCITTFAX4, 3},
        {"t6_fax", kept<fax_page>, ORV_FORMAT_TIFF_T6, kT6, COMPRESSION_CCITTFAX4, 3},
        {"t6_scanned", kept<scanned_page>, ORV_FORMAT_TIFF_T6, kT6, COMPRESSION_CCITTFAX4, 3},
        {"t6_dithered", kept<dithered_page>, ORV_FORMAT_TIFF_T6, kT6, COMPRESSION_CCITTFAX4, 3},
        {"t4_fax", kept<fax_page>, ORV_FORMAT_TIFF_T4, TiffCoding::T4, COMPRESSION_CCITTFAX3, 2.5},
        {"huffman_text", kept<text_page>, ORV_FORMAT_TIFF_HUFFMAN, TiffCoding::Huffman, COMPRESSION_CCITTRLE,
         2.5},
        {"huffman_scanned", kept<scanned_page>, ORV_FORMAT_TIFF_HUFFMAN, TiffCoding::Huffman,
         COMPRESSION_CCITTRLE, 2.5},
        {"huffman_dithered", kept<dithered_page>, ORV_FORMAT_TIFF_HUFFMAN, TiffCoding::Huffman,
         COMPRESSION_CCITTRLE, 2.5},
        {"lzw_photo", kept<photo_page>, ORV_FORMAT_TIFF_LZW, TiffCoding::Lzw, COMPRESSION_LZW, 2},
        {"lzw_gray", kept<gray_page>, ORV_FORMAT_TIFF_LZW, TiffCoding::Lzw, COMPRESSION_LZW, 2},
        {"lzw_palette", kept<palette_page>, ORV_FORMAT_TIFF_LZW, TiffCoding::Lzw, COMPRESSION_LZW, 2},
        {"lzw_text", kept<text_page>, ORV_FORMAT_TIFF_LZW, TiffCoding::Lzw, COMPRESSION_LZW, 2},
        {"raw_photo", kept<photo_page>, ORV_FORMAT_TIFF, TiffCoding::Raw, COMPRESSION_NONE, 1},
        {"raw_palette", kept<palette_page>, ORV_FORMAT_TIFF, TiffCoding::Raw, COMPRESSION_NONE, 1},
        {"raw_text", kept<text_page>, ORV_FORMAT_TIFF, TiffCoding::Raw, COMPRESSION_NONE, 1},
    };
    for (const Case& test : cases) {
        benchmark::RegisterBenchmark(test.name, run, test)->UseManualTime()->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
