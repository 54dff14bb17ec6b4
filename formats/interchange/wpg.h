// WPG (WordPerfect Graphics, version 1): a file header and a chain of records, little-endian throughout.
//
//     header      FF 57 50 43, offset of the first record (32 bits), product, file type, version major
//                 and minor (8 bits each), encryption key, reserved (16 bits each)
//     record      type (8 bits), length, data
//     length      n below FF | FF and 15 bits | FF and 31 bits, the high word first with its top bit set
//     0B  bitmap 1    width, height, depth, x and y resolution (16 bits each), rows in run code
//     0E  colours     first index, count (16 bits each), red, green and blue of each
//     0F  start       version, flags (8 bits each), width and height of the page (16 bits each)
//     10  end         nothing
//     14  bitmap 2    rotation, x1, y1, x2, y2 (16 bits each), then as bitmap 1
#pragma once

#include "frame/types.h"

namespace orv
{

enum WpgType : u8 {
    kWpgBitmap1 = 0x0B,
    kWpgColourMap = 0x0E,
    kWpgStart = 0x0F,
    kWpgEnd = 0x10,
    kWpgBitmap2 = 0x14,
    kWpgBitmap2Style = 0x19,  // written ahead of the colour map; readers step over it
};

inline constexpr u32 kWpgHeaderBytes = 16;
inline constexpr u32 kWpgBitmapBytes = 10;  // width to resolution
inline constexpr u32 kWpgPlaceBytes = 10;   // rotation to y2, ahead of them in a bitmap of type 2
inline constexpr u32 kWpgMapHeadBytes = 4;
inline constexpr u32 kWpgColourBytes = 3;

// Rows are packed as in memory, but end with their last pixel's byte.
constexpr u32 wpg_row_bytes(u32 width, u32 depth)
{
    return depth < 24 ? (width * depth + 7) / 8 : width * 3;
}

}  // namespace orv
