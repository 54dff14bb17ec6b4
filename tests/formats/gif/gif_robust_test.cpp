// Damaged files, memory that runs out, disks that fill up, and the memory that a stream takes.
#include <gtest/gtest.h>

#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/stream_check.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

TEST(GifRobust, DamagedFiles)
{
    check_fixtures("gif", 2000);
}

TEST(GifRobust, WithoutMemoryOrRoom)
{
    const int handle = make_image(150, 140, 8, 1);
    const std::string path = temp_path("failing.gif");
    const auto job = [&] { return IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_GIF, 1, 1, 1, 1); };
    check_allocations(job);
    check_short_writes(job);
    ASSERT_EQ(job(), 0);
    check_allocations([&] {
        const i16 loaded = IMG_decompress_bitmap(path.c_str());
        return loaded < 0 ? loaded : IMG_delete_bitmap(loaded);
    });
    IMG_delete_bitmap(handle);
}

// Rows of long strings, so that the decoder would like to keep much.
void make_row(void*, void* destination, i16 row, i16 length)
{
    std::memset(destination, row / 100, static_cast<usize>(length));
}

TEST(GifRobust, MemoryDoesNotGrowWithTheHeight)
{
    using namespace platform::testing;
    std::vector<u8> block(4 << 20);
    u64 peaks[2][2];
    for (u32 i = 0; i < 2; ++i) {
        ImageHeader header = {{40, 3000, i == 0 ? 100 : 20000, 1, 8, 0, 0, 0, 0, 0, 0}, {}};
        u32 written = 0;
        reset_peak_bytes();
        EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(block.data(), static_cast<u32>(block.size()), &header,
                                               ORV_FORMAT_GIF, make_row, nullptr, &written),
                  0);
        peaks[i][0] = peak_bytes();
        reset_peak_bytes();
        StreamCheck check;
        IMGLOW_decompress_bitmap_mem_sized(block.data(), written, 0, check_row, &check, check_header);
        EXPECT_TRUE(check.problem == nullptr && check.rows == header.info.biHeight);
        peaks[i][1] = peak_bytes();
    }
    EXPECT_EQ(peaks[0][0], peaks[1][0]);
    EXPECT_EQ(peaks[0][1], peaks[1][1]);
}

}  // namespace
}  // namespace orv::test
