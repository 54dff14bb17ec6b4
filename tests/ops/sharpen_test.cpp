// Blur and sharpening against the filter written down band by band and sample by sample.
#include <gtest/gtest.h>

#include <cstdlib>

#include "frame/errors.h"
#include "orvimg32/host.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

struct Case {
    int width;
    int height;
    int bits;
    int strength;
};

using Rows = std::vector<std::vector<int>>;  // samples of each stored row, the padding's too

Rows samples_of(const std::vector<u8>& bytes, usize stride, int bits)
{
    Rows rows(bytes.size() / stride);
    for (usize i = 0; i < bytes.size(); i++) {
        if (bits == 4) {
            rows[i / stride].push_back(bytes[i] >> 4);
        }
        rows[i / stride].push_back(bits == 4 ? bytes[i] & 15 : bytes[i]);
    }
    return rows;
}

// Filters slots 1 and up of a band that has a guard row at both ends.
void blur_band(Rows& band, int centre, usize distance)
{
    for (usize y = 1; y + 1 < band.size(); y++) {
        for (usize x = distance; x + distance < band[y].size(); x++) {
            int sum = centre * band[y][x] + band[y][x - distance] + band[y][x + distance];
            for (const usize other : {y - 1, y + 1}) {
                sum += band[other][x - distance] + band[other][x] + band[other][x + distance];
            }
            band[y][x] = sum / (8 + centre);
        }
    }
}

Rows sharpened(const Rows& image, usize stride, const Case& test)
{
    const int a = std::min(128, std::max(-128, test.strength)) & ~15;
    const int centre = test.bits == 4 ? (144 - std::abs(a)) / 16 : (136 - std::abs(a)) / 8;
    const int top = test.bits == 4 ? 15 : 255;
    const usize rows = stride > 10922 ? 1 : 32768 / stride - 2;
    Rows result = image;
    for (usize start = 0; start < image.size(); start += rows) {
        const usize end = std::min(start + rows, image.size());
        Rows band = {image[start == 0 ? 0 : start - 1]};
        band.insert(band.end(), image.begin() + static_cast<long>(start),
                    image.begin() + static_cast<long>(end));
        band.push_back(image[std::min(end, image.size() - 1)]);
        blur_band(band, centre, test.bits == 24 ? 3 : 1);
        for (usize y = start; y < end; y++) {
            for (usize x = 0; x < image[y].size(); x++) {
                const int blurred = band[y - start + 1][x];
                result[y][x] = a > 0 ? std::min(top, std::max(0, 2 * image[y][x] - blurred)) : blurred;
            }
        }
    }
    return result;
}

void make_palette_gray(int handle, int bits)
{
    const i32 block = IMG_get_dib_intern(handle)->dib_block;
    auto* header = static_cast<ImageHeader*>(orv_block_lock(block));
    for (int i = 0; bits < 24 && i < 1 << bits; i++) {
        header->palette[i].rgbBlue = header->palette[i].rgbGreen = header->palette[i].rgbRed;
    }
    orv_block_unlock(block);
}

void check_sharpen(const Case& test)
{
    SCOPED_TRACE(testing::Message() << test.width << " by " << test.height << " at " << test.bits
                                    << " bits, strength " << test.strength);
    const int handle = make_image(test.width, test.height, test.bits, 21);
    make_palette_gray(handle, test.bits);
    const usize stride = static_cast<usize>(IMG_get_dib_intern(handle)->row_stride);
    const Rows before = samples_of(raw_rows(handle), stride, test.bits);
    ASSERT_EQ(IMG_sharpen_bitmap(handle, static_cast<i16>(test.strength)), 0);
    EXPECT_TRUE(samples_of(raw_rows(handle), stride, test.bits) == sharpened(before, stride, test));
    IMG_delete_bitmap(handle);
}

TEST(Sharpen, EverySampleOfEveryBand)
{
    for (const int bits : {4, 8, 24}) {
        for (const int strength : {-32768, -128, -17, -1, 0, 15, 16, 64, 100, 128, 300}) {
            check_sharpen({61, 17, bits, strength});
        }
        for (int width = 1; width <= 12; width++) {
            check_sharpen({width, 3, bits, 40});
            check_sharpen({width, 1, bits, -40});
        }
        // Bands of six, two and one rows, and of one where 32 KB would hold none.
        for (const int stride : {4000, 8192, 10920, 10924, 16384, 32764}) {
            check_sharpen({std::min(stride * 8 / bits, 32767), 9, bits, stride % 64 - 20});
        }
    }
}

TEST(Sharpen, ColourPalettesAreRefusedAndOneBitStays)
{
    for (const int bits : {1, 4, 8}) {
        const int handle = make_image(20, 20, bits, 4);
        const std::vector<u8> before = raw_rows(handle);
        EXPECT_EQ(IMG_sharpen_bitmap(handle, 64), bits == 1 ? 0 : kNotSupported);
        EXPECT_EQ(raw_rows(handle), before);
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
