// What every exported function that draws an image holds while it runs.
#pragma once

#include "frame/api_call.h"
#include "frame/handles.h"

namespace orv
{

// The lock, the image in use and its block locked. Draws may run in callbacks of other work, but not on an
// image that is in use there.
class DrawCall
{
public:
    explicit DrawCall(i32 handle);
    ~DrawCall();
    DrawCall(const DrawCall&) = delete;
    DrawCall& operator=(const DrawCall&) = delete;

    // Why the draw can't be, or kOk.
    [[nodiscard]] ErrorCode trouble() const { return trouble_; }
    ImageRecord& record() const { return *record_; }

private:
    ApiCall call_;
    ErrorCode trouble_;
    Job job_;
    HandleUse use_;
    ImageRecord* record_;
};

// Where the image goes: the dest fields of its record.
void set_destination(ImageRecord& record, i32 left, i32 top, i32 width, i32 height);

}  // namespace orv
