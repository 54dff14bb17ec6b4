#include "frame/chunk_reader.h"

namespace orv
{

void chunk_refill(ChunkReader& in)
{
    u32 const unread = chunk_available(in);
    std::memmove(in.buffer, in.buffer + in.pos, unread);
    in.pos = 0;
    in.fill = unread;
    if (in.ended) {
        return;
    }
    u32 const wanted = in.capacity - unread;
    u32 const came = stream_read(in.stream, in.buffer + unread, static_cast<u16>(wanted));
    in.fill += came;
    in.ended = came < wanted;
}

}  // namespace orv
