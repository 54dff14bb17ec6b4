#include "frame/save.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "frame/format_table.h"
#include "orvimg32/sized.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

const std::vector<u8> kTreasure = {'k', 'e', 'e', 'p'};

i16 save(int handle, const std::string& path, int format)
{
    return IMG_save_bitmap(handle, path.c_str(), static_cast<i16>(format), 1, 1, 1, 1);
}

TEST(Save, RefusalsLeaveTheTargetAlone)
{
    struct Case {
        const char* name;
        int format, bits;
        i16 crop_width, crop_height;
        i16 result;
    };
    const Case cases[] = {
        {"target.jpeg", -1, 8, 3, 3, kNotSupported}, {"target", kFormatCount, 8, 3, 3, kNotSupported},
        {"target", -2, 8, 3, 3, kNotSupported},      {"target", 12, 24, 3, 3, kNotSupported},
        {"target", 12, 1, 3, 3, kNotSupported},      {"target", 1, 8, 0, 3, kNotSupported},
        {"target", 1, 8, 3, -1, kNotSupported},      {"tg", -1, 8, 3, 3, kNotSupported},
        {"target", 32767, 8, 3, 3, kNotSupported},   {"bmp", -1, 8, -32768, 3, kNotSupported},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << " as " << c.format << " at " << c.bits);
        write_file(temp_path(c.name), kTreasure);
        const int handle = make_image(9, 9, c.bits, 1);
        IMG_set_croprect(handle, 0, 0, c.crop_width, c.crop_height);
        EXPECT_EQ(save(handle, temp_path(c.name), c.format), c.result);
        EXPECT_EQ(read_file(temp_path(c.name)), kTreasure);
        IMG_delete_bitmap(handle);
    }
}

TEST(Save, NamesChooseFormatsAndFilesGetReplaced)
{
    const int handle = make_image(7, 5, 24, 1);
    const Picture expected = picture_of(handle);
    for (const char* name : {"a.bmp", "A.BMP", "xbMp", "BMP"}) {
        write_file(temp_path(name), std::vector<u8>(5000, 1));
        EXPECT_EQ(save(handle, temp_path(name), -1), kOk);
        EXPECT_EQ(read_file(temp_path(name)).size(), 54u + 5 * 24);
        expect_same(load_picture(temp_path(name)), expected, name);
    }
    EXPECT_EQ(save(handle, "", 1), kNotCreated);
    EXPECT_EQ(save(handle, temp_path(""), 1), kNotCreated);
    EXPECT_EQ(save(handle, temp_path("no/such/folder.bmp"), 1), kNotCreated);
    EXPECT_EQ(IMG_save_bitmap(handle, nullptr, 1, 1, 1, 1, 1), kNotCreated);
    IMG_delete_bitmap(handle);
}

TEST(Save, CropRectangleStartsOnAByteAndIsZeroOutside)
{
    struct Case {
        int bits, left, real_left;
    };
    for (const Case& c :
         {Case{1, 8, 8}, Case{1, 3, 8}, Case{4, 4, 4}, Case{4, 3, 4}, Case{8, 3, 3}, Case{24, 3, 3},
          Case{8, -2, -2}, Case{24, -5, -5}, Case{8, 70, 70}, Case{24, -32768, -32768}}) {
        for (const int top : {0, 10, 15, -4, 32767, -32768}) {
            SCOPED_TRACE(testing::Message() << c.bits << " bits from " << c.left << ", " << top);
            const int handle = make_image(64, 20, c.bits, 5);
            const Picture whole = picture_of(handle);
            const std::vector<u8> rows = raw_rows(handle);
            IMG_set_croprect(handle, static_cast<i16>(c.left), static_cast<i16>(top), 40, 9);
            std::vector<u8> file(10000);
            u32 written = 0;
            EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, file.data(), 10000, 1, &written), kOk);
            const std::span<const u8> saved(file.data(), written);
            ImageHeader header;
            IMGLOW_get_bitmap_header(handle, &header);
            const RGBQUAD first = header.palette[0];
            const u32 outside =
                c.bits == 24 ? 0u : static_cast<u32>(first.rgbRed << 16 | first.rgbGreen << 8 | first.rgbBlue);
            expect_same(load_picture(saved), cropped(whole, c.real_left, top, 40, 9, outside), "crop");
            EXPECT_EQ(raw_rows(handle), rows);
            EXPECT_EQ(IMG_get_dib_intern(handle)->crop_left, c.left);
            IMG_delete_bitmap(handle);
        }
    }
}

TEST(Save, ABlockThatIsTooSmallIsToldOf)
{
    const int handle = make_image(10, 10, 8, 1);
    std::vector<u8> whole(54 + 1024 + 120);
    u32 written = 0;
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, whole.data(), static_cast<u32>(whole.size()), 1, &written),
              kOk);
    EXPECT_EQ(written, whole.size());
    for (u32 room = 0; room < whole.size(); room++) {
        std::vector<u8> block(room);
        ASSERT_EQ(IMG_save_bitmap_mem_sized(handle, block.data(), room, 1, &written), kShortWrite);
        ASSERT_LE(written, room);
    }
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, whole.data(), 10000, 99, &written), kNotSupported);
    EXPECT_EQ(written, 0u);
    std::vector<u8> again(whole.size());
    EXPECT_EQ(IMG_save_bitmap_mem(handle, again.data(), 1), kOk);
    EXPECT_EQ(again, whole);
    IMG_delete_bitmap(handle);
    save_page_counter = 0;
}

std::vector<int> percentages;

void note_percent(i16 percent, void* user)
{
    static_cast<std::vector<int>*>(user)->push_back(percent);
}

TEST(Progress, AJobOfOneAndAJobOfThreeSaves)
{
    percentages.clear();
    save_page_counter = 0;
    save_percent = 0;
    IMG_set_callback(note_percent, &percentages);
    const int tall = make_image(1, 40, 1, 1);
    const std::string path = temp_path("progress.bmp");
    save(tall, path, 1);
    std::vector<int> expected = {1, 6, 11};
    for (int percent = 15; percent <= 87; percent += 4) {
        expected.push_back(percent);
    }
    expected.insert(expected.end(), {90, 90, 100});
    EXPECT_EQ(percentages, expected);
    EXPECT_EQ(save_page_counter, 0);

    percentages.clear();
    const int low = make_image(8, 3, 4, 1);
    for (const int format : {1, 12}) {
        EXPECT_EQ(IMG_save_bitmap(low, path.c_str(), static_cast<i16>(format), 3, 1, 1, 1), kOk);
    }
    std::vector<u8> block(1000);
    EXPECT_EQ(IMG_save_bitmap_mem_sized(low, block.data(), 1000, 1, nullptr), kOk) << "the settings stay";
    EXPECT_EQ(percentages, (std::vector<int>{1,  2,  3,  4,  5,  6,  30, 33, 34, 35, 36, 37,
                                             38, 39, 60, 66, 67, 70, 73, 74, 75, 76, 90, 100}));
    EXPECT_EQ(save_page_counter, 0);
    EXPECT_EQ(save_percent, 0);

    percentages.clear();
    for (int page = 1; page <= 10; page++) {
        IMG_save_bitmap(low, path.c_str(), 1, 10, 1, 1, 1);
    }
    // Page 1: one, two bumps, three ticks, then 9, and a tenth. Page 6 and later have no bumps.
    EXPECT_EQ(std::vector<int>(percentages.begin(), percentages.begin() + 8),
              (std::vector<int>{1, 2, 3, 4, 5, 6, 9, 10}));
    EXPECT_EQ(std::vector<int>(percentages.begin() + 40, percentages.begin() + 48),
              (std::vector<int>{51, 51, 51, 52, 53, 54, 54, 60}));
    EXPECT_EQ(percentages.back(), 100);
    IMG_set_callback(nullptr, nullptr);
    LibInitCallBack([](i16 percent) { percentages.push_back(-percent); });
    IMG_save_bitmap(low, path.c_str(), 1, 0, 1, 1, 1);
    EXPECT_EQ(percentages.back(), -100) << "the older callback; a job of no saves is one of one";
    LibInitCallBack(nullptr);
    IMG_delete_bitmap(low);
    IMG_delete_bitmap(tall);
}

TEST(Save, ACropLeftOfThePictureKeepsItsColumns)
{
    // At 1 bit 9 columns to the left are one byte, at 4 bits 2 are.
    for (const auto& [bits, left, shift] : {std::array{1, -9, 8}, std::array{4, -2, 2}, std::array{4, -5, 4}}) {
        const int handle = make_image(40, 2, bits, 3);
        const Picture whole = picture_of(handle);
        IMG_set_croprect(handle, static_cast<i16>(left), 0, 24, 2);
        std::vector<u8> file(2000);
        EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, file.data(), 2000, 1, nullptr), kOk);
        const Picture saved = load_picture(file);
        for (int x = shift; x < 24; ++x) {
            const usize from = static_cast<usize>(x - shift);
            EXPECT_EQ(saved.pixels[static_cast<usize>(x)], whole.pixels[from]) << bits << " bits, column " << x;
        }
        IMG_delete_bitmap(handle);
    }
}

TEST(Save, APipeGetsTheWholeFile)
{
    const int handle = make_image(300, 900, 8, 1);
    save(handle, temp_path("whole.bmp"), 1);
    run("mkfifo " + temp_path("pipe"));
    std::thread reader([] { run("cat " + temp_path("pipe") + " > " + temp_path("piped.bmp")); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(save(handle, temp_path("pipe"), 1), kOk);
    reader.join();
    EXPECT_EQ(read_file(temp_path("piped.bmp")), read_file(temp_path("whole.bmp")));
    IMG_delete_bitmap(handle);
}

TEST(Save, LowLevelHeadersAreChecked)
{
    ImageHeader header = {};
    header.info.biSize = kBitmapHeaderBytes;
    header.info.biWidth = 3;
    header.info.biHeight = 2;
    header.info.biBitCount = 24;
    const auto rows = [](void*, void* destination, i16 row, i16 length) {
        std::memset(destination, row + 1, static_cast<usize>(length));
    };
    std::vector<u8> file(200);
    u32 written = 0;
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(file.data(), 200, &header, 1, rows, nullptr, &written), kOk);
    EXPECT_EQ(load_picture(std::span(file.data(), written)).pixels,
              (std::vector<u32>{0x020202, 0x020202, 0x020202, 0x010101, 0x010101, 0x010101}));
    EXPECT_EQ(IMGLOW_save_bitmap_mem(file.data(), &header, 1, rows, nullptr), kOk);
    // Sizes count by their low 16 bits, and the header written has its 40 bytes.
    header.info.biSize = 64;
    header.info.biWidth += 0x50000;
    header.info.biHeight += 0x10000;
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(file.data(), 200, &header, 1, rows, nullptr, &written), kOk);
    EXPECT_EQ(load_picture(std::span(file.data(), written)).pixels.size(), 6u);
    header.info.biHeight = 0xFFFE;
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(file.data(), 200, &header, 1, rows, nullptr, &written), kBadData);
    header.info.biWidth = 3;
    header.info.biHeight = 2;
    EXPECT_EQ(IMGLOW_save_bitmap_mem(file.data(), &header, 16, rows, nullptr), kNotSupported);
    header.info.biBitCount = 16;
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(file.data(), 200, &header, 1, rows, nullptr, &written),
              kNotSupported);
    header.info.biBitCount = 24;
    header.info.biHeight = 0;
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(file.data(), 200, &header, 1, rows, nullptr, &written), kBadData);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(file.data(), 200, &header, ORV_FORMAT_EPS, rows, nullptr, &written),
              kNotSupported);
}

}  // namespace
}  // namespace orv::test
