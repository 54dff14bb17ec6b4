#include "frame/chunk_reader.h"

#include <algorithm>

namespace orv
{

ChunkReader chunk_open(StreamHandle stream)
{
    const bool unbounded = stream_is_unbounded(stream);
    return {.stream = stream,
            .buffer = unbounded ? stream_borrow(stream, 0).data() : nullptr,
            .pos = 0,
            .fill = 0,
            .ended = false,
            .unbounded = unbounded};
}

void chunk_close(ChunkReader& in)
{
    stream_skip(in.stream, in.pos);
    in.buffer += in.pos;
    in.fill -= in.pos;
    in.pos = 0;
}

void chunk_refill(ChunkReader& in, u32 count)
{
    chunk_close(in);
    if (in.ended) {
        return;
    }
    const std::span<const u8> bytes = stream_borrow(in.stream, std::min(count, kBorrowMost));
    in.buffer = bytes.data();
    in.fill = static_cast<u32>(std::min<usize>(bytes.size(), 0x7FFFFFFF));
    in.ended = in.fill < count;
}

}  // namespace orv
