#include "formats/jpeg/jpeg_dct.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "frame/simd.h"

#if defined(__SSE2__)
#include <immintrin.h>
#define ORV_DCT_SSE2 1
#endif

namespace orv
{
namespace
{

constexpr i32 kHalf = 1 << 14;
constexpr i32 kShift = 15;
constexpr i32 kMaxSample = 127;

// A product of 16-bit numbers added to a sum that wraps.
void add_product(u32& sum, i32 a, i32 b)
{
    sum += static_cast<u32>(a * b);
}

i32 rounded(u32 sum)
{
    return static_cast<i32>(sum + kHalf) >> kShift;
}

}  // namespace

// --- Plain ---

void jpeg_inverse_dct(const i16* coefficients, i8* samples, usize stride)
{
    i16 middle[8][8];
    for (usize r = 0; r < 8; ++r) {
        for (usize x = 0; x < 8; ++x) {
            u32 sum = 0;
            for (usize u = 0; u < 8; ++u) {
                add_product(sum, coefficients[u * 8 + r], jpeg_dct_basis[x * 8 + u]);
            }
            middle[r][x] = static_cast<i16>(rounded(sum));
        }
    }
    for (usize x = 0; x < 8; ++x) {
        for (usize y = 0; y < 8; ++y) {
            u32 sum = 0;
            for (usize v = 0; v < 8; ++v) {
                add_product(sum, middle[v][x], jpeg_dct_basis[y * 8 + v]);
            }
            samples[y * stride + x] = static_cast<i8>(std::clamp(rounded(sum), -kMaxSample, kMaxSample));
        }
    }
}

void inverse_pair_plain(const i16* coefficients, BlockExtent, i8* first, i8* second, usize stride)
{
    jpeg_inverse_dct(coefficients, first, stride);
    jpeg_inverse_dct(coefficients + kBlockSize, second, stride);
}

void jpeg_forward_dct(const i8* samples, usize stride, i16* coefficients)
{
    i16 middle[8][8];
    for (usize r = 0; r < 8; ++r) {
        for (usize u = 0; u < 8; ++u) {
            u32 sum = 0;
            for (usize x = 0; x < 8; ++x) {
                add_product(sum, samples[r * stride + x], jpeg_dct_basis[x * 8 + u]);
            }
            middle[r][u] = static_cast<i16>(rounded(sum));
        }
    }
    for (usize u = 0; u < 8; ++u) {
        for (usize v = 0; v < 8; ++v) {
            u32 sum = 0;
            for (usize r = 0; r < 8; ++r) {
                add_product(sum, middle[r][u], jpeg_dct_basis[r * 8 + v]);
            }
            coefficients[v * 8 + u] = static_cast<i16>(rounded(sum));
        }
    }
}

QuantDivisor quant_divisor(std::span<const u8, kBlockSize> table, Quantising how)
{
    QuantDivisor divisor{};
    for (usize i = 0; i < kBlockSize; ++i) {
        const u32 q = table[i];
        const u32 power = static_cast<u32>(std::bit_width(q)) - 1;  // 2^power <= q
        divisor.entry[i] = static_cast<u16>(q);
        divisor.bias[i] = how == Quantising::Rounded ? static_cast<u16>(q / 2) : u16{0};
        divisor.reciprocal[i] = static_cast<u16>(((1U << (15 + power)) + q - 1) / q);
        divisor.scale[i] = static_cast<u16>(1U << (15 - power));
    }
    return divisor;
}

u64 jpeg_quantise(i16* coefficients, const QuantDivisor& divisor)
{
    u64 mask = 0;
    for (usize i = 0; i < kBlockSize; ++i) {
        const i32 size = (std::abs(coefficients[i]) + divisor.bias[i]) / divisor.entry[i];
        coefficients[i] = static_cast<i16>(coefficients[i] < 0 ? -size : size);
        mask |= u64{size != 0} << i;
    }
    return mask;
}

void forward_pair_plain(const i8* first, const i8* second, usize stride, const QuantDivisor& divisor,
                        i16* coefficients, u64* masks)
{
    jpeg_forward_dct(first, stride, coefficients);
    jpeg_forward_dct(second, stride, coefficients + kBlockSize);
    masks[0] = jpeg_quantise(coefficients, divisor);
    masks[1] = jpeg_quantise(coefficients + kBlockSize, divisor);
}

// --- On vectors ---

#if defined(ORV_DCT_SSE2)

namespace
{
namespace one_block
{

#define ORV_V(name) _mm_##name
#define ORV_V_BITS(name) _mm_##name##_si128
using V = __m128i;

[[gnu::always_inline]] inline V load_16(const i16* p, usize)
{
    return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
}

[[gnu::always_inline]] inline V load_8(const i8* first, const i8*)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(first));
}

[[gnu::always_inline]] inline V load_table(const u16* p)
{
    return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
}

[[gnu::always_inline]] inline void store_16(i16* p, V v)
{
    _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
}

// Two rows of eight samples.
[[gnu::always_inline]] inline void store_8(V v, i8* first, i8*, usize stride)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(first), v);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(first + stride), _mm_unpackhi_epi64(v, v));
}

[[gnu::always_inline]] inline void add_mask(u32 bits, usize row, u64* masks)
{
    masks[0] |= u64{bits & 0xFFFF} << (row * 8);
}

#include "formats/jpeg/jpeg_dct_vectors.inc"

void inverse_pair(const i16* coefficients, BlockExtent extent, i8* first, i8* second, usize stride)
{
    inverse(coefficients, extent, first, first, stride);
    inverse(coefficients + kBlockSize, extent, second, second, stride);
}

void forward_pair(const i8* first, const i8* second, usize stride, const QuantDivisor& divisor,
                  i16* coefficients, u64* masks)
{
    u64 second_mask[2];
    forward(first, first, stride, divisor, coefficients, masks);
    forward(second, second, stride, divisor, coefficients + kBlockSize, second_mask);
    masks[1] = second_mask[0];
}

#undef ORV_V
#undef ORV_V_BITS

}  // namespace one_block
}  // namespace
#endif

#if defined(ORV_HAS_AVX2_CODE)
ORV_AVX2_BEGIN

namespace
{
namespace two_blocks
{

// The lower half of each vector is the first block's, the upper half the second one's. The instructions
// used keep the halves apart.
#define ORV_V(name) _mm256_##name
#define ORV_V_BITS(name) _mm256_##name##_si256
using V = __m256i;

[[gnu::always_inline]] inline V join(__m128i low, __m128i high)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

[[gnu::always_inline]] inline V load_16(const i16* p, usize second)
{
    return join(_mm_load_si128(reinterpret_cast<const __m128i*>(p)),
                _mm_load_si128(reinterpret_cast<const __m128i*>(p + second)));
}

[[gnu::always_inline]] inline V load_8(const i8* first, const i8* second)
{
    return join(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(first)),
                _mm_loadl_epi64(reinterpret_cast<const __m128i*>(second)));
}

[[gnu::always_inline]] inline V load_table(const u16* p)
{
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(p)));
}

[[gnu::always_inline]] inline void store_16(i16* p, V v)
{
    _mm_store_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(v));
    _mm_store_si128(reinterpret_cast<__m128i*>(p + kBlockSize), _mm256_extracti128_si256(v, 1));
}

[[gnu::always_inline]] inline void store_8(V v, i8* first, i8* second, usize stride)
{
    const __m128i low = _mm256_castsi256_si128(v);
    const __m128i high = _mm256_extracti128_si256(v, 1);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(first), low);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(second), high);
    _mm_storeh_pd(reinterpret_cast<double*>(first + stride), _mm_castsi128_pd(low));
    _mm_storeh_pd(reinterpret_cast<double*>(second + stride), _mm_castsi128_pd(high));
}

[[gnu::always_inline]] inline void add_mask(u32 bits, usize row, u64* masks)
{
    masks[0] |= u64{bits & 0xFFFF} << (row * 8);
    masks[1] |= u64{bits >> 16} << (row * 8);
}

#include "formats/jpeg/jpeg_dct_vectors.inc"

#undef ORV_V
#undef ORV_V_BITS

}  // namespace two_blocks
}  // namespace

ORV_AVX2_END
#endif

const DctKernels* dct_kernel_set(usize number)
{
    static constexpr DctKernels plain = {inverse_pair_plain, forward_pair_plain};
#if defined(ORV_DCT_SSE2)
    static constexpr DctKernels narrow = {one_block::inverse_pair, one_block::forward_pair};
    if (number == 1) {
        return &narrow;
    }
#endif
#if defined(ORV_HAS_AVX2_CODE)
    static constexpr DctKernels wide = {two_blocks::inverse, two_blocks::forward};
    if (number == 2) {
        return has_avx2() ? &wide : nullptr;
    }
#endif
    return number == 0 ? &plain : nullptr;
}

const DctKernels& dct_kernels()
{
    for (usize number = kDctKernelSets - 1; number > 0; --number) {
        if (const DctKernels* const set = dct_kernel_set(number)) {
            return *set;
        }
    }
    return *dct_kernel_set(0);
}

}  // namespace orv
