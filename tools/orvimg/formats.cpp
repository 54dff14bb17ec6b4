#include "formats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string_view>
#include <vector>

#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"

namespace orvimg
{

namespace
{

constexpr Format kFormats[] = {
    {ORV_FORMAT_TIFF, "tiff", " tif tiff-raw ", " tif tiff ", true, "TIFF, uncompressed",
     "TIFF, uncompressed or PackBits"},
    {ORV_FORMAT_BMP, "bmp", " dib ", " bmp dib ", false, "BMP, uncompressed", "BMP, uncompressed"},
    {ORV_FORMAT_PCX, "pcx", " ", " pcx ", false, "PCX", "PCX"},
    {ORV_FORMAT_TGA, "tga", " targa ", " tga ", false, "TGA", "TGA"},
    {ORV_FORMAT_GIF, "gif", " ", " gif ", false, "GIF", "GIF"},
    {ORV_FORMAT_WPG, "wpg", " ", " wpg ", false, "WPG", "WPG"},
    {ORV_FORMAT_WMF, "wmf", " ", " wmf ", false, "WMF", "WMF"},
    {ORV_FORMAT_TIFF_HUFFMAN, "tiff-huffman", " tiff-mh ", " ", true, "TIFF, fax coding Modified Huffman",
     "TIFF, fax coding Modified Huffman"},
    {ORV_FORMAT_TIFF_T4, "tiff-t4", " tiff-g3 tiff-fax ", " ", true, "TIFF, fax coding T.4 (group 3)",
     "TIFF, fax coding T.4 or Modified Huffman"},
    {ORV_FORMAT_TIFF_LZW, "tiff-lzw", " ", " ", false, "TIFF, LZW", "TIFF, LZW"},
    {ORV_FORMAT_TIFF_T6, "tiff-t6", " tiff-g4 ", " ", true, "TIFF, fax coding T.6 (group 4)",
     "TIFF, fax coding T.6"},
    {ORV_FORMAT_DCX, "dcx", " ", " dcx ", true, "DCX, pages of PCX", "DCX"},
    {ORV_FORMAT_BMP_RLE, "bmp-rle", " rle ", " ", false, "BMP, run-length compressed",
     "BMP, run-length compressed"},
    {ORV_FORMAT_JPEG, "jpeg", " jpg ", " jpg jpeg ", false, "JPEG", "JPEG"},
    {ORV_FORMAT_EPS, "eps", " ps postscript ", " eps ", false, "PostScript program", "EPS, its TIFF preview"},
    {ORV_FORMAT_PICT, "pict", " pct ", " pct pict ", false, "PICT", "PICT"},
};

std::string lower(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool holds_word(const char* words, const std::string& word)
{
    return word.find(' ') == std::string::npos &&
           std::string_view(words).find(" " + word + " ") != std::string_view::npos;
}

// Levenshtein distance: single letters to put in, take out or change.
size_t edit_distance(std::string_view a, std::string_view b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
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

std::string_view first_bytes_of(int16_t format)
{
    using namespace std::string_view_literals;
    switch (format) {
    case ORV_FORMAT_TIFF:
    case ORV_FORMAT_TIFF_HUFFMAN:
    case ORV_FORMAT_TIFF_T4:
    case ORV_FORMAT_TIFF_LZW:
    case ORV_FORMAT_TIFF_T6: return "II*\0"sv;
    case ORV_FORMAT_GIF: return "GIF89a"sv;
    case ORV_FORMAT_WPG: return "\xFFWPC"sv;
    case ORV_FORMAT_JPEG: return "\xFF\xD8\xFF"sv;
    case ORV_FORMAT_EPS: return "\xC5\xD0\xD3\xC6"sv;
    default: return {};
    }
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

std::string format_suggestion(const std::string& name)
{
    constexpr size_t kFarthest = 4;
    const Format* best = nullptr;
    size_t best_distance = std::min(kFarthest, name.size());
    for (const Format& format : kFormats) {
        const size_t distance = edit_distance(lower(name), format.name);
        if (distance < best_distance) {
            best_distance = distance;
            best = &format;
        }
    }
    return best == nullptr ? "" : std::string(", did you mean ") + best->name + "?";
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
    std::vector<const char*> names;
    for (const auto& [bit, name] : {std::pair{kDepth1, "1"}, {kDepth4, "4"}, {kDepth8, "8"}, {kDepth24, "24"}})
        if ((depths & bit) != 0)
            names.push_back(name);
    std::string text;
    for (size_t i = 0; i < names.size(); ++i)
        text += std::string(i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    return text;
}

unsigned depths_written(int16_t format)
{
    unsigned depths = kNoDepth;
    std::vector<uint8_t> file;
    for (const int bits : {1, 4, 8, 24})
        if (save_tiny(format, bits, file) != ORV_NOT_SUPPORTED)
            depths |= depth_bit(bits);
    return depths;
}

bool can_read(const Format& format)
{
    const std::string_view first_bytes = first_bytes_of(format.number);
    if (!first_bytes.empty())
        return reader_answers(first_bytes);
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
