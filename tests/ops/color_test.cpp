// The colour operations against their rules, stated pixel by pixel in the plainest way.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>

#include "frame/handles.h"
#include "frame/rows.h"
#include "ops/dither.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

struct Rgb {
    int blue, green, red;
};

// A handle's picture as stored, row 0 at the bottom.
struct Stored {
    int width = 0, height = 0, bits = 0;
    std::vector<u8> rows;
    std::vector<RGBQUAD> palette;

    usize stride() const { return static_cast<usize>(row_stride_wide(width, bits)); }
    const u8* row(int y) const { return rows.data() + static_cast<usize>(y) * stride(); }
    u8* row(int y) { return rows.data() + static_cast<usize>(y) * stride(); }
    Rgb at(int x, int y) const
    {
        if (bits == 24) {
            const u8* p = row(y) + x * 3;
            return {p[0], p[1], p[2]};
        }
        const int index = bits == 8 ? row(y)[x] : row(y)[x / 2] >> (x % 2 == 0 ? 4 : 0) & 15;
        const RGBQUAD& c = palette[static_cast<usize>(index)];
        return {c.rgbBlue, c.rgbGreen, c.rgbRed};
    }
    Stored blank(int depth) const
    {
        Stored result = {width, height, depth, {}, {}};
        result.rows.resize(result.stride() * static_cast<usize>(height));
        return result;
    }
};

Stored stored(int handle)
{
    ImageHeader header;
    EXPECT_EQ(IMGLOW_get_bitmap_header(handle, &header), kOk);
    const usize entries = static_cast<usize>(palette_bytes(header.info)) / 4;
    return {header.info.biWidth, header.info.biHeight, header.info.biBitCount, raw_rows(handle),
            std::vector<RGBQUAD>(header.palette, header.palette + entries)};
}

// Replaces noise by slopes, on which errors add up over long ways, down to flat black.
void smooth(int handle)
{
    ImageRecord& record = *handle_record(handle);
    ImageHeader* header = image_lock(record);
    u8* bytes = image_pixels(header);
    for (int y = 0; y < record.image_height; y++) {
        for (int i = 0; i < record.row_stride; i++) {
            const int slope = (i * 3 + y * 5 + i % 3 * 40) % 510 - 200;
            *bytes++ = static_cast<u8>(std::clamp(slope, 0, 255));
        }
    }
    image_unlock(record);
}

int luma100(Rgb c)
{
    return (30 * c.red + 59 * c.green + 11 * c.blue) / 100;
}
int luma128(Rgb c)
{
    return (38 * c.red + 75 * c.green + 14 * c.blue) >> 7;
}

// Sets a pixel of a blank picture.
void set_pixel(Stored& out, int x, int y, int value)
{
    u8& byte = out.row(y)[x * out.bits / 8];
    byte = static_cast<u8>(byte | value << (8 - out.bits - x * out.bits % 8));
}

// A whole picture of 16-bit words; what falls over an edge is lost.
struct Words {
    Words(int w, int h) : width(w), height(h), words(static_cast<usize>(w * h)) {}
    void add(int x, int y, int value)
    {
        if (x >= 0 && x < width && y < height) {
            i16& word = at(x, y);
            word = static_cast<i16>(word + value);
        }
    }
    i16& at(int x, int y) { return words[static_cast<usize>(y * width + x)]; }
    int width, height;
    std::vector<i16> words;
};

struct Choice {
    int index;
    std::array<int, 3> entry;  // blue, green, red
};

Choice choose_332(const std::array<int, 3>& v)
{
    const auto limited = [&](usize c) { return std::clamp(v[c], 0, 255); };
    const int index = limited(0) >> 6 | (limited(1) & 224) >> 3 | (limited(2) & 224);
    return {index, {(index & 3) * 255 / 3, ((index & 28) >> 2) * 255 / 7, ((index & 224) >> 5) * 255 / 7}};
}

Choice choose_16(const std::array<int, 3>& v)
{
    const bool bright = v[0] > 220 || v[1] > 220 || v[2] > 220;
    const auto entry = [&](usize c) { return v[c] > 180 ? (bright ? 255 : 128) : 0; };
    return {(v[0] > 180) * 4 + (v[1] > 180) * 2 + (v[2] > 180) + bright * 8, {entry(0), entry(1), entry(2)}};
}

Stored plain_color_diffusion(const Stored& in, int depth, bool alternate,
                             Choice (*choose)(const std::array<int, 3>&))
{
    Stored out = in.blank(depth);
    std::vector<Words> words(3, Words(in.width, in.height));
    for (int y = 0; y < in.height; y++) {
        for (int x = 0; x < in.width; x++) {
            const Rgb c = in.at(x, y);
            words[0].add(x, y, c.blue), words[1].add(x, y, c.green), words[2].add(x, y, c.red);
        }
    }
    for (int y = 0; y < in.height; y++) {
        const int d = alternate && y % 2 != 0 ? -1 : 1;
        for (int x = d > 0 ? 0 : in.width - 1; x >= 0 && x < in.width; x += d) {
            const std::array<int, 3> v = {words[0].at(x, y), words[1].at(x, y), words[2].at(x, y)};
            const Choice choice = choose(v);
            set_pixel(out, x, y, choice.index);
            for (usize c = 0; c < 3; c++) {
                const int error = v[c] - choice.entry[c];
                words[c].add(x + d, y, error >> 2);
                words[c].add(x + 2 * d, y, error >> 3);
                for (int i = -2; i <= 2; i++) {
                    words[c].add(x + i, y + 1, error >> (2 + std::abs(i)));
                }
            }
        }
    }
    return out;
}

Stored plain_diffusion_mono(const Stored& in)
{
    Stored out = in.blank(1);
    Words words(in.width, in.height);
    for (int y = 0; y < in.height; y++) {
        for (int x = 0; x < in.width; x++) {
            words.at(x, y) = static_cast<i16>(luma100(in.at(x, y)));
        }
    }
    for (int y = 0; y < in.height; y++) {
        const int s = y % 2 == 0 ? 1 : -1;
        for (int x = s > 0 ? 0 : in.width - 1; x >= 0 && x < in.width; x += s) {
            const bool white = words.at(x, y) >= 128;
            const int error = words.at(x, y) - (white ? 255 : 0);
            set_pixel(out, x, y, white);
            const int a = error * 8 / 42, b = error * 4 / 42, c = error / 21, d = error / 42;
            words.add(x + s, y, a);
            words.add(x + 2 * s, y, b);
            const int shares[2][5] = {{c, b, a, b, c}, {d, c, b, c, d}};
            for (int i = -2; i <= 2; i++) {
                words.add(x + i * s, y + 1, shares[0][i + 2]);
                words.add(x + i * s, y + 2, shares[1][i + 2]);
            }
        }
    }
    return out;
}

// `value` gets a pixel's colour and its place in the 8 by 8 matrices.
Stored each_pixel(const Stored& in, int depth, const std::function<int(Rgb, int)>& value)
{
    Stored out = in.blank(depth);
    for (int y = 0; y < in.height; y++) {
        for (int x = 0; x < in.width; x++) {
            set_pixel(out, x, y, value(in.at(x, y), (x & 7) * 8 + (y & 7)));
        }
    }
    return out;
}

Stored plain_ordered(const Stored& in, const u8* matrix)
{
    return each_pixel(in, 1, [matrix](Rgb c, int cell) { return matrix[cell] < luma100(c); });
}

Stored plain_bayer_color(const Stored& in)
{
    return each_pixel(in, 4, [&in](Rgb c, int cell) {
        const int t = bayer_matrix[cell];
        const int gray = in.bits == 4 ? luma128(c) : std::max(luma128(c) - 40, 0);
        return (c.blue > t) * 4 + (c.green > t) * 2 + (c.red > t) + (gray > t + 40) * 8;
    });
}

Stored plain_popularity(const Stored& in)
{
    const auto key_of = [](Rgb c) { return (c.red & 240) << 4 | (c.green & 240) | c.blue >> 4; };
    std::vector<u16> count(4096);
    each_pixel(in, 8, [&](Rgb c, int) { return ++count[static_cast<usize>(key_of(c))] & 0; });
    std::vector<int> keys = {0};
    while (keys.size() < 256) {
        usize best = 0;
        for (usize k = 0; k < 4096; k++) {
            best = count[k] >= count[best] ? k : best;
        }
        keys.push_back(static_cast<int>(best));
        count[best] = 0;
    }
    Stored out = each_pixel(in, 8, [&](Rgb c, int) {
        int distance = 65535;
        int nearest = 0;
        for (int i = 0; i < 256 && distance != 0; i++) {
            const int k = keys[static_cast<usize>(i)], p = key_of(c);
            const int r = (k >> 7 & 30) - (p >> 7 & 30), g = (k >> 3 & 30) - (p >> 3 & 30),
                      b = (k << 1 & 30) - (p << 1 & 30);
            if (r * r + g * g + b * b < distance) {
                distance = r * r + g * g + b * b;
                nearest = i;
            }
        }
        return nearest;
    });
    for (const int k : keys) {
        out.palette.push_back(
            {static_cast<u8>((k & 15) << 4), static_cast<u8>(k & 240), static_cast<u8>(k >> 4 & 240), 0});
    }
    return out;
}

struct Case {
    const char* name;
    i16 (*operation)(i32);
    Stored (*rule)(const Stored&);
    int first_depth;
};

const Case kCases[] = {
    {"mediancut", IMG_mediancut_color,
     [](const Stored& in) { return plain_color_diffusion(in, 8, true, choose_332); }, 4},
    {"popularity", IMG_popularity_color, plain_popularity, 24},
    {"gray", IMG_color_gray,
     [](const Stored& in) { return each_pixel(in, 8, [](Rgb c, int) { return luma128(c); }); }, 4},
    {"bayer", IMG_bayer_mono, [](const Stored& in) { return plain_ordered(in, bayer_matrix); }, 4},
    {"halftone", IMG_halftone_mono, [](const Stored& in) { return plain_ordered(in, halftone_matrix); }, 4},
    {"diffusion", IMG_diffusion_mono, plain_diffusion_mono, 4},
    {"bayer color", IMG_bayer_color, plain_bayer_color, 4},
    {"diffusion color", IMG_diffusion_color,
     [](const Stored& in) { return plain_color_diffusion(in, 4, false, choose_16); }, 4},
};

void check_case(const Case& test, int width, int height, int bits, bool slopes)
{
    SCOPED_TRACE(testing::Message() << test.name << ' ' << width << 'x' << height << 'x' << bits);
    const int handle = make_image(width, height, bits, static_cast<unsigned>(width * 31 + height));
    if (slopes) {
        smooth(handle);
    }
    const Stored before = stored(handle);
    EXPECT_EQ(test.operation(handle), bits < test.first_depth ? kNotSupported : kOk);
    const Stored after = stored(handle);
    const Stored expected = bits < test.first_depth ? before : test.rule(before);
    EXPECT_EQ(after.bits, expected.bits);
    EXPECT_TRUE(after.rows == expected.rows);
    const ImageRecord& record = *handle_record(handle);
    EXPECT_EQ(record.row_stride, static_cast<i32>(expected.stride()));
    ImageHeader header;
    IMGLOW_get_bitmap_header(handle, &header);
    EXPECT_TRUE(bits < test.first_depth || header.info.biSizeImage == expected.rows.size());
    const auto same = [](const RGBQUAD& a, const RGBQUAD& b) { return std::memcmp(&a, &b, 4) == 0; };
    EXPECT_TRUE(expected.palette.empty() ||
                std::equal(after.palette.begin(), after.palette.end(), expected.palette.begin(), same));
    IMG_delete_bitmap(handle);
}

TEST(Color, EveryOperationFollowsItsRule)
{
    for (const Case& test : kCases) {
        for (const int bits : {1, 4, 8, 24}) {
            for (const int width : {1, 2, 3, 7, 18, 31, 130}) {
                check_case(test, width, width % 7 + 1, bits, false);
            }
            check_case(test, 301, 90, bits, true);
        }
        ASSERT_FALSE(HasFailure());
    }
}

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
    const Stored after = stored(handle);
    EXPECT_EQ(after.palette[1].rgbRed, 0x90);
    EXPECT_EQ(after.palette[2].rgbRed, 0xF0);
    EXPECT_EQ(after.row(0)[0], 1);
    EXPECT_EQ(after.row(1)[0], 1);  // 0x50 is nearer to 0x90 than to black: 4 steps of a channel against 5
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
        const Stored original = stored(handle);
        IMG_set_lut(handle, 50, -70);
        EXPECT_EQ(IMG_set_lut(handle, 0, 10), kOk);
        const Stored after = stored(handle);
        EXPECT_EQ(after.rows, original.rows);
        for (usize i = 0; i < after.palette.size(); i++) {
            EXPECT_EQ(after.palette[i].rgbGreen, std::min(original.palette[i].rgbGreen + 20, 255));
        }
        IMG_set_lut(handle, 0, 0);
        EXPECT_EQ(std::memcmp(stored(handle).palette.data(), original.palette.data(), after.palette.size() * 4),
                  0);
        IMG_delete_bitmap(handle);
    }
    const int handle = make_image(9, 4, 1, 1);
    EXPECT_EQ(IMG_set_lut(handle, 1, 1), kNotSupported);
    IMG_delete_bitmap(handle);
}

TEST(Tone, InversionComplementsEveryByte)
{
    for (const int bits : {1, 4, 8, 24}) {
        const int handle = make_image(37, 3, bits, 5);
        std::vector<u8> expected = raw_rows(handle);
        for (u8& byte : expected) {
            byte = static_cast<u8>(~byte);
        }
        EXPECT_EQ(IMG_invert_bitmap(handle), kOk);
        EXPECT_EQ(raw_rows(handle), expected);
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
