// What the application puts on the clipboard.
#pragma once

#include "platform/posix/gdi_objects.h"

namespace platform
{

// Copies a packed image; null clears. False without memory, the clipboard being left alone.
bool clipboard_set_dib(const void* packed, uint32_t size);
// 0 clears.
void clipboard_set_bitmap(HBITMAP bitmap);
void clipboard_set_busy(bool busy);

}  // namespace platform
