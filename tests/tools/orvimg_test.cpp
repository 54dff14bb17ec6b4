// The program as people run it: its exit status, what it says, and the files it leaves.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>

#include "tests/support/support.h"

namespace orv::test
{
namespace
{

struct Outcome {
    int status = -1;
    std::string text;  // both outputs
};

// Runs the program in the temporary directory.
Outcome orvimg(const std::string& arguments)
{
    const std::string directory = std::filesystem::path(temp_path("x")).parent_path().string();
    const std::string command = "cd " + directory + " && " ORVIMG_PROGRAM " " + arguments + " 2>&1 </dev/null";
    Outcome outcome;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return outcome;
    char part[4096];
    while (const size_t got = fread(part, 1, sizeof part, pipe))
        outcome.text.append(part, got);
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

void expect_done(const std::string& arguments)
{
    const Outcome outcome = orvimg(arguments);
    EXPECT_EQ(outcome.status, 0) << "orvimg " << arguments;
    EXPECT_EQ(outcome.text, "") << "orvimg " << arguments;
}

const std::string kPhoto = data_path("demo/photo.bmp");
const std::string kFax = data_path("tiff/fax-standard.tif");

TEST(Orvimg, SaysWhatIsWrong)
{
    const std::vector<u8> words = {'w', 'o', 'r', 'd', 's'};
    write_file(temp_path("words.bmp"), words);
    const struct {
        std::string arguments;
        int status;
        std::string text;
    } cases[] = {
        {"", 2, "a command is missing"},
        {"convert a.bmp", 2, "OUT"},
        {"convert a.bmp b.bmp --rotate 45", 2, "--rotate"},
        {"convert a.bmp b.jpg --jpeg-step 101", 2, "--jpeg-step"},
        {"info " + data_path("jpeg/unread/progressive.jpg"), 1, "progressive JPEG, not read (-3)"},
        {"info " + data_path("jpeg/unread/arithmetic.jpg"), 1, "arithmetic-coded JPEG, not read (-3)"},
        {"info --described " + data_path("jpeg/gray.jpg"), 1,
         "JPEG with the frame header of T.81, which is read without --described (-3)"},
        {"info --described " + data_path("jpeg/gray.jpg"), 1, "(-3)"},
        {"convert a.bmp b.bmp --resize 0x5", 2, "--resize"},
        {"convert a.bmp b.bmp --crop 1,2,3", 2, "--crop"},
        {"convrt a.bmp b.bmp", 2, "did you mean convert?"},
        {"convert a.bmp b.bmp --foramt bmp", 2, "did you mean --format?"},
        {"convert a.bmp b.bmp --dither bayr", 2, "did you mean bayer?"},
        {"convert a.bmp b.bmp --brightness 0x10", 2, "from -128 to 127, not '0x10'"},
        {"convert a.bmp b.bmp --page 0", 2, "--page"},
        {"convert a.bmp b.bmp --fine --standard", 2, "--standard"},
        {"convert a.bmp b.unknown", 2, "--format"},
        {"convert a.bmp b.bmp --compression t6", 2, "--compression is for TIFF"},
        {"convert a.tif b.tif --append --compression lzw", 2, "nothing can be added"},
        {"convert a.bmp b.bmp --format tif-lwz", 2, "did you mean tiff-lzw?"},
        {"convert a.bmp b.bmp --format 99", 2, "unknown format '99'"},
        {"split a.tif page.bmp", 2, "needs one %d"},
        {"split a.tif %d-%d.bmp", 2, "needs one %d"},
        {"split a.tif %d-%s.bmp", 2, "needs one %d"},
        {"merge a.bmp b.bmp", 2, "bmp files hold one picture"},
        {"info missing.bmp", 1, "cannot read missing.bmp: No such file or directory (-2)"},
        {"info .", 1, "it is a directory (-2)"},
        {"info words.bmp", 1, "cannot read words.bmp: not a picture that OrvImg32 knows (-6)"},
        {"convert " + kPhoto + " no/such.bmp", 1, "(-8)"},
        {"convert " + kPhoto + " b.bmp --page 2", 1, "it has 1 page (-9)"},
        {"view " + kFax + " --page 4", 1, "page 4 of " + kFax + ": it has 3 pages (-9)"},
        {"convert " + kPhoto + " b.bmp --crop 100,0,61,10", 1, "reaches beyond"},
        {"convert " + kPhoto + " b.bmp --mediancut --sharpen 16", 1, "put --gray in front of it (-6)"},
        {"convert " + kFax + " b.bmp --gray", 1, "takes 4, 8 or 24 bits a pixel, and the picture has 1"},
        {"convert " + kPhoto + " b.bmp --format bmp-rle", 1, "and this one has 24; add --mediancut"},
        {"convert " + kFax + " b.bmp --format bmp-rle", 1, "no operation makes deeper (-6)"},
        {"convert " + kPhoto + " b.gif --keep-depth", 1, "and this one has 24; add --mediancut"},
        {"info " + data_path("wmf/unread-drawing.wmf"), 1,
         "the metafile has drawing records and no bitmap (-6)"},
    };
    for (const auto& wanted : cases) {
        const Outcome outcome = orvimg(wanted.arguments);
        EXPECT_EQ(outcome.status, wanted.status) << "orvimg " << wanted.arguments << "\n" << outcome.text;
        EXPECT_NE(outcome.text.find(wanted.text), std::string::npos) << "orvimg " << wanted.arguments << "\n"
                                                                     << outcome.text;
    }
}

TEST(Orvimg, ARefusedSaveLeavesTheTargetAlone)
{
    write_file(temp_path("kept.bmp"), read_file(kPhoto));
    EXPECT_EQ(orvimg("convert " + kPhoto + " kept.bmp --format bmp-rle").status, 1);
    EXPECT_EQ(read_file(temp_path("kept.bmp")), read_file(kPhoto));
}

// What the program writes is what the library's operations do, called one after the other.
TEST(Orvimg, GifGetsAPictureOfEightBits)
{
    const Outcome outcome = orvimg("convert " + kFax + " page.gif");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.text.find("gets 8 bits a pixel; the picture has 1"), std::string::npos) << outcome.text;
    expect_same(load_picture(temp_path("page.gif")), load_picture(kFax), "a page");
    expect_done("convert --quiet " + kPhoto + " photo.gif");
    expect_done("convert --mediancut " + kPhoto + " photo.bmp");
    expect_same(load_picture(temp_path("photo.gif")), load_picture(temp_path("photo.bmp")), "a photograph");
}

TEST(Orvimg, OperationsRunInTheOrderOfTheCommandLine)
{
    expect_done("convert " + kPhoto + " turned.bmp --flip x --rotate 90");
    expect_done("convert " + kPhoto + " flipped.bmp --rotate 90 --flip x");
    const int handle = IMG_decompress_bitmap(kPhoto.c_str());
    ASSERT_GE(handle, 0);
    EXPECT_EQ(IMG_flip_bitmapx(handle), 0);
    EXPECT_EQ(IMG_rotate_bitmap(handle, 90), 0);
    expect_same(load_picture(temp_path("turned.bmp")), picture_of(handle), "flip, then turn");
    EXPECT_FALSE(load_picture(temp_path("flipped.bmp")) == picture_of(handle));
    IMG_delete_bitmap(handle);

    // On a palette the library starts each tone setting from the original colours.
    expect_done("convert " + kPhoto + " tone.bmp --gray --contrast 40 --brightness 10");
    expect_done("convert " + kPhoto + " tone2.bmp --gray --brightness 10 --flip x --contrast 40 --flip x");
    const int gray = IMG_decompress_bitmap(kPhoto.c_str());
    EXPECT_EQ(IMG_color_gray(gray), 0);
    EXPECT_EQ(IMG_set_lut(gray, 40, 10), 0);
    expect_same(load_picture(temp_path("tone.bmp")), picture_of(gray), "contrast, then brightness");
    expect_same(load_picture(temp_path("tone2.bmp")), picture_of(gray), "brightness, then contrast");
    IMG_delete_bitmap(gray);
}

TEST(Orvimg, CropIsExactAtEveryDepthAndEndsWithTheOperationsBehindIt)
{
    for (const int bits : {1, 4, 8, 24}) {
        const int handle = make_image(61, 40, bits, 7);
        ASSERT_EQ(IMG_save_bitmap(handle, temp_path("whole.bmp").c_str(), 1, 1, 1, 1, 1), 0);
        const Picture whole = picture_of(handle);
        IMG_delete_bitmap(handle);
        expect_done("convert whole.bmp part.bmp --crop 3,5,50,20 --flip x --crop 40,0,10,20 --flip x");
        const Picture part = load_picture(temp_path("part.bmp"));
        ASSERT_EQ(part.width, 10);
        ASSERT_EQ(part.height, 20);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 10; ++x)
                ASSERT_EQ(part.pixels[size_t(y * 10 + x)], whole.pixels[size_t((y + 5) * 61 + x + 3)])
                    << bits << " bits, " << x << ", " << y;
    }
}

TEST(Orvimg, ResizeKeepsTheProportionsWhereOneSideIsLeftOut)
{
    const struct {
        const char* size;
        int width, height;
    } cases[] = {{"80x", 80, 60}, {"x30", 40, 30}, {"7x9", 7, 9}, {"1x", 1, 1}};
    for (const auto& wanted : cases) {
        expect_done("convert " + kPhoto + " small.bmp --resize " + wanted.size);
        const Picture small = load_picture(temp_path("small.bmp"));
        EXPECT_EQ(small.width, wanted.width) << wanted.size;
        EXPECT_EQ(small.height, wanted.height) << wanted.size;
    }
}

TEST(Orvimg, InfoIsJson)
{
    write_file(temp_path("odd \"\\\xC3\xBC\xFF\n.bmp"), read_file(kPhoto));
    run("cd " + std::filesystem::path(temp_path("x")).parent_path().string() +
        " && { " ORVIMG_PROGRAM " info --json odd* missing.bmp " + kFax +
        R"PY( >info.json 2>info.err; test $? = 1; } &&
python3 - <<'END'
import json
odd, missing, fax = json.load(open("info.json"))
assert odd["file"] == 'odd "\\ü\ufffd\n.bmp' and odd["format"] == "bmp" and odd["page_count"] == 1, odd
assert odd["pages"][0]["width"] == 160 and odd["pages"][0]["bits"] == 24, odd
assert "(-2)" in missing["error"], missing
assert fax["format"] == "tiff-t4" and fax["page_count"] == 3 and len(fax["pages"]) == 3, fax
assert all(page["lines_doubled"] and page["stored_y_resolution"] * 2 == page["y_resolution"] for page in fax["pages"])
END
)PY");
}

TEST(Orvimg, JpegIsTheStandardOneUnlessTheDescribedOneIsAskedFor)
{
    expect_done("convert " + kPhoto + " standard.jpg --jpeg-step 3");
    expect_done("convert " + kPhoto + " described.jpg --jpeg-step 40 --described");
    expect_done("convert described.jpg described.bmp --described");
    expect_done("convert described.jpg wide.bmp");
    EXPECT_EQ(read_file(temp_path("described.bmp")), read_file(temp_path("wide.bmp")));
    EXPECT_LT(read_file(temp_path("described.jpg")).size(), read_file(temp_path("standard.jpg")).size());
    const std::string told = orvimg("info standard.jpg described.jpg").text;
    EXPECT_NE(told.find("2x1, 1x1, 1x1 (frame header of T.81)"), std::string::npos) << told;
    EXPECT_NE(told.find("2x1, 1x1, 1x1 (frame header of OrvImg32)"), std::string::npos) << told;
}

TEST(Orvimg, PagesSplitAndMerge)
{
    expect_done("split " + kFax + " fax-%d.bmp");
    expect_done("merge fax.dcx fax-1.bmp fax-2.bmp fax-3.bmp");
    for (int page = 0; page < 3; ++page) {
        const Picture wanted = load_picture(kFax, page);
        expect_same(load_picture(temp_path("fax-" + std::to_string(page + 1) + ".bmp")), wanted, "split page");
        expect_same(load_picture(temp_path("fax.dcx"), page), wanted, "merged page");
    }
    expect_done("merge fax.dcx --all-pages --dither bayer " + kPhoto);
    EXPECT_NE(orvimg("info fax.dcx").text.find("pages       4"), std::string::npos);

    const Outcome one = orvimg("merge first.dcx " + kFax);
    EXPECT_EQ(one.status, 0);
    EXPECT_NE(one.text.find("of the 3 pages of " + kFax + " the first is taken"), std::string::npos)
        << one.text;
    write_file(temp_path("empty.bmp"), {});
    const Outcome half = orvimg("merge half.dcx " + kPhoto + " empty.bmp");
    EXPECT_EQ(half.status, 1);
    EXPECT_FALSE(std::filesystem::exists(temp_path("half.dcx"))) << half.text;
    const Outcome some = orvimg("merge first.dcx " + kPhoto + " empty.bmp");
    EXPECT_EQ(some.status, 1);
    EXPECT_NE(some.text.find("first.dcx got the first 1 page of 2"), std::string::npos) << some.text;
}

// T.6 for 1 bit, LZW for others, raw where pages are added; or what is asked for.
TEST(Orvimg, TiffCodings)
{
    const std::string page = temp_path("page.bmp");
    ASSERT_EQ(orvimg("convert " + kFax + " " + page).status, 0);
    const std::pair<const char*, int> cases[] = {
        {"convert a.tif PAGE", 4},
        {"convert a.tif PHOTO", 5},
        {"merge a.tif PHOTO PAGE", 1},
        {"merge a.tif PAGE", 4},
        {"convert a.tif PAGE --compression huffman", 2},
        {"convert a.tif PAGE --compression t4 --no-rtc", 3},
        {"convert a.tif PHOTO --compression raw", 1},
    };
    for (const auto& [line, compression] : cases) {
        SCOPED_TRACE(line);
        std::remove(temp_path("a.tif").c_str());
        std::string words = line;
        const auto replace = [&words](const std::string& word, const std::string& by) {
            if (const size_t at = words.find(word); at != std::string::npos) {
                words.replace(at, word.size(), by);
            }
        };
        if (words.starts_with("convert")) {
            replace("a.tif", "-o a.tif");
        }
        replace("PAGE", page);
        replace("PHOTO", kPhoto);
        const Outcome outcome = orvimg(words);
        ASSERT_EQ(outcome.status, 0) << outcome.text;
        const std::vector<u8> file = read_file(temp_path("a.tif"));
        EXPECT_EQ(file[8 + 2 + 4 * 12 + 8], compression);  // the fifth entry
    }
}

TEST(Readme, TheExampleInCDoesWhatItSays)
{
    write_file(temp_path("fax.tif"), read_file(kFax));
    run("cd " + std::filesystem::path(temp_path("x")).parent_path().string() + " && " README_EXAMPLE);
    const Picture page = load_picture(kFax);
    Picture wanted{400, 300, 1, {}};
    for (int y = 200; y < 500; ++y)
        for (int x = 1200; x < 1600; ++x)
            wanted.pixels.push_back(
                page.pixels[size_t((page.height - 1 - y) * page.width + page.width - 1 - x)]);
    expect_same(load_picture(temp_path("part.pcx")), wanted, "the part that the example saves");
}

// Two pixels a cell, in the colours of the picture.
TEST(Orvimg, ViewDrawsHalfBlocks)
{
    const int handle = make_image(2, 2, 24, 3);
    ASSERT_EQ(IMG_save_bitmap(handle, temp_path("four.bmp").c_str(), 1, 1, 1, 1, 1), 0);
    const Picture four = picture_of(handle);
    IMG_delete_bitmap(handle);
    std::string wanted;
    for (const size_t x : {0U, 1U}) {
        for (const size_t y : {0U, 1U}) {
            const u32 colour = four.pixels[y * 2 + x];
            char code[32];
            std::snprintf(code, sizeof code, "\033[%d;2;%u;%u;%um", y == 0 ? 38 : 48, colour >> 16,
                          colour >> 8 & 255, colour & 255);
            wanted += code;
        }
        wanted += "\u2580";
    }
    setenv("COLORTERM", "truecolor", 1);
    EXPECT_EQ(orvimg("view four.bmp").text, wanted + "\033[0m\n");
}

}  // namespace
}  // namespace orv::test
