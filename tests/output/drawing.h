// Devices for the tests of drawing, and what they saw.
#pragma once

#include <vector>

#include "frame/rows.h"
#include "orvimg32/host.h"
#include "tests/support/support.h"

namespace orv::test
{

inline orv_device_traits traits_of(int width, int height, int bits)
{
    const int colours = bits == 24 ? -1 : 1 << bits;
    return {.width = width,
            .height = height,
            .bits_per_pixel = bits,
            .number_of_colours = colours,
            .dots_per_inch = 96,
            .scaling_supported = 0,
            .scaling_shift_x = 0,
            .scaling_shift_y = 0,
            .technology = nullptr};
}

inline HDC make_device(int width, int height, int bits)
{
    const orv_device_traits traits = traits_of(width, height, bits);
    return orv_device_create(&traits);
}

// The surface byte for byte.
inline std::vector<u8> surface_bytes(HDC device, int height)
{
    const u8* pixels = nullptr;
    i32 stride = 0;
    if (orv_device_pixels(device, &pixels, &stride) != 0) {
        return {};
    }
    return {pixels, pixels + stride * height};
}

// Header, palette and rows of an image.
inline std::vector<u8> packed_image(int handle)
{
    const i32 number = IMG_get_dib_intern(handle)->dib_block;
    const ImageRecord& r = *IMG_get_dib_intern(handle);
    const auto* const bytes = static_cast<const u8*>(orv_block_lock(number));
    ImageHeader header;
    IMGLOW_get_bitmap_header(handle, &header);
    const i32 size = 40 + palette_bytes(header.info) + r.row_stride * r.image_height;
    std::vector<u8> image(bytes, bytes + size);
    orv_block_unlock(number);
    return image;
}

}  // namespace orv::test
