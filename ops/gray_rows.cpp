#include "ops/gray_rows.h"

#include <array>

#include "pixels/palettes.h"
#include "pixels/pixels24.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orv
{
namespace
{

u8 entry_gray(const RGBQUAD& c, GrayWeights weights)
{
    return static_cast<u8>(weights == GrayWeights::Over128 ? luma_128(c.rgbBlue, c.rgbGreen, c.rgbRed)
                                                           : luma_100(c.rgbBlue, c.rgbGreen, c.rgbRed));
}

#if defined(__SSE2__)

// Comparing leaves the first pixel in the lowest bit; rows want it in the highest.
constexpr std::array<u8, 256> kReversed = [] {
    std::array<u8, 256> table = {};
    for (u32 i = 0; i < 256; ++i) {
        for (u32 bit = 0; bit < 8; ++bit) {
            table[i] = static_cast<u8>(table[i] | (i >> bit & 1) << (7 - bit));
        }
    }
    return table;
}();

// Whole groups of sixteen; the number of pixels done.
usize pack_sixteens(const u8* values, std::span<const u8, 8> thresholds, u8* out, usize width)
{
    __m128i limit = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(thresholds.data()));
    limit = _mm_unpacklo_epi64(limit, limit);
    usize x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(values + x));
        const __m128i below = _mm_cmpeq_epi8(_mm_subs_epu8(bytes, limit), _mm_setzero_si128());
        const u32 above = ~static_cast<u32>(_mm_movemask_epi8(below));
        out[x / 8] = kReversed[above & 0xFF];
        out[x / 8 + 1] = kReversed[above >> 8 & 0xFF];
    }
    return x;
}

#else

usize pack_sixteens(const u8*, std::span<const u8, 8>, u8*, usize)
{
    return 0;
}

#endif

}  // namespace

void gray_rows_open(GrayRows& rows, const ImageHeader& header, GrayWeights weights)
{
    rows.bits = header.info.biBitCount;
    rows.weights = weights;
    rows.identity = rows.bits == 8;
    if (rows.bits == 8) {
        for (u32 i = 0; i < 256; ++i) {
            rows.gray[i] = entry_gray(header.palette[i], weights);
            rows.identity = rows.identity && rows.gray[i] == i;
        }
    } else if (rows.bits == 4) {
        for (u32 i = 0; i < 256; ++i) {
            rows.pair[i][0] = entry_gray(header.palette[i >> 4], weights);
            rows.pair[i][1] = entry_gray(header.palette[i & 15], weights);
        }
    }
}

const u8* gray_rows_get(const GrayRows& rows, const u8* row, u8* buffer, usize width)
{
    if (rows.identity) {
        return row;
    }
    if (rows.bits == 8) {
        for (usize x = 0; x < width; ++x) {
            buffer[x] = rows.gray[row[x]];
        }
    } else if (rows.bits == 4) {
        for (usize i = 0; i < (width + 1) / 2; ++i) {
            std::memcpy(buffer + i * 2, rows.pair[row[i]], 2);
        }
    } else if (rows.weights == GrayWeights::Over128) {
        pixels24_luma_128(row, buffer, width);
    } else {
        pixels24_luma_100(row, buffer, width);
    }
    return buffer;
}

void pack_above(const u8* values, std::span<const u8, 8> thresholds, u8* out, usize width)
{
    usize x = pack_sixteens(values, thresholds, out, width);
    for (; x < width; x += 8) {
        u32 bits = 0;
        for (usize i = 0; i < 8 && x + i < width; ++i) {
            bits |= values[x + i] > thresholds[i] ? 0x80u >> i : 0;
        }
        out[x / 8] = static_cast<u8>(bits);
    }
}

ErrorCode gray_measure(Operation& op)
{
    op.work_bytes[kGrayTable] = sizeof(GrayRows);
    op.work_bytes[kGrayBytes] = static_cast<usize>(op.width) + 1;
    return kOk;
}

template <GrayWeights weights>
ErrorCode gray_prepare(Operation& op)
{
    gray_rows_open(*reinterpret_cast<GrayRows*>(op.work[kGrayTable]), *op.source, weights);
    return kOk;
}

template ErrorCode gray_prepare<GrayWeights::Over100>(Operation& op);
template ErrorCode gray_prepare<GrayWeights::Over128>(Operation& op);

const u8* gray_row_of(const Operation& op, i32 row)
{
    const GrayRows& table = *reinterpret_cast<const GrayRows*>(op.work[kGrayTable]);
    return gray_rows_get(table, source_row(op, row), op.work[kGrayBytes], static_cast<usize>(op.width));
}

}  // namespace orv
