// Sizes by point sampling.
#include "ops/operation.h"
#include "ops/resize_rows.h"

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

void resize_image(Operation& op)
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
