#include "unread.h"

#include <algorithm>
#include <string_view>

#include "jpeg_kind.h"
#include "orvimg32/orvimg32.h"

namespace orvimg
{

namespace
{

using Bytes = std::span<const uint8_t>;

std::string of_kind(const std::string& what)
{
    return what + ", not read";
}

// BMP: the size of the header at 14; behind a header of 40 bytes, depth at 28 and compression at 30.
std::string bmp_kind(Bytes file, int)
{
    const uint32_t header = file_number(file, 14, 4);
    if (header != 12 && header != 40) {
        return of_kind("BMP header of " + std::to_string(header) + " bytes");
    }
    const uint32_t bits = file_number(file, header == 12 ? 24 : 28, 2);
    if (bits == 2 || bits == 16 || bits == 32) {
        return of_kind("BMP of " + std::to_string(bits) + " bits a pixel");
    }
    if (header == 40 && file_number(file, 30, 4) > 2) {
        return of_kind("BMP compression " + std::to_string(file_number(file, 30, 4)));
    }
    const bool is_upside_down = header == 40 && (file_number(file, 22, 4) & 0x80000000U) != 0;
    return is_upside_down ? of_kind("BMP with its top row first") : "";
}

// TIFF 6.0: directories of entries of 12 bytes: tag, type, count, value.

struct TiffFields {
    uint32_t bits = 1;
    uint32_t compression = 1;
    uint32_t planes = 1;
    uint32_t sample_format = 1;
    bool has_tiles = false;
};

constexpr int kMostDirectories = 4096;

TiffFields tiff_fields(Bytes file, uint32_t directory, bool is_big)
{
    TiffFields fields;
    const uint32_t count = file_number(file, directory, 2, is_big);
    for (uint32_t i = 0; i < count; ++i) {
        const size_t entry = directory + size_t{2} + size_t{12} * i;
        const uint32_t type = file_number(file, entry + 2, 2, is_big);
        const uint32_t values = file_number(file, entry + 4, 4, is_big);
        const uint32_t width = type == 3 ? 2 : 4;
        // Values that don't fit into the entry lie elsewhere; all are taken to be as the first.
        const size_t place = values * width > 4 ? file_number(file, entry + 8, 4, is_big) : entry + 8;
        const uint32_t value = file_number(file, place, width, is_big);
        switch (file_number(file, entry, 2, is_big)) {
        case 258: fields.bits = value; break;
        case 259: fields.compression = value; break;
        case 284: fields.planes = value; break;
        case 322:
        case 324: fields.has_tiles = true; break;
        case 339: fields.sample_format = value; break;
        default: break;
        }
    }
    return fields;
}

std::string compression_name(uint32_t compression)
{
    switch (compression) {
    case 6: return "old JPEG";
    case 7: return "JPEG";
    case 8:
    case 32946: return "Deflate";
    case 32809: return "ThunderScan";
    case 34661: return "JBIG";
    case 34712: return "JPEG 2000";
    case 34925: return "LZMA";
    case 50000: return "Zstandard";
    case 50001: return "WebP";
    default: return "compression " + std::to_string(compression);
    }
}

std::string tiff_kind(Bytes file, int page)
{
    const bool is_big = file_number(file, 0, 2) == 0x4D4D;
    if (file_number(file, 2, 2, is_big) == 43) {
        return of_kind("BigTIFF");
    }
    uint32_t directory = file_number(file, 4, 4, is_big);
    for (int i = 1; i < page && i < kMostDirectories && directory != 0; ++i) {
        const uint32_t count = file_number(file, directory, 2, is_big);
        directory = file_number(file, directory + size_t{2} + size_t{12} * count, 4, is_big);
    }
    const TiffFields fields = tiff_fields(file, directory, is_big);
    const bool is_read = (fields.compression >= 1 && fields.compression <= 5) || fields.compression == 32773;
    if (fields.has_tiles) {
        return of_kind("TIFF in tiles");
    }
    if (!is_read) {
        return of_kind("TIFF coded as " + compression_name(fields.compression));
    }
    if (fields.sample_format == 3) {
        return of_kind("TIFF of floating-point samples");
    }
    return fields.bits > 8 ? of_kind("TIFF of " + std::to_string(fields.bits) + " bits a sample") : "";
}

// PCX: bits a pixel at 3, planes at 65. TGA: picture type at 2, depth at 16.

std::string pcx_kind(Bytes file, int)
{
    const uint32_t bits = file_number(file, 3, 1);
    const uint32_t planes = file_number(file, 65, 1);
    const uint32_t all = bits * planes;
    const bool is_read = all == 1 || all == 3 || all == 4 || all == 8 || all == 24;
    return is_read ? ""
                   : of_kind("PCX of " + std::to_string(planes) + (planes == 1 ? " plane of " : " planes of ") +
                             std::to_string(bits) + (bits == 1 ? " bit" : " bits"));
}

std::string tga_kind(Bytes file, int)
{
    const uint32_t type = file_number(file, 2, 1);
    return type > 11 ? of_kind("TGA of type " + std::to_string(type)) : "";
}

// WPG: type of the file at 9, version at 10, records from 16 on: a type, a length in one of three forms,
// the data. Bitmaps are records 11 and 20, their depth at 4 and 14.

std::string wpg_kind(Bytes file, int)
{
    if (file_number(file, 9, 1) != 0x16) {
        return of_kind("WordPerfect file of type " + std::to_string(file_number(file, 9, 1)));
    }
    if (file_number(file, 10, 1) > 1) {
        return of_kind("WPG version " + std::to_string(file_number(file, 10, 1)));
    }
    uint32_t bits = 0;
    for (size_t at = 16; at + 1 < file.size();) {
        const uint32_t type = file_number(file, at, 1);
        const uint32_t word = file_number(file, at + 2, 2);
        const bool is_short = file_number(file, at + 1, 1) < 0xFF;
        const bool is_long = !is_short && (word & 0x8000U) != 0;
        const size_t length = is_short  ? file_number(file, at + 1, 1)
                              : is_long ? (word & 0x7FFFU) << 16 | file_number(file, at + 4, 2)
                                        : word;
        at += is_short ? 2 : is_long ? 6 : 4;
        bits = type == 11 ? file_number(file, at + 4, 2) : type == 20 ? file_number(file, at + 14, 2) : bits;
        at = type == 16 ? file.size() : at + length;
    }
    return bits == 0   ? of_kind("WPG without a bitmap")
           : bits == 2 ? of_kind("WPG bitmap of 2 bits a pixel")
                       : "";
}

// EPS: positions of the metafile and the TIFF preview at 12 and 20.

std::string eps_kind(Bytes file, int page)
{
    const uint32_t tiff = file_number(file, 20, 4);
    if (tiff == 0) {
        return of_kind(file_number(file, 12, 4) != 0 ? "EPS whose preview is a metafile"
                                                     : "EPS without a preview");
    }
    if (tiff >= file.size()) {
        return of_kind("EPS whose preview lies outside the file");
    }
    const std::string preview = tiff_kind(file.subspan(tiff), page);
    return preview.empty() ? "" : "EPS with a preview in " + preview;
}

struct UnreadRow {
    int16_t format;
    std::string (*tell)(Bytes file, int page);  // empty: nothing that would not be read
};

// How a format names its kinds that are not read: a row, with a function that looks at the file's bytes. It
// is asked only when a load has failed or given no row at all.
constexpr UnreadRow kRows[] = {
    {ORV_FORMAT_BMP, bmp_kind},   {ORV_FORMAT_TIFF, tiff_kind}, {ORV_FORMAT_PCX, pcx_kind},
    {ORV_FORMAT_TGA, tga_kind},   {ORV_FORMAT_WPG, wpg_kind},   {ORV_FORMAT_EPS, eps_kind},
    {ORV_FORMAT_JPEG, jpeg_kind},
};

struct OtherKind {
    size_t at;
    std::string_view magic;
    const char* name;
};

using namespace std::string_view_literals;

constexpr OtherKind kOtherKinds[] = {
    {0, "\x89PNG\r\n\x1A\n"sv, "PNG"},
    {8, "WEBP"sv, "WebP"},
    {0, "%PDF-"sv, "PDF"},
    {0, "PK\x03\x04"sv, "ZIP"},
    {0, "\x1F\x8B"sv, "gzip"},
    {0, "8BPS"sv, "PSD"},
    {4, "ftyp"sv, "HEIF or video"},
    {4, "jP  \r\n"sv, "JPEG 2000"},
    {0, "II+\0"sv, "BigTIFF"},
    {0, "MM\0+"sv, "BigTIFF"},
    {0, "%!PS"sv, "a PostScript program"},
    {0, "BZh"sv, "bzip2"},
    {0, "\xFD\x37zXZ\0"sv, "xz"},
    {0, "#!"sv, "a script"},
    {0,
     "\x7F"
     "ELF"sv,
     "a program"},
};

}  // namespace

uint32_t file_number(std::span<const uint8_t> file, size_t at, size_t count, bool is_big_endian)
{
    uint32_t number = 0;
    if (at > file.size() || file.size() - at < count) {
        return 0;
    }
    for (size_t i = 0; i < count; ++i) {
        number = number << 8 | file[at + (is_big_endian ? i : count - 1 - i)];
    }
    return number;
}

std::string why_unread(int format, std::span<const uint8_t> file, int page)
{
    const auto row = std::ranges::find(kRows, format, &UnreadRow::format);
    return row == std::end(kRows) ? "" : row->tell(file, page);
}

std::string other_kind(std::span<const uint8_t> file)
{
    if (file.empty()) {
        return ": it is empty";
    }
    for (const OtherKind& kind : kOtherKinds) {
        const bool is_long_enough = file.size() >= kind.at + kind.magic.size();
        if (is_long_enough &&
            std::equal(kind.magic.begin(), kind.magic.end(), file.begin() + static_cast<ptrdiff_t>(kind.at),
                       [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; })) {
            return std::string(": it looks like ") + kind.name;
        }
    }
    return "";
}

}  // namespace orvimg
