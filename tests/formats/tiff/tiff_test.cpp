// Directories, pages, texts, resolutions and rows that no other program writes; fax containers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "formats/tiff/tiff_rows.h"
#include "orvimg32/orvimg32.h"
#include "platform/files.h"
#include "platform/testing.h"
#include "tests/formats/tiff/tiff_build.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using Tags = std::vector<Tag>;

const Tag kStrip = {273, 4, 1, kDataPosition};

// A picture of `width` by `height`; `more` comes behind and wins.
std::vector<u8> picture(u32 width, u32 height, u32 bits, u32 samples, const Tags& more,
                        std::span<const u8> data = {})
{
    Tags tags = {{256, 4, 1, width}, {257, 4, 1, height}, {258, 3, 1, bits}, {277, 3, 1, samples}, kStrip};
    tags.insert(tags.end(), more.begin(), more.end());
    return make_tiff(tags, data);
}

TEST(Tiff, Header)
{
    // Behind the directory lie rationals at 400, 408, ... in the data.
    std::vector<u8> rationals;
    for (const u32 value : {200u, 0u, 80u, 1u, 204u, 1u, 98u, 1u, 300u, 2u}) {
        put_number(rationals, value, 4);
    }
    const u32 at = kDataPosition;
    struct Case {
        const char* what;
        Tags tags;
        int result, bits, height, x, y, stored;
    };
    const Case cases[] = {
        {"no resolution", {}, 0, 1, 6, 204, 196, 196},
        {"denominator 0", {{282, 5, 1, at}}, 0, 1, 6, 200, 196, 196},
        {"centimetres", {{282, 5, 1, at + 8}, {283, 5, 1, at + 32}, {296, 3, 1, 3}}, 0, 1, 6, 205, 385, 385},
        {"resolution that is no rational", {{282, 3, 1, 72}, {283, 4, 1, 73}}, 0, 1, 6, 72, 73, 73},
        {"fax, standard", {{282, 5, 1, at + 16}, {283, 5, 1, at + 24}, {259, 3, 1, 3}}, 0, 1, 12, 204, 196, 98},
        {"T.6 is not doubled", {{283, 5, 1, at + 24}, {259, 3, 1, 4}}, 0, 1, 6, 204, 98, 98},
        {"x below 20 doubles", {{282, 4, 1, 19}, {259, 3, 1, 2}}, 0, 1, 12, 19, 392, 196},
        {"four samples", {{258, 3, 1, 8}, {277, 3, 1, 4}}, 0, 24, 6, 204, 196, 196},
        {"2 bits", {{258, 3, 1, 2}}, 0, 2, 6, 204, 196, 196},
        {"16 bits", {{258, 3, 1, 16}}, 0, 16, 6, 204, 196, 196},
        {"unknown compression", {{259, 3, 1, 6}}, 0, 1, 6, 204, 196, 196},
        {"unknown field type", {{258, 9, 1, 8}, {258, 3, 1, 4}}, 0, 4, 6, 204, 196, 196},
        {"no samples", {{277, 3, 1, 0}}, -3, 0, 0, 0, 0, 0},
        {"no width", {{256, 3, 1, 0}}, -3, 0, 0, 0, 0, 0},
        {"3 bits", {{258, 3, 1, 3}}, -6, 0, 0, 0, 0, 0},
        {"depth past 16 bits", {{258, 4, 1, 65537}}, -6, 0, 0, 0, 0, 0},
        {"too high", {{257, 4, 1, 32768}}, -6, 0, 0, 0, 0, 0},
        {"doubled too high", {{257, 4, 1, 16384}, {282, 4, 1, 19}, {259, 3, 1, 3}}, -6, 0, 0, 0, 0, 0},
        {"too high for numbers",
         {{257, 4, 1, 0x80000001}, {282, 4, 1, 204}, {283, 4, 1, 98}, {259, 3, 1, 3}},
         -6,
         0,
         0,
         0,
         0,
         0},
        {"too wide", {{256, 4, 1, 10922}, {258, 3, 1, 8}, {277, 3, 1, 3}}, -6, 0, 0, 0, 0, 0},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        const Streamed streamed = stream_file(picture(9, 6, 1, 1, test.tags, rationals));
        EXPECT_EQ(std::min<int>(streamed.result, 0), test.result);
        if (test.result < 0) {
            continue;
        }
        const BITMAPINFOHEADER& info = streamed.header.info;
        const ExtraInfo& extra = *static_cast<ExtraInfo*>(IMG_get_extra_info());
        EXPECT_EQ(info.biWidth, 9);
        EXPECT_EQ(info.biBitCount, test.bits);
        EXPECT_EQ(info.biHeight, test.height);
        EXPECT_EQ(info.biXPelsPerMeter, test.x);
        EXPECT_EQ(info.biYPelsPerMeter, test.y);
        EXPECT_EQ(extra.x_resolution, test.x);
        EXPECT_EQ(extra.y_resolution, test.y);
        EXPECT_EQ(extra.stored_y_resolution, test.stored);
    }
}

TEST(Tiff, Rows)
{
    using Bytes = std::vector<u8>;
    const u32 at = kDataPosition;
    struct Case {
        const char* what;
        std::array<u32, 4> size;  // width, height, bits, samples
        Tags tags;
        Bytes data;
        std::vector<Bytes> rows;  // the beginning of each
        usize length = 4;
    };
    const Case cases[] = {
        {"white is zero, 4 bits", {3, 1, 4, 1}, {{262, 3, 1, 0}}, {0x12, 0x3F}, {{0xED, 0xC0}}},
        {"16 bits stay as they are", {2, 1, 16, 1}, {{262, 3, 1, 0}}, {1, 2, 3, 4}, {{1, 2}}},
        {"complement before predictor",
         {3, 1, 8, 1},
         {{262, 3, 1, 0}, {317, 3, 1, 2}},
         {0xFE, 0xFF, 0xFD},
         {{1, 1, 3}}},
        {"CMYK",
         {2, 1, 8, 4},
         {{262, 3, 1, 5}},
         {0, 0, 0, 0, 200, 10, 20, 100},
         {{255, 255, 255, 135, 145, 0}},
         8},
        {"four samples swap by threes", {1, 1, 8, 4}, {{262, 3, 1, 2}}, {1, 2, 3, 4}, {{3, 2, 1, 4}}},
        {"row cut short", {2, 3, 8, 1}, {}, {1, 2, 3, 4, 5}, {{1, 2}, {3, 4}}},
        {"table of SHORT",
         {2, 2, 8, 1},
         {{273, 3, 3, at}, {278, 3, 1, 1}},
         {148, 1, 150, 1, 7, 8, 9, 9},
         {{7, 8}, {9, 9}}},
        {"two SHORTs",
         {1, 2, 8, 1},
         {{273, 3, 2, (at + 1) << 16 | (at + 4)}, {278, 3, 1, 1}},
         {1, 2, 3, 4, 5},
         {{5}, {2}}},
        {"no rows a strip", {1, 2, 8, 1}, {{278, 3, 1, 0}}, {1, 2}, {{1}, {2}}},
        {"offset beyond the file", {1, 2, 8, 1}, {{273, 4, 1, 0x7FFFFFFF}}, {1, 2}, {}},
        {"PackBits code past the row",
         {2, 2, 8, 1},
         {{259, 3, 1, 32773}},
         {128, 3, 1, 2, 3, 4, 0xFD, 9},
         {{1, 2}, {9, 9}}},
        {"PackBits run cut short", {4, 1, 8, 1}, {{259, 3, 1, 32773}}, {5, 1, 2}, {}},
        // Clear 256, Clear, 1, 258 (grown from itself), 2, EndOfInformation
        {"LZW", {2, 2, 8, 1}, {{259, 3, 1, 5}}, {0x80, 0x40, 0x00, 0x30, 0x20, 0x14, 0x04}, {{1, 1}, {1, 2}}},
        {"LZW without Clear", {1, 1, 8, 1}, {{259, 3, 1, 5}}, {0, 0x81, 1, 1}, {}},
        {"CCITT at 8 bits", {8, 1, 8, 1}, {{259, 3, 1, 3}}, {1, 2, 3, 4}, {}},
        {"T.6: an empty line, then EOFB",
         {8, 3, 1, 1},
         {{259, 3, 1, 4}, {262, 3, 1, 0}},
         {0x80, 0x08, 0x00, 0x80},
         {{0xFF}, {0xFF}}},
        {"T.6: no Photometric", {8, 1, 1, 1}, {{259, 3, 1, 4}}, {0x80}, {{0}}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        const auto [width, height, bits, samples] = test.size;
        const Streamed streamed = stream_file(picture(width, height, bits, samples, test.tags, test.data));
        EXPECT_GE(streamed.result, 0);
        ASSERT_EQ(streamed.rows.size(), test.rows.size());
        for (usize y = 0; y < test.rows.size(); ++y) {
            Bytes row = streamed.rows[y].second;
            EXPECT_EQ(streamed.rows[y].first, static_cast<int>(y));
            EXPECT_EQ(row.size(), test.length);
            row.resize(test.rows[y].size());
            EXPECT_EQ(row, test.rows[y]) << "row " << y;
        }
    }
}

// Without end codes a strip runs on through all that lies behind it. Lying in reverse order, each then puts
// wrong rows that the strips after it put right.
TEST(Tiff, LzwStripsThatRunOnStillGiveThePicture)
{
    constexpr u32 kRows = 3000;
    std::vector<u8> data;
    for (u32 strip = 0; strip < kRows; ++strip) {
        put_number(data, kDataPosition + 4 * kRows + 9 * (kRows - 1 - strip), 4);
    }
    for (u32 strip = kRows; strip-- > 0;) {
        // Clear and seven bytes, 9 bits each.
        const u64 codes = strip % 251 * 0x0040201008040201;
        data.push_back(0x80);
        for (int shift = 56; shift >= 0; shift -= 8) {
            data.push_back(static_cast<u8>(codes >> shift));
        }
    }
    const std::vector<u8> file =
        picture(7, kRows, 8, 1, {{259, 3, 1, 5}, {273, 4, kRows, kDataPosition}, {278, 3, 1, 1}}, data);
    const Picture loaded = load_picture(file);
    for (u32 row = 0; row < kRows; ++row) {
        ASSERT_EQ(loaded.pixels[row * 7 + 6], row % 251 * 0x010101) << row;
    }
}

// Strings that grow to thousands of bytes without a Clear leave the decoder's window, and 4520 codes behind the
// first its table is full: the strip ends there.
TEST(Tiff, LzwWithoutClear)
{
    std::minstd_rand random(5);
    std::vector<std::vector<u8>> table(258);
    for (u32 i = 0; i < 256; ++i) {
        table[i] = {static_cast<u8>(i)};
    }
    std::vector<u8> data;
    u64 bits = 0;
    u32 count = 0;
    u32 size = 9;
    const auto put = [&](u32 code) {
        bits = bits << size | code;
        for (count += size; count >= 8; count -= 8) {
            data.push_back(static_cast<u8>(bits >> (count - 8)));
        }
    };
    put(256);
    put(7);
    std::vector<u8> out = {7};
    for (u32 taken = 0, previous = 7; taken < 4600; ++taken) {
        const u32 known = static_cast<u32>(table.size());
        // Single bytes first, then mostly the string that is being made.
        const u32 back = known < 4096 && random() % 20 > 0 ? 0 : 1 + static_cast<u32>(random() % 200);
        const u32 code = taken < 500 ? static_cast<u32>(random() % 256) : std::min(known, 4096u) - back;
        table.push_back(table[previous]);
        table.back().push_back(table[code][0]);
        put(code);
        size += size < 12 && known + 1 == (1u << size) - 1 ? 1 : 0;
        if (taken < 4520) {
            out.insert(out.end(), table[code].begin(), table[code].end());
        }
        previous = code;
    }
    u32 width = 1000;  // such that a few bytes more would make a row more
    while (out.size() % width + 8 < width) {
        --width;
    }
    const usize rows = out.size() / width;
    ASSERT_GT(rows, 1000u);
    const u32 height = static_cast<u32>(rows) + 10;
    const Streamed streamed = stream_file(
        picture(width, height, 8, 1, {{259, 3, 1, 5}, {273, 4, 1, kDataPosition}, {278, 3, 1, height}}, data));
    ASSERT_EQ(streamed.rows.size(), rows);
    for (usize row = 0; row < rows; ++row) {
        const u8* const expected = out.data() + row * width;
        ASSERT_TRUE(std::equal(expected, expected + width, streamed.rows[row].second.begin())) << row;
    }
}

// What the tables point at is small, what the strips ask for is not: the work stays within data and picture.
TEST(Tiff, OverlappingStripsCostNoMoreThanThePicture)
{
    constexpr u32 kRows = 32767;
    std::vector<u8> data = {0x80};  // Clear, then the same byte for ever
    data.resize(20000, 0);
    std::vector<u8> file =
        picture(1, kRows, 8, 1, {{259, 3, 1, 5}, {278, 3, 1, 1}, {273, 4, 1, kDataPosition}}, data);
    EXPECT_LE(stream_file(file).rows.size(), 2 * kRows + 64);
    for (const u32 compression : {1u, 3u, 4u, 32773u}) {
        file =
            picture(1, kRows, 1, 1, {{259, 3, 1, compression}, {266, 3, 1, 2}, {278, 3, 1, 1}, kStrip}, data);
        EXPECT_LE(stream_file(file).rows.size(), 2 * kRows);
    }
}

// Three planes of two rows of two pixels, 1, 2, 3, 4; 11 and so on; 21 and so on.
std::vector<u8> planes(u32 compression, std::span<const u8> data)
{
    return picture(2, 2, 8, 3, {{259, 3, 1, compression}, {284, 3, 1, 2}}, data);
}

TEST(Tiff, PlanesUnderOneOffset)
{
    std::vector<u8> raw;
    std::vector<u8> lzw;
    for (const u32 plane : {1u, 11u, 21u}) {
        u64 codes = 256;  // Clear, four bytes and EndOfInformation of 9 bits make 7 bytes
        for (u32 i = plane; i < plane + 4; ++i) {
            raw.push_back(static_cast<u8>(i));
            codes = codes << 9 | i;
        }
        codes = (codes << 9 | 257) << 2;
        for (int shift = 48; shift >= 0; shift -= 8) {
            lzw.push_back(static_cast<u8>(codes >> shift));
        }
    }
    const std::vector<u8> rows[] = {{21, 11, 1, 22, 12, 2, 0, 0}, {23, 13, 3, 24, 14, 4, 0, 0}};
    for (const auto& file : {planes(1, raw), planes(5, lzw)}) {
        const Streamed streamed = stream_file(file);
        ASSERT_EQ(streamed.rows.size(), 2u);
        EXPECT_EQ(streamed.rows[0].second, rows[0]);
        EXPECT_EQ(streamed.rows[1].second, rows[1]);
        EXPECT_EQ(load_picture(file).pixels, (std::vector<u32>{0x010B15, 0x020C16, 0x030D17, 0x040E18}));
    }
    // A row that a plane lacks does not come.
    const std::vector<u8> cut = planes(1, std::span(raw).first(11));
    EXPECT_EQ(stream_file(cut).rows.size(), 1u);
    EXPECT_EQ(load_picture(cut).pixels, (std::vector<u32>{0x010B15, 0x020C16, 0, 0}));
    platform::testing::shorten_write(1);
    EXPECT_EQ(stream_file(planes(1, raw)).result, -10);
    platform::testing::shorten_write(0);
}

TEST(Tiff, RedAndBlueChangePlacesInRowsOfAnyLength)
{
    for (usize length = 0; length < 260; ++length) {
        std::vector<u8> row(length);
        for (usize i = 0; i < length; ++i) {
            row[i] = static_cast<u8>(i);
        }
        std::vector<u8> plain = row;
        for (usize i = 0; i + 2 < length; i += 3) {
            std::swap(plain[i], plain[i + 2]);
        }
        row_swap_red_blue(row);
        ASSERT_EQ(row, plain) << length;
    }
}

TEST(Tiff, TextsAreReadWhereTheFieldPoints)
{
    const std::string text = "somebody else's name, which is longer than a date can be";
    const std::vector<u8> data(text.begin(), text.end());
    stream_file(picture(1, 1, 8, 1, {{315, 2, 1, kDataPosition + 9}, {306, 2, 99, kDataPosition}}, data));
    char name[200];
    char date[40];
    IMGLOW_get_bitmap_name(name, date);
    EXPECT_EQ(name, text.substr(9));
    EXPECT_EQ(date, text.substr(0, 39));
}

TEST(Tiff, PagesAndChains)
{
    const auto count_pages = [](std::span<const u8> file) {
        write_file(temp_path("pages.tif"), file);
        const int stream = platform::_lopen(temp_path("pages.tif").c_str(), platform::OF_READ);
        const i16 pages = IMG_tiff_page_count(stream);
        platform::_lclose(stream);
        return pages;
    };
    const std::vector<u8> fax = read_file(data_path("tiff/fax-standard.tif"));
    EXPECT_EQ(count_pages(fax), 3);
    EXPECT_EQ(load_picture(fax, 2).height, 612);
    EXPECT_EQ(stream_file(fax, 3).result, -9);
    EXPECT_EQ(stream_file(fax, -1).result, -9);

    std::vector<u8> loop = picture(4, 4, 8, 1, {});
    loop[8 + 2 + 5 * 12] = 8;  // the next directory is this one
    EXPECT_EQ(count_pages(loop), -3);
    EXPECT_EQ(stream_file(loop, 5000).result, -9);
    EXPECT_EQ(stream_file(std::span(loop).first(7)).result, -1);
    EXPECT_EQ(stream_file(std::span(loop).first(40)).result, -3);
    EXPECT_EQ(count_pages(std::span(loop).first(9)), -3);
}

// A TIFF behind other bytes: all its positions count from its start.
TEST(Tiff, InsideAnotherFile)
{
    for (const char* const name : {"tiff/palette.tif", "tiff/planes.tif", "tiff/t6.tif", "tiff/lzw-rgb.tif"}) {
        const std::vector<u8> inner = read_file(data_path(name));
        std::vector<u8> outer(777, 'x');
        outer.insert(outer.end(), inner.begin(), inner.end());
        write_file(temp_path("outer.bin"), outer);
        const int stream = platform::_lopen(temp_path("outer.bin").c_str(), platform::OF_READ);
        const i16 handle = IMG_decompress_bitmap_fd(stream, 777, 0);
        ASSERT_GE(handle, 0);
        expect_same(picture_of(handle), load_picture(inner), name);
        IMG_delete_bitmap(handle);
        platform::_lclose(stream);
    }
}

// From inside a callback the pages of another file can be counted.
TEST(Tiff, CountingDisturbsNoLoad)
{
    static int other;
    other = platform::_lopen(data_path("tiff/cmyk.tif").c_str(), platform::OF_READ);
    const std::vector<u8> file = read_file(data_path("tiff/lzw-rgb.tif"));
    std::vector<u8> rows;
    const auto header = [](ImageHeader*, void*) { return IMG_tiff_page_count(other); };
    const auto row = [](const void* bytes, void* user, i16, i16 length) {
        platform::_llseek(other, 0, 0);
        const u8* const from = static_cast<const u8*>(bytes);
        static_cast<std::vector<u8>*>(user)->insert(static_cast<std::vector<u8>*>(user)->end(), from,
                                                    from + length);
        return IMG_tiff_page_count(other);
    };
    EXPECT_GE(
        IMGLOW_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0, row, &rows, header),
        0);
    platform::_lclose(other);
    std::vector<u8> plain;
    for (const auto& [number, bytes] : stream_file(file).rows) {
        plain.insert(plain.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(rows, plain);
}

TEST(Tiff, PlaneFileIsOursAlone)
{
    write_file("plane.tmp", std::vector<u8>{'x'});
    EXPECT_EQ(IMG_decompress_bitmap(data_path("tiff/planes.tif").c_str()), -8);
    EXPECT_EQ(read_file("plane.tmp").size(), 1u);
    ASSERT_EQ(std::remove("plane.tmp"), 0);
    expect_same(load_picture(data_path("tiff/planes.tif")), load_picture(data_path("tiff/rgb.tif")), "planes");
    EXPECT_NE(std::remove("plane.tmp"), 0) << "left behind";
}

// Rows of a T.4 page in fill order 2, each behind an EOL on bytes: one white run of 1728.
std::vector<u8> fax_page(int lines, bool closed)
{
    std::vector<u8> page;
    for (int i = 0; i < lines + closed; ++i) {
        page.insert(page.end(), {0x00, 0x00, 0x00, 0x80});
        if (i < lines) {
            page.insert(page.end(), {0xB2, 0x59, 0x01});  // 010011011 00110101, mirrored
        }
    }
    return page;
}

TEST(FaxContainer, Pages)
{
    const std::vector<u8> pages[] = {fax_page(3, true), fax_page(0, false), fax_page(2, false)};
    std::vector<u8> file = {'O', 'R', 'V', 'N', 'F', 'A', 'X', ' ', 3, 0};
    file.resize(32);
    u32 position = 32 + 4 * 4;
    for (const auto& page : pages) {
        put_number(file, position, 4);
        position += static_cast<u32>(page.size());
    }
    put_number(file, position, 4);
    for (const auto& page : pages) {
        file.insert(file.end(), page.begin(), page.end());
    }
    const Streamed standard = stream_file(file);
    EXPECT_EQ(standard.header.info.biHeight, 8);  // the closing EOL counts, its line does not come
    ASSERT_EQ(standard.rows.size(), 6u);
    for (int y = 0; y < 6; ++y) {
        EXPECT_EQ(standard.rows[static_cast<usize>(y)], std::pair(y, std::vector<u8>(216, 0xFF)));
    }
    const ExtraInfo& extra = *static_cast<ExtraInfo*>(IMG_get_extra_info());
    EXPECT_EQ(extra.format, 8);
    EXPECT_EQ(extra.y_resolution, 196);
    EXPECT_EQ(extra.stored_y_resolution, 98);
    EXPECT_GE(stream_file(file, 1).result, 0);
    EXPECT_EQ(stream_file(file, 1).header.info.biHeight, 0);
    EXPECT_EQ(IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 1), -3);
    EXPECT_EQ(stream_file(file, 3).result, -9);
    EXPECT_EQ(stream_file(file, -1).result, -9);
    EXPECT_EQ(stream_file(std::span(file).first(file.size() - 1), 2).result, -3);
    file[16] = 1;
    EXPECT_EQ(stream_file(file, 2).rows.size(), 2u);
    EXPECT_EQ(stream_file(file, 2).header.info.biHeight, 2);
    write_file(temp_path("pages.fax"), file);
    const int stream = platform::_lopen(temp_path("pages.fax").c_str(), platform::OF_READ);
    EXPECT_EQ(IMG_tiff_page_count(stream), 3);
    EXPECT_EQ(platform::_llseek(stream, 0, 1), 0);
    platform::_lclose(stream);
    check_all_truncations(file);
    check_mutations(file, 3000, 5);
    for (int i = 0; i < 8; ++i) {
        file[static_cast<usize>(36 + i)] = i % 4 == 1 ? 0x77 : 0;
    }
    EXPECT_EQ(stream_file(file, 1).result, -3);  // starts and ends beyond the file
    file[32] = 0xFF;                             // page 0 starts behind its end
    EXPECT_EQ(stream_file(file).result, -3);
}

TEST(FaxMarker, ForcesT4)
{
    const std::vector<u8> line = fax_page(1, false);
    std::vector<u8> file = make_tiff({}, line);  // the directory moves behind the marker
    const std::vector<u8> inner = make_tiff({{256, 3, 1, 1728},
                                             {257, 3, 1, 1},
                                             {259, 3, 1, 1},
                                             {266, 3, 1, 2},
                                             {273, 4, 1, kDataPosition},
                                             {282, 4, 1, 200},
                                             {283, 4, 1, 200}},
                                            {});
    file[4] = 16;
    std::copy_n("ORVNFAX", 7, file.begin() + 8);
    std::copy(inner.begin() + 8, inner.begin() + 150, file.begin() + 16);
    const Streamed streamed = stream_file(file);
    ASSERT_EQ(streamed.rows.size(), 1u);
    EXPECT_EQ(streamed.rows[0].second, std::vector<u8>(216, 0xFF));
}

TEST(Tiff, MemoryOfAFaxDoesNotGrowWithItsHeight)
{
    std::vector<u8> data;
    for (int i = 0; i < 32767; ++i) {
        data.insert(data.end(), {0x4D, 0x9A, 0x80});
    }
    const std::vector<u8> file =
        picture(1728, 32767, 1, 1, {{259, 3, 1, 2}, {262, 3, 1, 0}, {282, 4, 1, 200}}, data);
    platform::testing::reset_peak_bytes();
    EXPECT_EQ(stream_file(file).rows.size(), 32767u);
    EXPECT_LT(platform::testing::peak_bytes(), 64u * 1024);
}

}  // namespace
}  // namespace orv::test
