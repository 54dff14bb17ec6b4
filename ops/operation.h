// The frame in which every operation on a picture runs. Locking, refusing, working memory, the new
// block, the reports, the loop over the rows, replacing the block and finishing the header stand here
// once. An operation is a constant OperationPlan and the few functions that know its pixels:
//
//     void gray_row(Operation& op, i32 row) { ... source_row(op, row) ... result_row(op, row) ... }
//
//     constexpr OperationPlan kGray = {.depths = kDepth4 | kDepth8 | kDepth24, .storage = Storage::NewHeader,
//                                      .progress = Progress::Full, .saved_palette = SavedPalette::Ends,
//                                      .result_bits = 8, .palette = "tiff", .row = gray_row};
//
//     int16_t IMG_color_gray(int32_t handle) { return operation_run(handle, kGray); }
//
// The steps, in order; those in brackets report (Progress::Full alone):
//   handle, lock, depth                      kBadHandle; [1]; kNotSupported
//   measure                                  sizes of the result and of the working blocks
//   the result can be carried                kNotSupported (row above 32,764 bytes, side above 32,767)
//   working blocks                           kOutOfMemory
//   prepare                                  whatever needs the working blocks and may still fail
//   the new block, header and palette        [5]; kOutOfMemory
//   row for every row, or image once         [10; 4, 8, 12 ... every height / 20 rows; 90 if still below]
//   saved palette, new block into the record
//   finish                                   crop rectangle and whatever else belongs to the record
//   release, unlock                          [100]
// Whatever fails ahead of the rows leaves the image as it was, with everything released.
#pragma once

#include <array>

#include "frame/handles.h"
#include "frame/rows.h"
#include "frame/types.h"

namespace orv
{

enum class Storage : u8 {
    InPlace,     // rows are changed where they lie: `result` is `source`
    SameHeader,  // a new block with header and palette copied byte for byte
    NewHeader,   // a new block; size, depth and biSizeImage of its header are the result's
};

enum class Progress : u8 { None, Full };

// Whether the palette that IMG_set_lut keeps for the picture outlives the operation.
enum class SavedPalette : u8 { Stays, Ends };

// A running operation as its functions see it. Rows are numbered as stored, 0 at the bottom.
struct Operation {
    i32 handle;
    ImageRecord* record;
    const void* argument;  // what operation_run was given: the exported function's further arguments

    const ImageHeader* source;  // null, as source_rows, once a new block has taken its place
    const u8* source_rows;
    i32 width;
    i32 height;
    i32 bits;
    i32 stride;  // bytes of a stored source row

    ImageHeader* result;  // null, as result_rows, until prepare has run, but for Storage::InPlace
    u8* result_rows;
    i32 result_width;  // the source's, and the plan's depth, unless measure sets them
    i32 result_height;
    i32 result_bits;
    i32 result_stride;

    // Working memory: measure states bytes, from measure on `work` has the addresses. Zeroed, each on a
    // 64-byte boundary, released behind finish. 0 bytes where none is wanted.
    std::array<usize, 4> work_bytes;
    std::array<u8*, 4> work;
};

// What makes an operation, constant data. A function that is not needed is null; `row` or `image` is
// given, not both.
struct OperationPlan {
    u8 depths;  // DepthSet of what is taken
    Storage storage = Storage::InPlace;
    Progress progress = Progress::None;
    SavedPalette saved_palette = SavedPalette::Stays;
    i16 result_bits = 0;  // 0: the source's
    // palette_build_default's name, written ahead of the rows. Null copies the source's palette where the
    // depth stays; where it does not, finish writes one.
    const char* palette = nullptr;

    ErrorCode (*measure)(Operation& op) = nullptr;
    ErrorCode (*prepare)(Operation& op) = nullptr;
    void (*row)(Operation& op, i32 row) = nullptr;  // for 0 to result_height - 1, in this order
    void (*image)(Operation& op) = nullptr;
    void (*finish)(Operation& op) = nullptr;  // result header and record are final but for its changes
};

// Runs an operation on the image under a handle: kOk, kBadHandle, kOutOfMemory, kNotSupported, or the
// code of measure or prepare.
i16 operation_run(i32 handle, const OperationPlan& plan, const void* argument = nullptr);

static inline const u8* source_row(const Operation& op, i32 row)
{
    return op.source_rows + static_cast<usize>(row) * static_cast<usize>(op.stride);
}

static inline u8* result_row(const Operation& op, i32 row)
{
    return op.result_rows + static_cast<usize>(row) * static_cast<usize>(op.result_stride);
}

}  // namespace orv
