#include <gtest/gtest.h>

#include "formats/bitmap/pcx.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/save.h"
#include "orvimg32/sized.h"
#include "platform/files.h"
#include "platform/testing.h"
#include "tests/formats/bitmap/job.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

i16 page_count(const std::string& path)
{
    const int file = platform::_lopen(path.c_str(), platform::OF_READ);
    const i16 count = IMG_dcx_page_count(file);
    platform::_lclose(file);
    return count;
}

bool file_exists(const char* path)
{
    const int file = platform::_lopen(path, platform::OF_READ);
    return file >= 0 && platform::_lclose(file) == 0;
}

// A page of its own size and depth; 8 bits only in gray, whose palette any page may end with.
int page_image(int n)
{
    constexpr int kDepths[] = {1, 4, 24};
    const int handle = make_image(20 + n % 7, 3 + n % 5, kDepths[n % 3], static_cast<unsigned>(n));
    return handle;
}

TEST(Dcx, AHundredPages)
{
    reset_jobs();
    const std::string path = temp_path("hundred.dcx");
    for (int n = 0; n < 100; ++n) {
        const usize size = n == 0 ? 404 : read_file(path).size();
        const int handle = page_image(n);
        ASSERT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_DCX, 1, 1, 0, 0), 0) << n;
        const std::vector<u8> file = read_file(path);
        EXPECT_EQ(load_le32(file.data()), 0x3ADE68B1U);
        EXPECT_EQ(load_le32(&file[4 + static_cast<usize>(n) * 4]), size);
        expect_same(load_picture(file, n), picture_of(handle), "the page just added");
        IMG_delete_bitmap(handle);
        EXPECT_EQ(page_count(path), n + 1);
    }
    const std::vector<u8> full = read_file(path);
    for (int n = 0; n < 100; ++n) {
        const int handle = page_image(n);
        expect_same(load_picture(full, n), picture_of(handle), "a page of all");
        IMG_delete_bitmap(handle);
    }
    const int handle = page_image(0);
    EXPECT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_DCX, 1, 1, 0, 0), kBadData);
    EXPECT_EQ(read_file(path), full);
    EXPECT_EQ(save_page_counter, 0);
    IMG_delete_bitmap(handle);
    for (const int page : {100, -1, -32768}) {
        EXPECT_EQ(check_load(full, page).loaded, kUnreadable) << page;
    }
}

TEST(Dcx, ProgressOfATwoPageJob)
{
    reset_jobs();
    const int handle = make_image(8, 20, 1, 1);
    const std::string path = temp_path("job.dcx");
    // First page: 1; the bumps of its PCX file; a tick of 2 a row up to 35, 70 hundredths of its half; then
    // 37, and 5, 10 and 5 points, the page counted once; 50 at its end.
    std::vector<int> first = {1, 2, 4};
    for (int row = 0; row < 20; ++row) {
        first.push_back(std::min(first.back() + 2, 35));
    }
    first.insert(first.end(), {35, 37, 39, 44, 46, 50, 0});
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_DCX, 2), first);
    EXPECT_EQ(dcx_writing, 1);
    std::vector<int> second = {52, 54};
    for (int row = 0; row < 20; ++row) {
        second.push_back(std::min(second.back() + 2, 85));
    }
    second.insert(second.end(), {85, 87, 92, 100, 100, 100, 0});
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_DCX, 2), second);
    EXPECT_EQ(dcx_writing, 0);
    EXPECT_EQ(save_page_counter, 0);
    IMG_delete_bitmap(handle);
    EXPECT_EQ(page_count(path), 2);
}

TEST(Dcx, OddTargets)
{
    reset_jobs();
    const int handle = make_image(9, 2, 4, 1);
    const std::string path = temp_path("odd.dcx");
    auto save_onto = [&](const std::vector<u8>& before) {
        reset_jobs();
        write_file(path, before);
        return IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_DCX, 1, 1, 0, 0);
    };
    const std::vector<u8> magic = {0xB1, 0x68, 0xDE, 0x3A};
    // The magic alone: the head is filled up. Without it: a new file.
    EXPECT_EQ(save_onto(magic), 0);
    expect_same(load_picture(path), picture_of(handle), "behind the magic");
    EXPECT_EQ(load_le32(&read_file(path)[4]), 404U);
    EXPECT_EQ(save_onto({1, 2, 3}), 0);
    EXPECT_EQ(page_count(path), 1);
    // No room for an entry ahead of the first page.
    std::vector<u8> tight(600, 1);
    store_le32(tight.data(), 0x3ADE68B1);
    store_le32(&tight[4], 10);
    store_le32(&tight[8], 0);
    EXPECT_EQ(save_onto(tight), kBadData);
    EXPECT_EQ(read_file(path), tight);
    IMG_delete_bitmap(handle);
    reset_jobs();
}

TEST(Dcx, TemporaryFileOfSomebodyElse)
{
    reset_jobs();
    const std::vector<u8> theirs = {1, 2, 3};
    write_file("temp.pcx", theirs);
    const int handle = make_image(9, 2, 4, 1);
    const std::string path = temp_path("refused.dcx");
    EXPECT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_DCX, 1, 1, 0, 0), kNotCreated);
    EXPECT_EQ(read_file("temp.pcx"), theirs);
    run("rm temp.pcx");
    // Ours goes, whatever happens.
    reset_jobs();
    platform::testing::shorten_write(2);
    EXPECT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_DCX, 1, 1, 0, 0), kShortWrite);
    platform::testing::shorten_write(0);
    EXPECT_FALSE(file_exists("temp.pcx"));
    IMG_delete_bitmap(handle);
    reset_jobs();
}

TEST(Dcx, CountsAndFindsPages)
{
    EXPECT_EQ(page_count(data_path("pcx/mono-netpbm.pcx")), kBadData);
    EXPECT_EQ(page_count(data_path("dcx/mono-gray-palette-magick.dcx")), 3);
    // An entry is free only when all its bits are 0; a position that nothing has is no page.
    std::vector<u8> file(12);
    store_le32(file.data(), 0x3ADE68B1);
    store_le32(&file[4], 2048);
    store_le32(&file[8], 0xC0000000);
    const std::string path = temp_path("table.dcx");
    write_file(path, file);
    EXPECT_EQ(page_count(path), 2);
    for (const int page : {0, 1, 2}) {
        EXPECT_EQ(check_load(file, page).loaded, kUnreadable) << page;
    }
}

TEST(Dcx, MemoryIsAlwaysANewFile)
{
    reset_jobs();
    const int handle = make_image(9, 2, 4, 1);
    std::vector<u8> block = read_file(data_path("dcx/mono-gray-palette-magick.dcx"));
    const Picture picture = picture_of(handle);
    EXPECT_EQ(IMG_save_bitmap_mem(handle, block.data(), ORV_FORMAT_DCX), 0);
    expect_same(load_picture(block), picture, "unsized");
    EXPECT_EQ(load_le32(&block[8]), 0U);
    expect_same(load_picture(save_to_memory(handle, ORV_FORMAT_DCX)), picture, "sized");
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
