#include "output/palette.h"

#include <algorithm>
#include <array>

#include "frame/blocks.h"
#include "output/draw_call.h"
#include "pixels/palettes.h"
#include "platform/gdi.h"

namespace orv
{
namespace
{

constexpr u16 kPaletteVersion = 0x300;

// The image's colours, or those of 3-3-2 bits: how many.
usize colours_of(const ImageHeader& image, ImageHeader& colours)
{
    if (image.info.biBitCount > 8) {
        colours.info.biBitCount = 8;
        palette_build_default(&colours, "targa");
        return 256;
    }
    const usize entries = usize{1} << image.info.biBitCount;
    std::copy_n(image.palette, entries, colours.palette);
    return entries;
}

}  // namespace

i16 realise_palette(ImageRecord& record, HDC device)
{
    u8* const block = block_alloc(sizeof(platform::LOGPALETTE) + 256 * sizeof(platform::PALETTEENTRY));
    if (block == nullptr) {
        return kOutOfMemory;
    }
    ImageHeader colours = {};
    const usize entries = colours_of(*static_cast<const ImageHeader*>(record.dib), colours);
    auto* const palette = reinterpret_cast<platform::LOGPALETTE*>(block);
    palette->palVersion = kPaletteVersion;
    palette->palNumEntries = static_cast<u16>(entries);
    for (usize i = 0; i < entries; ++i) {
        const RGBQUAD& c = colours.palette[i];
        palette->palPalEntry[i] = {.peRed = c.rgbRed, .peGreen = c.rgbGreen, .peBlue = c.rgbBlue, .peFlags = 0};
    }
    if (record.palette_object != 0) {
        platform::DeleteObject(record.palette_object);
    }
    record.palette_object = platform::CreatePalette(palette);
    block_free(block);
    if (record.palette_object == 0) {
        return kOutOfMemory;
    }
    platform::SelectPalette(device, record.palette_object, 0);
    platform::RealizePalette(device);
    return kOk;
}

}  // namespace orv

int16_t IMG_bitmap_palette(int32_t handle, HDC device)
{
    const orv::DrawCall draw(handle);
    return draw.trouble() != orv::kOk ? orv::i16{draw.trouble()} : orv::realise_palette(draw.record(), device);
}
