#include "formats/plain_rows.h"

#include "frame/errors.h"

namespace orv
{
namespace
{

// Reads a row where it belongs; what the file lacks of it is zero.
void read_plain_row(StreamHandle stream, PictureSink& sink, i32 row)
{
    u8* const place = row_lend(sink, row);
    const usize came = stream_read_all(stream, place, sink.stride);
    if (came < sink.stride) {
        std::memset(place + came, 0, sink.stride - came);
        picture_note(sink, kNoteDataEnded);
    }
    row_done(sink, row, row_state(came, sink.row_bytes));
}

}  // namespace

i16 read_plain_rows(StreamHandle stream, PictureSink& sink)
{
    i32 row = sink.height - 1;
    u8* const rows = rows_lend_upward(sink, row, sink.height);
    if (rows != nullptr) {
        const usize came = stream_read_all(stream, rows, usize{sink.stride} * static_cast<u32>(sink.height));
        const i32 whole = static_cast<i32>(came / sink.stride);
        rows_done_upward(sink, row, whole);
        row -= whole;
        if (row < 0) {
            return kReaderDone;
        }
        const usize rest = came % sink.stride;
        std::memset(rows + came, 0, sink.stride - rest);
        picture_note(sink, kNoteDataEnded);
        row_done(sink, row--, row_state(rest, sink.row_bytes));
    }
    for (; row >= 0; --row) {
        read_plain_row(stream, sink, row);
    }
    return kReaderDone;
}

}  // namespace orv
