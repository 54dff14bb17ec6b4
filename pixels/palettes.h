// Default palettes and the row expanders: what readers and operations share.
#pragma once

#include "frame/types.h"

namespace orv
{

// Writes the palette of that name behind a header whose biBitCount is set; nothing at 24 bits, nothing
// above 8 bits. Two entries are black and white whatever the name. "tiff": gray ramp; "targa": 256
// colours of 3-3-2 bits; "dither": sixteen colours with half intensity 200; every other name: sixteen
// colours with half intensity 128. Case does not count.
void palette_build_default(ImageHeader* header, const char* name);

// The two gray formulas. White gives 253 by the first, whose weights add up to 127.
static inline i32 luma_128(i32 blue, i32 green, i32 red)
{
    return (38 * red + 75 * green + 14 * blue) >> 7;
}
static inline i32 luma_100(i32 blue, i32 green, i32 red)
{
    return (30 * red + 59 * green + 11 * blue) / 100;
}

// Colour words are four words a pixel: blue, green, red and the 38-75-14 luma. The fourth word of
// pictures of 8 and 24 bits is lowered by 40, not below 0, where the caller wants it Dimmed.
enum class GrayWord : u8 { Plain, Dimmed };

// One stored row of a 4-, 8- or 24-bit picture as colour words, or as 30-59-11 gray words. At 1 bit they
// write nothing. Operations to gray take bytes from ops/gray_rows.h instead.
void expand_colour_row(const ImageHeader& header, const u8* row, std::span<u16> words, GrayWord gray);
void expand_gray_row(const ImageHeader& header, const u8* row, std::span<u16> words);

// The same by the handle of a locked image, row 0 being the bottom one: `scratch` holds a row, `header`
// is the image's. row_expand_colour (Dimmed) and row_expand_luma (Plain) give the top row for any row
// beyond it, row_expand_gray then leaves the words alone. The result is kOk, or kBadHandle.
i16 row_expand_colour(i32 handle, u16* words, u8* scratch, ImageHeader* header, i16 row);
i16 row_expand_luma(i32 handle, u16* words, u8* scratch, ImageHeader* header, i16 row);
i16 row_expand_gray(i32 handle, u16* words, u8* scratch, ImageHeader* header, i16 row);

}  // namespace orv
