#include "formats/interchange/eps_hex.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orv
{

void hex_digits_plain(const u8* bytes, u32 count, u8* digits)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (u32 i = 0; i < count; ++i) {
        digits[i * 2] = static_cast<u8>(kDigits[bytes[i] >> 4]);
        digits[i * 2 + 1] = static_cast<u8>(kDigits[bytes[i] & 15]);
    }
}

#if defined(__SSE2__)

namespace
{

inline constexpr u32 kBlock = 16;

// Sixteen numbers of 0 to 15 as digits.
inline __m128i digits_of(__m128i nibbles)
{
    constexpr char kGap = 'A' - ('9' + 1);
    const __m128i above_nine = _mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9));
    const __m128i gap = _mm_and_si128(above_nine, _mm_set1_epi8(kGap));
    return _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')), gap);
}

}  // namespace

void hex_digits(const u8* bytes, u32 count, u8* digits)
{
    const __m128i low_nibbles = _mm_set1_epi8(15);
    u32 at = 0;
    for (; at + kBlock <= count; at += kBlock) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + at));
        const __m128i high = digits_of(_mm_and_si128(_mm_srli_epi16(block, 4), low_nibbles));
        const __m128i low = digits_of(_mm_and_si128(block, low_nibbles));
        __m128i* to = reinterpret_cast<__m128i*>(digits + usize{at} * 2);
        _mm_storeu_si128(to, _mm_unpacklo_epi8(high, low));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi8(high, low));
    }
    hex_digits_plain(bytes + at, count - at, digits + usize{at} * 2);
}

#else

void hex_digits(const u8* bytes, u32 count, u8* digits)
{
    hex_digits_plain(bytes, count, digits);
}

#endif

}  // namespace orv
