#include <leptonica/allheaders.h>

#include "bench/peers.h"

namespace orv::bench
{

bool leptonica_load(const std::uint8_t* file, std::size_t size)
{
    PIX* picture = pixReadMem(file, size);
    const bool loaded = picture != nullptr;
    pixDestroy(&picture);
    return loaded;
}

void* leptonica_picture(const std::uint8_t* pixels, int width, int height, int bits)
{
    PIX* const picture = pixCreate(width, height, bits == 24 ? 32 : bits);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, pixels += bits / 8) {
            l_uint32 value = pixels[0];
            if (bits == 24) {
                composeRGBPixel(pixels[2], pixels[1], pixels[0], &value);
            }
            pixSetPixel(picture, x, y, value);
        }
    }
    return picture;
}

bool leptonica_postscript(void* picture)
{
    char* const text = pixWriteStringPS(static_cast<PIX*>(picture), nullptr, 300, 1.0F);
    const bool written = text != nullptr;
    lept_free(text);
    return written;
}

}  // namespace orv::bench
