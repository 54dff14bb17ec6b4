#include "frame/handles.h"

#include <gtest/gtest.h>

#include <climits>

#include "frame/rows.h"
#include "orvimg32/host.h"
#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

TEST(Handles, LowestFreeSlotComesBack)
{
    const int first[] = {make_image(3, 2, 8, 1), make_image(4, 2, 8, 2), make_image(5, 2, 8, 3)};
    EXPECT_EQ(first[2] - first[0], 2);
    EXPECT_EQ(IMG_delete_bitmap(1), kOk);
    EXPECT_EQ(make_image(6, 2, 8, 4), 1);
    EXPECT_EQ(IMG_delete_bitmap(1), kOk);
    EXPECT_EQ(handle_count, 3);
    EXPECT_EQ(IMG_delete_bitmap(2), kOk);
    EXPECT_EQ(handle_count, 2) << "a free slot below the last one stays in the search";
    EXPECT_EQ(IMG_delete_bitmap(0), kOk);
    EXPECT_EQ(platform::testing::live_blocks(), 0) << "the table goes with the last image";
    EXPECT_EQ(make_image(1, 1, 1, 5), 0);
    IMG_delete_bitmap(0);
}

TEST(Handles, HundredsOfImagesAndOutOfMemory)
{
    for (int i = 0; i < 300; i++) {
        ASSERT_EQ(make_image(1 + i, 1, 8, 1), i);
    }
    check_allocations(
        [] { return static_cast<i16>(IMG_delete_bitmap(handle_allocate()) < 0 ? kOutOfMemory : kOk); });
    u16 width = 0;
    u16 height = 0;
    u16 bits = 0;
    for (int i = 299; i >= 0; i--) {
        EXPECT_GT(IMG_bitmap_info(i, &width, &height, &bits), 0);
        ASSERT_EQ(width, i + 1);
        IMG_delete_bitmap(i);
    }
}

TEST(Handles, BadOnesAreRefusedEverywhere)
{
    const int live = make_image(2, 2, 24, 1);
    for (const i32 bad : {-1, 1, 2, 300, 0x10000 + live, 40000, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(bad);
        u16 u[3];
        i16 s[4];
        u8 header[sizeof(ImageHeader)];
        EXPECT_EQ(IMG_delete_bitmap(bad), kBadHandle);
        EXPECT_EQ(IMG_bitmap_info(bad, &u[0], &u[1], &u[2]), kBadHandle);
        EXPECT_EQ(IMG_get_dib_intern(bad), nullptr);
        EXPECT_EQ(IMG_get_croprect(bad, &s[0], &s[1], &s[2], &s[3]), kBadHandle);
        EXPECT_EQ(IMG_set_croprect(bad, 0, 0, 1, 1), kBadHandle);
        EXPECT_EQ(IMGLOW_get_bitmap_header(bad, header), kBadHandle);
        EXPECT_EQ(IMG_save_bitmap(bad, temp_path("bad.bmp").c_str(), 1, 1, 1, 1, 1), kBadHandle);
        EXPECT_EQ(IMG_save_bitmap_mem_sized(bad, header, 8, 1, nullptr), kBadHandle);
    }
    IMG_delete_bitmap(live);
}

TEST(Handles, ThirtyTwoThousandAndTheLowestFreeOneNext)
{
    const ImageHeader image = {{40, 1, 1, 1, 24, 0, 0, 0, 0, 0, 0}, {}};
    for (int handle = 0; handle < 32767; ++handle) {
        ASSERT_EQ(IMG_create_handle(&image), handle);
    }
    EXPECT_EQ(IMG_create_handle(&image), kOutOfMemory) << "handles end with 16 bits";
    for (const int handle : {20000, 63, 64, 12}) {
        IMG_delete_bitmap(handle);
    }
    for (const int handle : {12, 63, 64, 20000}) {
        EXPECT_EQ(IMG_create_handle(&image), handle);
    }
    for (int handle = 32766; handle >= 0; --handle) {
        ASSERT_EQ(IMG_delete_bitmap(handle), kOk);
    }
    EXPECT_EQ(handle_count, 0);
}

TEST(Handles, RecordAndHeaderOfANewImage)
{
    const int handle = make_image(33, 5, 1, 7);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    EXPECT_EQ(record.row_stride, 8);
    EXPECT_EQ(record.raster_op, 0x00CC0020u);
    EXPECT_EQ(IMG_set_croprect(handle, -3, 4, -32768, 32767), kOk);
    i16 crop[4];
    IMG_get_croprect(handle, &crop[0], &crop[1], &crop[2], &crop[3]);
    EXPECT_EQ(std::vector<int>(crop, crop + 4), (std::vector<int>{-3, 4, -32768, 32767}));
    u8 header[kBitmapHeaderBytes + 8 + 1] = {};
    header[kBitmapHeaderBytes + 8] = 0xA5;
    EXPECT_EQ(IMGLOW_get_bitmap_header(handle, header), kOk);
    const void* block = orv_block_lock(record.dib_block);
    EXPECT_EQ(std::memcmp(header, block, kBitmapHeaderBytes + 8), 0);
    EXPECT_EQ(header[kBitmapHeaderBytes + 8], 0xA5) << "a 1-bit header has two palette entries";
    orv_block_unlock(record.dib_block);
    IMG_delete_bitmap(handle);
    EXPECT_EQ(orv_block_lock(12345), nullptr);
}

TEST(Rows, StridesAndTheHeaderCheck)
{
    struct Case {
        i32 width, height;
        u16 bits;
        int expected;  // the stride, or a negative code
    };
    for (const Case& c :
         {Case{1, 1, 1, 4}, Case{33, 1, 1, 8}, Case{5, 9, 24, 16}, Case{32767, 1, 1, 4096},
          Case{10921, 1, 24, 32764}, Case{32764, 1, 8, 32764}, Case{10922, 1, 24, kNotSupported},
          Case{32765, 1, 8, kNotSupported}, Case{32768, 1, 1, kNotSupported}, Case{1, 32768, 1, kNotSupported},
          Case{0, 5, 8, kBadData}, Case{5, -1, 8, kBadData}, Case{INT_MIN, 5, 8, kBadData},
          Case{INT_MAX, INT_MAX, 24, kNotSupported}, Case{5, 5, 0, kNotSupported},
          Case{5, 5, 16, kNotSupported}, Case{5, 5, 32, kNotSupported}}) {
        SCOPED_TRACE(testing::Message() << c.width << " by " << c.height << " by " << c.bits);
        ImageHeader image = {};
        image.info.biSize = kBitmapHeaderBytes;
        image.info.biWidth = c.width;
        image.info.biHeight = c.height;
        image.info.biBitCount = c.bits;
        EXPECT_EQ(header_check(image.info), std::min(c.expected, 0));
        if (c.expected < 0) {
            EXPECT_EQ(IMG_create_handle(&image), c.expected);
        } else {
            EXPECT_EQ(RowStride(static_cast<i16>(c.width), static_cast<i16>(c.bits)), c.expected);
        }
    }
    EXPECT_EQ(IMG_create_handle(nullptr), kBadData);
}

TEST(CreateHandle, PaletteAndPixelsLieBehindALongHeader)
{
    std::vector<u8> packed(48 + 8 + 4, 0);
    BITMAPINFOHEADER info = {};
    info.biSize = 48;
    info.biWidth = 4;
    info.biHeight = 1;
    info.biBitCount = 1;
    std::memcpy(packed.data(), &info, sizeof info);
    packed[48] = 0x11;  // blue of entry 0
    packed[54] = 0x22;  // red of entry 1
    packed[56] = 0x50;
    const int handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
    EXPECT_EQ(picture_of(handle).pixels, (std::vector<u32>{0x11, 0x220000, 0x11, 0x220000}));
    ImageHeader header;
    IMGLOW_get_bitmap_header(handle, &header);
    EXPECT_EQ(header.info.biSize, kBitmapHeaderBytes);
    IMG_delete_bitmap(handle);
    packed[16] = 1;
    EXPECT_EQ(IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data())), kNotSupported) << "coded";
    packed[16] = 0;
    check_allocations([&] {
        const i16 made = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
        IMG_delete_bitmap(made);
        return made;
    });
}

}  // namespace
}  // namespace orv::test
