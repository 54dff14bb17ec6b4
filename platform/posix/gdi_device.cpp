// What a device answers of itself.
#include <cstring>

#include "platform/gdi.h"
#include "platform/posix/gdi_objects.h"

namespace platform
{
namespace
{

int supports(const Device& device, int code)
{
    switch (code) {
    case QUERYESCSUPPORT: return 1;
    case GETSCALINGFACTOR: return device.traits.scaling_supported != 0;
    case GETTECHNOLOGY: return device.traits.technology != nullptr;
    default: return 0;
    }
}

}  // namespace

static_assert(sizeof(Device::technology) == kTechnologyBytes);

int GetDeviceCaps(HDC number, int index)
{
    const Device* const device = device_of(number);
    if (device == nullptr) {
        return 0;
    }
    switch (index) {
    case NUMCOLORS: return device->traits.number_of_colours;
    case LOGPIXELSX: return device->traits.dots_per_inch;
    default: return 0;
    }
}

int Escape(HDC number, int code, int in_bytes, const void* in, void* out)
{
    const Device* const device = device_of(number);
    if (device == nullptr || supports(*device, code) == 0) {
        return 0;
    }
    if (code == GETSCALINGFACTOR) {
        const POINT shifts = {device->traits.scaling_shift_x, device->traits.scaling_shift_y};
        std::memcpy(out, &shifts, sizeof shifts);
        return 1;
    }
    if (code == GETTECHNOLOGY) {
        std::memcpy(out, device->technology, sizeof device->technology);
        return 1;
    }
    int32_t asked = 0;
    if (in_bytes != sizeof asked) {
        return 0;
    }
    std::memcpy(&asked, in, sizeof asked);
    return supports(*device, asked);
}

}  // namespace platform
