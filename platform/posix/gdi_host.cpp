// The host's services for devices: what an application makes, looks at and deletes.
#include <cstring>

#include "orvimg32/host.h"
#include "platform/gdi.h"
#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/posix/clipboard.h"

using namespace platform;

namespace
{

enum HostResult : int32_t { kDone = 0, kNoMemory = -1, kNoObject = -2, kNoSense = -3 };

// Held by every function here, as by all of the library's.
class Call
{
public:
    Call() { EnterCriticalSection(); }
    ~Call() { LeaveCriticalSection(); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
};

bool in_range(int32_t value, int32_t least, int32_t most)
{
    return value >= least && value <= most;
}

bool makes_sense(const orv_device_traits* t)
{
    return t != nullptr && in_range(t->width, 1, kMostSide) && in_range(t->height, 1, kMostSide) &&
           (t->bits_per_pixel == 1 || t->bits_per_pixel == 4 || t->bits_per_pixel == 8 ||
            t->bits_per_pixel == 24) &&
           t->dots_per_inch >= 0 && in_range(t->scaling_shift_x, 0, 4) && in_range(t->scaling_shift_y, 0, 4);
}

enum class Pixels { Kept, None };

HDC make_device(const orv_device_traits* traits, Pixels pixels)
{
    if (!makes_sense(traits)) {
        return kNoSense;
    }
    const HDC number = object_make(ObjectKind::Device);
    if (number == 0) {
        return kNoMemory;
    }
    Device& device = *device_of(number);
    device.traits = *traits;
    if (traits->technology != nullptr) {
        device.traits.technology = device.technology;
        std::memcpy(device.technology, traits->technology,
                    strnlen(traits->technology, sizeof device.technology - 1));
    }
    device.palette = kDefaultPalette;
    mapping_reset(device.mapping);
    Surface& surface = device.surface;
    if (pixels == Pixels::None) {
        surface.width = traits->width;
        surface.height = traits->height;
        surface.bits = traits->bits_per_pixel;
    } else if (surface_allocate(surface, traits->width, traits->height, traits->bits_per_pixel)) {
        // White is all ones in every depth, by the default colours too.
        std::memset(surface.pixels, 0xFF,
                    static_cast<size_t>(surface.stride) * static_cast<size_t>(surface.height));
    } else {
        object_release(number);
        return kNoMemory;
    }
    return number;
}

// Devices of the application's, not those that the library works with.
Device* own_device(HDC number)
{
    return number == kStandInScreen ? nullptr : device_of(number);
}

void take_palette(Surface& surface, const uint8_t* bgrx, int32_t entries)
{
    surface.entries = entries;
    surface.palette_given = true;
    std::memcpy(surface.palette, bgrx, static_cast<size_t>(entries) * 4);
    for (int32_t i = 0; i < entries; ++i) {
        surface.palette[i].rgbReserved = 0;
    }
}

}  // namespace

void* orv_block_lock(int32_t block)
{
    const Call call;
    return GlobalLock(block);
}

int32_t orv_block_unlock(int32_t block)
{
    const Call call;
    if (GlobalSize(block) == 0) {
        return kNoObject;
    }
    GlobalUnlock(block);
    return kDone;
}

HDC orv_device_create(const orv_device_traits* traits)
{
    const Call call;
    return make_device(traits, Pixels::Kept);
}

HDC orv_printer_create(const orv_device_traits* traits)
{
    const Call call;
    return make_device(traits, Pixels::None);
}

int32_t orv_device_delete(HDC device)
{
    const Call call;
    return own_device(device) != nullptr && DeleteDC(device) != 0 ? kDone : kNoObject;
}

int32_t orv_device_pixels(HDC number, const uint8_t** pixels, int32_t* stride)
{
    const Call call;
    Device* const device = own_device(number);
    if (device == nullptr) {
        return kNoObject;
    }
    const Surface& surface = surface_of(*device);
    if (surface.pixels == nullptr || pixels == nullptr || stride == nullptr) {
        return kNoSense;
    }
    *pixels = surface.pixels;
    *stride = surface.stride;
    return kDone;
}

int32_t orv_device_palette(HDC number, uint8_t* bgrx_1024)
{
    const Call call;
    Device* const device = own_device(number);
    if (device == nullptr) {
        return kNoObject;
    }
    if (bgrx_1024 == nullptr) {
        return kNoSense;
    }
    const Surface& surface = surface_of(*device);
    RGBQUAD colours[256] = {};
    if (surface.entries != 0) {
        std::memcpy(colours, surface.palette, sizeof colours);
    } else {
        surface_colours(surface, colours);
    }
    std::memcpy(bgrx_1024, colours, sizeof colours);
    return surface.entries;
}

int32_t orv_device_set_mapping(HDC number, const orv_mapping* mapping)
{
    const Call call;
    Device* const device = own_device(number);
    if (device == nullptr) {
        return kNoObject;
    }
    return mapping != nullptr && mapping_set(*device, *mapping) ? kDone : kNoSense;
}

int32_t orv_device_get_mapping(HDC number, orv_mapping* mapping)
{
    const Call call;
    const Device* const device = own_device(number);
    if (device == nullptr) {
        return kNoObject;
    }
    if (mapping == nullptr) {
        return kNoSense;
    }
    *mapping = device->mapping;
    return kDone;
}

int32_t orv_device_set_callback(HDC number, orv_stretch_callback callback, void* user)
{
    const Call call;
    Device* const device = own_device(number);
    if (device == nullptr) {
        return kNoObject;
    }
    device->callback = callback;
    device->user = user;
    return kDone;
}

int32_t orv_screen_set(HDC number)
{
    const Call call;
    if (number != 0 && own_device(number) == nullptr) {
        return kNoObject;
    }
    screen_set(number);
    return kDone;
}

HBITMAP orv_bitmap_create(int32_t width, int32_t height, int32_t bits, const uint8_t* rows, const uint8_t* bgrx)
{
    const Call call;
    const bool has_palette = bits == 1 || bits == 4 || bits == 8;
    const bool is_depth = has_palette || bits == 16 || bits == 24 || bits == 32;
    if (!in_range(width, 1, kMostSide) || !in_range(height, 1, kMostSide) || !is_depth || rows == nullptr ||
        (has_palette && bgrx == nullptr)) {
        return kNoSense;
    }
    const HBITMAP number = bitmap_make(width, height, bits);
    if (number == 0) {
        return kNoMemory;
    }
    Surface& surface = bitmap_of(number)->surface;
    std::memcpy(surface.pixels, rows, static_cast<size_t>(surface.stride) * static_cast<size_t>(height));
    if (has_palette) {
        take_palette(surface, bgrx, 1 << bits);
    }
    return number;
}

int32_t orv_bitmap_describe(HBITMAP number, int32_t* width, int32_t* height, int32_t* bits,
                            const uint8_t** pixels, int32_t* stride)
{
    const Call call;
    const Bitmap* const bitmap = bitmap_of(number);
    if (bitmap == nullptr) {
        return kNoObject;
    }
    const Surface& surface = bitmap->surface;
    const auto give = [](auto* place, auto value) {
        if (place != nullptr) {
            *place = value;
        }
    };
    give(width, surface.width);
    give(height, surface.height);
    give(bits, surface.bits);
    give(pixels, static_cast<const uint8_t*>(surface.pixels));
    give(stride, surface.stride);
    return kDone;
}

int32_t orv_bitmap_delete(HBITMAP bitmap)
{
    const Call call;
    return bitmap_release(bitmap) ? kDone : kNoObject;
}

HPALETTE orv_palette_create(const uint8_t* bgrx, int32_t entries)
{
    const Call call;
    if (bgrx == nullptr || !in_range(entries, 1, 256)) {
        return kNoSense;
    }
    const HPALETTE number = object_make(ObjectKind::Palette);
    if (number == 0) {
        return kNoMemory;
    }
    LogicalPalette& palette = *palette_of(number);
    palette.entries = entries;
    std::memcpy(palette.colours, bgrx, static_cast<size_t>(entries) * 4);
    for (RGBQUAD& colour : palette.colours) {
        colour.rgbReserved = 0;
    }
    return number;
}

int32_t orv_palette_delete(HPALETTE palette)
{
    const Call call;
    if (palette_of(palette) == nullptr) {
        return kNoObject;
    }
    palette_release(palette);
    return kDone;
}

int32_t orv_live_objects(void)
{
    const Call call;
    return object_count();
}

int32_t orv_clipboard_set_dib(const void* packed, uint32_t size)
{
    const Call call;
    return clipboard_set_dib(packed, size) ? kDone : kNoMemory;
}

int32_t orv_clipboard_set_bitmap(HBITMAP bitmap)
{
    const Call call;
    if (bitmap != 0 && bitmap_of(bitmap) == nullptr) {
        return kNoObject;
    }
    clipboard_set_bitmap(bitmap);
    return kDone;
}

int32_t orv_clipboard_set_busy(int32_t busy)
{
    const Call call;
    clipboard_set_busy(busy != 0);
    return kDone;
}
