// Where a picture being saved comes from: the counterpart of PictureSink. A row that lies in the image and
// in the crop rectangle is lent where it stands; any other is put together in one row of scratch, or
// asked of the caller's row source.
#pragma once

#include "frame/errors.h"
#include "frame/progress.h"
#include "frame/stream_writer.h"
#include "frame/types.h"

namespace orv
{

struct PictureSource {
    RowSource row_source;
    void* user_data;
    const struct RowContext* image;  // the frame's own row source: null for a caller's

    // Of what is saved, settled by source_open.
    i32 width;
    i32 height;
    u16 bits;
    u32 stride;     // bytes of a row, a multiple of 4
    u32 row_bytes;  // bytes of it that hold pixels

    u8* scratch;  // one row, with kSourceSlack zero bytes behind it
};

// Bytes that can be read behind a lent row of scratch; of a row of the image nothing is told of what
// stands behind its stride, so coders that look further use row_copy.
inline constexpr u32 kSourceSlack = 64;

// Row `row` of the picture, counted from 0, the BOTTOM line: `stride` bytes, valid until the next row.
const u8* row_take(PictureSource& source, i32 row);

// Copies the row to `to`, `stride` bytes.
void row_copy(PictureSource& source, i32 row, u8* to);

// Settles the size and takes the scratch row: kOk or kOutOfMemory.
ErrorCode source_open(PictureSource& source, const BITMAPINFOHEADER& info);

enum class RowOrder : u8 { BottomFirst, TopFirst };

// The row loop of an encoder with its ticks: calls put(row) for each of the picture's rows, as pointers to
// `stride` bytes, until a write fails, and ends with progress_rows_done. kOk or kShortWrite.
//
//     write_rows(source, out, RowOrder::BottomFirst, [&](const u8* row) { put_bytes(out, row, n); })
template <typename PutRow>
ErrorCode write_rows(PictureSource& source, StreamWriter& out, RowOrder order, PutRow put)
{
    ProgressRows progress = progress_rows(source.height);
    for (i32 done = 0; done < source.height; ++done) {
        put(row_take(source, order == RowOrder::BottomFirst ? done : source.height - 1 - done));
        if (out.failed) {
            return kShortWrite;
        }
        progress_tick(progress, done);
    }
    progress_rows_done();
    return kOk;
}

}  // namespace orv
