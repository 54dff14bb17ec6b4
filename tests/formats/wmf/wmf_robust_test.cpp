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

TEST(WmfRobust, DamagedFiles)
{
    check_fixtures("wmf", 2000);
}

TEST(WmfRobust, WithoutMemoryOrRoom)
{
    const int handle = make_image(50, 40, 8, 1);
    const std::string path = temp_path("failing.wmf");
    const auto job = [&] { return IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_WMF, 1, 1, 1, 1); };
    check_allocations(job);
    check_short_writes(job);
    ASSERT_EQ(job(), 0);
    for (const std::string& file : {path, data_path("wmf/sixteen-4-stretchdib-abs.wmf")}) {
        check_allocations([&] {
            const i16 loaded = IMG_decompress_bitmap(file.c_str());
            return loaded < 0 ? loaded : IMG_delete_bitmap(loaded);
        });
    }
    IMG_delete_bitmap(handle);
}

TEST(WmfRobust, StreamsInLittleMemory)
{
    using namespace platform::testing;
    std::vector<u8> block(20 << 20);
    ImageHeader header = {{40, 3000, 2000, 1, 24, 0, 0, 0, 0, 0, 0}, {}};
    u32 written = 0;
    const u64 most = live_bytes() + (128 << 10);
    reset_peak_bytes();
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(
                  block.data(), static_cast<u32>(block.size()), &header, ORV_FORMAT_WMF,
                  [](void*, void* to, i16, i16 length) { std::memset(to, 7, static_cast<usize>(length)); },
                  nullptr, &written),
              0);
    StreamCheck check;
    IMGLOW_decompress_bitmap_mem_sized(block.data(), written, 0, check_row, &check, check_header);
    EXPECT_TRUE(check.problem == nullptr && check.rows == 2000);
    EXPECT_LT(peak_bytes(), most);
}

}  // namespace
}  // namespace orv::test
