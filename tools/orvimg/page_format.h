// A printed page: its size, and how a line of it looks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orvimg
{

// Lines come top first, `line_bytes` each. 1 bit: 1 is black, packed from the top bit. 8 bits: gray, 255 is
// white. 24 bits: red, green, blue.
struct PageFormat {
    int width = 0;  // pixels
    int height = 0;
    int bits = 1;
    int dpi = 300;
    int width_points = 0;  // of 1/72 inch
    int height_points = 0;
    std::string paper_name;
    size_t line_bytes = 0;

    uint8_t white() const { return bits == 1 ? 0x00 : 0xFF; }
};

}  // namespace orvimg
