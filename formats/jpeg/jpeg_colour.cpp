#include "formats/jpeg/jpeg_colour.h"

#include <algorithm>

#include "frame/simd.h"

#if defined(ORV_HAS_AVX2_CODE)
#include <immintrin.h>
#endif

namespace orv
{
namespace
{

// --- The formulas, a pixel at a time ---

u8 byte_limit(i32 value)
{
    return static_cast<u8>(std::clamp(value, 0, 255));
}

i8 sample_limit(i32 value, i32 least)
{
    return static_cast<i8>(std::clamp(value, least, 127));
}

// Factors of analogue video over 1024, each product cut by itself.
constexpr i32 kVideoShift = 10;
constexpr i32 kBlueU = 1984;
constexpr i32 kGreenU = 386;
constexpr i32 kGreenV = 567;
constexpr i32 kRedV = 1113;

i32 video(i32 factor, i32 value)
{
    return (factor * value) >> kVideoShift;
}

// Factors of JFIF in Q15, less 1 for blue and red, each product rounded by
// itself.
constexpr i32 kBlueCb = 25297;
constexpr i32 kGreenCb = 11277;
constexpr i32 kGreenCr = 23401;
constexpr i32 kRedCr = 13173;

i32 jfif(i32 factor, i32 value)
{
    return (factor * value + (1 << 14)) >> 15;
}

struct Chroma {
    i32 blue, green, red;  // what is added to the luminance
};

template <JpegColours colours>
Chroma chroma_of(i32 u, i32 v)
{
    if constexpr (colours == JpegColours::Video) {
        return {video(kBlueU, u), -video(kGreenU, u) - video(kGreenV, v), video(kRedV, v)};
    } else {
        return {u + jfif(kBlueCb, u), -jfif(kGreenCb, u) - jfif(kGreenCr, v), v + jfif(kRedCr, v)};
    }
}

template <JpegColours colours, ChromaStep step>
void to_colour(const i8* y, const i8* u, const i8* v, usize width, u8* pixels)
{
    for (usize x = 0; x < width; ++x) {
        const usize at = step == ChromaStep::Every ? x : (x & ~usize{15}) + (x & 15) / 2;
        const Chroma chroma = chroma_of<colours>(u[at], v[at]);
        const i32 luminance = y[x] + 128;
        pixels[3 * x] = byte_limit(luminance + chroma.blue);
        pixels[3 * x + 1] = byte_limit(luminance + chroma.green);
        pixels[3 * x + 2] = byte_limit(luminance + chroma.red);
    }
}

// The second and third component are green and blue.
template <ChromaStep step>
void to_colour_rgb(const i8* red, const i8* green, const i8* blue, usize width, u8* pixels)
{
    for (usize x = 0; x < width; ++x) {
        const usize at = step == ChromaStep::Every ? x : (x & ~usize{15}) + (x & 15) / 2;
        pixels[3 * x] = static_cast<u8>(blue[at] + 128);
        pixels[3 * x + 1] = static_cast<u8>(green[at] + 128);
        pixels[3 * x + 2] = static_cast<u8>(red[x] + 128);
    }
}

// Factors of JFIF in Q16; the products keep 8 bits of their fraction.
constexpr i32 kJfifY[3] = {7471, 38470, 19595};  // blue, green, red
constexpr i32 kJfifCb[2] = {21710, 11058};       // green, red
constexpr i32 kJfifCr[2] = {5329, 27439};        // blue, green
constexpr i32 kJfifHalf = 0x80;

i32 jfif_product(i32 factor, i32 value)
{
    return (factor * value) >> 8;
}

void split_video(const u8* pixels, usize width, i8* y, i8* u, i8* v)
{
    for (usize x = 0; x < width; ++x) {
        const i32 blue = pixels[3 * x];
        const i32 green = pixels[3 * x + 1];
        const i32 red = pixels[3 * x + 2];
        y[x] = sample_limit(video(299, red) + video(587, green) + video(114, blue) - 128, -127);
        u[x] = sample_limit(video(-148, red) + video(-289, green) + video(437, blue), -127);
        v[x] = sample_limit(video(615, red) + video(-515, green) + video(-100, blue), -127);
    }
}

void split_jfif(const u8* pixels, usize width, i8* y, i8* u, i8* v)
{
    for (usize x = 0; x < width; ++x) {
        const i32 blue = pixels[3 * x];
        const i32 green = pixels[3 * x + 1];
        const i32 red = pixels[3 * x + 2];
        const i32 luminance = jfif_product(kJfifY[0], blue) + jfif_product(kJfifY[1], green) +
                              jfif_product(kJfifY[2], red) + kJfifHalf;
        const i32 cb = (blue << 7) - jfif_product(kJfifCb[0], green) - jfif_product(kJfifCb[1], red);
        const i32 cr = (red << 7) - jfif_product(kJfifCr[0], blue) - jfif_product(kJfifCr[1], green);
        y[x] = static_cast<i8>((luminance >> 8) - 128);
        u[x] = sample_limit((cb + kJfifHalf) >> 8, -128);
        v[x] = sample_limit((cr + kJfifHalf) >> 8, -128);
    }
}

void split_gray(const u8* pixels, usize width, i8* y, i32 least)
{
    for (usize x = 0; x < width; ++x) {
        y[x] = sample_limit(pixels[x] - 128, least);
    }
}

}  // namespace

void row_to_colour_plain(JpegColours colours, ChromaStep step, const i8* y, const i8* u, const i8* v,
                         usize width, u8* pixels)
{
    constexpr ChromaStep kEvery = ChromaStep::Every;
    constexpr ChromaStep kSecond = ChromaStep::SecondOfSixteen;
    switch (colours) {
    case JpegColours::Video:
        (step == kEvery ? to_colour<JpegColours::Video, kEvery>
                        : to_colour<JpegColours::Video, kSecond>)(y, u, v, width, pixels);
        break;
    case JpegColours::Jfif:
        (step == kEvery ? to_colour<JpegColours::Jfif, kEvery>
                        : to_colour<JpegColours::Jfif, kSecond>)(y, u, v, width, pixels);
        break;
    case JpegColours::Rgb:
        (step == kEvery ? to_colour_rgb<kEvery> : to_colour_rgb<kSecond>)(y, u, v, width, pixels);
        break;
    }
}

void split_planes_plain(JpegColours colours, const u8* pixels, usize width, i8* y, i8* u, i8* v)
{
    if (u == nullptr) {
        split_gray(pixels, width, y, colours == JpegColours::Video ? -127 : -128);
    } else if (colours == JpegColours::Video) {
        split_video(pixels, width, y, u, v);
    } else {
        split_jfif(pixels, width, y, u, v);
    }
}

// --- On vectors ---

#if defined(ORV_HAS_AVX2_CODE)
ORV_AVX2_BEGIN
namespace
{
#include "formats/jpeg/jpeg_colour_vectors.inc"
}  // namespace
ORV_AVX2_END
#endif

void jpeg_row_to_colour(JpegColours colours, ChromaStep step, const i8* y, const i8* u, const i8* v,
                        usize width, u8* pixels)
{
#if defined(ORV_HAS_AVX2_CODE)
    constexpr ChromaStep kEvery = ChromaStep::Every;
    constexpr ChromaStep kSecond = ChromaStep::SecondOfSixteen;
    if (colours != JpegColours::Rgb && has_avx2()) {
        const bool every = step == kEvery;
        const auto convert = colours == JpegColours::Video
                                 ? (every ? to_colour_wide<JpegColours::Video, kEvery>
                                          : to_colour_wide<JpegColours::Video, kSecond>)
                                 : (every ? to_colour_wide<JpegColours::Jfif, kEvery>
                                          : to_colour_wide<JpegColours::Jfif, kSecond>);
        convert(y, u, v, width, pixels);
        return;
    }
#endif
    row_to_colour_plain(colours, step, y, u, v, width, pixels);
}

void jpeg_split_planes(JpegColours colours, const u8* pixels, usize width, i8* y, i8* u, i8* v)
{
#if defined(ORV_HAS_AVX2_CODE)
    if (u != nullptr && has_avx2()) {
        (colours == JpegColours::Video ? split_wide<JpegColours::Video>
                                       : split_wide<JpegColours::Jfif>)(pixels, width, y, u, v);
        return;
    }
#endif
    split_planes_plain(colours, pixels, width, y, u, v);
}

// --- Gray and chroma rows ---

ORV_TARGET_CLONES
void jpeg_row_to_gray(const i8* y, usize width, u8* pixels)
{
    for (usize x = 0; x < width; ++x) {
        pixels[x] = static_cast<u8>(y[x] + 128);
    }
}

void jpeg_expand_chroma(const i8* row, i8* out, usize padded, std::span<const u8> spread)
{
    for (usize mcu = 0; mcu < padded; mcu += spread.size()) {
        for (usize x = 0; x < spread.size(); ++x) {
            out[mcu + x] = row[mcu + spread[x]];
        }
    }
}

void jpeg_decimate_chroma(i8* row, usize padded, Decimation how)
{
    for (usize group = 0; group < padded; group += 16) {
        i8* const columns = row + group;
        for (usize x = 0; x < 8; ++x) {
            // Ties go up and down in turn, so that the mean of many is right.
            const i32 mean = (columns[2 * x] + columns[2 * x + 1] + static_cast<i32>(x & 1)) >> 1;
            columns[x] = how == Decimation::Dropping ? columns[2 * x] : static_cast<i8>(mean);
        }
    }
}

}  // namespace orv
