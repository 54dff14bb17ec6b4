// Error diffusion to black and white, row by row: what the operation and drawing share.
#pragma once

#include "frame/types.h"

namespace orv
{

// Lines of errors on their way and working rows, for one width.
struct MonoDiffusion {
    i16* lines;
    i16* shares;
    u8* whites;
    usize width;
};

// Working memory for rows of `width` pixels. It starts zeroed.
usize mono_diffusion_bytes(usize width);
void mono_diffusion_open(MonoDiffusion& diffusion, u8* work, usize width);

// Turns a row of grays to bits, top bit first, 1 for white; bits behind the last pixel are 0. Rows come in
// order from 0: even ones run left to right, odd ones right to left.
void mono_diffusion_row(const MonoDiffusion& diffusion, i32 row, const u8* grays, u8* out);

}  // namespace orv
