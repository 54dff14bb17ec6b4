// A finished band on its way to the device: as it is, in 3-3-2 colours, or in sixteen.
#include <array>

#include "frame/blocks.h"
#include "frame/rows.h"
#include "ops/dither.h"
#include "output/band.h"
#include "pixels/palettes.h"
#include "platform/gdi.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orv
{
namespace
{

i32 device_bits(HDC device)
{
    platform::BITMAP description = {};
    const HBITMAP probe = platform::CreateCompatibleBitmap(device, 10, 10);
    platform::GetObjectA(probe, sizeof description, &description);
    platform::DeleteObject(probe);
    return description.bmPlanes * description.bmBitsPixel;
}

i32 scaled_up(i32 size, i32 shift)
{
    return static_cast<i32>(i64{size} * (1 << shift));
}

// --- The band in its own depth ---

void draw_plain(const BandRun& run)
{
    const ImageRecord& band = *run.band;
    run.header->info.biXPelsPerMeter = 0;
    run.header->info.biYPelsPerMeter = 0;
    platform::StretchDIBits(
        run.device, band.dest_left, band.dest_top, scaled_up(band.dest_width, run.scaling.x),
        scaled_up(band.dest_height, run.scaling.y), 0, 0, run.width, run.header->info.biHeight, run.rows,
        run.header, platform::DIB_RGB_COLORS, band.raster_op);
}

// --- 24 bits to 3-3-2 ---

void draw_332(const BandRun& run)
{
    const i32 height = run.header->info.biHeight;
    const usize stride = static_cast<usize>(row_stride_wide(run.width, 8));
    u8* const block = block_alloc(kImageHeaderBytes + stride * static_cast<usize>(height));
    if (block == nullptr) {
        return;
    }
    ImageHeader& header = *reinterpret_cast<ImageHeader*>(block);
    u8* const rows = block + kImageHeaderBytes;
    header.info = run.header->info;
    header.info.biBitCount = 8;
    header.info.biSizeImage = static_cast<u32>(stride) * static_cast<u32>(height);
    header.info.biClrUsed = 256;
    palette_build_default(&header, "targa");
    for (i32 r = 0; r < height; ++r) {
        reduce_row_332(run.rows + i64{r} * run.band_stride, rows + static_cast<usize>(r) * stride,
                       static_cast<usize>(run.width));
    }
    const ImageRecord& band = *run.band;
    platform::StretchDIBits(run.device, band.dest_left, band.dest_top,
                            scaled_up(band.dest_width, run.scaling.x),
                            scaled_up(band.dest_height, run.scaling.y), 0, 0, run.width, height, rows, &header,
                            platform::DIB_RGB_COLORS, band.raster_op);
    block_free(block);
}

// --- 8 and 24 bits to sixteen colours ---

constexpr usize kSixteenHeaderBytes = kBitmapHeaderBytes + 64;

// The words behind the last pixel of an odd width stay 0.
void dither_band(const BandRun& run, u16* words, u8* rows, usize stride)
{
    const usize width = static_cast<usize>(run.width);
    i32& phase = run.band->dither_row;
    for (i32 r = 0; r < run.header->info.biHeight; ++r, ++phase) {
        expand_colour_row(*run.header, run.rows + i64{r} * run.band_stride, {words, width * 4},
                          GrayWord::Dimmed);
        dither_row_16(words, bayer_matrix + (phase & 7) * 8, rows + static_cast<usize>(r) * stride,
                      (width + 1) / 2);
    }
}

// The phase goes on where a band is not drawn, so that the next one keeps its place in the pattern.
void draw_sixteen(const BandRun& run)
{
    const i32 height = run.header->info.biHeight;
    const usize stride = static_cast<usize>(row_stride_wide(run.width, 4));
    const usize words_bytes = (static_cast<usize>(run.width) + 1) * 4 * sizeof(u16);
    u16* const words = reinterpret_cast<u16*>(block_alloc(words_bytes));
    u8* const block = block_alloc(kSixteenHeaderBytes + stride * static_cast<usize>(height));
    if (words != nullptr && block != nullptr) {
        ImageHeader& header = *reinterpret_cast<ImageHeader*>(block);
        u8* const rows = block + kSixteenHeaderBytes;
        header.info = run.header->info;
        header.info.biBitCount = 4;
        header.info.biSizeImage = static_cast<u32>(stride) * static_cast<u32>(height);
        header.info.biClrUsed = 0;
        header.info.biClrImportant = 0;
        palette_build_default(&header, "dither");
        dither_band(run, words, rows, stride);
        const ImageRecord& band = *run.band;
        platform::StretchDIBits(run.device, band.dest_left, band.dest_top, band.dest_width, band.dest_height, 0,
                                0, run.width, height, rows, &header, platform::DIB_RGB_COLORS, band.raster_op);
    } else {
        run.band->dither_row += height;
    }
    block_free(block);
    block_free(words);
}

u8 index_332(const u8* pixel)
{
    return static_cast<u8>(pixel[0] >> 6 | (pixel[1] >> 3 & 0x1C) | (pixel[2] & 0xE0));
}

#if defined(__SSE2__)

// Four pixels of 12 bytes, of 16 that can be read, to the low bytes of four words of 32 bits.
inline __m128i indexes_332(const u8* row)
{
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
    const __m128i low = _mm_unpacklo_epi32(bytes, _mm_srli_si128(bytes, 3));
    const __m128i high = _mm_unpacklo_epi32(_mm_srli_si128(bytes, 6), _mm_srli_si128(bytes, 9));
    const __m128i pixels = _mm_unpacklo_epi64(low, high);
    const __m128i blue = _mm_and_si128(_mm_srli_epi32(pixels, 6), _mm_set1_epi32(0x03));
    const __m128i green = _mm_and_si128(_mm_srli_epi32(pixels, 11), _mm_set1_epi32(0x1C));
    const __m128i red = _mm_and_si128(_mm_srli_epi32(pixels, 16), _mm_set1_epi32(0xE0));
    return _mm_or_si128(blue, _mm_or_si128(green, red));
}

usize reduce_most_332(const u8* row, u8* out, usize width)
{
    usize x = 0;
    for (; x + 18 <= width; x += 16) {
        const u8* const from = row + x * 3;
        const __m128i low = _mm_packs_epi32(indexes_332(from), indexes_332(from + 12));
        const __m128i high = _mm_packs_epi32(indexes_332(from + 24), indexes_332(from + 36));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), _mm_packus_epi16(low, high));
    }
    return x;
}

// From the eight comparisons of a pair, blue, green, red and gray of the left pixel in the low bits, to
// its byte of two indexes.
constexpr std::array<u8, 256> kPairByte = [] {
    std::array<u8, 256> table = {};
    for (u32 i = 0; i < 256; ++i) {
        const auto index = [](u32 tests) {
            return (tests & 1) << 2 | (tests & 2) | (tests & 4) >> 2 | (tests & 8);
        };
        table[i] = static_cast<u8>(index(i & 15) << 4 | index(i >> 4));
    }
    return table;
}();

// Two pairs at once: words hold bytes, and no threshold is 0.
usize dither_most_16(const u16* words, const u8* thresholds, u8* out, usize pairs)
{
    __m128i below[4];  // a word passes where it is above these
    for (usize k = 0; k < 4; ++k) {
        const short left = static_cast<short>(thresholds[k * 2] - 1);
        const short right = static_cast<short>(thresholds[k * 2 + 1] - 1);
        below[k] = _mm_setr_epi16(left, left, left, left, right, right, right, right);
    }
    usize pair = 0;
    for (; pair + 2 <= pairs; pair += 2) {
        const __m128i* const from = reinterpret_cast<const __m128i*>(words + pair * 8);
        const __m128i first = _mm_cmpgt_epi16(_mm_loadu_si128(from), below[pair & 3]);
        const __m128i second = _mm_cmpgt_epi16(_mm_loadu_si128(from + 1), below[(pair + 1) & 3]);
        const u32 passed = static_cast<u32>(_mm_movemask_epi8(_mm_packs_epi16(first, second)));
        out[pair] = kPairByte[passed & 0xFF];
        out[pair + 1] = kPairByte[passed >> 8];
    }
    return pair;
}

#else

usize reduce_most_332(const u8*, u8*, usize)
{
    return 0;
}
usize dither_most_16(const u16*, const u8*, u8*, usize)
{
    return 0;
}

#endif

}  // namespace

void reduce_row_332(const u8* row, u8* out, usize width)
{
    for (usize x = reduce_most_332(row, out, width); x < width; ++x) {
        out[x] = index_332(row + x * 3);
    }
}

void dither_row_16(const u16* words, const u8* thresholds, u8* out, usize pairs)
{
    for (usize pair = dither_most_16(words, thresholds, out, pairs); pair < pairs; ++pair) {
        out[pair] = dither_pixel_pair(words + pair * 8, thresholds + (pair & 3) * 2);
    }
}

void band_draw(const BandRun& run)
{
    const i32 bits = device_bits(run.device);
    if (run.band_bits == 24 && bits == 8) {
        draw_332(run);
    } else if (run.band_bits >= 8 && bits == 4) {
        draw_sixteen(run);
    } else {
        draw_plain(run);
    }
}

}  // namespace orv
