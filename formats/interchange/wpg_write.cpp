// Writer of WPG: one bitmap with its colours, on a page of fixed size. The length of the bitmap's record
// is known behind its rows and patched then.
#include <algorithm>

#include "formats/format_readers.h"
#include "formats/interchange/wpg.h"
#include "formats/interchange/wpg_runs.h"
#include "frame/save.h"
#include "frame/stream_writer.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u16 kPageWidth = 9600;
constexpr u16 kPageHeight = 13200;
constexpr u16 kUnitsShift = 4;  // of a pixel, in the bitmap's corners
constexpr u32 kLongLength = 0xFF;
constexpr u32 kLongestLength = 0x8000;

constexpr u8 kFileHeader[kWpgHeaderBytes] = {
    0xFF, 'W',  'P', 'C', kWpgHeaderBytes, 0, 0, 0,  // the first record is behind this
    1,    0x16,                                      // product, file type: graphics
    1,    0,                                         // version
    0,    0,    0,   0,                              // not encrypted
};
constexpr u8 kStyleRecord[] = {kWpgBitmap2Style, 5, 0, 2, 0, 0x0F, 0};

// Where a caller's stream stands; records are patched at positions that count from its start.
u32 position_of(StreamHandle stream)
{
    return stream == MEMORY_STREAM ? memory_stream_pos
                                   : static_cast<u32>(std::max(stream_seek(stream, 0, kFromHere), 0));
}

// --- Records ---

void put_front(StreamWriter& out)
{
    put_bytes(out, kFileHeader, sizeof kFileHeader);
    put_u8(out, kWpgStart);
    put_u8(out, 6);
    put_u8(out, 1);  // version
    put_u8(out, 0);  // flags
    put_le16(out, kPageWidth);
    put_le16(out, kPageHeight);
    put_bytes(out, kStyleRecord, sizeof kStyleRecord);
}

void put_colour_map(StreamWriter& out, const ImageHeader& header)
{
    const u32 entries = 1U << header.info.biBitCount;
    put_u8(out, kWpgColourMap);
    put_u8(out, kLongLength);
    put_le16(out, kWpgMapHeadBytes + entries * kWpgColourBytes);
    put_le16(out, 0);  // the first index
    put_le16(out, entries);
    progress_fire(5);
    progress_bump();
    for (u32 i = 0; i < entries; ++i) {
        put_u8(out, header.palette[i].rgbRed);
        put_u8(out, header.palette[i].rgbGreen);
        put_u8(out, header.palette[i].rgbBlue);
    }
}

// The record's type and its length, in the form of 31 bits.
void put_bitmap_head(StreamWriter& out, u32 length)
{
    put_u8(out, kWpgBitmap2);
    put_u8(out, kLongLength);
    put_le16(out, length >> 16 | kLongestLength);
    put_le16(out, length);
}

void put_bitmap_size(StreamWriter& out, const PictureSource& source)
{
    const u32 width = static_cast<u32>(source.width);
    const u32 height = static_cast<u32>(source.height);
    put_zeros(out, 6);  // rotation and the first corner
    put_le16(out, width << kUnitsShift);
    put_le16(out, height << kUnitsShift);
    put_le16(out, width);
    put_le16(out, height);
    put_le16(out, source.bits);
    put_le16(out, kPageWidth);  // the resolutions
    put_le16(out, kPageHeight);
}

// --- Rows ---

// Each row is coded by itself. Adds its bytes to `total`.
void wpg_encode_row(StreamWriter& out, const u8* row, u32 row_bytes, u32& total)
{
    u8* const code = writer_room(out, wpg_code_room(row_bytes));
    const u32 used = wpg_code_row(row, row_bytes, code);
    writer_advance(out, used);
    total += used;
}

}  // namespace

// --- Entry point ---

i16 wpg_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    if (source.bits == 24) {
        return kNotSupported;
    }
    progress_start();
    const u32 row_bytes = wpg_row_bytes(static_cast<u32>(source.width), source.bits);
    StreamWriter out;
    if (writer_open(out, stream, position_of(stream), wpg_code_room(row_bytes)) != kOk) {
        return kOutOfMemory;
    }
    put_front(out);
    put_colour_map(out, header);
    const u32 bitmap = writer_position(out);
    put_bitmap_head(out, 0);
    put_bitmap_size(out, source);
    progress_bump();
    u32 total = kWpgPlaceBytes + kWpgBitmapBytes;
    const ErrorCode rows = write_rows(source, out, RowOrder::TopFirst,
                                      [&](const u8* row) { wpg_encode_row(out, row, row_bytes, total); });
    if (rows != kOk) {
        return rows;
    }
    put_u8(out, kWpgEnd);
    put_u8(out, 0);
    writer_seek(out, bitmap);
    put_bitmap_head(out, total);
    const ErrorCode closed = writer_close(out);
    if (closed == kOk) {
        progress_finish();
    }
    return closed;
}

}  // namespace orv
