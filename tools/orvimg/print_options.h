// The options of orvimg print alone.
#pragma once

#include <string>

namespace orvimg
{

struct PrintOptions {
    std::string to;       // empty: no file; "-": the standard output
    std::string preview;  // pattern of PNG files; empty: none
    std::string paper_name = "iso_a4_210x297mm";
    double paper_width = 210;  // mm
    double paper_height = 297;
    int dpi = 300;
    int bits = 1;
    double percent = 0;      // of the picture's own size; 0: as large as fits
    bool is_placed = false;  // at `left`, `top`; else in the middle
    double left = 0;         // mm
    double top = 0;
    bool is_landscape = false;
};

}  // namespace orvimg
