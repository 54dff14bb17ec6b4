// LZW as TIFF 6.0, section 13, has it.
#include <algorithm>
#include <bit>

#include "formats/tiff/tiff_strips.h"
#include "frame/blocks.h"
#include "frame/bytes.h"
#include "frame/chunk_reader.h"

namespace orv
{

// ---- the bytes of the format
//
// Codes of 9 to 12 bits, the highest bit first. 0 to 255 are single bytes, 256 is Clear, 257
// EndOfInformation; each code behind the first after a Clear adds an entry: the string before it and
// its own first byte. The size of the codes grows when the next entry is one short of it.

// ---- records and constants

namespace
{

constexpr u32 kClear = 256;
constexpr u32 kEndOfInformation = 257;
constexpr u32 kFirstFree = 258;
constexpr u32 kTableEntries = 4778;  // a coder that fills it has lost its Clear codes
constexpr u32 kMinCodeBits = 9;
constexpr u32 kMaxCodeBits = 12;

// A string is held by its last 1 to 8 bytes and the code of what stands ahead of them, so that it is
// written eight bytes at a time.
struct LzwEntry {
    u64 tail;  // first byte lowest
    u64 rest;  // bits 0..15 length, 16..31 code of the string without its tail, 32..39 first byte
};

u32 length_of(u64 rest)
{
    return rest & 0xFFFF;
}
u32 prefix_of(u64 rest)
{
    return rest >> 16 & 0xFFFF;
}
u32 first_of(u64 rest)
{
    return rest >> 32 & 0xFF;
}

constexpr u32 kTailBytes = 8;
constexpr u32 kFlushBytes = 16384;

struct LzwContext {
    u8* output;
    LzwEntry* table;
    u32 flush_at;  // output bytes at which finished rows are handed on; there is room for a string behind
};

struct LzwBits {
    ChunkReader in;
    u64 bits;   // the next bits of the data, from the top
    u32 count;  // how many
    i64 used;   // bytes of refilled chunks
};

// The output of a strip so far that has not been handed on.
struct LzwOutput {
    u32 length;
    i32 row;  // number of the first row
};

void store_tail(u8* p, u64 tail)
{
    if constexpr (std::endian::native == std::endian::big) {
        tail = __builtin_bswap64(tail);
    }
    std::memcpy(p, &tail, kTailBytes);
}

}  // namespace

// ---- parsing and checks, no pixels

namespace
{

// Takes the last bytes of the chunk and of the data into the register. False when fewer than `size`
// bits are left.
bool lzw_refill(LzwBits& in, u32 size)
{
    in.used += in.in.pos;
    chunk_refill(in.in, in.in.unbounded ? (size - in.count + 7) / 8 : 8);
    while (in.count <= 56 && in.in.pos < in.in.fill) {
        in.bits |= u64{in.in.buffer[in.in.pos++]} << (56 - in.count);
        in.count += 8;
    }
    return in.count >= size;
}

// Sees to it that the register holds a code. The loops keep a copy of `in` apart from what they write.
inline bool lzw_fill(LzwBits& in, u32 size)
{
    if (in.count >= size) {
        return true;
    }
    if (chunk_available(in.in) >= 8) [[likely]] {
        in.bits |= load_be64(in.in.buffer + in.in.pos) >> in.count;
        const u32 bytes = (63 - in.count) / 8;
        in.in.pos += bytes;
        in.count += 8 * bytes;
        return true;
    }
    return lzw_refill(in, size);
}

// The next code, or EndOfInformation where the data ends.
inline u32 lzw_code(LzwBits& in, u32 size)
{
    if (!lzw_fill(in, size)) {
        return kEndOfInformation;
    }
    const u32 code = static_cast<u32>(in.bits >> (64 - size));
    in.bits <<= size;
    in.count -= size;
    return code;
}

}  // namespace

// ---- rows

namespace
{

// Writes a string longer than a tail, from its end to its start.
void write_long(const LzwEntry* table, const LzwEntry* entry, u8* out)
{
    for (;;) {
        const u32 start = (length_of(entry->rest) - 1) & ~(kTailBytes - 1);
        store_tail(out + start, entry->tail);
        if (start == 0) {
            return;
        }
        entry = table + prefix_of(entry->rest);
    }
}

// Hands on the whole rows and moves the rest to the front. False behind the last row of the plane.
bool lzw_flush(StripWalk& walk, const LzwContext& lzw, LzwOutput& out)
{
    const u32 row_bytes = static_cast<u32>(walk.row_bytes);
    u32 done = 0;
    for (; out.length - done >= row_bytes && out.row < walk.end_row; done += row_bytes) {
        tiff_put_row(walk, lzw.output + done, out.row++);
    }
    out.length -= done;
    std::memmove(lzw.output, lzw.output + done, out.length);
    return out.row < walk.end_row;
}

// The string of `code` grown by one byte.
inline LzwEntry grown(const LzwEntry& entry, u32 code, u32 byte)
{
    const u64 rest = entry.rest + 1;
    const u32 in_tail = entry.rest % kTailBytes;
    if (in_tail == 0) {
        return {.tail = byte, .rest = (rest & ~u64{0xFFFF0000}) | code << 16};
    }
    return {.tail = entry.tail | u64{byte} << (8 * in_tail), .rest = rest};
}

// Decodes from behind a Clear to the next. True if there is one; false ends the strip: its end code, a
// bad code, a full table, the end of the data, or no row left to decode.
bool lzw_until_clear(StripWalk& walk, const LzwContext& lzw, LzwBits& in, LzwOutput& out)
{
    LzwEntry* const table = lzw.table;
    u32 code = lzw_code(in, kMinCodeBits);
    if (code >= kClear) {
        return code == kClear;
    }
    u8* to = lzw.output + out.length;
    u8* const flush_at = lzw.output + lzw.flush_at;
    *to++ = static_cast<u8>(code);
    u32 previous = code;
    LzwEntry string = table[code];
    u32 next = kFirstFree;
    u32 size = kMinCodeBits;
    u32 limit = (1u << kMinCodeBits) - 1;
    LzwBits local = in;
    while (next < kTableEntries) {
        if (to >= flush_at) {
            out.length = static_cast<u32>(to - lzw.output);
            if (!lzw_flush(walk, lzw, out)) {
                break;
            }
            to = lzw.output + out.length;
        }
        code = lzw_code(local, size);
        if (code >= next || (code & ~1u) == kClear) {
            if (code != next) {
                break;
            }
            table[next] = grown(string, previous, first_of(string.rest));
        } else {
            table[next] = grown(string, previous, first_of(table[code].rest));
        }
        string = table[code];
        if (length_of(string.rest) <= kTailBytes) [[likely]] {
            store_tail(to, string.tail);
        } else {
            write_long(table, table + code, to);
        }
        to += length_of(string.rest);
        previous = code;
        if (++next == limit && size < kMaxCodeBits) {
            ++size;
            limit = limit * 2 + 1;
        }
    }
    in = local;
    out.length = static_cast<u32>(to - lzw.output);
    return code == kClear;
}

void decode_lzw_strip(StripWalk& walk, void* context)
{
    LzwContext lzw = *static_cast<LzwContext*>(context);
    // Nothing is decoded behind the last row that is wanted.
    const u32 wanted = static_cast<u32>((walk.end_row - walk.first_row) * walk.row_bytes);
    lzw.flush_at = std::min(lzw.flush_at, wanted);
    LzwBits in = {.in = chunk_open(walk.stream), .bits = 0, .count = 0, .used = 0};
    LzwOutput out = {.length = 0, .row = walk.first_row};
    if (lzw_code(in, kMinCodeBits) == kClear) {
        while (lzw_until_clear(walk, lzw, in, out)) {
        }
    }
    lzw_flush(walk, lzw, out);
    walk.bytes_used += in.used + in.in.pos;
}

bool lzw_allocate(const TiffDirectory& dir, const StripWalk& walk, LzwContext& lzw)
{
    lzw.flush_at = std::max(3 * static_cast<u32>(walk.row_bytes), kFlushBytes);
    lzw.output = block_alloc(lzw.flush_at + kTableEntries + kTailBytes + tiff_row_room(dir));
    lzw.table = reinterpret_cast<LzwEntry*>(block_alloc(kTableEntries * sizeof(LzwEntry)));
    if (!lzw.output || !lzw.table) {
        return false;
    }
    for (u32 i = 0; i < 256; ++i) {
        lzw.table[i] = {.tail = i, .rest = u64{i} << 32 | 1};
    }
    return true;
}

}  // namespace

i16 tiff_decode_lzw(const TiffDirectory& dir, StreamHandle stream)
{
    StripWalk walk = strip_walk(dir, stream);
    LzwContext lzw = {};
    const bool allocated = lzw_allocate(dir, walk, lzw);
    if (allocated) {
        decode_strips(walk, decode_lzw_strip, &lzw);
    }
    block_free(lzw.table);
    block_free(lzw.output);
    return allocated ? kOk : kOutOfMemory;
}

}  // namespace orv
