// The load path: the contract of all readers, the state of the load in progress, and the frame's own
// callbacks, which put a picture under a handle.
#pragma once

#include "frame/errors.h"
#include "frame/rows.h"
#include "frame/types.h"

namespace orv
{

// A reader of one format. The stream stands at position 0 on entry. `offset_or_page` is the picture's
// byte position, or kPageMarker with a page number in the low 16 bits. A reader tests its headers,
// builds an ImageHeader (biSize 40, biPlanes 1, biCompression 0, full palette), passes header_check,
// calls the HeaderCallback once (a negative result is returned at once), delivers rows and returns
// kReaderDone or a negative code. Scratch blocks may be left behind.
using Reader = i16 (*)(u32 offset_or_page, RowCallback row_callback, void* user_data,
                       HeaderCallback header_callback, StreamHandle stream);

inline constexpr u32 kPageMarker = 0xC0000000;

static inline bool is_page(u32 offset_or_page)
{
    return (offset_or_page & kPageMarker) == kPageMarker;
}

// For readers without pages: seeks to a byte position. A page number stands for a position that
// nothing has: position 0 then, as after any failed seek of the picture's start. Gives the position
// that file positions count from.
u32 seek_to_picture(u32 offset_or_page, StreamHandle stream);

// The handle being filled, or the result of the last load: set by the loading functions.
extern i16 current_handle;

// Reset by every load but that of a fax file, filled by the dispatcher and the readers.
extern ExtraInfo extra_info;

// 1 while a fax container is read: set by every load, read by the CCITT decoder.
extern i32 fax_file_open;

// 1 if the file carries the fax marker at byte 8: set by every load and by IMG_tiff_page_count.
extern i32 fax_marker_seen;

// Set by the readers of TIFF, fax and PCX: each decoded line is delivered twice.
extern i32 line_doubling;

// The rows of the picture being loaded, bottom row first, for a reader that can put them there itself
// instead of delivering them: none unless row_callback is the frame's. Call it behind the
// HeaderCallback.
std::span<u8> frame_image_rows(RowCallback row_callback);

// The callbacks that put a picture into the record of current_handle. `user_data` is the address of
// an ImageHeader pointer.
i16 frame_header_sink(ImageHeader* header, void* user_data);
i16 frame_row_sink(const void* row, void* user_data, i16 row_number, i16 length);

}  // namespace orv
