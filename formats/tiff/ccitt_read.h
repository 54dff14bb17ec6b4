// What the decoders of T.4 and T.6 lines share.
#pragma once

#include <bit>

#include "formats/tiff/ccitt_line.h"
#include "formats/tiff/ccitt_lookup.h"
#include "formats/tiff/msb_bits.h"
#include "formats/tiff/tiff_strips.h"

namespace orv
{

struct CcittDecoder {
    i16 mode;  // TiffCompression
    bool mirrored;
    bool finishes;  // more is done to rows than CcittRow::flip
    CcittRow row;   // of a row in its place
    u8* block;      // holds what follows
    u64* line;
    u64* line_above;  // T.4
    i32* reference;   // T.6: changing elements of the line above and of the one at hand
    i32* changes;
};

// T.6 lists hold this many entries more than a line has pixels: those ahead of the first and behind the last,
// and room for lines that change without moving on.
inline constexpr i32 kListMargin = 112;
inline constexpr i32 kListBehind = 12;

// Bits that hold any two codes, and with them a look at the table.
inline constexpr i32 kCcittWanted = 32;

// Delivers the row that stands in its place, twice where lines are doubled.
void ccitt_deliver(StripWalk& walk, const CcittDecoder& decoder, i32 row_number, RowState state);

// The place of a line's row.
u8* ccitt_place(StripWalk& walk, i32 row_number);

void ccitt_decode_strip_1d(StripWalk& walk, const CcittDecoder& decoder, MsbInput& input, MsbBits bits);
void ccitt_decode_strip_2d(StripWalk& walk, const CcittDecoder& decoder, MsbInput& input, MsbBits bits);

// Passes over bits that are no code: one, or more where they are zeros. The last eleven of a row of zeros
// may belong to an EOL; nothing begins with more.
static inline void ccitt_skip_bad(MsbBits& bits)
{
    const i32 zeros = std::countl_zero(bits.bits);
    const i32 spare = (zeros < bits.count ? zeros : bits.count) - 11;
    msb_skip(bits, static_cast<u32>(spare < 1 ? 1 : spare));
}

// Reads one code of a colour. Bits that are no code are passed over one by one. -1 at the end of data.
[[gnu::always_inline]] static inline i32 ccitt_read_run(MsbInput& input, MsbBits& bits,
                                                        const CcittRunTable& table)
{
    for (;;) {
        if (!msb_fill(input, bits, kCcittMaxBits)) {
            return -1;
        }
        const CcittRun run = table[msb_peek(bits, kCcittMaxBits)];
        if (run.length != 0) [[likely]] {
            msb_skip(bits, run.length);
            return run.run;
        }
        ccitt_skip_bad(bits);
    }
}

// Adds the codes that follow a make-up code. Sums of a hostile file stop at a length that no line has.
[[gnu::always_inline]] static inline i32 ccitt_finish_run(MsbInput& input, MsbBits& bits,
                                                          const CcittRunTable& table, i32 run)
{
    for (i32 code = run; code >= 64;) {
        code = ccitt_read_run(input, bits, table);
        if (code < 0) {
            return -1;
        }
        run = run + code > 0x10000 ? 0x10000 : run + code;
    }
    return run;
}

}  // namespace orv
