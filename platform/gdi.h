// Drawing under the host's published names. Devices, bitmaps and palettes are small positive numbers; 0 is
// none. What is declared here is what the library draws with.
#pragma once

#include <cstdint>

#include "orvimg32/orvimg32.h"

namespace platform
{

using HGDIOBJ = std::int32_t;

struct POINT {
    std::int32_t x, y;
};

struct SIZE {
    std::int32_t cx, cy;
};

// --- Mapping ---

// Mapping modes. In modes 2 to 6 a unit is a length and logical y rises; in 7 and 8 the extents count.
enum MapMode : int {
    MM_TEXT = 1,
    MM_LOMETRIC = 2,
    MM_HIMETRIC = 3,
    MM_LOENGLISH = 4,
    MM_HIENGLISH = 5,
    MM_TWIPS = 6,
    MM_ISOTROPIC = 7,
    MM_ANISOTROPIC = 8,
};

// Each returns non-zero for success. `previous` may be null.
int LPtoDP(HDC device, POINT* points, int count);
int GetMapMode(HDC device);
// The mode before. Modes 1 to 6 set the extents.
int SetMapMode(HDC device, int mode);
int GetWindowOrgEx(HDC device, POINT* origin);
int SetWindowOrgEx(HDC device, int x, int y, POINT* previous);
int GetViewportOrgEx(HDC device, POINT* origin);
int SetViewportOrgEx(HDC device, int x, int y, POINT* previous);
int GetWindowExtEx(HDC device, SIZE* extent);
int GetViewportExtEx(HDC device, SIZE* extent);
// In modes 1 to 6 these two change nothing; an extent of 0 is refused. In mode 7 the viewport's larger unit
// is cut down to the smaller one.
int SetWindowExtEx(HDC device, int width, int height, SIZE* previous);
int SetViewportExtEx(HDC device, int width, int height, SIZE* previous);

// --- What a device says of itself ---

enum DeviceCap : int { NUMCOLORS = 24, LOGPIXELSX = 88 };
enum EscapeCode : int { QUERYESCSUPPORT = 8, GETSCALINGFACTOR = 14, GETTECHNOLOGY = 20 };

int GetDeviceCaps(HDC device, int index);
// QUERYESCSUPPORT: `in` is the int32 code asked for. GETSCALINGFACTOR: `out` gets a POINT of shift counts.
// GETTECHNOLOGY: `out` gets a text of at most kTechnologyBytes. Positive for success, 0 for what the device
// does not know.
inline constexpr std::size_t kTechnologyBytes = 64;
int Escape(HDC device, int code, int in_bytes, const void* in, void* out);

// --- Palettes ---

struct PALETTEENTRY {
    std::uint8_t peRed, peGreen, peBlue, peFlags;
};

// palNumEntries entries, 1 to 256, stand from palPalEntry on.
struct LOGPALETTE {
    std::uint16_t palVersion;  // 0x300
    std::uint16_t palNumEntries;
    PALETTEENTRY palPalEntry[1];
};

HPALETTE CreatePalette(const LOGPALETTE* palette);
// The palette selected before, or 0.
HPALETTE SelectPalette(HDC device, HPALETTE palette, int force_background);
// Puts the palette selected into use: the number of its entries.
std::uint32_t RealizePalette(HDC device);
// Entries of the palette in use: their number, 0 where none was realised.
std::uint32_t GetSystemPaletteEntries(HDC device, std::uint32_t first, std::uint32_t count,
                                      PALETTEENTRY* entries);

// --- Objects ---

struct BITMAP {
    std::int32_t bmType;  // 0
    std::int32_t bmWidth;
    std::int32_t bmHeight;
    std::int32_t bmWidthBytes;
    std::uint16_t bmPlanes;  // 1
    std::uint16_t bmBitsPixel;
    std::uint32_t bmBits;  // 0
};
static_assert(sizeof(BITMAP) == 24);

// A memory device that answers as `device` does (0: the screen), with a bitmap of one pixel selected.
HDC CreateCompatibleDC(HDC device);
int DeleteDC(HDC device);
// Of the depth of the device's surface.
HBITMAP CreateCompatibleBitmap(HDC device, int width, int height);
// Selects a bitmap into a memory device: the one selected before, or 0. A bitmap is in one device at most.
HGDIOBJ SelectObject(HDC device, HGDIOBJ bitmap);
// Describes a bitmap: the bytes written, 0 where it is none or `bytes` are too few.
int GetObjectA(HGDIOBJ object, int bytes, void* out);
// Deletes a bitmap that no device has selected, or a palette.
int DeleteObject(HGDIOBJ object);

// --- Pixels ---

inline constexpr std::uint32_t DIB_RGB_COLORS = 0;
inline constexpr std::uint32_t SRCCOPY = 0x00CC0020;

// Draws the part of an image (rows bottom first, source_y from the bottom row) into a rectangle of the
// device, mirrored where a size is negative: the rows taken, or 0. Pixels of the part that lie outside the
// image draw nothing.
int StretchDIBits(HDC device, int x, int y, int width, int height, int source_x, int source_y, int source_width,
                  int source_height, const void* bits, const ImageHeader* header, std::uint32_t usage,
                  std::uint32_t raster_op);
int BitBlt(HDC device, int x, int y, int width, int height, HDC source, int source_x, int source_y,
           std::uint32_t raster_op);
// Rows of a bitmap, bottom row first, from row `first` on, each a multiple of 4 bytes: the number of rows.
// The header states the bitmap's own size and depth and gets the palette: the one selected into the device,
// else the bitmap's. Null bits: the palette and biSizeImage alone.
int GetDIBits(HDC device, HBITMAP bitmap, std::uint32_t first, std::uint32_t rows, void* bits,
              ImageHeader* header, std::uint32_t usage);

}  // namespace platform
