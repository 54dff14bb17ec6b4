// What is done to the bytes of a decoded row, in place.
#pragma once

#include "frame/types.h"

namespace orv
{

void row_complement(std::span<u8> row);

// Undoes the horizontal predictor (TIFF 6.0, section 14), modulo 256: each byte was stored as the
// difference to the one three bytes, or one byte, to its left.
void row_add_left_pixel(std::span<u8> row);
void row_add_left_byte(std::span<u8> row);

// Exchanges bytes 0 and 2 of each whole group of three.
void row_swap_red_blue(std::span<u8> row);

// Cyan, magenta, yellow, black to blue, green, red: three bytes for each four, from the row's start.
void row_cmyk_to_bgr(std::span<u8> row);

}  // namespace orv
