// What is written, as other programs read it.
#include "tests/formats/tiff/tiff_build.h"
#include "tests/formats/tiff/tiff_save.h"

namespace orv::test
{
namespace
{

// The picture of an image; at 1 bit black and white, whatever its palette says.
Picture shown(int handle)
{
    Picture picture = picture_of(handle);
    if (picture.bits == 1) {
        const Bytes rows = raw_rows(handle);
        const usize stride = rows.size() / static_cast<usize>(picture.height);
        for (usize i = 0; i < picture.pixels.size(); ++i) {
            const usize x = i % static_cast<usize>(picture.width);
            const usize row = static_cast<usize>(picture.height) - 1 - i / static_cast<usize>(picture.width);
            picture.pixels[i] = (rows[row * stride + x / 8] >> (7 - x % 8) & 1) != 0 ? 0xFFFFFF : 0;
        }
    }
    return picture;
}

Picture by_netpbm(const std::string& path)
{
    const std::string pnm = temp_path("netpbm.pnm");
    return run("tifftopnm -quiet " + path + " 2>/dev/null | pnmtopnm | ppmtoppm > " + pnm) ? read_pnm(pnm)
                                                                                           : Picture{};
}

Picture by_pillow(const std::string& path)
{
    const std::string ppm = temp_path("pillow.ppm");
    return run("/usr/bin/python3 -c \"from PIL import Image; Image.MAX_IMAGE_PIXELS = None; Image.open('" +
               path + "').convert('RGB').save('" + ppm + "')\"")
               ? read_pnm(ppm)
               : Picture{};
}

Picture by_libtiff(const std::string& path)
{
    const std::string copy = temp_path("copy.tif");
    return run("tiffcp -c none -f msb2lsb " + path + " " + copy + " 2>/dev/null") ? load_picture(copy)
                                                                                  : Picture{};
}

struct Save {
    i16 format;
    int width, height, bits;
};

TEST(TiffWriteInterop, Peers)
{
    const Save saves[] = {
        {ORV_FORMAT_TIFF, 1, 1, 1},
        {ORV_FORMAT_TIFF, 33, 9, 4},
        {ORV_FORMAT_TIFF, 101, 12, 8},
        {ORV_FORMAT_TIFF, 7, 5, 24},
        {ORV_FORMAT_TIFF, 32760, 2, 8},
        {ORV_FORMAT_TIFF_HUFFMAN, 1, 3, 1},
        {ORV_FORMAT_TIFF_HUFFMAN, 999, 40, 1},
        {ORV_FORMAT_TIFF_HUFFMAN, 32760, 3, 1},
        {ORV_FORMAT_TIFF_T4, 1728, 33, 1},
        {ORV_FORMAT_TIFF_T6, 1, 1, 1},
        {ORV_FORMAT_TIFF_T6, 1001, 55, 1},
        {ORV_FORMAT_TIFF_T6, 32760, 3, 1},
        {ORV_FORMAT_TIFF_LZW, 1, 1, 8},
        {ORV_FORMAT_TIFF_LZW, 203, 77, 1},
        {ORV_FORMAT_TIFF_LZW, 77, 300, 4},
        {ORV_FORMAT_TIFF_LZW, 300, 100, 8},
        {ORV_FORMAT_TIFF_LZW, 131, 99, 24},
        {ORV_FORMAT_TIFF_LZW, 10920, 3, 24},
        {ORV_FORMAT_TIFF_LZW, 32760, 3, 8},
    };
    for (const Save& test : saves) {
        SCOPED_TRACE(testing::Message() << "format " << test.format << ", " << test.width << " by "
                                        << test.height << ", " << test.bits << " bits");
        reset_jobs();
        const int handle = make_image(test.width, test.height, test.bits, 77);
        set_resolution(handle, 204, 196);
        const Picture picture = shown(handle);
        const std::string path = temp_path("saved.tif");
        std::remove(path.c_str());
        ASSERT_EQ(save(handle, path, test.format), 0);
        IMG_delete_bitmap(handle);
        expect_same(load_picture(path), picture, "own reader");
        expect_same(by_libtiff(path), picture, "libtiff");
        expect_same(by_pillow(path), picture, "Pillow");
        expect_same(by_netpbm(path), picture, "netpbm");
        if (test.width < 16000 && (test.bits == 1 || test.bits == 24)) {  // it scales colour maps another way
            expect_same(peer_picture(path), picture, "ImageMagick");
        }
    }
}

Bytes strip_of(const std::string& path)
{
    const Bytes file = read_file(path);
    const auto number = [&](u32 at) {
        return static_cast<u32>(file[at] | file[at + 1] << 8 | file[at + 2] << 16 | file[at + 3] << 24);
    };
    const u32 directory = number(4);
    u32 offset = 0;
    u32 bytes = 0;
    for (u32 i = 0; i < file[directory]; ++i) {
        const u32 at = directory + 2 + 12 * i;
        const u32 tag = static_cast<u32>(file[at] | file[at + 1] << 8);
        offset = tag == 273 ? number(at + 8) : offset;
        bytes = tag == 279 ? number(at + 8) : bytes;
    }
    return Bytes(file.begin() + offset, file.begin() + offset + bytes);
}

// The same bits as the peer's encoder makes, on a page of text and on noise. Its T.6 ends with EOFB.
TEST(TiffWriteInterop, SameBitsAsLibtiff)
{
    for (const char* const source : {"tiff/bilevel.tif", "tiff/t6.tif", "noise"}) {
        SCOPED_TRACE(source);
        reset_jobs();
        const int handle =
            source[0] == 'n' ? make_image(1111, 70, 1, 3) : IMG_decompress_bitmap(data_path(source).c_str());
        set_resolution(handle, 204, 196);
        for (const char* const name : {"raw.tif", "t6.tif", "mh.tif", "peer.tif"}) {
            std::remove(temp_path(name).c_str());
        }
        save_write_rtc = 0;
        ASSERT_EQ(save(handle, temp_path("t6.tif"), ORV_FORMAT_TIFF_T6), 0);
        ASSERT_EQ(IMG_save_bitmap(handle, temp_path("mh.tif").c_str(), ORV_FORMAT_TIFF_HUFFMAN, 1, 1, 0, 0), 0);
        // The peer codes 1 as black, whatever it stands for.
        EXPECT_EQ(IMG_invert_bitmap(handle), 0);
        ASSERT_EQ(save(handle, temp_path("raw.tif"), ORV_FORMAT_TIFF), 0);
        IMG_delete_bitmap(handle);
        run("tiffcp -c g4 -f lsb2msb -r 10000 " + temp_path("raw.tif") + " " + temp_path("peer.tif") +
            " 2>/dev/null");
        Bytes own = strip_of(temp_path("t6.tif"));
        Bytes peer = strip_of(temp_path("peer.tif"));
        peer.pop_back();
        ASSERT_GE(own.size(), peer.size());
        own.resize(peer.size());
        EXPECT_EQ(own, peer);
        run("/usr/bin/python3 -c \"from PIL import Image; Image.open('" + temp_path("raw.tif") + "').save('" +
            temp_path("peer.tif") + "', compression='tiff_ccitt', tiffinfo={278: 10000})\"");
        EXPECT_EQ(strip_of(temp_path("mh.tif")), strip_of(temp_path("peer.tif")));
    }
}

}  // namespace
}  // namespace orv::test
