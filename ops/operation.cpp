#include "ops/operation.h"

#include "frame/api_call.h"
#include "frame/blocks.h"
#include "frame/progress.h"
#include "frame/rows.h"
#include "pixels/palettes.h"
#include "platform/memory.h"

namespace orv
{
namespace
{

constexpr usize kWorkAlignment = 64;

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

// One block serves all working memory: `block`, null where none is wanted. False when memory is out.
bool take_work(Operation& op, u8*& block)
{
    const auto rounded = [](usize bytes) {
        return (bytes + kWorkAlignment - 1) / kWorkAlignment * kWorkAlignment;
    };
    usize total = 0;
    for (const usize bytes : op.work_bytes) {
        total += rounded(bytes);
    }
    if (total == 0) {
        return true;
    }
    block = block_alloc(total + kWorkAlignment);
    if (block == nullptr) {
        return false;
    }
    u8* address = block + (kWorkAlignment - reinterpret_cast<std::uintptr_t>(block) % kWorkAlignment);
    for (usize i = 0; i < op.work.size(); ++i) {
        op.work[i] = address;
        address += rounded(op.work_bytes[i]);
    }
    return true;
}

// The new block with its header and, unless finish writes it, its palette.
bool take_result(Operation& op, const OperationPlan& plan)
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
    u8* const block = block_alloc(kBitmapHeaderBytes + palette + rows);
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
        block_free(record.lut_palette);
        record.lut_palette = nullptr;
        record.lut_palette_block = 0;
    }
}

// From here on the new block is the record's.
void replace_block(Operation& op)
{
    ImageRecord& record = *op.record;
    block_free(record.dib);
    record.dib_block = platform::GlobalHandle(op.result);
    record.dib = op.result;
    record.image_width = op.result_width;
    record.image_height = op.result_height;
    record.row_stride = op.result_stride;
    op.source = nullptr;
    op.source_rows = nullptr;
}

// Nothing fails once the new block is taken.
ErrorCode run_locked(Operation& op, const OperationPlan& plan, u8*& work)
{
    if ((plan.depths & depth_set(op.bits)) == 0) {
        return kNotSupported;
    }
    const ErrorCode measured = measure_result(op, plan);
    if (measured != kOk) {
        return measured;
    }
    if (!take_work(op, work)) {
        return kOutOfMemory;
    }
    const ErrorCode prepared = plan.prepare == nullptr ? kOk : plan.prepare(op);
    if (prepared != kOk) {
        return prepared;
    }
    if (plan.storage != Storage::InPlace) {
        report(plan, 5);
        if (!take_result(op, plan)) {
            return kOutOfMemory;
        }
    }
    run_rows(op, plan);
    if (plan.saved_palette == SavedPalette::Ends) {
        end_saved_palette(*op.record);
    }
    if (plan.storage != Storage::InPlace) {
        replace_block(op);
    }
    if (plan.finish != nullptr) {
        plan.finish(op);
    }
    return kOk;
}

}  // namespace

i16 operation_run(i32 handle, const OperationPlan& plan, const void* argument)
{
    const ApiCall call;
    const Job job(handle);
    if (job.is_refused()) {
        return kNotSupported;
    }
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
    u8* work = nullptr;
    const ErrorCode code = run_locked(op, plan, work);
    block_free(work);
    image_unlock(*record);
    if (code == kOk) {
        report(plan, 100);
    }
    return code;
}

}  // namespace orv
