// A stream's bytes through one chunk buffer: the one way in which the readers of compressed data take
// their input. End of data is sticky: when it has come, the bytes still buffered are the last.
#pragma once

#include "frame/streams.h"

namespace orv
{

inline constexpr u16 kChunkBytes = 10000;

struct ChunkReader {
    StreamHandle stream;
    u8* buffer;    // the owner's block of `capacity` bytes
    u32 capacity;  // at least the largest count ever given to chunk_ensure, at most 65,535
    u32 pos;       // next byte in the buffer
    u32 fill;      // bytes in the buffer
    bool ended;    // no more bytes will come behind `fill`
};

// Starts reading at the stream's position. Nothing is read yet.
static inline ChunkReader chunk_open(StreamHandle stream, u8* buffer, u32 capacity)
{
    return {.stream = stream, .buffer = buffer, .capacity = capacity, .pos = 0, .fill = 0, .ended = false};
}

// Moves the unread bytes to the buffer's start and fills up behind them.
void chunk_refill(ChunkReader& in);

static inline u32 chunk_available(const ChunkReader& in)
{
    return in.fill - in.pos;
}

// True if `count` bytes can be read at buffer + pos, refilling if need be; false at the end of data.
static inline bool chunk_ensure(ChunkReader& in, u32 count)
{
    if (chunk_available(in) >= count) [[likely]] {
        return true;
    }
    chunk_refill(in);
    return chunk_available(in) >= count;
}

}  // namespace orv
