#include "ops/transpose_kernels.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orv
{
namespace
{

// Packed pixels stand in their byte with the left one in the high bits.
u32 packed_pixel(const u8* row, usize column, u32 bits)
{
    const usize position = column * bits;
    return (row[position >> 3] >> (8 - bits - (position & 7))) & ((1u << bits) - 1);
}

void transpose_packed_plain(u32 bits, usize side, const u8* source, u8* target)
{
    const usize stride = side * bits / 8;
    std::memset(target, 0, side * stride);
    for (usize r = 0; r < side; ++r) {
        for (usize c = 0; c < side; ++c) {
            const usize position = r * bits;
            const u32 shifted = packed_pixel(source + r * stride, c, bits) << (8 - bits - (position & 7));
            u8& place = target[c * stride + (position >> 3)];
            place = static_cast<u8>(place | shifted);
        }
    }
}

void transpose_bytes_plain(usize side, const u8* source, u8* target)
{
    for (usize r = 0; r < side; ++r) {
        for (usize c = 0; c < side; ++c) {
            target[c * side + r] = source[r * side + c];
        }
    }
}

// Moves four bytes a pixel: the fourth is overwritten by the next pixel. Only the tile's last pixel has
// none behind it.
void transpose_triples(usize side, const u8* source, u8* target)
{
    const usize stride = side * 3;
    for (usize c = 0; c < side; ++c) {
        u8* row = target + c * stride;
        const u8* column = source + c * 3;
        const usize wide = c + 1 < side ? side : side - 1;
        for (usize r = 0; r < wide; ++r) {
            std::memcpy(row + r * 3, column + r * stride, 4);
        }
    }
    std::memcpy(target + side * stride - 3, source + side * stride - 3, 3);
}

#if defined(__SSE2__)

using Square = __m128i[16];

// Four perfect shuffles of 256 bytes exchange the row and the column half of their addresses.
inline void transpose_square(Square& rows)
{
    Square shuffled;
    for (int round = 0; round < 2; ++round) {
        for (int k = 0; k < 8; ++k) {
            shuffled[2 * k] = _mm_unpacklo_epi8(rows[k], rows[k + 8]);
            shuffled[2 * k + 1] = _mm_unpackhi_epi8(rows[k], rows[k + 8]);
        }
        for (int k = 0; k < 8; ++k) {
            rows[2 * k] = _mm_unpacklo_epi8(shuffled[k], shuffled[k + 8]);
            rows[2 * k + 1] = _mm_unpackhi_epi8(shuffled[k], shuffled[k + 8]);
        }
    }
}

inline __m128i load_16(const u8* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void store_16(u8* p, __m128i bytes)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), bytes);
}

void transpose_8(const u8* source, u8* target)
{
    constexpr usize kSide = 64;
    for (usize r = 0; r < kSide; r += 16) {
        for (usize c = 0; c < kSide; c += 16) {
            Square square;
            for (usize k = 0; k < 16; ++k) {
                square[k] = load_16(source + (r + k) * kSide + c);
            }
            transpose_square(square);
            for (usize k = 0; k < 16; ++k) {
                store_16(target + (c + k) * kSide + r, square[k]);
            }
        }
    }
}

// Two source rows make whole target bytes: the even columns' from the high nibbles, the odd columns'
// from the low ones. Each kind is then a matrix of bytes.
void transpose_4(const u8* source, u8* target)
{
    constexpr usize kStride = 64;
    const __m128i high = _mm_set1_epi8(static_cast<char>(0xF0));
    const __m128i low = _mm_set1_epi8(0x0F);
    for (usize pair = 0; pair < 64; pair += 16) {
        for (usize byte = 0; byte < kStride; byte += 16) {
            Square even;
            Square odd;
            for (usize k = 0; k < 16; ++k) {
                const u8* rows = source + (pair + k) * 2 * kStride + byte;
                const __m128i first = load_16(rows);
                const __m128i second = load_16(rows + kStride);
                even[k] =
                    _mm_or_si128(_mm_and_si128(first, high), _mm_and_si128(_mm_srli_epi16(second, 4), low));
                odd[k] =
                    _mm_or_si128(_mm_and_si128(_mm_slli_epi16(first, 4), high), _mm_and_si128(second, low));
            }
            transpose_square(even);
            transpose_square(odd);
            for (usize k = 0; k < 16; ++k) {
                u8* rows = target + (byte + k) * 2 * kStride + pair;
                store_16(rows, even[k]);
                store_16(rows + kStride, odd[k]);
            }
        }
    }
}

// A transposed square holds one source byte column in each vector; the top bits of its bytes are one
// target row's next 16 pixels. The rows are taken in the order 7..0, 15..8 since the sign mask has its
// first byte in the lowest bit and a picture has its first pixel in the highest.
void transpose_1(const u8* source, u8* target)
{
    constexpr usize kStride = 32;
    for (usize r = 0; r < 256; r += 16) {
        for (usize byte = 0; byte < kStride; byte += 16) {
            Square square;
            for (usize k = 0; k < 16; ++k) {
                square[k] = load_16(source + (r + (k ^ 7)) * kStride + byte);
            }
            transpose_square(square);
            for (usize k = 0; k < 16; ++k) {
                u8* place = target + (byte + k) * 8 * kStride + r / 8;
                for (int bit = 0; bit < 8; ++bit, place += kStride) {
                    const u16 pixels = static_cast<u16>(_mm_movemask_epi8(square[k]));
                    std::memcpy(place, &pixels, sizeof pixels);
                    square[k] = _mm_add_epi8(square[k], square[k]);
                }
            }
        }
    }
}

#endif

}  // namespace

i32 rotate_tile_side(i32 bits)
{
    return bits == 1 ? 256 : bits == 4 ? 128 : 64;
}

void rotate_transpose_band_plain(i32 bits, std::span<const u8> source, std::span<u8> target)
{
    const usize side = static_cast<usize>(rotate_tile_side(bits));
    switch (bits) {
    case 8: transpose_bytes_plain(side, source.data(), target.data()); break;
    case 24: transpose_triples(side, source.data(), target.data()); break;
    default: transpose_packed_plain(static_cast<u32>(bits), side, source.data(), target.data()); break;
    }
}

void rotate_transpose_band(i32 bits, std::span<const u8> source, std::span<u8> target)
{
#if defined(__SSE2__)
    switch (bits) {
    case 1: transpose_1(source.data(), target.data()); break;
    case 4: transpose_4(source.data(), target.data()); break;
    case 8: transpose_8(source.data(), target.data()); break;
    default: transpose_triples(64, source.data(), target.data()); break;
    }
#else
    rotate_transpose_band_plain(bits, source, target);
#endif
}

}  // namespace orv
