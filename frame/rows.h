// Row and palette sizes, rows in a block, and the one check of a picture's size and depth.
#pragma once

#include "frame/errors.h"
#include "frame/types.h"

namespace orv
{

inline constexpr i32 kMaxSide = 32767;
inline constexpr i32 kMaxRowStride = 32764;

// A set of depths, a bit for each of 1, 4, 8 and 24 bits a pixel.
enum DepthSet : u8 { kDepth1 = 1, kDepth4 = 2, kDepth8 = 4, kDepth24 = 8, kAllDepths = 15 };

// The set that holds this depth alone; empty for a depth that no image has.
static inline u8 depth_set(i32 bits)
{
    switch (bits) {
    case 1: return kDepth1;
    case 4: return kDepth4;
    case 8: return kDepth8;
    case 24: return kDepth24;
    default: return 0;
    }
}

// Bytes of a stored row: whole 32-bit words. The caller has checked that the row can be carried.
i16 RowStride(i16 width, i16 bits);

// The same without the cut to 16 bits, for sizes that nobody has checked yet.
i64 row_stride_wide(i64 width, i64 bits);

// Bytes of a row as readers of uncompressed files deliver it: RowStride at 1, 4, 8 and 24 bits; at any
// other depth a byte counts for a pixel.
i16 delivered_row_bytes(i16 width, i16 bits);

// Bytes of the palette that a header of this depth has: 8, 64, 1024, or 0 at 24 bits.
i16 palette_bytes(const BITMAPINFOHEADER& header);

// Copy row `row` (0 is the first in memory, the picture's bottom row) out of and into a block of rows.
void row_get(const void* base, void* dest, i16 row, i16 stride);
void row_put(const void* source, void* base, i16 row, i16 stride);

// Which depths a header may have. Readers that stream a few further depths to callers use Streamed:
// the frame's own sink then refuses them.
enum class DepthRule { Carried, Streamed };

// The check that every header passes before a HeaderCallback or an encoder sees it. kOk; kBadData for
// a width or height below 1; kNotSupported for a size above 32767, a depth other than 1, 4, 8, 24
// (DepthRule::Carried), or a row above 32,764 bytes.
ErrorCode header_check(const BITMAPINFOHEADER& header, DepthRule rule = DepthRule::Carried);

}  // namespace orv
