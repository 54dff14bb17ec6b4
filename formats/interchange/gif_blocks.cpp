#include "formats/interchange/gif_blocks.h"

#include <algorithm>

#include "frame/scratch.h"

namespace orv
{

namespace
{

constexpr u32 kCopyBytes = 32;

// Copies a sub-block; up to a whole step more is written, and read where `available` allows it.
void block_copy(u8* to, const u8* from, u32 count, u32 available)
{
    if (available < count + kCopyBytes) {
        std::memcpy(to, from, count);
        return;
    }
    for (u32 at = 0; at < count; at += kCopyBytes) {
        std::memcpy(to + at, from + at, kCopyBytes);
    }
}

static_assert(kGifCodeSlack + kGifBlocksAtOnce * 255 + kCopyBytes <= kGifCodeBufferBytes);

}  // namespace

bool gif_blocks_open(GifBlocks& blocks, StreamHandle stream)
{
    blocks = {.in = chunk_open(stream),
              .gif_code_buffer = scratch_alloc(kGifCodeBufferBytes),
              .pos = 0,
              .fill = 0,
              .ended = false};
    return blocks.gif_code_buffer != nullptr;
}

void gif_blocks_refill(GifBlocks& blocks)
{
    u8* const buffer = blocks.gif_code_buffer;
    blocks.fill -= blocks.pos;
    std::memmove(buffer, buffer + blocks.pos, blocks.fill);
    blocks.pos = 0;
    ChunkReader& in = blocks.in;
    for (u32 i = 0; i < kGifBlocksAtOnce && !blocks.ended; ++i) {
        if (!chunk_ensure(in, 1) || in.buffer[in.pos] == 0) {
            blocks.ended = true;
            break;
        }
        const u32 size = in.buffer[in.pos++];
        blocks.ended = !chunk_ensure(in, size);
        const u32 came = std::min(size, chunk_available(in));
        block_copy(buffer + blocks.fill, in.buffer + in.pos, came, chunk_available(in));
        in.pos += came;
        blocks.fill += came;
    }
    std::memset(buffer + blocks.fill, 0, kGifCodeSlack);
}

}  // namespace orv
