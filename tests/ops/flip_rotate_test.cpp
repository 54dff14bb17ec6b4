// Flips and turns against the place where each pixel has to stand; for all operations that move or mix
// pixels, what happens when memory runs out.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "frame/errors.h"
#include "ops/transpose_kernels.h"
#include "platform/testing.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using namespace platform::testing;

constexpr int kDepths[] = {1, 4, 8, 24};

struct Place {
    int x;
    int y;
};

template <i16 angle>
i16 turn(i32 handle)
{
    return IMG_rotate_bitmap(handle, angle);
}

// Seen from the top left: x and y change places, then count from the far side.
struct Motion {
    i16 (*run)(i32 handle);
    bool turns, from_right, from_bottom;
};

constexpr Motion kMotions[] = {
    {IMG_flip_bitmapx, false, true, false}, {IMG_flip_bitmapy, false, false, true},
    {turn<180>, false, true, true},         {turn<90>, true, true, false},
    {turn<270>, true, false, true},         {turn<45>, true, true, true},
};

// Where the pixel goes in a new picture of that size.
Place moved(const Motion& motion, int x, int y, int width, int height)
{
    const Place place = motion.turns ? Place{y, x} : Place{x, y};
    return {motion.from_right ? width - 1 - place.x : place.x,
            motion.from_bottom ? height - 1 - place.y : place.y};
}

// The crop rectangle, 4 by 3 at 2, 1, stays on the same part of the picture.
void check_motion(const Motion& motion, int width, int height, int bits)
{
    SCOPED_TRACE(testing::Message() << "motion " << &motion - kMotions << " of " << width << " by " << height
                                    << " at " << bits);
    const int handle = make_image(width, height, bits, 7);
    const Picture before = picture_of(handle);
    IMG_set_croprect(handle, 2, 1, 4, 3);
    ASSERT_EQ(motion.run(handle), 0);
    const Picture after = picture_of(handle);
    ASSERT_EQ(after.width, motion.turns ? height : width);
    usize misplaced = 0;
    for (int i = 0; i < width * height; i++) {
        const Place to = moved(motion, i % width, i / width, after.width, after.height);
        misplaced +=
            after.pixels[static_cast<usize>(to.y * after.width + to.x)] != before.pixels[static_cast<usize>(i)];
    }
    EXPECT_EQ(misplaced, 0U);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const Place a = moved(motion, 2, 1, after.width, after.height);
    const Place b = moved(motion, 5, 3, after.width, after.height);
    EXPECT_TRUE(record.crop_left == std::min(a.x, b.x) && record.crop_top == std::min(a.y, b.y));
    EXPECT_TRUE(record.crop_width == std::abs(a.x - b.x) + 1 && record.crop_height == std::abs(a.y - b.y) + 1);
    EXPECT_TRUE(!motion.turns || (record.dest_width == 3 && record.dest_height == 4));
    IMG_delete_bitmap(handle);
}

TEST(FlipRotate, PixelsAndCropRectangleGoWhereTheyBelong)
{
    for (const Motion& motion : kMotions) {
        for (const int bits : kDepths) {
            for (const Place& size : {Place{1, 1}, {3, 2}, {64, 65}, {7, 130}, {131, 66}, {257, 513}}) {
                check_motion(motion, size.x, size.y, bits);
            }
        }
    }
}

// Flips of each kind twice, four quarter turns, there and back, two half turns.
void check_restored(int width, int height, int bits)
{
    const int handle = make_image(width, height, bits, 11);
    const Picture before = picture_of(handle);
    IMG_set_croprect(handle, -5, 3, 20, 9);
    for (const auto step : {IMG_flip_bitmapx, IMG_flip_bitmapy, IMG_flip_bitmapx, IMG_flip_bitmapy, turn<90>,
                            turn<90>, turn<90>, turn<90>, turn<90>, turn<270>, turn<180>, turn<180>}) {
        EXPECT_EQ(step(handle), 0);
    }
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    EXPECT_TRUE(picture_of(handle) == before && record.crop_left == -5 && record.crop_top == 3 &&
                record.crop_width == 20 && record.crop_height == 9)
        << width << " by " << height << " at " << bits << " bits";
    IMG_delete_bitmap(handle);
}

TEST(FlipRotate, RepeatedTurnsRestoreEverySize)
{
    for (const int bits : kDepths) {
        for (int size = 0; size < 70 * 70 && !HasFailure(); size++) {
            check_restored(size / 70 + 1, size % 70 + 1, bits);
        }
    }
}

TEST(FlipRotate, TheLargestSizesTurn)
{
    check_restored(32767, 40, 1);
    check_restored(32767, 3, 4);
    check_restored(5, 32764, 8);
    check_restored(2, 10921, 24);
}

TEST(FlipRotate, VectorTilesEqualPlainTiles)
{
    std::mt19937 random(5);
    std::vector<u8> source(kTileBytes);
    for (u8& byte : source) {
        byte = static_cast<u8>(random());
    }
    for (const int bits : kDepths) {
        std::vector<u8> fast(kTileBytes);
        std::vector<u8> plain(kTileBytes);
        rotate_transpose_band(bits, source, fast);
        rotate_transpose_band_plain(bits, source, plain);
        EXPECT_EQ(fast, plain) << bits << " bits";
    }
}

struct Refusal {
    i16 (*run)(i32 handle);
    int width, height, bits;
};

template <i16 width, i16 height>
i16 resize(i32 handle)
{
    return IMG_resize_bitmap(handle, width, height);
}

i16 sharpen(i32 handle)
{
    return IMG_sharpen_bitmap(handle, 64);
}

TEST(Geometry, RefusalsLeaveTheImageAlone)
{
    constexpr Refusal kRefusals[] = {{turn<90>, 1, 10922, 24},      {resize<0, 5>, 9, 9, 8},
                                     {resize<5, 0>, 9, 9, 8},       {resize<-3, 5>, 9, 9, 1},
                                     {resize<5, -32768>, 9, 9, 24}, {resize<10922, 5>, 9, 9, 24},
                                     {sharpen, 20, 20, 4},          {sharpen, 20, 20, 8}};
    for (const Refusal& refusal : kRefusals) {
        const int handle = make_image(refusal.width, refusal.height, refusal.bits, 3);
        const std::vector<u8> before = raw_rows(handle);
        EXPECT_EQ(refusal.run(handle), kNotSupported) << "refusal " << &refusal - kRefusals;
        EXPECT_EQ(raw_rows(handle), before);
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
