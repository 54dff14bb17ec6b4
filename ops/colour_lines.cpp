#include "ops/colour_lines.h"

#include "frame/simd.h"
#include "pixels/palettes.h"

namespace orv
{

ErrorCode colour_lines_measure(Operation& op)
{
    const usize pixels = static_cast<usize>(op.width) + 2 * kSparePixels;
    op.work_bytes[0] = op.work_bytes[1] = pixels * kWordsPerPixel * sizeof(i16);
    return kOk;
}

i16* colour_line(Operation& op, i32 row)
{
    return reinterpret_cast<i16*>(op.work[row & 1]) + kSparePixels * kWordsPerPixel;
}

void colour_line_fill(Operation& op, i32 row)
{
    if (row >= op.height) {
        return;
    }
    u16* const words = reinterpret_cast<u16*>(colour_line(op, row));
    expand_colour_row(*op.source, source_row(op, row), {words, static_cast<usize>(op.width) * kWordsPerPixel},
                      GrayWord::Dimmed);
}

// The fourth words take shares like the others; nobody looks at them.
ORV_TARGET_CLONES
void spread_colour_errors(const i16* errors, i16* next, usize width)
{
    constexpr std::ptrdiff_t one = kWordsPerPixel;
    const std::ptrdiff_t words = static_cast<std::ptrdiff_t>(width * kWordsPerPixel);
    for (std::ptrdiff_t i = 0; i < words; ++i) {
        const i32 share = (errors[i] >> 2) + (errors[i - one] >> 3) + (errors[i + one] >> 3) +
                          (errors[i - 2 * one] >> 4) + (errors[i + 2 * one] >> 4);
        next[i] = static_cast<i16>(next[i] + share);
    }
}

}  // namespace orv
