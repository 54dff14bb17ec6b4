// WPG and PostScript in other programs, pixel for pixel.
#include "tests/formats/bitmap/job.h"

namespace orv::test
{
namespace
{

// By GraphicsMagick, ImageMagick and Ghostscript, which draws 8 inches of width in as many dots as pixels.
TEST(WpgEpsPeers, ReadWhatIsWritten)
{
    const std::string path = temp_path("written.");
    const std::string peer = temp_path("peer.ppm");
    const int shapes[][3] = {{1, 61, 43}, {4, 61, 43}, {8, 61, 43}, {24, 61, 43}, {8, 281, 20}, {24, 320, 1}};
    for (const auto& [bits, width, height] : shapes) {
        const int handle = make_image(width, height, bits, 1);
        if (bits == 1) {
            set_palette(handle, {0, 0xFFFFFF});
        }
        const Picture picture = picture_of(handle);
        if (bits < 24) {
            ASSERT_EQ(save(handle, path + "wpg", ORV_FORMAT_BY_NAME), 0);
            expect_same(load_picture(path + "wpg"), picture, "read back");
            expect_same(peer_picture(path + "wpg"), picture, "ImageMagick");
            ASSERT_TRUE(run("gm convert " + path + "wpg -depth 8 " + peer));
            expect_same(read_pnm(peer), picture, "GraphicsMagick");
        }
        ASSERT_EQ(save(handle, path + "eps", ORV_FORMAT_BY_NAME), 0);
        IMG_delete_bitmap(handle);
        // The page of the program moved so that the picture fills the device.
        const double dots = 8.0 * 300 * (width == 281 ? 2399 / 2400.0 : 1);
        const double down = 10.75 * 72 - 72 * static_cast<int>(height * (2400.0 / width)) / 300.0;
        ASSERT_TRUE(run("gs -q -dBATCH -dNOPAUSE -sDEVICE=ppmraw -g" + std::to_string(width) + "x" +
                        std::to_string(height) + " -r" + std::to_string(width * 300 / dots) + " -o " + peer +
                        " -c '-18 " + std::to_string(-down) + " translate' -f " + path + "eps"));
        expect_same(read_pnm(peer), picture, "Ghostscript");
    }
}

}  // namespace
}  // namespace orv::test
