// Every operation on whole pictures against the digests that operation_digests.py works out with tables of its
// own.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <numeric>
#include <set>

#include "frame/rows.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

// Byte k of row y of each kind of picture: slopes with a grain, squares of one gray each, noise.
int slope(int k, int y)
{
    return std::clamp((k * 3 + y * 5 + k % 3 * 40 + k * y % 13 * 2) % 510 - 150, 0, 255);
}

const struct Kind {
    const char* name;
    bool gray;
    int (*byte)(int k, int y);
} kKinds[] = {{"slopes", false, slope},
              {"shades", true, slope},
              {"squares", true, [](int k, int y) { return k / 8 + y / 8 * 16; }},
              {"noise", false, [](int k, int y) { return (k * 40503 + y * 30011 + k * y * 977) >> 5; }}};

int make_picture(const Kind& kind, int width, int height, u16 bits)
{
    const BITMAPINFOHEADER info = {40, width, height, 1, bits, 0, 0, 0, 0, 0, 0};
    std::vector<u8> packed(40);
    std::memcpy(packed.data(), &info, 40);
    const int entries = palette_bytes(info) / 4;
    for (int i = 0; i < entries; i++) {
        const int level = i * 255 / (entries - 1);
        const std::array<int, 4> entry =
            kind.gray ? std::array{level, level, level, 0} : std::array{i * 80 + 5, i * 33, 255 - i * 9, 0};
        for (const int channel : entry) {
            packed.push_back(static_cast<u8>(channel));
        }
    }
    for (int y = 0; y < height; y++) {
        // Nothing behind the last pixel: the filters read on there.
        for (int k = 0; k < row_stride_wide(width, bits); k++) {
            const int pixels = std::clamp(width * bits - k * 8, 0, 8);
            packed.push_back(static_cast<u8>(kind.byte(k, y) & 0xFF00 >> pixels));
        }
    }
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
}

// Of sizes, depth, palette and rows, without what lies behind the last pixel of a row. Where the depth is a new
// one that is zero.
u64 digest(int handle, int bits_before)
{
    ImageHeader header;
    EXPECT_EQ(IMGLOW_get_bitmap_header(handle, &header), kOk);
    const BITMAPINFOHEADER& info = header.info;
    EXPECT_EQ(IMG_get_dib_intern(handle)->row_stride, row_stride_wide(info.biWidth, info.biBitCount));
    const i32 numbers[] = {info.biWidth, info.biHeight, info.biBitCount, static_cast<i32>(info.biSizeImage)};
    std::vector<u8> bytes(sizeof numbers);
    std::memcpy(bytes.data(), numbers, sizeof numbers);
    const auto* palette = reinterpret_cast<const u8*>(header.palette);
    bytes.insert(bytes.end(), palette, palette + palette_bytes(info));
    const std::vector<u8> rows = raw_rows(handle);
    const int bits = info.biWidth * info.biBitCount, used = (bits + 7) / 8;
    const int stride = static_cast<int>(row_stride_wide(info.biWidth, info.biBitCount));
    for (auto row = rows.begin(); row < rows.end(); row += stride) {
        bytes.insert(bytes.end(), row, row + used);
        bytes.back() = static_cast<u8>(bytes.back() & 0xFF << (-bits & 7));
        const int spare = std::accumulate(row + used, row + stride, row[used - 1] - bytes.back());
        EXPECT_TRUE(spare == 0 || info.biBitCount == bits_before);
    }
    u64 value = 0xCBF29CE484222325;
    for (const u8 byte : bytes) {
        value = (value ^ byte) * 0x100000001B3;
    }
    return value;
}

const struct {
    const char* name;
    i16 (*run)(i32 handle);
} kOperations[] = {{"gray", IMG_color_gray},
                   {"bayer_mono", IMG_bayer_mono},
                   {"halftone_mono", IMG_halftone_mono},
                   {"diffusion_mono", IMG_diffusion_mono},
                   {"bayer_color", IMG_bayer_color},
                   {"diffusion_color", IMG_diffusion_color},
                   {"mediancut", IMG_mediancut_color},
                   {"popularity", IMG_popularity_color},
                   {"flipx", IMG_flip_bitmapx},
                   {"flipy", IMG_flip_bitmapy},
                   {"turn90", [](i32 h) { return IMG_rotate_bitmap(h, 90); }},
                   {"turn180", [](i32 h) { return IMG_rotate_bitmap(h, 180); }},
                   {"turn270", [](i32 h) { return IMG_rotate_bitmap(h, 270); }},
                   {"transpose", [](i32 h) { return IMG_rotate_bitmap(h, 0); }},
                   {"shrink", [](i32 h) { return IMG_resize_bitmap(h, 23, 30); }},
                   {"enlarge", [](i32 h) { return IMG_resize_bitmap(h, 150, 101); }},
                   {"lut", [](i32 h) { return IMG_set_lut(h, 40, -15); }},
                   {"invert", IMG_invert_bitmap},
                   {"sharpen", [](i32 h) { return IMG_sharpen_bitmap(h, 64); }},
                   {"blur", [](i32 h) { return IMG_sharpen_bitmap(h, -48); }}};

template <typename Table>
const auto& named(const Table& table, const std::string& name)
{
    const auto* row =
        std::find_if(std::begin(table), std::end(table), [&](const auto& r) { return name == r.name; });
    EXPECT_NE(row, std::end(table)) << name;
    return row == std::end(table) ? table[0] : *row;
}

TEST(Operations, WholeResultsHaveTheirDigests)
{
    std::ifstream file(data_path("ops/digests.txt"));
    std::set<std::string> seen;
    std::string operation, kind;
    int width, height, result;
    u16 bits;
    u64 expected;
    while (file >> operation >> kind >> std::dec >> width >> height >> bits >> result >> std::hex >> expected) {
        SCOPED_TRACE(testing::Message()
                     << operation << ' ' << kind << ' ' << width << 'x' << height << 'x' << bits);
        const int handle = make_picture(named(kKinds, kind), width, height, bits);
        EXPECT_EQ(named(kOperations, operation).run(handle), result);
        EXPECT_EQ(digest(handle, bits), expected);
        IMG_delete_bitmap(handle);
        seen.insert(operation);
    }
    EXPECT_TRUE(file.eof() && seen.size() == std::size(kOperations));
}

}  // namespace
}  // namespace orv::test
