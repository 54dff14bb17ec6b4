// GIF files byte by byte.
#include <gtest/gtest.h>

#include "frame/handles.h"
#include "orvimg32/sized.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using namespace std::string_literals;

// A file of one picture of 2 by 1 pixels, 1 and 2: what stands between screen and descriptor, and around.
struct Pieces {
    std::string version = "87a";
    u8 screen_packed = 0x81;
    std::string global = std::string(12, 'g');
    std::string between = "";
    std::string separator = ",";
    u8 packed = 0;
    std::string local = "";
    char minimum = 2;
    i16 width = 2;
};

std::string file_of(const Pieces& p)
{
    const std::string size = {static_cast<char>(p.width), static_cast<char>(p.width >> 8), 1, 0};
    // Codes 4, 1, 2, 5 of 3 bits.
    return "GIF" + p.version + "\x64\0\x64\0"s + static_cast<char>(p.screen_packed) + "\0\0"s + p.global +
           p.between + p.separator + "\7\0\7\0"s + size + static_cast<char>(p.packed) + p.local + p.minimum +
           "\2\x8C\x0A\0;"s;
}

i16 load(const std::string& file)
{
    return IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
}

TEST(Gif, WhatIsPassedOverAndWhatIsNot)
{
    const std::string extensions = "!\xF9\4\1\0\0\0\0!\xFE\3a,b\0!\1\1x\2yz\0"s;
    struct Case {
        const char* what;
        Pieces pieces;
        int bits;    // or a negative code
        u32 colour;  // of pixel 0, which is 1
    };
    const std::string many = std::string(3, 'A') + "BGR" + std::string(90, 'x');
    const Case cases[] = {
        {"a plain file", {}, 4, 0x676767},
        {"extensions", {.version = "89a", .between = extensions}, 4, 0x676767},
        // The zero byte inside a comment ends it; what follows is taken for the descriptor.
        {"a comment with a zero byte", {.version = "89a", .between = "!\xFE\5a\0"s}, 4, 0x676767},
        {"any separator behind extensions",
         {.version = "89a", .between = extensions, .separator = "X"},
         4,
         0x676767},
        {"stray bytes", {.between = "!\xFEhello\0\1\2"s}, 4, 0x676767},
        {"no table at all", {.screen_packed = 0x70, .global = ""}, 1, 0},
        {"a local table", {.packed = 0x84, .local = many}, 8, 0x424752},
        {"a local table of 16", {.packed = 0x83, .local = many.substr(0, 48)}, 4, 0x424752},
        {"a local table over the global one", {.packed = 0x80, .local = "AAABBB"}, 1, 0x424242},
        {"a size field without its table", {.packed = 0x07}, 4, 0x676767},
        {"a size field without any table", {.screen_packed = 0, .global = "", .packed = 0x07}, 8, 0},
        {"a large minimum", {.minimum = 9}, kBadData, 0},
        {"no minimum", {.minimum = 0}, kBadData, 0},
        {"no width", {.width = 0}, kBadData, 0},
        {"a width below 0", {.width = -1}, kBadData, 0},
        {"a row that cannot be carried",
         {.packed = 0x87, .local = std::string(768, 'x'), .width = 32765},
         kNotSupported,
         0},
    };
    for (const Case& c : cases) {
        const std::string file = file_of(c.pieces);
        const i16 handle = load(file);
        if (c.bits < 0) {
            EXPECT_EQ(handle, c.bits) << c.what;
            continue;
        }
        ASSERT_GE(handle, 0) << c.what;
        const Picture picture = picture_of(handle);
        IMG_delete_bitmap(handle);
        EXPECT_EQ(picture.bits, c.bits) << c.what;
        EXPECT_EQ(picture.width, 2) << c.what;
        EXPECT_EQ(picture.pixels[0], c.colour) << c.what;
        const usize end = file.size() - 4;  // of the bytes ahead of the codes
        for (usize length = 10; length < end; ++length) {
            EXPECT_EQ(load(file.substr(0, length)), kBadData) << c.what << " cut at " << length;
        }
    }
}

TEST(Gif, TheFileByBytes)
{
    // Indices 1 1 1 / 1 2 2, the bottom row first.
    struct {
        BITMAPINFOHEADER info;
        u32 palette[16];
        u8 rows[8];
    } image = {{40, 3, 2, 1, 4, 0, 0, 0, 0, 0, 0}, {0x102030, 0x405060}, {0x12, 0x20, 0, 0, 0x11, 0x10, 0, 0}};
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(&image));
    ASSERT_GE(handle, 0);
    std::string file(1000, 0);
    u32 written = 0;
    ASSERT_EQ(IMG_save_bitmap_mem_sized(handle, file.data(), 1000, ORV_FORMAT_GIF, &written), 0);
    IMG_delete_bitmap(handle);
    file.resize(written);
    // Codes 16, 1, 18, 1, 2, 2, 17 of 5 bits.
    EXPECT_EQ(file, "GIF87a\3\0\2\0\x83\0\0\x10\x20\x30\x40\x50\x60"s + std::string(42, 0) +
                        ",\0\0\0\0\3\0\2\0\3\4\5\x30\xC8\x20\x44\4\0;"s);
}

TEST(Gif, OtherDepthsAreRefusedSilently)
{
    const std::string path = temp_path("kept.gif");
    const u8 content[] = {1, 2, 3};
    int reports = 0;
    IMG_set_callback([](i16, void* user) { ++*static_cast<int*>(user); }, &reports);
    for (const int bits : {1, 24}) {
        write_file(path, content);
        const int handle = make_image(5, 5, bits, 1);
        EXPECT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_GIF, 1, 1, 1, 1), kNotSupported);
        EXPECT_EQ(read_file(path).size(), 3U);
        IMG_delete_bitmap(handle);
    }
    IMG_set_callback(nullptr, nullptr);
    EXPECT_EQ(reports, 0);
}

}  // namespace
}  // namespace orv::test
