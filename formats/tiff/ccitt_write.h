// Lines of T.4 and T.6 codes.
#pragma once

#include "formats/tiff/ccitt_line.h"
#include "formats/tiff/msb_bits.h"
#include "frame/stream_writer.h"

namespace orv
{

// --- Codes ---

enum CcittColour : u8 { kCcittWhiteRun, kCcittBlackRun };

// Puts a run of any length: make-up codes, and the terminating code that closes it.
void ccitt_put_run(MsbWriter& out, i32 run, CcittColour colour);

// Puts an EOL that is one word of 16 bits by itself, counted from `page`, and so ends on a byte boundary. What
// is left of the word before is zero; a whole one where nothing has begun.
void ccitt_put_eol(MsbWriter& out, const u8* page);

// Puts the runs of a line by its changing elements: `list` ends with the width, kListEnd times.
void ccitt_put_line_1d(MsbWriter& out, const i32* list, i32 width);

// Puts the modes of a line by its changing elements and those of the line above. Both lists have two elements
// of -1 ahead.
void ccitt_put_line_2d(MsbWriter& out, const i32* list, const i32* above, i32 width);

// --- A page's encoder ---

struct CcittEncoder {
    i32 width;
    i32 length;  // bytes of a row that are looked at, a multiple of 4
    i32 pixels;  // of a row; the line is white behind them
    u8* block;   // holds what follows
    u64* line;
    u64* line_above;
    i32* list;
    i32* list_above;
    usize changes;   // in the list of the line
    MsbWriter bits;  // those that make no whole byte wait between lines
};

// Sets up for lines of `width` pixels from rows of `row_pixels`, which are cut or filled up with white. kOk or
// kOutOfMemory.
ErrorCode ccitt_encode_setup(CcittEncoder& encoder, i32 width, i32 row_pixels);
void ccitt_encode_free(CcittEncoder& encoder);

// Bytes that the codes of a line, an EOL and an end of page take at most: no code has more than seven bits
// for each pixel that it covers, but for those of empty runs.
constexpr u32 ccitt_line_room(i32 width)
{
    return static_cast<u32>(width) + 64;
}

// Takes a row for the line and lists its changing elements.
void ccitt_take_row(CcittEncoder& encoder, const u8* row);

// Takes a row and puts its modes; the line before is the one above.
void ccitt_put_row_2d(CcittEncoder& encoder, const u8* row);

// Makes room for the codes of a line: where they begin.
u8* ccitt_begin(CcittEncoder& encoder, StreamWriter& out);

// Hands the whole bytes since `begin` to the writer, with the first bit of each lowest in fill order 2.
void ccitt_flush(CcittEncoder& encoder, StreamWriter& out, u8* begin, u32 fill_order);

}  // namespace orv
