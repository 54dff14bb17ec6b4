// What is done to the bytes of a row, in place, in both directions.
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

// The same on the way to another place.
void row_copy_swapped(std::span<const u8> row, u8* to);

// Cyan, magenta, yellow, black to blue, green, red: three bytes for each four, from the row's start.
void row_cmyk_to_bgr(std::span<u8> row);

// Puts a row of one sample where it stands in pixels of three: at to[0], to[3], to[6] and so on.
void row_spread(std::span<const u8> samples, u8* to);

// Makes pixels of rows of one sample each.
void row_interleave(const u8* blue, const u8* green, const u8* red, u8* to, usize pixels);

}  // namespace orv
