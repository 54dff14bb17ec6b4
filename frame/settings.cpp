#include "frame/settings.h"

#include "frame/api_call.h"
#include "frame/errors.h"

namespace orv
{

OrvReading orv_reading = ORV_READING_DESCRIBED;
OrvWriting orv_writing = ORV_WRITING_DESCRIBED;

}  // namespace orv

using namespace orv;

int32_t orv_set_reading(int32_t reading)
{
    const ApiCall call;
    if (reading != ORV_READING_DESCRIBED && reading != ORV_READING_WIDE) {
        return kNotSupported;
    }
    orv_reading = static_cast<OrvReading>(reading);
    return kOk;
}

int32_t orv_set_writing(int32_t writing)
{
    const ApiCall call;
    if (writing != ORV_WRITING_DESCRIBED && writing != ORV_WRITING_STANDARD) {
        return kNotSupported;
    }
    orv_writing = static_cast<OrvWriting>(writing);
    return kOk;
}
