#include "output/draw_call.h"

namespace orv
{
namespace
{

ErrorCode trouble_of(i32 handle)
{
    return handle_in_use(handle) ? kNotSupported : handle_record(handle) == nullptr ? kBadHandle : kOk;
}

}  // namespace

DrawCall::DrawCall(i32 handle) : trouble_(trouble_of(handle)), job_(handle), use_(handle), record_(nullptr)
{
    if (trouble_ == kOk) {
        record_ = handle_record(handle);
        image_lock(*record_);
    }
}

DrawCall::~DrawCall()
{
    if (record_ != nullptr) {
        image_unlock(*record_);
    }
}

void set_destination(ImageRecord& record, i32 left, i32 top, i32 width, i32 height)
{
    record.dest_left = left;
    record.dest_top = top;
    record.dest_width = width;
    record.dest_height = height;
}

}  // namespace orv
