// Scaled rows and pictures against the position of every sample.
#include <gtest/gtest.h>

#include <random>

#include "frame/errors.h"
#include "ops/resize_rows.h"
#include "tests/ops/padding.h"

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
    if (bits == 24) {
        const u8* p = row.data() + x * 3;
        return x * 3 + 2 < row.size() ? static_cast<u32>(p[0] | p[1] << 8 | p[2] << 16) : 0;
    }
    const u64 bit = x * static_cast<u64>(bits);
    const int shift = 8 - bits - static_cast<int>(bit % 8);
    return bit / 8 < row.size() ? static_cast<u32>(row[bit / 8] >> shift & ((1 << bits) - 1)) : 0;
}

// The vectors end where the rows end, so that the sanitizers see every step outside.
TEST(ResizeRows, EveryStepShowsTheSampledPixel)
{
    std::mt19937 random(1);
    for (const int bits : {1, 4, 8, 24}) {
        for (const u32 step : {0u, 1u, 128u, 186u, 256u, 257u, 595u, 1828u, 1829u, 2190u, 5000u, 8388352u}) {
            for (int round = 0; round < 30 && !HasFailure(); round++) {
                std::vector<u8> source(1 + random() % 90);
                for (u8& byte : source) {
                    byte = static_cast<u8>(random());
                }
                const u32 count = static_cast<u32>(random() % 400);
                const u32 start = bits == 1 ? static_cast<u32>(random() % 8) : 0;
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
        }
    }
}

struct Size {
    i16 width;
    i16 height;
};

void check_resize(Size from, Size to, int bits)
{
    SCOPED_TRACE(testing::Message() << from.width << " by " << from.height << " to " << to.width << " by "
                                    << to.height << " at " << bits << " bits");
    const int handle = make_image(from.width, from.height, bits, 9);
    const Picture before = picture_of(handle);
    IMG_set_croprect(handle, 1, 2, 3, 4);
    ASSERT_EQ(IMG_resize_bitmap(handle, to.width, to.height), 0);
    Picture expected{to.width, to.height, bits, {}};
    const u32 step_x = (static_cast<u32>(from.width) << 8) / static_cast<u32>(to.width);
    const u32 step_y = (static_cast<u32>(from.height) << 8) / static_cast<u32>(to.height);
    for (u32 row = static_cast<u32>(to.height); row-- > 0;) {  // sampled from the bottom row up
        const u32 line = static_cast<u32>(from.height) - 1 - (row * step_y >> 8);
        for (u32 x = 0; x < static_cast<u32>(to.width); x++) {
            expected.pixels.push_back(
                before.pixels[line * static_cast<u32>(from.width) + sampled(bits, x, step_x)]);
        }
    }
    expect_same(picture_of(handle), expected, "resized");
    EXPECT_TRUE(padding_is_clear(handle, bits == 4 ? to.width + to.width % 2 : to.width, bits));
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const i32 rectangles[] = {record.crop_left,   record.crop_top,   record.crop_width,
                              record.crop_height, record.dest_width, record.dest_height};
    const i32 whole[] = {0, 0, to.width, to.height, to.width, to.height};
    EXPECT_TRUE(std::equal(rectangles, rectangles + 6, whole));
    IMG_delete_bitmap(handle);
}

TEST(Resize, SamplesFromTheBottomLeft)
{
    for (const int bits : {1, 4, 8, 24}) {
        for (const Size& from : {Size{1, 1}, Size{61, 47}, Size{333, 5}}) {
            for (const Size& to : {from, Size{1, 200}, Size{122, 94}, Size{30, 23}, Size{83, 64}}) {
                check_resize(from, to, bits);
            }
        }
        check_resize({5, 3}, {10921, 2}, bits);
        check_resize({3, 2}, {1, 32767}, bits);
    }
    check_resize({32767, 2}, {32766, 3}, 1);
    for (const Size& to : {Size{301, 517}, Size{600, 64}, Size{1031, 300}, Size{2000, 1000}}) {
        check_resize({700, 450}, to, 1);
    }
}

TEST(Resize, RefusedSizesLeaveTheImageAlone)
{
    const int handle = make_image(10, 10, 24, 2);
    const std::vector<u8> before = raw_rows(handle);
    for (const Size& size : {Size{0, 5}, Size{5, 0}, Size{-3, 5}, Size{5, -32768}, Size{10922, 5}}) {
        EXPECT_EQ(IMG_resize_bitmap(handle, size.width, size.height), kNotSupported) << size.width;
    }
    EXPECT_EQ(raw_rows(handle), before);
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
