// Kernels over rows of 24-bit pixels: blue, green, red.
#pragma once

#include "frame/types.h"

namespace orv
{

// The 38-75-14 and the 30-59-11 luma of each pixel.
void pixels24_luma_128(const u8* row, u8* lumas, usize width);
void pixels24_luma_100(const u8* row, u8* lumas, usize width);

// Blue, green, red and the 38-75-14 luma less `dimming`, not below 0, as words.
void pixels24_colour_words(const u8* row, u16* words, usize width, i32 dimming);

}  // namespace orv
