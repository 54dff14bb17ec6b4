// Damaged PICT files, memory that runs out, disks that fill up, and the memory that a stream takes.
#include "platform/testing.h"
#include "tests/formats/pict/pict_build.h"
#include "tests/support/stream_check.h"

namespace orv::test
{
namespace
{

TEST(PictRobust, DamagedFiles)
{
    check_fixtures("pict", 2000);
}

TEST(PictRobust, WithoutMemoryOrRoom)
{
    const std::string path = temp_path("failing.pct");
    for (const int bits : {4, 24}) {
        const int handle = make_image(50, 40, bits, 1);
        const auto job = [&] { return IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_PICT, 1, 1, 1, 1); };
        check_allocations(job);
        check_short_writes(job);
        ASSERT_EQ(job(), 0);
        check_allocations([&] {
            const i16 loaded = IMG_decompress_bitmap(path.c_str());
            return loaded < 0 ? loaded : IMG_delete_bitmap(loaded);
        });
        IMG_delete_bitmap(handle);
    }
}

// The rows of a picture made while they are asked for.
void make_row(void*, void* destination, i16 row, i16 length)
{
    std::memset(destination, row, static_cast<usize>(length));
}

TEST(PictRobust, StreamsInLittleMemory)
{
    using namespace platform::testing;
    Bytes block(24 << 20);
    const u32 size = static_cast<u32>(block.size());
    for (const u16 bits : {u16{1}, u16{4}, u16{8}, u16{24}}) {
        ImageHeader header = {{40, 3000, 2000, 1, bits, 0, 0, 0, 0, 0, 0}, {}};
        u32 written = 0;
        const u64 most = live_bytes() + (256 << 10);
        reset_peak_bytes();
        EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(block.data(), size, &header, ORV_FORMAT_PICT, make_row, nullptr,
                                               &written),
                  0);
        EXPECT_LT(peak_bytes(), most) << "encoding at " << bits;
        reset_peak_bytes();
        StreamCheck check;
        IMGLOW_decompress_bitmap_mem_sized(block.data(), written, 0, check_row, &check, check_header);
        EXPECT_LT(peak_bytes(), most) << "decoding at " << bits;
        EXPECT_TRUE(check.problem == nullptr && check.rows == 2000);
    }
}

}  // namespace
}  // namespace orv::test
