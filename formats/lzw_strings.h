// The decoder's strings of LZW, for GIF and TIFF. A string is known by a place in the output where it stands,
// which takes no work to record: the string before and the first byte behind it stand side by side there. It is
// copied forward from that place, in blocks.
//
// Of the output only a window is kept, so that memory does not grow with the picture. When it is full it starts
// anew, and strings whose place is gone are written from a second form, made then: their last 1 to 8 bytes and
// the code of what stands ahead. The copy becomes the string's new place.
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr u32 kLzwRoots = 256;              // bytes at the window's start: the strings of one byte
inline constexpr u32 kLzwWindowBytes = 480 << 10;  // inside the second-level cache
inline constexpr u32 kLzwBatchBytes = 16 << 10;    // rows are handed on while they are in the first
inline constexpr u32 kLzwMostStrings = 4780;       // of GIF and TIFF
inline constexpr u32 kLzwCopyBytes = 16;
inline constexpr u32 kLzwLongCopyBytes = 64;  // of strings longer than kLzwCopyBytes

// Behind the place where a string goes: a string is never longer than there are strings.
inline constexpr u32 kLzwStringRoom = kLzwMostStrings + 2 * kLzwLongCopyBytes;

inline constexpr u16 kLzwNoPlace = 0x8000;  // in a length: nothing stands at `place`

struct LzwString {
    u32 place;   // in the window
    u16 length;  // bytes; kLzwNoPlace alone for the clear and the end code
    u16 prefix;  // code of the string without its last byte
};

// A string that has no place: `tail` holds its last bytes, the first lowest, behind the string of `rest`, whose
// length is a multiple of 8.
struct LzwTail {
    u64 tail;
    u16 rest;
};

struct LzwDictionary {
    LzwString strings[kLzwMostStrings];
    LzwTail tails[kLzwMostStrings];
    u32 tails_made;  // strings below this code have theirs
};

// Puts the strings of one byte at the window's start; `clear` and `clear` + 1 stand for none.
void lzw_set_roots(LzwDictionary& dictionary, u8* window, u32 clear);

// Takes their places from the strings `first` to `next` - 1, which still stand in the window.
void lzw_forget_places(LzwDictionary& dictionary, const u8* window, u32 first, u32 next);

// lzw_write_string for a string that has no place.
u32 lzw_write_tails(LzwDictionary& dictionary, u8* window, u32 code, u32 at);

template <u32 kBytes>
inline void lzw_copy(u8* to, const u8* from)
{
    u8 bytes[kBytes];
    std::memcpy(bytes, from, kBytes);
    std::memcpy(to, bytes, kBytes);
}

// Writes the string of a code at `at`, with whole blocks: its length, or 0 for the clear and the end code.
inline u32 lzw_write_string(LzwDictionary& dictionary, u8* window, u32 code, u32 at)
{
    const u32 length = dictionary.strings[code].length;
    const u8* const from = window + dictionary.strings[code].place;
    u8* const to = window + at;
    lzw_copy<kLzwCopyBytes>(to, from);
    if (length <= kLzwCopyBytes) {
        return length;
    }
    if (length < kLzwNoPlace) [[likely]] {
        for (u32 i = kLzwCopyBytes; i < length; i += kLzwLongCopyBytes) {
            lzw_copy<kLzwLongCopyBytes>(to + i, from + i);
        }
        return length;
    }
    return length == kLzwNoPlace ? 0 : lzw_write_tails(dictionary, window, code, at);
}

// The string is the one at `place`, of `length` bytes, and the byte that follows.
inline void lzw_begin_string(LzwString& string, u32 place, u32 length, u32 prefix)
{
    string = {.place = place, .length = static_cast<u16>(length + 1), .prefix = static_cast<u16>(prefix)};
}

}  // namespace orv
