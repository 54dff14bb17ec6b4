// The entropy-coded bits of a JPEG stream, first bit first, through a register of 64.
//
// Of FF 00 the 00 is stepped over; FF in front of anything else is data, so markers pass through as bits.
// Behind the end of the data come zero bits.
#pragma once

#include "frame/bytes.h"
#include "frame/streams.h"
#include "frame/types.h"

namespace orv
{

struct JpegBits {
    StreamHandle stream;
    const u8* start;  // bytes borrowed of the stream, which stands there
    const u8* next;
    const u8* end;
    u32 most;      // bytes from `start` on that belong to the data
    bool ended;    // no bytes will come behind `end`
    bool damaged;  // a code came that its table does not hold; kept here for whoever reports it
    u64 made_up;   // zero bits given behind the end of the data
    u64 store;     // from the top bit down; below `count` bits it may hold bits of the byte at `next`
    u32 count;     // bits in the store
};

// The most that a call of jpeg_refill leaves to take.
inline constexpr u32 kBitsAfterRefill = 56;

// Starts at the stream's position; the data has `most` bytes at most. Of memory of unknown size nothing behind
// an EOI marker is looked at.
inline constexpr u32 kAllBytes = 0xFFFFFFFF;
JpegBits jpeg_bits_open(StreamHandle stream, u32 most = kAllBytes);

// The same byte by byte, where an FF or the end of the borrowed bytes is near. By value, so that a caller's
// copy can stay in registers.
JpegBits jpeg_refill_slowly(JpegBits bits);

// Fills the store to at least kBitsAfterRefill bits.
[[gnu::always_inline]] inline void jpeg_refill(JpegBits& bits)
{
    constexpr u64 kOnes = 0x0101010101010101;
    constexpr u64 kTops = 0x8080808080808080;
    if (bits.end - bits.next >= 8) [[likely]] {
        const u64 word = load_be64(bits.next);
        if (((~word - kOnes) & word & kTops) == 0) [[likely]] {  // no byte is FF
            bits.store |= word >> bits.count;
            const u32 bytes = (63 - bits.count) >> 3;
            bits.next += bytes;
            bits.count += bytes * 8;
            return;
        }
    }
    bits = jpeg_refill_slowly(bits);
}

// 1 to 32 bits ahead, not taken.
static inline u32 jpeg_peek(const JpegBits& bits, u32 n)
{
    return static_cast<u32>(bits.store >> (64 - n));
}

static inline void jpeg_skip(JpegBits& bits, u32 n)
{
    bits.store <<= n;
    bits.count -= n;
}

// Takes 1 to 16 bits.
static inline u32 jpeg_get_bits(JpegBits& bits, u32 n)
{
    if (bits.count < n) {
        jpeg_refill(bits);
    }
    const u32 value = jpeg_peek(bits, n);
    jpeg_skip(bits, n);
    return value;
}

// True when bits have been taken that the data does not have.
static inline bool jpeg_bits_overrun(const JpegBits& bits)
{
    return bits.made_up > bits.count;
}

// Takes bits up to a restart marker and the marker itself, wherever its first bit lies, or up to the end of
// the data.
void jpeg_find_restart(JpegBits& bits);

}  // namespace orv
