#include <gtest/gtest.h>

#include <random>

#include "formats/bitmap/pcx_runs.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/save.h"
#include "orvimg32/sized.h"
#include "tests/formats/bitmap/job.h"
#include "tests/support/stream_check.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using Colours = std::vector<u32>;

i16 load(const std::vector<u8>& file)
{
    return IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
}

// The colours of the picture's first row.
Colours first_row(const PcxParts& parts)
{
    const Picture picture = load_picture(pcx_file(parts));
    EXPECT_EQ(picture.height, parts.height);
    return {picture.pixels.begin(),
            picture.pixels.begin() + std::min<std::ptrdiff_t>(picture.width, std::ssize(picture.pixels))};
}

TEST(PcxRead, PalettesByVersionAndInfo)
{
    const std::vector<u8> code = {0xC1, 0xF0};
    const u32 red = 0xFF0000;
    const u32 white = 0xFFFFFF;
    auto halves = [](u32 set, u32 clear) { return Colours{set, set, set, set, clear, clear, clear, clear}; };
    EXPECT_EQ(first_row({.colours = {255, 0, 0, 9, 8, 7}, .code = code}), halves(0x090807, red));
    EXPECT_EQ(first_row({.colours = {255, 1, 255, 0, 0, 0}, .code = code}), halves(0, white)) << "inverted";
    EXPECT_EQ(first_row({.colours = {255, 0, 255, 0, 0, 0}, .code = code}), halves(0, 0xFF00FF)) << "not white";
    EXPECT_EQ(first_row({.colours = {0, 0, 0, 0, 0, 0}, .code = code}), halves(white, 0)) << "both black";
    EXPECT_EQ(first_row({.version = 3, .colours = {255, 0, 0, 9, 8, 7}, .code = code}), halves(white, 0));

    // Three planes, 4 bits: indexes 7 and 0 of the file's, the gray and the standard colours.
    PcxParts planes = {.colours = std::vector<u8>(48, 0x33), .planes = 3, .code = {0xC3, 0xF0}};
    EXPECT_EQ(first_row(planes), halves(0x333333, 0x333333));
    planes.palette_info = 2;
    EXPECT_EQ(first_row(planes), halves(0x707070, 0));
    planes.palette_info = 1;
    planes.version = 0;
    EXPECT_EQ(first_row(planes), halves(0x808080, 0));

    // At 8 bits the palette is the end of the file, whatever the header says of gray.
    PcxParts deep = {
        .bits = 8, .width = 2, .bytes_per_line = 2, .palette_info = 2, .code = {1, 0xC1, 0xFF, 12}};
    for (u32 i = 0; i < 768; ++i) {
        deep.code.push_back(static_cast<u8>(i / 3 ^ i % 3));
    }
    EXPECT_EQ(first_row(deep), (Colours{0x010003, 0xFFFEFD}));
    deep.version = 3;
    EXPECT_EQ(first_row(deep), (Colours{0x800000, 0x000000}));
}

TEST(PcxRead, LinesAreCutAndRunsEndWithThem)
{
    // The first run loses its surplus, zero runs count nothing, a line longer than the row is cut.
    PcxParts parts = {
        .bits = 8, .width = 3, .height = 2, .bytes_per_line = 5, .code = {0xC9, 1, 0xC0, 9, 2, 2, 2, 0xC2, 1}};
    parts.code.resize(parts.code.size() + 768);
    i16 handle = load(pcx_file(parts));
    ASSERT_GE(handle, 0);
    EXPECT_EQ(raw_rows(handle), (std::vector<u8>{2, 2, 2, 1, 1, 1, 1, 1}));
    IMG_delete_bitmap(handle);
    // A line shorter than the row leaves zeros; a line that the file does not hold whole does not come.
    parts = {.bits = 8, .width = 8, .height = 2, .bytes_per_line = 3, .code = {0xC5, 7, 7, 7}};
    handle = load(pcx_file(parts));
    ASSERT_GE(handle, 0);
    EXPECT_EQ(raw_rows(handle), (std::vector<u8>{0, 0, 0, 0, 0, 0, 0, 0, 7, 7, 7, 0, 0, 0, 0, 0}));
    IMG_delete_bitmap(handle);
}

TEST(PcxRead, RefusesWhatMakesNoPicture)
{
    struct Case {
        u8 bits, planes;
        i16 result;
    };
    for (const Case& c : {Case{1, 1, 0},
                          {1, 3, 0},
                          {1, 4, 0},
                          {4, 1, 0},
                          {4, 4, 0},
                          {8, 1, 0},
                          {8, 3, 0},
                          {2, 1, kNotSupported},
                          {1, 2, kNotSupported},
                          {8, 4, kNotSupported},
                          {8, 2, kNotSupported},
                          {2, 2, kBadData},
                          {24, 1, kBadData},
                          {0, 1, kBadData},
                          {1, 0, kBadData},
                          {255, 255, kBadData}}) {
        const i16 result = load(pcx_file({.bits = c.bits, .planes = c.planes}));
        EXPECT_EQ(std::min<i16>(result, 0), c.result)
            << int{c.bits} << " bits in " << int{c.planes} << " planes";
        IMG_delete_bitmap(result);
    }
    EXPECT_EQ(load(pcx_file({.bytes_per_line = 0})), kBadData);
    std::vector<u8> reversed = pcx_file({});
    reversed[4] = 9;  // Xmin, one above Xmax + 1
    EXPECT_EQ(load(reversed), kBadData);
    EXPECT_EQ(load(pcx_file({.width = 40000, .bytes_per_line = 5000})), kNotSupported);
    EXPECT_EQ(load(std::vector<u8>(127, 10)), kUnreadable);
    // Two bits a pixel: a header for a streaming caller, and no rows.
    const std::vector<u8> two_bits = read_file(data_path("pcx/unread-netpbm-2bits.pcx"));
    StreamCheck check;
    IMGLOW_decompress_bitmap_mem_sized(two_bits.data(), static_cast<u32>(two_bits.size()), 0, check_row, &check,
                                       check_header);
    EXPECT_EQ(check.headers, 1);
    EXPECT_EQ(check.bits, 2);
    EXPECT_EQ(check.rows, 0);
    EXPECT_EQ(load(two_bits), kNotSupported);
}

TEST(PcxRead, FaxResolutionsDoubleTheLines)
{
    struct Case {
        u16 hdpi, vdpi;
        bool doubled;
    };
    for (const Case& c :
         {Case{204, 98, true}, {200, 100, true}, {200, 98, true}, {203, 98, false}, {204, 196, false}}) {
        const i16 handle =
            load(pcx_file({.height = 3, .hdpi = c.hdpi, .vdpi = c.vdpi, .code = {0x81, 0x42, 0x24}}));
        const std::vector<u8> doubled = {0x24, 0x24, 0x42, 0x42, 0x81, 0x81};
        const std::vector<u8> plain = {0x24, 0x42, 0x81};
        const std::vector<u8> rows = raw_rows(handle);
        std::vector<u8> first_bytes;
        for (usize at = 0; at < rows.size(); at += 4) {
            first_bytes.push_back(rows[at]);
        }
        EXPECT_EQ(first_bytes, c.doubled ? doubled : plain);
        IMG_delete_bitmap(handle);
        const auto* info = static_cast<const ExtraInfo*>(IMG_get_extra_info());
        EXPECT_EQ(info->x_resolution, c.hdpi);
        EXPECT_EQ(info->y_resolution, c.doubled ? c.vdpi * 2 : c.vdpi);
        EXPECT_EQ(info->stored_y_resolution, c.vdpi);
    }
}

TEST(PcxWrite, HeaderOfEachDepth)
{
    reset_jobs();
    struct Case {
        int bits;
        u8 version, stored_bits, planes, bytes_per_line, palette_info;
    };
    for (const Case& c :
         {Case{1, 2, 1, 1, 5, 1}, {4, 2, 1, 4, 5, 1}, {8, 5, 8, 1, 37, 1}, {24, 3, 8, 3, 37, 0}}) {
        const int handle = make_image(37, 5, c.bits, 3);
        const Picture picture = picture_of(handle);
        std::vector<u8> file = save_to_memory(handle, ORV_FORMAT_PCX);
        ASSERT_GT(file.size(), 128U);
        std::vector<u8> head = {10, c.version, 1, c.stored_bits, 0, 0, 0, 0, 36, 0, 4, 0, 200, 0, 200, 0};
        EXPECT_TRUE(std::equal(head.begin(), head.end(), file.begin())) << c.bits;
        head = {0, c.planes, c.bytes_per_line, 0, c.palette_info, 0, 0};
        EXPECT_TRUE(std::equal(head.begin(), head.end(), file.begin() + 64)) << c.bits;
        const usize colours = c.bits == 1 ? 6 : c.bits == 4 ? 48 : 0;
        EXPECT_EQ(std::count(file.begin() + 16 + static_cast<int>(colours), file.begin() + 64, 0),
                  48 - static_cast<int>(colours));
        expect_same(load_picture(file), picture, "written and read");
        IMG_delete_bitmap(handle);
    }
}

TEST(PcxWrite, StandardResolutionLeavesOutEveryOtherLine)
{
    const int handle = make_image(19, 5, 24, 4);
    const Picture picture = picture_of(handle);
    const std::string path = temp_path("standard.pcx");
    EXPECT_EQ(IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_PCX, 1, 0, 0, 0), 0);
    IMG_delete_bitmap(handle);
    const std::vector<u8> file = read_file(path);
    EXPECT_EQ(load_le16(&file[10]), 2);
    EXPECT_EQ(load_le16(&file[14]), 100);
    const Picture back = load_picture(path);
    ASSERT_EQ(back.height, 6);
    for (int y = 0; y < 6; ++y) {
        expect_same(cropped(back, 0, y, 19, 1), cropped(picture, 0, y / 2 * 2, 19, 1), "line");
    }
    reset_jobs();
}

TEST(PcxWrite, Progress)
{
    reset_jobs();
    const int handle = make_image(8, 100, 1, 5);
    const std::string path = temp_path("progress.pcx");
    // 1; two bumps of 5; a tick of 4 at every fifth row, 20 of them, never above 90; 90; 100.
    std::vector<int> expected = {1, 5, 10};
    for (int row = 4; row < 100; row += 5) {
        expected.push_back(std::min(expected.back() + 4, 90));
    }
    expected.insert(expected.end(), {90, 100, 0});
    EXPECT_EQ(save_reporting(handle, path, ORV_FORMAT_PCX, 1), expected);
    EXPECT_EQ(save_page_counter, 0);
    IMG_delete_bitmap(handle);
}

// Bytes that repeat now and then, a third of them with the two top bits set.
std::vector<u8> runny_bytes(usize count, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<u8> bytes(count);
    for (usize i = 0; i < count;) {
        const u8 value = static_cast<u8>(random() % 3 == 0 ? 0xC0 | random() : random() & 0x7F);
        const u32 chance = random() % 16;
        const usize run = chance < 9 ? 1 : chance < 14 ? 2 + random() % 5 : random() % 200;
        for (usize k = 0; k < run && i < count; ++k) {
            bytes[i++] = value;
        }
    }
    return bytes;
}

TEST(PcxRuns, FastAsPlain)
{
    for (unsigned seed = 0; seed < 400; ++seed) {
        const u32 count = seed < 80 ? seed + 1 : seed * 7;
        const std::vector<u8> plane = runny_bytes(count + kPcxPlaneSlack, seed);
        std::vector<u8> fast(count * 2 + kPcxCodeSlack);
        std::vector<u8> plain(count * 2);
        const u32 fast_size = pcx_code_plane(plane.data(), count, fast.data());
        const u32 plain_size = pcx_code_plane_plain(plane.data(), count, plain.data());
        fast.resize(fast_size);
        plain.resize(plain_size);
        ASSERT_EQ(fast, plain) << count << " bytes, seed " << seed;

        // Decoded in lines of a length that splits runs, from a chunk that ends with the data.
        std::vector<u8> chunk = plain;
        chunk.resize(plain_size + kPcxChunkSlack);
        ChunkReader a = {.stream = -1,
                         .buffer = chunk.data(),
                         .capacity = plain_size,
                         .pos = 0,
                         .fill = plain_size,
                         .ended = true};
        std::vector<u8> copy = chunk;
        ChunkReader b = a;
        b.buffer = copy.data();
        const u32 length = 1 + seed % 97;
        std::vector<u8> line_a(length + kPcxLineSlack);
        std::vector<u8> line_b(length);
        bool more = true;
        while (more) {
            more = pcx_decode_line(a, line_a.data(), length);
            ASSERT_EQ(pcx_decode_line_plain(b, line_b.data(), length), more);
            ASSERT_TRUE(!more || std::equal(line_b.begin(), line_b.end(), line_a.begin())) << seed;
        }
    }
}

}  // namespace
}  // namespace orv::test
