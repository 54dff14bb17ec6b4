// Lines of T.4 one-dimensional coding and of its byte-aligned form without EOL.
#include <utility>

#include "formats/tiff/ccitt_decode.h"

namespace orv
{
namespace
{

enum class LineEnd { Whole, Failed, NoData };

// Takes pairs of runs as long as they come and stay within the line, and gives the pixel reached. White is
// next, before and after.
[[gnu::always_inline]] inline i32 decode_pairs(CcittInput& input, CcittBits& bits, u64* words, i32 x, i32 width)
{
    while (ccitt_fill(input, bits)) {
        const CcittPair pair = ccitt_pairs[ccitt_peek(bits, kCcittMaxBits)];
        if (pair.length == 0 || pair.sum > width - x || pair.length > bits.count) {
            break;
        }
        ccitt_skip(bits, pair.length);
        ccitt_paint_short(x + pair.white, pair.black, words);
        x += pair.sum;
    }
    return x;
}

// Decodes one line into a white one. EOLs ahead of the first run are passed over; an EOL behind it or a
// run past the width fail the line, and what is left of it is taken for the next one.
LineEnd decode_line(CcittInput& input, CcittBits& given, const CcittLine& line, i32 width)
{
    CcittBits bits = given;
    LineEnd end = LineEnd::Whole;
    bool black = false;
    bool at_start = true;
    for (i32 x = 0; x < width;) {
        if (!black) {
            const i32 from = x;
            x = decode_pairs(input, bits, line.words, x, width);
            at_start = at_start && x == from;
            if (x >= width) {
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
        if (run > width - x) {
            end = LineEnd::Failed;
            break;
        }
        if (black) {
            ccitt_paint_black(x, run, line);
        }
        x += run;
        black = !black;
    }
    given = bits;
    return end;
}

}  // namespace

void ccitt_decode_strip_1d(StripWalk& walk, CcittDecoder& decoder, CcittInput& input, CcittBits bits)
{
    ccitt_clear(decoder.previous);
    for (i32 i = 0; i < walk.rows; ++i) {
        ccitt_clear(decoder.current);
        const LineEnd end = decode_line(input, bits, decoder.current, decoder.width);
        if (end == LineEnd::NoData) {
            return;
        }
        if (end == LineEnd::Whole) {
            std::swap(decoder.current, decoder.previous);
        }
        if (decoder.mode == kTiffHuffman) {
            ccitt_skip(bits, static_cast<u32>(bits.count) & 7);
        }
        ccitt_deliver(walk, decoder, decoder.previous, walk.first_row + i);
    }
}

}  // namespace orv
