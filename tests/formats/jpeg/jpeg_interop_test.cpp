#include "tests/formats/jpeg/jpeg_support.h"

namespace orv::test
{
namespace
{

// As far as two roundings of the transform and of the colours can lie apart.
constexpr int kLargest = 3;
constexpr double kMean = 0.5;

TEST(JpegInterop, ReadsWhatLibjpegWrites)
{
    const Ways wide(ORV_READING_WIDE, ORV_WRITING_DESCRIBED);
    int compared = 0;
    for (const std::string& path : fixtures("jpeg")) {
        if (path.find("described/") != std::string::npos || path.find("unread/") != std::string::npos) {
            continue;
        }
        ASSERT_TRUE(run("djpeg -nosmooth -pnm -outfile " + temp_path("peer.pnm") + " " + path));
        const Difference apart = difference(load_picture(path), read_pnm(temp_path("peer.pnm")));
        EXPECT_LE(apart.largest, kLargest) << path;
        EXPECT_LE(apart.mean, kMean) << path;
        ++compared;
    }
    EXPECT_GE(compared, 20);
}

TEST(JpegInterop, OthersReadWhatTheStandardWayWrites)
{
    const Ways standard(ORV_READING_WIDE, ORV_WRITING_STANDARD);
    for (const char* const operation : {"colour", "palette", "gray"}) {
        const i16 handle = IMG_decompress_bitmap(data_path("demo/photo.bmp").c_str());
        if (operation[0] != 'c') {
            EXPECT_EQ(operation[0] == 'g' ? IMG_color_gray(handle) : IMG_popularity_color(handle), ORV_OK);
        }
        IMGLOW_set_comp_quality(2);
        const std::string path = temp_path("ours.jpg");
        write_file(path, saved_jpeg(handle));
        IMG_delete_bitmap(handle);
        const Picture ours = load_picture(path);
        ASSERT_TRUE(run("djpeg -nosmooth -pnm -outfile " + temp_path("djpeg.pnm") + " " + path +
                        " 2>&1 | tee " + temp_path("said") + "; test ! -s " + temp_path("said")))
            << "no warning either";
        ASSERT_TRUE(
            run("/usr/bin/python3 -c 'import sys; from PIL import Image; Image.open(sys.argv[1])"
                ".convert(\"RGB\").save(sys.argv[2])' " +
                path + " " + temp_path("pillow.ppm")));
        EXPECT_LE(difference(ours, read_pnm(temp_path("djpeg.pnm"))).largest, kLargest) << operation;
        // These two smooth chroma, so single pixels lie further apart.
        EXPECT_LE(difference(ours, read_pnm(temp_path("pillow.ppm"))).mean, 1.5) << operation;
        EXPECT_LE(difference(ours, peer_picture(path)).mean, 1.5) << operation;
    }
}

}  // namespace
}  // namespace orv::test
