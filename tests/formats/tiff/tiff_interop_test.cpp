// TIFF files of other programs, compared pixel for pixel with what those programs read in them.
#include <gtest/gtest.h>

#include <random>

#include "tests/formats/tiff/tiff_build.h"
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
        const std::string options = std::string(variant.fixture) + " " + variant.tiffcp;
        SCOPED_TRACE(options);
        const std::string source = data_path(std::string("tiff/") + variant.fixture + ".tif");
        const std::string copy = temp_path("copy.tif");
        if (!run(std::string("tiffcp ") + variant.tiffcp + " " + source + " " + copy)) {
            continue;
        }
        const Picture loaded = levels(load_picture(copy));
        Picture peer = peer_picture(source);
        peer.bits = loaded.bits;
        expect_same(loaded, levels(peer), options.c_str());
        expect_same(levels(load_picture(std::span<const u8>(read_file(copy)))), loaded, "from memory");
    }
}

// Lines 5,300 wide of a white run, a black one of the same length, and white to the end: every run that has a
// code of its own, in both colours, as another program's table has it.
std::vector<u8> every_run()
{
    std::vector<u8> rows;
    for (u32 i = 0; i < 104; ++i) {
        const u32 run = i < 64 ? i : (i - 63) * 64;
        std::vector<u8> row(663, 0);
        for (u32 x = run; x < 2 * run; ++x) {
            row[x / 8] = static_cast<u8>(row[x / 8] | 0x80 >> x % 8);
        }
        rows.insert(rows.end(), row.begin(), row.end());
    }
    return rows;
}

TEST(TiffInterop, EveryRunLength)
{
    const std::vector<u8> rows = every_run();
    write_file(temp_path("runs.tif"), make_tiff({{256, 3, 1, 5300},
                                                 {257, 3, 1, 104},
                                                 {258, 3, 1, 1},
                                                 {259, 3, 1, 1},
                                                 {262, 3, 1, 0},
                                                 {273, 4, 1, kDataPosition},
                                                 {277, 3, 1, 1},
                                                 {278, 3, 1, 104},
                                                 {279, 4, 1, static_cast<u32>(rows.size())}},
                                                rows));
    for (const char* const options : {"-c g3", "-c g4"}) {
        run("tiffcp " + std::string(options) + " " + temp_path("runs.tif") + " " + temp_path("coded.tif"));
        expect_same(load_picture(temp_path("coded.tif")), load_picture(temp_path("runs.tif")), options);
    }
}

// Pictures of many chunks: runs and noise, coded by the peer, against the same rows uncoded.
TEST(TiffInterop, LargePictures)
{
    struct Case {
        u32 bits, samples;
        const char* options;
    };
    const Case cases[] = {{8, 1, "-c packbits -r 400"}, {8, 3, "-c packbits"},        {8, 1, "-c lzw -r 400"},
                          {8, 3, "-c lzw:2 -B"},        {8, 3, "-p separate -c lzw"}, {1, 1, "-c packbits"},
                          {1, 1, "-c g3 -r 150"},       {1, 1, "-c g4 -r 400"},       {1, 1, "-c lzw"}};
    std::mt19937 random(3);
    for (const Case& test : cases) {
        SCOPED_TRACE(std::string(test.options) + ", " + std::to_string(test.samples) + " samples");
        const u32 width = 1499;
        const u32 height = 400;
        std::vector<u8> rows;
        while (rows.size() < (width * test.bits * test.samples + 7) / 8 * height) {
            const bool noise = random() % 3 == 0;
            const u8 value = static_cast<u8>(random() % 2 * 255);
            for (u32 n = static_cast<u32>(random() % (random() % 9 == 0 ? 900 : 40)); n > 0; --n) {
                rows.push_back(noise ? static_cast<u8>(random()) : value);
            }
        }
        write_file(temp_path("rows.tif"), make_tiff({{256, 3, 1, width},
                                                     {257, 3, 1, height},
                                                     {258, 3, 1, test.bits},
                                                     {259, 3, 1, 1},
                                                     {262, 3, 1, test.samples == 3 ? 2u : 1u},
                                                     {273, 4, 1, kDataPosition},
                                                     {277, 3, 1, test.samples},
                                                     {278, 3, 1, height},
                                                     {279, 4, 1, static_cast<u32>(rows.size())},
                                                     {282, 4, 1, 200},
                                                     {283, 4, 1, 200}},
                                                    rows));
        if (run("tiffcp " + std::string(test.options) + " " + temp_path("rows.tif") + " " +
                temp_path("coded.tif"))) {
            expect_same(load_picture(temp_path("coded.tif")), load_picture(temp_path("rows.tif")),
                        test.options);
        }
    }
}

// Pages of standard resolution, in both byte orders: each line of the peer's twice.
TEST(TiffInterop, FaxPages)
{
    const std::string source = data_path("tiff/fax-standard.tif");
    for (const char* const order : {"-L", "-B"}) {
        run("tiffcp -c g3 " + std::string(order) + " " + source + " " + temp_path("fax.tif"));
        for (int page = 0; page < 3; ++page) {
            run("tiffcp " + source + "," + std::to_string(page) + " " + temp_path("page.tif"));
            const Picture single = peer_picture(temp_path("page.tif"));
            Picture doubled = {.width = single.width, .height = 2 * single.height, .bits = 1, .pixels = {}};
            for (int y = 0; y < doubled.height; ++y) {
                const auto line = single.pixels.begin() + y / 2 * single.width;
                doubled.pixels.insert(doubled.pixels.end(), line, line + single.width);
            }
            expect_same(load_picture(temp_path("fax.tif"), page), doubled, order);
        }
    }
}

}  // namespace
}  // namespace orv::test
