#include "pixels/palettes.h"

#include "frame/handles.h"
#include "frame/rows.h"
#include "pixels/pixels24.h"
#include "platform/files.h"

namespace orv
{
namespace
{

constexpr i32 kDimming = 40;

RGBQUAD gray_entry(i32 value)
{
    const u8 v = static_cast<u8>(value);
    return {.rgbBlue = v, .rgbGreen = v, .rgbRed = v, .rgbReserved = 0};
}

// Index bits 7 to 5 are red, 4 to 2 green, 1 and 0 blue.
RGBQUAD entry_332(i32 index)
{
    return {.rgbBlue = static_cast<u8>((index & 3) * 255 / 3),
            .rgbGreen = static_cast<u8>((index >> 2 & 7) * 255 / 7),
            .rgbRed = static_cast<u8>((index >> 5 & 7) * 255 / 7),
            .rgbReserved = 0};
}

// Index bit 0 selects red, 1 green, 2 blue, 3 full intensity.
RGBQUAD entry_of_sixteen(i32 index, u8 half)
{
    const u8 level = (index & 8) != 0 ? 255 : half;
    const auto channel = [&](i32 bit) { return (index & bit) != 0 ? level : u8{0}; };
    return {.rgbBlue = channel(4), .rgbGreen = channel(2), .rgbRed = channel(1), .rgbReserved = 0};
}

u16 dimmed(i32 luma)
{
    return static_cast<u16>(luma <= kDimming ? 0 : luma - kDimming);
}

// Index of pixel x in a row of 4 or 8 bits.
u8 pixel_index(const u8* row, usize x, bool nibbles)
{
    if (!nibbles) {
        return row[x];
    }
    return (x & 1) == 0 ? row[x / 2] >> 4 : row[x / 2] & 15;
}

bool is_indexed(const ImageHeader& header)
{
    return header.info.biBitCount == 4 || header.info.biBitCount == 8;
}

struct ColourWords {
    u16 blue, green, red, gray;
};

// Copies a stored row to `scratch`; false where the handle has no image.
bool fetch_row(i32 handle, u8* scratch, ImageHeader* header, i16 row)
{
    const ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return false;
    }
    row_get(image_pixels(header), scratch, row, static_cast<i16>(record->row_stride));
    return true;
}

i16 expand_colour_of(i32 handle, u16* words, u8* scratch, ImageHeader* header, i16 row, GrayWord gray)
{
    const i16 last = static_cast<i16>(header->info.biHeight - 1);
    if (!fetch_row(handle, scratch, header, row > last ? last : row)) {
        return kBadHandle;
    }
    expand_colour_row(*header, scratch, {words, static_cast<usize>(header->info.biWidth) * 4}, gray);
    return kOk;
}

}  // namespace

void palette_build_default(ImageHeader* header, const char* name)
{
    const i32 bits = header->info.biBitCount;
    if (bits > 8) {
        return;
    }
    RGBQUAD* const palette = header->palette;
    const i32 entries = 1 << bits;
    if (bits == 1) {
        palette[0] = gray_entry(0);
        palette[1] = gray_entry(255);
    } else if (platform::lstrcmpiA(name, "tiff") == 0) {
        for (i32 i = 0; i < entries; ++i) {
            palette[i] = gray_entry(i * (256 / entries));
        }
    } else if (platform::lstrcmpiA(name, "targa") == 0) {
        for (i32 i = 0; i < entries; ++i) {
            palette[i] = entry_332(i);
        }
    } else {
        const u8 half = platform::lstrcmpiA(name, "dither") == 0 ? 200 : 128;
        for (i32 i = 0; i < 16; ++i) {
            palette[i] = entry_of_sixteen(i, half);
        }
    }
}

void expand_colour_row(const ImageHeader& header, const u8* row, std::span<u16> words, GrayWord gray)
{
    const usize width = words.size() / 4;
    if (is_indexed(header)) {
        const bool dim = gray == GrayWord::Dimmed && header.info.biBitCount == 8;
        for (usize x = 0; x < width; ++x) {
            const RGBQUAD& c = header.palette[pixel_index(row, x, header.info.biBitCount == 4)];
            const i32 luma = luma_128(c.rgbBlue, c.rgbGreen, c.rgbRed);
            const ColourWords pixel = {c.rgbBlue, c.rgbGreen, c.rgbRed,
                                       dim ? dimmed(luma) : static_cast<u16>(luma)};
            std::memcpy(&words[x * 4], &pixel, sizeof pixel);
        }
    } else if (header.info.biBitCount == 24) {
        pixels24_colour_words(row, words.data(), width, gray == GrayWord::Dimmed ? kDimming : 0);
    }
}

void expand_gray_row(const ImageHeader& header, const u8* row, std::span<u16> words)
{
    if (is_indexed(header)) {
        for (usize x = 0; x < words.size(); ++x) {
            const RGBQUAD& c = header.palette[pixel_index(row, x, header.info.biBitCount == 4)];
            words[x] = static_cast<u16>(luma_100(c.rgbBlue, c.rgbGreen, c.rgbRed));
        }
    } else if (header.info.biBitCount == 24) {
        for (usize x = 0; x < words.size(); ++x) {
            words[x] = static_cast<u16>(luma_100(row[x * 3], row[x * 3 + 1], row[x * 3 + 2]));
        }
    }
}

i16 row_expand_colour(i32 handle, u16* words, u8* scratch, ImageHeader* header, i16 row)
{
    return expand_colour_of(handle, words, scratch, header, row, GrayWord::Dimmed);
}

i16 row_expand_luma(i32 handle, u16* words, u8* scratch, ImageHeader* header, i16 row)
{
    return expand_colour_of(handle, words, scratch, header, row, GrayWord::Plain);
}

i16 row_expand_gray(i32 handle, u16* words, u8* scratch, ImageHeader* header, i16 row)
{
    if (row >= header->info.biHeight) {
        return handle_record(handle) == nullptr ? kBadHandle : kOk;
    }
    if (!fetch_row(handle, scratch, header, row)) {
        return kBadHandle;
    }
    expand_gray_row(*header, scratch, {words, static_cast<usize>(header->info.biWidth)});
    return kOk;
}

}  // namespace orv
