// What stands in the files that are written: directories, codes, pages, and what becomes of old files.
#include <random>

#include "formats/tiff/lzw_codes.h"
#include "frame/bytes.h"
#include "frame/handles.h"
#include "platform/files.h"
#include "platform/testing.h"
#include "tests/formats/tiff/tiff_save.h"

namespace orv::test
{
namespace
{

constexpr i16 kFormats[] = {ORV_FORMAT_TIFF, ORV_FORMAT_TIFF_HUFFMAN, ORV_FORMAT_TIFF_T4, ORV_FORMAT_TIFF_LZW,
                            ORV_FORMAT_TIFF_T6};

u32 field_of(const Bytes& file, u32 directory, u32 tag)
{
    for (u32 i = 0; i < load_le16(&file[directory]); ++i) {
        const u8* const entry = &file[directory + 2 + 12 * i];
        if (load_le16(entry) == tag) {
            return load_le32(entry + 8);
        }
    }
    ADD_FAILURE() << "no tag " << tag;
    return 0;
}

struct Entry {
    u32 tag, type, count, value;
};

void expect_entries(const Bytes& file, const std::vector<Entry>& entries)
{
    ASSERT_EQ(load_le16(&file[8]), entries.size());
    for (usize i = 0; i < entries.size(); ++i) {
        const u8* const at = &file[10 + 12 * i];
        EXPECT_EQ(load_le16(at), entries[i].tag);
        EXPECT_EQ(load_le16(at + 2), entries[i].type) << entries[i].tag;
        EXPECT_EQ(load_le32(at + 4), entries[i].count) << entries[i].tag;
        EXPECT_EQ(load_le32(at + 8), entries[i].value) << entries[i].tag;
    }
}

TEST(TiffWrite, Directory)
{
    reset_jobs();
    IMGLOW_set_bitmap_name("the name", "1-2-1993");
    save_page_total = 5;
    save_page_counter = 2;
    int handle = make_image(300, 100, 8, 1);
    set_resolution(handle, 300, 0);
    // 20 entries: resolutions at 254, map at 270, texts at 1806 and 1846, data at 2046. Four strips of 33 rows.
    Bytes file = saved(handle, ORV_FORMAT_TIFF_LZW);
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 8), (Bytes{'I', 'I', 42, 0, 8, 0, 0, 0}));
    expect_entries(file, {{254, 4, 1, 0},   {256, 3, 1, 300},     {257, 3, 1, 100},  {258, 3, 1, 8},
                          {259, 3, 1, 5},   {262, 3, 1, 3},       {266, 3, 1, 1},    {273, 4, 4, 2046},
                          {274, 3, 1, 1},   {277, 3, 1, 1},       {278, 3, 1, 33},   {279, 4, 4, 2062},
                          {282, 5, 1, 254}, {283, 5, 1, 262},     {284, 3, 1, 1},    {292, 4, 1, 4},
                          {296, 3, 1, 2},   {297, 3, 2, 0x50002}, {306, 2, 8, 1806}, {320, 3, 768, 270}});
    EXPECT_EQ(load_le32(&file[250]), 0u);
    for (u32 i = 0; const u32 number : {640u, 9u, 480u, 7u}) {
        EXPECT_EQ(load_le32(&file[254 + 4 * i++]), number);
    }
    const RGBQUAD colour = image_lock(*handle_record(handle))->palette[3];
    image_unlock(*handle_record(handle));
    EXPECT_EQ(load_le16(&file[270 + 6]), colour.rgbRed * 256);
    EXPECT_EQ(load_le16(&file[270 + 1024 + 6]), colour.rgbBlue * 256);
    EXPECT_STREQ(reinterpret_cast<const char*>(&file[1806]), "1-2-1993");
    EXPECT_STREQ(reinterpret_cast<const char*>(&file[1846]), "the name");
    u32 position = 2046 + 32;
    for (u32 strip = 0; strip < 4; ++strip) {
        EXPECT_EQ(load_le32(&file[2046 + 4 * strip]), position);
        position += load_le32(&file[2062 + 4 * strip]);
    }
    EXPECT_EQ(position, file.size());
    IMG_delete_bitmap(handle);

    reset_jobs();
    handle = make_image(5, 2, 24, 1);
    set_resolution(handle, 72, 73);
    file = saved(handle, ORV_FORMAT_TIFF);
    EXPECT_EQ(file.size(), 8u + 496 + 30);
    expect_entries(file, {{254, 4, 1, 0},
                          {256, 3, 1, 5},
                          {257, 3, 1, 2},
                          {258, 3, 3, 258},
                          {259, 3, 1, 1},
                          {262, 3, 1, 2},
                          {266, 3, 1, 1},
                          {273, 4, 1, 504},
                          {274, 3, 1, 1},
                          {277, 3, 1, 3},
                          {278, 3, 1, 2},
                          {279, 4, 1, 30},
                          {282, 5, 1, 242},
                          {283, 5, 1, 250},
                          {284, 3, 1, 1},
                          {292, 4, 1, 4},
                          {296, 3, 1, 2},
                          {297, 3, 2, 0x10000},
                          {306, 2, 8, 264}});
    EXPECT_EQ(load_le32(&file[242]), 72u);
    EXPECT_EQ(load_le32(&file[250]), 73u);
    EXPECT_EQ(load_le16(&file[262]), 8);
    IMG_delete_bitmap(handle);
    IMGLOW_set_bitmap_name("", "11-24-1992");
}

// Three lines of eight pixels: white; black; one black pixel.
TEST(TiffWrite, CodesOfASmallPage)
{
    reset_jobs();
    u8 rows[12] = {0xBF, 0, 0, 0, 0x00, 0, 0, 0, 0xFF, 0, 0, 0};
    ImageHeader header = {};
    header.info = {.biSize = 40,
                   .biWidth = 8,
                   .biHeight = 3,
                   .biPlanes = 1,
                   .biBitCount = 1,
                   .biCompression = 0,
                   .biSizeImage = 0,
                   .biXPelsPerMeter = 204,
                   .biYPelsPerMeter = 196,
                   .biClrUsed = 0,
                   .biClrImportant = 0};
    const auto source = [](void* user, void* to, i16 row, i16 length) {
        std::memcpy(to, static_cast<u8*>(user) + row * 4, static_cast<usize>(length));
    };
    const auto data_of = [&](i16 format, i32 width, i32 fine, i32 rtc, i32 y_resolution) {
        save_fine_resolution = fine;
        save_write_rtc = rtc;
        header.info.biWidth = width;
        header.info.biYPelsPerMeter = y_resolution;
        Bytes block(2000);
        u32 written = 0;
        EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(block.data(), 2000, &header, format, source, rows, &written), 0);
        EXPECT_EQ(field_of(block, 8, 279), written - 498);
        return Bytes(block.begin() + 498, block.begin() + written);
    };
    // White 8 is 10011. White 0 and black 8: 00110101 000101. White 1, black 1, white 6: 000111 010 1110.
    EXPECT_EQ(data_of(ORV_FORMAT_TIFF_HUFFMAN, 8, 1, 0, 196), (Bytes{0x98, 0x35, 0x14, 0x1D, 0x70}));
    const Bytes rtc = {0x00, 0x08, 0x80, 0x00, 0x08, 0x80, 0x00, 0x08, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(data_of(ORV_FORMAT_TIFF_HUFFMAN, 8, 0, 1, 98).size(), 5 + rtc.size());
    // V0 | H, white 0, black 8 | VR1, H, black 1, white 6 | EOLs, as far as they fill words; mirrored
    // 1 | 001 00110101 000101 | 011 001 010 1110 | 000000000001 000000000001 000000000
    EXPECT_EQ(data_of(ORV_FORMAT_TIFF_T6, 8, 1, 0, 196),
              (Bytes{0xC9, 0x8A, 0x9A, 0x3A, 0x00, 0x04, 0x40, 0x00}));
    // The first EOL and its fill, then white 1728: 010011011 00110101 and an EOL in a word of its own.
    std::fill(std::begin(rows), std::end(rows), 0xFF);
    const Bytes line = {0xB2, 0x59, 0x01, 0x00, 0x00, 0x80};
    Bytes page = {0, 0, 0, 0x80};
    for (int i = 0; i < 3; ++i) {
        page.insert(page.end(), line.begin(), line.end());
    }
    EXPECT_EQ(data_of(ORV_FORMAT_TIFF_T4, 8, 1, 0, 196), page);
    page.insert(page.end(), rtc.begin(), rtc.end());
    EXPECT_EQ(data_of(ORV_FORMAT_TIFF_T4, 8, 1, 1, 196), page);
}

struct FaxCase {
    int width, height, y_resolution, fine;
    int stated_height, stated_resolution, step, copies;
};

// The bit of a picture's row, counted from the top.
int pixel_of(const Bytes& rows, int height, int stride, int x, int y)
{
    return rows[static_cast<usize>((height - 1 - y) * stride + x / 8)] >> (7 - x % 8) & 1;
}

TEST(TiffWrite, FaxResolutions)
{
    const FaxCase cases[] = {
        {1000, 8, 196, 1, 8, 196, 1, 1}, {2000, 7, 196, 0, 3, 98, 2, 1}, {1728, 5, 98, 1, 10, 196, 1, 2},
        {100, 5, 98, 0, 5, 98, 1, 1},    {50, 9, 300, 0, 2, 75, 4, 1},   {50, 9, 300, 1, 4, 150, 2, 1},
        {9, 1, 300, 0, 1, 75, 4, 1},     {9, 3, 0, 7, 6, 0, 1, 2},
    };
    for (const FaxCase& test : cases) {
        SCOPED_TRACE(testing::Message() << test.width << " by " << test.height << ", " << test.y_resolution);
        reset_jobs();
        save_fine_resolution = test.fine;
        const int handle = make_image(test.width, test.height, 1, 5);
        set_resolution(handle, 204, test.y_resolution);
        const Bytes file = saved(handle, ORV_FORMAT_TIFF_T4);
        EXPECT_EQ(field_of(file, 8, 256), 1728u);
        EXPECT_EQ(field_of(file, 8, 257), static_cast<u32>(test.stated_height));
        const u32 resolution = load_le32(&file[field_of(file, 8, 283)]);
        EXPECT_EQ(resolution, test.y_resolution == 0 ? 480u : static_cast<u32>(test.stated_resolution));
        const i16 back = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
        ASSERT_GE(back, 0);
        const Bytes rows = raw_rows(back);
        const Bytes own = raw_rows(handle);
        const int height = IMG_get_dib_intern(back)->image_height;
        const int doubled = height / test.stated_height;
        for (int y = 0; y < height; ++y) {
            const int source = y / doubled / test.copies * test.step;
            for (int x = 0; x < 1728; ++x) {
                const int stride = IMG_get_dib_intern(handle)->row_stride;
                const int wanted = x < test.width ? pixel_of(own, test.height, stride, x, source) : 1;
                ASSERT_EQ(pixel_of(rows, height, 216, x, y), wanted) << "row " << y << ", pixel " << x;
            }
        }
        IMG_delete_bitmap(back);
        IMG_delete_bitmap(handle);
    }
}

// Decodes a strip by the plain rules: every code is looked at, and so is the end.
Bytes plain_lzw(std::span<const u8> data)
{
    Bytes out;
    std::vector<Bytes> table;
    Bytes previous;
    usize bit = 0;
    for (u32 size = 9;;) {
        u32 code = 0;
        for (u32 i = 0; i < size; ++i, ++bit) {
            code = code << 1 | (bit / 8 < data.size() && (data[bit / 8] >> (7 - bit % 8) & 1));
        }
        if (code == kLzwEnd) {
            EXPECT_EQ((bit + 7) / 8, data.size());
            return out;
        }
        if (code == kLzwClear) {
            table.assign(kLzwFirstFree, {});
            for (u32 i = 0; i < 256; ++i) {
                table[i] = {static_cast<u8>(i)};
            }
            previous.clear();
            size = 9;
            continue;
        }
        if (bit > data.size() * 8 || code > table.size() || (code == table.size() && previous.empty())) {
            ADD_FAILURE() << "code " << code << " at bit " << bit;
            return out;
        }
        Bytes grown = previous;
        grown.push_back(code < table.size() ? table[code][0] : previous[0]);
        if (!previous.empty()) {
            table.push_back(grown);
        }
        previous = table[code];
        out.insert(out.end(), previous.begin(), previous.end());
        EXPECT_LT(table.size(), 4081u);
        size = table.size() >= 2047 ? 12 : table.size() >= 1023 ? 11 : table.size() >= 511 ? 10 : 9;
    }
}

// Strips of every length around the changes of code size and the Clear: noise, one byte, and runs of several.
TEST(TiffWrite, LzwStrips)
{
    reset_jobs();
    for (const int width :
         {1, 2, 253, 254, 255, 256, 766, 767, 768, 1790, 1791, 3820, 3821, 3822, 3823, 3824, 9000}) {
        for (const char kind : {'n', 'b', 'r'}) {
            const bool noise = kind == 'n';
            const int handle = make_image(width, noise ? 1 : 3, 8, static_cast<unsigned>(width));
            ImageRecord& record = *handle_record(handle);
            u8* const pixels = image_pixels(image_lock(record));
            for (int i = 0; i < width && noise; ++i) {
                pixels[i] = static_cast<u8>(i * i / 7 + i % 253 * 3);  // few pairs come twice
            }
            if (!noise) {
                std::memset(pixels, 7, static_cast<usize>(record.row_stride * 3));
            }
            std::minstd_rand random(5);
            for (i32 i = 0, run = 0; i < record.row_stride * 3 && kind == 'r'; ++i, --run) {
                run = run == 0 ? 1 + static_cast<i32>(random() % 90) : run;
                pixels[i] = run == 1 ? static_cast<u8>(random() % 3) : pixels[i - (i > 0 ? 1 : 0)];
            }
            Bytes rows;  // top first
            for (i32 row = noise ? 0 : 2; row >= 0; --row) {
                const u8* const from = pixels + row * record.row_stride;
                rows.insert(rows.end(), from, from + width);
            }
            image_unlock(record);
            const Bytes file = saved(handle, ORV_FORMAT_TIFF_LZW);
            const u32 strip_rows = field_of(file, 8, 278);
            const u32 table = field_of(file, 8, 279);
            const bool one = strip_rows == (noise ? 1u : 3u);
            const u32 start = one ? field_of(file, 8, 273) : load_le32(&file[field_of(file, 8, 273)]);
            const u32 bytes = one ? table : load_le32(&file[table]);
            const Bytes plain = plain_lzw(std::span(file).subspan(start, bytes));
            ASSERT_EQ(plain.size(), static_cast<usize>(width) * strip_rows) << width;
            EXPECT_TRUE(std::equal(plain.begin(), plain.end(), rows.begin())) << width;
            IMG_delete_bitmap(handle);
        }
    }
}

// Strips of an image are coded several at a time, those of a caller's rows one by one.
TEST(TiffWrite, LzwStripsAreTheSameFromAnImageAndFromACaller)
{
    reset_jobs();
    struct Rows {
        const u8* bottom;
        i32 stride;
    };
    const auto source = [](void* rows, void* to, i16 row, i16 length) {
        const Rows& from = *static_cast<const Rows*>(rows);
        std::memcpy(to, from.bottom + row * from.stride, static_cast<usize>(length));
    };
    std::minstd_rand random(11);
    for (const int width : {131, 700, 1111, 4000}) {
        const int handle = make_image(width, 90, 24, static_cast<unsigned>(width));
        ImageRecord& record = *handle_record(handle);
        u8* const pixels = image_pixels(image_lock(record));
        for (i32 i = 0; i < record.row_stride * 90; ++i) {  // noise, then steps, then runs, then all by turns
            const u32 part = static_cast<u32>(i) / 60000 % 4;
            const u8 before = pixels[i > 2 ? i - 3 : 0];
            const u32 chance = part == 2 ? 200 : 20;
            const u32 step = part == 0 ? 256 : part == 1 ? 4 : static_cast<u32>(random()) % chance / 19 * 3 + 1;
            pixels[i] = static_cast<u8>(before + random() % step);
        }
        ImageHeader header = {};
        header.info = {};
        header.info.biSize = 40;
        header.info.biWidth = width;
        header.info.biHeight = 90;
        header.info.biPlanes = 1;
        header.info.biBitCount = 24;
        Rows rows = {pixels, record.row_stride};
        Bytes file(2000000);
        u32 written = 0;
        EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(file.data(), 2000000, &header, ORV_FORMAT_TIFF_LZW, source,
                                               &rows, &written),
                  0);
        file.resize(written);
        image_unlock(record);
        EXPECT_TRUE(saved(handle, ORV_FORMAT_TIFF_LZW) == file) << width;
        IMG_delete_bitmap(handle);
    }
}

TEST(TiffWrite, PagesAreAdded)
{
    reset_jobs();
    const std::string path = temp_path("added.tif");
    std::vector<Bytes> pages;
    usize size = 0;
    for (int n = 0; n < 9; ++n) {
        const i16 format = n % 4 == 3 ? kFormats[0] : kFormats[n % 4 == 2 ? 4 : n % 4];
        const int handle = make_image(1728, 4 + n, format == ORV_FORMAT_TIFF ? 24 - 16 * (n % 2) : 1, 3);
        set_resolution(handle, 204, 196);
        pages.push_back(raw_rows(handle));
        ASSERT_EQ(save(handle, path, format, 9, 1), 0);
        IMG_delete_bitmap(handle);
        const Bytes file = read_file(path);
        EXPECT_EQ(count_pages(path), n + 1);
        EXPECT_EQ(field_of(file, n == 0 ? 8 : static_cast<u32>(size), 297), 9u << 16 | static_cast<u32>(n));
        size = file.size();
    }
    EXPECT_EQ(save_page_counter, 0);
    const Bytes file = read_file(path);
    for (int n = 0; n < 9; ++n) {
        const i16 handle =
            IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), static_cast<i16>(n));
        ASSERT_GE(handle, 0);
        EXPECT_EQ(raw_rows(handle), pages[static_cast<usize>(n)]) << n;
        IMG_delete_bitmap(handle);
    }
}

TEST(TiffWrite, TargetsThatTakeNoPageStayAsTheyAre)
{
    reset_jobs();
    const int handle = make_image(20, 9, 1, 3);
    const std::string path = temp_path("target.tif");
    const Bytes two = [&] {
        EXPECT_TRUE(save(handle, path, ORV_FORMAT_TIFF) == 0 && save(handle, path, ORV_FORMAT_TIFF_T6) == 0);
        return read_file(path);
    }();
    Bytes loop = two;
    const u32 second = load_le32(&two[8 + 2 + 12 * 19]);
    loop[second + 2 + 12 * 19] = 8;
    Bytes outside = two;
    outside[second + 2 + 12 * 19 + 2] = 0x77;
    Bytes first_outside = two;
    first_outside[6] = 0x77;
    Bytes big_endian = two;
    big_endian[0] = big_endian[1] = 'M';
    for (const Bytes& old :
         {loop, outside, first_outside, big_endian, Bytes{'I', 'I', 42, 0, 8, 0, 0}, Bytes{'x'}}) {
        for (const i16 format : kFormats) {
            write_file(path, old);
            EXPECT_EQ(save(handle, path, format), kBadData);
            EXPECT_EQ(read_file(path), old);
        }
    }
    write_file(path, two);
    EXPECT_EQ(save(handle, path, ORV_FORMAT_TIFF_LZW), kBadData);
    EXPECT_EQ(read_file(path), two);
    write_file(path, {});
    EXPECT_EQ(save(handle, path, ORV_FORMAT_TIFF_LZW), 0);
    EXPECT_EQ(count_pages(path), 1);
    // Depths are refused ahead of the target.
    const int deep = make_image(20, 9, 4, 3);
    for (const i16 format : {kFormats[1], kFormats[2], kFormats[4]}) {
        EXPECT_EQ(save(deep, temp_path("never.tif"), format), kNotSupported);
        reset_jobs();
        ImageHeader header = {};
        header.info = image_lock(*handle_record(deep))->info;
        image_unlock(*handle_record(deep));
        u8 block[16];
        const auto source = [](void*, void*, i16, i16) {};
        EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(block, 16, &header, format, source, nullptr, nullptr),
                  kNotSupported);
    }
    EXPECT_LT(platform::_lopen(temp_path("never.tif").c_str(), platform::OF_READ), 0);
    IMG_delete_bitmap(deep);
    IMG_delete_bitmap(handle);
}

// `start`, twenty ticks of `step` that stop at `limit`, the limit, and `end`.
std::vector<int> reports(std::vector<int> start, int step, int limit, int end)
{
    for (int tick = 0; tick < 20; ++tick) {
        start.push_back(std::min(start.back() + step, limit));
    }
    start.insert(start.end(), {limit, end});
    return start;
}

TEST(TiffWrite, Progress)
{
    reset_jobs();
    std::vector<int> percents;
    IMG_set_callback([](i16 n, void* user) { static_cast<std::vector<int>*>(user)->push_back(n); }, &percents);
    const int handle = make_image(1728, 40, 1, 1);
    const auto job = [&](i16 format, i16 total, i32 report) {
        percents.clear();
        EXPECT_EQ(save(handle, temp_path("job.tif"), format, total, report), 0);
        std::remove(temp_path("job.tif").c_str());
        return percents;
    };
    for (const i16 format : {kFormats[0], kFormats[1], kFormats[2], kFormats[4]}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(job(format, 1, 1), reports({1, 6, 11}, 4, 90, 100));
        // Half of the job, nine tenths of it: 45; then from 50 on to 50 + 45.
        EXPECT_EQ(job(format, 2, 1), reports({1, 3, 5}, 2, 45, 50));
        EXPECT_EQ(job(format, 2, 1), reports({51, 54, 57}, 2, 95, 100));
        EXPECT_EQ(save_page_counter, 0);
    }
    EXPECT_EQ(job(ORV_FORMAT_TIFF_T4, 3, 0), std::vector<int>());
    EXPECT_EQ(save_page_counter, 0);
    EXPECT_EQ(job(ORV_FORMAT_TIFF_LZW, 1, 1), (std::vector<int>{1, 6, 11, 15, 90, 100}));
    IMG_set_callback(nullptr, nullptr);
    IMG_delete_bitmap(handle);
}

// Rows as they are asked for and percents as they are told, in one sequence.
TEST(TiffWrite, RowsAreAskedForAheadOfTheProgressOfCodedLines)
{
    reset_jobs();
    static std::string events;
    IMG_set_callback([](i16 percent, void*) { events += std::to_string(percent) + " "; }, nullptr);
    ImageHeader header = {};
    header.info.biSize = 40;
    header.info.biWidth = 8;
    header.info.biHeight = 2;
    header.info.biPlanes = 1;
    header.info.biBitCount = 1;
    header.info.biYPelsPerMeter = 98;  // each line twice in T.4
    const auto source = [](void*, void* to, i16 row, i16 length) {
        events += "row" + std::to_string(row) + " ";
        std::memset(to, 0xFF, static_cast<usize>(length));
    };
    const auto told = [&](i16 format) {
        Bytes block(10000);
        u32 written = 0;
        events.clear();
        EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(block.data(), 10000, &header, format, source, nullptr, &written),
                  0);
        return events;
    };
    EXPECT_EQ(told(ORV_FORMAT_TIFF), "1 6 11 row1 15 row0 19 90 100 ");
    EXPECT_EQ(told(ORV_FORMAT_TIFF_T6), "1 6 row1 11 row0 15 19 90 100 ");
    EXPECT_EQ(told(ORV_FORMAT_TIFF_T4), "1 6 row1 11 row1 15 row0 19 row0 23 90 100 ");
    IMG_set_callback(nullptr, nullptr);
}

TEST(TiffWrite, MemoryDoesNotGrowWithTheHeight)
{
    reset_jobs();
    ImageHeader header = {};
    header.info = {.biSize = 40,
                   .biWidth = 1728,
                   .biHeight = 32767,
                   .biPlanes = 1,
                   .biBitCount = 1,
                   .biCompression = 0,
                   .biSizeImage = 0,
                   .biXPelsPerMeter = 204,
                   .biYPelsPerMeter = 196,
                   .biClrUsed = 0,
                   .biClrImportant = 0};
    const auto source = [](void*, void* to, i16 row, i16 length) {
        std::memset(to, row % 3 == 0 ? 0xF0 : 0xFF, static_cast<usize>(length));
    };
    Bytes block(30000000);
    for (const i16 format : kFormats) {
        platform::testing::reset_peak_bytes();
        u32 written = 0;
        EXPECT_EQ(
            IMGLOW_save_bitmap_mem_sized(block.data(), 30000000, &header, format, source, nullptr, &written),
            0);
        EXPECT_LT(platform::testing::peak_bytes(), 512u * 1024) << format;
    }
}

}  // namespace
}  // namespace orv::test
