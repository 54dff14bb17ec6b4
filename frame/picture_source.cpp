#include "frame/picture_source.h"

#include <algorithm>

#include "frame/rows.h"
#include "frame/scratch.h"

namespace orv
{

namespace
{

constexpr u32 kCacheLine = 64;  // bytes

}  // namespace

void frame_row_source(void* user_data, void* destination, i16 row, i16 length)
{
    const RowContext& context = *static_cast<const RowContext*>(user_data);
    const i32 storage_row = row + context.y_rows;
    const i32 from = std::clamp(context.x_bytes, 0, context.stride);
    const i32 to = std::clamp(context.x_bytes + length, 0, context.stride);
    const bool inside = storage_row >= 0 && storage_row < context.height && from < to;
    if (!inside || to - from < length) {
        std::memset(destination, 0, static_cast<usize>(length));
    }
    if (inside) {
        std::memcpy(static_cast<u8*>(destination) + (from - context.x_bytes),
                    context.pixels + i64{storage_row} * context.stride + from, static_cast<usize>(to - from));
    }
}

ErrorCode source_open(PictureSource& source, const BITMAPINFOHEADER& info)
{
    source.width = info.biWidth;
    source.height = info.biHeight;
    source.bits = info.biBitCount;
    source.stride = static_cast<u32>(row_stride_wide(source.width, source.bits));
    source.row_bytes = static_cast<u32>((i64{source.width} * source.bits + 7) / 8);
    source.scratch = scratch_alloc(source.stride);
    return source.scratch == nullptr ? kOutOfMemory : kOk;
}

const u8* rows_take(const PictureSource& source, i32 row, i32 count)
{
    if (source.image == nullptr) {
        return nullptr;
    }
    const RowContext& image = *source.image;
    const i32 storage_row = row + image.y_rows;
    const bool inside = storage_row >= 0 && storage_row + count <= image.height && image.x_bytes >= 0 &&
                        i64{image.x_bytes} + source.stride <= image.stride;
    const bool joined = count == 1 || (image.x_bytes == 0 && source.stride == static_cast<u32>(image.stride));
    return inside && joined ? image.pixels + i64{storage_row} * image.stride + image.x_bytes : nullptr;
}

const u8* row_take(PictureSource& source, i32 row)
{
    const u8* const lent = rows_take(source, row, 1);
    if (lent != nullptr) {
        return lent;
    }
    source.row_source(source.user_data, source.scratch, static_cast<i16>(row), static_cast<i16>(source.stride));
    return source.scratch;
}

void row_prefetch(const PictureSource& source, i32 row)
{
    const u8* const lent = rows_take(source, row, 1);
    for (u32 at = 0; lent != nullptr && at < source.row_bytes; at += kCacheLine) {
        __builtin_prefetch(lent + at);
    }
}

ErrorCode write_plain_rows(PictureSource& source, StreamWriter& out, u32 bytes)
{
    ProgressRows progress = progress_rows(source.height);
    for (i32 row = 0; row < source.height;) {
        // As many rows at once as there are to the next report.
        const i32 most = std::min(progress.last_tick + progress.rows_per_tick, source.height - 1) - row + 1;
        const u8* const rows = bytes == source.stride && most > 1 ? rows_take(source, row, most) : nullptr;
        const i32 count = rows == nullptr ? 1 : most;
        put_bytes(out, rows == nullptr ? row_take(source, row) : rows, static_cast<u32>(count) * bytes);
        if (out.failed) {
            return kShortWrite;
        }
        row += count;
        progress_tick(progress, row - 1);
    }
    progress_rows_done();
    return kOk;
}

}  // namespace orv
