#include "frame/rows.h"

namespace orv
{
namespace
{

constexpr i32 kWordBits = 32;  // rows are whole words
constexpr i32 kWordBytes = 4;
constexpr u16 kMostPaletteBits = 12;  // above them nothing is counted; 2^12 entries still fit 16 bits

}  // namespace

i64 row_stride_wide(i64 width, i64 bits)
{
    return ((width * bits + kWordBits - 1) >> 5) * kWordBytes;
}

i16 RowStride(i16 width, i16 bits)
{
    const i32 words = static_cast<i16>((i32{width} * bits + kWordBits - 1) >> 5);
    return static_cast<i16>(words * kWordBytes);
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
    return static_cast<i16>((bytes + kWordBytes - 1) & -kWordBytes);
}

i16 palette_bytes(const BITMAPINFOHEADER& header)
{
    // Depths above 8 other than 24 pass through here on their way to being refused.
    if (header.biBitCount > kMostPaletteBits) {
        return 0;
    }
    return static_cast<i16>((1 << header.biBitCount) * static_cast<i32>(sizeof(RGBQUAD)));
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
