// Mapping modes: logical coordinates to pixels.
#include <cstdlib>

#include "platform/gdi.h"
#include "platform/posix/gdi_objects.h"

namespace platform
{
namespace
{

// Logical units of an inch in modes 2 to 6.
constexpr int32_t kUnitsPerInch[] = {254, 2540, 100, 1000, 1440};

bool has_fixed_extents(int32_t mode)
{
    return mode < MM_ISOTROPIC;
}

// value * numerator / denominator to the nearest whole number, halves upwards, without leaving 32 bits.
int32_t scaled(int64_t value, int64_t numerator, int64_t denominator)
{
    int64_t product = value * numerator;
    if (denominator < 0) {
        product = -product;
        denominator = -denominator;
    }
    int64_t quotient = product / denominator;
    int64_t rest = product % denominator;
    if (rest < 0) {
        rest += denominator;
        --quotient;
    }
    quotient += rest * 2 >= denominator ? 1 : 0;
    return static_cast<int32_t>(quotient < -INT32_MAX  ? -INT32_MAX
                                : quotient > INT32_MAX ? INT32_MAX
                                                       : quotient);
}

int32_t mapped(int32_t value, int32_t window, int32_t window_extent, int32_t viewport, int32_t viewport_extent)
{
    const int64_t sum = int64_t{scaled(int64_t{value} - window, viewport_extent, window_extent)} + viewport;
    return static_cast<int32_t>(sum < -INT32_MAX ? -INT32_MAX : sum > INT32_MAX ? INT32_MAX : sum);
}

void set_fixed_extents(Device& device, int32_t mode)
{
    orv_mapping& m = device.mapping;
    m.window_width = m.window_height = m.viewport_width = m.viewport_height = 1;
    if (mode != MM_TEXT) {
        const int32_t dots = device.traits.dots_per_inch > 0 ? device.traits.dots_per_inch : 1;
        m.window_width = m.window_height = kUnitsPerInch[mode - MM_LOMETRIC];
        m.viewport_width = dots;
        m.viewport_height = -dots;
    }
}

int32_t with_sign_of(int32_t size, int32_t sign)
{
    const int32_t positive = size < 1 ? 1 : size;
    return sign < 0 ? -positive : positive;
}

// Units of one size on both axes: the larger one shrinks. Extents that agree but for rounding stay.
void keep_isotropic(orv_mapping& m)
{
    const int64_t window_x = std::llabs(int64_t{m.window_width});
    const int64_t window_y = std::llabs(int64_t{m.window_height});
    const int64_t view_x = std::llabs(int64_t{m.viewport_width});
    const int64_t view_y = std::llabs(int64_t{m.viewport_height});
    const int32_t wanted_x = scaled(view_y, window_x, window_y);
    const int32_t wanted_y = scaled(view_x, window_y, window_x);
    if (view_x == wanted_x || view_y == wanted_y) {
        return;
    }
    if (view_x > wanted_x) {
        m.viewport_width = with_sign_of(wanted_x, m.viewport_width);
    } else {
        m.viewport_height = with_sign_of(wanted_y, m.viewport_height);
    }
}

int32_t tamed(int32_t extent)
{
    return extent == INT32_MIN ? -INT32_MAX : extent;
}

// One of the two extents.
int set_extent(Device& device, int32_t& width, int32_t& height, SIZE wanted, SIZE* previous)
{
    if (previous != nullptr) {
        *previous = {width, height};
    }
    if (has_fixed_extents(device.mapping.mode)) {
        return 1;
    }
    if (wanted.cx == 0 || wanted.cy == 0) {
        return 0;
    }
    width = tamed(wanted.cx);
    height = tamed(wanted.cy);
    if (device.mapping.mode == MM_ISOTROPIC) {
        keep_isotropic(device.mapping);
    }
    return 1;
}

int set_origin(int32_t& left, int32_t& top, POINT wanted, POINT* previous)
{
    if (previous != nullptr) {
        *previous = {left, top};
    }
    left = wanted.x;
    top = wanted.y;
    return 1;
}

}  // namespace

void mapping_reset(orv_mapping& mapping)
{
    mapping = {.mode = MM_TEXT,
               .window_left = 0,
               .window_top = 0,
               .window_width = 1,
               .window_height = 1,
               .viewport_left = 0,
               .viewport_top = 0,
               .viewport_width = 1,
               .viewport_height = 1};
}

bool mapping_set(Device& device, const orv_mapping& mapping)
{
    if (mapping.mode < MM_TEXT || mapping.mode > MM_ANISOTROPIC) {
        return false;
    }
    const bool fixed = has_fixed_extents(mapping.mode);
    if (!fixed && (mapping.window_width == 0 || mapping.window_height == 0 || mapping.viewport_width == 0 ||
                   mapping.viewport_height == 0)) {
        return false;
    }
    orv_mapping& m = device.mapping;
    m = mapping;
    m.window_width = tamed(m.window_width);
    m.window_height = tamed(m.window_height);
    m.viewport_width = tamed(m.viewport_width);
    m.viewport_height = tamed(m.viewport_height);
    if (fixed) {
        set_fixed_extents(device, m.mode);
    } else if (m.mode == MM_ISOTROPIC) {
        keep_isotropic(m);
    }
    return true;
}

int LPtoDP(HDC number, POINT* points, int count)
{
    const Device* const device = device_of(number);
    if (device == nullptr) {
        return 0;
    }
    const orv_mapping& m = device->mapping;
    for (int i = 0; i < count; ++i) {
        points[i].x = mapped(points[i].x, m.window_left, m.window_width, m.viewport_left, m.viewport_width);
        points[i].y = mapped(points[i].y, m.window_top, m.window_height, m.viewport_top, m.viewport_height);
    }
    return 1;
}

int GetMapMode(HDC number)
{
    const Device* const device = device_of(number);
    return device == nullptr ? 0 : device->mapping.mode;
}

int SetMapMode(HDC number, int mode)
{
    Device* const device = device_of(number);
    if (device == nullptr || mode < MM_TEXT || mode > MM_ANISOTROPIC) {
        return 0;
    }
    const int before = device->mapping.mode;
    device->mapping.mode = mode;
    if (has_fixed_extents(mode)) {
        set_fixed_extents(*device, mode);
    }
    return before;
}

int GetWindowOrgEx(HDC number, POINT* origin)
{
    const Device* const device = device_of(number);
    if (device == nullptr) {
        return 0;
    }
    *origin = {device->mapping.window_left, device->mapping.window_top};
    return 1;
}

int GetViewportOrgEx(HDC number, POINT* origin)
{
    const Device* const device = device_of(number);
    if (device == nullptr) {
        return 0;
    }
    *origin = {device->mapping.viewport_left, device->mapping.viewport_top};
    return 1;
}

int GetWindowExtEx(HDC number, SIZE* extent)
{
    const Device* const device = device_of(number);
    if (device == nullptr) {
        return 0;
    }
    *extent = {device->mapping.window_width, device->mapping.window_height};
    return 1;
}

int GetViewportExtEx(HDC number, SIZE* extent)
{
    const Device* const device = device_of(number);
    if (device == nullptr) {
        return 0;
    }
    *extent = {device->mapping.viewport_width, device->mapping.viewport_height};
    return 1;
}

int SetWindowOrgEx(HDC number, int x, int y, POINT* previous)
{
    Device* const device = device_of(number);
    return device == nullptr
               ? 0
               : set_origin(device->mapping.window_left, device->mapping.window_top, {x, y}, previous);
}

int SetViewportOrgEx(HDC number, int x, int y, POINT* previous)
{
    Device* const device = device_of(number);
    return device == nullptr
               ? 0
               : set_origin(device->mapping.viewport_left, device->mapping.viewport_top, {x, y}, previous);
}

int SetWindowExtEx(HDC number, int width, int height, SIZE* previous)
{
    Device* const device = device_of(number);
    return device == nullptr ? 0
                             : set_extent(*device, device->mapping.window_width, device->mapping.window_height,
                                          {width, height}, previous);
}

int SetViewportExtEx(HDC number, int width, int height, SIZE* previous)
{
    Device* const device = device_of(number);
    return device == nullptr ? 0
                             : set_extent(*device, device->mapping.viewport_width,
                                          device->mapping.viewport_height, {width, height}, previous);
}

}  // namespace platform
