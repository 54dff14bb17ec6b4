#include "ops/operation.h"

#include "frame/progress.h"
#include "frame/rows.h"
#include "ops/palettes.h"
#include "platform/memory.h"

namespace orv
{
namespace
{

constexpr usize kWorkAlignment = 64;

// The blocks that an operation takes, 0 where it has taken none.
struct Taken {
    platform::BlockHandle work;
    platform::BlockHandle result;
};

u8 depth_bit(i32 bits)
{
    switch (bits) {
    case 1: return kDepth1;
    case 4: return kDepth4;
    case 8: return kDepth8;
    case 24: return kDepth24;
    default: return 0;
    }
}

// A locked block of zeros, or null with `block` 0.
u8* take_block(platform::BlockHandle& block, usize bytes)
{
    block = platform::GlobalAlloc(platform::GMEM_SCRATCH, bytes);
    if (block == 0) {
        return nullptr;
    }
    u8* const address = static_cast<u8*>(platform::GlobalLock(block));
    if (address == nullptr) {
        platform::GlobalFree(block);
        block = 0;
    }
    return address;
}

void give_back(platform::BlockHandle block)
{
    if (block != 0) {
        platform::GlobalUnlock(block);
        platform::GlobalFree(block);
    }
}

void describe_source(Operation& op, ImageHeader* header)
{
    const BITMAPINFOHEADER& info = header->info;
    op.source = header;
    op.source_rows = image_pixels(header);
    op.width = op.result_width = info.biWidth;
    op.height = op.result_height = info.biHeight;
    op.bits = op.result_bits = info.biBitCount;
    op.stride = op.result_stride = static_cast<i32>(row_stride_wide(op.width, op.bits));
}

// The size of the result, which must be one that a handle can hold.
ErrorCode measure_result(Operation& op, const OperationPlan& plan)
{
    if (plan.result_bits != 0) {
        op.result_bits = plan.result_bits;
    }
    if (plan.measure != nullptr) {
        const ErrorCode code = plan.measure(op);
        if (code != kOk) {
            return code;
        }
    }
    if (plan.storage == Storage::InPlace) {
        return kOk;
    }
    BITMAPINFOHEADER info = op.source->info;
    info.biWidth = op.result_width;
    info.biHeight = op.result_height;
    info.biBitCount = static_cast<u16>(op.result_bits);
    op.result_stride = static_cast<i32>(row_stride_wide(op.result_width, op.result_bits));
    return header_check(info);
}

// One block serves all working memory.
bool take_work(Operation& op, Taken& taken)
{
    usize total = 0;
    for (const usize bytes : op.work_bytes) {
        total += (bytes + kWorkAlignment - 1) / kWorkAlignment * kWorkAlignment;
    }
    if (total == 0) {
        return true;
    }
    u8* address = take_block(taken.work, total + kWorkAlignment);
    if (address == nullptr) {
        return false;
    }
    address += (kWorkAlignment - reinterpret_cast<std::uintptr_t>(address) % kWorkAlignment) % kWorkAlignment;
    for (usize i = 0; i < op.work.size(); ++i) {
        op.work[i] = address;
        address += (op.work_bytes[i] + kWorkAlignment - 1) / kWorkAlignment * kWorkAlignment;
    }
    return true;
}

// The new block with its header and, unless finish writes it, its palette.
bool take_result(Operation& op, const OperationPlan& plan, Taken& taken)
{
    BITMAPINFOHEADER info = op.source->info;
    if (plan.storage == Storage::NewHeader) {
        info.biWidth = op.result_width;
        info.biHeight = op.result_height;
        info.biBitCount = static_cast<u16>(op.result_bits);
        info.biSizeImage = static_cast<u32>(op.result_stride) * static_cast<u32>(op.result_height);
    }
    const usize palette = static_cast<usize>(palette_bytes(info));
    const usize rows = static_cast<usize>(op.result_stride) * static_cast<usize>(op.result_height);
    u8* const block = take_block(taken.result, kBitmapHeaderBytes + palette + rows);
    if (block == nullptr) {
        return false;
    }
    op.result = reinterpret_cast<ImageHeader*>(block);
    op.result_rows = block + kBitmapHeaderBytes + palette;
    std::memcpy(block, &info, kBitmapHeaderBytes);
    if (plan.palette != nullptr) {
        palette_build_default(op.result, plan.palette);
    } else if (op.result_bits == op.bits) {
        std::memcpy(block + kBitmapHeaderBytes, op.source->palette, palette);
    }
    return true;
}

void report(const OperationPlan& plan, i32 percent)
{
    if (plan.progress == Progress::Full) {
        progress_fire(static_cast<i16>(percent));
    }
}

// The count of the rows starts below the 10 that has been reported, and nothing ends it at 100.
void run_rows(Operation& op, const OperationPlan& plan)
{
    if (plan.row == nullptr) {
        plan.image(op);
        return;
    }
    const i32 step = op.result_height / 20 < 1 ? 1 : op.result_height / 20;
    i32 percent = 0;
    i32 last_reported = -1;
    report(plan, 10);
    for (i32 row = 0; row < op.result_height; ++row) {
        plan.row(op, row);
        if (row - last_reported >= step) {
            percent += 4;
            report(plan, percent);
            last_reported = row;
        }
    }
    if (percent < 90) {
        report(plan, 90);
    }
}

void end_saved_palette(ImageRecord& record)
{
    if (record.lut_palette != nullptr && record.lut_palette_block != 0) {
        give_back(record.lut_palette_block);
        record.lut_palette = nullptr;
        record.lut_palette_block = 0;
    }
}

// From here on the new block is the record's.
void replace_block(Operation& op, Taken& taken)
{
    ImageRecord& record = *op.record;
    give_back(record.dib_block);
    record.dib_block = taken.result;
    record.dib = op.result;
    record.image_width = op.result_width;
    record.image_height = op.result_height;
    record.row_stride = op.result_stride;
    taken.result = 0;
    op.source = nullptr;
    op.source_rows = nullptr;
}

ErrorCode run_locked(Operation& op, const OperationPlan& plan, Taken& taken)
{
    if ((plan.depths & depth_bit(op.bits)) == 0) {
        return kNotSupported;
    }
    const ErrorCode measured = measure_result(op, plan);
    if (measured != kOk) {
        return measured;
    }
    if (!take_work(op, taken)) {
        return kOutOfMemory;
    }
    const ErrorCode prepared = plan.prepare == nullptr ? kOk : plan.prepare(op);
    if (prepared != kOk) {
        return prepared;
    }
    if (plan.storage != Storage::InPlace) {
        report(plan, 5);
        if (!take_result(op, plan, taken)) {
            return kOutOfMemory;
        }
    }
    run_rows(op, plan);
    if (plan.saved_palette == SavedPalette::Ends) {
        end_saved_palette(*op.record);
    }
    if (plan.storage != Storage::InPlace) {
        replace_block(op, taken);
    }
    if (plan.finish != nullptr) {
        plan.finish(op);
    }
    return kOk;
}

}  // namespace

i16 operation_run(i32 handle, const OperationPlan& plan, const void* argument)
{
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    report(plan, 1);
    ImageHeader* const header = image_lock(*record);
    if (header == nullptr) {
        return kOutOfMemory;
    }
    Operation op = {};
    op.handle = handle;
    op.record = record;
    op.argument = argument;
    describe_source(op, header);
    if (plan.storage == Storage::InPlace) {
        op.result = header;
        op.result_rows = image_pixels(header);
    }
    Taken taken = {};
    const ErrorCode code = run_locked(op, plan, taken);
    give_back(taken.work);
    give_back(taken.result);
    image_unlock(*record);
    if (code == kOk) {
        report(plan, 100);
    }
    return code;
}

}  // namespace orv
