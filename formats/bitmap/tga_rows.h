// Rows of TGA files: the run-length packets, and the pixels that become 24 bits.
#pragma once

#include "frame/chunk_reader.h"

namespace orv
{

// Room needed behind a row for work in whole words.
inline constexpr u32 kTgaRowSlack = 32;

inline constexpr u32 kTgaPatternBytes = 24;

// `count` pixels of 16 or 32 bits to blue, green, red.
void tga_row_from_words(const u8* words, u8* pixels, u32 count);
void tga_row_from_quads(const u8* quads, u8* pixels, u32 count);

// The state of run-length data between rows: a packet may go on in the next row.
struct TgaRuns {
    ChunkReader in;
    u32 pixel_bytes;  // 1 to 4
    u32 left = 0;     // pixels of the packet that are still to come
    bool repeats = false;
    u8 pattern[kTgaPatternBytes] = {};  // what a run repeats
};

// Decodes `width` pixels to `row`. False when the data ends first.
bool tga_decode_row(TgaRuns& runs, u8* row, u32 width);

}  // namespace orv
