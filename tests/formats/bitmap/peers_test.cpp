// PCX, DCX and TGA from and to netpbm, ImageMagick and Pillow, pixel for pixel.
#include <gtest/gtest.h>

#include "formats/bitmap/pcx.h"
#include "tests/formats/bitmap/job.h"
#include "tests/support/support.h"

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

std::string word_of(const std::string& path, usize n)
{
    std::string name = path.substr(path.rfind('/') + 1);
    for (; n > 0; --n) {
        name.erase(0, name.find('-') + 1);
    }
    return name.substr(0, name.find('-'));
}

TEST(BitmapPeers, EveryFixtureIsItsPicture)
{
    for (const char* folder : {"pcx", "tga"}) {
        for (const std::string& path : fixtures(folder)) {
            if (word_of(path, 0) != "unread") {
                expect_same(load_picture(path), source_picture(word_of(path, 0)), path.c_str());
            }
        }
    }
}

TEST(BitmapPeers, PagesOfAForeignDcx)
{
    const std::vector<std::string> files = fixtures("dcx");
    ASSERT_EQ(files.size(), 1U);
    for (int page = 0; page < 3; ++page) {
        expect_same(load_picture(files[0], page), source_picture(word_of(files[0], static_cast<usize>(page))),
                    "page");
    }
    // A page of ours goes behind the others.
    const std::string path = temp_path("grown.dcx");
    write_file(path, read_file(files[0]));
    const int handle = make_image(33, 9, 8, 1);
    const Picture added = picture_of(handle);
    EXPECT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_DCX, 1, 1, 0, 0), 0);
    IMG_delete_bitmap(handle);
    expect_same(load_picture(path, 1), source_picture("gray"), "an old page");
    expect_same(load_picture(path, 3), added, "the new page");
    expect_same(peer_picture(path + "[3]"), added, "the new page by ImageMagick");
}

struct Peer {
    const char* name;
    const char* command;  // makes OUT of IN
};
constexpr Peer kMagick = {"ImageMagick", "convert-im6.q16 -quiet IN -auto-orient -depth 8 ppm:OUT"};
constexpr Peer kPillow = {"Pillow",
                          "/usr/bin/python3 -c 'from PIL import Image; "
                          "Image.open(\"IN\").convert(\"RGB\").save(\"OUT\", \"ppm\")'"};
constexpr Peer kPcxToPpm = {"pcxtoppm", "pcxtoppm IN >OUT"};
constexpr Peer kTgaToPpm = {"tgatoppm", "tgatoppm IN >OUT"};

Picture picture_by(const Peer& peer, const std::string& path)
{
    std::string command = peer.command;
    const std::string out = temp_path("peer.pnm");
    command.replace(command.find("IN"), 2, path);
    command.replace(command.find("OUT"), 3, out);
    return run(command) ? read_pnm(out) : Picture{};
}

TEST(BitmapPeers, ReadWhatIsWritten)
{
    // ImageMagick takes the bits of 1-bit PCX for their opposite, those of the other two included. Pillow
    // knows no 24-bit PCX of version 3 and looks for 8-bit pixels of a DCX page in the wrong place.
    struct Case {
        i16 format;
        const char* ending;
        int bits;
        std::vector<Peer> peers;
    };
    const std::vector<Case> cases = {
        {ORV_FORMAT_PCX, ".pcx", 1, {kPillow, kPcxToPpm}},
        {ORV_FORMAT_PCX, ".pcx", 4, {kMagick, kPillow, kPcxToPpm}},
        {ORV_FORMAT_PCX, ".pcx", 8, {kMagick, kPillow, kPcxToPpm}},
        {ORV_FORMAT_PCX, ".pcx", 24, {kMagick, kPcxToPpm}},
        {ORV_FORMAT_DCX, ".dcx", 1, {kPillow}},
        {ORV_FORMAT_DCX, ".dcx", 4, {kMagick, kPillow}},
        {ORV_FORMAT_DCX, ".dcx", 8, {kMagick}},
        {ORV_FORMAT_DCX, ".dcx", 24, {kMagick}},
        {ORV_FORMAT_TGA, ".tga", 8, {kMagick, kPillow, kTgaToPpm}},
        {ORV_FORMAT_TGA, ".tga", 24, {kMagick, kPillow, kTgaToPpm}},
    };
    int number = 0;
    for (const Case& c : cases) {
        for (const int width : {64, 37}) {
            const std::string path = temp_path("ours" + std::to_string(++number) + c.ending);
            const int handle = make_image(width, 21, c.bits, static_cast<unsigned>(number));
            if (c.bits == 1) {  // most programs know no other colours at 1 bit
                set_palette(handle, {0x000000, 0xFFFFFF});
            }
            ASSERT_EQ(IMG_save_bitmap(handle, path.c_str(), c.format, 1, 1, 0, 0), 0);
            const Picture picture = picture_of(handle);
            IMG_delete_bitmap(handle);
            expect_same(load_picture(path), picture, path.c_str());
            for (const Peer& peer : c.peers) {
                SCOPED_TRACE(std::string(peer.name) + " at " + std::to_string(c.bits) + " bits");
                expect_same(picture_by(peer, path), picture, peer.name);
            }
        }
    }
}

}  // namespace
}  // namespace orv::test
