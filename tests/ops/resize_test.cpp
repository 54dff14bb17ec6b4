// Scaled rows against the position of every sample, and pictures against scaled rows.
#include <gtest/gtest.h>

#include <random>

#include "ops/resize_rows.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

// The source pixel that target pixel i shows.
u64 sampled(int bits, u64 i, u32 step)
{
    return bits == 4 ? i * (step >> 1) >> 7 : i * step >> 8;
}

// Pixel x of a row, 0 behind its end. The row is as long as its pixels: no whole words.
u32 pixel_of(std::span<const u8> row, int bits, u64 x)
{
    const u64 bit = x * static_cast<u64>(bits);
    if (bit + static_cast<u64>(bits) > row.size() * 8) {
        return 0;
    }
    const u8* p = row.data() + static_cast<usize>(bit / 8);
    const int shift = 8 - bits - static_cast<int>(bit % 8);
    return static_cast<u32>(bits == 24 ? p[0] | p[1] << 8 | p[2] << 16 : p[0] >> shift & ((1 << bits) - 1));
}

// The vectors end where the rows end, so that the sanitizers see every step outside.
void check_row(int bits, u32 step, u32 count, u32 start, std::mt19937& random)
{
    std::vector<u8> source(1 + random() % 90);
    for (u8& byte : source) {
        byte = static_cast<u8>(random());
    }
    std::vector<u8> target((count * static_cast<u32>(bits) + 7) / 8, 0xAA);
    if (bits == 1) {
        resize_row_1(source, target, step, static_cast<i32>(count), start);
    } else {
        resize_row(bits, source, target, step, static_cast<i32>(count));
    }
    for (u32 i = 0; i < count; i++) {
        ASSERT_EQ(pixel_of(target, bits, i), pixel_of(source, bits, start + sampled(bits, i, step)))
            << "pixel " << i << " of " << count << " at " << bits << " bits from " << source.size()
            << " bytes by step " << step << " from bit " << start;
    }
    EXPECT_TRUE(bits != 1 || count % 8 == 0 || (target.back() & (0xFF >> count % 8)) == 0);
}

TEST(ResizeRows, EveryStepShowsTheSampledPixel)
{
    std::mt19937 random(1);
    for (const int bits : {1, 4, 8, 24}) {
        for (const u32 step : {0u, 1u, 128u, 186u, 256u, 257u, 595u, 1828u, 1829u, 2190u, 5000u, 8388352u}) {
            for (u32 round = 0; round < 30 && !HasFailure(); round++) {
                check_row(bits, step, static_cast<u32>(random() % 400), bits == 1 ? round % 8 : 0, random);
            }
        }
    }
}

struct Size {
    i16 width;
    i16 height;
};

void check_resize(Size from, Size to, int bits)
{
    const int handle = make_image(from.width, from.height, bits, 9);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const std::vector<u8> before = raw_rows(handle);
    const usize stride = static_cast<usize>(record.row_stride);
    IMG_set_croprect(handle, 1, 2, 3, 4);
    ASSERT_EQ(IMG_resize_bitmap(handle, to.width, to.height), 0);
    std::vector<u8> expected;
    for (i32 row = 0; row < to.height; row++) {
        const usize line = static_cast<usize>(row * ((from.height << 8) / to.height) >> 8);
        std::vector<u8> scaled(static_cast<usize>(record.row_stride));
        resize_row(bits, {before.data() + line * stride, stride}, scaled,
                   (static_cast<u32>(from.width) << 8) / static_cast<u32>(to.width), to.width);
        expected.insert(expected.end(), scaled.begin(), scaled.end());
    }
    const i32 rectangles[] = {record.crop_left,   record.crop_top,   record.crop_width,
                              record.crop_height, record.dest_width, record.dest_height};
    const i32 whole[] = {0, 0, to.width, to.height, to.width, to.height};
    EXPECT_TRUE(raw_rows(handle) == expected && std::equal(rectangles, rectangles + 6, whole))
        << from.width << " by " << from.height << " to " << to.width << " by " << to.height << " at " << bits;
    IMG_delete_bitmap(handle);
}

TEST(Resize, SamplesFromTheBottomLeft)
{
    for (const int bits : {1, 4, 8, 24}) {
        for (const Size& from : {Size{1, 1}, Size{61, 47}, Size{700, 450}}) {
            for (const Size& to : {from, Size{1, 200}, Size{301, 517}, Size{1031, 64}, Size{30, 23}}) {
                check_resize(from, to, bits);
            }
        }
        check_resize({5, 3}, {10921, 2}, bits);
        check_resize({3, 2}, {1, 32767}, bits);
    }
    check_resize({32767, 2}, {32766, 300}, 1);
}

}  // namespace
}  // namespace orv::test
