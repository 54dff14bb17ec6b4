// Every operation on whole pictures against the digests that operation_digests.py works out with tables of its
// own.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "frame/rows.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

const struct Source {
    const char* name;
    int width, height, bits;
    bool gray;
} kSources[] = {{"photo24", 61, 47, 24, false}, {"photo8", 61, 47, 8, false}, {"photo4", 61, 47, 4, false},
                {"photo1", 61, 47, 1, false},   {"gray4", 61, 47, 4, true},   {"gray8", 131, 133, 8, true}};

// Slopes with a grain, or squares of one gray each.
int byte_of(const Source& source, int k, int y)
{
    return source.width == 131 ? k / 8 + y / 8 * 16
                               : std::clamp((k * 3 + y * 5 + k % 3 * 40 + k * y % 13 * 2) % 510 - 150, 0, 255);
}

int make_source(const Source& source)
{
    ImageHeader header = {};
    header.info = {40, source.width, source.height, 1, static_cast<u16>(source.bits), 0, 0, 0, 0, 0, 0};
    const int entries = palette_bytes(header.info) / 4;
    const auto* bytes = reinterpret_cast<const u8*>(&header);
    std::vector<u8> packed(bytes, bytes + 40);
    for (int i = 0; i < entries; i++) {
        const int level = i * 255 / (entries - 1);
        for (const int channel : {source.gray ? level : i * 80 + 5, source.gray ? level : i * 33,
                                  source.gray ? level : 255 - i * 9, 0}) {
            packed.push_back(static_cast<u8>(channel));
        }
    }
    const int used = (source.width * source.bits + 7) / 8;
    for (int y = 0; y < source.height; y++) {
        for (int k = 0; k < row_stride_wide(source.width, source.bits); k++) {
            packed.push_back(static_cast<u8>(k < used ? byte_of(source, k, y) : 0));
        }
        // Nothing behind the last pixel: the filters read on there.
        u8& last =
            packed[packed.size() - static_cast<usize>(row_stride_wide(source.width, source.bits) - used) - 1];
        last = static_cast<u8>(last & 0xFF << (-source.width * source.bits & 7));
    }
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
}

// Of size, depth, palette and rows, without what lies behind the last pixel of a row.
u64 digest(int handle)
{
    ImageHeader header;
    EXPECT_EQ(IMGLOW_get_bitmap_header(handle, &header), kOk);
    const BITMAPINFOHEADER& info = header.info;
    std::vector<u8> bytes;
    for (const i32 number : {info.biWidth, info.biHeight, i32{info.biBitCount}}) {
        const auto* p = reinterpret_cast<const u8*>(&number);
        bytes.insert(bytes.end(), p, p + 4);
    }
    const auto* palette = reinterpret_cast<const u8*>(header.palette);
    bytes.insert(bytes.end(), palette, palette + palette_bytes(info));
    const std::vector<u8> rows = raw_rows(handle);
    const int bits = info.biWidth * info.biBitCount;
    for (auto row = rows.begin(); row < rows.end(); row += row_stride_wide(info.biWidth, info.biBitCount)) {
        bytes.insert(bytes.end(), row, row + (bits + 7) / 8);
        bytes.back() = static_cast<u8>(bytes.back() & 0xFF << (-bits & 7));
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
                   {"enlarge", [](i32 h) { return IMG_resize_bitmap(h, 150, 151); }},
                   {"lut", [](i32 h) { return IMG_set_lut(h, 40, -15); }},
                   {"invert", IMG_invert_bitmap},
                   {"sharpen", [](i32 h) { return IMG_sharpen_bitmap(h, 64); }},
                   {"blur", [](i32 h) { return IMG_sharpen_bitmap(h, -48); }}};

TEST(Operations, WholeResultsHaveTheirDigests)
{
    std::ifstream file(data_path("ops/digests.txt"));
    std::set<std::string> seen;
    std::string operation, source;
    u64 expected;
    while (file >> operation >> source >> std::hex >> expected) {
        SCOPED_TRACE(operation + " " + source);
        const auto named = [](const std::string& name) {
            return [&](const auto& row) { return name == row.name; };
        };
        const auto* step = std::find_if(std::begin(kOperations), std::end(kOperations), named(operation));
        const auto* from = std::find_if(std::begin(kSources), std::end(kSources), named(source));
        ASSERT_TRUE(step != std::end(kOperations) && from != std::end(kSources));
        const int handle = make_source(*from);
        EXPECT_EQ(step->run(handle), kOk);
        EXPECT_EQ(digest(handle), expected);
        IMG_delete_bitmap(handle);
        seen.insert(operation);
    }
    EXPECT_TRUE(file.eof() && seen.size() == std::size(kOperations));
}

}  // namespace
}  // namespace orv::test
