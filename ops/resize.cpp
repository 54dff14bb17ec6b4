// Sizes by point sampling.
#include <algorithm>
#include <array>

#include "ops/operation.h"
#include "ops/resize_rows.h"
#include "ops/transpose_kernels.h"

namespace orv
{
namespace
{

struct NewSize {
    i16 width;
    i16 height;
};

// Distances of the samples with 8 fraction bits.
i32 step_x(const Operation& op)
{
    return (op.width << 8) / op.result_width;
}
i32 step_y(const Operation& op)
{
    return (op.height << 8) / op.result_height;
}

ErrorCode measure_resize(Operation& op)
{
    const NewSize& size = *static_cast<const NewSize*>(op.argument);
    if (size.width < 1 || size.height < 1) {
        return kNotSupported;
    }
    op.result_width = size.width;
    op.result_height = size.height;
    return kOk;
}

void resize_by_rows(Operation& op)
{
    const u32 step = static_cast<u32>(step_x(op));
    const i32 row_step = step_y(op);
    const usize bytes = static_cast<usize>(op.result_stride);
    i32 previous = -1;
    for (i32 row = 0, position = 0; row < op.result_height; ++row, position += row_step) {
        const i32 from = position >> 8;
        if (from == previous) {
            std::memcpy(result_row(op, row), result_row(op, row - 1), bytes);
            continue;
        }
        previous = from;
        resize_row(op.bits, {source_row(op, from), static_cast<usize>(op.stride)}, {result_row(op, row), bytes},
                   step, op.result_width);
    }
}

// Single bits are faster moved as columns of many rows. A tile is 256 rows of 256 pixels; mirrored on the
// diagonal, it is 256 columns of 32 bytes.
constexpr i32 kTileSide = 256;
constexpr usize kColumnBytes = kTileSide / 8;
using Tile = std::array<u8, kTileSide * kColumnBytes>;
static_assert(sizeof(Tile) <= kTileBytes);

struct Tiles {
    Tile source;   // the rows that the target rows show, not yet scaled in width
    Tile columns;  // the same by columns
    Tile picked;   // the target's columns
    Tile target;
};

// Takes the source columns of tile number `across` for the target rows from `first` on.
void load_columns(const Operation& op, i32 first, i32 across, Tiles& tiles)
{
    const usize offset = static_cast<usize>(across) * kColumnBytes;
    const usize bytes = std::min(kColumnBytes, static_cast<usize>(op.stride) - offset);
    const i32 rows = std::min(kTileSide, op.result_height - first);
    const i32 row_step = step_y(op);
    for (i32 k = 0; k < rows; ++k) {
        const i32 from = (first + k) * row_step >> 8;
        std::memcpy(tiles.source.data() + static_cast<usize>(k) * kColumnBytes, source_row(op, from) + offset,
                    bytes);
    }
    rotate_transpose_band(1, tiles.source, tiles.columns);
}

void resize_tile(Operation& op, i32 first, i32 start, Tiles& tiles)
{
    const i32 step = step_x(op);
    const i32 columns = std::min(kTileSide, op.result_width - start);
    i32 loaded = -1;
    u8* picked = tiles.picked.data();
    for (i32 i = 0, position = start * step; i < columns; ++i, position += step) {
        const i32 column = position >> 8;
        if (column / kTileSide != loaded) {
            loaded = column / kTileSide;
            load_columns(op, first, loaded, tiles);
        }
        std::memcpy(picked, tiles.columns.data() + static_cast<usize>(column % kTileSide) * kColumnBytes,
                    kColumnBytes);
        picked += kColumnBytes;
    }
    std::fill(picked, tiles.picked.data() + tiles.picked.size(), u8{0});
    rotate_transpose_band(1, tiles.picked, tiles.target);

    const usize offset = static_cast<usize>(start) / 8;
    const usize bytes = std::min(kColumnBytes, static_cast<usize>(op.result_stride) - offset);
    const i32 rows = std::min(kTileSide, op.result_height - first);
    for (i32 k = 0; k < rows; ++k) {
        std::memcpy(result_row(op, first + k) + offset,
                    tiles.target.data() + static_cast<usize>(k) * kColumnBytes, bytes);
    }
}

void resize_by_tiles(Operation& op)
{
    Tiles tiles = {};
    for (i32 first = 0; first < op.result_height; first += kTileSide) {
        for (i32 start = 0; start < op.result_width; start += kTileSide) {
            resize_tile(op, first, start, tiles);
        }
    }
}

// Tiles pay where most of each is used: not in small pictures, nor where few columns are left over.
void resize_image(Operation& op)
{
    const bool tiles_pay =
        op.result_width >= kTileSide / 4 && op.result_height >= kTileSide / 4 && step_x(op) <= 8 * 256;
    if (op.bits == 1 && tiles_pay) {
        resize_by_tiles(op);
    } else {
        resize_by_rows(op);
    }
}

void finish_resize(Operation& op)
{
    ImageRecord& record = *op.record;
    record.dest_width = record.crop_width = op.result_width;
    record.dest_height = record.crop_height = op.result_height;
    record.crop_left = 0;
    record.crop_top = 0;
}

constexpr OperationPlan kResize = {
    .depths = kAllDepths,
    .storage = Storage::NewHeader,
    .measure = measure_resize,
    .image = resize_image,
    .finish = finish_resize,
};

}  // namespace
}  // namespace orv

int16_t IMG_resize_bitmap(int32_t handle, int16_t new_width, int16_t new_height)
{
    const orv::NewSize size = {new_width, new_height};
    return orv::operation_run(handle, orv::kResize, &size);
}
