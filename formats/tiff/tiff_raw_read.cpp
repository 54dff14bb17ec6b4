// Uncompressed rows.
#include <algorithm>

#include "formats/tiff/tiff_strips.h"

namespace orv
{

// --- The bytes of the format: rows one behind the other, each from a byte boundary ---

// --- Rows ---

namespace
{

// Takes rows of a block of known size where they lie: how many were whole.
i32 take_held_rows(StripWalk& walk)
{
    const StreamHandle stream = walk.file.tiff_stream;
    if (stream != MEMORY_STREAM || stream_is_unbounded(stream)) {
        return 0;
    }
    const std::span<const u8> held = stream_borrow(stream, 1);
    const i32 row_bytes = walk.row_bytes;
    const i32 rows = static_cast<i32>(
        std::min<usize>(held.size() / static_cast<u32>(row_bytes), static_cast<u32>(walk.rows)));
    for (i32 i = 0; i < rows; ++i) {
        tiff_put_row(walk, held.data() + i64{i} * row_bytes, walk.first_row + i);
    }
    stream_skip(stream, static_cast<u32>(i64{rows} * row_bytes));
    walk.bytes_used += i64{rows} * row_bytes;
    return rows;
}

// Reads rows where they are finished. A row that is cut short is not delivered.
void decode_raw_strip(StripWalk& walk, void*)
{
    const usize row_bytes = static_cast<usize>(walk.row_bytes);
    const i32 end = walk.first_row + walk.rows;
    for (i32 row = walk.first_row + take_held_rows(walk); row < end; ++row) {
        const usize came = stream_read_all(walk.file.tiff_stream, tiff_row_place(walk, row), row_bytes);
        walk.bytes_used += static_cast<i64>(came);
        if (came < row_bytes) {
            picture_note(walk.sink, kNoteDataEnded);
            return;
        }
        tiff_finish_row(walk, row);
    }
}

}  // namespace

i16 tiff_decode_raw(StripWalk& walk)
{
    decode_strips(walk, decode_raw_strip, nullptr);
    return kOk;
}

}  // namespace orv
