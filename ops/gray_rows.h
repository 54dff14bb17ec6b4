// Rows as one byte of gray a pixel, and bytes to 1-bit rows: what the operations to gray and to black
// and white share.
#pragma once

#include "ops/operation.h"

namespace orv
{

enum class GrayWeights : u8 {
    Over128,  // 38 red, 75 green, 14 blue
    Over100,  // 30 red, 59 green, 11 blue
};

// The grays of a palette, worked out once for a picture.
struct GrayRows {
    i32 bits;
    GrayWeights weights;
    bool identity;    // 8 bits, and every index is its own gray
    u8 gray[256];     // by index at 8 bits
    u8 pair[256][2];  // by byte at 4 bits, the left pixel first
};

// The first two blocks of working memory of an operation that reads grays: measured and filled by the
// functions below, which its plan names or calls.
enum GrayWork : usize { kGrayTable, kGrayBytes, kGrayOwn };

ErrorCode gray_measure(Operation& op);

// For plans: fills the table by these weights.
template <GrayWeights weights>
ErrorCode gray_prepare(Operation& op);

// The grays of a stored row: in op.work[kGrayBytes], or the row itself.
const u8* gray_row_of(const Operation& op, i32 row);

// Fills it in for pictures of 4, 8 or 24 bits.
void gray_rows_open(GrayRows& rows, const ImageHeader& header, GrayWeights weights);

// The grays of a stored row: in `buffer` of width + 1 bytes, or the row itself.
const u8* gray_rows_get(const GrayRows& rows, const u8* row, u8* buffer, usize width);

// Sets bit x of a row, top bit first, where values[x] is above thresholds[x & 7]; bits behind the last
// pixel are 0.
void pack_above(const u8* values, std::span<const u8, 8> thresholds, u8* out, usize width);

}  // namespace orv
