// The packing of PICT rows:
//
//     0 to 127    that many + 1 units follow as they are
//     128         nothing
//     129 to 255  the next unit 257 - n times
//
// A unit has one byte, in direct rows of 16 bits a pixel two.
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr u32 kPictLongestCode = 128;  // units; what is written here stops at 127

// Unpacks codes into the row, of which `done` bytes are there, until it is full or the next code lies not
// whole between `from` and `end`. Moves `from` and gives the new `done`. A code that goes on behind the
// row's end is cut there.
template <u32 kUnitBytes>
u32 pict_unpack(const u8*& from, const u8* end, u8* row, u32 done, u32 row_bytes);

// Bytes of the code at `code`, itself included.
u32 pict_code_bytes(u8 code, u32 unit_bytes);

// Packs `length` bytes and gives the size of what it made: at most 3 bytes for two. `packed` has
// pict_pack_room bytes. The plain version goes byte by byte.
u32 pict_pack(const u8* row, u32 length, u8* packed);
u32 pict_pack_plain(const u8* row, u32 length, u8* packed);

static inline u32 pict_pack_room(u32 length)
{
    return 2 * length + 2 * kPictLongestCode;
}

}  // namespace orv
