#include "pixels/palettes.h"

#include <gtest/gtest.h>

#include <array>

#include "frame/handles.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

ImageHeader palette_of(i16 bits, const char* name)
{
    ImageHeader header;
    std::memset(&header, 0xEE, sizeof header);
    header.info.biBitCount = static_cast<u16>(bits);
    palette_build_default(&header, name);
    return header;
}

TEST(Palettes, Defaults)
{
    const struct {
        i16 bits;
        const char* name;
        usize entry;
        u32 rgb;
    } cases[] = {
        {1, "pcx", 0, 0},
        {1, "TIFF", 1, 0xFFFFFF},
        {4, "tiff", 15, 0xF0F0F0},
        {8, "TIFF", 255, 0xFFFFFF},
        {8, "tiff", 77, 0x4D4D4D},
        {4, "pcx", 15, 0xFFFFFF},
        {4, "PCX", 7, 0x808080},
        {4, "pcx", 8, 0},
        {4, "dither", 7, 0xC8C8C8},
        {4, "dither", 9, 0xFF0000},
        {4, "unknown", 4, 0x80},
        {4, "pcx", 2, 0x8000},
        {8, "targa", 0x49, 0x484855},
        {8, "targa", 3, 0xFF},
        {8, "Targa", 0xE0, 0xFF0000},
        {8, "pcx", 16, 0xEEEEEE},
        {24, "tiff", 0, 0xEEEEEE},
    };
    for (const auto& test : cases) {
        const RGBQUAD c = palette_of(test.bits, test.name).palette[test.entry];
        EXPECT_EQ(static_cast<u32>(c.rgbRed << 16 | c.rgbGreen << 8 | c.rgbBlue), test.rgb)
            << test.bits << ' ' << test.name << ' ' << test.entry;
    }
}

// Each expander on all depths; behind the picture the top row comes again, or nothing.
TEST(Palettes, RowExpanders)
{
    for (const int bits : {1, 4, 8, 24}) {
        constexpr usize kWidth = 29;
        const int handle = make_image(kWidth, 3, bits, 9);
        const Picture picture = picture_of(handle);
        ImageHeader* header = image_lock(*handle_record(handle));
        std::array<u8, 100> scratch;
        for (const i16 row : {i16{0}, i16{2}, i16{3}, i16{900}}) {
            std::array<u16, kWidth * 4> colour, luma;
            std::array<u16, kWidth> gray;
            colour.fill(777), luma.fill(777), gray.fill(777);
            EXPECT_EQ(row_expand_colour(handle, colour.data(), scratch.data(), header, row), kOk);
            EXPECT_EQ(row_expand_luma(handle, luma.data(), scratch.data(), header, row), kOk);
            EXPECT_EQ(row_expand_gray(handle, gray.data(), scratch.data(), header, row), kOk);
            for (usize x = 0; x < kWidth; x++) {
                const u32 rgb = picture.pixels[(row == 0 ? 2 : 0) * kWidth + x];
                const u32 r = rgb >> 16, g = rgb >> 8 & 255, b = rgb & 255;
                const u32 sum = (38 * r + 75 * g + 14 * b) >> 7;
                const u32 dim = bits == 4 ? sum : sum <= 40 ? 0 : sum - 40;
                const bool none = bits == 1;
                const std::array<u32, 9> got = {colour[x * 4],     colour[x * 4 + 1], colour[x * 4 + 2],
                                                colour[x * 4 + 3], luma[x * 4],       luma[x * 4 + 1],
                                                luma[x * 4 + 2],   luma[x * 4 + 3],   gray[x]};
                std::array<u32, 9> expected = {b, g, r, dim, b, g, r, sum, (30 * r + 59 * g + 11 * b) / 100};
                if (none) {
                    expected.fill(777);
                } else if (row > 2) {
                    expected[8] = 777;
                }
                ASSERT_EQ(got, expected) << bits << " bits, row " << row << ", x " << x;
            }
        }
        image_unlock(*handle_record(handle));
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
