#include "formats/interchange/wpg_runs.h"

#include <algorithm>
#include <bit>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orv
{

// --- Plain ---

namespace
{

enum class Step : u8 { Bytes, Repeat, DataEnded };

// Takes one code. A code that the data does not hold whole is the end of the data.
Step decode_one(ChunkReader& in, u8* row, u32& fill, u32& repeat)
{
    if (!chunk_ensure(in, 2)) {
        return Step::DataEnded;
    }
    const u8* code = in.buffer + in.pos;
    const u32 n = code[0] & kWpgLongest;
    if (code[0] == 0) {
        repeat = code[1];
        in.pos += 2;
        return Step::Repeat;
    }
    if ((code[0] & kWpgRun) != 0) {
        const u32 count = n != 0 ? n : code[1];
        std::memset(row + fill, n != 0 ? code[1] : 0xFF, count);
        in.pos += 2;
        fill += count;
        return Step::Bytes;
    }
    if (!chunk_ensure(in, 1 + n)) {
        return Step::DataEnded;
    }
    std::memcpy(row + fill, in.buffer + in.pos + 1, n);
    in.pos += 1 + n;
    fill += n;
    return Step::Bytes;
}

// Codes the first run or literal and gives the number of bytes it stands for.
inline u32 code_one(const u8* row, u32 count, u8*& out)
{
    const u32 limit = std::min(count, kWpgLongest);
    u32 n = 1;
    if (count > 1 && row[0] == row[1]) {
        while (n < limit && row[n] == row[0]) {
            ++n;
        }
        out[0] = static_cast<u8>(kWpgRun | n);
        out[1] = row[0];
        out += 2;
        return n;
    }
    while (n < limit && (n + 1 == count || row[n] != row[n + 1])) {
        ++n;
    }
    out[0] = static_cast<u8>(n);
    std::memcpy(out + 1, row, n);
    out += 1 + n;
    return n;
}

}  // namespace

WpgStop wpg_decode_codes_plain(ChunkReader& in, u8* row, u32 row_bytes, u32& fill, u32& repeat)
{
    while (fill < row_bytes) {
        const Step step = decode_one(in, row, fill, repeat);
        if (step != Step::Bytes) {
            return step == Step::Repeat ? WpgStop::Repeat : WpgStop::DataEnded;
        }
    }
    return WpgStop::RowFull;
}

u32 wpg_code_row_plain(const u8* row, u32 count, u8* code)
{
    u8* out = code;
    for (u32 at = 0; at < count;) {
        at += code_one(row + at, count - at, out);
    }
    return static_cast<u32>(out - code);
}

// --- Sixteen bytes at a time ---

#if defined(__SSE2__)

namespace
{

inline constexpr u32 kBlock = 16;
inline constexpr u32 kLongestWords = 128;  // kWpgLongest in whole blocks

inline __m128i load_block(const u8* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void store_block(u8* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// Takes codes as long as a whole one is sure to be in the chunk, up to a repeat code. Codes of up to 16
// bytes, run or literal, take one road without a branch between the two.
inline void decode_whole_codes(ChunkReader& in, u8* row, u32 row_bytes, u32& fill)
{
    const u8* from = in.buffer + in.pos;
    const u8* const last = in.buffer + in.fill - (1 + kLongestWords);
    u8* to = row + fill;
    const u8* const end = row + row_bytes;
    while (to < end && from <= last && from[0] != 0) {
        const u32 n = from[0] & kWpgLongest;
        const bool is_run = (from[0] & kWpgRun) != 0;
        if (n - 1 < kBlock) {
            const __m128i run = _mm_set1_epi8(static_cast<char>(from[1]));
            const __m128i chosen = _mm_set1_epi32(is_run ? -1 : 0);
            const __m128i literal = load_block(from + 1);
            store_block(to, _mm_or_si128(_mm_and_si128(chosen, run), _mm_andnot_si128(chosen, literal)));
            from += is_run ? 2 : 1 + n;
            to += n;
        } else if (!is_run) {
            std::memcpy(to, from + 1, kLongestWords);
            from += 1 + n;
            to += n;
        } else {
            const u32 count = n != 0 ? n : from[1];
            const u8 value = n != 0 ? from[1] : 0xFF;
            std::memset(to, value, kLongestWords);
            std::memset(to + kLongestWords, value, std::max(count, kLongestWords) - kLongestWords);
            from += 2;
            to += count;
        }
    }
    in.pos = static_cast<u32>(from - in.buffer);
    fill = static_cast<u32>(to - row);
}

inline constexpr u32 kWindow = 32;

// One bit for each of 32 bytes that equals its right neighbour; 33 bytes are looked at.
inline u32 alike_mask(const u8* p)
{
    const auto half = [](const u8* q) {
        return static_cast<u32>(_mm_movemask_epi8(_mm_cmpeq_epi8(load_block(q), load_block(q + 1))));
    };
    return half(p) | half(p + kBlock) << kBlock;
}

// How many bytes from `p` on, of `limit`, are like their right neighbour, or unlike it.
enum class Neighbours : u32 { Unlike = 0, Alike = 0xFFFFFFFF };
inline u32 leading(const u8* p, u32 limit, Neighbours wanted)
{
    u32 n = 0;
    for (; n + kWindow <= limit; n += kWindow) {
        const u32 others = alike_mask(p + n) ^ static_cast<u32>(wanted);
        if (others != 0) {
            return n + static_cast<u32>(std::countr_zero(others));
        }
    }
    while (n < limit && (p[n] == p[n + 1]) == (wanted == Neighbours::Alike)) {
        ++n;
    }
    return n;
}

inline void put_run(u8*& out, u32 n, u8 value)
{
    out[0] = static_cast<u8>(kWpgRun | n);
    out[1] = value;
    out += 2;
}

// As code_one.
inline u32 code_long(const u8* p, u32 count, u8*& out)
{
    const u32 pairs = count - 1;
    if (pairs > 0 && p[0] == p[1]) {
        const u32 n = 1 + leading(p, std::min(pairs, kWpgLongest - 1), Neighbours::Alike);
        put_run(out, n, p[0]);
        return n;
    }
    u32 n = leading(p, std::min(pairs, kWpgLongest), Neighbours::Unlike);
    n = n == pairs ? std::min(count, kWpgLongest) : n;
    out[0] = static_cast<u8>(n);
    std::memcpy(out + 1, p, n);
    out += 1 + n;
    return n;
}

// Codes a literal and the run behind it as far as they end within 32 bytes, of which 33 can be read. Gives
// the bytes coded: 0 where either goes on.
inline u32 code_window(const u8* p, u8*& out)
{
    const u32 alike = alike_mask(p);
    const u32 literal = static_cast<u32>(std::countr_zero(alike));
    if (literal >= kWindow) {
        return 0;
    }
    out[0] = static_cast<u8>(literal);
    store_block(out + 1, load_block(p));
    store_block(out + 1 + kBlock, load_block(p + kBlock));
    out += literal > 0 ? 1 + literal : 0;
    const u32 run = 1 + static_cast<u32>(std::countr_one(alike >> literal));
    if (literal + run > kWindow) {
        return literal;
    }
    put_run(out, run, p[literal]);
    return literal + run;
}

}  // namespace

WpgStop wpg_decode_codes(ChunkReader& in, u8* row, u32 row_bytes, u32& fill, u32& repeat)
{
    while (fill < row_bytes) {
        if (chunk_available(in) > kLongestWords) {
            decode_whole_codes(in, row, row_bytes, fill);
            if (fill >= row_bytes) {
                break;
            }
        }
        // A repeat code, or one that may reach past the chunk.
        const Step step = decode_one(in, row, fill, repeat);
        if (step != Step::Bytes) {
            return step == Step::Repeat ? WpgStop::Repeat : WpgStop::DataEnded;
        }
    }
    return WpgStop::RowFull;
}

u32 wpg_code_row(const u8* row, u32 count, u8* code)
{
    u8* out = code;
    u32 at = 0;
    while (at < count) {
        const u32 coded = count - at > kWindow ? code_window(row + at, out) : 0;
        at += coded > 0 ? coded : code_long(row + at, count - at, out);
    }
    return static_cast<u32>(out - code);
}

#else

WpgStop wpg_decode_codes(ChunkReader& in, u8* row, u32 row_bytes, u32& fill, u32& repeat)
{
    return wpg_decode_codes_plain(in, row, row_bytes, fill, repeat);
}

u32 wpg_code_row(const u8* row, u32 count, u8* code)
{
    return wpg_code_row_plain(row, count, code);
}

#endif

}  // namespace orv
