#include "frame/picture_sink.h"

#include <algorithm>
#include <bit>

#include "frame/handles.h"
#include "frame/load.h"
#include "frame/load_report.h"
#include "frame/scratch.h"

namespace orv
{
namespace
{

void mark(u64* set, i32 row)
{
    set[row / 64] |= u64{1} << (row % 64);
}

bool is_marked(const u64* set, i32 row)
{
    return (set[row / 64] >> (row % 64) & 1) != 0;
}

i32 count_marked(const u64* set)
{
    i32 count = 0;
    for (usize i = 0; i < kRowSetWords; ++i) {
        count += std::popcount(set[i]);
    }
    return count;
}

void arrived(PictureSink& sink, i32 row, RowState state)
{
    if (state != RowState::Missing) [[likely]] {
        mark(sink.came, row);
    }
    if (state == RowState::Repaired) [[unlikely]] {
        mark(sink.repaired, row);
    }
}

void clear_padding(const PictureSink& sink, u8* row)
{
    for (u32 at = sink.row_bytes; at < sink.stride; ++at) {
        row[at] = 0;
    }
}

void settle(PictureSink& sink, const BITMAPINFOHEADER& info)
{
    sink.width = info.biWidth;
    sink.height = info.biHeight;
    sink.bits = info.biBitCount;
    const i16 stride = delivered_row_bytes(static_cast<i16>(sink.width), static_cast<i16>(sink.bits));
    sink.stride = static_cast<u32>(std::max<i16>(stride, 0));
    sink.row_bytes = std::min(sink.stride, static_cast<u32>(i64{sink.width} * sink.bits + 7) / 8);
}

}  // namespace

i16 picture_begin_empty(PictureSink& sink, ImageHeader& header)
{
    settle(sink, header.info);
    const i16 wanted = sink.header_callback(&header, sink.user_data);
    if (wanted < 0) {
        sink.height = 0;
        return wanted;
    }
    if (sink.fills_image) {
        const ImageRecord* const record = handle_record(current_handle);
        sink.image = image_pixels(static_cast<ImageHeader*>(record->dib));
        return wanted;
    }
    sink.lent = scratch_alloc(sink.stride);
    return sink.lent == nullptr ? i16{kOutOfMemory} : wanted;
}

i16 picture_begin(PictureSink& sink, ImageHeader& header, DepthRule rule)
{
    const ErrorCode checked = header_check(header.info, rule);
    return checked == kOk ? picture_begin_empty(sink, header) : i16{checked};
}

void row_done(PictureSink& sink, i32 row, RowState state)
{
    if (row < 0 || row >= sink.height) {
        return;
    }
    arrived(sink, row, state);
    if (sink.image != nullptr) {
        clear_padding(sink, row_lend(sink, row));
    } else {
        sink.row_callback(sink.lent, sink.user_data, static_cast<i16>(row), static_cast<i16>(sink.stride));
    }
}

void row_give(PictureSink& sink, i32 row, const void* bytes, RowState state)
{
    if (row < 0 || row >= sink.height) {
        return;
    }
    arrived(sink, row, state);
    if (sink.image != nullptr) {
        u8* const place = row_lend(sink, row);
        std::memcpy(place, bytes, sink.row_bytes);
        clear_padding(sink, place);
    } else {
        sink.row_callback(bytes, sink.user_data, static_cast<i16>(row), static_cast<i16>(sink.stride));
    }
}

u8* rows_lend_upward(PictureSink& sink, i32 bottom_row, i32 count)
{
    const bool inside = count > 0 && bottom_row < sink.height && bottom_row - count >= -1;
    return sink.image == nullptr || !inside ? nullptr : row_lend(sink, bottom_row);
}

void rows_done_upward(PictureSink& sink, i32 bottom_row, i32 count)
{
    for (i32 row = bottom_row; row > bottom_row - count; --row) {
        row_done(sink, row);
    }
}

void picture_end(PictureSink& sink, i16 result)
{
    LoadReport& report = load_report;
    report.rows = sink.height;
    const i32 came = count_marked(sink.came);
    report.rows_repaired = count_marked(sink.repaired);
    report.rows_whole = came - report.rows_repaired;
    report.rows_missing = sink.height - came;
    report.reason = sink.reason != nullptr ? sink.reason : report.rows_missing > 0 ? "rows did not come" : "";
    if (sink.image == nullptr || result < 0 || report.rows_missing == 0) {
        return;
    }
    for (i32 row = 0; row < sink.height; ++row) {
        if (!is_marked(sink.came, row)) {
            std::memset(row_lend(sink, row), 0, sink.stride);
        }
    }
}

}  // namespace orv
