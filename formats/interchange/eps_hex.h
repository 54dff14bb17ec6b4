// Bytes as uppercase hexadecimal digits, the high nibble first.
#pragma once

#include "frame/types.h"

namespace orv
{

// Writes 2 * count digits.
void hex_digits(const u8* bytes, u32 count, u8* digits);

// The same byte by byte.
void hex_digits_plain(const u8* bytes, u32 count, u8* digits);

}  // namespace orv
