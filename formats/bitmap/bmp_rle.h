// Decoding of the two run-length codings of BMP.
#pragma once

#include "frame/chunk_reader.h"
#include "frame/picture_sink.h"
#include "frame/types.h"

namespace orv
{

// Where decoded rows go: from the bottom row of the picture up.
struct BmpRows {
    PictureSink* sink;
    u8* pixels;  // a zeroed row; a pixel that a line does not write keeps the value of the line before
    i32 row;     // next row to deliver, counted from the top; negative when the picture is full
};

static inline void bmp_deliver(BmpRows& out)
{
    if (out.row >= 0) {
        row_give(*out.sink, out.row, out.pixels);
        --out.row;
    }
}

// Decode all rows of a picture. Codes that leave the row or the picture store nothing there; the end of the
// data ends the decode.
void bmp_decode_rle8(ChunkReader& in, BmpRows& out);
void bmp_decode_rle4(ChunkReader& in, BmpRows& out);

}  // namespace orv
