// Rows in the planes of a PCX line and as packed pixels.
#pragma once

#include "frame/types.h"

namespace orv
{

// Planes of one bit to packed pixels of four: bit k of a pixel is plane k's, the first pixel of a pair
// is in the high half of its byte. `count` bytes of each plane make 4 * count bytes. `planes` is 3 or 4;
// without a fourth plane its bits are 0.
void pcx_merge_bits(const u8* line, u32 bytes_per_line, i32 planes, u8* pixels, u32 count);

// The way back, plane behind plane, `bytes_per_line` each. Pixels behind the width give zero bits.
void pcx_split_bits(const u8* pixels, u32 width, u8* line, u32 bytes_per_line);

// Planes of red, green and blue to pixels of blue, green and red, and back. `count` is in pixels.
void pcx_merge_colours(const u8* line, u32 bytes_per_line, u8* pixels, u32 count);
void pcx_split_colours(const u8* pixels, u8* line, u32 count);

}  // namespace orv
