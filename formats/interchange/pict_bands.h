// The rows behind a bitmap opcode of a PICT file. A picture may have several such bands, from the top down.
#pragma once

#include "frame/chunk_reader.h"
#include "frame/picture_sink.h"

namespace orv
{

// The file from the application header on.
struct PictInput {
    ChunkReader pict_read_buffer;
    bool version1;
};

struct PictBand {
    u32 row_bytes;  // of an unpacked row in the file, as stated
    u32 pack_type;  // direct pixels only: a PictPackType
    bool two_bits;  // the file's pixels have 2 bits, the picture's 4
    i32 first_row;
    i32 rows;
};

// Read the rows of a band and stop behind the last: kOk, also where the data ends, or kOutOfMemory. What a
// row lacks is zero; rows that do not fit into the picture are passed over.
ErrorCode pict_read_packed_band(PictInput& in, const PictBand& band, PictureSink& sink);
ErrorCode pict_read_direct_band(PictInput& in, const PictBand& band, PictureSink& sink);

// The same for rows that are not packed: all of the picture, whatever the band says. rowBytes covers the
// picture's width.
ErrorCode pict_read_unpacked(PictInput& in, const PictBand& band, PictureSink& sink);

}  // namespace orv
