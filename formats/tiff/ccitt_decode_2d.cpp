// Lines of T.6 coding.
#include <algorithm>
#include <utility>

#include "formats/tiff/ccitt_decode.h"

namespace orv
{
namespace
{

// The line being decoded. `b` points into the changing elements of the line above, `c` behind the last
// of this line; both lists have two elements of -1 ahead of their first.
struct T6Line {
    i32 a0;
    const i32* b;
    const i32* b_first;  // lowest element
    i32* c;
    i32* c_end;  // records end here
    bool black;
};

// False where the list is full.
bool record(T6Line& line)
{
    if (line.c == line.c_end) {
        return false;
    }
    *line.c++ = line.a0;
    return true;
}

// Two runs, the first in the colour at hand, each cut at the width.
bool decode_horizontal(CcittBits& in, T6Line& line, const CcittLine& pixels, i32 width)
{
    for (i32 i = 0; i < 2; ++i) {
        const CcittRunTable& table = line.black ? ccitt_black_runs : ccitt_white_runs;
        i32 run = ccitt_read_run(in, table);
        if (run >= 64) {
            run = ccitt_finish_run(in, table, run);
        }
        if (run < 0) {
            return false;
        }
        run = std::min(run, width - line.a0);
        if (line.black) {
            ccitt_paint_black(line.a0, run, pixels);
        }
        line.a0 += run;
        if (!record(line)) {
            return false;
        }
        line.black = !line.black;
    }
    return true;
}

// Paints from a0 to `end`, either of which may lie outside the line.
inline void paint_to(const T6Line& line, i32 end, const CcittLine& pixels)
{
    i32 const count = end - line.a0;
    if (static_cast<u32>(count) < 64 && line.a0 >= 0) [[likely]] {
        ccitt_paint_short(line.a0, count, pixels.words);
    } else {
        ccitt_paint_black(line.a0, count, pixels);
    }
}

// A vertical mode: a1 stands by b1. False where a list has no more room.
inline bool decode_vertical(T6Line& line, CcittModeEntry code, const CcittLine& pixels)
{
    i32 const a1 = *line.b + code.shift;
    line.b += code.step;
    if (line.c == line.c_end || line.b < line.b_first) [[unlikely]] {
        return false;
    }
    *line.c++ = a1;
    if (line.black) {
        paint_to(line, a1, pixels);
    }
    line.a0 = a1;
    line.black = !line.black;
    return true;
}

// Decodes one line into a white one. False ends the strip, with the line as far as it got.
bool decode_line(CcittBits& given, T6Line& given_line, const CcittLine& pixels, i32 width)
{
    CcittBits in = given;  // both apart from what pixels and lists could alias
    T6Line line = given_line;
    bool whole = true;
    while (line.a0 < width) {
        if (!ccitt_fill(in)) {
            whole = false;
            break;
        }
        CcittModeEntry const code = ccitt_mode_table[static_cast<usize>(in.bits >> (64 - kCcittModeBits))];
        ccitt_skip(in, code.length);
        if (code.step != 0) [[likely]] {
            whole = decode_vertical(line, code, pixels);
        } else if (code.mode == kModePass) {
            i32 const end = line.b[1];
            line.b += 2;
            if (line.black) {
                paint_to(line, end, pixels);
            }
            line.a0 = end;
            continue;
        } else {
            whole = code.mode == kModeHorizontal && decode_horizontal(in, line, pixels, width);
        }
        if (!whole) {
            break;
        }
        // The next b1 lies right of a0; behind V0 it does as it stands.
        while (code.mode != kModeV0 && *line.b <= line.a0 && line.a0 < width) {
            line.b += 2;
        }
    }
    given = in;
    given_line = line;
    return whole;
}

}  // namespace

// The first line's reference is white. Each line's list of changing elements ends with the width twice
// and one more twice: whatever b1 is asked for lies ahead of them, and a line that has got to them ends.
void ccitt_decode_strip_2d(StripWalk& walk, CcittDecoder& decoder, CcittBits& in)
{
    i32 const width = decoder.width;
    i32* reference = decoder.reference + 2;
    i32* changes = decoder.changes + 2;
    for (i32* list : {reference, changes}) {
        std::fill_n(list - 2, 2, -1);
        std::fill_n(list, width + kListMargin - 2, width + 1);
    }
    std::fill_n(reference, 2, width);
    for (i32 i = 0; i < walk.rows; ++i) {
        T6Line line = {.a0 = 0,
                       .b = reference,
                       .b_first = reference - 2,
                       .c = changes,
                       .c_end = changes + width + kListMargin - 6,
                       .black = false};
        ccitt_clear(decoder.current);
        bool const whole = decode_line(in, line, decoder.current, width);
        ccitt_deliver(walk, decoder, decoder.current, walk.first_row + i);
        if (!whole) {
            return;
        }
        std::fill_n(line.c, 2, width);
        std::fill_n(line.c + 2, 2, width + 1);
        std::swap(reference, changes);
    }
}

}  // namespace orv
