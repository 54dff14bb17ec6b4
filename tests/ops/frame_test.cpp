// What all operations share: handles, refusals, reports, memory that runs out, the saved palette.
#include <gtest/gtest.h>

#include <array>

#include "frame/handles.h"
#include "platform/testing.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using Operation = i16 (*)(i32);

// All that make a new block of another depth, with the depths that they report with.
const Operation kReductions[] = {IMG_mediancut_color, IMG_popularity_color, IMG_color_gray,
                                 IMG_bayer_mono,      IMG_halftone_mono,    IMG_diffusion_mono,
                                 IMG_bayer_color,     IMG_diffusion_color};

const Operation kOthers[] = {IMG_invert_bitmap, [](i32 h) { return IMG_set_lut(h, 20, 5); }};

TEST(OperationFrame, BadHandles)
{
    const int handle = make_image(3, 3, 24, 1);
    const int deleted = make_image(3, 3, 24, 1);
    IMG_delete_bitmap(deleted);
    for (const int bad : {-1, -32768, deleted, 40, 65536}) {
        for (const Operation operation : kReductions) {
            EXPECT_EQ(operation(bad), kBadHandle) << bad;
        }
        for (const Operation operation : kOthers) {
            EXPECT_EQ(operation(bad), kBadHandle) << bad;
        }
    }
    IMG_delete_bitmap(handle);
}

void note(i16 percent, void* reports)
{
    static_cast<std::vector<int>*>(reports)->push_back(percent);
}

std::vector<int> reports_of(Operation operation, int height, int bits)
{
    const int handle = make_image(5, height, bits, 1);
    std::vector<int> reports;
    IMG_set_callback(note, &reports);
    operation(handle);
    IMG_set_callback(nullptr, nullptr);
    IMG_delete_bitmap(handle);
    return reports;
}

TEST(OperationFrame, Reports)
{
    using Reports = std::vector<int>;
    const Reports three_rows = {1, 5, 10, 4, 8, 12, 90, 100};
    for (const Operation operation : kReductions) {
        EXPECT_EQ(reports_of(operation, 3, 24), operation == IMG_diffusion_mono ? Reports{} : three_rows);
        EXPECT_EQ(reports_of(operation, 3, 1), operation == IMG_diffusion_mono ? Reports{} : Reports{1});
    }
    EXPECT_EQ(reports_of(IMG_invert_bitmap, 2, 1), (Reports{1, 10, 4, 8, 90, 100}));
    EXPECT_EQ(reports_of(kOthers[1], 3, 24), Reports{});
    // Every row reports below a height of 40, past 90 and past 100; from there on every step-th.
    const struct {
        int height;
        int reports;
    } cases[] = {{22, 22}, {23, 23}, {39, 39}, {41, 20}, {100, 20}};
    for (const auto& test : cases) {
        Reports expected = {1, 5, 10};
        for (int i = 1; i <= test.reports; i++) {
            expected.push_back(i * 4);
        }
        if (test.reports < 23) {
            expected.push_back(90);
        }
        expected.push_back(100);
        EXPECT_EQ(reports_of(IMG_color_gray, test.height, 8), expected) << test.height;
    }
}

TEST(OperationFrame, MemoryThatRunsOutLeavesTheImage)
{
    for (const Operation operation : kReductions) {
        for (const int bits : {4, 8, 24}) {
            if (operation == IMG_popularity_color && bits != 24) {
                continue;
            }
            const int handle = make_image(21, 6, bits, 2);
            const Picture picture = picture_of(handle);
            const std::vector<u8> rows = raw_rows(handle);
            const ImageRecord record = *handle_record(handle);
            int failures = 0;
            check_allocations([&] {
                const i16 result = operation(handle);
                if (result != kOk) {
                    failures++;
                    EXPECT_EQ(picture_of(handle), picture);
                    EXPECT_EQ(raw_rows(handle), rows);
                    EXPECT_EQ(handle_record(handle)->dib_block, record.dib_block);
                }
                return result;
            });
            EXPECT_GE(failures, 2);
            EXPECT_NE(handle_record(handle)->dib_block, record.dib_block);
            IMG_delete_bitmap(handle);
        }
    }
    const int handle = make_image(21, 6, 8, 2);
    const Picture picture = picture_of(handle);
    platform::testing::fail_allocation(1);
    EXPECT_EQ(IMG_set_lut(handle, 20, 5), kOutOfMemory);
    platform::testing::fail_allocation(0);
    EXPECT_EQ(picture_of(handle), picture);
    EXPECT_EQ(IMG_set_lut(handle, 20, 5), kOk);
    IMG_delete_bitmap(handle);
}

// Beside the old block and the new one there are a few rows and tables, whatever the height.
TEST(OperationFrame, WorkingMemoryIsAFewRows)
{
    for (const Operation operation : kReductions) {
        const int handle = make_image(500, 900, 24, 1);
        const u64 old_bytes = platform::testing::live_bytes();
        platform::testing::reset_peak_bytes();
        EXPECT_EQ(operation(handle), kOk);
        const ImageRecord& record = *handle_record(handle);
        const u64 new_bytes = static_cast<u64>(record.row_stride) * 900;
        EXPECT_LT(platform::testing::peak_bytes() - old_bytes - new_bytes, 20u * 1500 + 50'000);
        IMG_delete_bitmap(handle);
    }
}

// A palette saved for one picture must not come back under another.
TEST(OperationFrame, SavedPaletteEndsWithThePicture)
{
    for (const Operation operation : kReductions) {
        if (operation == IMG_popularity_color) {
            continue;
        }
        const int handle = make_image(6, 6, 8, 4);
        IMG_set_lut(handle, 40, 40);
        const int blocks = platform::testing::live_blocks();
        EXPECT_EQ(operation(handle), kOk);
        EXPECT_EQ(platform::testing::live_blocks(), blocks - 1);
        EXPECT_EQ(handle_record(handle)->lut_palette_block, 0);
        EXPECT_EQ(handle_record(handle)->lut_palette, nullptr);
        IMG_delete_bitmap(handle);
    }
}

// Eight bits a pixel would need rows of 32,768 bytes.
TEST(OperationFrame, ResultThatNoHandleHolds)
{
    const int handle = make_image(32766, 1, 4, 1);
    const Picture picture = picture_of(handle);
    EXPECT_EQ(IMG_color_gray(handle), kNotSupported);
    EXPECT_EQ(picture_of(handle), picture);
    EXPECT_EQ(IMG_bayer_mono(handle), kOk);
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
