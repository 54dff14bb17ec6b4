// WMF: the walk over records, bitmap headers, run-length codes, and the file that is written.
#include <gtest/gtest.h>

#include <algorithm>

#include "frame/bytes.h"
#include "orvimg32/extra.h"
#include "orvimg32/sized.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using namespace std::string_literals;

std::string le16(u32 value)
{
    return {static_cast<char>(value), static_cast<char>(value >> 8)};
}

std::string le32(u32 value)
{
    return le16(value) + le16(value >> 16);
}

std::string dib(i32 width, i32 height, u32 bits, u32 compression, const std::string& pixels)
{
    return le32(40) + le32(static_cast<u32>(width)) + le32(static_cast<u32>(height)) + le16(1) + le16(bits) +
           le32(compression) + std::string(20, 0) + std::string(bits == 24 ? 0 : 4U << bits, 'p') + pixels;
}

// The key, what else the two headers hold, and records.
std::string metafile(const std::string& records)
{
    return le32(0x9AC6CDD7) + std::string(38, 0) + records;
}

std::string stretch(const std::string& bitmap)
{
    return le32(0x100000) + le16(0x0F43) + std::string(22, 0) + bitmap;
}

i16 load(const std::string& file)
{
    return IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
}

// Rows as they are delivered: number and bytes in hexadecimal, then the result and the report's reason.
std::string streamed(const std::string& file)
{
    std::string rows;
    const i16 result = IMGLOW_decompress_bitmap_mem_sized(
        file.data(), static_cast<u32>(file.size()), 0,
        [](const void* row, void* user, i16 number, i16) -> i16 {
            char text[32];
            const u8* p = static_cast<const u8*>(row);
            std::snprintf(text, sizeof text, "%d:%02x%02x%02x%02x ", number, p[0], p[1], p[2], p[3]);
            *static_cast<std::string*>(user) += text;
            return 0;
        },
        &rows, [](ImageHeader*, void*) -> i16 { return 1; });
    OrvLoadReport report = {};
    report.size = sizeof report;
    orv_load_report(&report);
    return rows + std::to_string(result) + (report.reason[0] != 0 ? " "s + report.reason : "");
}

TEST(Wmf, RunLengthCodes)
{
    const std::string ended = "0 the data ends early";
    struct Case {
        const char* what;
        i32 width;
        i32 height;
        u32 bits;
        std::string codes;
        std::string rows;
    };
    const Case cases[] = {
        {"full rows with and without their ends", 4, 2, 8, "\4\x11\0\0\4\x22"s, "1:11111111 0:22222222 0"},
        {"a short row is cleared behind", 4, 2, 8, "\4\x11\2\x22\0\0"s, "1:11111111 0:22220000 0"},
        {"two ends of line", 4, 3, 8, "\1\x11\0\0\0\0\4\x22"s, "2:11000000 1:00000000 0:22222222 0"},
        {"an end of bitmap keeps the row in hand", 4, 2, 8, "\4\x11\2\x22\0\1\4\x33"s,
         "1:11111111 0 rows did not come"},
        {"pixels as they are, padded", 4, 1, 8, "\0\3\x11\x22\x33\x99\1\x44"s, "0:11223344 0"},
        {"pairs behind them are runs", 4, 2, 8, "\0\3\x11\x22\x33\0\0\0\x99\0\1\x44\4\x55"s,
         "1:11223344 0:55555555 0"},
        {"a run ends that", 4, 2, 8, "\0\3\x11\x22\x33\0\1\x55\4\x66\0\0"s, "1:11223355 0:66666666 0"},
        {"an odd place is made even", 6, 1, 8, "\0\3\x11\x22\x33\0\0\0\x99\0\3\x44\x55\x66"s, "0:11223344 0"},
        {"a delta within the row", 4, 1, 8, "\1\x11\0\2\2\0\1\x44"s, "0:11000044 0"},
        {"a delta over rows delivers once and keeps the row", 4, 4, 8, "\1\x11\0\2\1\3\1\x33\0\0"s,
         "3:11000000 0:11003300 0 rows did not come"},
        {"a delta past the last row", 4, 2, 8, "\1\x11\0\2\1\xFF\4\x22"s, "1:11000000 0 rows did not come"},
        {"runs over the edge", 4, 2, 8, "\3\x11\5\x22\0\0\0\6\1\2\3\4\5\6"s, "1:11111122 0:01020304 0"},
        {"a delta over the edge", 4, 2, 8, "\1\x11\0\2\xFF\0\4\x22"s, "1:11000000 0:22222222 0"},
        {"data that ends in a row", 4, 2, 8, "\4\x11\0\0\3\x22"s, "1:11111111 " + ended},
        {"data that ends in pixels", 4, 2, 8, "\0\4\x11\x22"s, ended},
        {"nibbles", 7, 2, 4, "\3\x12\4\x34\0\0\0\7\x12\x34\x56\x70"s, "1:12134340 0:12345670 0"},
        {"nibbles from the middle of a byte", 8, 1, 4, "\1\x12\0\4\x34\x56\3\x78"s, "0:13456787 0"},
        {"nibbles over the edge", 3, 2, 4, "\2\x12\3\x34\0\5\x56\x78\x90\0"s, "1:12300000 0:56700000 0"},
        {"a row of nibbles is cleared", 8, 2, 4, "\x08\x77\1\x10\0\0"s, "1:77777777 0:10000000 0"},
    };
    for (const Case& c : cases) {
        const std::string file =
            metafile(stretch(dib(c.width, c.height, c.bits, c.bits == 8 ? 1 : 2, c.codes)));
        EXPECT_EQ(streamed(file), c.rows) << c.what;
    }
}

TEST(Wmf, WhichRecordAndWhichHeader)
{
    const std::string good = stretch(dib(2, 1, 8, 0, "\x11\x22\0\0"s));
    std::string odd = good;  // whose size says a function where a shorter record ends
    odd[0] = 1;
    const std::string line = le32(5) + le16(0x0213) + "line"s;
    const auto header = [&](i32 width, i32 height, u32 bits, u32 compression) {
        return metafile(stretch(dib(width, height, bits, compression, std::string(64, 0x33))));
    };
    const std::string none = "-6 the metafile has drawing records and no bitmap";
    const std::string device = le32(0x100000) + le16(0x0922) + std::string(16, 0) + std::string(60, 3);
    std::string published = metafile(good);
    published.erase(22, 2);
    struct Case {
        const char* what;
        std::string file;
        std::string rows;
    };
    const Case cases[] = {
        {"the first bitmap", metafile(line + good + stretch(dib(1, 1, 8, 0, "\x33"))), "0:11220000 0"},
        {"drawing alone", metafile(line + line + le32(3) + le16(0)), none},
        {"a record without a size", metafile(le32(0) + le16(0x0213) + "line"s + good), none},
        {"a record of 2 words", metafile(le32(2) + odd), none},
        {"a record beyond the file", metafile(le32(0xFFFFFFFF) + le16(0x0213) + "line"s + good), none},
        {"an end of records in memory", metafile(le32(3) + le16(0) + good), none},
        {"a placeable header of 22 bytes", published, none},
        {"a device's own bitmap", metafile(device), "-6"},
        {"rows of 24 bits", header(1, 1, 24, 0), "0:33333333 0"},
        {"another compression", header(1, 1, 8, 3), "0 the compression is not read"},
        {"8-bit codes at 4 bits", header(1, 1, 4, 1), "-6"},
        {"4-bit codes at 8 bits", header(1, 1, 8, 2), "-6"},
        {"16 bits", header(1, 1, 16, 0), "-6"},
        {"no width", header(0, 1, 8, 0), "-3"},
        {"rows from the top", header(1, -1, 8, 0), "-3"},
        {"a row that cannot be carried", header(32767, 1, 8, 0), "-6"},
        {"rows that the file lacks", metafile(stretch(dib(4, 3, 8, 0, std::string(6, 0x33)))),
         "2:33333333 1:33330000 0:00000000 0 the data ends early"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(streamed(c.file), c.rows) << c.what;
    }
    // Behind META_EOF a file goes on.
    const std::string path = temp_path("ended.wmf");
    const std::string file = metafile(le32(3) + le16(0) + good);
    write_file(path, {reinterpret_cast<const u8*>(file.data()), file.size()});
    EXPECT_EQ(load_picture(path).width, 2);
}

std::string saved(int handle)
{
    std::string file(1 << 20, 0);
    u32 written = 0;
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, file.data(), 1 << 20, ORV_FORMAT_WMF, &written), 0);
    file.resize(written);
    return file;
}

TEST(Wmf, TheFileByBytes)
{
    const int handle = make_image(100, 100, 8, 1);
    u8 header[1064];
    IMGLOW_get_bitmap_header(handle, header);
    const std::string file = saved(handle);
    const std::vector<u8> rows = raw_rows(handle);
    IMG_delete_bitmap(handle);
    const std::string words = le32(5546);
    const std::string size = le16(100) + le16(100) + le32(0);
    const std::string placeable =
        le32(0x9AC6CDD7) + le16(0) + le32(0) + le16(100) + le16(100) + le16(907) + le32(0);
    u32 checksum = 0;
    for (usize i = 0; i < 22; i += 2) {
        checksum ^= load_le16(reinterpret_cast<const u8*>(file.data()) + i);
    }
    EXPECT_EQ(checksum, 0U);
    EXPECT_EQ(file.substr(0, 20), placeable);
    EXPECT_EQ(file.substr(22, 76),
              le16(0) + le16(1) + le16(9) + le16(0x300) + le32(5572) + le16(1) + words + le16(0) +  //
                  le32(5) + le16(0x20B) + le32(0) + le32(5) + le16(0x20C) + le16(1) + le16(1) + le32(4) +
                  le16(0x103) + le16(1) + words + le16(0xF43) + le32(0x00CC0020) + le16(0) + size + size);
    std::string bitmap(reinterpret_cast<const char*>(header), sizeof header);
    bitmap.replace(20, 4, le32(10000));
    bitmap.append(reinterpret_cast<const char*>(rows.data()), rows.size());
    EXPECT_TRUE(file.substr(98) == bitmap + le32(3) + le16(0));
}

TEST(Wmf, EveryDepthComesBack)
{
    for (const int bits : {1, 4, 8, 24}) {
        const int handle = make_image(45, 31, bits, 3);
        IMG_set_croprect(handle, 8, 2, 33, 20);
        const std::string file = saved(handle);
        const i16 loaded = load(file);
        ASSERT_GE(loaded, 0);
        EXPECT_EQ(picture_of(loaded).bits, bits);
        expect_same(picture_of(loaded), cropped(picture_of(handle), 8, 2, 33, 20), "a crop rectangle");
        IMG_delete_bitmap(loaded);
        IMG_delete_bitmap(handle);
    }
}

}  // namespace
}  // namespace orv::test
