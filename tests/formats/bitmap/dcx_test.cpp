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

TEST(Dcx, AHundredPages)
{
    reset_jobs();
    const std::string path = temp_path("hundred.dcx");
    std::vector<Picture> pictures;
    usize size = 404;
    for (usize n = 0; n < 100; ++n) {
        // Of pages of 8 bits only the last one would find its palette.
        const int k = static_cast<int>(n);
        const int handle = make_image(20 + k % 7, 3 + k % 5, k % 3 == 0 ? 1 : k % 3 == 1 ? 4 : 24, 7);
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
    const int handle = make_image(9, 2, 4, 1);
    EXPECT_EQ(save(handle, path, ORV_FORMAT_DCX), kBadData);
    IMG_delete_bitmap(handle);
    EXPECT_EQ(read_file(path), full);
    EXPECT_EQ(save_page_counter, 0);
    for (const int page : {100, -1, -32768}) {
        EXPECT_EQ(check_load(full, page).loaded, kUnreadable) << page;
    }
}

// `start`, twenty ticks of `step` that stop at `cap`, and `end`.
std::vector<int> reports(std::vector<int> start, int step, int cap, const std::vector<int>& end)
{
    for (int tick = 0; tick < 20; ++tick) {
        start.push_back(std::min(start.back() + step, cap));
    }
    start.insert(start.end(), end.begin(), end.end());
    return start;
}

TEST(Dcx, ProgressOfPagesAndOfASinglePcx)
{
    reset_jobs();
    const int handle = make_image(8, 40, 1, 1);
    const std::string path = temp_path("job.dcx");
    // 70 hundredths of a page's half are 35, 75 are 37. Behind its PCX file come 5, 10 and 5 points, the page
    // counted once for each page so far.
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_DCX, 2),
              reports({1, 2, 4}, 2, 35, {35, 37, 39, 44, 46, 50, 0}));
    EXPECT_EQ(dcx_writing, 1);
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_DCX, 2),
              reports({52, 54}, 2, 85, {85, 87, 92, 100, 100, 100, 0}));
    EXPECT_TRUE(dcx_writing == 0 && save_page_counter == 0);
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_PCX, 1), reports({1, 5, 10}, 4, 90, {90, 100, 0}));
    EXPECT_EQ(save_page_counter, 0);
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
