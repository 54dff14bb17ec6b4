#include <random>

#include "formats/interchange/eps_hex.h"
#include "tests/formats/bitmap/job.h"

namespace orv::test
{
namespace
{

// The program of a picture as text with plain line ends.
std::string program_of(int width, int height, int bits, const std::vector<u32>& palette, const Bytes& pixels)
{
    const int handle = make_image(width, height, bits, 1);
    if (!palette.empty()) {
        set_palette(handle, palette);
    }
    ImageRecord& record = *handle_record(handle);
    std::copy(pixels.begin(), pixels.end(), image_pixels(image_lock(record)));
    image_unlock(record);
    const Bytes file = saved(handle, ORV_FORMAT_EPS);
    IMG_delete_bitmap(handle);
    std::string text;
    for (usize i = 0; i < file.size(); ++i) {
        EXPECT_EQ(file[i] == '\r', i + 1 < file.size() && file[i + 1] == '\n');
        text += file[i] == '\r' ? "" : std::string(1, static_cast<char>(file[i]));
    }
    return text;
}

std::string page_of(const std::string& first, int width_dots, int height_dots, int row_bytes)
{
    const std::string height = std::to_string(height_dots);
    return first + "\ngsave\n/inch { 72 mul } def\n/pixel { 72 mul 300 div } def\n" +
           "/imagetop { 10.75 inch 0 pixel sub } def\n/imagebottom { imagetop " + height +
           " pixel sub } def\n" + "/imageleft { 0.25 inch 0 pixel add } def\n/picstr " +
           std::to_string(row_bytes) + " string def\n" + "imageleft imagebottom translate\n" +
           std::to_string(width_dots) + " pixel " + height + " pixel scale\n";
}

const std::string kLookUp =
    "/read_raw {currentfile picstr readhexstring pop} def\n/read8_24 {\n  read_raw\n  /rgb_ndx 0 def\n  {\n"
    "     3 mul pal exch 3 getinterval rgbstr exch rgb_ndx exch putinterval\n"
    "     /rgb_ndx rgb_ndx 3 add def\n  } forall rgbstr\n} def\n";
const std::string kEnd = "grestore\nshowpage\n";

TEST(EpsWrite, ProgramOfEachDepth)
{
    EXPECT_EQ(program_of(100, 1, 1, {}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 0xAB, 0xCD, 0xEF, 0xF0, 9, 9, 9}),
              page_of("%!PS-Adobe-2.0", 2400, 24, 13) +
                  "100 1 1 [100 0 0 -1 0 1] {currentfile picstr readhexstring pop} image\n"
                  "010203040506070809ABCDEFF0\n" +
                  kEnd);
    std::vector<u32> palette(16);
    std::string colours = "/pal <\n";
    for (u32 i = 0; i < 16; ++i) {
        palette[i] = 0x010A00 + i;
        const char digit = "0123456789ABCDEF"[i];
        colours += std::string("010A0") + digit + (i == 15 ? "\n> def\n" : " ");
    }
    EXPECT_EQ(program_of(3, 2, 4, palette, {0x12, 0x30, 0, 0, 0xAB, 0xCF}),
              page_of("%!PS-Adobe-3.0", 2400, 1600, 3) + colours + "/rgbstr 9 string def\n" + kLookUp +
                  "3 2 8 [3 0 0 -2 0 2] {read8_24} false 3 colorimage\n0A0B0C\n010203\n" + kEnd);
    EXPECT_EQ(program_of(2, 1, 24, {}, {1, 2, 3, 0xFD, 0xFE, 0xFF}),
              page_of("%!PS-Adobe-3.0", 2400, 1200, 6) + kLookUp.substr(0, kLookUp.find("/read8_24")) +
                  "2 1 8 [2 0 0 -1 0 1] {read_raw} false 3 colorimage\n030201FFFEFD\n" + kEnd);
    // Of 8 bits the palette's lines, and the width of which a multiplication is told.
    const std::string deep = program_of(281, 1, 8, {}, Bytes(281, 0x5A));
    EXPECT_TRUE(deep.starts_with(page_of("%!PS-Adobe-3.0", 2399, 8, 281) + "/pal <\n"));
    EXPECT_EQ(deep.find("> def") - deep.find("/pal <"), 7 + 16 * 16 * 7U);
    EXPECT_EQ(deep.find('\n', deep.find("5A5A")) - deep.find("5A5A"), 2 * 281U);
}

TEST(EpsRead, WhereThereIsNoPreview)
{
    Bytes file = read_file(data_path("eps/palette-none.eps"));
    EXPECT_EQ(check_load(read_file(data_path("eps/unread-without-preview.eps"))).loaded, kBadData);
    // Taken for a TIFF file itself, it has the preview's directory.
    store_le32(&file[4], load_le32(&file[20]) + load_le32(&file[load_le32(&file[20]) + 4]));
    // No preview, a position in the header, behind the file, out of reach.
    const std::pair<u32, i16> cases[] = {
        {0, kBadData},          {16, kBadData},        {0x00100000, kOutOfMemory}, {0x7FFFFFFF, kOutOfMemory},
        {0x80000000, kBadData}, {0xC0000001, kBadData}};
    for (const auto& [position, result] : cases) {
        store_le32(&file[20], position);
        EXPECT_EQ(check_load(file).loaded, result) << position;
        write_file(temp_path("moved.eps"), file);
        EXPECT_EQ(IMG_decompress_bitmap(temp_path("moved.eps").c_str()), result) << position;
    }
    file.resize(31);
    EXPECT_EQ(check_load(file).loaded, kBadData);
    EXPECT_EQ(check_load(Bytes{'%', '!', 'P', 'S', '-', 'A', 'd', 'o', 'b', 'e', '-'}).loaded, kNotSupported);
}

TEST(EpsHex, FastAsPlain)
{
    std::mt19937 random(1);
    for (u32 count = 0; count < 70; ++count) {
        Bytes bytes(count);
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<u8>(random()); });
        Bytes fast(count * 2);
        Bytes plain(count * 2);
        hex_digits(bytes.data(), count, fast.data());
        hex_digits_plain(bytes.data(), count, plain.data());
        ASSERT_EQ(fast, plain) << count;
    }
}

}  // namespace
}  // namespace orv::test
