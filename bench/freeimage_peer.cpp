#include <FreeImage.h>

#include "bench/peers.h"

namespace orv::bench
{
namespace
{

FREE_IMAGE_FORMAT format_of(PeerFormat format)
{
    switch (format) {
    case PeerFormat::Bmp: return FIF_BMP;
    case PeerFormat::Tga: return FIF_TARGA;
    case PeerFormat::Tiff: return FIF_TIFF;
    case PeerFormat::Pict: return FIF_PICT;
    case PeerFormat::Jpeg: return FIF_JPEG;
    default: return FIF_GIF;
    }
}

FIBITMAP* load(const std::uint8_t* file, std::size_t size, FREE_IMAGE_FORMAT format)
{
    FIMEMORY* const memory = FreeImage_OpenMemory(const_cast<BYTE*>(file), static_cast<DWORD>(size));
    FIBITMAP* const picture = FreeImage_LoadFromMemory(format, memory, 0);
    FreeImage_CloseMemory(memory);
    return picture;
}

}  // namespace

bool freeimage_load(const std::uint8_t* file, std::size_t size, PeerFormat format)
{
    FIBITMAP* const picture = load(file, size, format_of(format));
    FreeImage_Unload(picture);
    return picture != nullptr;
}

void* freeimage_picture(const std::uint8_t* bmp, std::size_t size)
{
    return load(bmp, size, FIF_BMP);
}

bool freeimage_save(void* picture, PeerFormat format)
{
    FIMEMORY* const out = FreeImage_OpenMemory();
    const int flags = format == PeerFormat::Tiff ? TIFF_NONE : 0;
    const bool saved =
        FreeImage_SaveToMemory(format_of(format), static_cast<FIBITMAP*>(picture), out, flags) != 0;
    FreeImage_CloseMemory(out);
    return saved;
}

void* freeimage_dib(const std::uint8_t* rows, std::size_t stride, int width, int height, int bits)
{
    return FreeImage_ConvertFromRawBits(const_cast<BYTE*>(rows), width, height, static_cast<int>(stride),
                                        static_cast<unsigned>(bits), 0xFF0000, 0xFF00, 0xFF, FALSE);
}

bool freeimage_tiff(void* picture, TiffCoding coding)
{
    int flags = TIFF_NONE;
    switch (coding) {
    case TiffCoding::Raw: break;
    case TiffCoding::Huffman: return false;
    case TiffCoding::T4: flags = TIFF_CCITTFAX3; break;
    case TiffCoding::T6: flags = TIFF_CCITTFAX4; break;
    case TiffCoding::Lzw: flags = TIFF_LZW; break;
    }
    FIMEMORY* const out = FreeImage_OpenMemory();
    const bool saved = FreeImage_SaveToMemory(FIF_TIFF, static_cast<FIBITMAP*>(picture), out, flags) != 0;
    FreeImage_CloseMemory(out);
    return saved;
}

}  // namespace orv::bench
