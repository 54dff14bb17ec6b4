// The LZW encoder of GIF, fed with pixels a row at a time.
#pragma once

#include "formats/interchange/gif.h"
#include "frame/stream_writer.h"

namespace orv
{

// Where a string's code stands: with 4 bits in the row of the pixel that it adds, at the string that it grows
// from, 0 being none; with 8 bits in a slot that a hash of the two finds, below the two of them. A page of two
// colours needs two rows.
inline constexpr u32 kGifSlotBits = 14;
inline constexpr u32 kGifSlots = 1U << kGifSlotBits;
inline constexpr u32 kGifRowBits = 4;

// A run of one pixel is followed this many pixels at a time.
inline constexpr u32 kGifJump = 8;

struct GifCodeTable {
    union {
        u16 rows[kGifCodes << kGifRowBits];
        u32 slots[kGifSlots];
    };
    u16 prefixes[kGifCodes];
    u16 jumps[kGifCodes];  // the string with kGifJump more of its last pixel, or 0
};

// At 12 bits the table is given up early, at this code.
inline constexpr u32 kGifTableLimit = 4080;

// A sub-block is closed ahead of the code that finds more bytes than this in it.
inline constexpr u32 kGifBlockFull = 252;
inline constexpr u32 kGifBlockBytes = 300;

struct GifEncoder {
    StreamWriter* out;
    GifCodes codes;
    GifCodeTable* gif_code_table;
    u32 code_size;
    u32 next_code;
    u32 limit;
    u32 prefix;  // code of the string so far
    u32 length;  // its pixels, 0 ahead of the first one

    u64 bits;                             // codes that do not fill a byte yet, the first one lowest
    u32 count;                            // how many bits
    u32 fill;                             // bytes of the sub-block
    u8 gif_block_buffer[kGifBlockBytes];  // the sub-block behind its size byte
};

// kOk or kOutOfMemory.
ErrorCode gif_encoder_init(GifEncoder& encoder, StreamWriter& out, u32 minimum_code_size);

// Writes the clear code that opens the stream.
void gif_encoder_start(GifEncoder& encoder);

void gif_lzw_encode(GifEncoder& encoder, const u8* pixels, u32 count);

// Writes the last string, the end code and the sub-block terminator.
void gif_encoder_finish(GifEncoder& encoder);

void gif_encoder_free(const GifEncoder& encoder);

// Writes the same code stream for `count` pixels, a chain link and a code at a time. kOk or kOutOfMemory.
ErrorCode gif_lzw_encode_plain(StreamWriter& out, u32 minimum_code_size, const u8* pixels, usize count);

}  // namespace orv
