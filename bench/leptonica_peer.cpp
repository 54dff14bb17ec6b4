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

void* leptonica_raster(const std::uint8_t* rows, std::size_t stride, int width, int height, int bits)
{
    PIX* const picture = pixCreate(width, height, bits == 24 ? 32 : bits);
    for (int y = 0; y < height; ++y, rows += stride) {
        l_uint32* const line = pixGetData(picture) + y * pixGetWpl(picture);
        for (int x = 0; x < width; ++x) {
            if (bits == 24) {
                composeRGBPixel(rows[3 * x], rows[3 * x + 1], rows[3 * x + 2], line + x);
            } else if (bits == 8) {
                SET_DATA_BYTE(line, x, rows[x]);
            } else if ((rows[x / 8] >> (7 - x % 8) & 1) != 0) {
                SET_DATA_BIT(line, x);
            }
        }
    }
    return picture;
}

bool leptonica_tiff(void* picture, TiffCoding coding)
{
    constexpr l_int32 kFormats[] = {IFF_TIFF, IFF_TIFF_RLE, IFF_TIFF_G3, IFF_TIFF_G4, IFF_TIFF_LZW};
    l_uint8* data = nullptr;
    std::size_t size = 0;
    const bool written =
        pixWriteMem(&data, &size, static_cast<PIX*>(picture), kFormats[static_cast<std::size_t>(coding)]) == 0;
    lept_free(data);
    return written;
}

}  // namespace orv::bench
