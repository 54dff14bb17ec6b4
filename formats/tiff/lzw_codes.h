// The codes of LZW as TIFF 6.0, section 13, has it, for both directions: codes of 9 to 12 bits, the highest
// bit first. 0 to 255 are single bytes; each code behind the first after a Clear adds an entry to the
// decoder's table: the string before it and its own first byte.
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr u32 kLzwClear = 256;
inline constexpr u32 kLzwEnd = 257;  // EndOfInformation
inline constexpr u32 kLzwFirstFree = 258;
inline constexpr u32 kLzwMinBits = 9;
inline constexpr u32 kLzwMaxBits = 12;

// The entries in the decoder's table, single bytes and the two codes among them, with which the codes grow
// beyond `code_size` bits: one short of what the size could name.
constexpr u32 lzw_grows_at(u32 code_size)
{
    return (1u << code_size) - 1;
}

// The encoder clears its table, which is one entry ahead, with this many entries.
inline constexpr u32 kLzwFull = 4080;

}  // namespace orv
