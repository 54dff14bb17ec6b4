#include "print_page.h"

#include <algorithm>
#include <cstring>

namespace orvimg
{

namespace
{

uint8_t gray_of(int blue, int green, int red)
{
    return static_cast<uint8_t>((30 * red + 59 * green + 11 * blue) / 100);
}

bool is_dark(const RGBQUAD& c)
{
    return gray_of(c.rgbBlue, c.rgbGreen, c.rgbRed) < 128;
}

int index_at(const uint8_t* row, int x, int bits)
{
    switch (bits) {
    case 1: return row[x >> 3] >> (~x & 7) & 1;
    case 4: return (x & 1) == 0 ? row[x >> 1] >> 4 : row[x >> 1] & 15;
    default: return row[x];
    }
}

}  // namespace

PrintedPage::PrintedPage(const PageFormat& format, PwgWriter* pwg, PngWriter* png)
    : format_(format), pwg_(pwg), png_(png), white_(format.line_bytes, format.white()), line_(white_)
{
    if (pwg_ != nullptr) {
        pwg_->begin_page(format);
    }
}

void PrintedPage::put_line(const uint8_t* bytes)
{
    if (pwg_ != nullptr) {
        pwg_->line(bytes);
    }
    if (png_ != nullptr) {
        png_->line(bytes);
    }
    ++next_line_;
}

void PrintedPage::skip_to(int line)
{
    while (next_line_ < std::min(line, format_.height)) {
        put_line(white_.data());
    }
}

void PrintedPage::finish()
{
    skip_to(format_.height);
    if (pwg_ != nullptr) {
        pwg_->end_page();
    }
}

void PrintedPage::take_band(HDC, const orv_stretch* band, void* user)
{
    static_cast<PrintedPage*>(user)->take_rows(*band);
}

// The band's first row is the uppermost on the page: its height is negative, which turns it over.
void PrintedPage::take_rows(const orv_stretch& band)
{
    const auto& header = *static_cast<const ImageHeader*>(band.header);
    choose_colours(header.info, header.palette);
    const int64_t stride = (int64_t{header.info.biWidth} * header.info.biBitCount + 31) / 32 * 4;
    const uint8_t* placed = nullptr;  // the row that `line_` shows
    for (int r = 0; r < band.source_height; ++r) {
        const int line = band.y + band.height + r;
        if (line < next_line_ || line >= format_.height) {
            continue;
        }
        skip_to(line);
        const uint8_t* const row = static_cast<const uint8_t*>(band.bits) + r * stride;
        // Rows repeat where the picture is enlarged.
        if (placed == nullptr || std::memcmp(row, placed, static_cast<size_t>(stride)) != 0) {
            place_row(row, header.info, band.x);
        }
        placed = row;
        put_line(line_.data());
    }
}

void PrintedPage::choose_colours(const BITMAPINFOHEADER& info, const RGBQUAD* palette)
{
    if (info.biBitCount > 8) {
        return;
    }
    for (int i = 0; i < 1 << info.biBitCount; ++i) {
        const RGBQUAD& c = palette[i];
        const uint8_t gray = gray_of(c.rgbBlue, c.rgbGreen, c.rgbRed);
        const uint8_t colours[3] = {format_.bits == 24 ? c.rgbRed : gray, c.rgbGreen, c.rgbBlue};
        std::memcpy(values_[i], colours, 3);
    }
    black_where_clear_ = is_dark(palette[0]) ? 0xFF : 0;
    black_where_set_ = is_dark(palette[1]) ? 0xFF : 0;
}

// The part of a row that lies on the page.
void PrintedPage::place_row(const uint8_t* row, const BITMAPINFOHEADER& info, int left)
{
    const int first = std::max(0, -left);
    const int count = std::min(info.biWidth, format_.width - left) - first;
    if (count <= 0) {
        return;
    }
    if (format_.bits == 1) {
        place_bits(row, first, count, left + first);
    } else {
        place_pixels(row, info.biBitCount, first, count, left + first);
    }
}

// Bits of a 1-bit row, from bit `first` on, to bit `left` of the line on: a byte of the line at a time.
void PrintedPage::place_bits(const uint8_t* row, int first, int count, int left)
{
    const int last_byte = (first + count - 1) >> 3;
    const auto eight_from = [&](int bit) {  // bits ahead of and behind the row are masked by the caller
        const int byte = bit >> 3;
        const int high = byte < 0 ? 0 : row[byte];
        const int low = byte + 1 <= last_byte ? row[byte + 1] : 0;
        return static_cast<uint8_t>((high << 8 | low) >> (8 - (bit & 7)));
    };
    const int end = left + count;
    for (int at = left & ~7; at < end; at += 8) {
        const uint8_t set = eight_from(first + at - left);
        const int black = (set & black_where_set_) | (~set & black_where_clear_);
        int mask = 0xFF >> std::max(left - at, 0);
        mask &= 0xFF << std::max(at + 8 - end, 0);
        uint8_t& byte = line_[static_cast<size_t>(at) / 8];
        byte = static_cast<uint8_t>((byte & ~mask) | (black & mask));
    }
}

void PrintedPage::place_pixels(const uint8_t* row, int bits, int first, int count, int left)
{
    const size_t unit = format_.bits == 24 ? 3 : 1;
    uint8_t* to = line_.data() + static_cast<size_t>(left) * unit;
    for (int x = first; x < first + count; ++x, to += unit) {
        if (bits == 24) {
            const uint8_t* const pixel = row + int64_t{x} * 3;
            if (unit == 3) {
                to[0] = pixel[2];
                to[1] = pixel[1];
                to[2] = pixel[0];
            } else {
                to[0] = gray_of(pixel[0], pixel[1], pixel[2]);
            }
        } else {
            std::memcpy(to, values_[index_at(row, x, bits)], unit);
        }
    }
}

}  // namespace orvimg
