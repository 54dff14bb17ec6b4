// Colours brought to what a surface holds.
#pragma once

#include "platform/posix/gdi_objects.h"

namespace platform
{

// The colours that a surface's indexes stand for, and what was asked of them before.
struct ColourMatcher {
    RGBQUAD colours[256];
    int32_t count;  // 0: true colour
    struct Asked {
        uint32_t key;  // the colour and a set top bit; 0 while unused
        uint8_t index;
    } asked[4096];
};

void matcher_open(ColourMatcher& matcher, const Surface& surface);

// The index of the colour nearest to one, the lowest of several.
uint8_t matcher_nearest(ColourMatcher& matcher, RGBQUAD colour);

// For index `own` of a palette: itself where the surface has that very colour there.
uint8_t matcher_of_index(ColourMatcher& matcher, RGBQUAD colour, int32_t own);

}  // namespace platform
