// Reader of TGA: image types 1, 2, 3 and their run-length forms at 8, 15, 16, 24 and 32 bits a pixel.
// Pictures of 8 bits stay so, all others become 24 bits; alpha is dropped.
#include <algorithm>
#include <array>

#include "formats/bitmap/tga.h"
#include "formats/bitmap/tga_rows.h"
#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/chunk_reader.h"
#include "frame/load.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

// --- Records and constants ---

struct TgaFile {
    u32 id_bytes;
    bool run_length;
    bool top_first;
    i32 width;
    i32 height;
    u32 pixel_bits;   // 8, 15, 16, 24 or 32
    u32 pixel_bytes;  // in the file
    u32 row_bytes;    // in the file
    u32 map_entries;  // 0 without a colour map
    u32 map_bytes;    // of one entry
};

// --- Parsing and checks ---

ErrorCode header_parse(const u8* head, TgaFile& file, BITMAPINFOHEADER& info)
{
    file.id_bytes = head[kTgaIdLength];
    file.run_length =
        head[kTgaImageType] >= kTgaRunLength + kTgaMapped && head[kTgaImageType] <= kTgaRunLength + kTgaGray;
    file.top_first = (head[kTgaDescriptor] & kTgaTopFirst) != 0;
    file.width = load_le16(head + kTgaWidth);
    file.height = load_le16(head + kTgaHeight);
    file.pixel_bits = head[kTgaPixelBits];
    if (file.pixel_bits != 8 && file.pixel_bits != 15 && file.pixel_bits != 16 && file.pixel_bits != 24 &&
        file.pixel_bits != 32) {
        return kNotSupported;
    }
    file.pixel_bytes = (file.pixel_bits + 7) / 8;
    file.row_bytes = static_cast<u32>(file.width) * file.pixel_bytes;
    if (head[kTgaMapType] != 0) {
        const u32 bits = head[kTgaMapBits];
        if (bits != 15 && bits != 16 && bits != 24 && bits != 32) {
            return kBadData;
        }
        file.map_entries = load_le16(head + kTgaMapEntries);
        file.map_bytes = (bits + 7) / 8;
    }
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = file.width;
    info.biHeight = file.height;
    info.biPlanes = 1;
    info.biBitCount = file.pixel_bits == 8 ? 8 : 24;
    // Stated for 24 bits, whatever the depth.
    info.biSizeImage = static_cast<u32>(row_stride_wide(file.width, 24) * file.height);
    return header_check(info);
}

// Reads on to behind `count` bytes: a pipe can't be sought.
void bytes_skip(StreamHandle stream, u32 count)
{
    std::array<u8, 256> passed;
    while (count != 0) {
        const u32 piece = std::min<u32>(count, passed.size());
        if (stream_read(stream, passed.data(), static_cast<u16>(piece)) < piece) {
            return;
        }
        count -= piece;
    }
}

// The map's entries become the palette from its start on; those behind the 256th are passed over, and
// so is the whole map of a picture that has no palette.
void map_read(StreamHandle stream, const TgaFile& file, ImageHeader& header)
{
    std::array<u8, kTgaPaletteEntries * 4> map;
    const u32 kept = header.info.biBitCount == 8 ? std::min(file.map_entries, kTgaPaletteEntries) : 0;
    const u32 got = stream_read(stream, map.data(), static_cast<u16>(kept * file.map_bytes));
    for (u32 i = 0; (i + 1) * file.map_bytes <= got; ++i) {
        const u8* entry = map.data() + usize{i} * file.map_bytes;
        RGBQUAD& colour = header.palette[i];
        if (file.map_bytes == 2) {
            std::array<u8, 3> spread{};
            tga_row_from_words(entry, spread.data(), 1);
            colour = {.rgbBlue = spread[0], .rgbGreen = spread[1], .rgbRed = spread[2], .rgbReserved = 0};
        } else {
            colour = {.rgbBlue = entry[0],
                      .rgbGreen = entry[1],
                      .rgbRed = entry[2],
                      .rgbReserved = file.map_bytes == 4 ? entry[3] : u8{0}};
        }
    }
    bytes_skip(stream, (file.map_entries - kept) * file.map_bytes);
}

// --- Rows ---

// A row of the file as it is delivered. `from` may be where it goes.
void row_convert(const TgaFile& file, const u8* from, u8* to)
{
    const u32 width = static_cast<u32>(file.width);
    switch (file.pixel_bits) {
    case 15:
    case 16: tga_row_from_words(from, to, width); break;
    case 32: tga_row_from_quads(from, to, width); break;
    default:
        if (from != to) {
            std::memcpy(to, from, file.row_bytes);
        }
        break;
    }
}

// The picture's row that the file has in place `nth`.
i32 row_number(const TgaFile& file, i32 nth)
{
    return file.top_first ? nth : file.height - 1 - nth;
}

// Rows that the file has in the image's form and order, read at once where they belong. The number of rows
// that are done.
i32 rows_read_in_place(StreamHandle stream, const TgaFile& file, PictureSink& sink)
{
    const bool same = !file.top_first && file.row_bytes == sink.stride;
    u8* const rows = same ? rows_lend_upward(sink, sink.height - 1, sink.height) : nullptr;
    if (rows == nullptr) {
        return 0;
    }
    const usize came = stream_read_all(stream, rows, usize{sink.stride} * static_cast<u32>(sink.height));
    const i32 whole = static_cast<i32>(came / sink.stride);
    rows_done_upward(sink, sink.height - 1, whole);
    if (whole == sink.height) {
        return whole;
    }
    std::memset(rows + came, 0, sink.stride - came % sink.stride);
    row_done(sink, sink.height - 1 - whole, row_state(came % sink.stride, sink.row_bytes));
    picture_note(sink, kNoteDataEnded);
    return whole + 1;
}

// All rows are delivered; what the file lacks of them is zero.
void rows_read_raw(StreamHandle stream, const TgaFile& file, PictureSink& sink, u8* row)
{
    const bool direct = file.pixel_bits == 8 || file.pixel_bits == 24;
    for (i32 nth = rows_read_in_place(stream, file, sink); nth < file.height; ++nth) {
        const i32 number = row_number(file, nth);
        u8* const place = row_lend(sink, number);
        u8* const to = direct ? place : row;
        const usize came = stream_read_all(stream, to, file.row_bytes);
        if (came < file.row_bytes) {
            std::memset(to + came, 0, file.row_bytes - came);
            picture_note(sink, kNoteDataEnded);
        }
        row_convert(file, to, place);
        row_done(sink, number, row_state(came, file.row_bytes));
    }
}

void rows_read_runs(StreamHandle stream, const TgaFile& file, PictureSink& sink, u8* row)
{
    TgaRuns runs = {.in = chunk_open(stream), .pixel_bytes = file.pixel_bytes};
    for (i32 nth = 0; nth < file.height; ++nth) {
        if (!tga_decode_row(runs, row, static_cast<u32>(file.width))) {
            picture_note(sink, kNoteDataEnded);
            return;
        }
        const i32 number = row_number(file, nth);
        row_convert(file, row, row_lend(sink, number));
        row_done(sink, number);
    }
}

}  // namespace

// --- Entry point ---

i16 tga_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    seek_to_picture(offset_or_page, stream);
    std::array<u8, kTgaHeaderBytes> head{};
    if (!stream_read_exact(stream, head.data(), kTgaHeaderBytes)) {
        return kBadData;
    }
    u8* header_block = scratch_alloc(kImageHeaderBytes);
    if (header_block == nullptr) {
        return kOutOfMemory;
    }
    ImageHeader& header = *reinterpret_cast<ImageHeader*>(header_block);
    TgaFile file{};
    const ErrorCode parsed = header_parse(head.data(), file, header.info);
    if (parsed != kOk) {
        return parsed;
    }
    bytes_skip(stream, file.id_bytes);
    if (head[kTgaMapType] != 0) {
        map_read(stream, file, header);
    } else {
        palette_build_default(&header, "tiff");
    }
    const i16 accepted = picture_begin(sink, header);
    if (accepted < 0) {
        return accepted;
    }
    // The widest row of a file has 43,684 bytes.
    u8* row = scratch_alloc(file.row_bytes + kTgaRowSlack);
    if (row == nullptr) {
        return kOutOfMemory;
    }
    if (file.run_length) {
        rows_read_runs(stream, file, sink, row);
    } else {
        rows_read_raw(stream, file, sink, row);
    }
    return kReaderDone;
}

}  // namespace orv
