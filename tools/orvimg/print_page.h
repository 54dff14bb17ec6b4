// One page on its way from the library's bands to the lines of a printer.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "orvimg32/host.h"
#include "page_format.h"
#include "png_writer.h"
#include "pwg_writer.h"

namespace orvimg
{

// Where a picture goes on its page, in pixels.
struct Placement {
    int left, top, width, height;
};

// A page's lines, made of bands that come top first. White lines fill what no band reaches.
class PrintedPage
{
public:
    // Either writer may be null. Both outlive the page.
    PrintedPage(const PageFormat& format, PwgWriter* pwg, PngWriter* png);

    // For orv_device_set_callback, with the page as `user`.
    static void take_band(HDC device, const orv_stretch* band, void* user);
    void finish();

private:
    void take_rows(const orv_stretch& band);
    void choose_colours(const BITMAPINFOHEADER& info, const RGBQUAD* palette);
    void place_row(const uint8_t* row, const BITMAPINFOHEADER& info, int left);
    void place_bits(const uint8_t* row, int first, int count, int left);
    void place_pixels(const uint8_t* row, int bits, int first, int count, int left);
    void put_line(const uint8_t* bytes);
    void skip_to(int line);

    const PageFormat& format_;
    PwgWriter* pwg_;
    PngWriter* png_;
    int next_line_ = 0;
    std::vector<uint8_t> white_;
    std::vector<uint8_t> line_;
    uint8_t black_where_set_ = 0;  // 0xFF where a set bit is black, and so on
    uint8_t black_where_clear_ = 0;
    uint8_t values_[256][3] = {};  // of an index: a gray, or red, green, blue
};

}  // namespace orvimg
