// From strips to rows: what the decoders of the compressions have in common.
#pragma once

#include "formats/tiff/tiff_directory.h"
#include "formats/tiff/tiff_planes.h"
#include "frame/picture_sink.h"

namespace orv
{

// What makes a delivered row of a decoded one.
struct TiffFinish {
    bool complement;
    bool add_left_pixel;  // predictor
    bool add_left_byte;
    bool swap_red_blue;
    bool cmyk;
};

// Some positions of strips, read ahead.
inline constexpr u32 kStripTable = 64;

struct StripTable {
    u32 first;
    u32 count;
    u32 positions[kStripTable];
};

// The walk over a picture's strips. A decoder takes rows of `row_bytes` bytes and puts them by their number;
// a picture in separate planes is decoded as the rows of its planes, one plane behind the other.
struct StripWalk {
    const TiffFile& file;
    const TiffDirectory& dir;
    PictureSink& sink;
    TiffPlanes* planes = nullptr;  // null but for a picture in separate planes

    i32 row_bytes = 0;
    i32 plane_height = 0;
    i32 rows_per_strip = 0;  // 1 to plane_height
    i32 plane_count = 0;     // 1 or 3
    bool in_place = false;   // decoded rows are finished where they are delivered from
    i32 length = 0;          // of a delivered row; where not in place
    u8* block = nullptr;     // one row; where not in place
    TiffFinish finish = {};
    bool finishes = false;  // any of it
    StripTable table = {};
    bool fax_file_open = false;  // a page of a fax container: one strip, where the stream stands
    i64 fax_page_bytes = 0;

    i32 first_row = 0;  // of the strip at hand, counted through all planes
    i32 rows = 0;       // that the strip should hold
    i32 end_row = 0;    // behind the last row that the strip may put

    // Kept by the decoders, so that strips that overlap can't cost more than data and picture together.
    i64 bytes_used = 0;
    i32 rows_put = 0;
};

// Sets the walk up; strip_walk_close releases what it took, also behind a failure.
ErrorCode strip_walk_open(StripWalk& walk);
void strip_walk_close(StripWalk& walk);

// Seeks every strip in turn and decodes it by `decode_strip`, which gets `context`. A strip that can't be
// sought has no rows.
void decode_strips(StripWalk& walk, void (*decode_strip)(StripWalk& walk, void* context), void* context);

// Places the stream on a strip and gives its position, counted from the base. False where the file does not
// tell or have the position.
bool tiff_seek_strip(StripWalk& walk, i32 strip, u32& position);

// Where row `row_number` is to be decoded to: row_bytes bytes.
u8* tiff_row_place(StripWalk& walk, i32 row_number);

// Finishes and delivers the row that was decoded to its place: complement, predictor, colour order. Rows of
// separate planes wait for the others.
void tiff_finish_row(StripWalk& walk, i32 row_number, RowState state = RowState::Whole);

// Does this to a row from elsewhere.
void tiff_put_row(StripWalk& walk, const u8* row, i32 row_number);

// The decoders: 0, or kOutOfMemory.
i16 tiff_decode_raw(StripWalk& walk);
i16 tiff_decode_packbits(StripWalk& walk);
i16 tiff_decode_lzw(StripWalk& walk);

i16 tiff_decode_ccitt(StripWalk& walk, i16 mode);

// Bytes of a row as delivered: 1, 4 and 24 bits as stored rows, any other depth a byte a pixel, raised
// to a multiple of 4.
i16 tiff_row_stride(i16 width, i16 bits);

// Bytes of a row in the file.
i32 tiff_row_bytes(const TiffDirectory& dir);

}  // namespace orv
