// The load path: the contract of all readers and the state of the load in progress.
#pragma once

#include "frame/errors.h"
#include "frame/picture_sink.h"
#include "frame/rows.h"
#include "frame/types.h"

namespace orv
{

// A reader of one format. The stream stands at position 0 on entry. `offset_or_page` is the picture's
// byte position, or kPageMarker with a page number in the low 16 bits. A reader tests its headers,
// builds an ImageHeader (biSize 40, biPlanes 1, biCompression 0, full palette), which stays unchanged until
// the last row, calls picture_begin once, delivers rows and returns kReaderDone or a negative code. Scratch
// blocks may be left behind.
using Reader = i16 (*)(u32 offset_or_page, PictureSink& sink, StreamHandle stream);

inline constexpr u32 kPageMarker = 0xC0000000;

static inline bool is_page(u32 offset_or_page)
{
    return (offset_or_page & kPageMarker) == kPageMarker;
}

static inline u32 page_marked(i16 page)
{
    return static_cast<u32>(i32{page}) | kPageMarker;
}

// For readers without pages: seeks to the picture's byte position and gives it. A page number is no
// position: offset_or_page 0xC0000001, page 1, reads the picture at position 0.
u32 seek_to_picture(u32 offset_or_page, StreamHandle stream);

// The handle being filled, or the result of the last load: set by the loading functions.
extern i16 current_handle;

// Of this thread's last load. Reset by every load but that of a container, filled by the dispatcher and
// the readers.
extern thread_local ExtraInfo extra_info;

// The callbacks that put a picture into the record of current_handle. `user_data` is the address of
// an ImageHeader pointer. The block of rows is not cleared: picture_end clears what did not come.
i16 frame_header_sink(ImageHeader* header, void* user_data);
i16 frame_row_sink(const void* row, void* user_data, i16 row_number, i16 length);

}  // namespace orv
