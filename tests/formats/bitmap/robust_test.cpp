// Damaged files, memory that runs out, disks that fill up, and the memory that a stream takes.
#include <gtest/gtest.h>

#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/formats/bitmap/job.h"
#include "tests/support/stream_check.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

TEST(BitmapRobust, DamagedFiles)
{
    for (const char* folder : {"pcx", "dcx", "tga"}) {
        check_fixtures(folder, 150);
    }
}

TEST(BitmapRobust, LoadsWithoutMemory)
{
    for (const char* name : {"pcx/sixteen-netpbm-planes4.pcx", "tga/palette-pillow-runs.tga",
                             "dcx/mono-gray-palette-magick.dcx"}) {
        const std::vector<u8> file = read_file(data_path(name));
        check_allocations([&] {
            const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
            return handle < 0 ? handle : IMG_delete_bitmap(handle);
        });
    }
}

TEST(BitmapRobust, SavesWithoutMemoryOrRoom)
{
    for (const i16 format : {ORV_FORMAT_PCX, ORV_FORMAT_DCX, ORV_FORMAT_TGA}) {
        SCOPED_TRACE(format);
        const int handle = make_image(50, 40, 8, 1);
        const std::string path = temp_path("failing");
        auto save = [&] {
            reset_jobs();
            run("rm -f " + path);
            return IMG_save_bitmap(handle, path.c_str(), format, 1, 1, 0, 0);
        };
        check_allocations(save);
        check_short_writes(save);
        IMG_delete_bitmap(handle);
    }
    reset_jobs();
}

// The rows of a picture made while they are asked for.
void make_row(void*, void* destination, i16 row, i16 length)
{
    std::memset(destination, row, static_cast<usize>(length));
}

TEST(BitmapRobust, StreamsInLittleMemory)
{
    struct Case {
        i16 format;
        u16 bits;
    };
    reset_jobs();
    std::vector<u8> block(24 << 20);
    for (const Case& c : {Case{ORV_FORMAT_PCX, 1},
                          {ORV_FORMAT_PCX, 4},
                          {ORV_FORMAT_PCX, 8},
                          {ORV_FORMAT_PCX, 24},
                          {ORV_FORMAT_DCX, 24},
                          {ORV_FORMAT_TGA, 8},
                          {ORV_FORMAT_TGA, 24}}) {
        ImageHeader header = {};
        header.info = {40, 3000, 2000, 1, c.bits, 0, 0, 0, 0, 0, 0};
        u32 written = 0;
        platform::testing::reset_peak_bytes();
        const u64 before = platform::testing::live_bytes();
        EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(block.data(), static_cast<u32>(block.size()), &header, c.format,
                                               make_row, nullptr, &written),
                  0);
        EXPECT_LT(platform::testing::peak_bytes() - before, 256U << 10)
            << "encoding " << c.format << " at " << c.bits;
        platform::testing::reset_peak_bytes();
        StreamCheck check;
        EXPECT_GE(IMGLOW_decompress_bitmap_mem_sized(block.data(), written, 0, check_row, &check, check_header),
                  0);
        EXPECT_LT(platform::testing::peak_bytes() - before, 256U << 10)
            << "decoding " << c.format << " at " << c.bits;
        EXPECT_EQ(check.problem, nullptr);
        EXPECT_EQ(check.rows, 2000);
    }
}

}  // namespace
}  // namespace orv::test
