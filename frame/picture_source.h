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

// What the frame's own row source reads: the rows of an image through its crop rectangle.
struct RowContext {
    const u8* pixels;  // the locked image's rows
    i32 stride;        // bytes of a stored row
    i32 height;        // rows of the image
    i32 x_bytes;       // crop rectangle's left edge in a row
    i32 y_rows;        // storage row of the crop rectangle's bottom line
};

struct PictureSource {
    RowSource row_source;
    void* user_data;
    const RowContext* image;  // where user_data is the frame's own context, else null

    // Of what is saved, settled by source_open.
    i32 width;
    i32 height;
    u16 bits;
    u32 stride;     // bytes of a row, a multiple of 4
    u32 row_bytes;  // bytes of it that hold pixels

    u8* scratch;  // one row
};

// Row `row` of the picture, counted from 0, the BOTTOM line: `stride` bytes, valid until the next row. A coder
// that looks at what stands behind a row copies it first.
const u8* row_take(PictureSource& source, i32 row);

// The same for rows `row` to `row + count - 1`, which lie one behind the other in the image; null where they
// must be taken one by one.
const u8* rows_take(const PictureSource& source, i32 row, i32 count);

// Has the processor fetch a row of the image that is taken next. It foresees rows that are read upwards by
// itself; where they are read downwards it stops at the end of each.
void row_prefetch(const PictureSource& source, i32 row);

// The frame's row source: `user_data` is a RowContext. What lies outside the image reads as zero bytes.
void frame_row_source(void* user_data, void* destination, i16 row, i16 length);

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
        const i32 row = order == RowOrder::BottomFirst ? done : source.height - 1 - done;
        if (order == RowOrder::TopFirst) {
            row_prefetch(source, row - 1);
        }
        put(row_take(source, row));
        if (out.failed) {
            return kShortWrite;
        }
        progress_tick(progress, done);
    }
    progress_rows_done();
    return kOk;
}

// The row loop of an encoder that writes the first `bytes` bytes of each row, the bottom row first.
ErrorCode write_plain_rows(PictureSource& source, StreamWriter& out, u32 bytes);

}  // namespace orv
