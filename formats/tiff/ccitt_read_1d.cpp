// Lines of T.4 one-dimensional coding and of its byte-aligned form without EOL.
#include <utility>

#include "formats/tiff/ccitt_read.h"

namespace orv
{
namespace
{

enum class LineEnd { Whole, Failed, NoData };

// The pixel reached of a line whose white ones are set. White is next where no run is under way.
struct Line1d {
    i32 x;
    bool goes_on;  // the last code was a make-up code of white
};

constexpr u32 kPairsAtOnce = 4;
constexpr i32 kPairsBits = kPairsAtOnce * kCcittMaxBits;

// Takes the pair that comes next. False where none does or it does not stay within the line.
[[gnu::always_inline]] inline bool take_pair(MsbBits& bits, Line1d& line, u64* words, i32 width)
{
    const CcittPair pair = ccitt_pairs[msb_peek(bits, kCcittMaxBits)];
    const i32 black_from = line.x + pair.white;
    const i32 end = black_from + pair.black;
    if (pair.length == 0 || end > width || pair.length > bits.count) {
        return false;
    }
    msb_skip(bits, pair.length);
    ccitt_paint_short(black_from, pair.black, words);
    line = {.x = end, .goes_on = pair.black == 0};
    return true;
}

// Takes pairs as long as they come.
[[gnu::always_inline]] inline Line1d take_pairs(MsbInput& input, MsbBits& given, Line1d line, u64* words,
                                                i32 width)
{
    MsbBits bits = given;
    bool taken = true;
    while (taken && msb_fill(input, bits, input.in.unbounded ? i32{kCcittMaxBits} : kPairsBits)) {
        const u32 pairs = bits.count >= kPairsBits ? kPairsAtOnce : 1;
        for (u32 i = 0; i < pairs && taken; ++i) {
            taken = take_pair(bits, line, words, width);
        }
    }
    given = bits;
    return line;
}

// Decodes one line into a white one. EOLs ahead of the first run are passed over; an EOL behind it or a run
// past the width fail the line, and what is left of it is taken for the next one.
LineEnd decode_line(MsbInput& input, MsbBits& bits, u64* words, i32 width)
{
    Line1d line = {.x = 0, .goes_on = false};
    bool black = false;
    bool at_start = true;
    while (line.x < width || line.goes_on) {
        if (!black) {
            const i32 from = line.x;
            line = take_pairs(input, bits, line, words, width);
            at_start = at_start && line.x == from;
            if (line.x == width && !line.goes_on) {
                break;
            }
        }
        const CcittRunTable& table = ccitt_run_tables[black];
        i32 run = line.goes_on ? 64 : ccitt_read_run(input, bits, table);
        if (run == kCcittEolRun) {
            if (!at_start) {
                return LineEnd::Failed;
            }
            continue;
        }
        if (run >= 64) {
            run = ccitt_finish_run(input, bits, table, run);
        }
        if (run < 0) {
            return LineEnd::NoData;
        }
        run -= line.goes_on ? 64 : 0;
        at_start = false;
        if (run > width - line.x) {
            return LineEnd::Failed;
        }
        if (black) {
            ccitt_paint_black(line.x, run, words, width);
        }
        line = {.x = line.x + run, .goes_on = false};
        black = !black;
    }
    return LineEnd::Whole;
}

void fill_white(u64* words, i32 width)
{
    std::memset(words, 0xFF, ccitt_line_words(width) * sizeof(u64));
}

}  // namespace

// A line that fails repeats the one above it; above the first is a white one.
void ccitt_decode_strip_1d(StripWalk& walk, const CcittDecoder& decoder, MsbInput& input, MsbBits bits)
{
    u64* above = decoder.line_above;
    u64* words = decoder.line;
    fill_white(above, decoder.row.width);
    for (i32 i = 0; i < walk.rows; ++i) {
        fill_white(words, decoder.row.width);
        const LineEnd end = decode_line(input, bits, words, decoder.row.width);
        if (end == LineEnd::NoData) {
            picture_note(walk.sink, kNoteDataEnded);
            return;
        }
        if (end == LineEnd::Whole) {
            std::swap(above, words);
        } else {
            picture_note(walk.sink, kNoteBadCode);
        }
        if (decoder.mode == kTiffHuffman) {
            msb_skip(bits, static_cast<u32>(bits.count) & 7);
        }
        const i32 row = walk.first_row + i;
        ccitt_store(decoder.row, above, ccitt_place(walk, row));
        ccitt_deliver(walk, decoder, row, end == LineEnd::Failed ? RowState::Repaired : RowState::Whole);
    }
}

}  // namespace orv
