// TIFF files of other programs, compared pixel for pixel with what those programs read in them.
#include <gtest/gtest.h>

#include "tests/support/support.h"

namespace orv::test
{
namespace
{

struct Variant {
    const char* fixture;
    const char* tiffcp;  // options
};

const Variant kVariants[] = {
    {"rgb", "-c none -L"},
    {"rgb", "-c none -B -r 1"},
    {"rgb", "-c packbits -r 5"},
    {"rgb", "-c packbits -B -r 100"},
    {"rgb", "-c lzw -L"},
    {"rgb", "-c lzw:2 -B -r 7"},
    {"rgb", "-c none -p separate -r 100"},
    {"rgb", "-c none -p separate -B -r 10"},
    {"rgb", "-c packbits -p separate -r 100"},
    {"rgb", "-c lzw -p separate -r 3"},
    {"cmyk", "-c none -r 4"},
    {"cmyk", "-c lzw -B"},
    {"gray", "-c none -B"},
    {"gray", "-c packbits -r 1"},
    {"gray", "-c lzw:2 -r 6"},
    {"palette", "-c none -B -r 2"},
    {"palette", "-c packbits"},
    {"palette", "-c lzw -r 20"},
    {"gray4", "-c none -r 3"},
    {"gray4", "-c packbits -B"},
    {"gray4", "-c lzw"},
    {"palette4", "-c lzw -B -r 9"},
    {"white-zero", "-c none"},
    {"white-zero", "-c lzw -B -r 5"},
    {"bilevel", "-c none -r 1"},
    {"bilevel", "-c packbits -B"},
    {"bilevel", "-c lzw -r 30"},
    {"bilevel", "-c g3"},
    {"bilevel", "-c g3:fill -B -r 13"},
    {"bilevel", "-c g3 -f lsb2msb -r 40"},
    {"bilevel", "-c g4"},
    {"bilevel", "-c g4 -B -r 1"},
    {"bilevel", "-c g4 -f lsb2msb -r 33"},
    {"huffman", "-r 24"},
    {"huffman", "-f lsb2msb -B"},
};

// The ramp of 16 grays ends at 240 here, at 255 there: compared by level.
Picture levels(Picture picture)
{
    for (u32& pixel : picture.pixels) {
        pixel &= picture.bits == 4 ? 0xF0F0F0 : 0xFFFFFF;
    }
    return picture;
}

TEST(TiffInterop, Tiffcp)
{
    for (const Variant& variant : kVariants) {
        std::string const options = std::string(variant.fixture) + " " + variant.tiffcp;
        SCOPED_TRACE(options);
        std::string const source = data_path(std::string("tiff/") + variant.fixture + ".tif");
        std::string const copy = temp_path("copy.tif");
        if (!run(std::string("tiffcp ") + variant.tiffcp + " " + source + " " + copy)) {
            continue;
        }
        Picture const loaded = levels(load_picture(copy));
        Picture peer = peer_picture(source);
        peer.bits = loaded.bits;
        expect_same(loaded, levels(peer), options.c_str());
        expect_same(levels(load_picture(std::span<const u8>(read_file(copy)))), loaded, "from memory");
    }
}

}  // namespace
}  // namespace orv::test
