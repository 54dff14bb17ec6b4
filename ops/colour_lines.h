// The two lines of colour words through which the colour diffusions run. Only the part of an error that
// stays on its row is carried from pixel to pixel; a finished line holds the errors of its pixels, from
// which the shares of the next line are added in one pass.
#pragma once

#include "ops/operation.h"

namespace orv
{

inline constexpr usize kWordsPerPixel = 4;
inline constexpr usize kSparePixels = 2;  // at each end of a line; they stay 0

// For plans: sets the work_bytes of the lines, which are colour_line's.
ErrorCode colour_lines_measure(Operation& op);

// Pixel 0 of a row's line: rows take turns. Signed words: blue, green, red, and one that means nothing.
i16* colour_line(Operation& op, i32 row);

// Fills a row's line from the picture, nothing for a row beyond the top one.
void colour_line_fill(Operation& op, i32 row);

// Adds to the next line what the errors of a finished one give it: in sixteenths 1, 2, 4, 2, 1 to the
// columns around each pixel's own, each share rounded down.
void spread_colour_errors(const i16* errors, i16* next, usize width);

}  // namespace orv
