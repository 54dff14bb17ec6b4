#include <magick/api.h>

#include <cstdio>

#include "bench/peers.h"

namespace orv::bench
{

void* graphicsmagick_picture(const std::uint8_t* bmp, std::size_t size)
{
    InitializeMagick(nullptr);
    ExceptionInfo exception;
    GetExceptionInfo(&exception);
    ImageInfo* const info = CloneImageInfo(nullptr);
    Image* const picture = BlobToImage(info, bmp, size, &exception);
    DestroyImageInfo(info);
    return picture;
}

bool graphicsmagick_save(void* picture, const char* format)
{
    ExceptionInfo exception;
    GetExceptionInfo(&exception);
    ImageInfo* const info = CloneImageInfo(nullptr);
    Image* const image = static_cast<Image*>(picture);
    std::snprintf(image->magick, sizeof image->magick, "%s", format);
    std::size_t length = 0;
    void* const file = ImageToBlob(info, image, &length, &exception);
    MagickFree(file);
    DestroyImageInfo(info);
    return file != nullptr;
}

bool graphicsmagick_load(const std::uint8_t* file, std::size_t size, const char* format)
{
    InitializeMagick(nullptr);
    ExceptionInfo exception;
    GetExceptionInfo(&exception);
    ImageInfo* const info = CloneImageInfo(nullptr);
    std::snprintf(info->magick, sizeof info->magick, "%s", format);
    Image* const picture = BlobToImage(info, file, size, &exception);
    const bool loaded = picture != nullptr;
    if (loaded) {
        DestroyImage(picture);
    }
    DestroyExceptionInfo(&exception);
    DestroyImageInfo(info);
    return loaded;
}

}  // namespace orv::bench
