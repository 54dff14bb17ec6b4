// Damaged files, memory that runs out, disks that fill up, and the memory that a stream takes.
#include "platform/testing.h"
#include "tests/formats/bitmap/job.h"
#include "tests/support/stream_check.h"

namespace orv::test
{
namespace
{

TEST(FormatsRobust, DamagedFiles)
{
    for (const char* folder : {"pcx", "dcx", "tga", "pict", "wpg", "eps"}) {
        check_fixtures(folder, 2000);
    }
}

TEST(FormatsRobust, WithoutMemoryOrRoom)
{
    const std::string preview = data_path("eps/gray-big-endian.eps");
    const std::pair<const char*, int> cases[] = {{"pcx", 8},  {"dcx", 8}, {"tga", 8}, {"pct", 4},
                                                 {"pct", 24}, {"wpg", 8}, {"eps", 8}};
    for (const auto& [ending, bits] : cases) {
        const int handle = make_image(50, 40, bits, 1);
        const std::string path = temp_path("failing.") + ending;
        auto job = [&] {
            reset_jobs();
            run("rm -f " + path);
            return save(handle, path, ORV_FORMAT_BY_NAME);
        };
        check_allocations(job);
        check_short_writes(job);
        ASSERT_EQ(job(), 0);
        check_allocations([&] {
            const i16 loaded = IMG_decompress_bitmap(path.ends_with("eps") ? preview.c_str() : path.c_str());
            return loaded < 0 ? loaded : IMG_delete_bitmap(loaded);
        });
        IMG_delete_bitmap(handle);
    }
    reset_jobs();
}

// The rows of a picture made while they are asked for.
void make_row(void*, void* destination, i16 row, i16 length)
{
    std::memset(destination, row, static_cast<usize>(length));
}

TEST(FormatsRobust, StreamsInLittleMemory)
{
    using namespace platform::testing;
    reset_jobs();
    std::vector<u8> block(24 << 20);
    const u32 size = static_cast<u32>(block.size());
    const u16 cases[][2] = {{ORV_FORMAT_PCX, 1},  {ORV_FORMAT_PCX, 4},   {ORV_FORMAT_PCX, 8},
                            {ORV_FORMAT_PCX, 24}, {ORV_FORMAT_DCX, 24},  {ORV_FORMAT_TGA, 8},
                            {ORV_FORMAT_TGA, 24}, {ORV_FORMAT_BMP, 24},  {ORV_FORMAT_BMP_RLE, 8},
                            {ORV_FORMAT_PICT, 8}, {ORV_FORMAT_PICT, 24}, {ORV_FORMAT_WPG, 8}};
    for (const auto& [number, bits] : cases) {
        const i16 format = static_cast<i16>(number);
        ImageHeader header = {{40, 3000, 2000, 1, bits, 0, 0, 0, 0, 0, 0}, {}};
        u32 written = 0;
        const u64 most = live_bytes() + (256 << 10);
        reset_peak_bytes();
        EXPECT_EQ(
            IMGLOW_save_bitmap_mem_sized(block.data(), size, &header, format, make_row, nullptr, &written), 0);
        EXPECT_LT(peak_bytes(), most) << "encoding " << format << " at " << bits;
        reset_peak_bytes();
        StreamCheck check;
        IMGLOW_decompress_bitmap_mem_sized(block.data(), written, 0, check_row, &check, check_header);
        EXPECT_LT(peak_bytes(), most) << "decoding " << format << " at " << bits;
        EXPECT_TRUE(check.problem == nullptr && check.rows == 2000);
    }
}

}  // namespace
}  // namespace orv::test
