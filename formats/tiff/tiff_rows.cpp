#include "formats/tiff/tiff_rows.h"

#include <algorithm>

#include "frame/simd.h"

namespace orv
{

ORV_TARGET_CLONES
void row_complement(std::span<u8> row)
{
    for (u8& byte : row) {
        byte = static_cast<u8>(~byte);
    }
}

void row_add_left_pixel(std::span<u8> row)
{
    if (row.size() < 3) {
        return;
    }
    u8 left[3] = {row[0], row[1], row[2]};
    usize i = 3;
    for (; i + 3 <= row.size(); i += 3) {
        for (usize k = 0; k < 3; ++k) {
            left[k] = static_cast<u8>(left[k] + row[i + k]);
            row[i + k] = left[k];
        }
    }
    for (usize k = 0; i < row.size(); ++i, ++k) {
        row[i] = static_cast<u8>(row[i] + left[k]);
    }
}

void row_add_left_byte(std::span<u8> row)
{
    u8 left = 0;
    for (u8& byte : row) {
        left = static_cast<u8>(left + byte);
        byte = left;
    }
}

void row_swap_red_blue(std::span<u8> row)
{
    for (usize i = 0; i + 3 <= row.size(); i += 3) {
        std::swap(row[i], row[i + 2]);
    }
}

void row_cmyk_to_bgr(std::span<u8> row)
{
    const auto light = [](u32 ink, u32 black) { return static_cast<u8>(255 - std::min(ink + black, 255u)); };
    u8* out = row.data();
    for (usize i = 0; i + 4 <= row.size(); i += 4, out += 3) {
        const u32 cyan = row[i];
        const u32 magenta = row[i + 1];
        const u32 yellow = row[i + 2];
        const u32 black = row[i + 3];
        out[0] = light(yellow, black);
        out[1] = light(magenta, black);
        out[2] = light(cyan, black);
    }
}

}  // namespace orv
