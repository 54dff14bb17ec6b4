// The bytes of a GIF code stream without the sub-blocks that they come in.
#pragma once

#include "frame/chunk_reader.h"
#include "frame/types.h"

namespace orv
{

// Bytes are gathered from up to 30 sub-blocks at a time, behind those that are left.
inline constexpr u32 kGifBlocksAtOnce = 30;
inline constexpr u32 kGifCodeBufferBytes = kChunkBytes;
inline constexpr u32 kGifCodeSlack = 8;  // zero bytes behind them, for loads of whole words

struct GifBlocks {
    ChunkReader in;
    u8* gif_code_buffer;  // kGifCodeBufferBytes
    u32 pos;              // next byte
    u32 fill;
    bool ended;  // no more bytes will come
};

// Starts at the stream's position. False without memory.
bool gif_blocks_open(GifBlocks& blocks, StreamHandle stream);

// Gets more bytes. A sub-block of size 0 ends them; of one that is cut short those that came count.
void gif_blocks_refill(GifBlocks& blocks);

}  // namespace orv
