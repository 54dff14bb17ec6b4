// The bits of T.4 and T.6 data, the first of each byte highest.
#pragma once

#include <bit>

#include "formats/tiff/ccitt_tables.h"
#include "frame/bytes.h"
#include "frame/chunk_reader.h"

namespace orv
{

// The next bits of the data, from the top, and how many of them are real: the data is followed by zeros
// without end, and what decodes it ends as soon as no real bit is left. `count` is below 0 when zeros
// behind the data have been used.
struct CcittBits {
    u64 bits;
    i32 count;
};

// What refills it. The decoders' loops keep the bits apart from here, where nothing that they write can
// alias them.
struct CcittInput {
    ChunkReader in;
    u8* mirrored;   // kChunkBytes, for the bytes of fill order 2
    bool reversed;  // fill order 2: the first bit of each byte is its lowest
    bool limited;   // the data ends `left` bytes on
    u32 left;
    i64 used;  // bytes of the chunks that have gone
};

// Refills the chunk and gives the bits filled up: count above 0 if there is a real one.
CcittBits ccitt_refill(CcittInput& input, CcittBits bits);

// Sees to it that there are at least 32 real bits or all that are left. False if none is left.
[[gnu::always_inline]] static inline bool ccitt_fill(CcittInput& input, CcittBits& bits)
{
    if (bits.count >= 32) [[likely]] {
        return true;
    }
    if (chunk_available(input.in) >= 8) [[likely]] {
        bits.bits |= load_be64(input.in.buffer + input.in.pos) >> bits.count;
        const u32 bytes = static_cast<u32>(63 - bits.count) / 8;
        input.in.pos += bytes;
        bits.count += static_cast<i32>(8 * bytes);
        return true;
    }
    bits = ccitt_refill(input, bits);
    return bits.count > 0;
}

// The next `count` bits as a table's index.
static inline usize ccitt_peek(const CcittBits& bits, u32 count)
{
    return static_cast<usize>(bits.bits >> (64 - count));
}

static inline void ccitt_skip(CcittBits& bits, u32 count)
{
    bits.bits <<= count;
    bits.count -= static_cast<i32>(count);
}

// Passes over bits that are no code: one, or more where they are zeros. The last eleven of a row of zeros
// may belong to an EOL; nothing begins with more.
static inline void ccitt_skip_bad(CcittBits& bits)
{
    const i32 zeros = std::countl_zero(bits.bits);
    const i32 spare = (zeros < bits.count ? zeros : bits.count) - 11;
    ccitt_skip(bits, static_cast<u32>(spare < 1 ? 1 : spare));
}

// Reads one code of a colour. Bits that are no code are passed over one by one. -1 at the end of data.
[[gnu::always_inline]] static inline i32 ccitt_read_run(CcittInput& input, CcittBits& bits,
                                                        const CcittRunTable& table)
{
    for (;;) {
        if (!ccitt_fill(input, bits)) {
            return -1;
        }
        const CcittRun run = table[ccitt_peek(bits, kCcittMaxBits)];
        if (run.length != 0) [[likely]] {
            ccitt_skip(bits, run.length);
            return run.run;
        }
        ccitt_skip_bad(bits);
    }
}

// Adds the codes that follow a make-up code. Sums of a hostile file stop at a length that no line has.
[[gnu::always_inline]] static inline i32 ccitt_finish_run(CcittInput& input, CcittBits& bits,
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
