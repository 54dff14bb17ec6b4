// Uncompressed rows.
#include "formats/tiff/tiff_strips.h"

namespace orv
{

// ---- the bytes of the format: rows one behind the other, each from a byte boundary

// ---- rows

namespace
{

// Reads rows where they are finished. A row that is cut short is not delivered.
void decode_raw_strip(StripWalk& walk, void*)
{
    const usize row_bytes = static_cast<usize>(walk.row_bytes);
    const i32 end = walk.first_row + walk.rows;
    for (i32 row = walk.first_row; row < end; ++row) {
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
