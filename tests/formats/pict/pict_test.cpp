#include <numeric>
#include <random>

#include "formats/interchange/pict_packbits.h"
#include "frame/handles.h"
#include "orvimg32/extra.h"
#include "tests/formats/pict/pict_build.h"

namespace orv::test
{
namespace
{

using Pixels = std::vector<u32>;

constexpr u32 kWhite = 0xFFFFFF;
constexpr u32 kColour = 0xFF807F;

// --- Reading ---

TEST(PictRead, NarrowRows)
{
    // Nine pixels by two rows of a BitMap: plain in version 1, packed in version 2, where a byte fills up.
    Pixels expected(18, kWhite);
    expected[0] = expected[9 + 1] = expected[9 + 8] = 0;
    const Bytes bounds = words({2, 0, 5, 2, 14});
    const Bytes v1 = joined({pict_start(1, 2), {0x90}, bounds, Bytes(18), {0x80, 0, 0x40, 0x80}});
    EXPECT_EQ(load_picture(v1).pixels, expected);
    const Bytes packed = {4, 0, 0x80, 0, 0, 3, 1, 0x40, 0x80, 9, 0, 0xFF};
    const Bytes v2 = joined({pict_start(2, 2), words({0x90}), bounds, Bytes(18), packed});
    EXPECT_EQ(load_picture(v2).pixels, expected);
    EXPECT_EQ(load(joined({pict_start(1, 2), {0x90}, words({2, 0, 5, 2, 22}), Bytes(18), Bytes(4)})), kBadData)
        << "17 pixels in 2 bytes";
}

TEST(PictRead, HeightOfFrameAndResolution)
{
    const struct {
        int bottom, dpi, band_rows, height;
    } cases[] = {{100, 144, 200, 200}, {100, 72, 101, 101}, {100, 72, 99, 100}, {100, 72, 102, 100},
                 {100, 0, 100, 100},   {101, 150, 20, 210}, {1, 71, 1, 1}};
    for (const auto& c : cases) {
        Bytes rows;
        for (int row = 0; row < c.band_rows; ++row) {
            rows.insert(rows.end(), {2, 0xFF, 1});
        }
        const Picture picture = load_picture(pict({.rows = c.band_rows, .dpi = c.dpi}, rows, c.bottom));
        EXPECT_EQ(picture.height, c.height);
        for (int row = 0; row < picture.height; ++row) {
            ASSERT_EQ(picture.pixels[static_cast<usize>(row) * 2 + 1], row < c.band_rows ? kColour : 0) << row;
        }
    }
}

TEST(PictRead, WhatARowGives)
{
    // Codes that go past the row's end, bytes of no effect, rows wider and narrower than the picture.
    EXPECT_EQ(load_picture(pict({}, {0, 128, 0x81, 1})).pixels, (Pixels{kColour, kColour}));
    EXPECT_EQ(load_picture(pict({.rows = 2}, {9, 4, 1, 0, 9, 9, 9, 9, 0, 0, 128, 0, 1}, 2)).pixels,
              (Pixels{kColour, 0, 0, kColour}));
    EXPECT_EQ(load_picture(pict({.row_bytes = 1}, {0, 0, 1})).pixels, (Pixels{kColour, 0}));
    // Two bits a pixel, and more than one pixel in the last byte.
    EXPECT_EQ(load_picture(pict({.row_bytes = 6, .width = 6, .bits = 2}, {0, 1, 0x12, 0x1F, 0xFD, 0})).pixels,
              (Pixels{0, kColour, 0, 0, 0, kColour}));
    // Planes that are too short for the width run into one another and end in zeros.
    EXPECT_EQ(load_picture(pict({.opcode = 0x9A, .row_bytes = 4, .pack_type = 4}, {0, 2, 1, 2, 3})).pixels,
              (Pixels{0x010203, 0x020300}));
}

TEST(PictRead, CountOfARow)
{
    // One byte up to a row of 250 bytes, then two; of direct planes three quarters of rowBytes count.
    const struct {
        PixMap map;
        usize count_bytes;
    } cases[] = {{{.row_bytes = 250, .rows = 2}, 1},
                 {{.row_bytes = 251, .rows = 2}, 2},
                 {{.opcode = 0x9A, .row_bytes = 332, .rows = 2, .pack_type = 4}, 1},
                 {{.opcode = 0x9A, .row_bytes = 336, .rows = 2, .pack_type = 4}, 2}};
    for (const auto& c : cases) {
        // Two codes fill a row in any case: of zeros, then of ones.
        const Bytes count(c.count_bytes, 3);
        const Picture picture = load_picture(
            pict(c.map, joined({count, {0x81, 0, 0x81, 0}, count, {0x81, 1, 0x81, 1, 0x81, 1}}), 2));
        EXPECT_EQ(picture.pixels[1], 0U) << c.map.row_bytes;
        EXPECT_NE(picture.pixels[2], 0U) << c.map.row_bytes;
    }
    const Bytes comment = joined({words({0xA1, 0, 0x8001}), Bytes(0x8001, 0xFF)});
    const Picture picture = load_picture(joined({pict_start(2, 1), comment, pixmap({}), {0, 0xFF, 1}}));
    EXPECT_EQ(picture.width, 2) << "a comment of more than 32,767 bytes";
}

TEST(PictRead, Refusals)
{
    const auto changed = [](const PixMap& map) { return load(pict(map, {2, 0xFF, 1})); };
    EXPECT_EQ(changed({.bits = 16}), kNotSupported);
    EXPECT_EQ(changed({.bits = 0}), kNotSupported);
    EXPECT_EQ(changed({.opcode = 0x9A, .pack_type = 2}), kNotSupported);
    EXPECT_EQ(changed({.width = 0}), kBadData);
    EXPECT_EQ(changed({.rows = -1}), kBadData);
    EXPECT_EQ(changed({.opcode = 0x9A, .width = 10922, .pack_type = 4}), kNotSupported) << "a row of 32,768";
    EXPECT_EQ(load(pict({.rows = 2}, {}, 0)), kBadData) << "no height";
    EXPECT_EQ(load(pict({.dpi = 72 * 200}, {}, 200)), kNotSupported) << "40,000 rows";
    const Bytes bitmap = joined({pict_start(2, 1), words({0x9A, 0, 0, 2, 0, 0, 1, 2}), Bytes(40)});
    EXPECT_EQ(load(bitmap), kNotSupported) << "direct pixels in a BitMap";
    const Bytes no_bitmap = joined({pict_start(2, 1), words({0x0C, 0, 0, 0xFF})});
    EXPECT_EQ(load(no_bitmap), kBadData);
    OrvLoadReport report = {};
    report.size = sizeof report;
    EXPECT_EQ(orv_load_report(&report), 0);
    EXPECT_STREQ(report.reason, "the picture has drawing and no bitmap");
    Bytes file = pict({}, {0, 0xFF, 1});
    file[524] = 3;
    EXPECT_EQ(load(file), kBadData) << "no version 2";
    // Later bands have to agree in width and depth.
    for (const PixMap& later :
         {PixMap{.width = 1}, PixMap{.bits = 4}, PixMap{.opcode = 0x9A, .pack_type = 4}}) {
        EXPECT_EQ(load(joined({pict({}, {2, 0xFF, 1, 0}, 2), pixmap(later), {0, 0xFF, 1}})), kBadData);
    }
}

TEST(PictRead, DataThatEnds)
{
    // Three rows of six bytes, cut in the second: what came of it is kept, and nothing of the first shows
    // again.
    const PixMap map = {.row_bytes = 6, .width = 4, .rows = 3};
    const Bytes file = pict(map, {2, 0xFB, 1, 5, 5, 1, 1}, 3);
    Pixels expected(12, 0);
    std::fill_n(expected.begin(), 6, kColour);
    EXPECT_EQ(load_picture(file).pixels, expected);
    OrvLoadReport report = {
        .size = sizeof report, .rows = 0, .rows_whole = 0, .rows_repaired = 0, .rows_missing = 0, .reason = ""};
    EXPECT_EQ(orv_load_report(&report), 0);
    EXPECT_EQ(std::vector({report.rows, report.rows_whole, report.rows_repaired, report.rows_missing}),
              (std::vector<i32>{3, 1, 1, 1}));
    EXPECT_NE(report.reason[0], 0);
}

TEST(PictRead, TheSameFromMemoryOfUnknownSize)
{
    for (const std::string& path : fixtures("pict")) {
        const Bytes file = read_file(path);
        const int handle = IMG_decompress_bitmap_mem(const_cast<u8*>(file.data()), 0);
        ASSERT_GE(handle, 0) << path;
        expect_same(picture_of(handle), load_picture(path), path.c_str());
        IMG_delete_bitmap(handle);
    }
}

// --- Packing ---

TEST(PictPack, KnownRows)
{
    const auto packed = [](const Bytes& row) {
        Bytes out(pict_pack_room(static_cast<u32>(row.size())));
        out.resize(pict_pack(row.data(), static_cast<u32>(row.size()), out.data()));
        return out;
    };
    EXPECT_EQ(packed(Bytes(127, 5)), (Bytes{0x82, 5}));
    EXPECT_EQ(packed(Bytes(128, 5)), (Bytes{0x82, 5, 0, 5}));
    EXPECT_EQ(packed({7, 7, 7, 1}), (Bytes{0xFE, 7, 0, 1}));
    EXPECT_EQ(packed({7, 7, 7}), (Bytes{0, 7, 1, 7, 7})) << "the last three bytes start no run";
    EXPECT_EQ(packed({1, 2, 2, 3, 4, 4}), (Bytes{0, 1, 2, 2, 2, 3, 1, 4, 4}));
    Bytes different(130);
    std::iota(different.begin(), different.end(), u8{0});
    const Bytes code = packed(different);
    EXPECT_EQ(code.size(), 1U + 127 + 1 + 3);
    EXPECT_EQ(code[0], 126);
    EXPECT_EQ(code[128], 2);
}

TEST(PictPack, FastAsPlainAndBack)
{
    std::minstd_rand random(3);
    for (u32 i = 0; i < 20000; ++i) {
        // Exactly as long as the row, for the sanitizers.
        const u32 length = static_cast<u32>(random() % (i % 10 == 0 ? 700 : 60)) + 1;
        Bytes row(length);
        const auto levels = random() % 4 + 2, repeats = random() % 257;
        for (u32 at = 0; at < length; ++at) {
            row[at] = at > 0 && random() % 256 < repeats ? row[at - 1] : static_cast<u8>(random() % levels);
        }
        Bytes plain(pict_pack_room(length)), fast(plain), back(length);
        plain.resize(pict_pack_plain(row.data(), length, plain.data()));
        fast.resize(pict_pack(row.data(), length, fast.data()));
        ASSERT_EQ(fast, plain);
        const u8* from = plain.data();
        ASSERT_EQ(pict_unpack<1>(from, plain.data() + plain.size(), back.data(), 0, length), length);
        ASSERT_EQ(from, plain.data() + plain.size());
        ASSERT_EQ(back, row);
    }
}

// --- Writing ---

TEST(PictWrite, FilesByteForByte)
{
    const int mono = make_image(11, 2, 1, 1);
    ImageRecord& record = *handle_record(mono);
    ImageHeader* header = image_lock(record);
    header->palette[0] = {1, 2, 3, 0};
    header->palette[1] = {4, 5, 6, 0};
    const u8 rows[] = {0xFF, 0xFF, 0, 0, 0x80, 0x20, 0, 0};  // the bottom row first
    std::memcpy(reinterpret_cast<u8*>(header) + 48, rows, sizeof rows);
    image_unlock(record);
    const auto start = [](int size, int height, int width) {
        return joined({Bytes(512), words({size,   0,    0, height, width, 0x0011, 0x02FF, 0x0C00, 0, 0xFFFF,
                                          0xFFFF, 0,    0, 0,      0,     width,  0,      height, 0, 0,
                                          0,      0x1E, 1, 10,     0,     0,      height, width})});
    };
    EXPECT_EQ(saved(mono),
              joined({start(4, 2, 11),
                      words({0x98,  0x8002, 0, 0,     2,     11,    0, 0, 0, 0,  72, 0,      72, 0,  0,
                             1,     1,      1, 0,     0,     0,     0, 0, 0, 0,  0,  0x8000, 1,  0,  0x300,
                             0x200, 0x100,  0, 0x600, 0x500, 0x400, 0, 0, 2, 11, 0,  0,      2,  11, 0}),
                      {3, 1, 0x80, 0x20, 3, 1, 0xFF, 0xFF},
                      words({0xFF})}));
    IMG_delete_bitmap(mono);

    const int colour = make_image(1, 1, 24, 1);
    const Picture picture = picture_of(colour);
    const u32 pixel = picture.pixels[0];
    EXPECT_EQ(
        saved(colour),
        joined({start(4, 1, 1),
                words({0x9A, 0, 0, 0x8004, 0, 0, 1, 1, 0, 4, 0, 0, 72, 0, 72, 0, 16, 32,
                       3,    8, 0, 0,      0, 0, 0, 0, 0, 0, 1, 1, 0,  0, 1,  1, 0}),
                {4, 2, static_cast<u8>(pixel >> 16), static_cast<u8>(pixel >> 8), static_cast<u8>(pixel), 0},
                words({0xFF})}));
    IMG_delete_bitmap(colour);
}

TEST(PictWrite, ComesBack)
{
    // Around the sizes at which the count in front of a row grows and a row fills whole blocks.
    for (const int bits : {1, 4, 8, 24}) {
        for (const int width : {1, 17, 83, 84, 250, 251, 500, 501, 2000, 2001}) {
            const int handle = make_image(width, 3, bits, static_cast<unsigned>(width));
            const Bytes file = saved(handle);
            EXPECT_EQ(file.size() % 2, 0U);
            expect_same(load_picture(file), picture_of(handle), "what was saved");
            IMG_delete_bitmap(handle);
        }
    }
    for (const int width : {8191, 8192}) {
        Bytes block(1 << 18);
        u32 written = 0;
        const int handle = make_image(width, 1, 24, 1);
        EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, block.data(), 1 << 18, ORV_FORMAT_PICT, &written),
                  width == 8191 ? kOk : kNotSupported);
        EXPECT_EQ(written == 0, width == 8192);
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
