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

// Writes the code of a run or a literal of `count` bytes and gives its end. Both begin with the byte at `from`,
// and 32 bytes are copied whatever it is: pictures change from one to the other too often for a branch to be
// foreseen. `count + 32` bytes can be read at `from`.
inline u8* code_put(const u8* from, u32 count, bool run, u8* out)
{
    const u32 taken = run ? 1 : count;
    out[0] = static_cast<u8>(run ? 257 - count : count - 1);
    u32 at = 0;
    do {
        std::memcpy(out + 1 + at, from + at, 2 * kBlock);
        at += 2 * kBlock;
    } while (at < taken);
    return out + 1 + taken;
}

// Moves `out` behind the code of the run or literal at `at` and gives its bytes: any place, any length.
inline u32 code_step(const EqualMap& map, const u8* row, u32 length, u32 at, u8*& out)
{
    const u32 left = length - at;
    const u64 equal = map_bits(map, at);
    const bool run = (equal & 3) == 3 && left > 3;
    const auto ends = [run](u64 pairs) { return static_cast<u32>(std::countr_zero(run ? ~pairs : pairs)); };
    u32 count = ends(run ? equal : equal & ~u64{1});
    if (count == kMapBits) {
        count += ends(map_bits(map, at + kMapBits));
    }
    count = std::min(count + static_cast<u32>(run), std::min(left, kLongestPacked));
    if (left >= count + 2 * kBlock) [[likely]] {
        out = code_put(row + at, count, run, out);
    } else {
        const u32 taken = run ? 1 : count;
        *out = static_cast<u8>(run ? 257 - count : count - 1);
        std::memcpy(out + 1, row + at, taken);
        out += 1 + taken;
    }
    return count;
}

// Of 64 bytes of the row, those at which a run or literal begins as long as none is cut for its length: the
// first of equal ones, and the first behind three or more. `before` are the pairs of the 64 bytes before.
//
//     row      a b b b c d d e
//     pairs    0 1 1 0 0 1 0 0
//     starts   . 1 . . 1 1 . .
inline u64 code_starts(u64 pairs, u64 before)
{
    const u64 last = pairs << 1 | before >> 63;
    const u64 run_ended = (pairs << 2 | before >> 62) & (pairs << 3 | before >> 61);
    return ~last & (pairs | run_ended);
}

}  // namespace

u32 pict_pack(const u8* row, u32 length, u8* packed)
{
    EqualMap map;
    map_fill(map, row, length);
    // The last bytes have a rule of their own, and no room to copy more than there is.
    const u32 most_words = length / kMapBits;
    const u32 words = most_words > 3 ? most_words - 3 : 0;
    u8* out = packed;
    u32 at = 0;
    for (u32 word = 0; word < words; ++word) {
        u64 starts = code_starts(map.words[word], word == 0 ? 0 : map.words[word - 1]);
        for (; starts != 0; starts &= starts - 1) {
            const u32 next = word * kMapBits + static_cast<u32>(std::countr_zero(starts));
            const u32 count = next - at;
            if (count - 1 >= kLongestPacked) [[unlikely]] {
                // Cut pieces. The rest of a run may be too short for one and go on behind `next`.
                while (at < next) {
                    at += code_step(map, row, length, at, out);
                }
                continue;
            }
            const u8* const from = row + at;
            const bool run =
                static_cast<bool>(static_cast<int>(from[0] == from[1]) & static_cast<int>(from[0] == from[2]));
            out = code_put(from, count, run, out);
            at = next;
        }
    }
    while (at < length) {
        at += code_step(map, row, length, at, out);
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
