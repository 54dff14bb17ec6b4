// Fax pages: the container, and the mark that its programs leave in TIFF files.
#pragma once

#include "frame/picture_sink.h"
#include "frame/types.h"

namespace orv
{

// 1 while a fax container is read: set by fax_read_page for its run, read by the CCITT decoder.
extern i32 fax_file_open;

// 1 if the file carries the fax marker at byte 8: set by every reading of a TIFF file and by
// IMG_tiff_page_count.
extern i32 fax_marker_seen;

bool fax_is_container(StreamHandle stream);
bool fax_has_marker(StreamHandle stream);

// The reader of the container's pages, which offset_or_page names by their number.
i16 fax_read_page(u32 offset_or_page, PictureSink& sink, StreamHandle stream);

}  // namespace orv
