// Blur by a weighted mean of 3 by 3 samples, and sharpening by what the blur takes away.
//
// The filter works upwards and to the right and reads what it has already written: the left neighbour
// and the three below are filtered values, but where a band of rows begins, the three below are the
// picture's own. A band has as many rows as two guard rows beside it leave of 32 KB. So one row above,
// one below and one copy of the row are all the memory it takes. The bottom row is its own lower
// neighbour, the top row its own upper one.
//
// Only the left neighbour makes a row serial. All other terms of the sum are added up ahead, many
// samples at a time.
#include <algorithm>

#include "ops/operation.h"

namespace orv
{
namespace
{

constexpr i32 kBandBytes = 32768;
constexpr i32 kStrongest = 128;

struct Filter {
    i32 strength;  // above 0 sharpens, else blurs; a multiple of 16
    u32 centre;    // weight of the sample itself; each neighbour has 1
    i32 band_rows;
};

// The rows that a sample's sum is taken from, the target, and room for the sums, `count` samples each.
struct BlurRows {
    const u8* lower;  // filtered, but below a band
    const u8* row;
    const u8* upper;
    u8* target;  // lower, row and upper are other memory
    u16* sums;
    usize count;
};

// The first and the last `distance` samples of a row have no neighbours and stay. A sum is at most
// 25 * 255, so that division by `weights` is exact as a product with 1/weights in 2^-20 units.
template <usize distance>
void blur_row(const BlurRows& rows, u32 centre)
{
    const usize count = rows.count;
    if (count <= 2 * distance) {
        std::memcpy(rows.target, rows.row, count);
        return;
    }
    const u8* __restrict lower = rows.lower;
    const u8* __restrict row = rows.row;
    const u8* __restrict upper = rows.upper;
    u16* __restrict sums = rows.sums;
    u8* target = rows.target;
    const u16 weight = static_cast<u16>(centre);
    for (usize i = distance; i < count - distance; ++i) {
        const usize left = i - distance;
        const usize right = i + distance;
        sums[i] = static_cast<u16>(weight * row[i] + row[right] + upper[left] + upper[i] + upper[right] +
                                   lower[left] + lower[i] + lower[right]);
    }
    const u32 reciprocal = (1u << 20) / (8 + centre) + 1;
    std::memcpy(target, row, distance);
    u32 left[distance];
    for (usize k = 0; k < distance; ++k) {
        left[k] = row[k];
    }
    usize i = distance;
    for (; i + distance <= count - distance; i += distance) {
        for (usize k = 0; k < distance; ++k) {
            left[k] = (sums[i + k] + left[k]) * reciprocal >> 20;
            target[i + k] = static_cast<u8>(left[k]);
        }
    }
    for (; i < count - distance; ++i) {
        target[i] = static_cast<u8>((sums[i] + u32{target[i - distance]}) * reciprocal >> 20);
    }
    std::memcpy(target + count - distance, row + count - distance, distance);
}

// A row of gray bytes, of colour bytes each with its like in the next pixels, and of nibbles that stand
// a byte each.
void sharpen_blur_8(const BlurRows& rows, u32 centre)
{
    blur_row<1>(rows, centre);
}
void sharpen_blur_24(const BlurRows& rows, u32 centre)
{
    blur_row<3>(rows, centre);
}
void sharpen_blur_4(const BlurRows& rows, u32 centre)
{
    blur_row<1>(rows, centre);
}

template <int top>
void merge_row(const u8* __restrict source, const u8* __restrict filtered, u8* __restrict target, usize count)
{
    for (usize i = 0; i < count; ++i) {
        const i16 value = static_cast<i16>(2 * source[i] - filtered[i]);
        target[i] = static_cast<u8>(value < 0 ? 0 : value > top ? top : value);
    }
}

void sharpen_merge_bytes(const u8* source, const u8* filtered, u8* target, usize count)
{
    merge_row<255>(source, filtered, target, count);
}

void sharpen_merge_4(const u8* source, const u8* filtered, u8* target, usize count)
{
    merge_row<15>(source, filtered, target, count);
}

bool palette_is_gray(const ImageHeader& header)
{
    const usize entries = usize{1} << header.info.biBitCount;
    for (usize i = 0; i < entries; ++i) {
        const RGBQUAD& entry = header.palette[i];
        if (entry.rgbBlue != entry.rgbGreen || entry.rgbGreen != entry.rgbRed) {
            return false;
        }
    }
    return true;
}

Filter filter_of(i16 asked, i32 bits, i32 stride)
{
    const i32 strength = std::clamp<i32>(asked, -kStrongest, kStrongest) & ~15;
    const i32 size = strength < 0 ? -strength : strength;
    const i32 centre = bits == 4 ? (144 - size) >> 4 : (136 - size) >> 3;
    return {strength, static_cast<u32>(centre), std::max(kBandBytes / stride - 2, 1)};
}

// Samples of a stored row, padding and all: bytes, or nibbles.
usize samples_of(const Operation& op)
{
    return static_cast<usize>(op.stride) * (op.bits == 4 ? 2 : 1);
}

ErrorCode measure_sharpen(Operation& op)
{
    if ((op.bits == 4 || op.bits == 8) && !palette_is_gray(*op.source)) {
        return kNotSupported;
    }
    if (op.bits != 1) {
        op.work_bytes[0] = samples_of(op) * 2;  // the row below, filtered and as it was
        op.work_bytes[1] = samples_of(op) * 2;  // the row, filtered and as it was
        op.work_bytes[2] = samples_of(op);      // the row above, where it has to be spread
        op.work_bytes[3] = samples_of(op) * sizeof(u16);
    }
    return kOk;
}

// The stored row as one byte a sample.
void load_samples(const Operation& op, i32 row, u8* samples)
{
    const u8* stored = source_row(op, row);
    const usize bytes = static_cast<usize>(op.stride);
    if (op.bits != 4) {
        std::memcpy(samples, stored, bytes);
        return;
    }
    for (usize i = 0; i < bytes; ++i) {
        samples[2 * i] = stored[i] >> 4;
        samples[2 * i + 1] = stored[i] & 15;
    }
}

void store_samples(Operation& op, i32 row, const u8* samples)
{
    u8* stored = result_row(op, row);
    const usize bytes = static_cast<usize>(op.stride);
    if (op.bits != 4) {
        std::memcpy(stored, samples, bytes);
        return;
    }
    for (usize i = 0; i < bytes; ++i) {
        stored[i] = static_cast<u8>(samples[2 * i] << 4 | samples[2 * i + 1]);
    }
}

void sharpen_row(const Operation& op, const Filter& filter, const BlurRows& rows)
{
    switch (op.bits) {
    case 4: sharpen_blur_4(rows, filter.centre); break;
    case 8: sharpen_blur_8(rows, filter.centre); break;
    default: sharpen_blur_24(rows, filter.centre); break;
    }
}

// In a lower or current pair of rows the filtered one comes first, then the one as it was. The upper
// row's memory takes the merged row once its samples have been used.
void sharpen_image(Operation& op)
{
    if (op.bits == 1) {
        return;
    }
    const usize count = samples_of(op);
    const Filter filter = filter_of(*static_cast<const i16*>(op.argument), op.bits, op.stride);
    u8* below = op.work[0];
    u8* current = op.work[1];
    u8* const above = op.work[2];
    u16* const sums = reinterpret_cast<u16*>(op.work[3]);

    load_samples(op, 0, below + count);
    load_samples(op, 0, current + count);
    for (i32 row = 0; row < op.height; ++row) {
        const bool top = row + 1 == op.height;
        load_samples(op, top ? row : row + 1, above);
        const u8* lower = row % filter.band_rows == 0 ? below + count : below;
        sharpen_row(op, filter, {lower, current + count, above, current, sums, count});
        std::swap(below, current);
        std::memcpy(current + count, above, count);
        if (filter.strength <= 0) {
            store_samples(op, row, below);
        } else {
            const auto merge = op.bits == 4 ? sharpen_merge_4 : sharpen_merge_bytes;
            merge(below + count, below, above, count);
            store_samples(op, row, above);
        }
    }
}

constexpr OperationPlan kSharpen = {
    .depths = kAllDepths,
    .storage = Storage::InPlace,
    .measure = measure_sharpen,
    .image = sharpen_image,
};

}  // namespace
}  // namespace orv

int16_t IMG_sharpen_bitmap(int32_t handle, int16_t strength)
{
    return orv::operation_run(handle, orv::kSharpen, &strength);
}
