// What the decoders of T.4 and T.6 lines share.
#pragma once

#include "formats/tiff/ccitt_bits.h"
#include "formats/tiff/tiff_strips.h"

namespace orv
{

// A line of pixels in words, the leftmost pixel in the highest bit; white is 1.
struct CcittLine {
    u64* words;
    i32 count;  // words: at least one bit more than the delivered row
};

struct CcittDecoder {
    const TiffDirectory* dir;
    i16 mode;  // TiffCompression
    i32 width;
    u8* input;  // kChunkBytes, for bytes that are mirrored
    u8* lines;  // the block that holds what follows
    CcittLine current;
    CcittLine previous;
    i32* reference;  // T.6: changing elements of the line above and of the one at hand
    i32* changes;
};

// T.6 lists hold this many entries more than a line has pixels: three ahead of the first, four behind
// the last, and room for lines that change without moving on.
inline constexpr i32 kListMargin = 100;

// Colours pixels `first` to `first + count` - 1 black, as far as they lie within the line.
void ccitt_paint_black(i32 first, i32 count, const CcittLine& line);

// The same for 0 to 63 pixels that lie within the line.
static inline void ccitt_paint_short(i32 first, i32 count, u64* words)
{
    u64* const word = words + (first >> 6);
    const u32 place = static_cast<u32>(first) & 63;
    const u64 mask = ~(~u64{0} >> count);
    word[0] &= ~(mask >> place);
    if (place + static_cast<u32>(count) > 64) {
        word[1] &= ~(mask << (64 - place));
    }
}

void ccitt_clear(const CcittLine& line);

// Delivers a line, twice where lines are doubled.
void ccitt_deliver(StripWalk& walk, const CcittDecoder& decoder, const CcittLine& line, i32 row_number);

void ccitt_decode_strip_1d(StripWalk& walk, CcittDecoder& decoder, CcittInput& input, CcittBits bits);
void ccitt_decode_strip_2d(StripWalk& walk, CcittDecoder& decoder, CcittInput& input, CcittBits bits);

}  // namespace orv
