// Rows of PICT files as they are written.
#pragma once

#include "frame/stream_writer.h"

namespace orv
{

// Bytes of all rows of the picture being written, with their counts: cleared ahead of the first row.
extern u32 pict_bytes_written;

// Packs a row and writes count and data: kOk or kShortWrite. The writer has room for pict_pack_room of the
// length and the count.
ErrorCode pict_pack_row(StreamWriter& out, const u8* row, u32 length);

}  // namespace orv
