// The run code of WPG rows (WordPerfect Graphics, version 1). The first byte of a code, with n its low
// seven bits:
//
//     1nnnnnnn value       the value n times; n is not 0
//     10000000 count       the value 0xFF `count` times
//     0nnnnnnn n bytes     the bytes themselves; n is not 0
//     00000000 count       the row just delivered `count` times more
#pragma once

#include "frame/chunk_reader.h"

namespace orv
{

inline constexpr u32 kWpgLongest = 127;  // bytes of a run or literal
inline constexpr u8 kWpgRun = 0x80;

// Room behind a row buffer: what a code makes past the row's end, and whole words of the fast decoder.
inline constexpr u32 kWpgRowSlack = 256;

// What a row of `count` bytes may grow to; the fast coder also writes that far.
constexpr u32 wpg_code_room(u32 count)
{
    return count * 2 + 64;
}

enum class WpgStop : u8 { RowFull, Repeat, DataEnded };

// Decodes codes to `row` at `fill` until `row_bytes` are reached or passed, the data ends, or a repeat code
// has been taken, whose count goes to `repeat`. Bytes of `row` behind `fill` are worked over.
WpgStop wpg_decode_codes(ChunkReader& in, u8* row, u32 row_bytes, u32& fill, u32& repeat);

// Codes the `count` bytes of a row and gives the size of the code. The byte behind the row is not looked at.
u32 wpg_code_row(const u8* row, u32 count, u8* code);

// The same byte by byte.
WpgStop wpg_decode_codes_plain(ChunkReader& in, u8* row, u32 row_bytes, u32& fill, u32& repeat);
u32 wpg_code_row_plain(const u8* row, u32 count, u8* code);

}  // namespace orv
