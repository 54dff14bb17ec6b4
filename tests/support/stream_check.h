// Callbacks for a streaming decode that hold a reader to its promises. Shared by the tests and the
// fuzz targets, so they note a broken promise instead of failing anything.
#pragma once

#include "frame/types.h"

namespace orv::test
{

struct StreamCheck {
    const char* problem = nullptr;  // the first broken promise
    i32 width = 0;
    i32 height = 0;
    i32 bits = 0;
    int headers = 0;
    int rows = 0;
    u64 digest = 0xCBF29CE484222325;  // of the header and of every row with its number
};

// The callbacks; `user_data` is a StreamCheck.
i16 check_header(ImageHeader* header, void* user_data);
i16 check_row(const void* row, void* user_data, i16 row_number, i16 length);

// FNV-1a, for speed by words of eight bytes.
u64 fnv1a(u64 digest, const void* bytes, usize count);

}  // namespace orv::test
