// Writer of PCX at 1, 4, 8 and 24 bits. At low vertical resolution every other line is left out, which
// the reader's doubling puts back.
#include <algorithm>
#include <array>

#include "formats/bitmap/pcx.h"
#include "formats/bitmap/pcx_planes.h"
#include "formats/bitmap/pcx_runs.h"
#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/progress.h"
#include "frame/scratch.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u16 kFineDpi = 200;
constexpr u16 kLowDpi = 100;

// How far the percentage may go: within the page's share of a DCX job, or within a job of one save.
struct Limits {
    i32 rows;       // until the rows are done
    i32 file_done;  // behind the file; of a DCX page only
};

struct Planes {
    u8 version;
    u8 bits;
    u8 count;
    u8 palette_info;
    u32 bytes_per_line;
};

// --- Header ---

// No planes for a depth that is not written.
Planes planes_of(const BITMAPINFOHEADER& info)
{
    const u32 width = static_cast<u32>(info.biWidth);
    switch (info.biBitCount) {
    case 1: return {.version = 2, .bits = 1, .count = 1, .palette_info = 1, .bytes_per_line = (width + 7) / 8};
    case 4: return {.version = 2, .bits = 1, .count = 4, .palette_info = 1, .bytes_per_line = (width + 7) / 8};
    case 8: return {.version = 5, .bits = 8, .count = 1, .palette_info = 1, .bytes_per_line = width};
    case 24: return {.version = 3, .bits = 8, .count = 3, .palette_info = 0, .bytes_per_line = width};
    default: return {};
    }
}

u32 longest_code(const Planes& planes)
{
    return planes.bytes_per_line * 2 + kPcxCodeSlack;
}

void colours_store(u8* to, const RGBQUAD* palette, u32 entries)
{
    for (u32 i = 0; i < entries; ++i, to += 3) {
        to[0] = palette[i].rgbRed;
        to[1] = palette[i].rgbGreen;
        to[2] = palette[i].rgbBlue;
    }
}

void put_header(StreamWriter& out, const ImageHeader& header, const Planes& planes)
{
    const u32 last_line = static_cast<u32>(header.info.biHeight) - 1;
    const bool fine = save_fine_resolution != 0;
    std::array<u8, kPcxHeaderBytes> head{};
    head[kPcxManufacturer] = 10;
    head[kPcxVersion] = planes.version;
    head[kPcxEncoding] = 1;
    head[kPcxBitsPerPixel] = planes.bits;
    store_le16(head.data() + kPcxXmax, static_cast<u32>(header.info.biWidth) - 1);
    store_le16(head.data() + kPcxYmax, fine ? last_line : last_line / 2);
    store_le16(head.data() + kPcxHDpi, kFineDpi);
    store_le16(head.data() + kPcxVDpi, fine ? kFineDpi : kLowDpi);
    if (header.info.biBitCount <= 4) {
        colours_store(head.data() + kPcxColormap, header.palette, 1U << header.info.biBitCount);
    }
    head[kPcxPlanes] = planes.count;
    store_le16(head.data() + kPcxBytesPerLine, planes.bytes_per_line);
    store_le16(head.data() + kPcxPaletteInfo, planes.palette_info);
    put_bytes(out, head.data(), kPcxHeaderBytes);
}

void put_palette(StreamWriter& out, const ImageHeader& header)
{
    std::array<u8, 1 + kPcxPaletteBytes> block{};
    block[0] = kPcxPaletteMarker;
    colours_store(block.data() + 1, header.palette, 256);
    put_bytes(out, block.data(), static_cast<u32>(block.size()));
}

// --- Progress ---

Limits limits_start()
{
    if (dcx_writing == 0) {
        save_page_counter = 1;
        progress_fire(1);
        return {.rows = 90, .file_done = 100};
    }
    const i32 top = save_page_counter * 100 / page_total();
    const i32 bottom = (save_page_counter - 1) * 100 / page_total();
    const i32 range = top - bottom;
    return {.rows = bottom + range * 70 / 100, .file_done = bottom + range * 75 / 100};
}

void percent_bump(const Limits& limits)
{
    const i32 total = page_total();
    i32 percent = save_percent;
    if (total > 5) {
        percent += save_page_counter <= 5 ? 1 : 0;
    } else {
        percent += 5 / total;
    }
    if (dcx_writing != 0) {
        percent = std::min(percent, limits.rows);
    }
    save_percent = static_cast<i16>(percent);
    progress_fire(save_percent);
}

void progress_end(const Limits& limits)
{
    if (dcx_writing != 0) {
        save_percent = static_cast<i16>(limits.file_done);
        progress_fire(save_percent);
        return;
    }
    progress_fire(100);
    save_percent = 0;
    save_page_counter = 0;
}

// --- Rows ---

// The planes of a row, one behind the other; `copy` and `line` have room for them and for the coder's look
// behind them.
const u8* row_split(const PictureSource& source, const Planes& planes, const u8* row, u8* copy, u8* line)
{
    std::memcpy(copy, row, source.stride);
    if (source.bits == 4) {
        pcx_split_bits(copy, static_cast<u32>(source.width), line, planes.bytes_per_line);
        return line;
    }
    if (source.bits == 24) {
        pcx_split_colours(copy, line, planes.bytes_per_line);
        return line;
    }
    return copy;
}

void put_row(StreamWriter& out, const Planes& planes, const u8* split)
{
    for (u32 k = 0; k < planes.count; ++k) {
        u8* const code = writer_room(out, longest_code(planes));
        writer_advance(out,
                       pcx_code_plane(split + usize{k} * planes.bytes_per_line, planes.bytes_per_line, code));
    }
}

// The top row first; at low resolution every other one.
ErrorCode put_rows(StreamWriter& out, PictureSource& source, const Planes& planes, const Limits& limits)
{
    u8* copy = scratch_alloc(source.stride + kPcxPlaneSlack);
    u8* line = scratch_alloc(source.stride + kPcxPlaneSlack);
    if (copy == nullptr || line == nullptr) {
        return kOutOfMemory;
    }
    percent_bump(limits);
    ProgressRows progress = progress_rows(source.height);
    const i32 step = save_fine_resolution != 0 ? 1 : 2;
    for (i32 r = 0; r < source.height; r += step) {
        put_row(out, planes, row_split(source, planes, row_take(source, source.height - r - 1), copy, line));
        if (out.failed) {
            return kShortWrite;
        }
        progress_tick_capped(progress, r, limits.rows);
    }
    return kOk;
}

}  // namespace

// --- Entry point ---

i16 pcx_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    const Planes planes = planes_of(header.info);
    if (planes.count == 0) {
        return kNotSupported;
    }
    const Limits limits = limits_start();
    percent_bump(limits);
    StreamWriter out;
    if (writer_open(out, stream, 0, longest_code(planes)) != kOk) {
        return kOutOfMemory;
    }
    put_header(out, header, planes);
    const ErrorCode rows = put_rows(out, source, planes, limits);
    if (rows != kOk) {
        return rows;
    }
    save_percent = static_cast<i16>(limits.rows);
    progress_fire(save_percent);
    if (source.bits == 8) {
        put_palette(out, header);
    }
    const ErrorCode closed = writer_close(out);
    if (closed == kOk) {
        progress_end(limits);
    }
    return closed;
}

}  // namespace orv
