// Other programs' libraries as benchmarks run them. Each stands in a file of its own: their headers name the
// same things.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv::bench
{

enum class PeerFormat { Bmp, Tga, Tiff, Pict, Jpeg, Gif };

// Decode a file in memory to the library's own picture. False where it does not.
bool freeimage_load(const std::uint8_t* file, std::size_t size, PeerFormat format);
bool leptonica_load(const std::uint8_t* file, std::size_t size);

// FreeImage's picture of a BMP file, kept until the process ends, and its encoding to memory.
void* freeimage_picture(const std::uint8_t* bmp, std::size_t size);
bool freeimage_save(void* picture, PeerFormat format);

// The same of GraphicsMagick, whose formats go by name.
void* graphicsmagick_picture(const std::uint8_t* bmp, std::size_t size);
bool graphicsmagick_save(void* picture, const char* format);
bool graphicsmagick_load(const std::uint8_t* file, std::size_t size, const char* format);

// Leptonica's picture of 8 bits, or of 24 with blue first, from `pixels` without padding; kept until the
// process ends. As PostScript text in memory.
void* leptonica_picture(const std::uint8_t* pixels, int width, int height, int bits);
bool leptonica_postscript(void* picture);

// Pictures from rows `stride` bytes apart, and their encoding as TIFF to memory; false for a coding that the
// library does not have. FreeImage's rows are a bitmap's, bottom row first; Leptonica's go from the top, with 1
// for black, red first.
enum class TiffCoding { Raw, Huffman, T4, T6, Lzw };
void* freeimage_dib(const std::uint8_t* rows, std::size_t stride, int width, int height, int bits);
bool freeimage_tiff(void* picture, TiffCoding coding);
void* leptonica_raster(const std::uint8_t* rows, std::size_t stride, int width, int height, int bits);
bool leptonica_tiff(void* picture, TiffCoding coding);

}  // namespace orv::bench
