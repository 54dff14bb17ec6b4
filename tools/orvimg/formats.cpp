#include "formats.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <vector>

#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"
#include "text.h"

namespace orvimg
{

namespace
{

using namespace std::string_view_literals;

// A new format is a row here. Why a file of it may not be read is told by a row of unread.cpp.
//
// {number, name, other names, extensions, extension, magic, has pages, saved as, loaded as}
constexpr Format kFormats[] = {
    {ORV_FORMAT_TIFF, "tiff", " tif tiff-raw ", " tif tiff ", "tif", "II*\0"sv, true, "TIFF, uncompressed",
     "TIFF, uncompressed or PackBits"},
    {ORV_FORMAT_BMP, "bmp", " dib ", " bmp dib ", "bmp", ""sv, false, "BMP, uncompressed", "BMP, uncompressed"},
    {ORV_FORMAT_PCX, "pcx", " ", " pcx ", "pcx", ""sv, false, "PCX", "PCX"},
    {ORV_FORMAT_TGA, "tga", " targa ", " tga ", "tga", ""sv, false, "TGA", "TGA"},
    {ORV_FORMAT_GIF, "gif", " ", " gif ", "gif", "GIF89a"sv, false, "GIF", "GIF"},
    {ORV_FORMAT_WPG, "wpg", " ", " wpg ", "wpg", "\xFFWPC"sv, false, "WPG", "WPG"},
    {ORV_FORMAT_WMF, "wmf", " ", " wmf ", "wmf", ""sv, false, "WMF", "WMF"},
    {ORV_FORMAT_TIFF_HUFFMAN, "tiff-huffman", " tiff-mh ", " ", "tif", "II*\0"sv, true,
     "TIFF, fax coding Modified Huffman", "TIFF, fax coding Modified Huffman"},
    {ORV_FORMAT_TIFF_T4, "tiff-t4", " tiff-g3 tiff-fax ", " ", "tif", "II*\0"sv, true,
     "TIFF, fax coding T.4 (group 3)", "TIFF, fax coding T.4 or Modified Huffman"},
    {ORV_FORMAT_TIFF_LZW, "tiff-lzw", " ", " ", "tif", "II*\0"sv, false, "TIFF, LZW", "TIFF, LZW"},
    {ORV_FORMAT_TIFF_T6, "tiff-t6", " tiff-g4 ", " ", "tif", "II*\0"sv, true, "TIFF, fax coding T.6 (group 4)",
     "TIFF, fax coding T.6"},
    {ORV_FORMAT_DCX, "dcx", " ", " dcx ", "dcx", ""sv, true, "DCX, pages of PCX", "DCX"},
    {ORV_FORMAT_BMP_RLE, "bmp-rle", " rle ", " ", "bmp", ""sv, false, "BMP, run-length compressed",
     "BMP, run-length compressed"},
    {ORV_FORMAT_JPEG, "jpeg", " jpg ", " jpg jpeg ", "jpg", "\xFF\xD8\xFF"sv, false, "JPEG", "JPEG"},
    {ORV_FORMAT_EPS, "eps", " ps postscript ", " eps ", "eps", "\xC5\xD0\xD3\xC6"sv, false,
     "PostScript program", "EPS, its TIFF preview"},
    {ORV_FORMAT_PICT, "pict", " pct ", " pct pict ", "pct", ""sv, false, "PICT", "PICT"},
};

bool holds_word(const char* words, const std::string& word)
{
    return word.find(' ') == std::string::npos &&
           std::string_view(words).find(" " + word + " ") != std::string_view::npos;
}

// A picture of 8 by 8 black pixels, or a negative code.
int16_t tiny_picture(int bits)
{
    struct {
        ImageHeader header;
        uint8_t rows[8 * 24];
    } picture = {};
    picture.header.info.biSize = sizeof(BITMAPINFOHEADER);
    picture.header.info.biWidth = 8;
    picture.header.info.biHeight = 8;
    picture.header.info.biPlanes = 1;
    picture.header.info.biBitCount = static_cast<uint16_t>(bits);
    return IMG_create_handle(&picture.header);
}

// A file of one tiny picture as the library itself writes it, or the negative code.
int16_t save_tiny(int16_t format, int bits, std::vector<uint8_t>& file)
{
    file.assign(16384, 0);
    uint32_t written = 0;
    const int16_t handle = tiny_picture(bits);
    if (handle < 0)
        return handle;
    const int16_t result =
        IMG_save_bitmap_mem_sized(handle, file.data(), static_cast<uint32_t>(file.size()), format, &written);
    IMG_delete_bitmap(handle);
    file.resize(result < 0 ? 0 : written);
    return result;
}

int16_t load_result(const std::vector<uint8_t>& file)
{
    const int16_t handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<uint32_t>(file.size()), 0);
    if (handle >= 0)
        IMG_delete_bitmap(handle);
    return handle;
}

// The first bytes of a file and nothing behind them: a reader that is there finds the data bad, while
// nothing but -6 comes where there is none.
bool reader_answers(std::string_view first_bytes)
{
    return load_result({first_bytes.begin(), first_bytes.end()}) != ORV_NOT_SUPPORTED;
}

}  // namespace

std::span<const Format> all_formats()
{
    return kFormats;
}

const Format* format_by_number(int number)
{
    const auto found = std::ranges::find(kFormats, number, &Format::number);
    return found == std::end(kFormats) ? nullptr : found;
}

const Format* format_by_name(const std::string& name_or_number)
{
    const std::string name = lower(name_or_number);
    int number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error == std::errc() && end == name.data() + name.size())
        return format_by_number(number);
    const auto found = std::ranges::find_if(kFormats, [&](const Format& format) {
        return name == format.name || holds_word(format.other_names, name);
    });
    return found == std::end(kFormats) ? nullptr : found;
}

const Format* format_by_file_name(const std::string& file_name)
{
    const size_t dot = file_name.rfind('.');
    if (dot == std::string::npos || file_name.find('/', dot) != std::string::npos)
        return nullptr;
    const std::string extension = lower(file_name.substr(dot + 1));
    const auto found = std::ranges::find_if(
        kFormats, [&](const Format& format) { return holds_word(format.extensions, extension); });
    return found == std::end(kFormats) ? nullptr : found;
}

std::vector<std::string> format_names()
{
    std::vector<std::string> names;
    for (const Format& format : kFormats) {
        names.emplace_back(format.name);
    }
    return names;
}

std::string format_suggestion(const std::string& name)
{
    return did_you_mean(name, format_names());
}

unsigned depth_bit(int bits)
{
    switch (bits) {
    case 1: return kDepth1;
    case 4: return kDepth4;
    case 8: return kDepth8;
    case 24: return kDepth24;
    default: return kNoDepth;
    }
}

std::string depth_list(unsigned depths)
{
    std::vector<std::string> names;
    for (const int bits : {1, 4, 8, 24}) {
        if ((depths & depth_bit(bits)) != 0) {
            names.push_back(std::to_string(bits));
        }
    }
    return either(names);
}

unsigned depths_written(int16_t format)
{
    unsigned depths = kNoDepth;
    std::vector<uint8_t> file;
    for (const int bits : {1, 4, 8, 24}) {
        if (save_tiny(format, bits, file) != ORV_NOT_SUPPORTED) {
            depths |= depth_bit(bits);
        }
    }
    return depths;
}

bool can_write(const Format& format)
{
    return depths_written(format.number) != kNoDepth;
}

bool can_read(const Format& format)
{
    if (!format.magic.empty())
        return reader_answers(format.magic);
    std::vector<uint8_t> file;
    for (const int bits : {1, 4, 8, 24})
        if (save_tiny(format.number, bits, file) >= 0 && load_result(file) >= 0)
            return true;
    return false;
}

bool can_read_fax_files()
{
    return reader_answers("ORVNFAX ");
}

}  // namespace orvimg
