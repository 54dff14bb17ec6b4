#include <gtest/gtest.h>

#include "formats/bitmap/tga.h"
#include "frame/bytes.h"
#include "frame/errors.h"
#include "frame/load.h"
#include "orvimg32/sized.h"
#include "tests/formats/bitmap/job.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

struct TgaParts {
    u8 type = 2;
    u16 width = 2;
    u16 height = 1;
    u8 bits = 24;
    u8 descriptor = 0x20;
    u8 map_type = 0;
    u16 map_entries = 0;
    u8 map_bits = 0;
    u8 id_bytes = 0;
    std::vector<u8> data = {};  // all behind the header
};

std::vector<u8> tga_file(const TgaParts& parts)
{
    std::vector<u8> file(kTgaHeaderBytes + parts.data.size());
    file[0] = parts.id_bytes;
    file[1] = parts.map_type;
    file[2] = parts.type;
    store_le16(&file[5], parts.map_entries);
    file[7] = parts.map_bits;
    store_le16(&file[12], parts.width);
    store_le16(&file[14], parts.height);
    file[16] = parts.bits;
    file[17] = parts.descriptor;
    std::copy(parts.data.begin(), parts.data.end(), file.begin() + kTgaHeaderBytes);
    return file;
}

std::vector<u32> pixels_of(const TgaParts& parts)
{
    return load_picture(tga_file(parts)).pixels;
}

i16 result_of(const TgaParts& parts)
{
    const i16 result = check_load(tga_file(parts)).loaded;
    return std::min<i16>(result, 0);
}

TEST(TgaRead, PixelsAndMaps)
{
    using Pixels = std::vector<u32>;
    EXPECT_EQ(pixels_of({.bits = 16, .data = {0xFF, 0x7F, 0x21, 0x84}}), (Pixels{0xF8F8F8, 0x080808}));
    EXPECT_EQ(pixels_of({.bits = 32, .data = {1, 2, 3, 99, 4, 5, 6, 99}}), (Pixels{0x030201, 0x060504}));
    EXPECT_EQ(pixels_of({.type = 3, .bits = 8, .data = {7, 200}}), (Pixels{0x070707, 0xC8C8C8}));
    // The ID field and the map stand ahead of the pixels; entry size 15 is read as 16.
    const TgaParts mapped = {.type = 1,
                             .bits = 8,
                             .map_type = 1,
                             .map_entries = 2,
                             .map_bits = 15,
                             .id_bytes = 3,
                             .data = {'a', 'b', 'c', 0x1F, 0, 0xE0, 0x83, 1, 0}};
    EXPECT_EQ(pixels_of(mapped), (Pixels{0x00F800, 0x0000F8}));
    // Of 258 entries the last two are passed over, and so is a map that nothing needs.
    TgaParts long_map = {.type = 1, .bits = 8, .map_type = 1, .map_entries = 258, .map_bits = 32};
    for (int i = 0; i < 258; ++i) {
        long_map.data.insert(long_map.data.end(), {static_cast<u8>(i), 9, static_cast<u8>(i < 256 ? 1 : 2), 0});
    }
    long_map.data.insert(long_map.data.end(), {0, 255});
    EXPECT_EQ(pixels_of(long_map), (Pixels{0x010900, 0x0109FF}));
    EXPECT_EQ(pixels_of({.map_type = 1, .map_entries = 1, .map_bits = 24, .data = {9, 9, 9, 1, 2, 3, 4, 5, 6}}),
              (Pixels{0x030201, 0x060504}));
}

TEST(TgaRead, PacketsCrossRows)
{
    // A run of five in rows of two, then raw pixels; the last row does not come whole.
    const TgaParts parts = {.type = 10, .height = 4, .data = {0x84, 1, 1, 1, 0x01, 2, 2, 2, 3, 3, 3}};
    EXPECT_EQ(pixels_of(parts),
              (std::vector<u32>{0x010101, 0x010101, 0x010101, 0x010101, 0x010101, 0x020202, 0, 0}));
    // Longer than the chunk: 128 raw pixels of 4 bytes a packet, 5 packets a row, 9 rows.
    TgaParts wide = {.type = 10, .width = 640, .height = 9, .bits = 32};
    std::vector<u32> expected;
    for (u32 i = 0; i < 640 * 9; ++i) {
        if (i % 128 == 0) {
            wide.data.push_back(127);
        }
        const u8 value = static_cast<u8>(i * 7 >> 3);
        wide.data.insert(wide.data.end(), {value, 1, 2, 3});
        expected.push_back(0x020100U | value);
    }
    EXPECT_EQ(pixels_of(wide), expected);
}

TEST(TgaRead, RowsWiderThanTheChunk)
{
    TgaParts parts = {.width = 4001, .height = 2, .descriptor = 0};
    std::vector<u32> expected;
    for (int row : {1, 0}) {
        for (int x = 0; x < 4001; ++x) {
            parts.data.insert(parts.data.end(),
                              {static_cast<u8>(x), static_cast<u8>(x >> 8), static_cast<u8>(1 - row)});
            expected.push_back(static_cast<u32>(x | row << 16));
        }
    }
    EXPECT_EQ(pixels_of(parts), expected);
}

TEST(TgaRead, RefusesWhatMakesNoPicture)
{
    EXPECT_EQ(result_of({.width = 0}), kBadData);
    EXPECT_EQ(result_of({.height = 0}), kBadData);
    EXPECT_EQ(result_of({.width = 11000}), kNotSupported);
    EXPECT_EQ(result_of({.bits = 4}), kNotSupported);
    EXPECT_EQ(result_of({.map_type = 1, .map_bits = 8}), kBadData);
    EXPECT_EQ(result_of({}), 0) << "a header alone is a picture without rows";
    EXPECT_EQ(check_load(std::vector<u8>(17, 2)).loaded, kBadData);
}

TEST(TgaWrite, TypesAndDepths)
{
    reset_jobs();
    for (const int bits : {1, 4}) {
        const int handle = make_image(5, 2, bits, 1);
        EXPECT_EQ(IMG_save_bitmap(handle, temp_path("no.tga").c_str(), ORV_FORMAT_TGA, 1, 1, 0, 0),
                  kNotSupported);
        IMG_delete_bitmap(handle);
    }
    int handle = make_image(5, 2, 24, 1);
    std::vector<u8> file = save_to_memory(handle, ORV_FORMAT_TGA);
    EXPECT_EQ(file.size(), 18U + 2 * 15);
    EXPECT_TRUE(std::equal(file.begin(), file.end() - 30,
                           tga_file({.width = 5, .height = 2, .descriptor = 0}).begin()));
    expect_same(load_picture(file), picture_of(handle), "24 bits");
    IMG_delete_bitmap(handle);

    handle = make_image(5, 2, 8, 1);
    std::vector<u32> grays;
    for (u32 i = 0; i < 256; ++i) {
        grays.push_back(i * 0x010101);
    }
    set_palette(handle, grays);
    file = save_to_memory(handle, ORV_FORMAT_TGA);
    EXPECT_EQ(file.size(), 18U + 2 * 5);
    EXPECT_EQ(file[2], 3);
    set_palette(handle, {0x000001});
    file = save_to_memory(handle, ORV_FORMAT_TGA);
    EXPECT_EQ(file.size(), 18U + 768 + 2 * 5);
    EXPECT_EQ(file[2], 1);
    expect_same(load_picture(file), picture_of(handle), "8 bits");
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
