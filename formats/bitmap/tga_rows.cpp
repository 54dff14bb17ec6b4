#include "formats/bitmap/tga_rows.h"

#include <algorithm>

#include "frame/bytes.h"
#include "frame/simd.h"

namespace orv
{

// --- Pixels ---

ORV_TARGET_CLONES
void tga_row_from_words(const u8* words, u8* __restrict pixels, u32 count)
{
    for (usize i = 0; i < count; ++i) {
        const u32 word = load_le16(words + i * 2);
        pixels[i * 3] = static_cast<u8>((word & 31) << 3);
        pixels[i * 3 + 1] = static_cast<u8>(word >> 2 & 0xF8);
        pixels[i * 3 + 2] = static_cast<u8>(word >> 7 & 0xF8);
    }
}

ORV_TARGET_CLONES
void tga_row_from_quads(const u8* quads, u8* __restrict pixels, u32 count)
{
    for (usize i = 0; i < count; ++i) {
        pixels[i * 3] = quads[i * 4];
        pixels[i * 3 + 1] = quads[i * 4 + 1];
        pixels[i * 3 + 2] = quads[i * 4 + 2];
    }
}

// --- Packets ---

namespace
{

constexpr u8 kRunMark = 0x80;
constexpr u8 kCountMask = 0x7F;
constexpr u32 kCopyBytes = 32;

// The pixel over and over, as numbers of which the lowest byte comes first: 24 bytes hold a whole
// number of pixels of any size.
template <u32 kPixelBytes>
void pattern_fill(u8* pattern, const u8* pixel)
{
    u64 p = 0;
    for (u32 k = 0; k < kPixelBytes; ++k) {
        p |= u64{pixel[k]} << (8 * k);
    }
    if constexpr (kPixelBytes == 3) {
        store_le64(pattern, p | p << 24 | p << 48);
        store_le64(pattern + 8, p >> 16 | p << 8 | p << 32 | p << 56);
        store_le64(pattern + 16, p >> 8 | p << 16 | p << 40);
    } else {
        constexpr u64 kRepeat = kPixelBytes == 1   ? 0x0101010101010101
                                : kPixelBytes == 2 ? 0x0001000100010001
                                                   : 0x0000000100000001;
        for (u32 at = 0; at < kTgaPatternBytes; at += 8) {
            store_le64(pattern + at, p * kRepeat);
        }
    }
}

// Takes a packet's first byte, and the pixel of a run. False at the end of the data.
template <u32 kPixelBytes>
bool packet_open(TgaRuns& runs)
{
    ChunkReader& in = runs.in;
    if (!chunk_ensure(in, 1)) {
        return false;
    }
    const u8 head = in.buffer[in.pos];
    const bool repeats = (head & kRunMark) != 0;
    if (repeats) {
        if (!chunk_ensure(in, 1 + kPixelBytes)) {
            return false;
        }
        pattern_fill<kPixelBytes>(runs.pattern, in.buffer + in.pos + 1);
    }
    in.pos += repeats ? 1 + kPixelBytes : 1;
    runs.left = (head & kCountMask) + 1U;
    runs.repeats = repeats;
    return true;
}

template <u32 kPixelBytes>
bool decode_row(TgaRuns& runs, u8* row, u32 width)
{
    u32 done = 0;
    while (done < width) {
        if (runs.left == 0 && !packet_open<kPixelBytes>(runs)) {
            return false;
        }
        const u32 count = std::min(runs.left, width - done);
        const u32 bytes = count * kPixelBytes;
        u8* to = row + usize{done} * kPixelBytes;
        if (runs.repeats) {
            for (u32 at = 0; at < bytes; at += kTgaPatternBytes) {
                std::memcpy(to + at, runs.pattern, kTgaPatternBytes);
            }
        } else if (chunk_ensure(runs.in, bytes)) {
            const u8* from = runs.in.buffer + runs.in.pos;
            if (chunk_available(runs.in) >= bytes + kCopyBytes) {
                for (u32 at = 0; at < bytes; at += kCopyBytes) {
                    std::memcpy(to + at, from + at, kCopyBytes);
                }
            } else {
                std::memcpy(to, from, bytes);
            }
            runs.in.pos += bytes;
        } else {
            return false;
        }
        done += count;
        runs.left -= count;
    }
    return true;
}

static_assert(kTgaRowSlack >= kCopyBytes && kTgaRowSlack >= kTgaPatternBytes);

}  // namespace

bool tga_decode_row(TgaRuns& runs, u8* row, u32 width)
{
    switch (runs.pixel_bytes) {
    case 1: return decode_row<1>(runs, row, width);
    case 2: return decode_row<2>(runs, row, width);
    case 3: return decode_row<3>(runs, row, width);
    default: return decode_row<4>(runs, row, width);
    }
}

}  // namespace orv
