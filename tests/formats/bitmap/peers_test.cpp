// PCX, DCX and TGA from and to netpbm, ImageMagick and Pillow, pixel for pixel; the fixtures of other
// formats show the same pictures.
#include "tests/formats/bitmap/job.h"

namespace orv::test
{
namespace
{

// The picture that a word of a fixture's name stands for; "15" behind it keeps five bits a colour.
Picture source_picture(std::string word)
{
    const bool five_bits = word.ends_with("15");
    word.resize(word.size() - (five_bits ? 2 : 0));
    const std::string ending = word == "gray" ? ".pgm" : word == "mono" ? ".pbm" : ".ppm";
    Picture picture = read_pnm(data_path("bitmap/" + word + ending));
    for (u32& pixel : picture.pixels) {
        pixel &= five_bits ? 0xF8F8F8 : 0xFFFFFF;
    }
    return picture;
}

std::string word_of(const std::string& path, int n)
{
    std::string name = path.substr(path.rfind('/') + 1);
    for (; n > 0; --n) {
        name.erase(0, name.find('-') + 1);
    }
    return name.substr(0, name.find('-'));
}

TEST(BitmapPeers, EveryFixtureIsItsPictures)
{
    for (const std::string folder : {"pcx", "tga", "dcx", "pict", "wpg", "eps"}) {
        for (const std::string& path : fixtures(folder)) {
            for (int page = 0; word_of(path, 0) != "unread" && page < (folder == "dcx" ? 3 : 1); ++page) {
                expect_same(load_picture(path, page), source_picture(word_of(path, page)), path.c_str());
            }
        }
    }
}

TEST(BitmapPeers, APageBehindForeignOnes)
{
    const std::string path = temp_path("grown.dcx");
    write_file(path, read_file(fixtures("dcx")[0]));
    const int handle = make_image(33, 9, 8, 1);
    EXPECT_EQ(save(handle, path, ORV_FORMAT_DCX), 0);
    expect_same(load_picture(path, 1), source_picture("gray"), "an old page");
    expect_same(load_picture(path, 3), picture_of(handle), "the new page");
    expect_same(peer_picture(path + "[3]"), picture_of(handle), "the new page by ImageMagick");
    IMG_delete_bitmap(handle);
}

// What a program, by its letter, makes of a file.
Picture picture_by(char peer, const std::string& path)
{
    const std::string out = temp_path("peer.pnm");
    const std::string netpbm = path.ends_with("pcx") ? "pcxtoppm " : "tgatoppm ";
    const bool ran = peer == 'm'   ? run("convert-im6.q16 -quiet " + path + " -auto-orient -depth 8 ppm:" + out)
                     : peer == 'n' ? run(netpbm + path + " >" + out)
                                   : run("/usr/bin/python3 -c 'from PIL import Image; Image.open(\"" + path +
                                         "\").convert(\"RGB\").save(\"" + out + "\", \"ppm\")'");
    return ran ? read_pnm(out) : Picture{};
}

TEST(BitmapPeers, ReadWhatIsWritten)
{
    // By ImageMagick, netpbm and Pillow. ImageMagick takes the bits of 1-bit PCX for their opposite, also
    // those of the other two. Pillow knows no 24-bit PCX of version 3 and looks for the 8-bit pixels of a DCX
    // page in the wrong place.
    struct Case {
        const char* ending;
        int bits;
        const char* peers;
    };
    const Case cases[] = {{"pcx", 1, "np"},  {"pcx", 4, "mnp"}, {"pcx", 8, "mnp"}, {"pcx", 24, "mn"},
                          {"dcx", 1, "p"},   {"dcx", 4, "mp"},  {"dcx", 8, "m"},   {"dcx", 24, "m"},
                          {"tga", 8, "mnp"}, {"tga", 24, "mnp"}};
    for (const Case& c : cases) {
        for (const int width : {64, 37}) {
            const std::string path =
                temp_path(std::to_string(c.bits) + "by" + std::to_string(width) + "." + c.ending);
            const int handle = make_image(width, 21, c.bits, 9);
            if (c.bits == 1) {  // most programs know no other colours at 1 bit
                set_palette(handle, {0x000000, 0xFFFFFF});
            }
            ASSERT_EQ(save(handle, path, ORV_FORMAT_BY_NAME), 0);
            const Picture picture = picture_of(handle);
            IMG_delete_bitmap(handle);
            expect_same(load_picture(path), picture, path.c_str());
            for (const char* peer = c.peers; *peer != 0; ++peer) {
                expect_same(picture_by(*peer, path), picture, (path + " by " + *peer).c_str());
            }
        }
    }
}

}  // namespace
}  // namespace orv::test
