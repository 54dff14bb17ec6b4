// What the tests of JPEG share.
#pragma once

#include <gtest/gtest.h>

#include "orvimg32/extra.h"
#include "orvimg32/sized.h"
#include "tests/support/support.h"

namespace orv::test
{

using Bytes = std::vector<u8>;

// The ways of reading and writing while it lives.
class Ways
{
public:
    Ways(OrvReading reading, OrvWriting writing)
    {
        orv_set_reading(reading);
        orv_set_writing(writing);
    }
    ~Ways()
    {
        orv_set_reading(ORV_READING_DESCRIBED);
        orv_set_writing(ORV_WRITING_DESCRIBED);
    }
    Ways(const Ways&) = delete;
    Ways& operator=(const Ways&) = delete;
};

inline Bytes fixture(const std::string& name)
{
    return read_file(data_path("jpeg/" + name + ".jpg"));
}

// A result code, or 0 for a picture, which is deleted.
inline int load_result(const Bytes& file)
{
    const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
    return handle < 0 ? handle : IMG_delete_bitmap(handle);
}

// The file that a save to memory gives; empty for a failure, whose code is told.
inline Bytes saved_jpeg(int handle, int expected = ORV_OK)
{
    Bytes block(1 << 21);
    u32 written = 0;
    const i16 result = IMG_save_bitmap_mem_sized(handle, block.data(), static_cast<u32>(block.size()),
                                                 ORV_FORMAT_JPEG, &written);
    EXPECT_EQ(result, expected);
    block.resize(result < 0 ? 0 : written);
    return block;
}

// Of all channels of all pixels.
struct Difference {
    int largest = 0;
    double mean = 0;
};
inline Difference difference(const Picture& a, const Picture& b)
{
    EXPECT_EQ(a.width, b.width);
    EXPECT_EQ(a.height, b.height);
    Difference result = {a.pixels.size() == b.pixels.size() && !a.pixels.empty() ? 0 : 256, 0};
    for (usize i = 0; i < std::min(a.pixels.size(), b.pixels.size()); ++i) {
        for (int shift = 0; shift < 24; shift += 8) {
            const int apart = std::abs(static_cast<int>(a.pixels[i] >> shift & 0xFF) -
                                       static_cast<int>(b.pixels[i] >> shift & 0xFF));
            result.largest = std::max(result.largest, apart);
            result.mean += apart / (3.0 * static_cast<double>(a.pixels.size()));
        }
    }
    return result;
}

}  // namespace orv::test
