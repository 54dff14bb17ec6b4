// Run-length codes: count and value, or the escapes 0, 0 (end of line), 0, 1 (end of bitmap), 0, 2 (delta:
// two bytes, columns and rows to go on) and 0, n (n pixels as they are). They depart from the published
// codes behind an absolute run, where 0, n below 3 are a run of n pixels of the byte that follows, and in
// lines that are full: these end by themselves. Both depths have the same rules.
#include "formats/interchange/wmf_rle.h"

#include <algorithm>

#include "frame/chunk_reader.h"
#include "frame/errors.h"
#include "frame/load.h"
#include "frame/scratch.h"

namespace orv
{
namespace
{

// --- Records and constants ---

enum Escape : u8 { kEndOfLine = 0, kEndOfBitmap = 1, kDelta = 2 };

constexpr u32 kPastFullLine = 2;  // bytes looked at behind a full line
// A chunk is left ahead of a code that might not end in it.
constexpr i32 kLeaveChunk = kChunkBytes - 256;

struct RunRows {
    PictureSink* sink;
    ChunkReader wmf_read_buffer;
    // Position in a chunk as codes see it: an absolute run ends at an even one. It is the sum of this and
    // wmf_read_buffer.pos.
    i32 chunk_start;
    bool after_absolute;
    u8* wmf_rle_row;  // cleared behind each delivery
    u32 width;
    u64 fill;  // pixels so far; those behind the width are counted and not stored
    i32 row;   // counted from the top; negative behind the last
};

enum class Step : u8 { Done, EndOfBitmap, DataEnded };

// --- Rows ---

void deliver(const RunRows& rows)
{
    if (rows.row >= 0) {
        row_give(*rows.sink, rows.row, rows.wmf_rle_row);
    }
}

void next_row(RunRows& rows)
{
    deliver(rows);
    --rows.row;
    rows.fill = 0;
    std::memset(rows.wmf_rle_row, 0, rows.sink->row_bytes);
}

// How many of `count` pixels are inside the width.
u32 pixels_inside(const RunRows& rows, u32 count)
{
    return rows.fill >= rows.width ? 0 : std::min(count, rows.width - static_cast<u32>(rows.fill));
}

struct Depth8 {
    static u32 bytes_of(u32 pixels) { return pixels; }

    static void run(RunRows& rows, u32 count, u8 value)
    {
        std::memset(rows.wmf_rle_row + std::min<u64>(rows.fill, rows.width), value, pixels_inside(rows, count));
        rows.fill += count;
    }

    static void absolute(RunRows& rows, u32 count, const u8* values)
    {
        std::memcpy(rows.wmf_rle_row + std::min<u64>(rows.fill, rows.width), values,
                    pixels_inside(rows, count));
        rows.fill += count;
    }
};

struct Depth4 {
    static u32 bytes_of(u32 pixels) { return (pixels + 1) / 2; }

    // A pixel in the high half of a byte clears the low half.
    static void store(RunRows& rows, u32 nibble)
    {
        if (rows.fill < rows.width) {
            u8& byte = rows.wmf_rle_row[rows.fill / 2];
            byte = static_cast<u8>((rows.fill & 1) == 0 ? nibble << 4 : byte | nibble);
        }
        ++rows.fill;
    }

    static void run(RunRows& rows, u32 count, u8 value)
    {
        u32 first = value >> 4;
        u32 second = value & 0x0FU;
        if ((rows.fill & 1) != 0 && count > 0) {
            store(rows, first);
            std::swap(first, second);
            --count;
        }
        const u32 pairs = pixels_inside(rows, count) / 2;
        std::memset(rows.wmf_rle_row + std::min<u64>(rows.fill, rows.width) / 2,
                    static_cast<int>(first << 4 | second), pairs);
        rows.fill += 2 * pairs;
        for (u32 i = 2 * pairs; i < count; ++i) {
            store(rows, (i & 1) == 0 ? first : second);
        }
    }

    static void absolute(RunRows& rows, u32 count, const u8* values)
    {
        u32 i = 0;
        if ((rows.fill & 1) == 0) {
            const u32 pairs = pixels_inside(rows, count) / 2;
            std::memcpy(rows.wmf_rle_row + std::min<u64>(rows.fill, rows.width) / 2, values, pairs);
            rows.fill += 2 * pairs;
            i = 2 * pairs;
        }
        for (; i < count; ++i) {
            store(rows, (i & 1) == 0 ? values[i / 2] >> 4 : values[i / 2] & 0x0FU);
        }
    }
};

// --- Codes ---

// The next `count` bytes, or null where the data ends before them.
const u8* take(RunRows& rows, u32 count)
{
    ChunkReader& in = rows.wmf_read_buffer;
    const u32 before = in.pos;
    if (!chunk_ensure(in, count)) {
        return nullptr;
    }
    rows.chunk_start += static_cast<i32>(before) - static_cast<i32>(in.pos);
    in.pos += count;
    return in.buffer + in.pos - count;
}

template <typename Depth>
Step absolute_run(RunRows& rows, u32 count)
{
    const u8* const values = take(rows, Depth::bytes_of(count));
    if (values == nullptr) {
        return Step::DataEnded;
    }
    Depth::absolute(rows, count, values);
    rows.after_absolute = true;
    // The pad byte may be missing at the end of the data.
    if (((rows.chunk_start + static_cast<i32>(rows.wmf_read_buffer.pos)) & 1) != 0) {
        take(rows, 1);
    }
    return Step::Done;
}

Step delta(RunRows& rows)
{
    const u8* const by = take(rows, 2);
    if (by == nullptr) {
        return Step::DataEnded;
    }
    rows.fill += by[0];
    if (by[1] != 0) {
        deliver(rows);  // once, however far it goes; the row's pixels stay
        rows.row -= by[1];
    }
    return Step::Done;
}

template <typename Depth>
Step escape(RunRows& rows, u32 n)
{
    if (n > kDelta) {
        return absolute_run<Depth>(rows, n);
    }
    if (rows.after_absolute) {
        const u8* const value = take(rows, 1);
        if (value == nullptr) {
            return Step::DataEnded;
        }
        Depth::run(rows, n, *value);
        return Step::Done;
    }
    switch (n) {
    case kEndOfLine: next_row(rows); return Step::Done;
    case kEndOfBitmap: return Step::EndOfBitmap;
    default: return delta(rows);
    }
}

// Ends a full line, and passes an end-of-line code that follows it.
void end_full_line(RunRows& rows)
{
    next_row(rows);
    const u32 before = rows.wmf_read_buffer.pos;
    if (rows.row < 0 || !chunk_ensure(rows.wmf_read_buffer, kPastFullLine)) {
        return;
    }
    rows.chunk_start += static_cast<i32>(before) - static_cast<i32>(rows.wmf_read_buffer.pos);
    const u8* const next = rows.wmf_read_buffer.buffer + rows.wmf_read_buffer.pos;
    rows.wmf_read_buffer.pos += next[0] == 0 && next[1] == 0 ? kPastFullLine : 0;
}

template <typename Depth>
Step one_code(RunRows& rows)
{
    if (rows.chunk_start + static_cast<i32>(rows.wmf_read_buffer.pos) >= kLeaveChunk) {
        rows.chunk_start = -static_cast<i32>(rows.wmf_read_buffer.pos);
    }
    const u8* const pair = take(rows, 2);
    if (pair == nullptr) {
        return Step::DataEnded;
    }
    if (pair[0] == 0) {
        const Step step = escape<Depth>(rows, pair[1]);
        if (step != Step::Done) {
            return step;
        }
    } else {
        rows.after_absolute = false;
        Depth::run(rows, pair[0], pair[1]);
    }
    if (rows.fill >= rows.width) {
        end_full_line(rows);
    }
    return Step::Done;
}

template <typename Depth>
i16 read_rows(StreamHandle stream, PictureSink& sink)
{
    RunRows rows = {.sink = &sink,
                    .wmf_read_buffer = chunk_open(stream),
                    .chunk_start = 0,
                    .after_absolute = false,
                    .wmf_rle_row = scratch_alloc(sink.stride),
                    .width = static_cast<u32>(sink.width),
                    .fill = 0,
                    .row = sink.height - 1};
    if (rows.wmf_rle_row == nullptr) {
        return kOutOfMemory;
    }
    Step step = Step::Done;
    while (rows.row >= 0 && step == Step::Done) {
        step = one_code<Depth>(rows);
    }
    if (step == Step::DataEnded) {
        picture_note(sink, kNoteDataEnded);
    }
    return kReaderDone;
}

}  // namespace

// --- The entry points ---

i16 wmf_read_rle8(StreamHandle stream, PictureSink& sink)
{
    return read_rows<Depth8>(stream, sink);
}

i16 wmf_read_rle4(StreamHandle stream, PictureSink& sink)
{
    return read_rows<Depth4>(stream, sink);
}

}  // namespace orv
