// Hostile TIFF files and hosts that run out of memory.
#include <gtest/gtest.h>

#include "orvimg32/orvimg32.h"
#include "platform/files.h"
#include "tests/support/support.h"

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

}  // namespace
}  // namespace orv::test
