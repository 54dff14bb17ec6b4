#include "frame/load.h"

#include <gtest/gtest.h>

#include <memory>

#include "frame/streams.h"
#include "orvimg32/extra.h"
#include "orvimg32/sized.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "tests/support/stream_check.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

std::vector<u8> with_bytes(std::initializer_list<u8> first, usize size = 600)
{
    std::vector<u8> file(first);
    file.resize(size);
    return file;
}

TEST(Detection, TestsGiveWayInTheirOrder)
{
    struct Case {
        std::vector<u8> file;
        i16 format;  // -6 where nothing recognises it
    };
    std::vector<u8> pict = with_bytes({});
    pict[523] = 0x11;
    std::vector<u8> pict_version_2 = with_bytes({});
    pict_version_2[522] = 0x11;
    std::vector<u8> tga_before_pict = pict;
    tga_before_pict[2] = 10;
    std::vector<u8> late = with_bytes({});
    late[524] = 0x11;
    const Case cases[] = {
        {with_bytes({'M', 'M', 2, 9}), ORV_FORMAT_TIFF},
        {with_bytes({'I', 'I'}, 2), ORV_FORMAT_TIFF},
        {with_bytes({'G', 'I', 'F'}), ORV_FORMAT_GIF},
        {with_bytes({'G', 'I', 2}), ORV_FORMAT_TGA},
        {with_bytes({'B', 'M', 2}), ORV_FORMAT_BMP},
        {with_bytes({0xC5, 0xD0, 0xD3, 0xC6}), ORV_FORMAT_EPS},
        {with_bytes({0xB1, 0x68, 0xDE, 0x3A}), ORV_FORMAT_DCX},
        {with_bytes({0xFF, 0xD8, 2}), ORV_FORMAT_JPEG},
        {with_bytes({10, 'W', 'P', 'C'}), ORV_FORMAT_WPG},
        {with_bytes({10, 2, 2}), ORV_FORMAT_PCX},
        {with_bytes({0, 2, 11}), ORV_FORMAT_TGA},
        {with_bytes({1, 0, 9, 0}), ORV_FORMAT_TGA},  // a plain metafile
        {with_bytes({0xD7, 0xCD, 0xC6, 0x9A}), ORV_FORMAT_WMF},
        {with_bytes({1, 0, 4}), ORV_FORMAT_WMF},
        {with_bytes({0, 2}), ORV_FORMAT_WMF},
        {pict, ORV_FORMAT_PICT},
        {pict_version_2, ORV_FORMAT_PICT},
        {tga_before_pict, ORV_FORMAT_TGA},
        {late, kNotSupported},
        {with_bytes({}, 0), kNotSupported},
        {with_bytes({'M'}, 1), kNotSupported},
        {with_bytes({0, 0, 0xC6, 0x9A}), kNotSupported},
        {with_bytes({'O', 'R', 'V', 'N', 'F', 'A', 'X', ' '}), kNotSupported},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        const std::string path = temp_path("sniff");
        write_file(path, c.file);
        EXPECT_EQ(IMGLOW_get_filetype(path.c_str()), c.format);
        const int file = platform::_lopen(path.c_str(), platform::OF_READ);
        stream_seek(file, 1, kFromStart);
        const bool fax = !c.file.empty() && c.file[0] == 'O';
        EXPECT_EQ(IMG_get_filetype_fd(file), c.format == kNotSupported ? (fax ? 0 : -1) : c.format);
        EXPECT_EQ(stream_seek(file, 0, kFromHere), 0) << "the stream is left at position 0";
        platform::_lclose(file);
    }
}

TEST(Load, NamesThatCantBeRead)
{
    write_file(temp_path("nothing"), {});
    write_file(temp_path("zeros"), with_bytes({}));
    for (const char* name : {"", "no/such/file", "/"}) {
        EXPECT_EQ(IMG_decompress_bitmap(name), kUnreadable) << name;
        EXPECT_EQ(IMGLOW_get_filetype(name), kUnreadable) << name;
    }
    EXPECT_EQ(IMG_decompress_bitmap(nullptr), kUnreadable);
    EXPECT_EQ(IMGLOW_get_filetype(nullptr), kUnreadable);
    EXPECT_EQ(IMG_decompress_bitmap("nothing"), kNotSupported);
    EXPECT_EQ(IMG_decompress_bitmap("zeros"), kNotSupported);
    EXPECT_EQ(IMG_decompress_bitmap_fd(-1, 0, 0), kNotSupported);
    EXPECT_EQ(IMG_decompress_bitmap_mem_sized(nullptr, 0, 0), kNotSupported);
}

TEST(Load, FromAnOffsetFromMemoryAndWithAPageThatNothingHas)
{
    const std::string path = data_path("bmp/im_8.bmp");
    const Picture expected = load_picture(path);
    std::vector<u8> file = read_file(path);
    i16 handle = IMG_decompress_bitmap_mem(file.data(), 0);
    expect_same(picture_of(handle), expected, "block of unknown size");
    IMG_delete_bitmap(handle);
    expect_same(load_picture(file, 3), expected, "page of a format without pages");
    expect_same(load_picture(file, -1), expected, "negative page");
    file.insert(file.begin(), 77, u8{0});
    write_file(temp_path("shifted"), file);
    const int shifted = platform::_lopen("shifted", platform::OF_READ);
    handle = IMG_decompress_bitmap_fd(shifted, 77, 0);
    platform::_lclose(shifted);
    expect_same(picture_of(handle), expected, "byte offset");
    IMG_delete_bitmap(handle);
    const auto* info = static_cast<const ExtraInfo*>(IMG_get_extra_info());
    EXPECT_EQ(info->format, ORV_FORMAT_BMP);
    EXPECT_EQ(info->y_resolution, 0);
    extra_info.y_resolution = 200;
    EXPECT_EQ(static_cast<ExtraInfo*>(IMG_get_extra_info())->stored_y_resolution, 200);
    extra_info.stored_y_resolution = 100;
    EXPECT_EQ(static_cast<ExtraInfo*>(IMG_get_extra_info())->stored_y_resolution, 100);
}

TEST(Load, ResultsAreTheHandleTheCodeOrTheCallbacksRefusal)
{
    std::vector<u8> file = read_file(data_path("bmp/im_1.bmp"));
    const u32 size = static_cast<u32>(file.size());
    EXPECT_EQ(IMG_decompress_bitmap_mem_sized(file.data(), 3, 0), kBadData);
    EXPECT_EQ(current_handle, kBadData);
    StreamCheck check;
    EXPECT_EQ(IMGLOW_decompress_bitmap_mem_sized(file.data(), size, 0, check_row, &check, check_header), 0)
        << "success repeats nothing of the last load";
    EXPECT_EQ(check.rows, 29);
    const auto refuse = [](ImageHeader*, void*) { return i16{-77}; };
    EXPECT_EQ(IMGLOW_decompress_bitmap_mem_sized(file.data(), size, 0, check_row, &check, refuse), -77);
    const int handle = IMG_decompress_bitmap_mem_sized(file.data(), size, 0);
    EXPECT_EQ(handle, 0) << "failed loads take no slot";
    IMG_delete_bitmap(handle);
}

TEST(Load, MemoryOfUnknownSizeIsReadNoFurtherThanTheFile)
{
    // Behind each block's last byte a sanitizer watches.
    int whole = 0;
    for (const char* folder : {"bmp", "pcx", "dcx", "tga", "tiff", "gif", "wmf", "pict", "wpg"}) {
        for (const std::string& path : fixtures(folder)) {
            SCOPED_TRACE(path);
            const std::vector<u8> file = read_file(path);
            const i16 sized = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
            OrvLoadReport report = {sizeof report, 0, 0, 0, 0, {}};
            EXPECT_EQ(orv_load_report(&report), 0);
            // The palette of an 8-bit PCX is sought from the end, and one WPG chain ends with the file.
            const bool needs_end = sized < 0 ||
                                   (path.find(".pcx") != std::string::npos && picture_of(sized).bits == 8) ||
                                   path.find("palette-type2") != std::string::npos;
            if (!needs_end && report.rows_whole == report.rows) {
                auto block = std::make_unique<u8[]>(file.size());
                std::copy(file.begin(), file.end(), block.get());
                const i16 unsized = IMG_decompress_bitmap_mem(block.get(), 0);
                expect_same(picture_of(unsized), picture_of(sized), "without a size");
                IMG_delete_bitmap(unsized);
                ++whole;
            }
            IMG_delete_bitmap(sized);
        }
    }
    EXPECT_GT(whole, 100);
}

TEST(Load, TellsWhatItCouldNotRead)
{
    std::vector<u8> file = read_file(data_path("bmp/im_24.bmp"));
    const auto load = [&](usize size) {
        OrvLoadReport report = {sizeof report, 9, 9, 9, 9, {}};
        IMG_delete_bitmap(IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(size), 0));
        EXPECT_EQ(orv_load_report(&report), 0);
        return report;
    };
    const OrvLoadReport whole = load(file.size());
    EXPECT_EQ(whole.rows_whole, whole.rows);
    EXPECT_STREQ(whole.reason, "");
    const OrvLoadReport cut = load(file.size() - 200);
    EXPECT_EQ(cut.rows, whole.rows);
    EXPECT_GT(cut.rows_repaired, 0);
    EXPECT_EQ(cut.rows_whole + cut.rows_repaired + cut.rows_missing, cut.rows);
    EXPECT_STREQ(cut.reason, "the data ends early");
    EXPECT_EQ(load(54).rows_missing, whole.rows) << "a header alone";
    EXPECT_EQ(load(10).rows, 0) << "a failed load has no rows";
    std::vector<u8> runs = read_file(data_path("bmp/im_rle8.bmp"));
    runs.resize(runs.size() / 2);
    file = runs;
    EXPECT_GT(load(file.size()).rows_missing, 0);
    // The pixels of a run-length file beyond every file: no rows, and still run-length.
    file[13] = 0x80;
    const OrvLoadReport none = load(file.size());
    EXPECT_EQ(none.rows_missing, none.rows);
    EXPECT_EQ(static_cast<ExtraInfo*>(IMG_get_extra_info())->format, ORV_FORMAT_BMP_RLE);
    // A picture that can't be reached leaves nothing of the load before it.
    const int stream = platform::_lopen(data_path("pcx/mono-netpbm.pcx").c_str(), platform::OF_READ);
    IMG_delete_bitmap(IMG_decompress_bitmap_fd(stream, 0, 0));
    EXPECT_EQ(IMG_decompress_bitmap_fd(stream, 0x80000000, 0), kNotSupported);
    EXPECT_EQ(static_cast<ExtraInfo*>(IMG_get_extra_info())->format, 0);
    platform::_lclose(stream);
    OrvLoadReport small = {8, 9, 9, 9, 9, {}};
    EXPECT_EQ(orv_load_report(&small), 0);
    EXPECT_EQ(small.rows_whole, 9) << "no more than its size is written";
    small.size = 4;
    EXPECT_EQ(orv_load_report(&small), kBadData);
}

TEST(Load, PagesAndPixelsForViewers)
{
    const struct {
        const char* file;
        int pages;
    } cases[] = {{"dcx/mono-gray-palette-magick.dcx", 3}, {"tiff/rgb.tif", 1}, {"bmp/im_1.bmp", 1}};
    for (const auto& c : cases) {
        const std::vector<u8> file = read_file(data_path(c.file));
        EXPECT_EQ(orv_page_count_mem(file.data(), static_cast<u32>(file.size())), c.pages) << c.file;
    }
    EXPECT_EQ(orv_page_count_mem("nothing", 7), kNotSupported);
    EXPECT_EQ(orv_version(), ORV_VERSION);
    for (const int bits : {1, 4, 8, 24}) {
        const int handle = make_image(13, 3, bits, 4);
        std::vector<u8> rgba(60 * 3, 0xEE);
        EXPECT_EQ(orv_to_rgba(handle, rgba.data(), 60), 0);
        std::vector<u32> pixels;
        for (usize i = 0; i < 13 * 3; ++i) {
            const u8* p = &rgba[i / 13 * 60 + i % 13 * 4];
            pixels.push_back(u32{p[0]} << 16 | u32{p[1]} << 8 | p[2]);
            EXPECT_EQ(p[3], 255);
        }
        EXPECT_EQ(pixels, picture_of(handle).pixels) << bits;
        EXPECT_EQ(rgba[53], 0xEE) << "nothing between rows";
        EXPECT_EQ(orv_to_rgba(handle, rgba.data(), 51), kBadData);
        IMG_delete_bitmap(handle);
    }
}

TEST(Load, TheFramesSinkBoundsEveryRow)
{
    const int handle = make_image(5, 6, 8, 3);
    const std::vector<u8> before = raw_rows(handle);
    current_handle = static_cast<i16>(handle);
    IMG_get_dib_intern(handle)->dib = nullptr;
    const std::vector<u8> row(100, 0xEE);
    frame_row_sink(row.data(), nullptr, 0, 100);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    IMG_get_dib_intern(handle)->dib = platform::GlobalLock(record.dib_block);
    for (const i16 outside : std::initializer_list<i16>{-1, 6, 32767, -32768}) {
        frame_row_sink(row.data(), nullptr, outside, 8);
    }
    frame_row_sink(row.data(), nullptr, 2, -1);
    EXPECT_EQ(raw_rows(handle), before);
    frame_row_sink(row.data(), nullptr, 1, 100);
    std::vector<u8> after = before;
    std::fill_n(after.begin() + 4 * 8, 8, u8{0xEE});
    EXPECT_EQ(raw_rows(handle), after);
    platform::GlobalUnlock(record.dib_block);
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
