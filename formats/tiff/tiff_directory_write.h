// A page on its way into a TIFF: the start of a new file or the end of an old one, the directory, and the
// numbers that are known when the page's data has been written.
#pragma once

#include "formats/tiff/tiff_file.h"
#include "frame/stream_writer.h"

namespace orv
{

// Rows of a strip of LZW: as many as make 10,000 bytes, at least one.
struct TiffStrips {
    u32 row_bytes;
    u32 strip_rows;
    u32 strips;
};
TiffStrips tiff_lzw_strips(const BITMAPINFOHEADER& info);

struct TiffPage {
    u32 position;                  // of the directory
    u32 link;                      // in an old file: where the last directory has the position of the next
    u32 tiff_byte_count_position;  // value field of StripByteCounts
    u32 tiff_data_start;           // where the directory and its values end
};

// Looks at what the stream holds, places it where the page begins, and writes the header of a new file. kOk;
// kOutOfMemory; kBadData, with the stream untouched, where a page can be added to nothing that it holds. A
// memory stream is always a new file. `most_room` is for the writer.
ErrorCode tiff_start_page(StreamWriter& out, StreamHandle stream, u32 most_room, TiffPage& page);

// The same for a coding that adds no pages: an old file is refused with kBadData.
ErrorCode tiff_start_file(StreamWriter& out, StreamHandle stream, u32 most_room, TiffPage& page);

// Writes the directory of a page of the stated size and all that it points at. Depth, palette and resolution
// are the header's.
void tiff_write_directory(StreamWriter& out, const ImageHeader& header, i32 width, i32 height,
                          TiffCompression compression, TiffPage& page);

// States the bytes of the page's one strip, which ends where the writer stands.
void tiff_patch_byte_count(StreamWriter& out, const TiffPage& page);

// Ends the page. The link from the page before comes last, when all of this one has been written: kOk or
// kShortWrite.
ErrorCode tiff_finish_page(StreamWriter& out, const TiffPage& page);

}  // namespace orv
