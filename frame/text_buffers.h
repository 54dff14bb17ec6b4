// The two library-wide texts that TIFF files carry. Always terminated, zeros behind the terminator.
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr u32 kNameBufferBytes = 200;
inline constexpr u32 kDateBufferBytes = 40;

// Written by IMGLOW_set_bitmap_name and the TIFF reader; read by IMGLOW_get_bitmap_name and writers.
extern char name_buffer[kNameBufferBytes];
extern char date_buffer[kDateBufferBytes];

// Stores a text of at most `length` bytes, which ends at the first zero among them, cut to the buffer.
void text_store(std::span<char> buffer, const char* text, usize length);

}  // namespace orv
