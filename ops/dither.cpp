#include "ops/dither.h"

#include <array>

#include "ops/gray_rows.h"
#include "ops/operation.h"
#include "pixels/palettes.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orv
{

// The first entry is 4, not the 0 of the plain recursive pattern: gray 4 and below never gives white.
const u8 bayer_matrix[64] = {
    4,   128, 32,  160, 8,   136, 40,  168,  //
    192, 64,  224, 96,  200, 72,  232, 104,  //
    48,  176, 16,  144, 56,  184, 24,  152,  //
    240, 112, 208, 80,  248, 120, 216, 88,   //
    12,  140, 44,  172, 4,   132, 36,  164,  //
    204, 76,  236, 108, 196, 68,  228, 100,  //
    60,  188, 28,  156, 52,  180, 20,  148,  //
    252, 124, 220, 92,  244, 116, 212, 84,
};

const u8 halftone_matrix[64] = {
    136, 192, 160, 128, 116, 60,  92,  124,  //
    168, 232, 224, 212, 84,  20,  28,  40,   //
    200, 248, 244, 180, 52,  4,   8,   72,   //
    152, 184, 216, 148, 100, 68,  36,  104,  //
    112, 56,  88,  120, 140, 196, 164, 132,  //
    80,  16,  24,  44,  172, 236, 228, 208,  //
    48,  0,   12,  76,  204, 252, 240, 176,  //
    96,  64,  32,  108, 156, 188, 220, 144,
};

namespace
{

// What the intensity bit asks of the gray word beyond the pixel's threshold.
constexpr u16 kIntensityMargin = 40;

// Thresholds of a stored row's eight columns. The matrices are read by columns.
std::array<u8, 8> row_thresholds(const u8* matrix, i32 row)
{
    std::array<u8, 8> thresholds;
    for (usize x = 0; x < 8; ++x) {
        thresholds[x] = matrix[x * 8 + static_cast<usize>(row & 7)];
    }
    return thresholds;
}

void ordered_row(Operation& op, i32 row)
{
    const usize width = static_cast<usize>(op.width);
    const u8* const grays = gray_row_of(op, row);
    pack_above(grays, row_thresholds(static_cast<const u8*>(op.argument), row), result_row(op, row), width);
}

constexpr OperationPlan kOrderedMono = {
    .depths = kDepth4 | kDepth8 | kDepth24,
    .storage = Storage::NewHeader,
    .progress = Progress::Full,
    .saved_palette = SavedPalette::Ends,
    .result_bits = 1,
    .palette = "tiff",
    .measure = gray_measure,
    .prepare = gray_prepare<GrayWeights::Over100>,
    .row = ordered_row,
};

#if defined(__SSE2__)

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

u8 pair_byte(const u16* words, const u16* thresholds)
{
    const __m128i above = _mm_cmpgt_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words)),
                                          _mm_loadu_si128(reinterpret_cast<const __m128i*>(thresholds)));
    return kPairByte[static_cast<usize>(_mm_movemask_epi8(_mm_packs_epi16(above, _mm_setzero_si128())))];
}

#else

u8 pair_byte(const u16* words, const u16* thresholds)
{
    constexpr u8 kBits[8] = {0x40, 0x20, 0x10, 0x80, 0x04, 0x02, 0x01, 0x08};
    u32 byte = 0;
    for (usize i = 0; i < 8; ++i) {
        byte |= words[i] > thresholds[i] ? kBits[i] : 0u;
    }
    return static_cast<u8>(byte);
}

#endif

// The words behind the last pixel of an odd width stay 0, and so does its right half.
ErrorCode colour_measure(Operation& op)
{
    op.work_bytes[0] = (static_cast<usize>(op.width) + 1) * 4 * sizeof(u16);
    return kOk;
}

void bayer_colour_row(Operation& op, i32 row)
{
    u16* const words = reinterpret_cast<u16*>(op.work[0]);
    const usize width = static_cast<usize>(op.width);
    expand_colour_row(*op.source, source_row(op, row), {words, width * 4}, GrayWord::Dimmed);

    const std::array<u8, 8> columns = row_thresholds(bayer_matrix, row);
    std::array<u16, 32> thresholds;
    for (usize i = 0; i < 32; ++i) {
        thresholds[i] = static_cast<u16>(columns[i / 4] + (i % 4 == 3 ? kIntensityMargin : 0));
    }
    u8* const out = result_row(op, row);
    for (usize pair = 0; pair < (width + 1) / 2; ++pair) {
        out[pair] = pair_byte(words + pair * 8, thresholds.data() + pair % 4 * 8);
    }
}

constexpr OperationPlan kBayerColour = {
    .depths = kDepth4 | kDepth8 | kDepth24,
    .storage = Storage::NewHeader,
    .progress = Progress::Full,
    .saved_palette = SavedPalette::Ends,
    .result_bits = 4,
    .palette = "pcx",
    .measure = colour_measure,
    .row = bayer_colour_row,
};

}  // namespace

u8 dither_pixel_pair(const u16* words, const u8* thresholds)
{
    constexpr u8 kBits[8] = {0x40, 0x20, 0x10, 0x80, 0x04, 0x02, 0x01, 0x08};
    u32 byte = 0;
    for (usize i = 0; i < 8; ++i) {
        byte |= words[i] >= thresholds[i / 4] ? kBits[i] : 0u;
    }
    return static_cast<u8>(byte);
}

}  // namespace orv

int16_t IMG_bayer_mono(int32_t handle)
{
    return orv::operation_run(handle, orv::kOrderedMono, orv::bayer_matrix);
}

int16_t IMG_halftone_mono(int32_t handle)
{
    return orv::operation_run(handle, orv::kOrderedMono, orv::halftone_matrix);
}

int16_t IMG_bayer_color(int32_t handle)
{
    return orv::operation_run(handle, orv::kBayerColour);
}
