#include "formats/tiff/tiff_directory_write.h"

#include <algorithm>

#include "frame/bytes.h"
#include "frame/save.h"
#include "frame/text_buffers.h"

namespace orv
{

// --- The bytes of the format ---
//
// Directory            20 entries with a palette, else 19
// XResolution, YResolution       two RATIONALs
// ColorMap or BitsPerSample      with a palette, and at 24 bits
// date, name                     both text buffers whole; no entry points at the name
// data

// --- Records and constants ---

namespace
{

constexpr u32 kStripBytes = 10000;  // of rows in a strip of LZW, at most
constexpr u32 kEntries = 19;
constexpr u32 kResolutionBytes = 16;
constexpr u32 kT4AlignedEol = 4;  // T4Options: EOLs end on a byte boundary

// Resolutions of a picture that has none: 640/9 and 480/7 dots an inch.
constexpr u32 kNoResolution[4] = {640, 9, 480, 7};

struct Layout {
    u32 entries;
    u32 resolutions;  // positions in the file
    u32 map;
    u32 date;
    u32 data;
};

Layout layout_of(const BITMAPINFOHEADER& info, u32 position)
{
    const bool has_map = info.biBitCount == 4 || info.biBitCount == 8;
    const u32 map_bytes = has_map ? 6u << info.biBitCount : info.biBitCount == 24 ? 6 : 0;
    const u32 entries = kEntries + (has_map ? 1 : 0);
    const u32 resolutions = position + 2 + kTiffEntryBytes * entries + 4;
    const u32 date = resolutions + kResolutionBytes + map_bytes;
    return {.entries = entries,
            .resolutions = resolutions,
            .map = resolutions + kResolutionBytes,
            .date = date,
            .data = date + kDateBufferBytes + kNameBufferBytes};
}

}  // namespace

TiffStrips tiff_lzw_strips(const BITMAPINFOHEADER& info)
{
    const u32 height = static_cast<u32>(info.biHeight);
    const u32 row_bytes = (static_cast<u32>(info.biWidth) * info.biBitCount + 7) / 8;
    const u32 strip_rows = std::clamp(kStripBytes / row_bytes, 1u, height);
    return {.row_bytes = row_bytes, .strip_rows = strip_rows, .strips = (height + strip_rows - 1) / strip_rows};
}

// --- The file around the page ---

namespace
{

enum class Existing : u8 { Empty, Tiff, Other };

// What the stream holds. `first` gets the position of a TIFF's first directory.
Existing look_at(StreamHandle stream, u32 size, u32& first)
{
    u8 bytes[kTiffHeaderBytes];
    const bool at_start = stream_seek_to(stream, 0);  // the caller may have left it anywhere
    if (size == 0) {
        return Existing::Empty;
    }
    if (!at_start || !stream_read_exact(stream, bytes, sizeof bytes) ||
        load_le16(bytes) != kLittleEndianOrder) {
        return Existing::Other;
    }
    first = load_le32(bytes + kTiffFirstField);
    return Existing::Tiff;
}

// Finds the last directory and places the stream at the end of the file, where the new one will be.
ErrorCode tiff_append_directory(StreamHandle stream, u32 first, u32 size, TiffPage& page)
{
    const TiffFile file = {.tiff_stream = stream,
                           .tiff_base_offset = 0,
                           .tiff_byte_order = kLittleEndianOrder,
                           .fax_marker_seen = false};
    const ErrorCode found = tiff_find_chain_end(file, first, page.link);
    if (found != kOk || !stream_seek_to(stream, size)) {
        return kBadData;
    }
    page.position = size;
    return kOk;
}

void put_file_header(StreamWriter& out)
{
    put_le16(out, kLittleEndianOrder);
    put_le16(out, kTiffVersion);
    put_le32(out, kTiffHeaderBytes);
}

ErrorCode open_page(StreamWriter& out, StreamHandle stream, u32 most_room, const TiffPage& page)
{
    const bool is_new = page.link == 0;
    if (writer_open(out, stream, is_new ? 0 : page.position, most_room) != kOk) {
        return kOutOfMemory;
    }
    if (is_new) {
        put_file_header(out);
    }
    return kOk;
}

}  // namespace

ErrorCode tiff_start_page(StreamWriter& out, StreamHandle stream, u32 most_room, TiffPage& page)
{
    page = {.position = kTiffHeaderBytes, .link = 0, .tiff_byte_count_position = 0, .tiff_data_start = 0};
    if (stream == MEMORY_STREAM) {
        stream_seek_to(stream, 0);
        return open_page(out, stream, most_room, page);
    }
    {
        const u32 size = stream_size(stream);
        u32 first;
        const Existing existing = look_at(stream, size, first);
        const bool takes_page =
            existing == Existing::Empty ||
            (existing == Existing::Tiff && tiff_append_directory(stream, first, size, page) == kOk);
        if (!takes_page) {
            return kBadData;
        }
    }
    return open_page(out, stream, most_room, page);
}

ErrorCode tiff_start_file(StreamWriter& out, StreamHandle stream, u32 most_room, TiffPage& page)
{
    if (stream != MEMORY_STREAM && stream_size(stream) != 0) {
        return kBadData;
    }
    return tiff_start_page(out, stream, most_room, page);
}

ErrorCode tiff_finish_page(StreamWriter& out, const TiffPage& page)
{
    if (page.link != 0 && writer_flush(out)) {
        writer_seek(out, page.link);
        put_le32(out, page.position);
    }
    return writer_close(out);
}

void tiff_patch_byte_count(StreamWriter& out, const TiffPage& page)
{
    const u32 bytes = writer_position(out) - page.tiff_data_start;
    writer_seek(out, page.tiff_byte_count_position);
    put_le32(out, bytes);
}

// --- The directory ---

namespace
{

void put_entry(StreamWriter& out, TiffTag tag, TiffFieldType type, u32 count, u32 value)
{
    put_le16(out, tag);
    put_le16(out, type);
    put_le32(out, count);
    put_le32(out, value);
}

u32 photometric_of(u16 bits, TiffCompression compression)
{
    if (bits == 24) {
        return kTiffRgb;
    }
    if (bits != 1) {
        return kTiffPalette;
    }
    return tiff_is_ccitt(compression) ? kWhiteIsZero : kBlackIsZero;
}

u32 page_number()
{
    return static_cast<u16>(save_page_counter - 1) | static_cast<u32>(static_cast<u16>(save_page_total)) << 16;
}

u32 date_length()
{
    const auto* const end = static_cast<const char*>(std::memchr(date_buffer, 0, kDateBufferBytes));
    return end == nullptr ? kDateBufferBytes : static_cast<u32>(end - date_buffer);
}

// All reds, all greens, all blues. The byte of a colour is the high one.
void put_color_map(StreamWriter& out, const ImageHeader& header)
{
    const u32 entries = 1u << header.info.biBitCount;
    for (u8 RGBQUAD::*const colour : {&RGBQUAD::rgbRed, &RGBQUAD::rgbGreen, &RGBQUAD::rgbBlue}) {
        for (u32 i = 0; i < entries; ++i) {
            put_le16(out, header.palette[i].*colour * 256u);
        }
    }
}

// What stands behind the entries.
void put_values(StreamWriter& out, const ImageHeader& header)
{
    const BITMAPINFOHEADER& info = header.info;
    put_le32(out, 0);  // the next directory
    const u32 own[4] = {static_cast<u32>(info.biXPelsPerMeter), 1, static_cast<u32>(info.biYPelsPerMeter), 1};
    const bool known = own[0] != 0 && own[2] != 0;
    for (u32 i = 0; i < 4; ++i) {
        put_le32(out, known ? own[i] : kNoResolution[i]);
    }
    if (info.biBitCount == 24) {
        for (u32 i = 0; i < 3; ++i) {
            put_le16(out, 8);
        }
    } else if (info.biBitCount != 1) {
        put_color_map(out, header);
    }
    put_bytes(out, date_buffer, kDateBufferBytes);
    put_bytes(out, name_buffer, kNameBufferBytes);
}

}  // namespace

void tiff_write_directory(StreamWriter& out, const ImageHeader& header, i32 width, i32 height,
                          TiffCompression compression, TiffPage& page)
{
    const u16 bits = header.info.biBitCount;
    const Layout at = layout_of(header.info, page.position);
    const TiffStrips lzw = tiff_lzw_strips(header.info);
    const u32 rows = static_cast<u32>(height);
    const bool in_strips = compression == kTiffLzw;
    const u32 strips = in_strips ? lzw.strips : 1;
    const bool mirrored = compression == kTiffT4 || compression == kTiffT6;
    put_le16(out, at.entries);
    put_entry(out, kNewSubfileType, kTiffLong, 1, 0);
    put_entry(out, kImageWidth, kTiffShort, 1, static_cast<u32>(width));
    put_entry(out, kImageLength, kTiffShort, 1, rows);
    put_entry(out, kBitsPerSample, kTiffShort, bits == 24 ? 3 : 1, bits == 24 ? at.map : bits);
    put_entry(out, kCompression, kTiffShort, 1, compression);
    put_entry(out, kPhotometric, kTiffShort, 1, photometric_of(bits, compression));
    put_entry(out, kFillOrder, kTiffShort, 1, mirrored ? kFillOrderReversed : kFillOrderNormal);
    put_entry(out, kStripOffsets, kTiffLong, strips, at.data);
    put_entry(out, kOrientation, kTiffShort, 1, 1);
    put_entry(out, kSamplesPerPixel, kTiffShort, 1, bits == 24 ? 3 : 1);
    put_entry(out, kRowsPerStrip, kTiffShort, 1, in_strips ? lzw.strip_rows : rows);
    put_entry(out, kStripByteCounts, kTiffLong, strips,
              in_strips ? at.data + 4 * strips : lzw.row_bytes * rows);
    page.tiff_byte_count_position = writer_position(out) - 4;
    put_entry(out, kXResolution, kTiffRational, 1, at.resolutions);
    put_entry(out, kYResolution, kTiffRational, 1, at.resolutions + 8);
    put_entry(out, kPlanarConfiguration, kTiffShort, 1, kPlanarContiguous);
    put_entry(out, kT4Options, kTiffLong, 1, kT4AlignedEol);
    put_entry(out, kResolutionUnit, kTiffShort, 1, kUnitInch);
    put_entry(out, kPageNumber, kTiffShort, 2, page_number());
    put_entry(out, kDateTime, kTiffAscii, date_length(), at.date);
    if (at.entries > kEntries) {
        put_entry(out, kColorMap, kTiffShort, 3u << bits, at.map);
    }
    put_values(out, header);
    page.tiff_data_start = writer_position(out);
}

}  // namespace orv
