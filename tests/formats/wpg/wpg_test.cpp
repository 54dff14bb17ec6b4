#include <numeric>
#include <random>

#include "formats/interchange/wpg_runs.h"
#include "orvimg32/extra.h"
#include "tests/formats/bitmap/job.h"

namespace orv::test
{
namespace
{

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

const Bytes kHead = {0xFF, 'W', 'P', 'C', 99, 0, 0, 0, 1, 0x16, 1, 0, 0, 0, 0, 0};
const Bytes kEnd = {0x10, 0};

// A bitmap of type 1 in a record of its own.
Bytes bitmap(u8 width, u8 height, u8 depth, const Bytes& code)
{
    const u8 length = static_cast<u8>(10 + code.size());
    return joined({{0x0B, length, width, 0, height, 0, depth, 0, 75, 0, 75, 0}, code});
}

// The rows of a bitmap of 8 bits, the top one first, and how many of them the load report calls whole.
std::pair<Bytes, int> rows_of(u8 width, u8 height, const Bytes& code)
{
    const i16 handle = load(joined({kHead, bitmap(width, height, 8, code)}));
    const int stride = (width + 3) & ~3;
    const Bytes stored = raw_rows(handle);
    IMG_delete_bitmap(handle);
    Bytes rows;
    for (auto row = stored.end(); row != stored.begin(); row -= stride) {
        rows.insert(rows.end(), row - stride, row - stride + width);
    }
    OrvLoadReport report = {
        .size = sizeof report, .rows = 0, .rows_whole = 0, .rows_repaired = 0, .rows_missing = 0, .reason = ""};
    orv_load_report(&report);
    return {rows, report.rows_whole};
}

TEST(WpgRead, RowCodes)
{
    using Rows = std::pair<Bytes, int>;
    EXPECT_EQ(rows_of(5, 2, {0x82, 7, 3, 1, 2, 3, 0x80, 3, 2, 8, 9}),
              (Rows{{7, 7, 1, 2, 3, 255, 255, 255, 8, 9}, 2}));
    EXPECT_EQ(rows_of(2, 5, {2, 1, 2, 0, 2, 0x82, 6, 0, 9}), (Rows{{1, 2, 1, 2, 1, 2, 6, 6, 6, 6}, 5}))
        << "a repeat stops with the picture";
    EXPECT_EQ(rows_of(2, 4, {2, 1, 2, 0, 0, 2, 3, 4}), (Rows{{1, 2, 1, 2, 1, 2, 1, 2}, 4}))
        << "none means all that are left";
    EXPECT_EQ(rows_of(3, 3, {3, 1, 2, 3, 1, 9, 0, 1, 0x83, 4}), (Rows{{1, 2, 3, 9, 2, 3, 4, 4, 4}, 2}))
        << "a repeat within a row gives it as far as it got";
    EXPECT_EQ(rows_of(2, 3, {0, 1, 0x85, 5, 2, 1, 2}), (Rows{{0, 0, 5, 5, 1, 2}, 1}))
        << "nothing to repeat; a run loses its surplus";
    EXPECT_EQ(rows_of(2, 3, {0x82, 1, 0x80, 0, 1, 2}), (Rows{{1, 1, 0, 0, 0, 0}, 1})) << "the data ends";
    EXPECT_EQ(rows_of(2, 2, {0x82, 1, 2, 3}), (Rows{{1, 1, 0, 0}, 1})) << "within a literal";
}

TEST(WpgRead, RecordsAndRefusals)
{
    const Bytes one = bitmap(1, 1, 8, {1, 1});
    const Bytes map = {0x0E, 10, 0, 0, 2, 0, 9, 9, 9, 0x12, 0x34, 0x56};
    auto colour = [](const Bytes& file) { return load_picture(file).pixels; };
    EXPECT_EQ(colour(joined({kHead, one, kEnd})), std::vector<u32>{0x010101});
    EXPECT_EQ(colour(joined({kHead, one, map, {0x0E, 4, 0, 0, 0, 0}, {0x0C, 0xFF, 2, 0, 1, 1}, kEnd})),
              std::vector<u32>{0x123456});
    EXPECT_EQ(colour(joined({kHead, bitmap(1, 1, 1, {1, 0}), map})), std::vector<u32>{0});
    // More entries than any picture has.
    Bytes long_map = joined({{0x0E, 0xFF, 1, 0x80, 0x88, 0x13}, Bytes(65536 + 5000, 0x77)});
    EXPECT_EQ(colour(joined({kHead, long_map, one})), std::vector<u32>{0x777777});
    // A bitmap in a record that reaches further than any file is the last one.
    Bytes far = joined({kHead, {0x0B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 1, 0, 8, 0, 75, 0, 75, 0, 1, 3}});
    EXPECT_EQ(colour(far), std::vector<u32>{0x030303});

    const std::pair<Bytes, i16> refused[] = {
        {kHead, kUnreadable},
        {joined({kHead, kEnd, one}), kUnreadable},
        {joined({kHead, {0x0B}}), kUnreadable},
        {joined({kHead, {0x0B, 10}}), kBadData},  // sizes of zero
        {joined({kHead, bitmap(1, 1, 0, {})}), kBadData},
        {joined({kHead, bitmap(1, 1, 2, {})}), kNotSupported},
        {joined({kHead, {0x0B, 10, 0, 0x80, 1, 0, 8, 0, 0, 0, 0, 0}}), kBadData},  // a negative width
    };
    for (const auto& [file, result] : refused) {
        EXPECT_EQ(check_load(file).loaded, result) << file.size() << " bytes";
    }
    // Memory of unknown size is read no further than its records: the sanitizers see to that.
    std::vector<u8> exact = joined({kHead, one, kEnd});
    exact.shrink_to_fit();
    const i16 handle = IMG_decompress_bitmap_mem(exact.data(), 0);
    EXPECT_GE(handle, 0);
    IMG_delete_bitmap(handle);
}

TEST(WpgWrite, EveryByteOfASmallFile)
{
    reset_jobs();
    const int handle = make_image(5, 2, 4, 1);
    set_palette(handle, {1, 0x020304});
    ImageRecord& record = *handle_record(handle);
    u8* const rows = image_pixels(image_lock(record));
    const u8 pixels[16] = {0x11, 0x11, 0x20, 0x20, 0, 0, 0, 0, 0x12, 0x34, 0x50, 0x50};
    std::memcpy(rows, pixels, 6);
    std::memcpy(rows + 4, pixels + 8, 4);
    image_unlock(record);
    Bytes file = saved(handle, ORV_FORMAT_WPG);
    std::fill(file.begin() + 45, file.begin() + 87, u8{0});  // colours 2 to 15
    EXPECT_EQ(file, joined({{0xFF, 'W', 'P', 'C', 16, 0, 0, 0, 1, 0x16, 1, 0, 0, 0, 0, 0},
                            {0x0F, 6, 1, 0, 0x80, 0x25, 0x90, 0x33, 0x19, 5, 0, 2, 0, 0x0F, 0},
                            {0x0E, 0xFF, 52, 0, 0, 0, 16, 0, 0, 0, 1, 2, 3, 4},
                            Bytes(42),
                            {0x14, 0xFF, 0, 0x80, 28, 0, 0, 0, 0, 0, 0, 0, 80, 0, 32, 0, 5, 0, 2, 0, 4, 0},
                            {0x80, 0x25, 0x90, 0x33, 3, 0x12, 0x34, 0x50, 0x82, 0x11, 1, 0x20, 0x10, 0}}));
    IMG_delete_bitmap(handle);
    const int deep = make_image(5, 41, 24, 1);
    EXPECT_EQ(save_reporting(deep, temp_path("deep.wpg"), ORV_FORMAT_WPG, 1), std::vector<int>{kNotSupported});
    IMG_delete_bitmap(deep);
    const int flat = make_image(5, 1, 8, 1);
    EXPECT_EQ(save_reporting(flat, temp_path("flat.wpg"), ORV_FORMAT_WPG, 1),
              (std::vector<int>{1, 5, 6, 11, 15, 90, 100, 0}));
    IMG_delete_bitmap(flat);
}

TEST(WpgWrite, BehindOtherBytesOfAStream)
{
    const int handle = make_image(300, 9, 8, 1);
    const Picture picture = picture_of(handle);
    Bytes block(100000);
    memory_stream_open(block.data());
    stream_seek(MEMORY_STREAM, 1000, kFromStart);
    EXPECT_EQ(IMG_save_bitmap_fd(handle, MEMORY_STREAM, ORV_FORMAT_WPG), 0);
    IMG_delete_bitmap(handle);
    EXPECT_EQ(std::count(block.begin(), block.begin() + 1000, 0), 1000);
    block.erase(block.begin(), block.begin() + 1000);
    expect_same(load_picture(block), picture, "patched where it stands");
}

// Bytes that repeat now and then, some of them for long.
Bytes runny_bytes(usize count, std::mt19937& random)
{
    Bytes bytes;
    while (bytes.size() < count) {
        const u32 chance = random() % 32;
        const usize run = chance < 20 ? 1 : chance < 28 ? 2 + random() % 6 : random() % 300;
        bytes.resize(bytes.size() + run, static_cast<u8>(random()));
    }
    bytes.resize(count);
    return bytes;
}

TEST(WpgRuns, FastAsPlain)
{
    std::mt19937 random(1);
    for (u32 n = 0; n < 600; ++n) {
        const u32 count = n < 200 ? n + 1 : n * 5;
        const Bytes row = runny_bytes(count, random);
        Bytes fast(wpg_code_room(count));
        Bytes code(wpg_code_room(count));
        code.resize(wpg_code_row_plain(row.data(), count, code.data()));
        fast.resize(wpg_code_row(row.data(), count, fast.data()));
        ASSERT_EQ(fast, code) << count;
        // Decoded in rows that split runs, with some codes changed.
        for (u32 k = 0; k < n % 4; ++k) {
            code[random() % code.size()] = static_cast<u8>(random() % 3 == 0 ? random() & 0x80 : random());
        }
        const u32 size = static_cast<u32>(code.size());
        ChunkReader a = {-1, code.data(), 0, size, true, false};
        ChunkReader b = a;
        const u32 length = 1 + static_cast<u32>(random() % 500);
        Bytes row_a(length + kWpgRowSlack);
        Bytes row_b(length + kWpgRowSlack);
        for (WpgStop stop = WpgStop::RowFull; stop != WpgStop::DataEnded;) {
            u32 fill_a = 0, fill_b = 0, repeat_a = 0, repeat_b = 0;
            stop = wpg_decode_codes(a, row_a.data(), length, fill_a, repeat_a);
            ASSERT_EQ(wpg_decode_codes_plain(b, row_b.data(), length, fill_b, repeat_b), stop);
            ASSERT_TRUE(fill_a == fill_b && repeat_a == repeat_b && a.pos == b.pos);
            ASSERT_TRUE(std::equal(row_a.begin(), row_a.begin() + fill_a, row_b.begin())) << n;
        }
    }
    // As far as a run and a literal go, and some more.
    Bytes row(428, 7);
    std::iota(row.begin() + 300, row.end(), u8{0});
    Bytes code(1000);
    code.resize(wpg_code_row(row.data(), 428, code.data()));
    EXPECT_EQ(Bytes(code.begin(), code.begin() + 7), (Bytes{0xFF, 7, 0xFF, 7, 0xAE, 7, 127}));
    EXPECT_EQ(Bytes(code.begin() + 134, code.end()), (Bytes{1, 127}));
}

}  // namespace
}  // namespace orv::test
