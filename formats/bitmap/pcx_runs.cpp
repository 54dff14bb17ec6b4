#include "formats/bitmap/pcx_runs.h"

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

// Decodes one code to `line` at `fill`. False at the end of the data, also where a run has no value.
bool decode_one(ChunkReader& in, u8* line, u32& fill, u32 length)
{
    if (!chunk_ensure(in, 1)) {
        return false;
    }
    const u8 code = in.buffer[in.pos];
    if (code < kPcxRunMark) {
        in.pos += 1;
        line[fill++] = code;
        return true;
    }
    if (!chunk_ensure(in, 2)) {
        return false;
    }
    const u32 count = std::min<u32>(code & kPcxLongestRun, length - fill);
    std::memset(line + fill, in.buffer[in.pos + 1], count);
    in.pos += 2;
    fill += count;
    return true;
}

// Codes one value and how often it follows itself, and gives the number of bytes it stands for.
inline u32 code_one(const u8* data, u32 count, u8*& out)
{
    const u8 value = data[0];
    const u32 limit = std::min(count, kPcxLongestRun);
    u32 run = 1;
    while (run < limit && data[run] == value) {
        ++run;
    }
    if (run > 1 || value >= kPcxRunMark) {
        *out++ = static_cast<u8>(kPcxRunMark | run);
    }
    *out++ = value;
    return run;
}

}  // namespace

bool pcx_decode_line_plain(ChunkReader& in, u8* line, u32 length)
{
    u32 fill = 0;
    while (fill < length) {
        if (!decode_one(in, line, fill, length)) {
            return false;
        }
    }
    return true;
}

u32 pcx_code_plane_plain(const u8* data, u32 count, u8* code)
{
    u8* out = code;
    for (u32 at = 0; at < count;) {
        at += code_one(data + at, count - at, out);
    }
    return static_cast<u32>(out - code);
}

// --- Sixteen bytes at a time ---

#if defined(__SSE2__)

namespace
{

inline constexpr u32 kBlock = 16;

inline __m128i load_block(const u8* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void store_block(u8* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline void copy_block(u8* to, const u8* from)
{
    store_block(to, load_block(from));
}

// One bit for each byte of the block whose two top bits are set.
inline u32 marks_of(__m128i v)
{
    return static_cast<u32>(_mm_movemask_epi8(_mm_and_si128(v, _mm_add_epi8(v, v))));
}

inline u32 lowest(u32 bits)
{
    return static_cast<u32>(std::countr_zero(bits));
}

// Stores `value` 16 or 64 times, which covers `count`.
inline void store_run(u8* to, u8 value, u32 count)
{
    const __m128i v = _mm_set1_epi8(static_cast<char>(value));
    store_block(to, v);
    if (count > kBlock) {
        store_block(to + 16, v);
        store_block(to + 32, v);
        store_block(to + 48, v);
    }
}

// Decodes the codes that begin in the 16 bytes at `from` and end in them, as far as the line goes: adds
// the bytes made to `fill` and gives the bytes used, at least one. 32 bytes can be read at `from`.
inline u32 decode_block(const u8* from, u8* line, u32& fill, u32 length)
{
    u32 marks = marks_of(load_block(from));
    u32 used = 0;
    while (marks != 0) {
        const u32 at = lowest(marks);
        const u32 single = at - used;
        copy_block(line + fill, from + used);
        if (single >= length - fill || at == kBlock - 1) {
            const u32 taken = std::min(single, length - fill);
            fill += taken;
            return used + taken;
        }
        fill += single;
        const u32 count = from[at] & kPcxLongestRun;
        store_run(line + fill, from[at + 1], count);
        fill += count;
        used = at + 2;
        if (fill >= length) {
            fill = length;
            return used;
        }
        marks &= ~0U << used;
    }
    copy_block(line + fill, from + used);
    const u32 taken = std::min(kBlock - used, length - fill);
    fill += taken;
    return used + taken;
}

// How often data[0] follows itself, at most `limit` times.
inline u32 run_length(const u8* data, u32 limit)
{
    const __m128i value = _mm_set1_epi8(static_cast<char>(data[0]));
    u32 run = 0;
    for (; run + kBlock <= limit; run += kBlock) {
        const u32 same = static_cast<u32>(_mm_movemask_epi8(_mm_cmpeq_epi8(load_block(data + run), value)));
        if (same != 0xFFFF) {
            return run + lowest(~same);
        }
    }
    while (run < limit && data[run] == data[0]) {
        ++run;
    }
    return run;
}

inline void store_pair(u8*& out, u32 run, u8 value)
{
    out[0] = static_cast<u8>(kPcxRunMark | run);
    out[1] = value;
    out += 2;
}

// Codes the values that begin in the 16 bytes at `data`, of which `count`, at least 17, are left, with
// kPcxPlaneSlack behind them. Gives the bytes coded.
inline u32 code_block(const u8* data, u32 count, u8*& out)
{
    const __m128i v = load_block(data);
    const u32 same = static_cast<u32>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, load_block(data + 1))));
    u32 stops = same | marks_of(v);
    u32 done = 0;
    while (stops != 0) {
        const u32 at = lowest(stops);
        copy_block(out, data + done);
        out += at - done;
        const u32 run = 1 + lowest(~(same >> at));
        if (at + run > kBlock) {
            const u32 whole = run_length(data + at, std::min(count - at, kPcxLongestRun));
            store_pair(out, whole, data[at]);
            return at + whole;
        }
        store_pair(out, run, data[at]);
        done = at + run;
        stops &= ~0U << done;
    }
    copy_block(out, data + done);
    out += kBlock - done;
    return kBlock;
}

}  // namespace

bool pcx_decode_line(ChunkReader& in, u8* line, u32 length)
{
    u32 fill = 0;
    while (fill < length) {
        if (chunk_available(in) >= 2 * kBlock) {
            in.pos += decode_block(in.buffer + in.pos, line, fill, length);
        } else if (!decode_one(in, line, fill, length)) {
            return false;
        }
    }
    return true;
}

u32 pcx_code_plane(const u8* data, u32 count, u8* code)
{
    u8* out = code;
    u32 at = 0;
    while (count - at > kBlock) {
        at += code_block(data + at, count - at, out);
    }
    while (at < count) {
        at += code_one(data + at, count - at, out);
    }
    return static_cast<u32>(out - code);
}

#else

bool pcx_decode_line(ChunkReader& in, u8* line, u32 length)
{
    return pcx_decode_line_plain(in, line, length);
}

u32 pcx_code_plane(const u8* data, u32 count, u8* code)
{
    return pcx_code_plane_plain(data, count, code);
}

#endif

}  // namespace orv
