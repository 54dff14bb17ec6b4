// A stream's bytes where they lie: the one way in which the readers of compressed data take their input.
// End of data is sticky: when it has come, the bytes still there are the last.
//
//     ChunkReader in = chunk_open(stream);
//     if (!chunk_ensure(in, 2)) { ... end of the data ... }
//     use in.buffer[in.pos], in.buffer[in.pos + 1];  in.pos += 2;
//
// A fast loop may use all of chunk_available(in). On memory of unknown size that is only what was ensured,
// so that nobody looks at a byte that the data does not call for.
#pragma once

#include "frame/streams.h"

namespace orv
{

// What the described readers take of a file at a time; some codes count positions within it.
inline constexpr u16 kChunkBytes = 10000;

struct ChunkReader {
    StreamHandle stream;
    const u8* buffer;  // bytes of the stream in place, until the next refill
    u32 pos;           // next byte in the buffer
    u32 fill;          // bytes in the buffer
    bool ended;        // no more bytes will come behind `fill`
    bool unbounded;    // memory of unknown size: every byte asked for is there
};

// Starts reading at the stream's position. Nothing is read yet.
ChunkReader chunk_open(StreamHandle stream);

// Puts the stream's position behind the bytes that were used.
void chunk_close(ChunkReader& in);

// Gets more bytes behind the unread ones: at least `count` in all, up to kBorrowMost, unless the data ends.
void chunk_refill(ChunkReader& in, u32 count);

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
    if (in.unbounded) {
        in.fill = in.pos + count;
        return true;
    }
    chunk_refill(in, count);
    return chunk_available(in) >= count;
}

}  // namespace orv
