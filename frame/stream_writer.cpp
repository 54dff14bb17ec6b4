#include "frame/stream_writer.h"

#include <algorithm>

#include "frame/blocks.h"
#include "frame/bytes.h"

namespace orv
{
namespace
{

// From here on bytes go to memory straight, which is a copy as gathering them would be.
constexpr u32 kStraightToMemory = 64;

void write_straight(StreamWriter& out, const u8* bytes, u32 count)
{
    out.failed = out.failed || !stream_write_all(out.stream, bytes, count);
    out.position += count;
}

}  // namespace

StreamWriter::~StreamWriter()
{
    block_free(buffer);
}

ErrorCode writer_open(StreamWriter& out, StreamHandle stream, u32 position, u32 most_room)
{
    out.stream = stream;
    out.capacity = std::max(kWriterBytes, most_room);
    out.fill = 0;
    out.position = position;
    out.failed = false;
    block_free(out.buffer);
    out.buffer = block_alloc(out.capacity);
    return out.buffer == nullptr ? kOutOfMemory : kOk;
}

ErrorCode writer_close(StreamWriter& out)
{
    const bool whole = out.buffer != nullptr && writer_flush(out);
    block_free(out.buffer);
    out.buffer = nullptr;
    return whole ? kOk : kShortWrite;
}

bool writer_flush(StreamWriter& out)
{
    if (out.fill > 0) {
        const u32 count = out.fill;
        out.fill = 0;
        write_straight(out, out.buffer, count);
    }
    return !out.failed;
}

void writer_seek(StreamWriter& out, u32 position)
{
    writer_flush(out);
    out.failed = out.failed || !stream_seek_to(out.stream, position);
    out.position = position;
}

void put_bytes(StreamWriter& out, const void* bytes, u32 count)
{
    const u8* from = static_cast<const u8*>(bytes);
    const bool straight = out.stream == MEMORY_STREAM ? count >= kStraightToMemory : count >= out.capacity;
    if (straight) {
        writer_flush(out);
        write_straight(out, from, count);
        return;
    }
    std::memcpy(writer_room(out, count), from, count);
    out.fill += count;
}

void put_zeros(StreamWriter& out, u32 count)
{
    while (count > 0) {
        const u32 piece = std::min(count, kWriterBytes);
        std::memset(writer_room(out, piece), 0, piece);
        out.fill += piece;
        count -= piece;
    }
}

void put_le16(StreamWriter& out, u32 value)
{
    store_le16(writer_room(out, 2), value);
    out.fill += 2;
}

void put_le32(StreamWriter& out, u32 value)
{
    store_le32(writer_room(out, 4), value);
    out.fill += 4;
}

void put_be16(StreamWriter& out, u32 value)
{
    store_be16(writer_room(out, 2), value);
    out.fill += 2;
}

void put_be32(StreamWriter& out, u32 value)
{
    store_be32(writer_room(out, 4), value);
    out.fill += 4;
}

}  // namespace orv
