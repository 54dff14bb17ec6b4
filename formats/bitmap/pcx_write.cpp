// Writer of PCX at 1, 4, 8 and 24 bits. At low vertical resolution every other line is left out, which
// the reader's doubling puts back.
#include <algorithm>
#include <array>

#include "formats/bitmap/pcx.h"
#include "formats/bitmap/pcx_planes.h"
#include "formats/bitmap/pcx_runs.h"
#include "formats/format_readers.h"
#include "frame/blocks.h"
#include "frame/bytes.h"
#include "frame/progress.h"
#include "frame/scratch.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u16 kFineDpi = 200;
constexpr u16 kStandardDpi = 100;
constexpr u32 kCodeBytes = 32768;  // code is written in pieces of about this size

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

// Collects the code of planes on its way to the stream.
struct CodeWriter {
    StreamHandle stream;
    u8* code;
    u32 capacity;
    u32 fill;
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

void colours_store(u8* to, const RGBQUAD* palette, u32 entries)
{
    for (u32 i = 0; i < entries; ++i, to += 3) {
        to[0] = palette[i].rgbRed;
        to[1] = palette[i].rgbGreen;
        to[2] = palette[i].rgbBlue;
    }
}

bool header_write(StreamHandle stream, const ImageHeader& header, const Planes& planes)
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
    store_le16(head.data() + kPcxVDpi, fine ? kFineDpi : kStandardDpi);
    if (header.info.biBitCount <= 4) {
        colours_store(head.data() + kPcxColormap, header.palette, 1U << header.info.biBitCount);
    }
    head[kPcxPlanes] = planes.count;
    store_le16(head.data() + kPcxBytesPerLine, planes.bytes_per_line);
    store_le16(head.data() + kPcxPaletteInfo, planes.palette_info);
    return stream_write_all(stream, head.data(), kPcxHeaderBytes);
}

bool palette_write(StreamHandle stream, const ImageHeader& header)
{
    std::array<u8, 1 + kPcxPaletteBytes> block{};
    block[0] = kPcxPaletteMarker;
    colours_store(block.data() + 1, header.palette, 256);
    return stream_write_all(stream, block.data(), block.size());
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

bool code_flush(CodeWriter& out)
{
    const bool whole = stream_write_all(out.stream, out.code, out.fill);
    out.fill = 0;
    return whole;
}

bool plane_write(CodeWriter& out, const u8* plane, u32 count)
{
    if (out.capacity - out.fill < count * 2 + kPcxCodeSlack && !code_flush(out)) {
        return false;
    }
    out.fill += pcx_code_plane(plane, count, out.code + out.fill);
    return true;
}

// `line` has room for the row's planes.
bool row_write(CodeWriter& out, const BITMAPINFOHEADER& info, const Planes& planes, const u8* row, u8* line)
{
    const u8* source = row;
    if (info.biBitCount == 4) {
        pcx_split_bits(row, static_cast<u32>(info.biWidth), line, planes.bytes_per_line);
        source = line;
    } else if (info.biBitCount == 24) {
        pcx_split_colours(row, line, planes.bytes_per_line);
        source = line;
    }
    for (u32 k = 0; k < planes.count; ++k) {
        if (!plane_write(out, source + usize{k} * planes.bytes_per_line, planes.bytes_per_line)) {
            return false;
        }
    }
    return true;
}

ErrorCode rows_write(CodeWriter& out, const BITMAPINFOHEADER& info, const Planes& planes, const Limits& limits,
                     RowSource row_source, void* user_data)
{
    const i16 stride = RowStride(static_cast<i16>(info.biWidth), static_cast<i16>(info.biBitCount));
    u8* row = scratch_alloc(static_cast<u32>(stride) + kPcxPlaneSlack);
    u8* line = scratch_alloc(static_cast<u32>(stride) + kPcxPlaneSlack);
    if (row == nullptr || line == nullptr) {
        return kOutOfMemory;
    }
    percent_bump(limits);
    ProgressRows progress = progress_rows(info.biHeight);
    const i32 step = save_fine_resolution != 0 ? 1 : 2;
    for (i32 r = 0; r < info.biHeight; r += step) {
        row_source(user_data, row, static_cast<i16>(info.biHeight - r - 1), stride);
        if (!row_write(out, info, planes, row, line)) {
            return kShortWrite;
        }
        progress_tick_capped(progress, r, limits.rows);
    }
    scratch_free(line);
    scratch_free(row);
    return code_flush(out) ? kOk : kShortWrite;
}

}  // namespace

// --- Entry point ---

i16 pcx_write_image(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data)
{
    const Planes planes = planes_of(header->info);
    if (planes.count == 0) {
        return kNotSupported;
    }
    const Limits limits = limits_start();
    percent_bump(limits);
    if (!header_write(stream, *header, planes)) {
        return kShortWrite;
    }
    const u32 capacity = std::max(kCodeBytes, planes.bytes_per_line * 2 + kPcxCodeSlack);
    CodeWriter out = {.stream = stream, .code = block_alloc(capacity), .capacity = capacity, .fill = 0};
    if (out.code == nullptr) {
        return kOutOfMemory;
    }
    const ErrorCode written = rows_write(out, header->info, planes, limits, row_source, user_data);
    block_free(out.code);
    if (written != kOk) {
        return written;
    }
    save_percent = static_cast<i16>(limits.rows);
    progress_fire(save_percent);
    if (header->info.biBitCount == 8 && !palette_write(stream, *header)) {
        return kShortWrite;
    }
    progress_end(limits);
    return kOk;
}

}  // namespace orv
