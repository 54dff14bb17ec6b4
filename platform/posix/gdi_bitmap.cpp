// Device bitmaps: memory devices, selection, and rows in and out.
#include <algorithm>
#include <cstring>

#include "platform/gdi.h"
#include "platform/posix/gdi_objects.h"
#include "platform/user.h"

namespace platform
{
namespace
{

bool is_side(int32_t pixels)
{
    return pixels >= 1 && pixels <= kMostSide;
}

void deselect(Device& device)
{
    Bitmap* const bitmap = bitmap_of(device.selected);
    if (bitmap != nullptr) {
        bitmap->selected_into = 0;
    }
    device.selected = kDefaultBitmap;
}

void fill_palette(const Device* device, const Surface& surface, ImageHeader& header)
{
    if (surface.bits > 8) {
        return;
    }
    const int32_t entries = 1 << surface.bits;
    std::fill_n(header.palette, entries, RGBQUAD{});
    const LogicalPalette* const palette = device == nullptr ? nullptr : palette_of(device->palette);
    if (palette != nullptr) {
        std::copy_n(palette->colours, std::min(palette->entries, entries), header.palette);
    } else {
        surface_colours(surface, header.palette);
    }
}

}  // namespace

Surface& surface_of(Device& device)
{
    Bitmap* const bitmap = device.is_memory ? bitmap_of(device.selected) : nullptr;
    return bitmap == nullptr ? device.surface : bitmap->surface;
}

HDC CreateCompatibleDC(HDC like)
{
    const HDC model = like == 0 ? GetDC(0) : like;
    if (device_of(model) == nullptr) {
        return 0;
    }
    const HDC number = object_make(ObjectKind::Device);
    if (number == 0) {
        return 0;
    }
    Device& device = *device_of(number);
    if (!surface_allocate(device.surface, 1, 1, 1)) {
        object_release(number);
        return 0;
    }
    const Device& original = *device_of(model);
    device.traits = original.traits;
    std::memcpy(device.technology, original.technology, sizeof device.technology);
    if (original.traits.technology != nullptr) {
        device.traits.technology = device.technology;
    }
    device.is_memory = true;
    device.selected = kDefaultBitmap;
    device.palette = kDefaultPalette;
    mapping_reset(device.mapping);
    return number;
}

int DeleteDC(HDC number)
{
    Device* const device = device_of(number);
    if (device == nullptr || number == kStandInScreen) {
        return 0;
    }
    deselect(*device);
    if (screen_get() == number) {
        screen_set(0);
    }
    surface_release(device->surface);
    object_release(number);
    return 1;
}

HBITMAP CreateCompatibleBitmap(HDC number, int width, int height)
{
    Device* const device = device_of(number);
    if (device == nullptr || !is_side(width) || !is_side(height)) {
        return 0;
    }
    return bitmap_make(width, height, surface_of(*device).bits);
}

HGDIOBJ SelectObject(HDC number, HGDIOBJ object)
{
    Device* const device = device_of(number);
    Bitmap* const bitmap = bitmap_of(object);
    if (device == nullptr || !device->is_memory ||
        (object != kDefaultBitmap && (bitmap == nullptr || bitmap->selected_into != 0))) {
        return 0;
    }
    const HGDIOBJ before = device->selected;
    deselect(*device);
    if (bitmap != nullptr) {
        bitmap->selected_into = number;
        device->selected = object;
    }
    return before;
}

int GetObjectA(HGDIOBJ object, int bytes, void* out)
{
    const Bitmap* const bitmap = bitmap_of(object);
    if (bitmap == nullptr || bytes < static_cast<int>(sizeof(BITMAP))) {
        return 0;
    }
    const Surface& surface = bitmap->surface;
    const BITMAP description = {.bmType = 0,
                                .bmWidth = surface.width,
                                .bmHeight = surface.height,
                                .bmWidthBytes = surface.stride,
                                .bmPlanes = 1,
                                .bmBitsPixel = static_cast<std::uint16_t>(surface.bits),
                                .bmBits = 0};
    std::memcpy(out, &description, sizeof description);
    return sizeof description;
}

int DeleteObject(HGDIOBJ object)
{
    if (palette_of(object) != nullptr) {
        palette_release(object);
        return 1;
    }
    return bitmap_release(object) ? 1 : 0;
}

int GetDIBits(HDC number, HBITMAP object, uint32_t first, uint32_t rows, void* bits, ImageHeader* header,
              uint32_t usage)
{
    const Bitmap* const bitmap = bitmap_of(object);
    if (bitmap == nullptr || usage != DIB_RGB_COLORS) {
        return 0;
    }
    const Surface& surface = bitmap->surface;
    BITMAPINFOHEADER& info = header->info;
    if (info.biWidth != surface.width || info.biHeight != surface.height || info.biBitCount != surface.bits ||
        info.biCompression != 0) {
        return 0;
    }
    fill_palette(device_of(number), surface, *header);
    info.biSizeImage = static_cast<uint32_t>(surface.stride) * static_cast<uint32_t>(surface.height);
    const uint32_t height = static_cast<uint32_t>(surface.height);
    const uint32_t count = first >= height ? 0 : std::min(rows, height - first);
    if (bits != nullptr) {
        const size_t stride = static_cast<size_t>(surface.stride);
        for (uint32_t i = 0; i < count; ++i) {
            std::memcpy(static_cast<uint8_t*>(bits) + i * stride,
                        surface.pixels + (height - 1 - first - i) * stride, stride);
        }
    }
    return static_cast<int>(count);
}

}  // namespace platform
