// Pictures as the tests compare them: colours in rows, the top row first, whatever they came from.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "frame/types.h"

namespace orv::test
{

struct Picture {
    int width = 0;
    int height = 0;
    int bits = 0;             // depth of what it was read from; plays no part in comparing
    std::vector<u32> pixels;  // 0xRRGGBB

    bool operator==(const Picture& other) const
    {
        return width == other.width && height == other.height && pixels == other.pixels;
    }
};

// What the handle holds, through its palette.
Picture picture_of(int handle);

// Load, convert, delete. A failure fails the test and gives an empty picture.
Picture load_picture(const std::string& path, int page = 0);
Picture load_picture(std::span<const u8> bytes, int page = 0);

// The stored rows byte for byte, bottom row first.
std::vector<u8> raw_rows(int handle);

// An image of random palette, pixels and row padding: a handle.
int make_image(int width, int height, int bits, unsigned seed);

// The picture inside a rectangle; what lies outside the picture is `outside`.
Picture cropped(const Picture& picture, int left, int top, int width, int height, u32 outside = 0);

// What other programs make of a file: ImageMagick, and the netpbm tools as the writers of `path`.
Picture peer_picture(const std::string& path);
Picture read_pnm(const std::string& path);  // P4, P5 or P6 with 8 bits a sample

// The picture in tests/data/bitmap that the first word of a fixture's name tells.
Picture fixture_source(const std::string& path);

// Fails the test with the first pixel that differs.
void expect_same(const Picture& a, const Picture& b, const char* what);

}  // namespace orv::test
