#include "pixels/pixels24.h"

#include "pixels/palettes.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orv
{
namespace
{

#if defined(__SSE2__)

// Weights of blue, green and red, and the division of their sum: mulhi by `reciprocal`, then a shift.
// Sums stay below 2^15, so words are enough.
struct LumaRule {
    i16 blue, green, red;
    u16 reciprocal;
    i32 shift;
};

constexpr LumaRule kLuma128 = {14, 75, 38, 512, 0};
constexpr LumaRule kLuma100 = {11, 59, 30, 5243, 3};

constexpr bool divides_exactly(const LumaRule& rule, u32 divisor)
{
    for (u32 sum = 0; sum <= 255 * divisor; ++sum) {
        if (((sum * rule.reciprocal >> 16) >> rule.shift) != sum / divisor) {
            return false;
        }
    }
    return true;
}
static_assert(divides_exactly(kLuma128, 128) && divides_exactly(kLuma100, 100));

// Four pixels of 12 bytes, of 16 that can be read, as four words of 32 bits: blue, green, red, any.
inline __m128i load_four(const u8* row)
{
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
    const __m128i low = _mm_unpacklo_epi32(bytes, _mm_srli_si128(bytes, 3));
    const __m128i high = _mm_unpacklo_epi32(_mm_srli_si128(bytes, 6), _mm_srli_si128(bytes, 9));
    return _mm_unpacklo_epi64(low, high);
}

// Four weighted sums in 32-bit words.
inline __m128i weigh_four(__m128i pixels, const LumaRule& rule)
{
    const __m128i blue_red = _mm_and_si128(pixels, _mm_set1_epi32(0x00FF00FF));
    const __m128i green = _mm_and_si128(_mm_srli_epi32(pixels, 8), _mm_set1_epi32(0xFF));
    return _mm_add_epi32(_mm_madd_epi16(blue_red, _mm_set1_epi32(rule.red << 16 | rule.blue)),
                         _mm_madd_epi16(green, _mm_set1_epi32(rule.green)));
}

inline __m128i divide_eight(__m128i first, __m128i second, const LumaRule& rule)
{
    const __m128i sums = _mm_packs_epi32(first, second);
    return _mm_srli_epi16(_mm_mulhi_epu16(sums, _mm_set1_epi16(static_cast<i16>(rule.reciprocal))), rule.shift);
}

// Lumas of eight pixels as words. Reads 28 bytes of the 24.
inline __m128i luma_eight(const u8* row, const LumaRule& rule)
{
    return divide_eight(weigh_four(load_four(row), rule), weigh_four(load_four(row + 12), rule), rule);
}

// The lumas of all pixels but the last few, whose number is the result.
inline usize luma_most(const u8* row, u8* lumas, usize width, const LumaRule& rule)
{
    usize x = 0;
    for (; x + 18 <= width; x += 16) {
        const __m128i low = luma_eight(row + x * 3, rule);
        const __m128i high = luma_eight(row + x * 3 + 24, rule);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(lumas + x), _mm_packus_epi16(low, high));
    }
    return x;
}

// Sixteen bytes of colour words from two pixels of 32 bits in the low half, lumas as the fourth words.
inline void store_two(u16* words, __m128i pixels, __m128i lumas)
{
    const __m128i colours = _mm_unpacklo_epi8(pixels, _mm_setzero_si128());
    const __m128i fourth = _mm_set1_epi64x(static_cast<i64>(0xFFFF000000000000));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(words),
                     _mm_or_si128(_mm_andnot_si128(fourth, colours), _mm_and_si128(fourth, lumas)));
}

usize colour_words_most(const u8* row, u16* words, usize width, i32 dimming)
{
    usize x = 0;
    for (; x + 6 <= width; x += 4) {
        const __m128i pixels = load_four(row + x * 3);
        const __m128i luma = divide_eight(weigh_four(pixels, kLuma128), _mm_setzero_si128(), kLuma128);
        const __m128i dimmed = _mm_subs_epu16(luma, _mm_set1_epi16(static_cast<i16>(dimming)));
        const __m128i doubled = _mm_unpacklo_epi16(dimmed, dimmed);
        store_two(words + x * 4, pixels, _mm_unpacklo_epi32(doubled, doubled));
        store_two(words + x * 4 + 8, _mm_srli_si128(pixels, 8), _mm_unpackhi_epi32(doubled, doubled));
    }
    return x;
}

#else

struct LumaRule {
};
constexpr LumaRule kLuma128, kLuma100;
usize luma_most(const u8*, u8*, usize, const LumaRule&)
{
    return 0;
}
usize colour_words_most(const u8*, u16*, usize, i32)
{
    return 0;
}

#endif

}  // namespace

void pixels24_luma_128(const u8* row, u8* lumas, usize width)
{
    for (usize x = luma_most(row, lumas, width, kLuma128); x < width; ++x) {
        lumas[x] = static_cast<u8>(luma_128(row[x * 3], row[x * 3 + 1], row[x * 3 + 2]));
    }
}

void pixels24_luma_100(const u8* row, u8* lumas, usize width)
{
    for (usize x = luma_most(row, lumas, width, kLuma100); x < width; ++x) {
        lumas[x] = static_cast<u8>(luma_100(row[x * 3], row[x * 3 + 1], row[x * 3 + 2]));
    }
}

void pixels24_colour_words(const u8* row, u16* words, usize width, i32 dimming)
{
    for (usize x = colour_words_most(row, words, width, dimming); x < width; ++x) {
        const u8* const pixel = row + x * 3;
        const i32 luma = luma_128(pixel[0], pixel[1], pixel[2]) - dimming;
        words[x * 4] = pixel[0];
        words[x * 4 + 1] = pixel[1];
        words[x * 4 + 2] = pixel[2];
        words[x * 4 + 3] = static_cast<u16>(luma < 0 ? 0 : luma);
    }
}

}  // namespace orv
