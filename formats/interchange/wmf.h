// What the WMF reader and writer share.
#pragma once

#include "frame/types.h"

namespace orv
{

// The placeable header in front of the metafile: 22 bytes as published and two more, which files of this
// format have here.
inline constexpr u32 kPlaceableKey = 0x9AC6CDD7;
inline constexpr u16 kPlaceableBytes = 24;
inline constexpr u16 kMetaHeaderBytes = 18;

// Record functions.
enum MetaFunction : u16 {
    META_EOF = 0x0000,
    META_SETMAPMODE = 0x0103,
    META_SETWINDOWORG = 0x020B,
    META_SETWINDOWEXT = 0x020C,
    META_BITBLT = 0x0922,
    META_DIBBITBLT = 0x0940,
    META_DIBSTRETCHBLT = 0x0B41,
    META_SETDIBTODEV = 0x0D33,
    META_STRETCHDIB = 0x0F43,
};

}  // namespace orv
