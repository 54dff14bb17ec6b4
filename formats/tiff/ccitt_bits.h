// The bits of T.4 and T.6 data, the first of each byte highest.
#pragma once

#include <bit>

#include "formats/tiff/ccitt_tables.h"
#include "frame/bytes.h"
#include "frame/chunk_reader.h"

namespace orv
{

// The data is followed by zeros without end; what decodes them ends as soon as no real bit is left.
struct CcittBits {
    ChunkReader in;
    u64 bits;       // the next bits, from the top
    i32 count;      // how many of them are real; below 0 when zeros behind the data have been used
    bool reversed;  // fill order 2: the first bit of each byte is its lowest
    bool limited;   // the data ends `left` bytes on
    u32 left;
    i64 used;  // bytes of the chunks that have gone
};

// Refills the chunk and the register; true if there is a real bit.
bool ccitt_refill(CcittBits& in);

static inline u64 load_be64(const u8* p)
{
    return u64{load_be32(p)} << 32 | load_be32(p + 4);
}

// Sees to it that the register holds at least 32 real bits or all that are left. False if none is left.
static inline bool ccitt_fill(CcittBits& in)
{
    if (in.count >= 32) [[likely]] {
        return true;
    }
    if (chunk_available(in.in) >= 8) [[likely]] {
        in.bits |= load_be64(in.in.buffer + in.in.pos) >> in.count;
        u32 const bytes = static_cast<u32>(63 - in.count) / 8;
        in.in.pos += bytes;
        in.count += static_cast<i32>(8 * bytes);
        return true;
    }
    return ccitt_refill(in);
}

static inline void ccitt_skip(CcittBits& in, u32 count)
{
    in.bits <<= count;
    in.count -= static_cast<i32>(count);
}

// Reads one code of a colour. Bits that are no code are passed over one by one. -1 at the end of data.
static inline i32 ccitt_read_run(CcittBits& in, const CcittRunTable& table)
{
    for (;;) {
        if (!ccitt_fill(in)) {
            return -1;
        }
        CcittRun const run = table[static_cast<usize>(in.bits >> (64 - kCcittMaxBits))];
        if (run.length != 0) [[likely]] {
            ccitt_skip(in, run.length);
            return run.run;
        }
        // The last eleven of a row of zeros may belong to an EOL; nothing begins with more.
        i32 const zeros = std::countl_zero(in.bits);
        i32 const spare = (zeros < in.count ? zeros : in.count) - 11;
        ccitt_skip(in, static_cast<u32>(spare < 1 ? 1 : spare));
    }
}

// Adds the codes that follow a make-up code. Sums of a hostile file stop at a length that no line has.
static inline i32 ccitt_finish_run(CcittBits& in, const CcittRunTable& table, i32 run)
{
    for (i32 code = run; code >= 64;) {
        code = ccitt_read_run(in, table);
        if (code < 0) {
            return -1;
        }
        run = run + code > 0x10000 ? 0x10000 : run + code;
    }
    return run;
}

}  // namespace orv
