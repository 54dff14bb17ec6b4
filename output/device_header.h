// Headers for the rows of device bitmaps.
#pragma once

#include "frame/rows.h"
#include "platform/gdi.h"

namespace orv
{

// A zeroed header block is filled for the rows of a bitmap as they are.
static inline void fill_device_header(ImageHeader& header, const platform::BITMAP& bitmap)
{
    BITMAPINFOHEADER& info = header.info;
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = bitmap.bmWidth;
    info.biHeight = bitmap.bmHeight;
    info.biPlanes = 1;
    info.biBitCount = static_cast<u16>(bitmap.bmBitsPixel * bitmap.bmPlanes);
    info.biSizeImage =
        static_cast<u32>(row_stride_wide(bitmap.bmWidth, info.biBitCount)) * static_cast<u32>(bitmap.bmHeight);
}

inline constexpr usize kDeviceHeaderBytes = 1068;

}  // namespace orv
