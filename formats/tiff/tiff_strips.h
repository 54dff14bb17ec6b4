// From strips to rows: what the decoders of the compressions have in common.
#pragma once

#include "formats/tiff/tiff_directory.h"

namespace orv
{

// The walk over a picture's strips. A decoder takes rows of `row_bytes` bytes and gives them to
// tiff_put_row by their number; a picture in separate planes is decoded as the rows of its planes, one
// plane behind the other.
struct StripWalk {
    StreamHandle stream;
    i32 row_bytes;
    i32 plane_height;
    i32 rows_per_strip;  // 1 to plane_height
    i32 planes;          // 1 or 3
    i16 plain_length;    // to deliver of rows that go out as they are; 0 where they need finishing

    i32 first_row;  // of the strip at hand, counted through all planes
    i32 rows;       // that the strip should hold
    i32 end_row;    // behind the last row that the strip may put: the plane's, or its own

    // Kept by the decoders, so that strips that overlap can't cost more than data and picture together.
    i64 bytes_used;
    i64 rows_put;
};

StripWalk strip_walk(const TiffDirectory& dir, StreamHandle stream);

// Seeks every strip in turn and decodes it by `decode_strip`, which gets `context`. A strip that can't
// be sought has no rows.
void decode_strips(StripWalk& walk, void (*decode_strip)(StripWalk& walk, void* context), void* context);

// Places the stream on a strip and gives its position, counted from tiff_base_offset. False where the
// file does not tell or have the position.
bool tiff_seek_strip(StreamHandle stream, i32 strip, u32& position);

// The bytes that a block must have from a row's start on, so that the row can be finished in it.
u32 tiff_row_room(const TiffDirectory& dir);

// Finishes a row in place and delivers it: complement, predictor, colour order. Rows of separate
// planes go to the plane file instead.
void tiff_put_row(StripWalk& walk, u8* row, i32 row_number);
void tiff_finish_row(u8* row, i16 row_number);

// The first half of the above without delivery, for rows that are delivered more than once: gives the
// length to deliver.
i16 tiff_prepare_row(const TiffDirectory& dir, u8* row);

// Bytes of the page of a fax container, at the stream's position: set by fax_read_page, read by
// tiff_decode_ccitt while fax_file_open is set. Such a page is one strip that nobody seeks.
extern u32 fax_page_bytes;

// The decoders: 0, or kOutOfMemory.
i16 tiff_decode_raw(const TiffDirectory& dir, StreamHandle stream);
i16 tiff_decode_packbits(const TiffDirectory& dir, StreamHandle stream);
i16 tiff_decode_lzw(const TiffDirectory& dir, StreamHandle stream);
i16 tiff_decode_ccitt(const TiffDirectory& dir, StreamHandle stream, i16 mode);

}  // namespace orv
