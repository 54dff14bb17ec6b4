// One row scaled by point sampling. Target pixel i is the source pixel at i * step, a fixed-point
// distance with 8 fraction bits, in pixels. Pixels that lie behind the source row's last byte are zero.
#pragma once

#include "frame/types.h"

namespace orv
{

// `count` is the number of target pixels, which the target row has room for. Whole bytes are written.
// The first source pixel is bit `start_bit`, 0 to 7 from the top, of the first source byte.
void resize_row_1(std::span<const u8> source, std::span<u8> target, u32 step, i32 count, u32 start_bit = 0);

// Two pixels a byte, the left one high. Works with half the step in bytes, so an odd step loses its
// lowest bit. An odd count fills the last low nibble with the pixel that would follow.
void resize_row_4(std::span<const u8> source, std::span<u8> target, u32 step, i32 count);

void resize_row_8(std::span<const u8> source, std::span<u8> target, u32 step, i32 count);
void resize_row_24(std::span<const u8> source, std::span<u8> target, u32 step, i32 count);

// The kernel of a depth, from the first pixel on.
void resize_row(i32 bits, std::span<const u8> source, std::span<u8> target, u32 step, i32 count);

}  // namespace orv
