// Lines of T.4 one-dimensional coding and of its byte-aligned form without EOL.
#include <utility>

#include "formats/tiff/ccitt_decode.h"

namespace orv
{
namespace
{

enum class LineEnd { Whole, Failed, NoData };

// Takes pairs of runs as long as they come with whole tables' bits and stay within the line. White is
// next, before and after.
i32 decode_pairs(CcittBits& given, u64* words, i32 x, i32 width)
{
    CcittBits in = given;  // apart from what the pixels could alias
    for (;;) {
        if (in.count < 32) [[unlikely]] {
            given = in;
            ccitt_fill(given);
            in = given;
            if (in.count < 32) {
                return x;
            }
        }
        CcittPair const pair = ccitt_pairs[static_cast<usize>(in.bits >> (64 - kCcittMaxBits))];
        if (pair.length == 0 || pair.sum > width - x) {
            break;
        }
        ccitt_skip(in, pair.length);
        ccitt_paint_short(x + pair.white, pair.black, words);
        x += pair.sum;
    }
    given = in;
    return x;
}

// Decodes one line into a white one. EOLs ahead of the first run are passed over; an EOL behind it or a
// run past the width fail the line, and what is left of it is taken for the next one.
LineEnd decode_line(CcittBits& in, const CcittLine& line, i32 width)
{
    bool black = false;
    bool at_start = true;
    for (i32 x = 0; x < width;) {
        if (!black) {
            i32 const from = x;
            x = decode_pairs(in, line.words, x, width);
            at_start = at_start && x == from;
            if (x >= width) {
                break;
            }
        }
        const CcittRunTable& table = black ? ccitt_black_runs : ccitt_white_runs;
        i32 run = ccitt_read_run(in, table);
        if (run == kCcittEolRun) {
            if (!at_start) {
                return LineEnd::Failed;
            }
            continue;
        }
        if (run >= 64) {
            run = ccitt_finish_run(in, table, run);
        }
        if (run < 0) {
            return LineEnd::NoData;
        }
        at_start = false;
        if (run > width - x) {
            return LineEnd::Failed;
        }
        if (black) {
            ccitt_paint_black(x, run, line);
        }
        x += run;
        black = !black;
    }
    return LineEnd::Whole;
}

}  // namespace

void ccitt_decode_strip_1d(StripWalk& walk, CcittDecoder& decoder, CcittBits& in)
{
    ccitt_clear(decoder.previous);
    for (i32 i = 0; i < walk.rows; ++i) {
        ccitt_clear(decoder.current);
        LineEnd const end = decode_line(in, decoder.current, decoder.width);
        if (end == LineEnd::NoData) {
            return;
        }
        if (end == LineEnd::Whole) {
            std::swap(decoder.current, decoder.previous);
        }
        if (decoder.mode == kTiffHuffman) {
            ccitt_skip(in, static_cast<u32>(in.count) & 7);
        }
        ccitt_deliver(walk, decoder, decoder.previous, walk.first_row + i);
    }
}

}  // namespace orv
