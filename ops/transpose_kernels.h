// Square tiles of pixels mirrored on their diagonal, the inner part of a quarter turn.
#pragma once

#include "frame/types.h"

namespace orv
{

// The largest tile: 64 rows of 64 pixels of three bytes.
inline constexpr usize kTileBytes = 64 * 192;

// Pixels on a side of a tile: rows of 32 bytes at 1 bit, 64 at 4 and 8 bits, 192 at 24 bits, so that a
// tile fits the first cache and its rows fill whole cache lines of the picture.
i32 rotate_tile_side(i32 bits);

// The pixel at row r, column c of the source tile goes to row c, column r of the target tile. Both hold
// kTileBytes; their rows follow each other without padding.
void rotate_transpose_band(i32 bits, std::span<const u8> source, std::span<u8> target);

// The same pixel by pixel, for machines without the vector instructions.
void rotate_transpose_band_plain(i32 bits, std::span<const u8> source, std::span<u8> target);

}  // namespace orv
