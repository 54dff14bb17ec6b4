// LZW as TIFF 6.0, section 13, has it.
#include <algorithm>
#include <bit>

#include "formats/tiff/lzw_codes.h"
#include "formats/tiff/msb_bits.h"
#include "formats/tiff/tiff_strips.h"
#include "frame/blocks.h"

namespace orv
{

// --- The bytes of the format: see lzw_codes.h ---

// --- Records and constants ---

namespace
{

constexpr u32 kTableEntries = 4778;  // a coder that fills it has lost its Clear codes
constexpr u32 kAtOnce = 4;           // codes between two looks at the output's room
constexpr i32 kBitsAtOnce = static_cast<i32>(kAtOnce * kLzwMaxBits);

// A string is held by its last 1 to 8 bytes and by its head, what stands ahead of them: whole eights, which are
// a string too. The head is written eight bytes at a time by its own code, or copied from its place in the
// output while it is there.
struct LzwEntry {
    u64 tail;  // first byte lowest
    u64 rest;  // bits 0..15 length, 16..31 code of the head, 32..39 first byte, 40..63 place of the head
};

u32 length_of(u64 rest)
{
    return rest & 0xFFFF;
}
u32 head_of(u64 rest)
{
    return rest >> 16 & 0xFFFF;
}
u32 first_of(u64 rest)
{
    return rest >> 32 & 0xFF;
}

constexpr u32 kTailBytes = 8;
constexpr u32 kBlock = 32;            // bytes of a long string copied at once
constexpr u32 kPlaceMask = 0xFFFFFF;  // strings of a table, one of each length, stay apart
constexpr u32 kHistory = 16384;       // bytes of the output that are kept for long strings
constexpr u32 kFlushBytes = 16384;
constexpr u32 kSlack = kAtOnce * (kTableEntries + kBlock);

static_assert(u64{kTableEntries} * kTableEntries / 2 + kHistory + kFlushBytes < kPlaceMask);

struct LzwContext {
    u8* block;  // holds what follows
    LzwEntry* table;
    u8* output;
    u32 flush_at;  // output bytes at which finished rows are handed on; there is room for strings behind
};

// The output of a strip: the bytes up to `handed` have been delivered and are kept as history.
struct LzwOutput {
    u8* to;
    u8* handed;
    u32 gone;  // bytes that have left the block
    i32 row;   // number of the first row behind `handed`
};

// The decoding between two Clears.
struct LzwState {
    u32 code_size;
    u32 limit;  // entries with which the size grows
    u32 next;   // entry that the next code adds
    u32 previous;
    LzwEntry string;  // of `previous`
};

void store_tail(u8* p, u64 tail)
{
    if constexpr (std::endian::native == std::endian::big) {
        tail = __builtin_bswap64(tail);
    }
    std::memcpy(p, &tail, kTailBytes);
}

}  // namespace

// --- Rows ---

namespace
{

// Writes a string longer than a tail, from its end to its start.
void write_by_tails(const LzwEntry* table, const LzwEntry* entry, u8* out)
{
    for (;;) {
        const u32 start = (length_of(entry->rest) - 1) & ~(kTailBytes - 1);
        store_tail(out + start, entry->tail);
        if (start == 0) {
            return;
        }
        entry = table + head_of(entry->rest);
    }
}

// The place of what is written next, counted from the strip's first byte.
u32 place_of(const LzwContext& lzw, const LzwOutput& out)
{
    return out.gone + static_cast<u32>(out.to - lzw.output);
}

// The same from the output, where the head still stands and does not reach into its copy's blocks.
void write_long(const LzwContext& lzw, const LzwEntry* entry, const LzwOutput& out)
{
    const u32 distance = (place_of(lzw, out) - static_cast<u32>(entry->rest >> 40)) & kPlaceMask;
    const u32 head = (length_of(entry->rest) - 1) & ~(kTailBytes - 1);
    if (distance < kBlock || distance > static_cast<u32>(out.to - lzw.output)) {
        write_by_tails(lzw.table, entry, out.to);
        return;
    }
    for (u32 i = 0; i < head; i += kBlock) {
        u8 bytes[kBlock];
        std::memcpy(bytes, out.to - distance + i, kBlock);
        std::memcpy(out.to + i, bytes, kBlock);
    }
    store_tail(out.to + head, entry->tail);
}

// Hands on the whole rows and keeps what stands behind them, with some history. False behind the last row
// that is wanted.
bool lzw_flush(StripWalk& walk, const LzwContext& lzw, LzwOutput& out)
{
    const i64 row_bytes = walk.row_bytes;
    for (; out.to - out.handed >= row_bytes && out.row < walk.end_row; out.handed += row_bytes) {
        tiff_put_row(walk, out.handed, out.row++);
    }
    const u32 written = static_cast<u32>(out.to - lzw.output);
    const u32 kept = std::max(kHistory, static_cast<u32>(out.to - out.handed));
    if (written > kept) {
        const u32 left = written - kept;
        std::memmove(lzw.output, lzw.output + left, kept);
        out.to -= left;
        out.handed -= left;
        out.gone += left;
    }
    return out.row < walk.end_row;
}

// The last string grown by one byte. One whose tail is full becomes the head: it ends where the next begins.
[[gnu::always_inline]] inline LzwEntry grown(const LzwContext& lzw, const LzwState& state, const LzwOutput& out,
                                             u32 byte)
{
    const LzwEntry& entry = state.string;
    const u32 in_tail = entry.rest % kTailBytes;
    if (in_tail == 0) [[unlikely]] {
        const u64 place = place_of(lzw, out) - length_of(entry.rest);
        return {.tail = byte,
                .rest = ((entry.rest + 1) & 0xFF0000FFFF) | u64{state.previous} << 16 | place << 40};
    }
    return {.tail = entry.tail | u64{byte} << (8 * in_tail), .rest = entry.rest + 1};
}

enum class CodeStep { Taken, Clear, Ended };

// Takes a code: writes its string and adds its entry. A bad code ends the strip as its end code does.
[[gnu::always_inline]] inline CodeStep take_code(const LzwContext& lzw, LzwState& state, LzwOutput& out,
                                                 u32 code)
{
    LzwEntry* const table = lzw.table;
    if (code >= state.next || (code & ~1u) == kLzwClear) [[unlikely]] {
        if (code != state.next || state.next >= kTableEntries) {
            return code == kLzwClear ? CodeStep::Clear : CodeStep::Ended;
        }
        table[code] = grown(lzw, state, out, first_of(state.string.rest));
    } else {
        table[state.next] = grown(lzw, state, out, first_of(table[code].rest));
    }
    const LzwEntry* const entry = table + code;
    const u32 length = length_of(entry->rest);
    if (length <= kTailBytes) [[likely]] {
        store_tail(out.to, entry->tail);
    } else {
        write_long(lzw, entry, out);
    }
    state.string = *entry;
    out.to += length;
    state.previous = code;
    if (++state.next == state.limit && state.code_size < kLzwMaxBits) {
        ++state.code_size;
        state.limit = lzw_grows_at(state.code_size);
    }
    return CodeStep::Taken;
}

u32 next_code(MsbBits& bits, u32 size)
{
    const u32 code = msb_peek(bits, size);
    msb_skip(bits, size);
    return code;
}

// The code behind a Clear stands for one byte, or is another Clear.
CodeStep first_code(MsbInput& input, MsbBits& bits, const LzwContext& lzw, LzwState& state, LzwOutput& out)
{
    if (!msb_fill(input, bits, kLzwMinBits) || bits.count < static_cast<i32>(kLzwMinBits)) {
        return CodeStep::Ended;
    }
    const u32 code = next_code(bits, kLzwMinBits);
    if (code >= kLzwClear) {
        return code == kLzwClear ? CodeStep::Clear : CodeStep::Ended;
    }
    *out.to++ = static_cast<u8>(code);
    state = {.code_size = kLzwMinBits,
             .limit = lzw_grows_at(kLzwMinBits),
             .next = kLzwFirstFree,
             .previous = code,
             .string = lzw.table[code]};
    return CodeStep::Taken;
}

// Decodes from behind a Clear to the next. False ends the strip: its end code, a bad code, a full table, the
// end of the data, or no row left to decode.
bool lzw_until_clear(StripWalk& walk, const LzwContext& lzw, MsbInput& input, MsbBits& given,
                     LzwOutput& given_out)
{
    MsbBits bits = given;
    LzwOutput out = given_out;
    LzwState state;
    CodeStep step = first_code(input, bits, lzw, state, out);
    u8* const flush_at = lzw.output + lzw.flush_at;
    while (step == CodeStep::Taken) {
        if (out.to >= flush_at && !lzw_flush(walk, lzw, out)) {
            // What follows is the end code: planes that lie one behind the other go on behind it.
            msb_fill(input, bits, kLzwMaxBits);
            next_code(bits, state.code_size);
            break;
        }
        msb_fill(input, bits, input.in.unbounded ? static_cast<i32>(state.code_size) : kBitsAtOnce);
        if (bits.count >= kBitsAtOnce && state.next + kAtOnce <= kTableEntries) [[likely]] {
            for (u32 i = 0; i < kAtOnce && step == CodeStep::Taken; ++i) {
                step = take_code(lzw, state, out, next_code(bits, state.code_size));
            }
        } else if (bits.count < static_cast<i32>(state.code_size)) {
            picture_note(walk.sink, kNoteDataEnded);
            step = CodeStep::Ended;
        } else if (state.next >= kTableEntries) {
            step = CodeStep::Ended;
        } else {
            step = take_code(lzw, state, out, next_code(bits, state.code_size));
        }
    }
    given = bits;
    given_out = out;
    return step == CodeStep::Clear;
}

void decode_lzw_strip(StripWalk& walk, void* context)
{
    LzwContext lzw = *static_cast<LzwContext*>(context);
    // Nothing is decoded behind the last row that is wanted.
    const u32 wanted = static_cast<u32>((walk.end_row - walk.first_row) * walk.row_bytes);
    lzw.flush_at = std::min(lzw.flush_at, wanted);
    MsbInput input = msb_open(walk.file.tiff_stream);
    MsbBits bits = {.bits = 0, .count = 0};
    LzwOutput out = {.to = lzw.output, .handed = lzw.output, .gone = 0, .row = walk.first_row};
    if (msb_fill(input, bits, kLzwMinBits) && next_code(bits, kLzwMinBits) == kLzwClear) {
        while (lzw_until_clear(walk, lzw, input, bits, out)) {
        }
    }
    lzw_flush(walk, lzw, out);
    walk.bytes_used += msb_used(input, bits);
}

bool lzw_allocate(const StripWalk& walk, LzwContext& lzw)
{
    lzw.flush_at = kHistory + std::max(3 * static_cast<u32>(walk.row_bytes), kFlushBytes);
    constexpr usize kTableBytes = kTableEntries * sizeof(LzwEntry);
    lzw.block = block_alloc(kTableBytes + lzw.flush_at + kSlack);
    if (lzw.block == nullptr) {
        return false;
    }
    lzw.table = reinterpret_cast<LzwEntry*>(lzw.block);
    lzw.output = lzw.block + kTableBytes;
    for (u32 i = 0; i < 256; ++i) {
        lzw.table[i] = {.tail = i, .rest = u64{i} << 32 | 1};
    }
    return true;
}

}  // namespace

i16 tiff_decode_lzw(StripWalk& walk)
{
    LzwContext lzw = {};
    if (!lzw_allocate(walk, lzw)) {
        return kOutOfMemory;
    }
    decode_strips(walk, decode_lzw_strip, &lzw);
    block_free(lzw.block);
    return kOk;
}

}  // namespace orv
