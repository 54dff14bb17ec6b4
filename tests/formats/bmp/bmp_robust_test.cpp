// BMP from hostile files and on failing hosts; the save path is tested along with it.
#include <gtest/gtest.h>

#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/stream_check.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

TEST(BmpRobust, CutAndDamagedFiles)
{
    check_fixtures("bmp", 300);
}

TEST(BmpRobust, FailingAllocationsOfALoadAndASave)
{
    for (const char* name : {"bmp/im_24.bmp", "bmp/im_1.bmp", "bmp/im_rle8.bmp", "bmp/rle4.bmp"}) {
        SCOPED_TRACE(name);
        const std::string path = data_path(name);
        check_allocations([&path] {
            const i16 handle = IMG_decompress_bitmap(path.c_str());
            IMG_delete_bitmap(handle);
            return handle;
        });
    }
    for (const int format : {1, 12}) {
        const int handle = make_image(50, 9, 8, 1);
        check_allocations([=] {
            const i16 result = IMG_save_bitmap(handle, "out.bmp", static_cast<i16>(format), 1, 1, 1, 1);
            // A row that can't be coded for want of memory counts as one that could not be written.
            return format == 12 && result == kShortWrite ? i16{kOutOfMemory} : result;
        });
        IMG_delete_bitmap(handle);
    }
}

TEST(BmpRobust, ShortWrites)
{
    for (const int format : {1, 12}) {
        const int handle = make_image(50, 9, 4, 1);
        // Nobody looks at how the end-of-bitmap code was written.
        check_short_writes(
            [=] { return IMG_save_bitmap(handle, "out.bmp", static_cast<i16>(format), 1, 1, 1, 1); },
            format == 12 ? -1 : 0);
        IMG_delete_bitmap(handle);
    }
}

TEST(BmpRobust, StreamingNeedsLittleMemory)
{
    for (const int format : {1, 12}) {
        const int handle = make_image(3000, 300, 8, 1);
        std::vector<u8> file(4000000);
        platform::testing::reset_peak_bytes();
        const u64 held = platform::testing::live_bytes();
        u32 written = 0;
        IMG_save_bitmap_mem_sized(handle, file.data(), 4000000, static_cast<i16>(format), &written);
        EXPECT_LT(platform::testing::peak_bytes() - held, 256u << 10);
        platform::testing::reset_peak_bytes();
        StreamCheck check;
        IMGLOW_decompress_bitmap_mem_sized(file.data(), written, 0, check_row, &check, check_header);
        EXPECT_EQ(check.rows, 300);
        EXPECT_LT(platform::testing::peak_bytes() - held, 256u << 10);
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
