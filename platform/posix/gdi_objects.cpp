// The one table of devices, bitmaps and palettes, and the surfaces they own.
#include "platform/posix/gdi_objects.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/gdi.h"
#include "platform/memory.h"

namespace platform
{
namespace
{

struct Slot {
    void* object;
    ObjectKind kind;
};

// Object n stands at index n; index 0 is not used.
std::array<Slot, kMostObjects + 1> slots;
int32_t slots_end = 1;    // behind the highest number ever used
int32_t search_from = 1;  // no number below it is free
int32_t live;

constexpr size_t bytes_of(ObjectKind kind)
{
    switch (kind) {
    case ObjectKind::Device: return sizeof(Device);
    case ObjectKind::Bitmap: return sizeof(Bitmap);
    default: return sizeof(LogicalPalette);
    }
}

void* object_of(int32_t number, ObjectKind kind)
{
    return object_kind(number) == kind ? slots[static_cast<size_t>(number)].object : nullptr;
}

void* take_block(size_t bytes)
{
    return GlobalLock(GlobalAlloc(GMEM_SCRATCH_ZERO, bytes));
}

void give_block_back(const void* address)
{
    const BlockHandle block = GlobalHandle(address);
    GlobalUnlock(block);
    GlobalFree(block);
}

constexpr RGBQUAD colour(unsigned red, unsigned green, unsigned blue)
{
    return {.rgbBlue = static_cast<uint8_t>(blue),
            .rgbGreen = static_cast<uint8_t>(green),
            .rgbRed = static_cast<uint8_t>(red),
            .rgbReserved = 0};
}

// Bit 0 of the index is red, 1 green, 2 blue, 3 full intensity; 7 is light and 8 is dark gray.
constexpr std::array<RGBQUAD, 16> kSixteenColours = [] {
    std::array<RGBQUAD, 16> table = {};
    for (unsigned i = 0; i < 16; ++i) {
        const unsigned level = i < 8 ? 128 : 255;
        table[i] = colour((i & 1) * level, (i >> 1 & 1) * level, (i >> 2 & 1) * level);
    }
    table[7] = colour(192, 192, 192);
    table[8] = colour(128, 128, 128);
    return table;
}();

// The twenty fixed colours at both ends; between them a cube of six steps a channel, and grays.
constexpr std::array<RGBQUAD, 256> kDefaultColours = [] {
    std::array<RGBQUAD, 256> table = {};
    for (unsigned i = 0; i < 8; ++i) {
        table[i] = kSixteenColours[i];
        table[248 + i] = kSixteenColours[8 + i];
    }
    table[8] = colour(192, 220, 192);
    table[9] = colour(166, 202, 240);
    table[246] = colour(255, 251, 240);
    table[247] = colour(160, 160, 164);
    for (unsigned i = 0; i < 216; ++i) {
        table[10 + i] = colour(i / 36 * 51, i / 6 % 6 * 51, i % 6 * 51);
    }
    for (unsigned i = 0; i < 20; ++i) {
        const unsigned gray = 8 + i * 12;
        table[226 + i] = colour(gray, gray, gray);
    }
    return table;
}();

// Makes room for one object more: a number, or 0.
int32_t take_number()
{
    for (int32_t number = search_from; number <= kMostObjects; ++number) {
        if (slots[static_cast<size_t>(number)].kind == ObjectKind::Free) {
            search_from = number + 1;
            slots_end = std::max(slots_end, number + 1);
            return number;
        }
    }
    return 0;
}

Device* stand_in_screen()
{
    static Device device;
    static uint8_t pixel[4];
    if (device.surface.pixels == nullptr) {
        device.traits = {.width = 1,
                         .height = 1,
                         .bits_per_pixel = 24,
                         .number_of_colours = -1,
                         .dots_per_inch = 96,
                         .scaling_supported = 0,
                         .scaling_shift_x = 0,
                         .scaling_shift_y = 0,
                         .technology = nullptr};
        std::memset(pixel, 0xFF, sizeof pixel);
        device.surface.width = device.surface.height = 1;
        device.surface.bits = 24;
        device.surface.stride = sizeof pixel;
        device.surface.pixels = pixel;
        device.palette = kDefaultPalette;
        mapping_reset(device.mapping);
    }
    return &device;
}

}  // namespace

ObjectKind object_kind(int32_t number)
{
    return number <= 0 || number >= slots_end ? ObjectKind::Free : slots[static_cast<size_t>(number)].kind;
}

Device* device_of(HDC number)
{
    return number == kStandInScreen ? stand_in_screen()
                                    : static_cast<Device*>(object_of(number, ObjectKind::Device));
}

Bitmap* bitmap_of(HBITMAP number)
{
    return static_cast<Bitmap*>(object_of(number, ObjectKind::Bitmap));
}

LogicalPalette* palette_of(HPALETTE number)
{
    return static_cast<LogicalPalette*>(object_of(number, ObjectKind::Palette));
}

int32_t object_make(ObjectKind kind)
{
    void* const object = take_block(bytes_of(kind));
    const int32_t number = object == nullptr ? 0 : take_number();
    if (number == 0) {
        if (object != nullptr) {
            give_block_back(object);
        }
        return 0;
    }
    slots[static_cast<size_t>(number)] = {.object = object, .kind = kind};
    ++live;
    return number;
}

void object_release(int32_t number)
{
    Slot& slot = slots[static_cast<size_t>(number)];
    give_block_back(slot.object);
    slot = {.object = nullptr, .kind = ObjectKind::Free};
    search_from = std::min(search_from, number);
    --live;
}

int32_t object_count()
{
    return live;
}

int32_t object_numbers_end()
{
    return slots_end;
}

bool surface_allocate(Surface& surface, int32_t width, int32_t height, int32_t bits)
{
    const int64_t stride = ((int64_t{width} * bits + 31) >> 5) * 4;
    surface.width = width;
    surface.height = height;
    surface.bits = bits;
    surface.stride = static_cast<int32_t>(stride);
    const uint64_t bytes = static_cast<uint64_t>(stride) * static_cast<uint64_t>(height);
    surface.pixels = bytes > SIZE_MAX ? nullptr : static_cast<uint8_t*>(take_block(static_cast<size_t>(bytes)));
    return surface.pixels != nullptr;
}

void surface_release(Surface& surface)
{
    if (surface.pixels != nullptr) {
        give_block_back(surface.pixels);
        surface.pixels = nullptr;
    }
}

int32_t surface_colours(const Surface& surface, RGBQUAD* colours)
{
    if (surface.bits > 8) {
        return 0;
    }
    const int32_t most = 1 << surface.bits;
    if (surface.bits == 1 && !surface.palette_given) {
        colours[0] = colour(0, 0, 0);
        colours[1] = colour(255, 255, 255);
        return most;
    }
    if (surface.entries != 0) {
        const int32_t count = std::min(surface.entries, most);
        std::copy_n(surface.palette, count, colours);
        return count;
    }
    const RGBQUAD* const defaults = surface.bits == 4 ? kSixteenColours.data() : kDefaultColours.data();
    std::copy_n(defaults, most, colours);
    return most;
}

HBITMAP bitmap_make(int32_t width, int32_t height, int32_t bits)
{
    const HBITMAP number = object_make(ObjectKind::Bitmap);
    if (number != 0 && !surface_allocate(bitmap_of(number)->surface, width, height, bits)) {
        object_release(number);
        return 0;
    }
    return number;
}

bool bitmap_release(HBITMAP number)
{
    Bitmap* const bitmap = bitmap_of(number);
    if (bitmap == nullptr || bitmap->selected_into != 0) {
        return false;
    }
    clipboard_forget(number);
    surface_release(bitmap->surface);
    object_release(number);
    return true;
}

void palette_release(HPALETTE number)
{
    for (HDC other = 1; other < slots_end; ++other) {
        Device* const device = device_of(other);
        if (device != nullptr && device->palette == number) {
            device->palette = kDefaultPalette;
        }
    }
    if (stand_in_screen()->palette == number) {
        stand_in_screen()->palette = kDefaultPalette;
    }
    object_release(number);
}

}  // namespace platform
