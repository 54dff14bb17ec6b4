// What the PCX reader and writer share with each other and with DCX, whose pages are whole PCX files.
#pragma once

#include "frame/load.h"
#include "frame/save.h"

namespace orv
{

// The 128-byte file header, numbers little-endian:
//
//      0  manufacturer, 10      1  version           2  encoding, 1       3  bits per pixel of a plane
//      4  Xmin  6  Ymin         8  Xmax 10  Ymax    12  horizontal dpi   14  vertical dpi
//     16  16 colours of red, green, blue            65  planes           66  bytes per line of a plane
//     68  palette info: 1 colour, 2 gray
enum PcxField : u32 {
    kPcxManufacturer = 0,
    kPcxVersion = 1,
    kPcxEncoding = 2,
    kPcxBitsPerPixel = 3,
    kPcxXmin = 4,
    kPcxYmin = 6,
    kPcxXmax = 8,
    kPcxYmax = 10,
    kPcxHDpi = 12,
    kPcxVDpi = 14,
    kPcxColormap = 16,
    kPcxPlanes = 65,
    kPcxBytesPerLine = 66,
    kPcxPaletteInfo = 68,
    kPcxHeaderBytes = 128,
};

inline constexpr u8 kPcxPaletteMarker = 12;   // ahead of the palette behind 8-bit data
inline constexpr u32 kPcxPaletteBytes = 768;  // 256 colours of red, green, blue
inline constexpr u32 kPcxColormapEntries = 16;
inline constexpr i32 kPcxMaxPlanes = 4;

// Reads the PCX file that starts at `base`.
i16 pcx_read_at(u32 base, PictureSink& sink, StreamHandle stream);

// Non-zero while a DCX job runs: set by every DCX save, cleared behind the job's last page. The PCX
// writer then keeps its progress within the page's share of the job.
extern i32 dcx_writing;

}  // namespace orv
