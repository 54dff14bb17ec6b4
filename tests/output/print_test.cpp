// orvimg print, and what other programs make of its pages.
#include <gtest/gtest.h>

#include <filesystem>

#include "frame/bytes.h"
#include "tests/support/support.h"

using namespace orv;
using namespace orv::test;

namespace
{

const std::string kPrint = std::string(ORVIMG) + " print ";

u32 field(const std::vector<u8>& file, usize at)
{
    return load_be32(&file[4 + at]);
}

// The page as the distribution's printer filter and poppler see it.
Picture printed_picture(const std::string& pwg, const std::string& page)
{
    run("/usr/lib/cups/filter/rastertopdf 1 user title 1 '' " + pwg + " > job.pdf 2> filter.log");
    run("pdfimages -png -f " + page + " -l " + page + " job.pdf sheet 2> pdf.log");
    return peer_picture("sheet-000.png");
}

TEST(Print, PagesShowWhatThePreviewShows)
{
    const std::string photo = data_path("demo/photo.bmp");
    struct Case {
        const char* options;
        u32 bits, colour_space, colours, width, height;
    };
    const Case cases[] = {
        {"--bits 1 --dpi 100 --at 10,20", 1, 3, 1, 826, 1169},
        {"--bits 8 --dpi 72 --paper letter --landscape", 8, 18, 1, 612, 792},
        {"--bits 24 --dpi 50 --scale 250 --at -3.3,5", 24, 19, 3, 413, 584},
        {"--bits 24 --dpi 99 --paper 40x30mm --scale 300", 24, 19, 3, 155, 116},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(run(kPrint + photo + " --to p.pwg --preview p-%d.png " + c.options));
        const std::vector<u8> file = read_file("p.pwg");
        EXPECT_EQ(std::string(file.begin(), file.begin() + 13), "RaS2PwgRaster");
        const u32 dpi =
            static_cast<u32>(std::stoi(std::string(c.options).substr(std::string(c.options).find("dpi") + 4)));
        const u32 bytes = (c.width * c.bits + 7) / 8;
        const std::pair<usize, u32> fields[] = {{276, dpi},
                                                {280, dpi},
                                                {340, 0},
                                                {344, 0},
                                                {372, c.width},
                                                {376, c.height},
                                                {384, c.bits == 1 ? 1 : 8},
                                                {388, c.bits},
                                                {392, bytes},
                                                {396, 0},
                                                {400, c.colour_space},
                                                {420, c.colours},
                                                {452, 0},
                                                {456, 1},
                                                {460, 1}};
        for (const auto& [at, value] : fields) {
            EXPECT_EQ(field(file, at), value) << "byte " << at << " of " << c.options;
        }
        const Picture preview = peer_picture("p-1.png");
        EXPECT_EQ(preview.width, static_cast<int>(c.width));
        EXPECT_EQ(preview.height, static_cast<int>(c.height));
        if (c.colour_space != 18) {  // grays come with a profile that poppler does not read
            expect_same(printed_picture("p.pwg", "1"), preview, c.options);
        }
    }
}

TEST(Print, ColoursArriveOnPaper)
{
    const std::string photo = data_path("demo/photo.bmp");
    Picture wanted = load_picture(photo);
    for (const char* bits : {"24", "8"}) {
        ASSERT_TRUE(run(kPrint + photo + " --scale 100 --at 0,0 --preview c-%d.png --bits " + bits));
        const Picture page = peer_picture("c-1.png");
        expect_same(cropped(page, 0, 0, wanted.width, wanted.height), wanted, bits);
        EXPECT_EQ(page.pixels[static_cast<usize>(wanted.width)], 0xFFFFFFu);
        for (u32& p : wanted.pixels) {
            p = (30 * (p >> 16) + 59 * (p >> 8 & 255) + 11 * (p & 255)) / 100 * 0x010101;
        }
    }
}

// Left parts that are alike in rows that are not, which a printed page must not take for repetitions.
TEST(Print, EveryRowArrives)
{
    const std::string dots = data_path("bmp/im_1.bmp");
    ASSERT_TRUE(run(std::string(ORVIMG) + " convert " + dots + " wide.bmp --crop 0,0,37,29"));
    std::vector<u8> file = read_file("wide.bmp");
    const usize rows = load_le32(&file[10]);
    for (usize y = 0; y < 29; ++y) {  // 8 bytes a row: all but the last 5 pixels alike
        std::memset(&file[rows + y * 8], 0x5A, 4);
        file[rows + y * 8 + 4] = static_cast<u8>(y << 3);
    }
    write_file("wide.bmp", file);
    const Picture wanted = load_picture("wide.bmp");
    for (const char* bits : {"1", "24"}) {
        ASSERT_TRUE(run(kPrint + "wide.bmp --scale 100 --at 0,0 --preview rows-%d.png --bits " + bits));
        expect_same(cropped(peer_picture("rows-1.png"), 0, 0, 37, 29), wanted, bits);
    }
}

TEST(Print, EveryPageOfAFaxIsAPageOfTheJob)
{
    const std::string fax = data_path("tiff/fax-standard.tif");
    ASSERT_TRUE(run(kPrint + fax + " --to - --dpi 204 > fax.pwg"));
    ASSERT_TRUE(run(kPrint + fax + " --dpi 204 --preview 'fax-%02d.png'"));
    expect_same(printed_picture("fax.pwg", "2"), peer_picture("fax-02.png"), "page 2");
    EXPECT_TRUE(std::filesystem::exists("fax-03.png"));
    EXPECT_FALSE(std::filesystem::exists("fax-04.png"));
    // The fax at its own resolution is the fax.
    ASSERT_TRUE(run(kPrint + fax + " --dpi 204 --at 0,0 --scale 100 --preview 'own-%d.png'"));
    Picture page = peer_picture("own-1.png");
    const Picture wanted = load_picture(fax);
    const int dots = wanted.width;
    ASSERT_GE(page.width, 1600);
    for (int x = 0; x < std::min(page.width, dots); ++x) {
        ASSERT_EQ(page.pixels[static_cast<usize>(x)], wanted.pixels[static_cast<usize>(x)]) << x;
    }
}

TEST(Print, ASidewaysPictureIsATurnedOne)
{
    const std::string photo = data_path("demo/photo.bmp");
    ASSERT_TRUE(run(std::string(ORVIMG) + " convert " + photo + " dots.bmp --gray --dither diffusion"));
    ASSERT_TRUE(run("convert dots.bmp -interlace GIF dots.gif"));
    for (const std::string& picture :
         {photo, std::string("dots.bmp"), std::string("dots.gif"), data_path("bmp/im_1.bmp"),
          data_path("bmp/im_4.bmp"), data_path("bmp/im_8.bmp"),
          data_path("gif/palette-netpbm-interlaced.gif")}) {
        ASSERT_TRUE(run(std::string(ORVIMG) + " convert " + picture + " turned.bmp --rotate 90"));
        for (const char* bits : {" --bits 1", " --bits 24"}) {
            ASSERT_TRUE(run(kPrint + picture + " --landscape --to side.pwg" + bits));
            ASSERT_TRUE(run(kPrint + "turned.bmp --to turned.pwg" + bits));
            EXPECT_TRUE(read_file("side.pwg") == read_file("turned.pwg")) << picture << bits;
        }
    }
}

TEST(Print, TheExampleDraws)
{
    const std::string photo = data_path("demo/photo.bmp");
    ASSERT_TRUE(run(DRAW_EXAMPLE " " + photo + " screen.ppm page.pbm"));
    const Picture wanted = load_picture(photo);
    expect_same(read_pnm("screen.ppm"), wanted, "on the screen");
    const Picture page = read_pnm("page.pbm");
    ASSERT_EQ(page.width, wanted.width * 2);
    // Quarters of the page are as light as those of the picture, but for what rounding loses.
    const auto light = [](const Picture& picture, int quarter) {
        const int left = quarter % 2 * picture.width / 2, top = quarter / 2 * picture.height / 2;
        const Picture part = cropped(picture, left, top, picture.width / 2, picture.height / 2);
        double sum = 0;
        for (const u32 p : part.pixels) {
            sum += 0.30 * (p >> 16) + 0.59 * (p >> 8 & 255) + 0.11 * (p & 255);
        }
        return sum / static_cast<double>(part.pixels.size());
    };
    for (int quarter = 0; quarter < 4; ++quarter) {
        EXPECT_NEAR(light(page, quarter), light(wanted, quarter), 6) << quarter;
    }
}

TEST(Print, RefusesWhatMakesNoSense)
{
    const std::string photo = data_path("demo/photo.bmp");
    for (const char* options : {"", "--to x.pwg --paper a9", "--to x.pwg --at 300,0", "--to x.pwg --scale 0",
                                "--preview x.png", "--to x.pwg --bits 4", "--to x.pwg --dpi 9600"}) {
        EXPECT_TRUE(run("! " + kPrint + photo + " " + options + " 2> told")) << options;
        EXPECT_FALSE(std::filesystem::exists("x.pwg")) << options;
    }
    EXPECT_TRUE(run("! " + kPrint + photo + " --to /dev/full 2> told"));
}

}  // namespace
