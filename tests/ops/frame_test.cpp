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

i16 set_lut(i32 handle)
{
    return IMG_set_lut(handle, 20, 5);
}

const Operation kOthers[] = {IMG_invert_bitmap,
                             set_lut,
                             IMG_flip_bitmapx,
                             IMG_flip_bitmapy,
                             [](i32 h) { return IMG_rotate_bitmap(h, 90); },
                             [](i32 h) { return IMG_rotate_bitmap(h, 180); },
                             [](i32 h) { return IMG_rotate_bitmap(h, 0); },
                             [](i32 h) { return IMG_resize_bitmap(h, 200, 201); },
                             [](i32 h) { return IMG_sharpen_bitmap(h, 64); }};

// Every allocation fails once: the image is as before. Then the memory is counted: the old block, the
// new one, and a few rows and tables.
void check_memory(Operation operation, int bits)
{
    using namespace platform::testing;
    const int handle = make_image(300, 201, bits, 1);
    const std::vector<u8> rows = raw_rows(handle);
    const Picture picture = picture_of(handle);
    const ImageRecord record = *handle_record(handle);
    const u64 bytes = live_bytes();
    check_allocations([&] {
        reset_peak_bytes();
        const i16 result = operation(handle);
        if (result != kOk) {
            EXPECT_TRUE(picture_of(handle) == picture && raw_rows(handle) == rows);
            EXPECT_EQ(handle_record(handle)->dib_block, record.dib_block);
            EXPECT_EQ(handle_record(handle)->crop_left, record.crop_left);
        }
        return result;
    });
    const ImageRecord& now = *handle_record(handle);
    const u64 new_bytes =
        now.dib_block == record.dib_block ? 0 : static_cast<u64>(now.row_stride * now.image_height);
    EXPECT_LT(peak_bytes(), bytes + new_bytes + 20u * 900 + 50'000);
    IMG_delete_bitmap(handle);
}

TEST(OperationFrame, HandlesAndMemory)
{
    const int handle = make_image(3, 3, 24, 1);
    const int deleted = make_image(3, 3, 24, 1);
    IMG_delete_bitmap(deleted);
    for (const auto& operations :
         {std::span<const Operation>(kReductions), std::span<const Operation>(kOthers)}) {
        for (const Operation& operation : operations) {
            SCOPED_TRACE(testing::Message() << "operation " << &operation - operations.data());
            for (const int bad : {-1, -32768, deleted, 40, 65536}) {
                EXPECT_EQ(operation(bad), kBadHandle) << bad;
            }
            // These two change 24-bit rows where they lie.
            if (operation != IMG_invert_bitmap && operation != set_lut) {
                check_memory(operation, 24);
            }
        }
    }
    IMG_delete_bitmap(handle);
    check_memory(IMG_mediancut_color, 8);
    check_memory(IMG_bayer_mono, 4);
    // The palette that is kept stays with the image.
    const int indexed = make_image(21, 6, 8, 2);
    const Picture picture = picture_of(indexed);
    platform::testing::fail_allocation(1);
    EXPECT_EQ(set_lut(indexed), kOutOfMemory);
    platform::testing::fail_allocation(0);
    EXPECT_EQ(picture_of(indexed), picture);
    EXPECT_EQ(set_lut(indexed), kOk);
    IMG_delete_bitmap(indexed);
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
    EXPECT_EQ(reports_of(set_lut, 3, 24), Reports{});
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
