#include "frame/rows.h"

namespace orv
{

i64 row_stride_wide(i64 width, i64 bits)
{
    return ((width * bits + 31) >> 5) * 4;
}

i16 RowStride(i16 width, i16 bits)
{
    const i32 words = static_cast<i16>((i32{width} * bits + 31) >> 5);
    return static_cast<i16>(words * 4);
}

i16 delivered_row_bytes(i16 width, i16 bits)
{
    i32 bytes = width;
    switch (bits) {
    case 1: bytes = (width + 7) / 8; break;
    case 4: bytes = (width + 1) / 2; break;
    case 24: bytes = width * 3; break;
    default: break;
    }
    return static_cast<i16>((bytes + 3) & ~3);
}

i16 palette_bytes(const BITMAPINFOHEADER& header)
{
    // Depths above 8 other than 24 pass through here on their way to being refused.
    if (header.biBitCount > 12) {
        return 0;
    }
    return static_cast<i16>((1 << header.biBitCount) * 4);
}

void row_get(const void* base, void* dest, i16 row, i16 stride)
{
    std::memcpy(dest, static_cast<const u8*>(base) + i64{row} * stride, static_cast<usize>(stride));
}

void row_put(const void* source, void* base, i16 row, i16 stride)
{
    std::memcpy(static_cast<u8*>(base) + i64{row} * stride, source, static_cast<usize>(stride));
}

ErrorCode header_check(const BITMAPINFOHEADER& header, DepthRule rule)
{
    if (header.biWidth < 1 || header.biHeight < 1) {
        return kBadData;
    }
    const u16 bits = header.biBitCount;
    const bool carried = bits == 1 || bits == 4 || bits == 8 || bits == 24;
    if (header.biWidth > kMaxSide || header.biHeight > kMaxSide || (rule == DepthRule::Carried && !carried) ||
        row_stride_wide(header.biWidth, bits) > kMaxRowStride) {
        return kNotSupported;
    }
    return kOk;
}

}  // namespace orv
