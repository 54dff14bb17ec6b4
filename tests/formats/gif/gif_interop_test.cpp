// GIF from and to netpbm, giflib, ImageMagick and Pillow, pixel for pixel.
#include <gtest/gtest.h>

#include "tests/support/support.h"

namespace orv::test
{
namespace
{

TEST(GifPeers, EveryFixtureIsItsPicture)
{
    for (const std::string& path : fixtures("gif")) {
        expect_same(load_picture(path), fixture_source(path), path.c_str());
    }
}

TEST(GifPeers, ReadWhatIsWritten)
{
    const std::string pillow =
        "/usr/bin/python3 -c 'from PIL import Image; import sys; "
        "Image.open(sys.argv[1]).convert(\"RGB\").save(sys.argv[2], \"ppm\")' ";
    const std::string out = temp_path("peer.ppm");
    for (const int bits : {4, 8}) {
        for (const int width : {64, 37, 1, 700}) {
            const std::string path = temp_path("written.gif");
            const int handle = make_image(width, 91, bits, 9);
            ASSERT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_BY_NAME, 1, 1, 1, 1), 0);
            const Picture picture = picture_of(handle);
            IMG_delete_bitmap(handle);
            expect_same(load_picture(path), picture, "by ourselves");
            expect_same(peer_picture(path), picture, "by ImageMagick");
            for (const std::string& peer : {"giftopnm " + path + " >",
                                            "gif2rgb -1 -o " + out + ".rgb " + path + " && rawtoppm " +
                                                std::to_string(width) + " 91 " + out + ".rgb >",
                                            pillow + path + " "}) {
                ASSERT_TRUE(run(peer + out));
                expect_same(read_pnm(out), picture, peer.c_str());
            }
        }
    }
}

}  // namespace
}  // namespace orv::test
