// Writer of a PostScript program that draws the picture, 8 inches wide: rows of hexadecimal digits behind a
// few lines of text. Pictures of 4 and 8 bits carry their palette and look each index up in it.
#include <initializer_list>

#include "formats/format_readers.h"
#include "formats/interchange/eps_hex.h"
#include "frame/save.h"
#include "frame/scratch.h"
#include "frame/stream_writer.h"

namespace orv
{
namespace
{

// --- Lines and constants ---

// Each line ends in CR LF; %d stands for a number.
constexpr char kFirstLineBilevel[] = "%!PS-Adobe-2.0";
constexpr char kFirstLine[] = "%!PS-Adobe-3.0";
constexpr char kBilevelImage[] = "%d %d %d [%d 0 0 %d 0 %d] {currentfile picstr readhexstring pop} image";
constexpr char kPalette[] = "/pal <";
constexpr char kPaletteEnd[] = "> def";
constexpr char kColourString[] = "/rgbstr %d string def";
constexpr char kReadRow[] = "/read_raw {currentfile picstr readhexstring pop} def";
constexpr const char* kLookUp[] = {
    "/read8_24 {",
    "  read_raw",
    "  /rgb_ndx 0 def",
    "  {",
    "     3 mul pal exch 3 getinterval rgbstr exch rgb_ndx exch putinterval",
    "     /rgb_ndx rgb_ndx 3 add def",
    "  } forall rgbstr",
    "} def",
};
constexpr char kIndexedImage[] = "%d %d %d [%d 0 0 %d 0 %d] {read8_24} false 3 colorimage";
constexpr char kColourImage[] = "%d %d %d [%d 0 0 %d 0 %d] {read_raw} false 3 colorimage";

constexpr i32 kDotsPerInch = 300;
constexpr double kPageDots = 2400.0;  // the picture's width on the page
constexpr u32 kEntriesPerLine = 16;
constexpr u32 kRowSlack = 16;

void put_end(StreamWriter& out)
{
    put_bytes(out, "\r\n", 2);
}

void put_number(StreamWriter& out, i32 value)
{
    char digits[12];
    char* first = digits + sizeof digits;
    u32 rest = value < 0 ? 0U - static_cast<u32>(value) : static_cast<u32>(value);
    do {
        *--first = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest > 0);
    if (value < 0) {
        *--first = '-';
    }
    put_bytes(out, first, static_cast<u32>(digits + sizeof digits - first));
}

// A line with its numbers, in order.
void put_line(StreamWriter& out, const char* line, std::initializer_list<i32> numbers = {})
{
    const i32* number = numbers.begin();
    for (const char* c = line; *c != '\0'; ++c) {
        if (c[0] == '%' && c[1] == 'd') {
            put_number(out, *number++);
            ++c;
        } else {
            put_u8(out, static_cast<u8>(*c));
        }
    }
    put_end(out);
}

// --- Text ---

// Bytes of a row as the program reads it.
u32 row_bytes_of(const PictureSource& source)
{
    return source.bits == 4 ? static_cast<u32>(source.width) : source.row_bytes;
}

// Page, string and scale, the same for all depths.
void put_page(StreamWriter& out, const PictureSource& source, u32 row_bytes)
{
    const double page_scale = kPageDots / source.width;
    const i32 width_dots = static_cast<i32>(source.width * page_scale);
    const i32 height_dots = static_cast<i32>(source.height * page_scale);
    put_line(out, source.bits == 1 ? kFirstLineBilevel : kFirstLine);
    put_line(out, "gsave");
    put_line(out, "/inch { 72 mul } def");
    put_line(out, "/pixel { 72 mul %d div } def", {kDotsPerInch});
    put_line(out, "/imagetop { 10.75 inch %d pixel sub } def", {0});
    put_line(out, "/imagebottom { imagetop %d pixel sub } def", {height_dots});
    put_line(out, "/imageleft { 0.25 inch %d pixel add } def", {0});
    put_line(out, "/picstr %d string def", {static_cast<i32>(row_bytes)});
    put_line(out, "imageleft imagebottom translate");
    put_line(out, "%d pixel %d pixel scale", {width_dots, height_dots});
}

void put_palette(StreamWriter& out, const ImageHeader& header)
{
    const u32 entries = 1U << header.info.biBitCount;
    put_line(out, kPalette);
    for (u32 i = 0; i < entries; ++i) {
        const RGBQUAD& entry = header.palette[i];
        const u8 colour[] = {entry.rgbRed, entry.rgbGreen, entry.rgbBlue};
        hex_digits(colour, sizeof colour, writer_room(out, 2 * sizeof colour));
        writer_advance(out, 2 * sizeof colour);
        if (i + 1 == entries || i % kEntriesPerLine == kEntriesPerLine - 1) {
            put_end(out);
        } else {
            put_u8(out, ' ');
        }
    }
    put_line(out, kPaletteEnd);
}

// The operator that reads and draws the rows, with what it needs.
void put_image(StreamWriter& out, const ImageHeader& header, const PictureSource& source, u32 row_bytes)
{
    const i32 width = source.width;
    const i32 height = source.height;
    if (source.bits == 1) {
        put_line(out, kBilevelImage, {width, height, 1, width, -height, height});
        return;
    }
    if (source.bits != 24) {
        put_palette(out, header);
        put_line(out, kColourString, {static_cast<i32>(row_bytes) * 3});
    }
    put_line(out, kReadRow);
    if (source.bits != 24) {
        for (const char* line : kLookUp) {
            put_line(out, line);
        }
    }
    put_line(out, source.bits == 24 ? kColourImage : kIndexedImage, {width, height, 8, width, -height, height});
}

// --- Rows ---

// One index a byte, from two; at an odd width one byte more.
void indexes_spread(const u8* row, u32 width, u8* spread)
{
    for (u32 i = 0; i < (width + 1) / 2; ++i) {
        spread[i * 2] = row[i] >> 4;
        spread[i * 2 + 1] = row[i] & 15;
    }
}

// Red, green, blue from blue, green, red.
void colours_turn(const u8* row, u32 width, u8* turned)
{
    for (u32 x = 0; x < width * 3; x += 3) {
        turned[x] = row[x + 2];
        turned[x + 1] = row[x + 1];
        turned[x + 2] = row[x];
    }
}

// Writes `count` bytes as a line of digits.
void hex_write_bytes(StreamWriter& out, const u8* bytes, u32 count)
{
    hex_digits(bytes, count, writer_room(out, count * 2));
    writer_advance(out, count * 2);
    put_end(out);
}

ErrorCode put_rows(StreamWriter& out, PictureSource& source, u32 row_bytes)
{
    u8* const bytes = scratch_alloc(row_bytes + kRowSlack);
    if (bytes == nullptr) {
        return kOutOfMemory;
    }
    const u32 width = static_cast<u32>(source.width);
    return write_rows(source, out, RowOrder::TopFirst, [&](const u8* row) {
        if (source.bits == 4) {
            indexes_spread(row, width, bytes);
        } else if (source.bits == 24) {
            colours_turn(row, width, bytes);
        }
        const bool as_stored = source.bits == 1 || source.bits == 8;
        hex_write_bytes(out, as_stored ? row : bytes, row_bytes);
    });
}

}  // namespace

// --- Entry point ---

i16 eps_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    if (source.width < 1 || source.height < 1) {
        return kNotSupported;
    }
    progress_start();
    const u32 row_bytes = row_bytes_of(source);
    StreamWriter out;
    if (writer_open(out, stream, 0, row_bytes * 2) != kOk) {
        return kOutOfMemory;
    }
    put_page(out, source, row_bytes);
    progress_bump();
    put_image(out, header, source, row_bytes);
    progress_bump();
    if (const ErrorCode rows = put_rows(out, source, row_bytes); rows != kOk) {
        return rows;
    }
    put_line(out, "grestore");
    put_line(out, "showpage");
    const ErrorCode closed = writer_close(out);
    if (closed == kOk) {
        progress_finish();
    }
    return closed;
}

}  // namespace orv
