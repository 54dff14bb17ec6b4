#include <algorithm>

#include "frame/bytes.h"
#include "tests/formats/jpeg/jpeg_support.h"

namespace orv::test
{
namespace
{

// Where the segment of a marker begins, behind `from`.
usize segment_at(const Bytes& file, u8 marker, usize from = 2)
{
    while (from + 4 <= file.size() && file[from + 1] != marker) {
        from += 2U + load_be16(file.data() + from + 2);
    }
    EXPECT_LT(from + 4, file.size());
    return from;
}

// The file with one byte of a segment changed; byte 0 is the FF.
Bytes changed(Bytes file, u8 marker, usize byte, u8 value)
{
    file[segment_at(file, marker) + byte] = value;
    return file;
}

Bytes with_inserted(Bytes file, usize at, const Bytes& bytes)
{
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(at), bytes.begin(), bytes.end());
    return file;
}

TEST(JpegRead, RandomFilesAsTheModelReadsThem)
{
    ASSERT_TRUE(run("python3 " ORV_JPEG_MODEL " random 1 250 " + temp_path("")));
    for (int number = 1; number <= 250 && !HasFailure(); ++number) {
        const std::string name = temp_path(std::to_string(number));
        expect_same(load_picture(name + ".jpg"), read_pnm(name + ".pnm"), name.c_str());
    }
}

TEST(JpegRead, Refusals)
{
    const Bytes gray = fixture("described/gray");
    const Bytes colour = fixture("described/colour-2x1");
    ASSERT_EQ(load_result(gray), ORV_OK);
    ASSERT_EQ(load_result(colour), ORV_OK);
    Bytes no_frame = gray;
    no_frame.erase(no_frame.begin() + static_cast<std::ptrdiff_t>(segment_at(gray, 0xC0)),
                   no_frame.begin() + static_cast<std::ptrdiff_t>(segment_at(gray, 0xC0) + 20));
    const struct {
        const char* what;
        Bytes file;
        int result;
    } cases[] = {
        {"frame header of T.81's length", fixture("gray"), ORV_BAD_DATA},
        {"the same in colour", fixture("colour-2x1"), ORV_BAD_DATA},
        {"no frame header", no_frame, ORV_BAD_DATA},
        {"width 0", changed(changed(gray, 0xC0, 8, 0), 0xC0, 9, 0), ORV_BAD_DATA},
        {"width below 0", changed(gray, 0xC0, 8, 0x80), ORV_BAD_DATA},
        {"height below 0", changed(gray, 0xC0, 6, 0xFF), ORV_BAD_DATA},
        {"a row too wide to carry", changed(colour, 0xC0, 8, 0x2B), ORV_NOT_SUPPORTED},
        {"no horizontal factor", changed(gray, 0xC0, 12, 0x01), ORV_BAD_DATA},
        {"a factor of 5", changed(gray, 0xC0, 12, 0x15), ORV_BAD_DATA},
        {"chroma finer than the first component", changed(colour, 0xC0, 15, 0x31), ORV_BAD_DATA},
        {"chroma higher than the first component", changed(colour, 0xC0, 18, 0x12), ORV_BAD_DATA},
        {"factors of components that gray lacks", changed(gray, 0xC0, 15, 0x00), ORV_OK},
        {"a scan of none", changed(gray, 0xDA, 4, 0), ORV_BAD_DATA},
        {"a scan of four", changed(colour, 0xDA, 4, 4), ORV_BAD_DATA},
        {"a scan of one of three", changed(colour, 0xDA, 4, 1), ORV_OK},
        {"quantisation table of 3 bytes an entry", changed(gray, 0xDB, 4, 0x20), ORV_BAD_DATA},
        {"quantisation table 4", changed(gray, 0xDB, 4, 0x04), ORV_BAD_DATA},
        {"quantisation table 3, unused", changed(gray, 0xDB, 4, 0x03), ORV_OK},
        {"Huffman table 2", changed(gray, 0xC4, 4, 0x02), ORV_BAD_DATA},
        {"Huffman class 2", changed(gray, 0xC4, 4, 0x20), ORV_BAD_DATA},
        {"257 symbols", changed(changed(gray, 0xC4, 20, 255), 0xC4, 19, 2), ORV_BAD_DATA},
        {"a segment of length 1", changed(changed(gray, 0xE0, 2, 0), 0xE0, 3, 1), ORV_BAD_DATA},
        {"a segment that goes backwards", changed(gray, 0xE0, 2, 0x80), ORV_BAD_DATA},
        {"no marker", changed(gray, 0xDB, 0, 0xFE), ORV_BAD_DATA},
        {"nothing behind SOI", Bytes(gray.begin(), gray.begin() + 2), ORV_BAD_DATA},
        {"fill bytes", with_inserted(gray, segment_at(gray, 0xC0), {0xFF}), ORV_BAD_DATA},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(load_result(test.file), test.result) << test.what;
    }
}

TEST(JpegRead, WideReadingTakesWhatT81Allows)
{
    const Bytes gray = fixture("gray");
    const Picture expected = [&] {
        const Ways wide(ORV_READING_WIDE, ORV_WRITING_DESCRIBED);
        return load_picture(gray);
    }();
    Bytes long_comment(65537, 7);
    std::copy_n(std::begin({0xFF, 0xFE, 0xFF, 0xFF}), 4, long_comment.begin());
    const Ways wide(ORV_READING_WIDE, ORV_WRITING_DESCRIBED);
    expect_same(load_picture(fixture("described/gray")), expected, "both layouts");
    expect_same(load_picture(with_inserted(gray, segment_at(gray, 0xC0), {0xFF, 0xFF, 0xFF})), expected,
                "fill bytes");
    expect_same(load_picture(with_inserted(gray, segment_at(gray, 0xDB), long_comment)), expected,
                "long segment");
    expect_same(load_picture(changed(gray, 0xC0, 1, 0xC1)), expected, "SOF1");
    // Tables behind the frame header.
    Bytes moved = gray;
    const auto place = [&](u8 marker) {
        return moved.begin() + static_cast<std::ptrdiff_t>(segment_at(gray, marker));
    };
    std::rotate(place(0xDB), place(0xC0), place(0xC0) + 13);
    expect_same(load_picture(moved), expected, "tables behind the frame");

    EXPECT_EQ(load_result(changed(gray, 0xC0, 4, 12)), ORV_BAD_DATA) << "12 bits a sample";
    EXPECT_EQ(load_result(changed(gray, 0xC0, 9, 3)), ORV_BAD_DATA) << "more components than the length has";
    EXPECT_EQ(load_result(changed(gray, 0xC0, 12, 4)), ORV_BAD_DATA) << "quantisation table 4";
    EXPECT_EQ(load_result(changed(fixture("colour-scans"), 0xDA, 5, 9)), ORV_BAD_DATA) << "no such component";
    EXPECT_EQ(load_result(fixture("unread/progressive")), ORV_BAD_DATA);
    EXPECT_EQ(load_result(fixture("unread/arithmetic")), ORV_BAD_DATA);
}

// A file without tables is read by those of the file before it.
TEST(JpegRead, TablesStay)
{
    const Bytes gray = fixture("described/gray");
    Bytes bare(gray.begin(), gray.begin() + 2);
    for (usize at = 2; at < gray.size();) {
        const u8 marker = gray[at + 1];
        const usize end = marker == 0xDA ? gray.size() : at + 2 + load_be16(gray.data() + at + 2);
        if (marker == 0xC0 || marker == 0xDA) {
            bare.insert(bare.end(), gray.begin() + static_cast<std::ptrdiff_t>(at),
                        gray.begin() + static_cast<std::ptrdiff_t>(end));
        }
        at = end;
    }
    const Picture expected = load_picture(gray);
    expect_same(load_picture(bare), expected, "the same tables");
    load_picture(fixture("described/colour-coarse"));
    EXPECT_NE(load_picture(bare), expected);
}

TEST(JpegRead, ReportTellsOfRowsThatWereMadeUp)
{
    const Bytes file = fixture("described/colour-2x1");
    OrvLoadReport report{};
    report.size = sizeof report;
    load_picture(file);
    orv_load_report(&report);
    EXPECT_EQ(report.rows_whole, 53);
    load_picture(Bytes(file.begin(), file.end() - 600));
    orv_load_report(&report);
    EXPECT_GT(report.rows_whole, 8);
    EXPECT_GT(report.rows_repaired, 8);
    EXPECT_EQ(report.rows_whole + report.rows_repaired, 53);
    EXPECT_STREQ(report.reason, "the data ends early");

    const Ways wide(ORV_READING_WIDE, ORV_WRITING_DESCRIBED);
    const Bytes scans = fixture("colour-scans");
    for (const int cut : {0, 20}) {
        load_picture(Bytes(scans.begin(), scans.end() - cut));
        orv_load_report(&report);
        EXPECT_EQ(report.rows_whole == 53, cut == 0) << report.rows_whole;
        EXPECT_EQ(report.rows_whole + report.rows_repaired, 53);
        EXPECT_GT(report.rows_whole, 0);
    }
    const u8 sos[] = {0xFF, 0xDA};
    load_picture(Bytes(scans.begin(), std::find_end(scans.begin(), scans.end(), sos, sos + 2)));
    orv_load_report(&report);
    EXPECT_EQ(report.rows_repaired, 53) << "a component is missing";
}

}  // namespace
}  // namespace orv::test
