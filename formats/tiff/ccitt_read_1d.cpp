// Lines of T.4 one-dimensional coding and of its byte-aligned form without EOL.
#include <utility>

#include "formats/tiff/ccitt_read.h"

namespace orv
{
namespace
{

enum class LineEnd { Whole, Failed, NoData };

// The line being decoded: the pixel reached and the end of the list of changing elements.
struct Line1d {
    i32 x;
    i32* c;
};

// Takes pairs of runs as long as they come and stay within the line. White is next, before and after.
[[gnu::always_inline]] inline Line1d decode_pairs(MsbInput& input, MsbBits& bits, Line1d line, i32 width)
{
    while (msb_fill(input, bits, kCcittMaxBits)) {
        const CcittPair pair = ccitt_pairs[msb_peek(bits, kCcittMaxBits)];
        if (pair.length == 0 || pair.sum > width - line.x || pair.length > bits.count) {
            break;
        }
        msb_skip(bits, pair.length);
        line.c[0] = line.x + pair.white;
        line.x += pair.sum;
        line.c[1] = line.x;
        line.c += 2;
    }
    return line;
}

// Two changes in one place are none: runs of none don't fill the list.
i32* record(i32* first, i32* c, i32 x)
{
    if (c != first && c[-1] == x) {
        return c - 1;
    }
    *c = x;
    return c + 1;
}

// Decodes one line to the list that ends at `c`. EOLs ahead of the first run are passed over; an EOL behind
// it or a run past the width fail the line, and what is left of it is taken for the next one.
LineEnd decode_line(MsbInput& input, MsbBits& given, i32*& c, i32 width)
{
    MsbBits bits = given;
    i32* const first = c;
    Line1d line = {.x = 0, .c = c};
    LineEnd end = LineEnd::Whole;
    bool black = false;
    bool at_start = true;
    while (line.x < width) {
        if (!black) {
            const i32 from = line.x;
            line = decode_pairs(input, bits, line, width);
            at_start = at_start && line.x == from;
            if (line.x >= width) {
                break;
            }
        }
        const CcittRunTable& table = ccitt_run_tables[black];
        i32 run = ccitt_read_run(input, bits, table);
        if (run == kCcittEolRun) {
            if (!at_start) {
                end = LineEnd::Failed;
                break;
            }
            continue;
        }
        if (run >= 64) {
            run = ccitt_finish_run(input, bits, table, run);
        }
        if (run < 0) {
            end = LineEnd::NoData;
            break;
        }
        at_start = false;
        if (run > width - line.x) {
            end = LineEnd::Failed;
            break;
        }
        line.x += run;
        line.c = record(first, line.c, line.x);
        black = !black;
    }
    c = line.c;
    given = bits;
    return end;
}

}  // namespace

// A line that fails repeats the one above it; above the first is a white one.
void ccitt_decode_strip_1d(StripWalk& walk, const CcittDecoder& decoder, MsbInput& input, MsbBits bits)
{
    i32* above = decoder.reference;
    i32* above_end = above;
    i32* changes = decoder.changes;
    for (i32 i = 0; i < walk.rows; ++i) {
        i32* c = changes;
        const LineEnd end = decode_line(input, bits, c, decoder.row.width);
        if (end == LineEnd::NoData) {
            picture_note(walk.sink, kNoteDataEnded);
            return;
        }
        if (end == LineEnd::Whole) {
            std::swap(above, changes);
            above_end = c;
        } else {
            picture_note(walk.sink, kNoteBadCode);
        }
        if (decoder.mode == kTiffHuffman) {
            msb_skip(bits, static_cast<u32>(bits.count) & 7);
        }
        const i32 row = walk.first_row + i;
        ccitt_paint_list(decoder.row, {above, above_end}, decoder.row.width, ccitt_place(walk, row));
        ccitt_deliver(walk, decoder, row, end == LineEnd::Failed ? RowState::Repaired : RowState::Whole);
    }
}

}  // namespace orv
