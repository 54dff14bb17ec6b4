// Reader of PCX: a header of 128 bytes, lines of planes in run-length code, and at 8 bits a palette at
// the end of the file. A page that a fax program stored at half the vertical resolution is stretched:
// every line arrives twice.
#include <algorithm>
#include <array>

#include "formats/bitmap/pcx.h"
#include "formats/bitmap/pcx_planes.h"
#include "formats/bitmap/pcx_runs.h"
#include "formats/format_readers.h"
#include "formats/line_doubling.h"
#include "frame/blocks.h"
#include "frame/bytes.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u16 kGrayPalette = 2;  // PaletteInfo
constexpr u32 kColourBytes = 3;  // red, green, blue

// How the planes of a line make pixels.
enum class Layout { Packed, BitPlanes, ColourPlanes, Unread };

struct PcxFile {
    Layout layout;
    u8 version;
    i32 planes;
    u16 palette_info;
    u32 bytes_per_line;  // of one plane
    u32 line_bytes;      // of all planes
    i32 lines;           // as stored
};

// Set by every read: the bits of a 1-bit file are to be flipped, because its palette is white and black
// where the picture's will be black and white.
i32 pcx_invert;

// --- Parsing and checks ---

// The planes and bits that make a picture. Two bits a pixel pass as a header without rows; of the other
// sizes the check of the header tells that they can't be carried.
bool layout_find(i32 bits, i32 planes, PcxFile& file, i32& depth)
{
    if (planes == 4 && bits == 4) {
        bits = 1;
    }
    file.planes = planes;
    depth = bits == 1 && planes == 3 ? 4 : bits * planes;
    if (planes == 1 && (bits == 1 || bits == 4 || bits == 8)) {
        file.layout = Layout::Packed;
    } else if (bits == 1 && depth == 4) {
        file.layout = Layout::BitPlanes;
    } else if (bits == 8 && planes == 3) {
        file.layout = Layout::ColourPlanes;
    } else {
        const bool sound =
            (bits == 1 || bits == 2 || bits == 4 || bits == 8) && planes >= 1 && planes <= kPcxMaxPlanes;
        file.layout = Layout::Unread;
        return sound && depth != 4 && depth != 8 && depth != 24;
    }
    return true;
}

// A fax page of low vertical resolution, as it is stated in round numbers or in those of ITU-T T.4.
bool is_fax_at_half_height(u16 hdpi, u16 vdpi)
{
    return (vdpi == 100 || vdpi == 98) && (hdpi == 200 || hdpi == 204);
}

// Fills the file's record, the header without its palette, and the resolutions.
ErrorCode header_parse(const u8* head, PcxFile& file, BITMAPINFOHEADER& info)
{
    const i32 width = load_le16(head + kPcxXmax) - load_le16(head + kPcxXmin) + 1;
    const u16 hdpi = load_le16(head + kPcxHDpi);
    const u16 vdpi = load_le16(head + kPcxVDpi);
    line_doubling = is_fax_at_half_height(hdpi, vdpi) ? 1 : 0;
    extra_info.x_resolution = static_cast<i16>(hdpi);
    extra_info.y_resolution = static_cast<i16>(line_doubling != 0 ? vdpi * 2 : vdpi);
    extra_info.stored_y_resolution = static_cast<i16>(vdpi);

    file.version = head[kPcxVersion];
    file.palette_info = load_le16(head + kPcxPaletteInfo);
    file.bytes_per_line = load_le16(head + kPcxBytesPerLine);
    file.lines = load_le16(head + kPcxYmax) - load_le16(head + kPcxYmin) + 1;
    i32 depth = 0;
    if (!layout_find(static_cast<i8>(head[kPcxBitsPerPixel]), static_cast<i8>(head[kPcxPlanes]), file, depth) ||
        file.bytes_per_line == 0) {
        return kBadData;
    }
    file.line_bytes = file.bytes_per_line * static_cast<u32>(file.planes);

    info.biSize = kBitmapHeaderBytes;
    info.biWidth = width;
    info.biHeight = line_doubling != 0 ? file.lines * 2 : file.lines;
    info.biPlanes = 1;
    info.biBitCount = static_cast<u16>(depth);
    const ErrorCode checked = header_check(info, depth == 2 ? DepthRule::Streamed : DepthRule::Carried);
    if (checked == kOk) {
        info.biSizeImage = static_cast<u32>(row_stride_wide(width, depth) * info.biHeight);
    }
    return checked;
}

// `colours` are the file's own, red, green and blue.
void palette_set(ImageHeader& header, const PcxFile& file, u16 palette_info, const u8* colours)
{
    RGBQUAD* palette = header.palette;
    const u32 entries = 1U << header.info.biBitCount;
    if (palette_info == kGrayPalette) {
        palette_build_default(&header, "tiff");
    } else if (file.version == 0 || file.version == 3) {
        palette_build_default(&header, "pcx");
    } else {
        for (u32 i = 0; i < entries; ++i) {
            const u8* colour = colours + usize{i} * kColourBytes;
            palette[i] = {.rgbBlue = colour[2], .rgbGreen = colour[1], .rgbRed = colour[0], .rgbReserved = 0};
        }
    }
    if (entries != 2 || (palette[1].rgbBlue | palette[1].rgbGreen | palette[1].rgbRed) != 0) {
        return;
    }
    const bool light = palette[0].rgbBlue != 0 && palette[0].rgbGreen != 0 && palette[0].rgbRed != 0;
    const bool black = (palette[0].rgbBlue | palette[0].rgbGreen | palette[0].rgbRed) == 0;
    if (light) {
        pcx_invert = 1;
    }
    if (light || black) {
        palette_build_default(&header, "tiff");
    }
}

// The 8-bit palette stands at the end of the stream, whatever lies between it and the lines.
void palette_read(StreamHandle stream, ImageHeader& header, const PcxFile& file, const u8* head)
{
    if (header.info.biBitCount <= 4) {
        palette_set(header, file, file.palette_info, head + kPcxColormap);
    } else if (header.info.biBitCount == 8) {
        std::array<u8, kPcxPaletteBytes> colours{};
        if (stream_seek(stream, -static_cast<i32>(kPcxPaletteBytes), kFromEnd) >= 0) {
            stream_read(stream, colours.data(), kPcxPaletteBytes);
        }
        palette_set(header, file, 0, colours.data());
    }
}

// --- Rows ---

void invert(u8* row, u32 count)
{
    for (u32 at = 0; at < count; ++at) {
        row[at] ^= 0xFF;
    }
}

// Makes the row that a decoded line holds. What the line does not reach is zero.
void line_finish(const PcxFile& file, const PictureSink& sink, const u8* line, u8* row)
{
    u32 used = 0;
    if (file.layout == Layout::BitPlanes) {
        const u32 bytes = std::min(file.bytes_per_line, sink.stride / 4);
        pcx_merge_bits(line, file.bytes_per_line, file.planes, row, bytes);
        used = bytes * 4;
    } else if (file.layout == Layout::ColourPlanes) {
        const u32 pixels = std::min(file.bytes_per_line, static_cast<u32>(sink.width));
        pcx_merge_colours(line, file.bytes_per_line, row, pixels);
        used = pixels * kColourBytes;
    } else {
        used = std::min(file.line_bytes, sink.stride);
        std::memcpy(row, line, used);
        if (pcx_invert != 0) {
            invert(row, used);
        }
    }
    std::memset(row + used, 0, sink.stride - used);
}

void rows_deliver(const PcxFile& file, PictureSink& sink, u8* line, StreamHandle stream)
{
    ChunkReader in = chunk_open(stream);
    i32 row = 0;
    for (i32 n = 0; n < file.lines; ++n) {
        if (!pcx_decode_line(in, line, file.line_bytes)) {
            picture_note(sink, kNoteDataEnded);
            return;
        }
        u8* const place = row_lend(sink, row);
        line_finish(file, sink, line, place);
        row_done(sink, row++);
        if (line_doubling != 0) {
            row_give(sink, row++, place);
        }
    }
}

ErrorCode rows_read(const PcxFile& file, PictureSink& sink, StreamHandle stream)
{
    // A line of four planes may be longer than a scratch block.
    u8* line = block_alloc(usize{file.line_bytes} + kPcxLineSlack);
    if (line == nullptr) {
        return kOutOfMemory;
    }
    rows_deliver(file, sink, line, stream);
    block_free(line);
    return kOk;
}

}  // namespace

// --- Entry points ---

i16 pcx_read_at(u32 base, PictureSink& sink, StreamHandle stream)
{
    pcx_invert = 0;
    std::array<u8, kPcxHeaderBytes> head{};
    if (!stream_seek_to(stream, base) || !stream_read_exact(stream, head.data(), kPcxHeaderBytes)) {
        return kUnreadable;
    }
    u8* block = scratch_alloc(kImageHeaderBytes);
    if (block == nullptr) {
        return kOutOfMemory;
    }
    ImageHeader& header = *reinterpret_cast<ImageHeader*>(block);
    PcxFile file{};
    const ErrorCode parsed = header_parse(head.data(), file, header.info);
    if (parsed != kOk) {
        return parsed;
    }
    palette_read(stream, header, file, head.data());
    const i16 accepted = picture_begin(sink, header, DepthRule::Streamed);
    if (accepted < 0) {
        return accepted;
    }
    if (file.layout == Layout::Unread) {
        picture_note(sink, "pixels of two bits are not read");
        return kReaderDone;
    }
    if (!stream_seek_to(stream, base + kPcxHeaderBytes)) {
        return kReaderDone;
    }
    const ErrorCode result = rows_read(file, sink, stream);
    return result == kOk ? i16{kReaderDone} : i16{result};
}

i16 pcx_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    return pcx_read_at(seek_to_picture(offset_or_page, stream), sink, stream);
}

}  // namespace orv
