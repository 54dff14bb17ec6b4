#include "frame/picture_source.h"

#include <algorithm>

#include "frame/rows.h"
#include "frame/scratch.h"

namespace orv
{

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

const u8* row_take(PictureSource& source, i32 row)
{
    if (source.image != nullptr) {
        const RowContext& image = *source.image;
        const i32 storage_row = row + image.y_rows;
        const i64 end = i64{image.x_bytes} + source.stride;
        if (storage_row >= 0 && storage_row < image.height && image.x_bytes >= 0 && end <= image.stride) {
            return image.pixels + i64{storage_row} * image.stride + image.x_bytes;
        }
    }
    source.row_source(source.user_data, source.scratch, static_cast<i16>(row), static_cast<i16>(source.stride));
    return source.scratch;
}

}  // namespace orv
