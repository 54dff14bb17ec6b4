#include "output/device_units.h"

#include "output/band_engine.h"

namespace orv
{
namespace
{

// Sums and differences of coordinates keep to 32 bits.
i32 sum(i32 a, i32 b)
{
    return static_cast<i32>(static_cast<u32>(a) + static_cast<u32>(b));
}
i32 difference(i32 a, i32 b)
{
    return static_cast<i32>(static_cast<u32>(a) - static_cast<u32>(b));
}

}  // namespace

DeviceTransform device_neutralise(HDC device)
{
    DeviceTransform t = {};
    platform::GetWindowOrgEx(device, &t.window_origin);
    platform::GetWindowExtEx(device, &t.window_extent);
    platform::GetViewportOrgEx(device, &t.viewport_origin);
    platform::GetViewportExtEx(device, &t.viewport_extent);
    t.mode = platform::GetMapMode(device);
    platform::SetMapMode(device, platform::MM_TEXT);
    platform::SetViewportOrgEx(device, 0, 0, nullptr);
    platform::SetWindowOrgEx(device, 0, 0, nullptr);
    platform::SetViewportExtEx(device, 1, 1, nullptr);
    platform::SetWindowExtEx(device, 1, 1, nullptr);
    return t;
}

void device_restore(HDC device, const DeviceTransform& t)
{
    platform::SetMapMode(device, t.mode);
    platform::SetWindowExtEx(device, t.window_extent.cx, t.window_extent.cy, nullptr);
    platform::SetWindowOrgEx(device, t.window_origin.x, t.window_origin.y, nullptr);
    platform::SetViewportExtEx(device, t.viewport_extent.cx, t.viewport_extent.cy, nullptr);
    platform::SetViewportOrgEx(device, t.viewport_origin.x, t.viewport_origin.y, nullptr);
}

DeviceRectangle device_rectangle(HDC device, const ImageRecord& record)
{
    platform::POINT corners[2] = {
        {record.dest_left, record.dest_top},
        {sum(record.dest_left, record.dest_width), sum(record.dest_top, record.dest_height)}};
    platform::LPtoDP(device, corners, 2);
    return {.left = corners[0].x,
            .top = corners[0].y,
            .width = difference(corners[1].x, corners[0].x),
            .height = difference(corners[1].y, corners[0].y)};
}

i16 draw_in_device_units(HDC device, i32 handle)
{
    ImageRecord& record = *handle_record(handle);
    const i16 left = static_cast<i16>(record.dest_left);
    const i16 top = static_cast<i16>(record.dest_top);
    const i16 width = static_cast<i16>(record.dest_width);
    const i16 height = static_cast<i16>(record.dest_height);
    const DeviceRectangle pixels = device_rectangle(device, record);
    record.dest_left = pixels.left;
    record.dest_top = pixels.top;
    record.dest_width = pixels.width;
    record.dest_height = pixels.height;

    const DeviceTransform transform = device_neutralise(device);
    const i16 result = band_engine(device, handle);
    device_restore(device, transform);

    record.dest_left = left;
    record.dest_top = top;
    record.dest_width = width;
    record.dest_height = height;
    return result < 0 ? result : i16{kOk};
}

}  // namespace orv
