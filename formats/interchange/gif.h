// What the GIF reader and writer share: the shape of the code stream, and where decoded rows go.
//
// GIF codes its pixels, a byte each, by LZW with codes of growing size, the lowest bit first, in
// sub-blocks of a size byte and up to 255 bytes. The codes below the clear code are single pixels; clear
// code (1 << minimum code size) and end code (the next) follow; the strings behind them are made as the
// data goes: each is the string before it and the first pixel of the one that follows.
#pragma once

#include "frame/picture_sink.h"
#include "frame/streams.h"
#include "frame/types.h"

namespace orv
{

inline constexpr u32 kGifMaxCodeBits = 12;
inline constexpr u32 kGifCodes = 1U << kGifMaxCodeBits;

// The first code, its size and the special codes all follow from the minimum code size.
struct GifCodes {
    u32 minimum_code_size;
    u32 clear_code;
    u32 end_code;
    u32 first_code;  // of the strings
};

constexpr GifCodes gif_codes(u32 minimum_code_size)
{
    const u32 clear_code = 1U << minimum_code_size;
    return {.minimum_code_size = minimum_code_size,
            .clear_code = clear_code,
            .end_code = clear_code + 1,
            .first_code = clear_code + 2};
}

// Entry i is i with its eight bits in reverse order.
struct GifMirrorTable {
    u8 entry[256];
};
extern const GifMirrorTable gif_mirror_table;

// --- Decoded rows ---

// The rows of a picture in the file's order, which an interlaced picture has in four passes.
struct GifRows {
    PictureSink* sink;
    i32 row;   // number of the next row
    i32 left;  // rows that have not come
    u8 pass;   // of an interlaced picture, from 0
    bool interlaced;
};

GifRows gif_rows(PictureSink& sink, bool interlaced);

// Packs and delivers the next row, `width` pixels.
void gif_put_row(GifRows& rows, const u8* pixels);

// Packs pixels to a row of `bit_count` bits each, 1, 4 or 8, taking the low bits of each. Bits behind the
// last pixel are 0.
void gif_pack_row(const u8* pixels, u32 width, u32 bit_count, u8* row);
void gif_pack_row_plain(const u8* pixels, u32 width, u32 bit_count, u8* row);

// --- Decoding and encoding ---

// Decodes from the stream's position to the end of the picture: kReaderDone, kBadData for a bad code or
// where the data ends first, or kOutOfMemory.
i16 gif_lzw_decode(StreamHandle stream, u32 minimum_code_size, GifRows& rows);

// The same, a code and a pixel at a time.
i16 gif_lzw_decode_plain(StreamHandle stream, u32 minimum_code_size, GifRows& rows);

}  // namespace orv
