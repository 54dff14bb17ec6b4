// Lines of T.6 coding.
#include <algorithm>
#include <utility>

#include "formats/tiff/ccitt_decode.h"

namespace orv
{
namespace
{

constexpr u64 kThreeV0 = 7;  // three times the code 1
constexpr i32 kNeverPassed = 0x7FFFFFFF;

// The line being decoded. `b` points into the changing elements of the line above, `c` behind the last
// of this line; both lists have two elements of -1 ahead of their first, and one ahead of these that nothing
// passes.
struct T6Line {
    i32 a0;
    const i32* b;
    const i32* b_first;  // lowest element
    i32* c;
    i32* c_end;  // records end here
    bool black;
};

// After a mode that leaves b1 behind: to the next one of its colour right of a0.
inline void skip_passed(T6Line& line, i32 width)
{
    while (line.a0 < width && *line.b <= line.a0) {
        line.b += 2;
    }
}

// Paints from `start` to `end`, either of which may lie outside the line.
[[gnu::always_inline]] inline void paint(i32 start, i32 end, const CcittLine& pixels)
{
    const i32 count = end - start;
    if (static_cast<u32>(count) < 64 && start >= 0) [[likely]] {
        ccitt_paint_short(start, count, pixels.words);
    } else {
        ccitt_paint_black(start, count, pixels);
    }
}

// Seeks the next b1 right of a0: behind V0 the next element does as it stands. False below the list.
bool seek_b1(T6Line& line, i32 shift, i32 width)
{
    line.b -= shift < 0 ? 2 : 0;
    if (line.b < line.b_first) {
        return false;
    }
    skip_passed(line, width);
    return true;
}

// A vertical mode: a1 stands by b1. False where a list has no more room.
[[gnu::always_inline]] inline bool decode_vertical(T6Line& line, i32 shift, const CcittLine& pixels, i32 width)
{
    const i32 a1 = *line.b++ + shift;
    if (line.c == line.c_end) [[unlikely]] {
        return false;
    }
    *line.c++ = a1;
    if (line.black) {
        paint(line.a0, a1, pixels);
    }
    line.a0 = a1;
    line.black = !line.black;
    // The next b1 is nearly always the next element, to the left too: the rest in one rare branch.
    const bool elsewhere = ((shift < 0) & (line.b[-2] > a1)) | ((shift != 0) & (line.b[0] <= a1));
    return !elsewhere || seek_b1(line, shift, width);
}

// The vertical modes of one look at the table, as far as the line takes them. The bits behind all of them
// are looked up while they are carried out.
[[gnu::always_inline]] inline bool decode_verticals(const CcittModes& modes, CcittBits& bits, T6Line& line,
                                                    const CcittLine& pixels, i32 width)
{
    const CcittBits before = bits;
    const u32 last = modes.vertical - 1u;
    ccitt_skip(bits, modes.lengths[last]);
    for (u32 i = 0;; ++i) {
        if (!decode_vertical(line, modes.shifts[i], pixels, width)) [[unlikely]] {
            return false;
        }
        if (i == last) {
            return true;
        }
        if (line.a0 >= width || modes.lengths[i] >= before.count) [[unlikely]] {
            bits = before;
            ccitt_skip(bits, modes.lengths[i]);
            return true;
        }
    }
}

// Three times V0, the most frequent of all, where it stays within line and data. False where it does not;
// nothing has been taken then.
[[gnu::always_inline]] inline bool decode_straight(CcittBits& bits, T6Line& line, const CcittLine& pixels,
                                                   i32 width)
{
    const i32 x1 = line.b[0];
    const i32 x2 = line.b[1];
    const i32 x3 = line.b[2];
    if (std::max({x1, x2, x3}) >= width || line.c_end - line.c < 3 || bits.count < 3) {
        return false;
    }
    ccitt_skip(bits, 3);
    if (line.black) {
        paint(line.a0, x1, pixels);
        paint(x2, x3, pixels);
    } else {
        paint(x1, x2, pixels);
    }
    line.c[0] = x1;
    line.c[1] = x2;
    line.c[2] = x3;
    line.b += 3;
    line.c += 3;
    line.a0 = x3;
    line.black = !line.black;
    return true;
}

// Two runs, the first in the colour at hand, each cut at the width.
[[gnu::always_inline]] inline bool decode_horizontal(CcittInput& input, CcittBits& bits, T6Line& line,
                                                     const CcittLine& pixels, i32 width)
{
    for (i32 i = 0; i < 2; ++i) {
        const CcittRunTable& table = ccitt_run_tables[line.black];
        i32 run = ccitt_read_run(input, bits, table);
        if (run >= 64) {
            run = ccitt_finish_run(input, bits, table, run);
        }
        if (run < 0) {
            return false;
        }
        run = std::min(run, width - line.a0);
        if (line.black) {
            paint(line.a0, line.a0 + run, pixels);
        }
        line.a0 += run;
        if (line.c == line.c_end) {
            return false;
        }
        *line.c++ = line.a0;
        line.black = !line.black;
    }
    return true;
}

// Decodes one line into a white one. False ends the strip, with the line as far as it got.
bool decode_line(CcittInput& input, CcittBits& given, T6Line& given_line, const CcittLine& pixels, i32 width)
{
    CcittBits bits = given;  // both apart from what pixels and lists could alias
    T6Line line = given_line;
    bool whole = true;
    while (line.a0 < width) {
        if (!ccitt_fill(input, bits)) {
            whole = false;
            break;
        }
        const CcittModes& modes = ccitt_mode_table[ccitt_peek(bits, kCcittModeBits)];
        if (bits.bits >> 61 == kThreeV0 && decode_straight(bits, line, pixels, width)) {
            continue;
        }
        if (modes.vertical > 0) [[likely]] {
            whole = decode_verticals(modes, bits, line, pixels, width);
        } else if (ccitt_skip(bits, modes.lengths[0]); modes.other == kModePass) {
            const i32 end = line.b[1];
            line.b += 2;
            if (line.black) {
                paint(line.a0, end, pixels);
            }
            line.a0 = end;
        } else {
            whole = modes.other == kModeHorizontal && decode_horizontal(input, bits, line, pixels, width);
            skip_passed(line, width);
        }
        if (!whole) {
            break;
        }
    }
    given = bits;
    given_line = line;
    return whole;
}

// Each list ends with the width twice and one more twice: whatever b1 is asked for lies ahead of them, and
// a line that has got to them ends.
void end_list(i32* end, i32 width)
{
    std::fill_n(end, 2, width);
    std::fill_n(end + 2, 2, width + 1);
}

}  // namespace

// The first line's reference is white.
void ccitt_decode_strip_2d(StripWalk& walk, CcittDecoder& decoder, CcittInput& input, CcittBits bits)
{
    const i32 width = decoder.width;
    i32* reference = decoder.reference + 3;
    i32* changes = decoder.changes + 3;
    for (i32* list : {reference, changes}) {
        list[-3] = kNeverPassed;
        std::fill_n(list - 2, 2, -1);
    }
    end_list(reference, width);
    // A line that the data ends in is delivered as far as it goes, as one with a bad code is.
    for (i32 i = 0; i < walk.rows && ccitt_fill(input, bits); ++i) {
        T6Line line = {.a0 = 0,
                       .b = reference,
                       .b_first = reference - 2,
                       .c = changes,
                       .c_end = changes + width + kListMargin - 7,
                       .black = false};
        ccitt_clear(decoder.current);
        const bool whole = decode_line(input, bits, line, decoder.current, width);
        ccitt_deliver(walk, decoder, decoder.current, walk.first_row + i);
        if (!whole) {
            return;
        }
        end_list(line.c, width);
        std::swap(reference, changes);
    }
}

}  // namespace orv
