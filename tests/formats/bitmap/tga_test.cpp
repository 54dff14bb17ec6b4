#include "tests/formats/bitmap/job.h"

namespace orv::test
{
namespace
{

using Pixels = std::vector<u32>;

// Two by one pixels of 24 bits from the top, but for the fields given.
Bytes tga_file(const std::vector<Field>& fields, const Bytes& data)
{
    return file_of({0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0, 24, 0x20}, fields, data);
}

Pixels pixels_of(const std::vector<Field>& fields, const Bytes& data)
{
    return load_picture(tga_file(fields, data)).pixels;
}

TEST(TgaRead, PixelsAndMaps)
{
    EXPECT_EQ(pixels_of({{16, {16}}}, {0xFF, 0x7F, 0x21, 0x84}), (Pixels{0xF8F8F8, 0x080808}));
    EXPECT_EQ(pixels_of({{16, {32}}}, {1, 2, 3, 99, 4, 5, 6, 99}), (Pixels{0x030201, 0x060504}));
    EXPECT_EQ(pixels_of({{2, {3}}, {16, {8}}}, {7, 200}), (Pixels{0x070707, 0xC8C8C8}));
    // The ID field and the map stand ahead of the pixels; entry size 15 is read as 16.
    EXPECT_EQ(
        pixels_of({{0, {3, 1, 1}}, {5, {2, 0, 15}}, {16, {8}}}, {'a', 'b', 'c', 0x1F, 0, 0xE0, 0x83, 1, 0}),
        (Pixels{0x00F800, 0x0000F8}));
    Bytes long_id(200, 'x');
    long_id.insert(long_id.end(), {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(pixels_of({{0, {200}}}, long_id), (Pixels{0x030201, 0x060504})) << "an ID of more than 127 bytes";
    // Of 258 entries the last two are passed over, and so is a map that nothing needs.
    Bytes map;
    for (int i = 0; i < 258; ++i) {
        map.insert(map.end(), {static_cast<u8>(i), 9, static_cast<u8>(i < 256 ? 1 : 2), 0});
    }
    map.insert(map.end(), {0, 255});
    EXPECT_EQ(pixels_of({{1, {1, 1}}, {5, {2, 1, 32}}, {16, {8}}}, map), (Pixels{0x010900, 0x0109FF}));
    EXPECT_EQ(pixels_of({{1, {1}}, {5, {1, 0, 24}}}, {9, 9, 9, 1, 2, 3, 4, 5, 6}),
              (Pixels{0x030201, 0x060504}));
}

TEST(TgaRead, PacketsCrossRows)
{
    // A run of five in rows of two, then raw pixels; the last row does not come whole.
    EXPECT_EQ(pixels_of({{2, {10}}, {14, {4}}}, {0x84, 1, 1, 1, 0x01, 2, 2, 2, 3, 3, 3}),
              (Pixels{0x010101, 0x010101, 0x010101, 0x010101, 0x010101, 0x020202, 0, 0}));
    // Longer than the chunk: 45 packets of 128 raw pixels in rows of 640.
    Bytes data;
    Pixels expected;
    for (u32 i = 0; i < 640 * 9; ++i) {
        if (i % 128 == 0) {
            data.push_back(127);
        }
        data.insert(data.end(), {static_cast<u8>(i * 7 >> 3), 1, 2, 3});
        expected.push_back(0x020100U | (i * 7 >> 3 & 0xFF));
    }
    EXPECT_EQ(pixels_of({{2, {10}}, {12, {0x80, 2, 9, 0, 32}}}, data), expected);
}

TEST(TgaRead, RefusesWhatMakesNoPicture)
{
    EXPECT_EQ(load(tga_file({{12, {0}}}, {})), kBadData);
    EXPECT_EQ(load(tga_file({{12, {0, 43}}}, {})), kNotSupported) << "a row above 32,764 bytes";
    EXPECT_EQ(load(tga_file({{16, {4}}}, {})), kNotSupported);
    EXPECT_EQ(load(tga_file({{1, {1}}, {7, {8}}}, {})), kBadData);
    EXPECT_EQ(load(Bytes(17, 2)), kBadData);
    EXPECT_EQ(pixels_of({}, {}), (Pixels{0, 0})) << "a header alone is a picture without rows";
    Pixels cut(500);
    cut[0] = 0x010203;
    EXPECT_EQ(pixels_of({{12, {0xF4, 1}}}, {3, 2, 1}), cut) << "a row cut short";
    EXPECT_EQ(pixels_of({{12, {0xF4, 1}}, {17, {0}}}, {3, 2, 1}), cut) << "the same, bottom first";
}

TEST(TgaWrite, TypesAndDepths)
{
    reset_jobs();
    for (const int bits : {1, 4}) {
        const int handle = make_image(5, 2, bits, 1);
        EXPECT_EQ(save(handle, temp_path("no.tga"), ORV_FORMAT_TGA), kNotSupported);
        IMG_delete_bitmap(handle);
    }
    // One row of the file is longer than the reader's chunk.
    int handle = make_image(4001, 2, 24, 1);
    Bytes file = saved(handle, ORV_FORMAT_TGA);
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 18), tga_file({{12, {0xA1, 15, 2, 0, 24, 0}}}, {}));
    EXPECT_EQ(file.size(), 18U + 2 * 12003);
    expect_same(load_picture(file), picture_of(handle), "24 bits");
    IMG_delete_bitmap(handle);

    handle = make_image(5, 2, 8, 1);
    Pixels grays;
    for (u32 i = 0; i < 256; ++i) {
        grays.push_back(i * 0x010101);
    }
    for (const u32 first : {0U, 1U}) {  // gray needs no map
        grays[0] = first;
        set_palette(handle, grays);
        file = saved(handle, ORV_FORMAT_TGA);
        EXPECT_EQ(file.size(), 18 + first * 768 + 2 * 5);
        EXPECT_EQ(file[2], first == 0 ? 3 : 1);
        expect_same(load_picture(file), picture_of(handle), "8 bits");
    }
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
