// What the TGA reader and writer share.
#pragma once

#include "frame/types.h"

namespace orv
{

// The 18-byte file header, numbers little-endian. Behind it stand the ID field, the colour map and the
// pixels: blue, green, red, and at 32 bits alpha; 15 and 16 bits are a word of 5 bits a colour, blue
// lowest.
//
//     0  ID length            1  colour map type      2  image type       3  first map entry
//     5  map entries          7  bits of a map entry  8  X  10  Y origin
//    12  width               14  height              16  bits per pixel  17  descriptor
enum TgaField : u32 {
    kTgaIdLength = 0,
    kTgaMapType = 1,
    kTgaImageType = 2,
    kTgaMapEntries = 5,
    kTgaMapBits = 7,
    kTgaWidth = 12,
    kTgaHeight = 14,
    kTgaPixelBits = 16,
    kTgaDescriptor = 17,
    kTgaHeaderBytes = 18,
};

// Image types. The run-length types are the same plus 8.
enum TgaType : u8 { kTgaMapped = 1, kTgaColour = 2, kTgaGray = 3, kTgaRunLength = 8 };

inline constexpr u8 kTgaTopFirst = 0x20;  // descriptor: the first row is the top of the picture
inline constexpr u32 kTgaPaletteEntries = 256;

}  // namespace orv
