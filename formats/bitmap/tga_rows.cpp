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

// Takes a packet's first byte, and the pixel of a run. False at the end of the data.
bool packet_open(TgaRuns& runs)
{
    ChunkReader& in = runs.in;
    if (!chunk_ensure(in, 1)) {
        return false;
    }
    const u8 head = in.buffer[in.pos];
    const bool repeats = (head & kRunMark) != 0;
    if (repeats) {
        if (!chunk_ensure(in, 1 + runs.pixel_bytes)) {
            return false;
        }
        std::memcpy(runs.pixel, in.buffer + in.pos + 1, runs.pixel_bytes);
    }
    runs.in.pos += repeats ? 1 + runs.pixel_bytes : 1;
    runs.left = (head & kCountMask) + 1U;
    runs.repeats = repeats;
    return true;
}

// Repeats a pixel of 1 to 4 bytes until `bytes` are filled. Up to kTgaRowSlack bytes behind them may
// be written.
void pixel_repeat(u8* to, const u8* pixel, u32 pixel_bytes, u32 bytes)
{
    if (pixel_bytes == 1) {
        std::memset(to, pixel[0], bytes);
        return;
    }
    // 48 bytes hold a whole number of pixels of any size.
    u8 pattern[48];
    for (u32 at = 0; at < pixel_bytes * 4; ++at) {
        pattern[at] = pixel[at % pixel_bytes];
    }
    for (u32 size = pixel_bytes * 4; size < sizeof pattern; size += pixel_bytes * 4) {
        std::memcpy(pattern + size, pattern, pixel_bytes * 4);
    }
    for (u32 at = 0; at < bytes; at += sizeof pattern) {
        std::memcpy(to + at, pattern, sizeof pattern);
    }
}

}  // namespace

bool tga_decode_row(TgaRuns& runs, u8* row, u32 width)
{
    u32 done = 0;
    while (done < width) {
        if (runs.left == 0 && !packet_open(runs)) {
            return false;
        }
        const u32 count = std::min(runs.left, width - done);
        const u32 bytes = count * runs.pixel_bytes;
        u8* to = row + usize{done} * runs.pixel_bytes;
        if (runs.repeats) {
            pixel_repeat(to, runs.pixel, runs.pixel_bytes, bytes);
        } else if (chunk_ensure(runs.in, bytes)) {
            std::memcpy(to, runs.in.buffer + runs.in.pos, bytes);
            runs.in.pos += bytes;
        } else {
            return false;
        }
        done += count;
        runs.left -= count;
    }
    return true;
}

}  // namespace orv
