#include "frame/streams.h"

#include <algorithm>

#include "frame/stream_window.h"
#include "platform/files.h"

namespace orv
{

u8* memory_stream_base;
u32 memory_stream_pos;

namespace
{

// Bounds of the memory stream, set when it is opened. `limit` is the block's size, or kUnbounded where
// nobody told it. `filled` is what a read may reach: it grows with writing.
constexpr u64 kUnbounded = ~u64{0};
u64 memory_limit = kUnbounded;
u64 memory_filled = kUnbounded;

u32 clamp_position(i64 position)
{
    return static_cast<u32>(std::clamp<i64>(position, 0, static_cast<i64>(memory_limit)));
}

i32 memory_seek(i32 offset, i32 origin)
{
    if (memory_limit != kUnbounded) {
        const i64 from = origin == kFromStart  ? 0
                         : origin == kFromHere ? i64{memory_stream_pos}
                                               : static_cast<i64>(memory_filled);
        if (from + offset < 0) {
            return -1;
        }
        memory_stream_pos = clamp_position(from + offset);
    } else if (origin == kFromStart) {
        memory_stream_pos = static_cast<u32>(offset);
    } else if (origin == kFromHere) {
        memory_stream_pos += static_cast<u32>(offset);
    } else {
        memory_stream_pos = 0;
    }
    return 0;
}

u32 memory_read(void* buffer, u32 count)
{
    if (memory_stream_base == nullptr) {
        return 0;
    }
    if (memory_limit != kUnbounded) {
        const u64 left = memory_filled > memory_stream_pos ? memory_filled - memory_stream_pos : 0;
        count = static_cast<u32>(std::min<u64>(count, left));
    }
    std::memcpy(buffer, memory_stream_base + memory_stream_pos, count);
    memory_stream_pos += count;
    return count;
}

u32 memory_write(const void* buffer, u32 count)
{
    if (memory_stream_base == nullptr) {
        return 0;
    }
    if (memory_limit != kUnbounded) {
        count = static_cast<u32>(std::min<u64>(count, memory_limit - memory_stream_pos));
    }
    std::memcpy(memory_stream_base + memory_stream_pos, buffer, count);
    memory_stream_pos += count;
    if (memory_limit != kUnbounded) {
        memory_filled = std::max<u64>(memory_filled, memory_stream_pos);
    }
    return count;
}

}  // namespace

void memory_stream_open(void* block)
{
    memory_stream_pos = 0;
    memory_stream_base = static_cast<u8*>(block);
    memory_limit = kUnbounded;
    memory_filled = kUnbounded;
}

void memory_stream_open_sized(void* block, u32 size, MemoryAccess access)
{
    memory_stream_open(block);
    memory_limit = size;
    memory_filled = access == MemoryAccess::Read ? size : 0;
}

i32 stream_seek(StreamHandle stream, i32 offset, i32 origin)
{
    if (stream == MEMORY_STREAM) {
        return memory_seek(offset, origin);
    }
    return window_covers(stream) ? window_seek(offset, origin) : platform::_llseek(stream, offset, origin);
}

u32 stream_size(StreamHandle stream)
{
    if (stream != MEMORY_STREAM) {
        return platform::GetFileSize(stream, nullptr);
    }
    return memory_limit == kUnbounded ? memory_stream_pos : static_cast<u32>(memory_filled);
}

u32 stream_read(StreamHandle stream, void* buffer, u16 count)
{
    if (stream == MEMORY_STREAM) {
        return memory_read(buffer, count);
    }
    return window_covers(stream) ? window_read(buffer, count)
                                 : static_cast<u32>(std::max(platform::_lread(stream, buffer, count), 0));
}

u32 stream_write(StreamHandle stream, const void* buffer, u16 count)
{
    if (stream == MEMORY_STREAM) {
        return memory_write(buffer, count);
    }
    return static_cast<u32>(std::max(platform::_lwrite(stream, buffer, count), 0));
}

bool stream_seek_to(StreamHandle stream, u64 position)
{
    return position <= 0x7FFFFFFF && stream_seek(stream, static_cast<i32>(position), kFromStart) >= 0;
}

usize stream_read_all(StreamHandle stream, void* buffer, usize count)
{
    const u32 wanted = static_cast<u32>(std::min<usize>(count, 0x7FFFFFFF));
    if (stream == MEMORY_STREAM) {
        return memory_read(buffer, wanted);
    }
    return window_covers(stream) ? window_read(buffer, wanted)
                                 : static_cast<u32>(std::max(platform::_lread(stream, buffer, wanted), 0));
}

bool stream_read_exact(StreamHandle stream, void* buffer, u16 count)
{
    return stream_read(stream, buffer, count) == count;
}

bool stream_write_all(StreamHandle stream, const void* buffer, u32 count)
{
    const u8* from = static_cast<const u8*>(buffer);
    while (count > 0) {
        const u16 piece = static_cast<u16>(std::min<u32>(count, 0xFFFF));
        if (stream_write(stream, from, piece) != piece) {
            return false;
        }
        from += piece;
        count -= piece;
    }
    return true;
}

std::span<const u8> stream_borrow(StreamHandle stream, u32 least)
{
    if (stream != MEMORY_STREAM) {
        return window_borrow(stream, least);
    }
    if (memory_stream_base == nullptr) {
        return {};
    }
    const u8* const here = memory_stream_base + memory_stream_pos;
    if (memory_limit == kUnbounded) {
        return {here, least};
    }
    return {here,
            static_cast<usize>(memory_filled > memory_stream_pos ? memory_filled - memory_stream_pos : 0)};
}

bool stream_is_unbounded(StreamHandle stream)
{
    return stream == MEMORY_STREAM && memory_stream_base != nullptr && memory_limit == kUnbounded;
}

void stream_skip(StreamHandle stream, u32 count)
{
    if (stream == MEMORY_STREAM) {
        memory_stream_pos += count;
    } else if (window_covers(stream)) {
        window_skip(count);
    }
}

MemoryStreamKeeper::MemoryStreamKeeper()
    : base_(memory_stream_base), pos_(memory_stream_pos), limit_(memory_limit), filled_(memory_filled)
{
}

MemoryStreamKeeper::~MemoryStreamKeeper()
{
    memory_stream_base = base_;
    memory_stream_pos = pos_;
    memory_limit = limit_;
    memory_filled = filled_;
}

void swap_words(u16* words, i16 count)
{
    for (i32 i = 0; i < count; ++i) {
        words[i] = static_cast<u16>(words[i] << 8 | words[i] >> 8);
    }
}

}  // namespace orv
