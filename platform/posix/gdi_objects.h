// The objects behind the numbers of devices, bitmaps and palettes, on a host that has none of its own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvimg32/host.h"

namespace platform
{

using std::int32_t;
using std::int64_t;
using std::size_t;
using std::uint32_t;
using std::uint8_t;

inline constexpr int32_t kMostSide = 32767;
inline constexpr int32_t kMostObjects = 32000;

// Numbers that stand for what is always there and is nobody's to delete.
inline constexpr HDC kStandInScreen = 32765;
inline constexpr HPALETTE kDefaultPalette = 32766;
inline constexpr HBITMAP kDefaultBitmap = 32767;

enum class ObjectKind : uint8_t { Free, Device, Bitmap, Palette };

// Pixels that can be drawn on. Rows top first, each a multiple of 4 bytes.
struct Surface {
    int32_t width, height, bits;
    int32_t stride;
    uint8_t* pixels;     // a block of its own; null: a printer's
    int32_t entries;     // of the palette realised or given; 0: the system's default colours
    bool palette_given;  // by the bitmap's maker: holds at 1 bit too
    RGBQUAD palette[256];
};

struct Bitmap {
    Surface surface;
    HDC selected_into;
};

struct LogicalPalette {
    int32_t entries;
    RGBQUAD colours[256];
};

struct Device {
    orv_device_traits traits;  // its technology points to `technology`
    char technology[64];
    orv_mapping mapping;
    Surface surface;
    bool is_memory;    // draws on the bitmap selected
    HBITMAP selected;  // of a memory device
    HPALETTE palette;  // selected
    orv_stretch_callback callback;
    void* user;
};

// The object of a number, or null where it is none of its kind.
Device* device_of(HDC number);
Bitmap* bitmap_of(HBITMAP number);
LogicalPalette* palette_of(HPALETTE number);

// Makes a zeroed object: its number, or 0 without memory.
int32_t object_make(ObjectKind kind);
// Releases an object's record, nothing that it refers to.
void object_release(int32_t number);
int32_t object_count();
ObjectKind object_kind(int32_t number);
// Numbers lie below this.
int32_t object_numbers_end();

// Gives a surface its size and zeroed rows: false without memory.
bool surface_allocate(Surface& surface, int32_t width, int32_t height, int32_t bits);
void surface_release(Surface& surface);
// What its pixels are, entry for entry: the number of entries; 0 at more than 8 bits.
int32_t surface_colours(const Surface& surface, RGBQUAD* colours);
// What a device draws on.
Surface& surface_of(Device& device);

// A bitmap of that size, or 0.
HBITMAP bitmap_make(int32_t width, int32_t height, int32_t bits);
bool bitmap_release(HBITMAP number);
void palette_release(HPALETTE number);

void mapping_reset(orv_mapping& mapping);
// False where the mode is none or an extent that counts is 0.
bool mapping_set(Device& device, const orv_mapping& mapping);

// The device that GetDC gives; 0 for the stand-in.
void screen_set(HDC device);
HDC screen_get();
// A number that is about to go.
void clipboard_forget(HBITMAP bitmap);

}  // namespace platform
