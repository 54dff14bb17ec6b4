#include "formats/bitmap/pcx_runs.h"

#include <random>

#include "tests/formats/bitmap/job.h"
#include "tests/support/stream_check.h"

namespace orv::test
{
namespace
{

using Colours = std::vector<u32>;

// Eight by one pixels of one bit at 200 dpi, but for the fields given.
Bytes pcx_file(const std::vector<Field>& fields, const Bytes& code)
{
    std::vector<Field> all = {{0, {10, 5, 1, 1}}, {8, {7, 0, 0, 0, 200, 0, 200, 0}}, {65, {1, 1, 0, 1}}};
    all.insert(all.end(), fields.begin(), fields.end());
    return file_of(Bytes(128), all, code);
}

Colours pixels_of(const std::vector<Field>& fields, const Bytes& code)
{
    return load_picture(pcx_file(fields, code)).pixels;
}

Bytes rows_of(const Bytes& file)
{
    const i16 handle = load(file);
    Bytes rows = raw_rows(handle);
    IMG_delete_bitmap(handle);
    return rows;
}

TEST(PcxRead, PalettesByVersionAndInfo)
{
    const Bytes code = {0xC1, 0xF0};
    const u32 white = 0xFFFFFF;
    auto halves = [](u32 set, u32 clear) { return Colours{set, set, set, set, clear, clear, clear, clear}; };
    EXPECT_EQ(pixels_of({{16, {255, 0, 0, 9, 8, 7}}}, code), halves(0x090807, 0xFF0000));
    EXPECT_EQ(pixels_of({{16, {255, 1, 255, 0, 0, 0}}}, code), halves(0, white)) << "inverted";
    EXPECT_EQ(pixels_of({{16, {255, 0, 255, 0, 0, 0}}}, code), halves(0, 0xFF00FF)) << "not light";
    EXPECT_EQ(pixels_of({}, code), halves(white, 0)) << "both black";
    EXPECT_EQ(pixels_of({{1, {3}}, {16, {255, 0, 0, 9, 8, 7}}}, code), halves(white, 0));
    // Three planes: indexes 7 and 0 of the file's, the gray and the standard colours.
    const Bytes planes = {0xC3, 0xF0};
    EXPECT_EQ(pixels_of({{16, Bytes(48, 0x33)}, {65, {3}}}, planes), halves(0x333333, 0x333333));
    EXPECT_EQ(pixels_of({{65, {3}}, {68, {2}}}, planes), halves(0x707070, 0));
    EXPECT_EQ(pixels_of({{1, {0}}, {65, {3}}}, planes), halves(0x808080, 0));
    // At 8 bits the palette is the end of the file, whatever the header says of gray.
    Bytes deep = {1, 0xC1, 0xFF, 12};
    for (u32 i = 0; i < 768; ++i) {
        deep.push_back(static_cast<u8>(i / 3 ^ i % 3));
    }
    EXPECT_EQ(pixels_of({{3, {8}}, {8, {1}}, {66, {2}}, {68, {2}}}, deep), (Colours{0x010003, 0xFFFEFD}));
    EXPECT_EQ(pixels_of({{1, {3}}, {3, {8}}, {8, {1}}, {66, {2}}}, deep), (Colours{0x800000, 0}));
    // A file shorter than a palette has none, wherever it lies.
    const Bytes tiny = pcx_file({{3, {8}}, {8, {1}}, {66, {2}}}, {9, 0});
    write_file(temp_path("tiny.pcx"), tiny);
    EXPECT_EQ(load_picture(tiny).pixels, (Colours{0, 0}));
    EXPECT_EQ(load_picture(temp_path("tiny.pcx")).pixels, (Colours{0, 0}));
    // Memory of unknown size has no end: there the palette is the first bytes of all.
    deep.resize(20000);
    Bytes unsized = pcx_file({{3, {8}}, {8, {1}}, {66, {2}}}, deep);
    const i16 handle = IMG_decompress_bitmap_mem(unsized.data(), 0);
    EXPECT_EQ(picture_of(handle).pixels[0], 0x080000U);
    IMG_delete_bitmap(handle);
}

TEST(PcxRead, LinesAreCutAndRunsEndWithThem)
{
    // The first run loses its surplus, zero runs count nothing, a line longer than the row is cut.
    Bytes code = {0xC9, 1, 0xC0, 9, 2, 2, 2, 0xC2, 1};
    code.resize(code.size() + 768);
    EXPECT_EQ(rows_of(pcx_file({{3, {8}}, {8, {2, 0, 1}}, {66, {5}}}, code)), (Bytes{2, 2, 2, 0, 1, 1, 1, 0}));
    // A line shorter than the row leaves zeros; a line that the file does not hold whole does not come.
    EXPECT_EQ(rows_of(pcx_file({{3, {8}}, {10, {1}}, {66, {3}}}, {0xC5, 7, 7, 7})),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 7, 7, 7, 0, 0, 0, 0, 0}));
}

TEST(PcxRead, RefusesWhatMakesNoPicture)
{
    // Bits, planes, result.
    const int cases[][3] = {{1, 1, 0},  {1, 3, 0},  {1, 4, 0},  {4, 1, 0},   {4, 4, 0},     {8, 1, 0},
                            {8, 3, 0},  {2, 1, -6}, {1, 2, -6}, {8, 4, -6},  {8, 2, -6},    {2, 2, -3},
                            {2, 4, -3}, {0, 1, -3}, {1, 0, -3}, {24, 1, -3}, {255, 255, -3}};
    for (const auto& [bits, planes, result] : cases) {
        const i16 handle = load(pcx_file({{3, {static_cast<u8>(bits)}}, {65, {static_cast<u8>(planes)}}}, {}));
        EXPECT_EQ(std::min<i16>(handle, 0), result) << bits << " bits in " << planes << " planes";
        IMG_delete_bitmap(handle);
    }
    EXPECT_EQ(load(pcx_file({{66, {0}}}, {})), kBadData);
    EXPECT_EQ(load(pcx_file({{4, {9}}}, {})), kBadData) << "reversed";
    EXPECT_EQ(load(pcx_file({{8, {0, 0x90}}}, {})), kNotSupported);
    EXPECT_EQ(load(Bytes(127, 10)), kUnreadable);
    // Two bits a pixel: a header for a streaming caller, and no rows.
    const Bytes file = read_file(data_path("pcx/unread-netpbm-2bits.pcx"));
    StreamCheck check;
    const u32 size = static_cast<u32>(file.size());
    IMGLOW_decompress_bitmap_mem_sized(file.data(), size, 0, check_row, &check, check_header);
    EXPECT_TRUE(check.headers == 1 && check.bits == 2 && check.rows == 0);
}

TEST(PcxRead, FaxResolutionsDoubleTheLines)
{
    // Horizontal and vertical dpi, and how often a line arrives.
    const u8 cases[][3] = {{204, 98, 2}, {200, 100, 2}, {200, 98, 2}, {203, 98, 1}, {204, 196, 1}};
    for (const auto& [x, y, times] : cases) {
        const Bytes file = pcx_file({{10, {1}}, {12, {x, 0, y, 0}}}, {0x81, 0x42});
        EXPECT_EQ(rows_of(file), times == 2
                                     ? (Bytes{0x42, 0, 0, 0, 0x42, 0, 0, 0, 0x81, 0, 0, 0, 0x81, 0, 0, 0})
                                     : (Bytes{0x42, 0, 0, 0, 0x81, 0, 0, 0}));
        const auto* info = static_cast<const ExtraInfo*>(IMG_get_extra_info());
        EXPECT_TRUE(info->x_resolution == x && info->y_resolution == y * times &&
                    info->stored_y_resolution == y);
    }
}

TEST(PcxWrite, HeaderOfEachDepth)
{
    reset_jobs();
    // Depth, version, stored bits, planes, bytes per line, palette info, bytes of the colour map.
    const u8 cases[][7] = {
        {1, 2, 1, 1, 5, 1, 6}, {4, 2, 1, 4, 5, 1, 48}, {8, 5, 8, 1, 37, 1, 0}, {24, 3, 8, 3, 37, 0, 0}};
    for (const auto& [depth, version, bits, planes, line, info, map] : cases) {
        const int handle = make_image(37, 5, depth, 3);
        const Bytes file = saved(handle, ORV_FORMAT_PCX);
        expect_same(load_picture(file), picture_of(handle), "written and read");
        IMG_delete_bitmap(handle);
        Bytes expected = file_of(
            Bytes(128),
            {{0, {10, version, 1, bits}}, {8, {36, 0, 4, 0, 200, 0, 200, 0}}, {65, {planes, line, 0, info}}},
            {});
        std::copy_n(file.begin() + 16, map, expected.begin() + 16);
        EXPECT_EQ(Bytes(file.begin(), file.begin() + 128), expected) << int{depth};
    }
}

TEST(PcxWrite, StandardResolutionLeavesOutEveryOtherLine)
{
    const int handle = make_image(19, 5, 24, 4);
    const Picture picture = picture_of(handle);
    EXPECT_EQ(save(handle, temp_path("standard.pcx"), ORV_FORMAT_PCX, 1, 0), 0);
    IMG_delete_bitmap(handle);
    const Bytes file = read_file(temp_path("standard.pcx"));
    EXPECT_TRUE(load_le16(&file[10]) == 2 && load_le16(&file[14]) == 100);
    const Picture back = load_picture(file);
    ASSERT_EQ(back.height, 6);
    for (int y = 0; y < 6; ++y) {
        expect_same(cropped(back, 0, y, 19, 1), cropped(picture, 0, y / 2 * 2, 19, 1), "line");
    }
    reset_jobs();
}

// Bytes that repeat now and then, a third of them with the two top bits set.
Bytes runny_bytes(usize count, unsigned seed)
{
    std::mt19937 random(seed);
    Bytes bytes;
    while (bytes.size() < count) {
        const u8 value = static_cast<u8>(random() % 3 == 0 ? 0xC0 | random() : random() & 0x7F);
        const u32 chance = random() % 16;
        bytes.resize(bytes.size() + (chance < 9 ? 1 : chance < 14 ? 2 + random() % 5 : random() % 200), value);
    }
    return bytes;
}

TEST(PcxRuns, FastAsPlain)
{
    for (unsigned seed = 0; seed < 400; ++seed) {
        const u32 count = seed < 80 ? seed + 1 : seed * 7;
        const Bytes plane = runny_bytes(count + kPcxPlaneSlack, seed);
        Bytes fast(count * 2 + kPcxCodeSlack);
        Bytes plain(count * 2 + kPcxCodeSlack);
        const u32 size = pcx_code_plane_plain(plane.data(), count, plain.data());
        ASSERT_EQ(pcx_code_plane(plane.data(), count, fast.data()), size);
        ASSERT_TRUE(std::equal(plain.begin(), plain.begin() + size, fast.begin())) << "seed " << seed;
        // Decoded in lines that split runs, from a chunk that ends with the data.
        ChunkReader a = {-1, fast.data(), 0, size, true, false};
        ChunkReader b = {-1, plain.data(), 0, size, true, false};
        const u32 length = 1 + seed % 97;
        Bytes line_a(length + kPcxLineSlack);
        Bytes line_b(length);
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
