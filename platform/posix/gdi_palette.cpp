// Logical palettes, and colours matched to those of a surface.
#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/gdi.h"
#include "platform/posix/gdi_colours.h"

namespace platform
{
namespace
{

constexpr int32_t kMostEntries = 256;

bool same_colour(const RGBQUAD& a, const RGBQUAD& b)
{
    return a.rgbBlue == b.rgbBlue && a.rgbGreen == b.rgbGreen && a.rgbRed == b.rgbRed;
}

int32_t distance(const RGBQUAD& a, const RGBQUAD& b)
{
    const int32_t blue = a.rgbBlue - b.rgbBlue;
    const int32_t green = a.rgbGreen - b.rgbGreen;
    const int32_t red = a.rgbRed - b.rgbRed;
    return blue * blue + green * green + red * red;
}

}  // namespace

void matcher_open(ColourMatcher& matcher, const Surface& surface)
{
    matcher.count = surface_colours(surface, matcher.colours);
    std::memset(matcher.asked, 0, sizeof matcher.asked);
}

uint8_t matcher_nearest(ColourMatcher& matcher, RGBQUAD colour)
{
    const uint32_t value = static_cast<uint32_t>(colour.rgbRed << 16 | colour.rgbGreen << 8 | colour.rgbBlue);
    const uint32_t key = value | 0x80000000u;
    ColourMatcher::Asked& asked = matcher.asked[(value * 2654435761u) >> 20];
    if (asked.key != key) {
        int32_t best = INT32_MAX;
        for (int32_t i = 0; i < matcher.count; ++i) {
            const int32_t far = distance(matcher.colours[i], colour);
            if (far < best) {
                best = far;
                asked.index = static_cast<uint8_t>(i);
            }
        }
        asked.key = key;
    }
    return asked.index;
}

uint8_t matcher_of_index(ColourMatcher& matcher, RGBQUAD colour, int32_t own)
{
    return own < matcher.count && same_colour(matcher.colours[own], colour) ? static_cast<uint8_t>(own)
                                                                            : matcher_nearest(matcher, colour);
}

HPALETTE CreatePalette(const LOGPALETTE* palette)
{
    const int32_t entries = palette->palNumEntries;
    const HPALETTE number = entries < 1 || entries > kMostEntries ? 0 : object_make(ObjectKind::Palette);
    if (number == 0) {
        return 0;
    }
    LogicalPalette& made = *palette_of(number);
    made.entries = entries;
    for (int32_t i = 0; i < entries; ++i) {
        const PALETTEENTRY& entry = palette->palPalEntry[i];
        made.colours[i] = {
            .rgbBlue = entry.peBlue, .rgbGreen = entry.peGreen, .rgbRed = entry.peRed, .rgbReserved = 0};
    }
    return number;
}

HPALETTE SelectPalette(HDC number, HPALETTE palette, int /*force_background*/)
{
    Device* const device = device_of(number);
    if (device == nullptr || (palette != kDefaultPalette && palette_of(palette) == nullptr)) {
        return 0;
    }
    return std::exchange(device->palette, palette);
}

uint32_t RealizePalette(HDC number)
{
    Device* const device = device_of(number);
    if (device == nullptr) {
        return 0;
    }
    Surface& surface = surface_of(*device);
    const LogicalPalette* const palette = palette_of(device->palette);
    surface.entries = palette == nullptr ? 0 : palette->entries;
    std::memset(surface.palette, 0, sizeof surface.palette);
    if (palette != nullptr) {
        std::copy_n(palette->colours, palette->entries, surface.palette);
    }
    return static_cast<uint32_t>(surface.entries);
}

uint32_t GetSystemPaletteEntries(HDC number, uint32_t first, uint32_t count, PALETTEENTRY* entries)
{
    Device* const device = device_of(number);
    if (device == nullptr || surface_of(*device).entries == 0 || first >= kMostEntries) {
        return 0;
    }
    const RGBQUAD* const colours = surface_of(*device).palette;
    const uint32_t given = std::min(count, kMostEntries - first);
    for (uint32_t i = 0; i < given; ++i) {
        const RGBQUAD& c = colours[first + i];
        entries[i] = {.peRed = c.rgbRed, .peGreen = c.rgbGreen, .peBlue = c.rgbBlue, .peFlags = 0};
    }
    return given;
}

}  // namespace platform
