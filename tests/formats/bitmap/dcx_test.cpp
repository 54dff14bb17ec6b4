#include "platform/files.h"
#include "platform/testing.h"
#include "tests/formats/bitmap/job.h"

namespace orv::test
{
namespace
{

// Page count of a file, or kUnreadable where there is none.
i16 page_count(const std::string& path)
{
    const int file = platform::_lopen(path.c_str(), platform::OF_READ);
    const i16 count = file < 0 ? i16{kUnreadable} : IMG_dcx_page_count(file);
    platform::_lclose(file);
    return count;
}

// A page of its own size and depth, without 8 bits: of those only the last page finds its palette.
int page_image(int n)
{
    constexpr int kDepths[] = {1, 4, 24};
    return make_image(20 + n % 7, 3 + n % 5, kDepths[n % 3], static_cast<unsigned>(n));
}

TEST(Dcx, AHundredPages)
{
    reset_jobs();
    const std::string path = temp_path("hundred.dcx");
    std::vector<Picture> pictures;
    usize size = 404;
    for (usize n = 0; n < 100; ++n) {
        const int handle = page_image(static_cast<int>(n));
        pictures.push_back(picture_of(handle));
        ASSERT_EQ(save(handle, path, ORV_FORMAT_DCX), 0) << n;
        IMG_delete_bitmap(handle);
        const Bytes file = read_file(path);
        EXPECT_EQ(load_le32(&file[4 + n * 4]), size);
        EXPECT_EQ(page_count(path), static_cast<i16>(n + 1));
        size = file.size();
    }
    const Bytes full = read_file(path);
    for (int n = 0; n < 100; ++n) {
        expect_same(load_picture(full, n), pictures[static_cast<usize>(n)], "a page of all");
    }
    const int handle = page_image(0);
    EXPECT_EQ(save(handle, path, ORV_FORMAT_DCX), kBadData);
    IMG_delete_bitmap(handle);
    EXPECT_EQ(read_file(path), full);
    EXPECT_EQ(save_page_counter, 0);
    for (const int page : {100, -1, -32768}) {
        EXPECT_EQ(check_load(full, page).loaded, kUnreadable) << page;
    }
}

TEST(Dcx, ProgressOfATwoPageJob)
{
    reset_jobs();
    const int handle = make_image(8, 20, 1, 1);
    const std::string path = temp_path("job.dcx");
    // The first page goes from 1 by the bumps of its PCX file and 2 a row to 35, which is 70 hundredths of its
    // half; then to 37, by 5, 10 and 5 points with the page counted once, and to 50.
    std::vector<int> first = {1, 2, 4};
    std::vector<int> second = {52, 54};
    for (int row = 0; row < 20; ++row) {
        first.push_back(std::min(first.back() + 2, 35));
        second.push_back(std::min(second.back() + 2, 85));
    }
    first.insert(first.end(), {35, 37, 39, 44, 46, 50, 0});
    second.insert(second.end(), {85, 87, 92, 100, 100, 100, 0});
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_DCX, 2), first);
    EXPECT_EQ(dcx_writing, 1);
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_DCX, 2), second);
    EXPECT_TRUE(dcx_writing == 0 && save_page_counter == 0);
    IMG_delete_bitmap(handle);
}

TEST(Dcx, OddTargetsAndTables)
{
    const int handle = make_image(9, 2, 4, 1);
    const std::string path = temp_path("odd.dcx");
    auto save_onto = [&](const Bytes& before) {
        reset_jobs();
        write_file(path, before);
        return save(handle, path, ORV_FORMAT_DCX);
    };
    // The magic alone: the head is filled up. Without it: a new file.
    EXPECT_EQ(save_onto({0xB1, 0x68, 0xDE, 0x3A}), 0);
    expect_same(load_picture(path), picture_of(handle), "behind the magic");
    EXPECT_EQ(load_le32(&read_file(path)[4]), 404U);
    EXPECT_EQ(save_onto({1, 2, 3}), 0);
    EXPECT_EQ(page_count(path), 1);
    // No room for an entry ahead of the first page.
    const Bytes tight = file_of({0xB1, 0x68, 0xDE, 0x3A, 10, 0, 0, 0, 0, 0, 0, 0}, {}, Bytes(600, 1));
    EXPECT_EQ(save_onto(tight), kBadData);
    EXPECT_EQ(read_file(path), tight);
    // An entry is free only when all its bits are 0; a position that nothing has is no page.
    const Bytes table = {0xB1, 0x68, 0xDE, 0x3A, 0, 8, 0, 0, 0, 0, 0, 0xC0};
    write_file(path, table);
    EXPECT_EQ(page_count(path), 2);
    for (const int page : {0, 1, 2}) {
        EXPECT_EQ(check_load(table, page).loaded, kUnreadable) << page;
    }
    EXPECT_EQ(page_count(data_path("pcx/mono-netpbm.pcx")), kBadData);
    EXPECT_EQ(page_count(data_path("dcx/mono-gray-palette-magick.dcx")), 3);
    // In memory nothing is added to.
    Bytes block = read_file(data_path("dcx/mono-gray-palette-magick.dcx"));
    EXPECT_EQ(IMG_save_bitmap_mem(handle, block.data(), ORV_FORMAT_DCX), 0);
    expect_same(load_picture(block), picture_of(handle), "unsized memory");
    EXPECT_EQ(load_le32(&block[8]), 0U);
    expect_same(load_picture(saved(handle, ORV_FORMAT_DCX)), picture_of(handle), "sized memory");
    IMG_delete_bitmap(handle);
}

TEST(Dcx, TemporaryFile)
{
    reset_jobs();
    const int handle = make_image(9, 2, 4, 1);
    const std::string path = temp_path("refused.dcx");
    write_file("temp.pcx", Bytes{1, 2, 3});
    EXPECT_EQ(save(handle, path, ORV_FORMAT_DCX), kNotCreated);
    EXPECT_EQ(read_file("temp.pcx"), (Bytes{1, 2, 3})) << "somebody else's";
    run("rm temp.pcx");
    reset_jobs();
    platform::testing::shorten_write(2);
    EXPECT_EQ(save(handle, path, ORV_FORMAT_DCX), kShortWrite);
    EXPECT_EQ(page_count("temp.pcx"), kUnreadable) << "ours goes, whatever happens";
    IMG_delete_bitmap(handle);
    reset_jobs();
}

}  // namespace
}  // namespace orv::test
