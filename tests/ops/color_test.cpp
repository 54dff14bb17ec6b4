// Counters that wrap, thresholds, and the contrast rule at its extremes; digests_test.cpp has the whole
// results.
#include <gtest/gtest.h>

#include <algorithm>

#include "ops/dither.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

// 65,536 pixels count 0, so that 256 pixels of another colour win the first place and the wrapped one
// loses its own.
TEST(Color, PopularityCountersWrap)
{
    ImageHeader header = {};
    header.info = {40, 256, 257, 1, 24, 0, 0, 0, 0, 0, 0};
    std::vector<u8> bitmap(sizeof header.info + 256 * 257 * 3, 0x50);
    std::memcpy(bitmap.data(), &header.info, sizeof header.info);
    std::fill(bitmap.begin() + 40, bitmap.begin() + 40 + 256 * 3, u8{0x90});
    const int handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
    ASSERT_EQ(IMG_popularity_color(handle), kOk);
    IMGLOW_get_bitmap_header(handle, &header);
    EXPECT_EQ(header.palette[1].rgbRed, 0x90);
    EXPECT_EQ(header.palette[2].rgbRed, 0xF0);
    const std::vector<u8> rows = raw_rows(handle);
    EXPECT_EQ(rows[0], 1);
    EXPECT_EQ(rows[256], 1);  // 0x50 is nearer to 0x90 than to black: 4 steps of a channel against 5
    IMG_delete_bitmap(handle);
}

TEST(Color, DevicePairsPassAtTheThreshold)
{
    const u16 words[8] = {100, 99, 255, 100, 0, 7, 6, 8};
    const u8 thresholds[2] = {100, 7};
    EXPECT_EQ(dither_pixel_pair(words, thresholds), 0x40 | 0x10 | 0x80 | 0x02 | 0x08);
}

// The rule at its extremes: the product is cut to 16 bits, the rest is not.
TEST(Tone, ContrastAndBrightnessFollowTheirRule)
{
    for (const int contrast : {-32768, -128, -127, -1, 0, 64, 127, 16000, 16255, 16256, 32640, 32767}) {
        for (const int brightness : {-32768, -16385, -200, -1, 0, 10, 127, 9000, 32767}) {
            SCOPED_TRACE(testing::Message() << contrast << ", " << brightness);
            const int handle = make_image(99, 5, 24, 3);
            std::vector<u8> expected = raw_rows(handle);
            const int c = std::max(contrast, -128);
            for (u8& v : expected) {
                const int cut = static_cast<i16>(v * (2 * c + 256) >> 8);
                v = static_cast<u8>(std::clamp(cut - c + 2 * brightness, 0, 255));
            }
            EXPECT_EQ(IMG_set_lut(handle, static_cast<i16>(contrast), static_cast<i16>(brightness)), kOk);
            EXPECT_TRUE(raw_rows(handle) == expected);
            IMG_delete_bitmap(handle);
        }
    }
}

TEST(Tone, PaletteSettingsDoNotAddUp)
{
    for (const int bits : {4, 8}) {
        const int handle = make_image(9, 4, bits, 1);
        ImageHeader original, after;
        IMGLOW_get_bitmap_header(handle, &original);
        const std::vector<u8> rows = raw_rows(handle);
        IMG_set_lut(handle, 50, -70);
        EXPECT_EQ(IMG_set_lut(handle, 0, 10), kOk);
        IMGLOW_get_bitmap_header(handle, &after);
        EXPECT_EQ(raw_rows(handle), rows);
        for (usize i = 0; i < 1u << bits; i++) {
            EXPECT_EQ(after.palette[i].rgbGreen, std::min(original.palette[i].rgbGreen + 20, 255));
        }
        IMG_set_lut(handle, 0, 0);
        IMGLOW_get_bitmap_header(handle, &after);
        EXPECT_EQ(std::memcmp(after.palette, original.palette, 4u << bits), 0);
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
