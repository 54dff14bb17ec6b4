// Bytes on their way to a stream: the one road by which every encoder writes. They are gathered in a
// buffer; a failure sticks, so that an encoder asks once, at the end. Room can be lent to a coder:
//
//     u8* code = writer_room(out, 2 * n);  writer_advance(out, encode(row, n, code));
//
// Positions count from the start of the stream.
#pragma once

#include "frame/errors.h"
#include "frame/streams.h"
#include "frame/types.h"

namespace orv
{

inline constexpr u32 kWriterBytes = 32768;

struct StreamWriter {
    StreamHandle stream;
    u8* buffer = nullptr;
    u32 capacity;
    u32 fill;      // bytes gathered
    u32 position;  // of the stream: where `buffer` will go
    bool failed;

    StreamWriter() = default;
    StreamWriter(const StreamWriter&) = delete;
    StreamWriter& operator=(const StreamWriter&) = delete;
    ~StreamWriter();  // releases the buffer; what it holds is written by writer_close alone
};

// Starts writing at position `position`, where the stream stands. `most_room` is the largest room that
// will ever be asked for. kOk or kOutOfMemory.
ErrorCode writer_open(StreamWriter& out, StreamHandle stream, u32 position = 0, u32 most_room = 0);

// Writes what is gathered and releases the buffer: kOk, or kShortWrite if any write or seek failed.
ErrorCode writer_close(StreamWriter& out);

// Writes what is gathered. False where anything has failed.
bool writer_flush(StreamWriter& out);

// Flushes, and moves to another position of the stream, to patch a number or to come back.
void writer_seek(StreamWriter& out, u32 position);

static inline u32 writer_position(const StreamWriter& out)
{
    return out.position + out.fill;
}

// A place for up to `bytes` bytes, at most the room that the writer was opened for or kWriterBytes. What
// is used of it is taken by writer_advance.
static inline u8* writer_room(StreamWriter& out, u32 bytes)
{
    if (out.capacity - out.fill < bytes) {
        writer_flush(out);
    }
    return out.buffer + out.fill;
}

static inline void writer_advance(StreamWriter& out, u32 used)
{
    out.fill += used;
}

void put_bytes(StreamWriter& out, const void* bytes, u32 count);
void put_zeros(StreamWriter& out, u32 count);

static inline void put_u8(StreamWriter& out, u32 value)
{
    *writer_room(out, 1) = static_cast<u8>(value);
    out.fill += 1;
}

void put_le16(StreamWriter& out, u32 value);
void put_le32(StreamWriter& out, u32 value);
void put_be16(StreamWriter& out, u32 value);
void put_be32(StreamWriter& out, u32 value);

}  // namespace orv
