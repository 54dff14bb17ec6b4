// The way of a picture to a device, in bands scaled to the destination.
#pragma once

#include "frame/errors.h"
#include "output/band.h"

namespace orv
{

// Draws the crop rectangle of a locked image to the rectangle in the dest fields of its record: kOk,
// kOutOfMemory, or kNotSupported for sides that no device has.
i16 band_engine(HDC device, i32 handle);

Scaling device_scaling(HDC device);

}  // namespace orv
