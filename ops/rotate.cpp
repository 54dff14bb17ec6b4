// Turns by right angles. A quarter turn is a mirroring on the diagonal followed by a flip; the flip costs
// nothing, since it only changes which source row is read, or which new row is written:
//
//     flip of the new rows' pixels (270) = mirroring on the diagonal of the source rows in reverse order
//     flip of the new rows' order (90)   = new rows stored in reverse order
#include <algorithm>
#include <array>

#include "ops/flip.h"
#include "ops/transpose_kernels.h"

namespace orv
{
namespace
{

enum class Turn : i16 { Diagonal = 0, Quarter = 90, Half = 180, ThreeQuarters = 270 };

struct Tiles {
    alignas(64) std::array<u8, kTileBytes> source = {};
    alignas(64) std::array<u8, kTileBytes> target;
};

Turn turn_of(const Operation& op)
{
    return *static_cast<const Turn*>(op.argument);
}

// Fills the source tile with `rows` rows from `start` on, from byte `offset` of each; rows that the
// picture does not have are zero, and become the padding of the new rows. Bytes behind the stride stay
// as they are: they belong to no new row.
void rotate_read_band(const Operation& op, i32 start, usize offset, i32 side, std::span<u8> tile)
{
    const usize tile_stride = static_cast<usize>(side) * static_cast<usize>(op.bits) / 8;
    const usize bytes = std::min(tile_stride, static_cast<usize>(op.stride) - offset);
    const bool reverse = turn_of(op) == Turn::ThreeQuarters;
    const i32 rows = std::min(side, op.height - start);
    u8* place = tile.data();
    for (i32 k = 0; k < rows; ++k, place += tile_stride) {
        const i32 row = reverse ? op.height - 1 - (start + k) : start + k;
        std::memcpy(place, source_row(op, row) + offset, bytes);
    }
    std::memset(place, 0, tile_stride * static_cast<usize>(side - rows));
}

// Puts the target tile's rows into the new rows from `first` on, from pixel `start` of each. A tile that
// passes the end of the new rows holds zeros there.
void rotate_merge_band(Operation& op, i32 first, i32 start, i32 side, std::span<const u8> tile)
{
    const usize tile_stride = static_cast<usize>(side) * static_cast<usize>(op.bits) / 8;
    const usize offset = static_cast<usize>(start) * static_cast<usize>(op.bits) / 8;
    const usize bytes = std::min(tile_stride, static_cast<usize>(op.result_stride) - offset);
    const bool reverse = turn_of(op) == Turn::Quarter;
    const i32 rows = std::min(side, op.width - first);
    for (i32 k = 0; k < rows; ++k) {
        const i32 row = reverse ? op.result_height - 1 - (first + k) : first + k;
        std::memcpy(result_row(op, row) + offset, tile.data() + static_cast<usize>(k) * tile_stride, bytes);
    }
}

ErrorCode measure_diagonal(Operation& op)
{
    op.result_width = op.height;
    op.result_height = op.width;
    return kOk;
}

void turn_image(Operation& op)
{
    const i32 side = rotate_tile_side(op.bits);
    Tiles tiles;
    for (i32 start = 0; start < op.height; start += side) {
        for (i32 column = 0; column < op.width; column += side) {
            const usize offset = static_cast<usize>(column) * static_cast<usize>(op.bits) / 8;
            rotate_read_band(op, start, offset, side, tiles.source);
            rotate_transpose_band(op.bits, tiles.source, tiles.target);
            rotate_merge_band(op, column, start, side, tiles.target);
        }
    }
}

// The record already has the new sizes.
void finish_diagonal(Operation& op)
{
    ImageRecord& record = *op.record;
    std::swap(record.crop_left, record.crop_top);
    std::swap(record.crop_width, record.crop_height);
    record.dest_width = record.crop_width;
    record.dest_height = record.crop_height;
    crop_flip_x(record);
    crop_flip_y(record);
    if (turn_of(op) == Turn::Quarter) {
        crop_flip_y(record);
    } else if (turn_of(op) == Turn::ThreeQuarters) {
        crop_flip_x(record);
    }
}

void half_turn_row(Operation& op, i32 row)
{
    const usize stride = static_cast<usize>(op.stride);
    mirror_row(op.bits, op.width, {source_row(op, op.height - 1 - row), stride}, {result_row(op, row), stride});
}

void finish_half_turn(Operation& op)
{
    crop_flip_x(*op.record);
    crop_flip_y(*op.record);
}

constexpr OperationPlan kDiagonal = {
    .depths = kAllDepths,
    .storage = Storage::NewHeader,
    .measure = measure_diagonal,
    .image = turn_image,
    .finish = finish_diagonal,
};

constexpr OperationPlan kHalfTurn = {
    .depths = kAllDepths,
    .storage = Storage::SameHeader,
    .row = half_turn_row,
    .finish = finish_half_turn,
};

}  // namespace
}  // namespace orv

int16_t IMG_rotate_bitmap(int32_t handle, int16_t angle)
{
    using orv::Turn;
    if (angle == static_cast<int16_t>(Turn::Half)) {
        return orv::operation_run(handle, orv::kHalfTurn);
    }
    const Turn turn = angle == 90 ? Turn::Quarter : angle == 270 ? Turn::ThreeQuarters : Turn::Diagonal;
    return orv::operation_run(handle, orv::kDiagonal, &turn);
}
