#include "frame/chunk_reader.h"

namespace orv
{

void chunk_refill(ChunkReader& in)
{
    const u32 unread = chunk_available(in);
    std::memmove(in.buffer, in.buffer + in.pos, unread);
    in.pos = 0;
    in.fill = unread;
    if (in.ended) {
        return;
    }
    const u32 wanted = in.capacity - unread;
    const u32 came = stream_read(in.stream, in.buffer + unread, static_cast<u16>(wanted));
    in.fill += came;
    in.ended = came < wanted;
}

}  // namespace orv
