// BMP from hostile files and on failing hosts; the save path is tested along with it.
#include <gtest/gtest.h>

#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

TEST(BmpRobust, CutAndDamagedFiles)
{
    check_fixtures("bmp", 2000);
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
        check_allocations(
            [=] { return IMG_save_bitmap(handle, "out.bmp", static_cast<i16>(format), 1, 1, 1, 1); });
        IMG_delete_bitmap(handle);
    }
}

TEST(BmpRobust, ShortWrites)
{
    for (const int format : {1, 12}) {
        const int handle = make_image(50, 9, 4, 1);
        check_short_writes(
            [=] { return IMG_save_bitmap(handle, "out.bmp", static_cast<i16>(format), 1, 1, 1, 1); });
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
