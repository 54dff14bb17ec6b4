// PICT as ImageMagick and GraphicsMagick read it, pixel for pixel.
#include <algorithm>

#include "tests/formats/pict/pict_build.h"

namespace orv::test
{
namespace
{

// Colours of a table are 16 bits wide, of which the upper eight are written; others scale the 16 down, so that
// all but 0 loses one.
u32 scaled(u32 pixel)
{
    for (const u32 one : {0x000001U, 0x000100U, 0x010000U}) {
        pixel -= (pixel & one * 0xFF) != 0 ? one : 0;
    }
    return pixel;
}

TEST(PictPeers, ReadWhatIsWritten)
{
    // Rows of less than 8 bytes are packed as all others are; these programs take them for plain ones.
    for (const int bits : {1, 4, 8, 24}) {
        for (const int width : {64, 131, 300}) {
            const std::string path = temp_path("saved.pct");
            const int handle = make_image(width, 21, bits, 9);
            ASSERT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_BY_NAME, 1, 1, 1, 1), 0);
            Picture picture = picture_of(handle);
            IMG_delete_bitmap(handle);
            if (bits < 24) {
                std::ranges::transform(picture.pixels, picture.pixels.begin(), scaled);
            }
            for (const std::string peer : {"convert-im6.q16 -quiet ", "gm convert "}) {
                const std::string out = temp_path("peer.ppm");
                ASSERT_TRUE(run(peer + "pict:" + path + " -depth 8 ppm:" + out)) << bits << " by " << width;
                expect_same(read_pnm(out), picture,
                            (peer + std::to_string(bits) + " by " + std::to_string(width)).c_str());
            }
        }
    }
}

}  // namespace
}  // namespace orv::test
