// Flips and turns against the place where each pixel has to stand; for all operations that move or mix
// pixels, what happens when memory runs out.
#include <gtest/gtest.h>

#include <random>

#include "frame/errors.h"
#include "ops/transpose_kernels.h"
#include "platform/testing.h"
#include "tests/ops/padding.h"

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

// Where a pixel goes, seen from the top left: a factor of -1 counts from the far side.
struct Motion {
    const char* name;
    i16 (*run)(i32 handle);
    int x_from_x, x_from_y, y_from_x, y_from_y;
    usize new_blocks;  // that it holds at a time

    bool turns() const { return x_from_x == 0; }
    Place place(int x, int y, int width, int height) const
    {
        const int right = turns() ? height - 1 : width - 1;
        const int bottom = turns() ? width - 1 : height - 1;
        return {x_from_x * x + x_from_y * y + (x_from_x + x_from_y < 0 ? right : 0),
                y_from_x * x + y_from_y * y + (y_from_x + y_from_y < 0 ? bottom : 0)};
    }
};

template <i16 angle>
i16 turn(i32 handle)
{
    return IMG_rotate_bitmap(handle, angle);
}

constexpr Motion kMotions[] = {
    {"flip x", IMG_flip_bitmapx, -1, 0, 0, 1, 0}, {"flip y", IMG_flip_bitmapy, 1, 0, 0, -1, 1},
    {"180", turn<180>, -1, 0, 0, -1, 1},          {"90", turn<90>, 0, -1, 1, 0, 1},
    {"270", turn<270>, 0, 1, -1, 0, 1},           {"45", turn<45>, 0, -1, -1, 0, 1},
};
constexpr Motion kOthers[] = {
    {"resize", [](i32 handle) { return IMG_resize_bitmap(handle, 200, 201); }, 1, 0, 0, 1, 1},
    {"sharpen", [](i32 handle) { return IMG_sharpen_bitmap(handle, 64); }, 1, 0, 0, 1, 0},
};

Picture moved(const Picture& picture, const Motion& motion)
{
    Picture result = picture;
    if (motion.turns()) {
        std::swap(result.width, result.height);
    }
    for (int y = 0; y < picture.height; y++) {
        for (int x = 0; x < picture.width; x++) {
            const Place to = motion.place(x, y, picture.width, picture.height);
            result.pixels[static_cast<usize>(to.y * result.width + to.x)] =
                picture.pixels[static_cast<usize>(y * picture.width + x)];
        }
    }
    return result;
}

// The crop rectangle, 4 by 3 at 2, 1, stays on the same part of the picture.
void check_motion(const Motion& motion, int width, int height, int bits)
{
    SCOPED_TRACE(testing::Message() << motion.name << " of " << width << " by " << height << " at " << bits);
    const int handle = make_image(width, height, bits, 7);
    const Picture before = picture_of(handle);
    IMG_set_croprect(handle, 2, 1, 4, 3);
    ASSERT_EQ(motion.run(handle), 0);
    expect_same(picture_of(handle), moved(before, motion), motion.name);
    EXPECT_TRUE(padding_is_clear(handle, motion.turns() ? height : width, bits) ||
                motion.run == IMG_flip_bitmapy);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const Place a = motion.place(2, 1, width, height);
    const Place b = motion.place(5, 3, width, height);
    EXPECT_EQ(record.crop_left, std::min(a.x, b.x));
    EXPECT_EQ(record.crop_top, std::min(a.y, b.y));
    EXPECT_EQ(record.crop_width, motion.turns() ? 3 : 4);
    EXPECT_EQ(record.crop_height, motion.turns() ? 4 : 3);
    EXPECT_TRUE(!motion.turns() || (record.dest_width == 3 && record.dest_height == 4));
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
    const int handle = make_image(1, 10922, 24, 3);
    const std::vector<u8> before = raw_rows(handle);
    EXPECT_EQ(IMG_rotate_bitmap(handle, 90), kNotSupported) << "the new row would have 32,768 bytes";
    EXPECT_EQ(raw_rows(handle), before);
    IMG_delete_bitmap(handle);
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

// Every allocation fails once, then one run counts its memory: the new block and a few rows.
void check_memory(const Motion& operation)
{
    SCOPED_TRACE(operation.name);
    EXPECT_EQ(operation.run(0), kBadHandle);
    const int handle = make_image(300, 201, 24, 1);
    const std::vector<u8> rows = raw_rows(handle);
    const ImageRecord record = *IMG_get_dib_intern(handle);
    const u64 bytes = live_bytes();
    for (int n = 1;; n++) {
        reset_peak_bytes();
        fail_allocation(n);
        const i16 code = operation.run(handle);
        fail_allocation(0);
        if (code == 0) {
            EXPECT_GT(n, 1) << "no allocation was seen to fail";
            break;
        }
        ASSERT_EQ(code, kOutOfMemory);
        EXPECT_EQ(raw_rows(handle), rows);
        EXPECT_EQ(std::memcmp(&record, IMG_get_dib_intern(handle), sizeof record), 0);
    }
    EXPECT_LT(peak_bytes() - bytes, rows.size() * operation.new_blocks + 12 * 900);
    IMG_delete_bitmap(handle);
}

TEST(GeometryMemory, FailuresChangeNothingAndLittleIsTaken)
{
    for (const Motion& motion : kMotions) {
        check_memory(motion);
    }
    for (const Motion& other : kOthers) {
        check_memory(other);
    }
}

}  // namespace
}  // namespace orv::test
