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

// Factors of JFIF in Q15, less 1 for blue and red, each product rounded by itself.
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

constexpr usize kAtOnce = 32;  // pixels

// Sixteen lanes of 16 bits: of 32 samples the first or second 8 of each 16.
struct Lanes {
    __m256i low, high;
};

__m256i load_32(const void* p)
{
    return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}

__m256i load_two_8(const i8* first, const i8* second)
{
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(first))),
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(second)), 1);
}

// Samples times 256.
__m256i low_raised(__m256i samples)
{
    return _mm256_unpacklo_epi8(_mm256_setzero_si256(), samples);
}
__m256i high_raised(__m256i samples)
{
    return _mm256_unpackhi_epi8(_mm256_setzero_si256(), samples);
}

struct ChromaLanes {
    __m256i blue, green, red;
};

// u and v times 256.
template <JpegColours colours>
inline ChromaLanes chroma_lanes(__m256i u, __m256i v)
{
    const __m256i zero = _mm256_setzero_si256();
    if constexpr (colours == JpegColours::Video) {
        const __m256i u64 = _mm256_srai_epi16(u, 2);
        const __m256i v64 = _mm256_srai_epi16(v, 2);
        const __m256i green_u = _mm256_mulhi_epi16(u64, _mm256_set1_epi16(kGreenU));
        const __m256i green_v = _mm256_mulhi_epi16(v64, _mm256_set1_epi16(kGreenV));
        return {_mm256_mulhi_epi16(u64, _mm256_set1_epi16(kBlueU)),
                _mm256_sub_epi16(zero, _mm256_add_epi16(green_u, green_v)),
                _mm256_mulhi_epi16(v64, _mm256_set1_epi16(kRedV))};
    } else {
        const __m256i u1 = _mm256_srai_epi16(u, 8);
        const __m256i v1 = _mm256_srai_epi16(v, 8);
        const __m256i green_u = _mm256_mulhrs_epi16(u1, _mm256_set1_epi16(kGreenCb));
        const __m256i green_v = _mm256_mulhrs_epi16(v1, _mm256_set1_epi16(kGreenCr));
        return {_mm256_add_epi16(u1, _mm256_mulhrs_epi16(u1, _mm256_set1_epi16(kBlueCb))),
                _mm256_sub_epi16(zero, _mm256_add_epi16(green_u, green_v)),
                _mm256_add_epi16(v1, _mm256_mulhrs_epi16(v1, _mm256_set1_epi16(kRedCr)))};
    }
}

struct Shuffles {
    alignas(16) u8 lanes[3][3][16];  // [third of the pixels][colour]: its byte of each place, or 0x80
};

constexpr Shuffles kInterleave = [] {
    Shuffles shuffles{};
    for (usize third = 0; third < 3; ++third) {
        for (usize at = 0; at < 16; ++at) {
            const usize byte = third * 16 + at;
            for (usize colour = 0; colour < 3; ++colour) {
                shuffles.lanes[third][colour][at] = byte % 3 == colour ? static_cast<u8>(byte / 3) : 0x80;
            }
        }
    }
    return shuffles;
}();

constexpr Shuffles kSeparate = [] {
    Shuffles shuffles{};
    for (usize third = 0; third < 3; ++third) {
        for (usize colour = 0; colour < 3; ++colour) {
            for (usize at = 0; at < 16; ++at) {
                const usize byte = at * 3 + colour;
                shuffles.lanes[third][colour][at] = byte / 16 == third ? static_cast<u8>(byte % 16) : 0x80;
            }
        }
    }
    return shuffles;
}();

__m256i shuffle(__m256i bytes, const u8 (&lanes)[16])
{
    const __m128i mask = _mm_load_si128(reinterpret_cast<const __m128i*>(lanes));
    return _mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(mask));
}

// 32 pixels from 32 bytes of each colour.
inline void pixels_store(__m256i blue, __m256i green, __m256i red, u8* pixels)
{
    __m256i thirds[3];  // of 16 pixels in each half
    for (usize i = 0; i < 3; ++i) {
        thirds[i] = _mm256_or_si256(
            _mm256_or_si256(shuffle(blue, kInterleave.lanes[i][0]), shuffle(green, kInterleave.lanes[i][1])),
            shuffle(red, kInterleave.lanes[i][2]));
    }
    __m256i* const out = reinterpret_cast<__m256i*>(pixels);
    _mm256_storeu_si256(out, _mm256_permute2x128_si256(thirds[0], thirds[1], 0x20));
    _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(thirds[2], thirds[0], 0x30));
    _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(thirds[1], thirds[2], 0x31));
}

template <JpegColours colours, ChromaStep step>
inline void pixels_32(const i8* y, const i8* u, const i8* v, u8* pixels)
{
    ChromaLanes low;
    ChromaLanes high;
    if constexpr (step == ChromaStep::Every) {
        const __m256i us = load_32(u);
        const __m256i vs = load_32(v);
        low = chroma_lanes<colours>(low_raised(us), low_raised(vs));
        high = chroma_lanes<colours>(high_raised(us), high_raised(vs));
    } else {
        const ChromaLanes half =
            chroma_lanes<colours>(low_raised(load_two_8(u, u + 16)), low_raised(load_two_8(v, v + 16)));
        low = {_mm256_unpacklo_epi16(half.blue, half.blue), _mm256_unpacklo_epi16(half.green, half.green),
               _mm256_unpacklo_epi16(half.red, half.red)};
        high = {_mm256_unpackhi_epi16(half.blue, half.blue), _mm256_unpackhi_epi16(half.green, half.green),
                _mm256_unpackhi_epi16(half.red, half.red)};
    }
    const __m256i bytes = _mm256_xor_si256(load_32(y), _mm256_set1_epi8(-128));
    const __m256i y_low = _mm256_unpacklo_epi8(bytes, _mm256_setzero_si256());
    const __m256i y_high = _mm256_unpackhi_epi8(bytes, _mm256_setzero_si256());
    pixels_store(_mm256_packus_epi16(_mm256_add_epi16(y_low, low.blue), _mm256_add_epi16(y_high, high.blue)),
                 _mm256_packus_epi16(_mm256_add_epi16(y_low, low.green), _mm256_add_epi16(y_high, high.green)),
                 _mm256_packus_epi16(_mm256_add_epi16(y_low, low.red), _mm256_add_epi16(y_high, high.red)),
                 pixels);
}

template <JpegColours colours, ChromaStep step>
void to_colour_wide(const i8* y, const i8* u, const i8* v, usize width, u8* pixels)
{
    usize x = 0;
    for (; x + kAtOnce <= width; x += kAtOnce) {
        pixels_32<colours, step>(y + x, u + x, v + x, pixels + 3 * x);
    }
    to_colour<colours, step>(y + x, u + x, v + x, width - x, pixels + 3 * x);
}

// 32 pixels to 32 bytes of each colour.
inline void pixels_load(const u8* pixels, __m256i* colours)
{
    const __m256i a = load_32(pixels);
    const __m256i b = load_32(pixels + 32);
    const __m256i c = load_32(pixels + 64);
    const __m256i thirds[3] = {_mm256_permute2x128_si256(a, b, 0x30), _mm256_permute2x128_si256(a, c, 0x21),
                               _mm256_permute2x128_si256(b, c, 0x30)};
    for (usize i = 0; i < 3; ++i) {
        colours[i] = _mm256_or_si256(_mm256_or_si256(shuffle(thirds[0], kSeparate.lanes[0][i]),
                                                     shuffle(thirds[1], kSeparate.lanes[1][i])),
                                     shuffle(thirds[2], kSeparate.lanes[2][i]));
    }
}

struct SampleLanes {
    __m256i y, u, v;
};

// Of colours times 256.
inline __m256i video_product(__m256i colour, i32 factor)
{
    return _mm256_mulhi_epi16(_mm256_srli_epi16(colour, 2), _mm256_set1_epi16(static_cast<i16>(factor)));
}
inline __m256i jfif_lane_product(__m256i colour, i32 factor)
{
    return _mm256_mulhi_epu16(colour, _mm256_set1_epi16(static_cast<i16>(static_cast<u16>(factor))));
}

// Colours times 256. Sums fit 16 bits.
inline SampleLanes video_lanes(__m256i blue, __m256i green, __m256i red)
{
    const __m256i y = _mm256_add_epi16(_mm256_add_epi16(video_product(red, 299), video_product(green, 587)),
                                       video_product(blue, 114));
    return {_mm256_sub_epi16(y, _mm256_set1_epi16(128)),
            _mm256_add_epi16(_mm256_add_epi16(video_product(red, -148), video_product(green, -289)),
                             video_product(blue, 437)),
            _mm256_add_epi16(_mm256_add_epi16(video_product(red, 615), video_product(green, -515)),
                             video_product(blue, -100))};
}

inline SampleLanes jfif_lanes(__m256i blue, __m256i green, __m256i red)
{
    const __m256i half = _mm256_set1_epi16(kJfifHalf);
    const __m256i y = _mm256_add_epi16(
        _mm256_add_epi16(jfif_lane_product(blue, kJfifY[0]), jfif_lane_product(green, kJfifY[1])),
        _mm256_add_epi16(jfif_lane_product(red, kJfifY[2]), half));
    const __m256i u = _mm256_sub_epi16(
        _mm256_srli_epi16(blue, 1),
        _mm256_add_epi16(jfif_lane_product(green, kJfifCb[0]), jfif_lane_product(red, kJfifCb[1])));
    const __m256i v = _mm256_sub_epi16(
        _mm256_srli_epi16(red, 1),
        _mm256_add_epi16(jfif_lane_product(blue, kJfifCr[0]), jfif_lane_product(green, kJfifCr[1])));
    return {_mm256_sub_epi16(_mm256_srli_epi16(y, 8), _mm256_set1_epi16(128)),
            _mm256_srai_epi16(_mm256_adds_epi16(u, half), 8), _mm256_srai_epi16(_mm256_adds_epi16(v, half), 8)};
}

template <JpegColours colours>
void split_wide(const u8* pixels, usize width, i8* y, i8* u, i8* v)
{
    const __m256i least = _mm256_set1_epi8(colours == JpegColours::Video ? -127 : -128);
    usize x = 0;
    for (; x + kAtOnce <= width; x += kAtOnce) {
        __m256i planes[3];
        pixels_load(pixels + 3 * x, planes);
        SampleLanes halves[2];
        if constexpr (colours == JpegColours::Video) {
            halves[0] = video_lanes(low_raised(planes[0]), low_raised(planes[1]), low_raised(planes[2]));
            halves[1] = video_lanes(high_raised(planes[0]), high_raised(planes[1]), high_raised(planes[2]));
        } else {
            halves[0] = jfif_lanes(low_raised(planes[0]), low_raised(planes[1]), low_raised(planes[2]));
            halves[1] = jfif_lanes(high_raised(planes[0]), high_raised(planes[1]), high_raised(planes[2]));
        }
        const __m256i rows[3] = {_mm256_packs_epi16(halves[0].y, halves[1].y),
                                 _mm256_packs_epi16(halves[0].u, halves[1].u),
                                 _mm256_packs_epi16(halves[0].v, halves[1].v)};
        i8* const out[3] = {y + x, u + x, v + x};
        for (usize i = 0; i < 3; ++i) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out[i]), _mm256_max_epi8(rows[i], least));
        }
    }
    (colours == JpegColours::Video ? split_video : split_jfif)(pixels + 3 * x, width - x, y + x, u + x, v + x);
}

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
