// Drawing in the pixels of a device, whatever its mapping.
#pragma once

#include "frame/handles.h"
#include "platform/gdi.h"

namespace orv
{

// What is put back.
struct DeviceTransform {
    platform::POINT window_origin, viewport_origin;
    platform::SIZE window_extent, viewport_extent;
    int mode;
};

DeviceTransform device_neutralise(HDC device);
void device_restore(HDC device, const DeviceTransform& transform);

// The pixels of the rectangle in the dest fields: its corner, and the way to the far one, with sign.
struct DeviceRectangle {
    i32 left, top, width, height;
};
DeviceRectangle device_rectangle(HDC device, const ImageRecord& record);

// Runs the band engine in pixels on the dest fields of a locked image, taken as logical units. The fields are
// afterwards as before.
i16 draw_in_device_units(HDC device, i32 handle);

}  // namespace orv
