// Mirrored rows, shared by the flips and the half turn.
#pragma once

#include "ops/operation.h"

namespace orv
{

// Mirrors a row of `width` pixels. Both spans hold the row's stride and do not overlap; what lies behind
// the last pixel of the target becomes zero.
void mirror_row(i32 bits, i32 width, std::span<const u8> source, std::span<u8> target);

// Carry the crop rectangle along.
void crop_flip_x(ImageRecord& record);
void crop_flip_y(ImageRecord& record);

}  // namespace orv
