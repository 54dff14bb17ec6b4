// What lies behind the last pixel of each stored row.
#pragma once

#include "tests/support/support.h"

namespace orv::test
{

inline bool padding_is_clear(int handle, int width, int bits)
{
    const usize stride = static_cast<usize>(IMG_get_dib_intern(handle)->row_stride);
    const std::vector<u8> rows = raw_rows(handle);
    for (usize row = 0; row < rows.size(); row += stride) {
        for (usize bit = static_cast<usize>(width * bits); bit < stride * 8; bit++) {
            if ((rows[row + bit / 8] << bit % 8 & 128) != 0) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace orv::test
