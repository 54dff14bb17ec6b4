// The clipboard, to files. What is on it is anybody's.
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>

#include "frame/bytes.h"
#include "tests/output/drawing.h"

using namespace orv;
using namespace orv::test;

namespace
{

const std::string kFile = "clip.bmp";

i16 save_clipboard()
{
    std::filesystem::remove(kFile);
    return IMG_save_clipboard(kFile.c_str(), 1);
}

i16 save_block(const std::vector<u8>& block)
{
    EXPECT_EQ(orv_clipboard_set_dib(block.data(), static_cast<u32>(block.size())), 0);
    const i16 result = save_clipboard();
    EXPECT_EQ(orv_clipboard_set_dib(nullptr, 0), 0);
    return result;
}

TEST(Clipboard, ImagesAreWrittenAsTheyAre)
{
    for (const int bits : {1, 4, 8, 24}) {
        const int handle = make_image(23, 9, bits, 3);
        const Picture wanted = picture_of(handle);
        std::vector<u8> image = packed_image(handle);
        EXPECT_EQ(save_block(image), 1);
        expect_same(load_picture(kFile), wanted, "clipboard");
        expect_same(peer_picture(kFile), wanted, "ImageMagick");
        const std::vector<u8> file = read_file(kFile);
        EXPECT_EQ(load_le32(&file[2]), file.size());
        EXPECT_TRUE(std::equal(image.begin(), image.end(), file.begin() + 14));

        // The same with the top row first.
        const usize stride = static_cast<usize>(row_stride_wide(23, bits));
        std::vector<u8> turned = image;
        store_le32(&turned[8], static_cast<u32>(-9));
        for (usize r = 0; r < 9; ++r) {
            std::copy_n(image.end() - static_cast<i64>((r + 1) * stride), stride,
                        turned.end() - static_cast<i64>((9 - r) * stride));
        }
        EXPECT_EQ(save_block(turned), 1);
        EXPECT_EQ(read_file(kFile), file);

        // A longer header: the rows are found behind it, and the file begins as the block does.
        std::vector<u8> longer = image;
        longer[0] = 108;
        longer.insert(longer.begin() + 40, 68, u8{0xAA});
        EXPECT_EQ(save_block(longer), 1);
        const std::vector<u8> as_it_is = read_file(kFile);
        ASSERT_EQ(as_it_is.size(), file.size());
        const auto start = static_cast<std::ptrdiff_t>(load_le32(&file[10]));
        EXPECT_TRUE(std::equal(as_it_is.begin() + 14, as_it_is.begin() + start, longer.begin()));
        EXPECT_TRUE(std::equal(as_it_is.begin() + start, as_it_is.end(), file.begin() + start));
        IMG_delete_bitmap(handle);
    }
}

TEST(Clipboard, ShortPalettesAreFilledUp)
{
    std::vector<u8> block(40 + 16 + 5 * 8);
    for (usize i = 40; i < block.size(); ++i) {
        block[i] = static_cast<u8>(i);
    }
    for (const auto& [at, value] : {std::pair{0, 40}, {4, 5}, {8, 5}, {12, 1}, {14, 8}, {32, 4}}) {
        block[static_cast<usize>(at)] = static_cast<u8>(value);
    }
    ASSERT_EQ(save_block(block), 1);
    const std::vector<u8> file = read_file(kFile);
    ASSERT_EQ(file.size(), 54u + 1024 + 40);
    EXPECT_TRUE(std::equal(block.begin(), block.end(), file.begin() + 14)) << "what stands behind the palette";
    EXPECT_EQ(file[14 + block.size()], 0) << "and zeros behind the block";
    EXPECT_TRUE(std::equal(block.begin() + 56, block.end(), file.begin() + 54 + 1024)) << "rows";
}

TEST(Clipboard, LiesMakeNoFile)
{
    const int handle = make_image(23, 9, 8, 3);
    const std::vector<u8> image = packed_image(handle);
    IMG_delete_bitmap(handle);
    const auto refused = [&](const std::function<void(std::vector<u8>&)>& change) {
        std::vector<u8> block = image;
        change(block);
        return save_block(block) == kNoBitmap && !std::filesystem::exists(kFile);
    };
    EXPECT_FALSE(refused([](auto&) {}));
    for (const usize size : {usize{0}, usize{39}, usize{40}, usize{1063}, image.size() - 1}) {
        EXPECT_TRUE(refused([&](auto& b) { b.resize(size); })) << size;
    }
    const std::vector<std::pair<usize, u32>> lies = {
        {0, 39}, {0, 0x8028}, {0, 0x7FFF},      {4, 0},          {4, 0xFFFFFFFF}, {4, 0x7FFFFFFF},
        {8, 0},  {8, 10},     {8, 0x80000000},  {14, 16},        {14, 32},        {14, 0},
        {16, 1}, {32, 300},   {32, 0xFFFFFFFF}, {32, 0x40000000}};
    for (const auto& [at, value] : lies) {
        const usize place = at;
        const u32 lie = value;
        EXPECT_TRUE(refused([&](auto& b) {
            place == 14 ? store_le16(&b[place], lie) : store_le32(&b[place], lie);
        })) << at
            << " " << value;
    }
}

TEST(Clipboard, BitmapsTakeTheScreensColours)
{
    EXPECT_EQ(save_clipboard(), kNoBitmap);
    EXPECT_EQ(orv_clipboard_set_bitmap(77), -2);
    const int handle = make_image(16, 3, 8, 5);
    ImageHeader header;
    IMGLOW_get_bitmap_header(handle, &header);
    std::vector<u8> rows = raw_rows(handle);
    const HBITMAP bitmap =
        orv_bitmap_create(16, 3, 8, rows.data(), reinterpret_cast<const u8*>(header.palette));
    EXPECT_EQ(orv_clipboard_set_bitmap(bitmap), 0);
    EXPECT_EQ(save_clipboard(), 1);
    Picture own = load_picture(kFile);
    EXPECT_EQ(own.pixels[0], picture_of(handle).pixels[32]) << "rows of bitmaps are top first";

    const HDC screen = make_device(4, 4, 8);
    const int gray = make_image(4, 4, 24, 1);
    IMG_color_gray(gray);
    EXPECT_EQ(orv_screen_set(screen), 0);
    EXPECT_EQ(IMG_bitmap_palette(gray, screen), kOk);
    EXPECT_EQ(save_clipboard(), 1);
    const Picture grays = load_picture(kFile);
    for (usize i = 0; i < 16; ++i) {
        EXPECT_EQ(grays.pixels[i], rows[i] * 0x010101u);
    }
    // An image comes first, and a busy clipboard gives nothing.
    const std::vector<u8> image = packed_image(gray);
    EXPECT_EQ(orv_clipboard_set_dib(image.data(), static_cast<u32>(image.size())), 0);
    EXPECT_EQ(save_clipboard(), 1);
    EXPECT_EQ(load_picture(kFile).width, 4);
    orv_clipboard_set_busy(1);
    EXPECT_EQ(save_clipboard(), kNoBitmap);
    EXPECT_FALSE(std::filesystem::exists(kFile));
    orv_clipboard_set_busy(0);
    EXPECT_EQ(IMG_save_clipboard("no/such/folder", 0), kOutOfMemory);
    EXPECT_EQ(IMG_save_clipboard(nullptr, 0), kOutOfMemory);
    check_short_writes(save_clipboard);
    orv_clipboard_set_dib(nullptr, 0);
    check_allocations(save_clipboard);
    check_short_writes(save_clipboard);
    EXPECT_EQ(orv_bitmap_delete(bitmap), 0);
    EXPECT_EQ(save_clipboard(), kNoBitmap) << "a bitmap that is deleted leaves the clipboard";
    orv_device_delete(screen);
    IMG_delete_bitmap(gray);
    IMG_delete_bitmap(handle);
    EXPECT_EQ(orv_live_objects(), 0);
}

}  // namespace
