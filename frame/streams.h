// Streams: files and the one memory stream behind the same four calls.
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr StreamHandle MEMORY_STREAM = ORV_MEMORY_STREAM;

enum SeekOrigin : i32 { kFromStart = 0, kFromHere = 1, kFromEnd = 2 };

// Set by the _mem functions, read by the stream calls; the position is reset by memory_stream_open.
extern u8* memory_stream_base;
extern u32 memory_stream_pos;

// Opens the memory stream on a block of unknown size: reads and writes trust the block.
void memory_stream_open(void* block);

// What a block of known size may be used for.
enum class MemoryAccess { Read, Write };

// Opens it on a block of `size` bytes. Reads stop at the end of what the block holds: all of it when
// it was opened for reading, what has been written so far when it was opened for writing.
void memory_stream_open_sized(void* block, u32 size, MemoryAccess access);

// Moves the position. A file gives the new position, or -1 with the position unchanged; the memory
// stream gives 0. On a memory stream of unknown size kFromEnd goes to position 0.
i32 stream_seek(StreamHandle stream, i32 offset, i32 origin);

// The size of a file in bytes. On the memory stream of unknown size the current position.
u32 stream_size(StreamHandle stream);

// Move up to `count` bytes and give the number moved; a failure counts as 0.
u32 stream_read(StreamHandle stream, void* buffer, u16 count);
u32 stream_write(StreamHandle stream, const void* buffer, u16 count);

// Seeks to an absolute position, which may be a sum of offsets. False where that fails: what was to be
// read there is absent.
bool stream_seek_to(StreamHandle stream, u64 position);

// Reads any count up to 2^31 - 1 at once: the number of bytes that came.
usize stream_read_all(StreamHandle stream, void* buffer, usize count);

// True when all `count` bytes came / went. stream_write_all moves any count, in pieces.
bool stream_read_exact(StreamHandle stream, void* buffer, u16 count);
bool stream_write_all(StreamHandle stream, const void* buffer, u32 count);

// Bytes of the stream from its position on, in place: all of a block of known size, what the window holds
// of a file, and of memory of unknown size exactly `least`. Fewer than `least` only at the end of the data;
// `least` is at most kBorrowMost. The position stays; the bytes stay until the stream is read or borrowed
// from again.
std::span<const u8> stream_borrow(StreamHandle stream, u32 least);
inline constexpr u32 kBorrowMost = 0xFFFF;

// True where stream_borrow gives exactly what it is asked for: on memory of unknown size.
bool stream_is_unbounded(StreamHandle stream);

// Moves the position on behind bytes that were borrowed.
void stream_skip(StreamHandle stream, u32 count);

// While one lives, reads of the stream go through a window that the stream layer keeps: seeking inside it
// is arithmetic and small reads cost no system call. At the end the descriptor stands at the stream's
// position. Of several at a time the first alone works: the others read straight.
class StreamWindow
{
public:
    explicit StreamWindow(StreamHandle stream);
    ~StreamWindow();
    StreamWindow(const StreamWindow&) = delete;
    StreamWindow& operator=(const StreamWindow&) = delete;

private:
    enum class Kind : u8 { None, Working, Suspending };
    Kind kind_;
};

// The memory stream as it stands, put back at the end: for what looks at a block between other uses.
class MemoryStreamKeeper
{
public:
    MemoryStreamKeeper();
    ~MemoryStreamKeeper();
    MemoryStreamKeeper(const MemoryStreamKeeper&) = delete;
    MemoryStreamKeeper& operator=(const MemoryStreamKeeper&) = delete;

private:
    u8* base_;
    u32 pos_;
    u64 limit_;
    u64 filled_;
};

// Swaps the two bytes of each of `count` words in place.
void swap_words(u16* words, i16 count);

}  // namespace orv
