// Hostile TIFF files and hosts that run out of memory.
#include <gtest/gtest.h>

#include "orvimg32/orvimg32.h"
#include "platform/files.h"
#include "tests/formats/tiff/tiff_save.h"

namespace orv::test
{
namespace
{

TEST(TiffRobust, TruncatedAndMutated)
{
    check_fixtures("tiff", 2000);
}

TEST(TiffRobust, AllocationFailures)
{
    for (const std::string& path : fixtures("tiff")) {
        SCOPED_TRACE(path);
        check_allocations([&] {
            const i16 handle = IMG_decompress_bitmap(path.c_str());
            if (handle >= 0) {
                IMG_delete_bitmap(handle);
            }
            return handle < 0 ? handle : i16{0};
        });
    }
    EXPECT_EQ(platform::_lopen("plane.tmp", platform::OF_READ), -1) << "the plane file was left behind";
}

// A page is added to a file of two while memory, writes and the close fail: the old pages are there before and
// after.
TEST(TiffRobust, FailedSavesKeepTheOldPages)
{
    reset_jobs();
    const std::string path = temp_path("old.tif");
    const int handle = make_image(1728, 60, 1, 9);
    set_resolution(handle, 204, 196);
    ASSERT_EQ(save(handle, path, ORV_FORMAT_TIFF), 0);
    ASSERT_EQ(save(handle, path, ORV_FORMAT_TIFF_T6), 0);
    const Bytes old = read_file(path);
    for (const i16 format :
         {ORV_FORMAT_TIFF, ORV_FORMAT_TIFF_HUFFMAN, ORV_FORMAT_TIFF_T4, ORV_FORMAT_TIFF_T6}) {
        SCOPED_TRACE(format);
        usize whole = 0;
        const auto job = [&] {
            write_file(path, old);
            const i16 result = save(handle, path, format);
            const Bytes now = read_file(path);
            // The link to the page, the only byte of the old file that changes, is there with a success, or
            // where just the close fails and all has been written.
            const bool untouched = std::equal(old.begin(), old.end(), now.begin());
            EXPECT_TRUE(result == 0 ? !untouched : untouched || now.size() == whole) << result;
            whole = result == 0 ? now.size() : whole;
            return result;
        };
        check_short_writes(job);
        check_allocations(job);
    }
    for (const i16 format : {ORV_FORMAT_TIFF, ORV_FORMAT_TIFF_LZW, ORV_FORMAT_TIFF_T6}) {
        check_short_writes([&] {
            std::remove(path.c_str());
            return save(handle, path, format);
        });
    }
    IMG_delete_bitmap(handle);
}

// A page goes to what is left of a file that was cut: it is added, or refused with the file untouched.
TEST(TiffRobust, CutTargets)
{
    reset_jobs();
    const std::string path = temp_path("cut.tif");
    const int handle = make_image(40, 3, 1, 9);
    for (int n = 0; n < 3; ++n) {
        ASSERT_EQ(save(handle, path, ORV_FORMAT_TIFF_T6), 0);
    }
    const Bytes whole = read_file(path);
    for (usize length = 1; length < whole.size(); ++length) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        write_file(path, cut);
        const i16 result = save(handle, path, ORV_FORMAT_TIFF_T6);
        const Bytes now = read_file(path);
        EXPECT_TRUE(result == 0 || (result == kBadData && now == cut)) << length;
        if (result == 0) {
            const Picture picture = load_picture(whole, 0);
            EXPECT_EQ(load_picture(now, 0), picture) << length;
            EXPECT_EQ(load_picture(now, 1), picture) << length;
            EXPECT_EQ(load_picture(now, count_pages(path) - 1), picture) << length;
        }
    }
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
