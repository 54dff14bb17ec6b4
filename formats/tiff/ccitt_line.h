// Lines of pixels in words, the leftmost pixel in the highest bit; white is 1. Both directions of the CCITT
// codings work on them: the run index of a line is the list of its changing elements, the places at which
// the colour is not that of the pixel to the left, the first of them from white to black.
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr i32 kWordBits = 64;

// Lists of T.6 have two elements of -1 ahead of their first.
inline constexpr i32 kListAhead = 2;

// Words of a line: at least one bit more than its pixels, and one word behind.
constexpr usize ccitt_line_words(i32 width)
{
    return static_cast<usize>(width) / kWordBits + 2;
}

// The bits of a word from `x` % 64 on.
constexpr u64 ccitt_from(i32 x)
{
    return ~u64{0} >> (static_cast<u32>(x) % kWordBits);
}

// --- Reading: changing elements to pixels ---

// What a row of pixels has apart from its changing elements.
struct CcittRow {
    i32 width;   // pixels
    i32 length;  // bytes of a stored row, a multiple of 4
    u64 flip;    // all ones where 0 is white
};

// Writes the row of a list that rises. What is black at the list's end stays so up to `end`; elements behind
// the width are left out.
void ccitt_paint_list(const CcittRow& row, std::span<const i32> list, i32 end, u8* bytes);

// The same for a line in words, slowly, and for lists that go back: a run that does has no pixels.
void ccitt_paint_words(std::span<const i32> list, i32 end, u64* line, i32 width);

// Colours 0 to 63 pixels that lie within the line black.
[[gnu::always_inline]] static inline void ccitt_paint_short(i32 first, i32 count, u64* line)
{
    u64* const word = line + static_cast<u32>(first) / kWordBits;
    const u32 place = static_cast<u32>(first) % kWordBits;
    const u64 mask = ~(~u64{0} >> count);
    word[0] &= ~(mask >> place);
    if (place + static_cast<u32>(count) > kWordBits) {
        word[1] &= ~(mask << (kWordBits - place));
    }
}

// Colours pixels `first` to `first + count` - 1 of a line black, as far as they lie within it.
void ccitt_paint_black(i32 first, i32 count, u64* line, i32 width);

// Writes a line as a row.
void ccitt_store(const CcittRow& row, const u64* line, u8* bytes);

// --- Writing: pixels to changing elements ---

// Takes a row of `length` bytes, a multiple of 4, and makes all behind the width white.
void ccitt_load(const u8* row, i32 length, u64* line, i32 width);

// Lists the changing elements, and behind them the width kListEnd times: their number. The list has room for
// width + kListEnd.
inline constexpr i32 kListEnd = 4;
usize ccitt_index_runs(const u64* line, i32 width, i32* list);

}  // namespace orv
