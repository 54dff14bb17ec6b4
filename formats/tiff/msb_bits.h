// Bits with the first of each byte highest, as LZW and the CCITT codings have them, in both directions.
#pragma once

#include "frame/bytes.h"
#include "frame/chunk_reader.h"

namespace orv
{

// The eight bytes of a word, each with its bits mirrored.
static inline u64 mirror_bytes(u64 word)
{
    word = (word >> 4 & 0x0F0F0F0F0F0F0F0F) | (word & 0x0F0F0F0F0F0F0F0F) << 4;
    word = (word >> 2 & 0x3333333333333333) | (word & 0x3333333333333333) << 2;
    return (word >> 1 & 0x5555555555555555) | (word & 0x5555555555555555) << 1;
}

// --- Reading ---

// The next bits of the data, from the top, and how many of them are real: the data is followed by zeros
// without end. `count` is below 0 when zeros behind the data have been used.
struct MsbBits {
    u64 bits;
    i32 count;
};

// What refills them. The loops of the decoders keep the bits apart from here, where nothing that they write
// can alias them.
struct MsbInput {
    ChunkReader in;
    bool mirrored;  // the first bit of each byte is its lowest
    i64 limit;      // bytes that may be taken in all
    i64 passed;     // bytes of the chunks that have gone
};

inline constexpr i64 kNoLimit = i64{1} << 40;

static inline MsbInput msb_open(StreamHandle stream, bool mirrored = false, i64 limit = kNoLimit)
{
    return {.in = chunk_open(stream), .mirrored = mirrored, .limit = limit, .passed = 0};
}

// Fills up the bits where the chunk has few bytes left.
MsbBits msb_refill(MsbInput& input, MsbBits bits, i32 wanted);

// Sees to it that there are `wanted` real bits, at most 56, or all that are left. False if none is left.
[[gnu::always_inline]] static inline bool msb_fill(MsbInput& input, MsbBits& bits, i32 wanted)
{
    if (bits.count >= wanted) [[likely]] {
        return true;
    }
    if (chunk_available(input.in) >= 8) [[likely]] {
        const u64 next = load_be64(input.in.buffer + input.in.pos);
        bits.bits |= (input.mirrored ? mirror_bytes(next) : next) >> bits.count;
        const u32 bytes = static_cast<u32>(63 - bits.count) / 8;
        input.in.pos += bytes;
        bits.count += static_cast<i32>(8 * bytes);
        return true;
    }
    bits = msb_refill(input, bits, wanted);
    return bits.count > 0;
}

static inline u32 msb_peek(const MsbBits& bits, u32 count)
{
    return static_cast<u32>(bits.bits >> (64 - count));
}

static inline void msb_skip(MsbBits& bits, u32 count)
{
    bits.bits <<= count;
    bits.count -= static_cast<i32>(count);
}

// Bytes of the data that have been used, the last of them perhaps in part.
static inline i64 msb_used(const MsbInput& input, const MsbBits& bits)
{
    return input.passed + input.in.pos - (bits.count > 0 ? bits.count / 8 : 0);
}

// --- Writing ---

// Bits on their way to `to`, which has room for eight bytes more than all that is put. Fewer than eight wait
// in `bits`, from the top.
struct MsbWriter {
    u8* to;
    u64 bits;
    u32 count;
};

// Puts the lowest `length` bits of `code`, at most 56; what is above them is 0.
[[gnu::always_inline]] static inline void msb_put(MsbWriter& out, u64 code, u32 length)
{
    out.bits |= code << (64 - out.count - length);
    out.count += length;
    store_be64(out.to, out.bits);
    out.to += out.count / 8;
    out.bits <<= out.count & ~7u;
    out.count &= 7;
}

// Fills up with zeros to a whole byte.
static inline void msb_align(MsbWriter& out)
{
    if (out.count > 0) {
        *out.to++ = static_cast<u8>(out.bits >> 56);
        out.bits = 0;
        out.count = 0;
    }
}

// Mirrors bytes that have been written.
void msb_mirror(u8* bytes, usize count);

}  // namespace orv
