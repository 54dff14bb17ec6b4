// The run-length codings and headers of BMP, byte by byte.
#include <gtest/gtest.h>

#include <string>

#include "frame/bytes.h"
#include "frame/load.h"
#include "orvimg32/sized.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using Bytes = std::vector<u8>;

struct Info {
    i32 width, height;
    u16 bits;
    u32 compression = 0;
    u32 colours_used = 0;
    u32 header_bytes = 40;
};

// A file of the header, a palette whose entry i is (i, i, i), and the pixel bytes.
Bytes bmp_file(const Info& info, const Bytes& pixels)
{
    const u32 palette = info.bits > 8 ? 0u : 4u << info.bits;
    Bytes file(54 + palette);
    file[0] = 'B';
    file[1] = 'M';
    store_le32(&file[10], 54 + palette);
    const BITMAPINFOHEADER header = {
        info.header_bytes, info.width, info.height, 1, info.bits, info.compression, 0, 0, 0,
        info.colours_used, 0};
    std::memcpy(&file[14], &header, sizeof header);
    for (u32 i = 0; i < palette; i++) {
        file[54 + i] = i % 4 == 3 ? u8{0} : static_cast<u8>(i / 4);
    }
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

struct Row {
    int number;
    Bytes bytes;
    bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* out)
{
    *out << "row " << row.number << " " << testing::PrintToString(row.bytes);
}

struct Decoded {
    i16 result = 0;
    ImageHeader header = {};
    std::vector<Row> rows;
};

Decoded decode(const Bytes& file)
{
    Decoded decoded;
    current_handle = 0;
    decoded.result = IMGLOW_decompress_bitmap_mem_sized(
        file.data(), static_cast<u32>(file.size()), 0,
        [](const void* row, void* user, i16 number, i16 length) {
            const u8* bytes = static_cast<const u8*>(row);
            static_cast<Decoded*>(user)->rows.push_back({number, Bytes(bytes, bytes + length)});
            return i16{0};
        },
        &decoded,
        [](ImageHeader* header, void* user) {
            Decoded& target = *static_cast<Decoded*>(user);
            const usize palette = header->info.biBitCount > 8 ? 0 : usize{4} << header->info.biBitCount;
            std::memcpy(&target.header, header, kBitmapHeaderBytes + palette);
            return i16{0};
        });
    return decoded;
}

// In an image the rows lie bottom row first; what did not come is zero, and so is what fills a row up.
void expect_in_image(const Bytes& file, const std::vector<Row>& rows)
{
    const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const std::ptrdiff_t stride = record.row_stride;
    Bytes expected(static_cast<usize>(stride * record.image_height));
    const int used = (record.image_width * file[28] + 7) / 8;
    for (const Row& row : rows) {
        std::copy_n(row.bytes.begin(), used,
                    expected.begin() + stride * (record.image_height - 1 - row.number));
    }
    EXPECT_EQ(raw_rows(handle), expected);
    IMG_delete_bitmap(handle);
}

struct RunCase {
    const char* what;
    Info info;
    Bytes code;
    std::vector<Row> rows;
};

TEST(BmpRead, RunLengthRows)
{
    const RunCase cases[] = {
        {"all escapes; a skip shows the line before",
         {6, 3, 8, 1},
         {3, 5, 0, 3, 1, 2, 3, 0, 0, 0, 0, 2, 2, 0, 2, 9, 0, 0, 0, 1},
         {{2, {5, 5, 5, 1, 2, 3, 0, 0}}, {1, {5, 5, 9, 9, 2, 3, 0, 0}}}},
        {"a delta delivers each line it leaves",
         {4, 4, 8, 1},
         {1, 7, 0, 2, 1, 2, 1, 8, 0, 0, 0, 1},
         {{3, {7, 0, 0, 0}}, {2, {7, 0, 0, 0}}, {1, {7, 0, 8, 0}}}},
        {"a run is cut at the width", {4, 1, 8, 1}, {10, 3, 0, 0}, {{0, {3, 3, 3, 3}}}},
        {"a line without its end runs on", {4, 1, 8, 1}, {2, 3, 2, 4, 2, 5, 0, 0}, {{0, {3, 3, 4, 4}}}},
        {"lines end at row 0",
         {4, 2, 8, 1},
         {0, 2, 0, 255, 0, 0, 0, 0},
         {{1, {0, 0, 0, 0}}, {0, {0, 0, 0, 0}}}},
        {"cut short", {4, 2, 8, 1}, {4, 1, 0, 0, 4}, {{1, {1, 1, 1, 1}}}},
        {"a full 4-bit line ends by itself, with its code",
         {6, 2, 4, 2},
         {4, 0x12, 2, 0x34, 0, 0, 6, 0x56, 0, 0, 0, 1},
         {{1, {0x12, 0x12, 0x34, 0}}, {0, {0x56, 0x56, 0x56, 0}}}},
        {"a full 4-bit line ends without a code too",
         {4, 2, 4, 2},
         {4, 0x12, 4, 0x34},
         {{1, {0x12, 0x12, 0, 0}}, {0, {0x34, 0x34, 0, 0}}}},
        {"00 00 behind an absolute run swallows a byte",
         {8, 1, 4, 2},
         {0, 4, 0x12, 0x34, 0, 0, 0xAB, 2, 0xCD, 0, 0},
         {{0, {0x12, 0x34, 0xCD, 0}}}},
        {"00 02 behind an absolute run is a run",
         {8, 1, 4, 2},
         {0, 4, 0x12, 0x34, 0, 2, 0xAB, 2, 0xCD},
         {{0, {0x12, 0x34, 0xAB, 0xCD}}}},
        {"4-bit runs meet inside a byte", {5, 1, 4, 2}, {3, 0x12, 2, 0x34}, {{0, {0x12, 0x13, 0x40, 0}}}},
        {"a 4-bit absolute run of odd length",
         {5, 1, 4, 2},
         {0, 5, 0x12, 0x34, 0x50, 0},
         {{0, {0x12, 0x34, 0x50, 0}}}},
        {"a 4-bit delta delivers one row",
         {8, 4, 4, 2},
         {2, 0x12, 0, 2, 2, 3, 2, 0x34, 0, 0},
         {{3, {0x12, 0, 0, 0}}, {0, {0x12, 0, 0x34, 0}}}},
        {"the end code delivers nothing", {8, 1, 4, 2}, {2, 0x12, 0, 1}, {}},
        {"a 4-bit delta past the last row", {8, 4, 4, 2}, {0, 2, 255, 255, 8, 0x11}, {{3, {0, 0, 0, 0}}}},
        {"an unknown coding has no rows", {4, 1, 8, 3}, {1, 2, 3, 4}, {}},
        {"plain rows, the last one cut short",
         {3, 2, 8, 0},
         {1, 2, 3, 4, 5, 6, 7},
         {{1, {1, 2, 3, 4}}, {0, {5, 6, 7, 0}}}},
    };
    for (const RunCase& c : cases) {
        SCOPED_TRACE(c.what);
        const Decoded decoded = decode(bmp_file(c.info, c.code));
        EXPECT_EQ(decoded.result, kOk);
        EXPECT_EQ(decoded.rows, c.rows);
        EXPECT_EQ(decoded.header.info.biCompression, 0u);
        expect_in_image(bmp_file(c.info, c.code), c.rows);
        EXPECT_EQ(extra_info.format,
                  c.info.compression == 1 || c.info.compression == 2 ? ORV_FORMAT_BMP_RLE : ORV_FORMAT_BMP);
    }
}

TEST(BmpRead, ARowCutShortIsFilledWithZerosInAnImage)
{
    Bytes cut(1000);
    std::fill_n(cut.begin(), 7, u8{9});
    expect_in_image(bmp_file({1000, 2, 8}, Bytes(1007, 9)), {{1, Bytes(1000, 9)}, {0, cut}});
}

TEST(BmpRead, RunsPastTheWidthAreCutAlsoFarFromTheDataEnd)
{
    for (const Bytes& start : {Bytes{1, 1, 0, 5, 1, 1, 1, 1, 1, 0}, Bytes{6, 1}, Bytes{4, 1, 2, 1}}) {
        Bytes code = start;
        code.resize(600);
        EXPECT_EQ(decode(bmp_file({5, 1, 8, 1}, code)).rows, (std::vector<Row>{{0, {1, 1, 1, 1, 1, 0, 0, 0}}}));
    }
}

TEST(BmpRead, CodesSplitByARefillDecodeAlike)
{
    // Rows of 1 to 40 pixels a code, so that codes of every length cross the chunk's end somewhere.
    for (const u16 bits : {u16{4}, u16{8}}) {
        Bytes code;
        std::vector<Row> expected;
        const int height = 700;
        for (int row = height - 1; row >= 0; row--) {
            const int pixels = 3 + row % 38;
            Bytes bytes(bits == 8 ? 44 : 24);
            code.insert(code.end(), {0, static_cast<u8>(pixels)});
            for (int x = 0; x < pixels; x++) {
                const u8 value = static_cast<u8>((x * 3 + row) % 16);
                if (bits == 8) {
                    bytes[static_cast<usize>(x)] = value;
                    code.push_back(value);
                } else if (x % 2 == 0) {
                    bytes[static_cast<usize>(x / 2)] = static_cast<u8>(value << 4);
                    code.push_back(static_cast<u8>(value << 4));
                } else {
                    bytes[static_cast<usize>(x / 2)] |= value;
                    code.back() |= value;
                }
            }
            code.resize((code.size() + 1) & ~usize{1});
            code.insert(code.end(), {static_cast<u8>(42 - pixels), 0x77, 0, 0});
            for (int x = pixels; x < 42; x++) {
                const usize place = static_cast<usize>(bits == 8 ? x : x / 2);
                const bool high = (x % 2) == 0;
                bytes[place] = bits == 8 ? u8{0x77} : static_cast<u8>(high ? 0x70 : (bytes[place] & 0xF0) | 7);
            }
            expected.push_back({row, bytes});
        }
        EXPECT_EQ(decode(bmp_file({42, height, bits, bits == 8 ? 1u : 2u}, code)).rows, expected) << bits;
    }
}

TEST(BmpRead, HeadersAndPalettes)
{
    struct Case {
        const char* what;
        Info info;
        i16 result;
    };
    for (const Case& c :
         {Case{"16 bits", {4, 1, 16}, kNotSupported}, Case{"no width", {0, 1, 8}, kBadData},
          Case{"top down", {4, -1, 8}, kNotSupported}, Case{"too wide", {32768, 1, 1}, kNotSupported},
          Case{"row too long", {10922, 1, 24}, kNotSupported}, Case{"8-bit runs", {4, 1, 4, 1}, kBadData},
          Case{"4-bit runs", {4, 1, 8, 2}, kBadData}, Case{"no depth", {4, 1, 0}, kNotSupported}}) {
        EXPECT_EQ(decode(bmp_file(c.info, Bytes(64))).result, c.result) << c.what;
    }
    // The palette has all its entries whatever the file says; its tail is what follows in the file.
    Bytes file = bmp_file({4, 1, 8, 0, 16}, {1, 2, 3, 4});
    store_le32(&file[10], 54 + 64);
    const Decoded decoded = decode(file);
    EXPECT_EQ(decoded.header.info.biClrUsed, 0u);
    EXPECT_EQ(decoded.header.palette[200].rgbGreen, 200);
    EXPECT_EQ(decoded.rows, (std::vector<Row>{{0, {16, 16, 16, 0}}}));
    // A longer header is taken for a core header: 16-bit width, height and depth at 4, 6 and 10.
    file = bmp_file({4 | 3 << 16, 1, 8, 0, 0, 124}, {});
    store_le16(&file[14 + 10], 1);
    EXPECT_EQ(decode(file).header.info.biHeight, 3);
    EXPECT_EQ(decode(file).header.info.biBitCount, 1);
}

TEST(BmpRead, WideRows)
{
    for (const int bits : {1, 4, 8, 24}) {
        const int handle = make_image(bits == 1 ? 32767 : bits == 24 ? 10921 : 12000, 3, bits, 1);
        const Picture expected = picture_of(handle);
        for (const int format : {1, 12}) {
            const i16 result = IMG_save_bitmap(handle, "wide.bmp", static_cast<i16>(format), 1, 1, 1, 1);
            const bool packs = bits == 4 || bits == 8;
            EXPECT_EQ(result, format == 1 || packs ? kOk : kNotSupported);
            expect_same(load_picture("wide.bmp"), expected, "wide row");
        }
        IMG_delete_bitmap(handle);
    }
}

// What the writer makes of one row: the bytes between the palette and the end-of-bitmap code.
Bytes encoded_row(int width, int bits, const Bytes& row)
{
    Bytes file = bmp_file({width, 1, static_cast<u16>(bits)}, row);
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(file.data() + 14));
    Bytes out(70000);
    u32 written = 0;
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, out.data(), 70000, 12, &written), kOk);
    IMG_delete_bitmap(handle);
    out.resize(written);
    EXPECT_EQ(load_le32(&out[2]), load_le32(&out[10]) + row.size()) << "the sizes are the plain image's";
    EXPECT_EQ(load_le32(&out[34]), row.size());
    EXPECT_EQ(load_le32(&out[30]), bits == 8 ? 1u : 2u);
    EXPECT_EQ(Bytes(out.end() - 2, out.end()), (Bytes{0, 1}));
    return Bytes(out.begin() + 54 + (4 << bits), out.end() - 2);
}

TEST(BmpWrite, RunLengthRows)
{
    Bytes long_run(304, 6);
    EXPECT_EQ(encoded_row(8, 8, Bytes(8, 9)), (Bytes{8, 9, 0, 0}));
    EXPECT_EQ(encoded_row(5, 8, {1, 2, 3, 4, 5, 0x55, 0x55, 0x55}), (Bytes{0, 5, 1, 2, 3, 4, 5, 0, 0, 0}));
    EXPECT_EQ(encoded_row(5, 8, {1, 2, 3, 4, 5, 5, 5, 5}), (Bytes{0, 5, 1, 2, 3, 4, 5, 0, 0, 0}));
    EXPECT_EQ(encoded_row(4, 8, {1, 2, 3, 4}), (Bytes{0, 4, 1, 2, 3, 4, 0, 0}));
    EXPECT_EQ(encoded_row(3, 8, {1, 2, 3, 3}), (Bytes{1, 1, 1, 2, 1, 3, 0, 0}));
    EXPECT_EQ(encoded_row(300, 8, Bytes(300, 6)), (Bytes{255, 6, 45, 6, 0, 0}));
    EXPECT_EQ(encoded_row(8, 8, {1, 2, 3, 4, 7, 7, 7, 7}), (Bytes{0, 4, 1, 2, 3, 4, 4, 7, 0, 0}));
    EXPECT_EQ(encoded_row(5, 4, {0x12, 0x34, 0x50, 0x99}), (Bytes{2, 0x12, 2, 0x34, 2, 0x50, 0, 0}));
    EXPECT_EQ(encoded_row(600, 4, Bytes(300, 0x33)), (Bytes{254, 0x33, 254, 0x33, 92, 0x33, 0, 0}));
    EXPECT_EQ(encoded_row(10, 4, {1, 2, 3, 4, 5, 9, 9, 9}), (Bytes{0, 10, 1, 2, 3, 4, 5, 0, 0, 0}));
}

TEST(BmpWrite, PlainFile)
{
    const Bytes pixels = {0xA5, 0x80, 0, 0, 0x5A, 0, 0, 0};
    const Bytes expected = bmp_file({9, 2, 1}, pixels);
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(expected.data() + 14));
    Bytes file(expected.size());
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, file.data(), static_cast<u32>(file.size()), 1, nullptr), kOk);
    EXPECT_EQ(load_le32(&file[2]), file.size());
    EXPECT_EQ(load_le32(&file[34]), pixels.size());
    store_le32(&file[2], 0);
    store_le32(&file[34], 0);
    EXPECT_EQ(file, expected);
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
