// Decoding of the two run-length codings of BMP.
#pragma once

#include "frame/chunk_reader.h"
#include "frame/types.h"

namespace orv
{

// Where decoded rows go: from the bottom row of the picture up.
struct BmpRows {
    RowCallback row_callback;
    void* user_data;
    i32 row;  // next row to deliver, counted from the top; negative when the picture is full
    i16 stride;
};

static inline void bmp_deliver(BmpRows& out, const u8* row)
{
    if (out.row >= 0) {
        out.row_callback(row, out.user_data, static_cast<i16>(out.row), out.stride);
        --out.row;
    }
}

// Decode all rows of a picture `width` pixels wide. `pixels` is a zeroed row of out.stride bytes; a pixel
// that a line does not write keeps the value of the line before. Codes that leave the row or the picture
// store nothing there; the end of the data ends the decode.
void bmp_decode_rle8(ChunkReader& in, u8* pixels, u32 width, BmpRows& out);
void bmp_decode_rle4(ChunkReader& in, u8* pixels, u32 width, BmpRows& out);

}  // namespace orv
