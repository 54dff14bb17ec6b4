// A picture with the statistics of a photograph, for benchmarks: slow slopes of light, edges, texture and
// a little sensor noise.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "frame/rows.h"
#include "frame/types.h"

namespace orv::bench
{

// One channel's value at a place, 0 to 255.
inline u8 photo_value(int x, int y, int channel, std::minstd_rand& random)
{
    const double fx = x / 3000.0;
    const double fy = y / 2000.0;
    const double light = 120 + 70 * std::sin(3 * fx + channel) * std::cos(2 * fy + 0.4 * channel);
    const double ridge = fy > 0.5 + 0.2 * std::sin(9 * fx) ? -45 - 10 * channel : 25;
    const double texture = 14 * std::sin(0.21 * x + 0.05 * y) * std::sin(0.13 * y + channel);
    const double noise = static_cast<double>(random() % 15) - 7;
    return static_cast<u8>(std::clamp(light + ridge + texture + noise, 0.0, 255.0));
}

// A packed bitmap for IMG_create_handle: 24 bits of colour, or 8 of gray with a gray ramp.
inline std::vector<u8> photo(int width, int height, int bits)
{
    ImageHeader header = {};
    header.info.biSize = kBitmapHeaderBytes;
    header.info.biWidth = width;
    header.info.biHeight = height;
    header.info.biPlanes = 1;
    header.info.biBitCount = static_cast<u16>(bits);
    for (u32 i = 0; i < 256; i++) {
        const u8 v = static_cast<u8>(i);
        header.palette[i] = {v, v, v, 0};
    }
    const usize top = kBitmapHeaderBytes + static_cast<usize>(palette_bytes(header.info));
    const usize stride = static_cast<usize>(row_stride_wide(width, bits));
    std::vector<u8> bitmap(top + stride * static_cast<usize>(height));
    std::memcpy(bitmap.data(), &header, top);
    std::minstd_rand random(7);
    for (int y = 0; y < height; y++) {
        u8* byte = bitmap.data() + top + stride * static_cast<usize>(y);
        for (int x = 0; x < width; x++) {
            for (int channel = 0; channel < bits / 8; channel++) {
                *byte++ = photo_value(x, y, channel, random);
            }
        }
    }
    return bitmap;
}

}  // namespace orv::bench
