#include "orvimg32/host.h"
#include "tests/formats/jpeg/jpeg_support.h"

namespace orv::test
{
namespace
{

// Replaces the palette by a gray one, with one coloured entry where `coloured`.
void set_gray(int handle, bool coloured)
{
    auto* const header = static_cast<ImageHeader*>(orv_block_lock(IMG_get_dib_intern(handle)->dib_block));
    for (u32 i = 0; i < 256; ++i) {
        const u8 v = static_cast<u8>(i * 7);
        header->palette[i] = {v, v, static_cast<u8>(coloured && i == 255 ? v + 1 : v), 0};
    }
    orv_block_unlock(IMG_get_dib_intern(handle)->dib_block);
}

// The model takes the rows with their padding from a BMP file.
TEST(JpegWrite, FilesAsTheModelWritesThem)
{
    for (const int step : {-1, 0, 3, 60, 200}) {
        if (step >= 0) {
            IMGLOW_set_comp_quality(static_cast<i16>(step));
        }
        std::vector<Bytes> files;
        std::string names;
        for (const int width : {1, 5, 16, 20, 33, 64}) {
            for (const int kind : {0, 1, 2}) {
                const int handle =
                    make_image(width, 1 + width * 5 % 19, kind == 0 ? 24 : 8, static_cast<unsigned>(width));
                if (kind != 0) {
                    set_gray(handle, kind == 1);
                }
                const std::string name = temp_path("model" + std::to_string(files.size()));
                IMG_save_bitmap(handle, (name + ".bmp").c_str(), ORV_FORMAT_BMP, 1, 1, 1, 1);
                names += " " + name + ".bmp";
                files.push_back(saved_jpeg(handle));
                IMG_delete_bitmap(handle);
            }
        }
        ASSERT_TRUE(run("python3 " ORV_JPEG_MODEL " encode " + std::to_string(step) + names));
        for (usize i = 0; i < files.size(); ++i) {
            EXPECT_EQ(files[i], read_file(temp_path("model" + std::to_string(i) + ".jpg")))
                << i << " at step " << step;
        }
    }
}

TEST(JpegWrite, LimitsOfBothWays)
{
    for (const int bits : {1, 4}) {
        const int handle = make_image(8, 8, bits, 1);
        saved_jpeg(handle, ORV_NOT_SUPPORTED);
        IMG_delete_bitmap(handle);
    }
    const int widest = make_image(2720, 9, 24, 1);
    EXPECT_FALSE(saved_jpeg(widest).empty());
    IMG_delete_bitmap(widest);
    const int wider = make_image(2721, 9, 24, 1);
    saved_jpeg(wider, ORV_OUT_OF_MEMORY);
    const Ways standard(ORV_READING_WIDE, ORV_WRITING_STANDARD);
    EXPECT_EQ(load_picture(saved_jpeg(wider)).width, 2721);
    IMG_delete_bitmap(wider);
}

// Also where the grays of a palette are no ramp.
TEST(JpegWrite, TheStandardWayKeepsGrays)
{
    IMGLOW_set_comp_quality(0);
    const Ways standard(ORV_READING_WIDE, ORV_WRITING_STANDARD);
    const int handle = make_image(37, 11, 8, 1);
    set_gray(handle, false);
    const Picture read = load_picture(saved_jpeg(handle));
    EXPECT_EQ(read.bits, 8);
    EXPECT_LE(difference(read, picture_of(handle)).largest, 2);
    IMG_delete_bitmap(handle);
}

TEST(JpegWrite, TheStandardWayKeepsColours)
{
    IMGLOW_set_comp_quality(0);
    const Ways standard(ORV_READING_WIDE, ORV_WRITING_STANDARD);
    // One colour of a palette or of 24 bits everywhere, so that neither chroma nor edges lose anything.
    for (const u32 colour : {0x000000U, 0xFFFFFFU, 0xFF0000U, 0x00FF00U, 0x0000FFU, 0x40A0C8U, 0x808080U}) {
        for (const int bits : {8, 24}) {
            const int handle = make_image(37, 11, bits, 1);
            auto* const header =
                static_cast<ImageHeader*>(orv_block_lock(IMG_get_dib_intern(handle)->dib_block));
            u8* const rows = reinterpret_cast<u8*>(header) + 40 + (bits == 8 ? 1024 : 0);
            for (usize i = 0; i < 256 && bits == 8; ++i) {
                header->palette[i] = {static_cast<u8>(colour), static_cast<u8>(colour >> 8),
                                      static_cast<u8>(colour >> 16), 0};
            }
            for (int i = 0; i < 37 * 11 && bits == 24; ++i) {
                const u8 pixel[3] = {static_cast<u8>(colour), static_cast<u8>(colour >> 8),
                                     static_cast<u8>(colour >> 16)};
                std::memcpy(rows + i / 37 * 112 + i % 37 * 3, pixel, 3);
            }
            orv_block_unlock(IMG_get_dib_intern(handle)->dib_block);
            EXPECT_LE(difference(load_picture(saved_jpeg(handle)), picture_of(handle)).largest, 2)
                << std::hex << colour << " at " << std::dec << bits << " bits";
            IMG_delete_bitmap(handle);
        }
    }
}

}  // namespace
}  // namespace orv::test
