// Ordered dither: what the device path shares with the operations.
#pragma once

#include "frame/types.h"

namespace orv
{

extern const u8 bayer_matrix[64];
extern const u8 halftone_matrix[64];

// Two pixels of colour words against their thresholds, as a byte of two indexes into the "dither"
// palette, the left one in the high bits. A word equal to the threshold passes.
u8 dither_pixel_pair(const u16* words, const u8* thresholds);

}  // namespace orv
