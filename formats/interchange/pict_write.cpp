// Writer of PICT: version 2, one bitmap opcode for the whole picture. 1, 4 and 8 bits become indexed pixels
// with a colour table, 24 bits direct pixels in planes.
#include "formats/interchange/pict_write.h"
#include "formats/bitmap/pcx_planes.h"
#include "formats/format_readers.h"
#include "formats/interchange/pict.h"
#include "formats/interchange/pict_packbits.h"
#include "frame/picture_source.h"
#include "frame/progress.h"
#include "frame/save.h"
#include "frame/scratch.h"
#include "frame/stream_writer.h"

namespace orv
{

u32 pict_bytes_written;

namespace
{

// --- Records and constants ---

constexpr u32 kMostRowBytes = kPictPixMapMark - 2;  // even, and what rowBytes has room for
constexpr u32 kDotsPerInch = 72;
constexpr u32 kTableByPosition = 0x8000;
constexpr u32 kDirectPixels = 0x10;
constexpr u32 kLineMode = 0x001E;  // an opcode without data that all writers of this kind put first

// Bytes of an unpacked row as rowBytes states them, even. At 24 bits a byte more a pixel is stated than the
// rows have.
u32 pict_row_bytes(i32 width, u16 bits)
{
    const u32 pixels = static_cast<u32>(width);
    const u32 bytes = bits == 24 ? pixels * 4 : (pixels * bits + 7) / 8;
    return (bytes + 1) & ~1U;
}

// --- Header ---

void rectangle_put(StreamWriter& out, const BITMAPINFOHEADER& info)
{
    put_be16(out, 0);
    put_be16(out, 0);
    put_be16(out, static_cast<u32>(info.biHeight));
    put_be16(out, static_cast<u32>(info.biWidth));
}

// A whole number as 16 bits and a fraction of 16 bits.
void fixed_put(StreamWriter& out, u32 value)
{
    put_be32(out, value << 16);
}

void picture_head_put(StreamWriter& out, const BITMAPINFOHEADER& info, u32 row_bytes)
{
    put_zeros(out, kPictPreambleBytes);
    put_be16(out, row_bytes * static_cast<u32>(info.biHeight));
    rectangle_put(out, info);
    put_be16(out, kPictVersion2);
    put_be16(out, kPictVersion2Mark);
    put_be16(out, kPictHeader);
    put_be16(out, 0);
    put_be32(out, 0xFFFFFFFF);
    put_zeros(out, 8);
    fixed_put(out, static_cast<u32>(info.biWidth));
    fixed_put(out, static_cast<u32>(info.biHeight));
    put_be32(out, 0);
    put_be16(out, kLineMode);
    put_be16(out, kPictClipRegion);
    put_be16(out, 10);
    rectangle_put(out, info);
    if (info.biBitCount == 24) {
        put_be16(out, kPictDirectBitsRect);
        put_be32(out, 0);
    } else {
        put_be16(out, kPictPackBitsRect);
    }
    put_be16(out, row_bytes | kPictPixMapMark);
}

void pixmap_put(StreamWriter& out, const BITMAPINFOHEADER& info)
{
    const bool direct = info.biBitCount == 24;
    rectangle_put(out, info);
    put_be16(out, 0);  // version
    put_be16(out, direct ? u32{kPictPackedPlanes} : 0);
    put_be32(out, 0);  // packed size
    fixed_put(out, kDotsPerInch);
    fixed_put(out, kDotsPerInch);
    put_be16(out, direct ? kDirectPixels : 0);
    put_be16(out, direct ? 32 : info.biBitCount);
    put_be16(out, direct ? 3 : 1);  // components
    put_be16(out, direct ? 8 : info.biBitCount);
    put_zeros(out, 12);  // bytes to the next plane, colour table, reserved
}

void table_put(StreamWriter& out, const ImageHeader& header)
{
    const u32 colours = 1U << header.info.biBitCount;
    put_be32(out, 0);  // seed
    put_be16(out, kTableByPosition);
    put_be16(out, colours - 1);
    for (u32 i = 0; i < colours; ++i) {
        const RGBQUAD& colour = header.palette[i];
        put_be16(out, 0);
        put_be16(out, static_cast<u32>(colour.rgbRed << 8));
        put_be16(out, static_cast<u32>(colour.rgbGreen << 8));
        put_be16(out, static_cast<u32>(colour.rgbBlue << 8));
    }
}

// --- Rows ---

ErrorCode rows_put(StreamWriter& out, const BITMAPINFOHEADER& info, PictureSource& source, u32 row_bytes)
{
    if (info.biBitCount != 24) {
        return write_rows(source, out, RowOrder::TopFirst,
                          [&](const u8* row) { pict_pack_row(out, row, row_bytes); });
    }
    const u32 width = static_cast<u32>(info.biWidth);
    u8* const planes = scratch_alloc(width * 3);
    if (planes == nullptr) {
        return kOutOfMemory;
    }
    return write_rows(source, out, RowOrder::TopFirst, [&](const u8* row) {
        pcx_split_colours(row, planes, width);
        pict_pack_row(out, planes, width * 3);
    });
}

ErrorCode picture_put(StreamWriter& out, const ImageHeader& header, PictureSource& source, u32 row_bytes)
{
    const BITMAPINFOHEADER& info = header.info;
    picture_head_put(out, info, row_bytes);
    progress_bump();
    pixmap_put(out, info);
    if (info.biBitCount != 24) {
        table_put(out, header);
    }
    rectangle_put(out, info);  // source
    rectangle_put(out, info);  // destination
    put_be16(out, 0);          // mode
    progress_bump();
    pict_bytes_written = 0;
    const ErrorCode written = rows_put(out, info, source, row_bytes);
    if (written != kOk) {
        return written;
    }
    put_zeros(out, pict_bytes_written % 2);
    put_be16(out, kPictEnd);
    return writer_close(out);
}

}  // namespace

ErrorCode pict_pack_row(StreamWriter& out, const u8* row, u32 length)
{
    const u32 count_bytes = length > kPictShortRow ? 2 : 1;
    u8* const room = writer_room(out, count_bytes + pict_pack_room(length));
    const u32 packed = pict_pack(row, length, room + count_bytes);
    // Of a longer count the low bits are kept: readers find the row's end by its codes.
    room[0] = static_cast<u8>(count_bytes == 2 ? packed >> 8 : packed);
    if (count_bytes == 2) {
        room[1] = static_cast<u8>(packed);
    }
    writer_advance(out, count_bytes + packed);
    pict_bytes_written += count_bytes + packed;
    return out.failed ? kShortWrite : kOk;
}

// --- Entry point ---

i16 pict_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    const u32 row_bytes = pict_row_bytes(header.info.biWidth, header.info.biBitCount);
    if (row_bytes > kMostRowBytes) {
        return kNotSupported;
    }
    progress_start();
    StreamWriter out;
    const ErrorCode opened = writer_open(out, stream, 0, 2 + pict_pack_room(row_bytes));
    if (opened != kOk) {
        return opened;
    }
    const ErrorCode written = picture_put(out, header, source, row_bytes);
    if (written == kOk) {
        progress_finish();
    }
    return written;
}

}  // namespace orv
