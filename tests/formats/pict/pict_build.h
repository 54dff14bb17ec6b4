// Small PICT files for the tests, put together from 16-bit words.
#pragma once

#include <gtest/gtest.h>

#include "orvimg32/sized.h"
#include "tests/support/support.h"

namespace orv::test
{

using Bytes = std::vector<u8>;

inline Bytes words(const std::vector<int>& values)
{
    Bytes bytes;
    for (const int value : values) {
        bytes.insert(bytes.end(), {static_cast<u8>(value >> 8), static_cast<u8>(value)});
    }
    return bytes;
}

inline Bytes joined(const std::vector<Bytes>& parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// All ahead of the first opcode, for a picture of version 1 or 2.
inline Bytes pict_start(int version, int bottom)
{
    const Bytes frame = words({0, 1, 1, bottom, 2});
    return joined({Bytes(512), frame, version == 1 ? words({0x1101}) : words({0x0011, 0x02FF}),
                   Bytes(version == 1 ? 0 : 28)});
}

struct PixMap {
    int opcode = 0x98;
    int row_bytes = 2;
    int width = 2;
    int rows = 1;
    int pack_type = 0;
    int dpi = 72;
    int bits = 8;
    std::vector<int> table = {0, 0, 0, 0, 1, 0xFF00, 0x8000, 0x7FFF};  // black; 0xFF807F
    int top = 0;
};

// A bitmap opcode of version 2, without its rows.
inline Bytes pixmap(const PixMap& map)
{
    const bool direct = map.opcode == 0x9A;
    const int entries = static_cast<int>(map.table.size()) / 4;
    return joined({words({map.opcode}), Bytes(direct ? 4 : 0),
                   words({map.row_bytes | 0x8000,
                          map.top,
                          3,
                          map.top + map.rows,
                          3 + map.width,
                          0,
                          map.pack_type,
                          0,
                          0,
                          0,
                          0,
                          map.dpi,
                          0x7FFF,
                          0,
                          map.bits,
                          1,
                          map.bits,
                          0,
                          0,
                          0,
                          0,
                          0,
                          0}),
                   direct ? Bytes{} : joined({words({0, 1, 0, entries - 1}), words(map.table)}), Bytes(18)});
}

inline Bytes pict(const PixMap& map, const Bytes& rows, int bottom = 1)
{
    return joined({pict_start(2, bottom), pixmap(map), rows});
}

inline i16 load(const Bytes& file)
{
    return IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
}

// The file that a save to memory gives.
inline Bytes saved(int handle)
{
    Bytes block(1 << 20);
    u32 written = 0;
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, block.data(), 1 << 20, ORV_FORMAT_PICT, &written), 0);
    block.resize(written);
    return block;
}

}  // namespace orv::test
