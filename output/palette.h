// The colours of an image in a device.
#pragma once

#include "frame/handles.h"

namespace orv
{

// Makes the palette of a locked image, which keeps it in palette_object, and realises it: kOk or
// kOutOfMemory.
i16 realise_palette(ImageRecord& record, HDC device);

}  // namespace orv
