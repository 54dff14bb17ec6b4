// Blur and sharpening against the filter written down band by band and sample by sample.
#include <gtest/gtest.h>

#include <cstdlib>

#include "orvimg32/host.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using Rows = std::vector<std::vector<int>>;  // samples of each stored row, the padding's too

Rows samples_of(int handle, usize stride, int bits)
{
    const std::vector<u8> bytes = raw_rows(handle);
    Rows rows(bytes.size() / stride);
    for (usize i = 0; i < bytes.size(); i++) {
        if (bits == 4) {
            rows[i / stride].push_back(bytes[i] >> 4);
        }
        rows[i / stride].push_back(bits == 4 ? bytes[i] & 15 : bytes[i]);
    }
    return rows;
}

// Filters all rows but the first and the last, the guards.
void blur_band(Rows& band, int centre, usize distance)
{
    for (usize y = 1; y + 1 < band.size(); y++) {
        for (usize x = distance; x + distance < band[y].size(); x++) {
            int sum = (centre - 1) * band[y][x];
            for (const usize row : {y - 1, y, y + 1}) {
                sum += band[row][x - distance] + band[row][x] + band[row][x + distance];
            }
            band[y][x] = sum / (8 + centre);
        }
    }
}

Rows sharpened(const Rows& image, usize stride, int bits, int strength)
{
    const int a = std::min(128, std::max(-128, strength)) & ~15;
    const int centre = bits == 4 ? (144 - std::abs(a)) / 16 : (136 - std::abs(a)) / 8;
    const long rows = stride > 10922 ? 1 : 32768 / static_cast<long>(stride) - 2;
    const long height = static_cast<long>(image.size());
    if (bits == 1) {
        return image;
    }
    Rows result;
    for (long start = 0; start < height; start += rows) {
        const long end = std::min(start + rows, height);
        Rows band(image.begin() + start, image.begin() + end);
        band.insert(band.begin(), *(image.begin() + std::max(start - 1, 0L)));
        band.push_back(*(image.begin() + std::min(end, height - 1)));
        blur_band(band, centre, bits == 24 ? 3 : 1);
        result.insert(result.end(), band.begin() + 1, band.end() - 1);
    }
    for (usize i = 0; a > 0 && i < image.size() * image[0].size(); i++) {
        int& value = result[i / image[0].size()][i % image[0].size()];
        const int original = image[i / image[0].size()][i % image[0].size()];
        value = std::min(bits == 4 ? 15 : 255, std::max(0, 2 * original - value));
    }
    return result;
}

void check_sharpen(int width, int height, int bits, int strength)
{
    const int handle = make_image(width, height, bits, 21);
    const i32 block = IMG_get_dib_intern(handle)->dib_block;
    auto* header = static_cast<ImageHeader*>(orv_block_lock(block));
    for (int i = 0; bits < 24 && i < 1 << bits; i++) {
        header->palette[i].rgbBlue = header->palette[i].rgbGreen = header->palette[i].rgbRed;
    }
    orv_block_unlock(block);
    const usize stride = static_cast<usize>(IMG_get_dib_intern(handle)->row_stride);
    const Rows before = samples_of(handle, stride, bits);
    EXPECT_EQ(IMG_sharpen_bitmap(handle, static_cast<i16>(strength)), 0);
    EXPECT_TRUE(samples_of(handle, stride, bits) == sharpened(before, stride, bits, strength))
        << width << " by " << height << " at " << bits << " bits, strength " << strength;
    IMG_delete_bitmap(handle);
}

TEST(Sharpen, EverySampleOfEveryBand)
{
    for (const int bits : {1, 4, 8, 24}) {
        for (const int strength : {-32768, -128, -17, -1, 0, 15, 16, 64, 100, 128, 300}) {
            check_sharpen(61, 17, bits, strength);
        }
        for (int width = 1; width <= 12; width++) {
            check_sharpen(width, width % 3 + 1, bits, 40);
        }
        // Bands of six, two and one rows, and of one where 32 KB would hold none.
        for (const int stride : {4000, 8192, 10920, 10924, 16384, 32764}) {
            check_sharpen(std::min(stride * 8 / bits, 32767), 9, bits, stride % 64 - 20);
        }
    }
}

}  // namespace
}  // namespace orv::test
