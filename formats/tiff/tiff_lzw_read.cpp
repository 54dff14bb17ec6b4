// LZW as TIFF 6.0, section 13, has it.
#include <algorithm>

#include "formats/lzw_strings.h"
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

static_assert(kTableEntries < kLzwMostStrings);

struct LzwContext {
    LzwDictionary* dictionary;
    u8* window;    // the single bytes, then the output
    u32 capacity;  // up to which it may be filled; there is room for strings behind
};

// The output of a strip. The bytes up to `handed` have been delivered.
struct LzwOutput {
    u32 at;  // where the next string goes
    u32 handed;
    u32 stop_at;  // hand rows on from here
    i32 row;      // number of the first row behind `handed`
};

}  // namespace

// --- Rows ---

namespace
{

// Settles where decoding stops for rows: soon, and behind the last row that is wanted.
void set_stop(const StripWalk& walk, const LzwContext& lzw, LzwOutput& out)
{
    const u32 row_bytes = static_cast<u32>(walk.row_bytes);
    const u64 end = out.handed + u64{row_bytes} * static_cast<u32>(walk.end_row - out.row);
    const u32 batch_end = std::min(std::max(out.at, out.handed + row_bytes) + kLzwBatchBytes, lzw.capacity);
    out.stop_at = static_cast<u32>(std::min<u64>(end, batch_end));
}

// Moves what is still needed, from `from` on, to the start of the window and gives how far.
u32 move_window(const LzwContext& lzw, LzwOutput& out, u32 from)
{
    const u32 shift = from - kLzwRoots;
    std::memmove(lzw.window + kLzwRoots, lzw.window + from, out.at - from);
    out.handed -= shift;
    out.at -= shift;
    return shift;
}

// Hands on the rows that are complete. False behind the last row that is wanted.
bool hand_rows(StripWalk& walk, const LzwContext& lzw, LzwOutput& out)
{
    const u32 row_bytes = static_cast<u32>(walk.row_bytes);
    for (; out.at - out.handed >= row_bytes && out.row < walk.end_row; out.handed += row_bytes) {
        tiff_put_row(walk, lzw.window + out.handed, out.row++);
    }
    set_stop(walk, lzw, out);
    return out.row < walk.end_row;
}

// Starts the window anew: all strings but `next`, which is being made, lose their places.
void restart_window(const LzwContext& lzw, LzwOutput& out, u32 next)
{
    LzwString& made = lzw.dictionary->strings[next];
    lzw_forget_places(*lzw.dictionary, lzw.window, kLzwFirstFree, next);
    made.place -= move_window(lzw, out, std::min(out.handed, made.place));
}

}  // namespace

// --- Codes ---

namespace
{

enum class CodeStep { Taken, Clear, Ended };

// The decoding between two Clears.
struct LzwState {
    u32 code_size;
    u32 limit;  // strings with which the size grows
    u32 next;   // of the string that is being made
};

// Takes a code: writes its string, which ends the one that is being made and begins the next. A bad code ends
// the strip as its end code does.
[[gnu::always_inline]] inline CodeStep take_code(LzwDictionary& dictionary, u8* window, LzwState& state,
                                                 u32& at, u32 code)
{
    u32 length;
    if (code < state.next) [[likely]] {
        length = lzw_write_string(dictionary, window, code, at);
        if (length == 0) [[unlikely]] {
            return code == kLzwClear ? CodeStep::Clear : CodeStep::Ended;
        }
    } else if (code == state.next) {
        length = lzw_write_string(dictionary, window, code, at);
        window[at + length - 1] = window[at];  // its last byte is its first
    } else {
        return CodeStep::Ended;
    }
    lzw_begin_string(dictionary.strings[++state.next], at, length, code);
    at += length;
    if (state.next == state.limit && state.code_size < kLzwMaxBits) [[unlikely]] {
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
    state = {.code_size = kLzwMinBits, .limit = lzw_grows_at(kLzwMinBits), .next = kLzwFirstFree};
    lzw.dictionary->tails_made = kLzwFirstFree;
    lzw.window[out.at] = static_cast<u8>(code);
    lzw_begin_string(lzw.dictionary->strings[kLzwFirstFree], out.at, 1, code);
    ++out.at;
    return CodeStep::Taken;
}

// Decodes from behind a Clear to the next. False ends the strip: its end code, a bad code, a full table, the
// end of the data, or no row left to decode.
bool lzw_until_clear(StripWalk& walk, const LzwContext& lzw, MsbInput& input, MsbBits& given, LzwOutput& out)
{
    LzwDictionary& dictionary = *lzw.dictionary;
    u8* const window = lzw.window;
    MsbBits bits = given;
    LzwState state;
    CodeStep step = first_code(input, bits, lzw, state, out);
    u32 at = out.at;
    while (step == CodeStep::Taken) {
        if (at >= out.stop_at) {
            out.at = at;
            if (!hand_rows(walk, lzw, out)) {
                // What follows is the end code: planes that lie one behind the other go on behind it.
                msb_fill(input, bits, kLzwMaxBits);
                next_code(bits, state.code_size);
                break;
            }
            if (out.at >= lzw.capacity) {
                restart_window(lzw, out, state.next);
                set_stop(walk, lzw, out);
            }
            at = out.at;
        }
        msb_fill(input, bits, input.in.unbounded ? static_cast<i32>(state.code_size) : kBitsAtOnce);
        if (bits.count >= kBitsAtOnce && state.next + kAtOnce <= kTableEntries) [[likely]] {
            for (u32 i = 0; i < kAtOnce && step == CodeStep::Taken; ++i) {
                step = take_code(dictionary, window, state, at, next_code(bits, state.code_size));
            }
        } else if (bits.count < static_cast<i32>(state.code_size)) {
            picture_note(walk.sink, kNoteDataEnded);
            step = CodeStep::Ended;
        } else if (state.next >= kTableEntries) {
            step = CodeStep::Ended;
        } else {
            step = take_code(dictionary, window, state, at, next_code(bits, state.code_size));
        }
    }
    given = bits;
    out.at = at;
    return step == CodeStep::Clear;
}

void decode_lzw_strip(StripWalk& walk, void* context)
{
    const LzwContext& lzw = *static_cast<const LzwContext*>(context);
    MsbInput input = msb_open(walk.file.tiff_stream);
    MsbBits bits = {.bits = 0, .count = 0};
    LzwOutput out = {.at = kLzwRoots, .handed = kLzwRoots, .stop_at = 0, .row = walk.first_row};
    set_stop(walk, lzw, out);
    if (msb_fill(input, bits, kLzwMinBits) && next_code(bits, kLzwMinBits) == kLzwClear) {
        while (lzw_until_clear(walk, lzw, input, bits, out)) {
            // No string needs its place any more.
            hand_rows(walk, lzw, out);
            move_window(lzw, out, out.handed);
            set_stop(walk, lzw, out);
        }
    }
    hand_rows(walk, lzw, out);
    walk.bytes_used += msb_used(input, bits);
}

}  // namespace

i16 tiff_decode_lzw(StripWalk& walk)
{
    LzwContext lzw = {};
    lzw.capacity = kLzwRoots + 2 * static_cast<u32>(walk.row_bytes) + kLzwWindowBytes;
    lzw.dictionary = reinterpret_cast<LzwDictionary*>(block_alloc(sizeof(LzwDictionary)));
    lzw.window = block_alloc(lzw.capacity + kAtOnce * kLzwStringRoom);
    const bool allocated = lzw.dictionary != nullptr && lzw.window != nullptr;
    if (allocated) {
        lzw_set_roots(*lzw.dictionary, lzw.window, kLzwClear);
        decode_strips(walk, decode_lzw_strip, &lzw);
    }
    block_free(lzw.window);
    block_free(lzw.dictionary);
    return allocated ? i16{kOk} : i16{kOutOfMemory};
}

}  // namespace orv
