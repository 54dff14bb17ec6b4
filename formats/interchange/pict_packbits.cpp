#include "formats/interchange/pict_packbits.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <bit>

namespace orv
{
namespace
{

constexpr u32 kBlock = 16;
constexpr u32 kLongestPacked = 127;  // bytes of a run or a literal that is written

}  // namespace

// --- Unpacking ---

u32 pict_code_bytes(u8 code, u32 unit_bytes)
{
    return code < 128 ? 1 + (code + 1U) * unit_bytes : code > 128 ? 1 + unit_bytes : 1;
}

namespace
{

// `count` bytes as they stand or as a repeated unit, in whole blocks: 16 bytes more may be read and written.
template <u32 kUnitBytes>
inline void code_expand(const u8* from, bool run, u32 count, u8* to)
{
    u16 word = from[0];
    if constexpr (kUnitBytes == 2) {
        std::memcpy(&word, from, 2);
    }
    const u64 repeated = word * (kUnitBytes == 2 ? u64{0x0001000100010001} : u64{0x0101010101010101});
    for (u32 at = 0;;) {
        u64 words[2];
        std::memcpy(words, from + at, kBlock);
        words[0] = run ? repeated : words[0];
        words[1] = run ? repeated : words[1];
        std::memcpy(to + at, words, kBlock);
        at += kBlock;
        if (at >= count) [[likely]] {
            return;
        }
    }
}

// The same for the codes at the end of the row or of the data, to the byte.
template <u32 kUnitBytes>
void code_expand_exactly(const u8* from, bool run, u32 count, u8* to)
{
    if (!run) {
        std::memcpy(to, from, count);
    } else if constexpr (kUnitBytes == 1) {
        std::memset(to, from[0], count);
    } else {
        for (u32 at = 0; at < count; ++at) {
            to[at] = from[at % kUnitBytes];
        }
    }
}

}  // namespace

template <u32 kUnitBytes>
u32 pict_unpack(const u8*& from, const u8* end, u8* row, u32 done, u32 row_bytes)
{
    const u8* at = from;
    while (done < row_bytes && at < end) {
        const u32 code = *at;
        if (code == 128) [[unlikely]] {
            ++at;
            continue;
        }
        const bool run = code > 128;
        const u32 count = (run ? 257 - code : code + 1) * kUnitBytes;
        const u32 taken = run ? kUnitBytes : count;
        const usize left = static_cast<usize>(end - at) - 1;
        if (left >= count + kBlock && row_bytes - done >= count + kBlock) [[likely]] {
            code_expand<kUnitBytes>(at + 1, run, count, row + done);
            done += count;
        } else if (left >= taken) {
            const u32 kept = std::min(count, row_bytes - done);
            code_expand_exactly<kUnitBytes>(at + 1, run, kept, row + done);
            done += kept;
        } else {
            break;
        }
        at += 1 + taken;
    }
    from = at;
    return done;
}

template u32 pict_unpack<1>(const u8*& from, const u8* end, u8* row, u32 done, u32 row_bytes);
template u32 pict_unpack<2>(const u8*& from, const u8* end, u8* row, u32 done, u32 row_bytes);

// --- Packing, byte by byte ---

// Three equal bytes make a run, but not the row's last three. Anything else is a literal up to the next two
// equal bytes; the first byte of a literal is not looked at, so it may be one of two equal ones.
u32 pict_pack_plain(const u8* row, u32 length, u8* packed)
{
    u8* out = packed;
    for (u32 at = 0; at < length;) {
        const u8* from = row + at;
        const u32 left = length - at;
        const u32 most = std::min(left, kLongestPacked);
        u32 count = 1;
        if (left > 3 && from[0] == from[1] && from[0] == from[2]) {
            while (count < most && from[count] == from[0]) {
                ++count;
            }
            *out++ = static_cast<u8>(257 - count);
            *out++ = from[0];
        } else {
            while (count < most && (count + 1 == left || from[count] != from[count + 1])) {
                ++count;
            }
            *out++ = static_cast<u8>(count - 1);
            std::memcpy(out, from, count);
            out += count;
        }
        at += count;
    }
    return static_cast<u32>(out - packed);
}

// --- Packing by a map of equal neighbours ---

#if defined(__SSE2__)

namespace
{

constexpr u32 kMapBits = 64;
constexpr u32 kLongestMapped = 32768;  // bytes of a row: rowBytes has 15 bits

// Bit k of the map tells whether bytes k and k + 1 of the row are equal. Behind the last pair stand zeros.
struct EqualMap {
    u64 words[kLongestMapped / kMapBits + 3];
};

inline __m128i load_block(const u8* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline u64 equal_neighbours(const u8* p)
{
    return static_cast<u32>(_mm_movemask_epi8(_mm_cmpeq_epi8(load_block(p), load_block(p + 1))));
}

void map_fill(EqualMap& map, const u8* row, u32 length)
{
    u64* word = map.words;
    u32 at = 0;
    for (; length - at > kMapBits; at += kMapBits) {
        const u8* p = row + at;
        *word++ = equal_neighbours(p) | equal_neighbours(p + 16) << 16 | equal_neighbours(p + 32) << 32 |
                  equal_neighbours(p + 48) << 48;
    }
    u64 last = 0;
    for (u32 bit = 0; at + bit + 1 < length; ++bit) {
        last |= u64{row[at + bit] == row[at + bit + 1]} << bit;
    }
    word[0] = last;
    word[1] = word[2] = word[3] = 0;
}

// The bits of 64 pairs from pair `at` on.
inline u64 map_bits(const EqualMap& map, u32 at)
{
    const u64* const word = map.words + at / kMapBits;
    const u32 bit = at % kMapBits;
    return word[0] >> bit | word[1] << 1 << (kMapBits - 1 - bit);
}

// Copies a literal; `left` bytes can be read at `from`, and more written at `out`.
inline void literal_copy(const u8* from, u32 count, u32 left, u8* out)
{
    if (left < count + 2 * kBlock) [[unlikely]] {
        std::memcpy(out, from, count);
        return;
    }
    u32 at = 0;
    do {
        std::memcpy(out + at, from + at, 2 * kBlock);
        at += 2 * kBlock;
    } while (at < count);
}

}  // namespace

u32 pict_pack(const u8* row, u32 length, u8* packed)
{
    EqualMap map;
    map_fill(map, row, length);
    u8* out = packed;
    for (u32 at = 0; at < length;) {
        const u32 left = length - at;
        const u64 equal = map_bits(map, at);
        u32 count = 0;
        if ((equal & 3) == 3 && left > 3) {
            count = static_cast<u32>(std::countr_one(equal)) + 1;
            if (count > kMapBits) {
                count += static_cast<u32>(std::countr_one(map_bits(map, at + kMapBits)));
            }
            count = std::min(count, kLongestPacked);
            out[0] = static_cast<u8>(257 - count);
            out[1] = row[at];
            out += 2;
        } else {
            count = static_cast<u32>(std::countr_zero(equal & ~u64{1}));
            if (count == kMapBits) {
                count += static_cast<u32>(std::countr_zero(map_bits(map, at + kMapBits)));
            }
            count = std::min(count, std::min(left, kLongestPacked));
            out[0] = static_cast<u8>(count - 1);
            literal_copy(row + at, count, left, out + 1);
            out += 1 + count;
        }
        at += count;
    }
    return static_cast<u32>(out - packed);
}

#else

u32 pict_pack(const u8* row, u32 length, u8* packed)
{
    return pict_pack_plain(row, length, packed);
}

#endif

}  // namespace orv
