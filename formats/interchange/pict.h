// What the PICT reader and writer share: the bytes of a QuickDraw picture that holds pixels. All numbers
// are big-endian.
//
//     0     512  application header
//     512     2  size, low 16 bits
//     514     8  frame: top, left, bottom, right
//     522     2  version: 0x1101, then opcodes of one byte; or 0x0011 0x02FF, then opcodes of two bytes of
//                which the first is a header of 24 bytes
//
// Pixels stand behind one of a few opcodes:
//
//     4    base address, direct pixels only
//     2    rowBytes: bytes of an unpacked row; the top bit tells a PixMap from a BitMap
//     ...  PixMap, or the BitMap's bounds
//     ...  colour table, indexed PixMaps only: seed (4), flags (2), entries - 1 (2); 8 bytes an entry
//     18   source rectangle, destination rectangle, transfer mode
//     ...  rows, each packed on its own behind the count of its packed bytes
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr u32 kPictPreambleBytes = 512;

enum PictOpcode : u32 {
    kPictClipRegion = 0x01,
    kPictBitsRect = 0x90,
    kPictBitsRegion = 0x91,
    kPictPackBitsRect = 0x98,
    kPictPackBitsRegion = 0x99,
    kPictDirectBitsRect = 0x9A,
    kPictLongComment = 0xA1,
    kPictEnd = 0xFF,
    kPictHeader = 0x0C00,
};

inline constexpr u32 kPictVersion1 = 0x1101;
inline constexpr u32 kPictVersion2 = 0x0011;
inline constexpr u32 kPictVersion2Mark = 0x02FF;

// Bit 15 of rowBytes.
inline constexpr u32 kPictPixMapMark = 0x8000;

// Offsets in a PixMap, which begins behind rowBytes. A BitMap has the bounds alone.
enum PictPixMapField : u32 {
    kPictBounds = 0,  // top, left, bottom, right
    kPictPackType = 10,
    kPictVerticalResolution = 20,  // dots per inch; the fraction behind it is not used
    kPictPixelSize = 26,
    kPictPixMapBytes = 44,
};

inline constexpr u32 kPictTableHeadBytes = 8;
inline constexpr u32 kPictTableSize = 6;  // offset in the head: entries - 1
inline constexpr u32 kPictEntryBytes = 8;
inline constexpr u32 kPictRectsBytes = 18;

// How the rows of direct pixels are packed.
enum PictPackType : u32 {
    kPictPackedWords = 3,   // in words: a bit unused, 5 bits each of red, green and blue
    kPictPackedPlanes = 4,  // in bytes: the row's reds, then its greens, then its blues
};

// The count in front of a packed row has one byte up to this size of the unpacked row, then two.
inline constexpr u32 kPictShortRow = 250;

}  // namespace orv
