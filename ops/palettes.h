// Default palettes and the row expanders: what readers and operations share.
#pragma once

#include "frame/types.h"

namespace orv {

// Writes the palette of that name behind a header whose biBitCount is set; nothing at 24 bits, nothing
// above 8 bits. Two entries are black and white whatever the name. "tiff": gray ramp; "targa": 256
// colours of 3-3-2 bits; "dither": sixteen colours with half intensity 200; every other name: sixteen
// colours with half intensity 128. Case does not count.
void palette_build_default(ImageHeader* header, const char* name);

}  // namespace orv
