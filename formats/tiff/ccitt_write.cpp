#include "formats/tiff/ccitt_write.h"

#include <algorithm>
#include <utility>

#include "formats/tiff/ccitt_codes.h"
#include "formats/tiff/tiff_format.h"
#include "frame/blocks.h"

namespace orv
{

// --- The bytes of the format: ITU-T T.4 and T.6, see ccitt_codes.h ---

// --- Records and constants ---

namespace
{

// A make-up code, if the run has one, and the terminating code behind it.
struct RunCode {
    u32 bits : 27;
    u32 length : 5;
};

constexpr i32 kLongestRun = kCcittMaxMakeUp + kCcittTerminating - 1;  // that two codes hold

using RunCodes = std::array<RunCode, kLongestRun + 1>;

constexpr RunCodes join_codes(const CcittRunCodes& codes)
{
    RunCodes table = {};
    for (u32 run = 0; run < table.size(); ++run) {
        const CcittCode& last = codes[run % kCcittTerminating];
        const CcittCode first = run < kCcittTerminating ? CcittCode() : codes[kCcittTerminating - 1 + run / 64];
        table[run].bits = ((u32{first.bits} << last.length) | last.bits) & 0x7FFFFFF;
        table[run].length = (u32{first.length} + last.length) & 31;
    }
    return table;
}

constexpr RunCodes ccitt_code_table[2] = {join_codes(ccitt_white_codes), join_codes(ccitt_black_codes)};

static_assert(ccitt_code_table[kCcittBlackRun][kLongestRun].length == 24);

}  // namespace

// --- Codes ---

namespace
{

RunCode ccitt_code_for(i32 run, u32 colour)
{
    return ccitt_code_table[colour][static_cast<usize>(run)];
}

[[gnu::always_inline]] inline void ccitt_put_bits(MsbWriter& out, const CcittCode& code)
{
    msb_put(out, code.bits, code.length);
}

// Puts what two codes can't hold of a run, and gives the rest.
i32 put_long_run(MsbWriter& out, i32 run, u32 colour)
{
    const CcittCode& make_up = (colour == kCcittWhiteRun ? ccitt_white_codes : ccitt_black_codes).back();
    for (; run > kLongestRun; run -= kCcittMaxMakeUp) {
        ccitt_put_bits(out, make_up);
    }
    return run;
}

// Puts `mode` and two runs, the first of `colour`, together where two codes each hold them.
[[gnu::always_inline]] inline void put_two_runs(MsbWriter& out, const CcittCode& mode, i32 first, i32 second,
                                                u32 colour)
{
    if (first > kLongestRun || second > kLongestRun) [[unlikely]] {
        ccitt_put_bits(out, mode);
        ccitt_put_run(out, first, static_cast<CcittColour>(colour));
        ccitt_put_run(out, second, static_cast<CcittColour>(colour ^ 1));
        return;
    }
    const RunCode a = ccitt_code_for(first, colour);
    const RunCode b = ccitt_code_for(second, colour ^ 1);
    const u64 codes = ((u64{mode.bits} << a.length | a.bits) << b.length) | b.bits;
    msb_put(out, codes, u32{mode.length} + a.length + b.length);
}

}  // namespace

void ccitt_put_run(MsbWriter& out, i32 run, CcittColour colour)
{
    const RunCode code = ccitt_code_for(put_long_run(out, run, colour), colour);
    msb_put(out, code.bits, code.length);
}

void ccitt_put_eol(MsbWriter& out, const u8* page)
{
    const u32 begun = static_cast<u32>((out.to - page) % 2) * 8 + out.count;
    msb_put(out, 1, 16 - begun + 16);
}

void ccitt_put_line_1d(MsbWriter& given, const i32* list, i32 width)
{
    MsbWriter out = given;
    i32 x = 0;
    while (list[0] < width) {
        put_two_runs(out, CcittCode(), list[0] - x, list[1] - list[0], kCcittWhiteRun);
        x = list[1];
        list += 2;
    }
    if (x < width) {
        ccitt_put_run(out, width - x, kCcittWhiteRun);
    }
    given = out;
}

namespace
{

// Elements that both lists have in the same places, up to the width or as many as one look takes: V0.
[[gnu::always_inline]] inline u32 count_straight(const i32* list, const i32* above, i32 width)
{
    constexpr u32 kMost = 32;
    u32 count = 0;
    while (count < kMost && list[count] == above[count]) {
        ++count;
        if (list[count - 1] >= width) {
            break;
        }
    }
    return count;
}

}  // namespace

// Names as in T.6, 2.2: a1, b1 = above[0] and b2 = above[1] lie right of a0.
void ccitt_put_line_2d(MsbWriter& given, const i32* list, const i32* above, i32 width)
{
    MsbWriter out = given;
    const i32* const first = list;
    i32 a0 = 0;
    const auto skip_passed = [&] {
        while (a0 < width && above[0] <= a0) {
            above += 2;
        }
    };
    while (a0 < width) {
        if (const u32 straight = count_straight(list, above, width); straight > 0) {
            msb_put(out, (u64{1} << straight) - 1, straight);
            list += straight;
            above += straight;
            a0 = list[-1];
            continue;
        }
        const i32 a1 = list[0];
        if (above[1] < a1) {
            ccitt_put_bits(out, ccitt_mode_codes[kModePass]);
            a0 = above[1];
            above += 2;
            continue;
        }
        const i32 shift = a1 - above[0];
        if (shift >= -3 && shift <= 3) {
            ccitt_put_bits(out, ccitt_mode_codes[static_cast<usize>(kModeV0 + shift)]);
            a0 = a1;
            ++list;
            above += shift < 0 ? -1 : 1;
        } else {
            const u32 colour = static_cast<u32>(list - first) & 1;
            put_two_runs(out, ccitt_mode_codes[kModeHorizontal], a1 - a0, list[1] - a1, colour);
            a0 = list[1];
            list += 2;
        }
        skip_passed();
    }
    given = out;
}

// --- A page's encoder ---

ErrorCode ccitt_encode_setup(CcittEncoder& encoder, i32 width, i32 row_pixels)
{
    const usize line_words = ccitt_line_words(width);
    const usize list_bytes = (static_cast<usize>(width) + kListAhead + kListEnd) * sizeof(i32);
    encoder = {};
    encoder.width = width;
    encoder.pixels = std::min(width, row_pixels);
    encoder.length = (encoder.pixels + 31) / 32 * 4;
    encoder.block = block_alloc(2 * (line_words * sizeof(u64) + list_bytes));
    if (encoder.block == nullptr) {
        return kOutOfMemory;
    }
    encoder.line = reinterpret_cast<u64*>(encoder.block);
    encoder.line_above = encoder.line + line_words;
    encoder.list = reinterpret_cast<i32*>(encoder.line_above + line_words) + kListAhead;
    encoder.list_above = encoder.list + width + kListEnd + kListAhead;
    std::fill_n(encoder.line, 2 * line_words, ~u64{0});
    for (i32* const list : {encoder.list, encoder.list_above}) {
        std::fill_n(list - kListAhead, kListAhead, -1);
        std::fill_n(list, kListEnd, width);
    }
    return kOk;
}

void ccitt_encode_free(CcittEncoder& encoder)
{
    block_free(encoder.block);
    encoder.block = nullptr;
}

void ccitt_take_row(CcittEncoder& encoder, const u8* row)
{
    ccitt_load(row, encoder.length, encoder.line, encoder.pixels);
    encoder.changes = ccitt_index_runs(encoder.line, encoder.width, encoder.list);
}

namespace
{

void put_straight(MsbWriter& out, usize count)
{
    constexpr usize kMost = 32;
    for (; count > kMost; count -= kMost) {
        msb_put(out, (u64{1} << kMost) - 1, kMost);
    }
    msb_put(out, (u64{1} << count) - 1, static_cast<u32>(count));
}

}  // namespace

void ccitt_put_row_2d(CcittEncoder& encoder, const u8* row)
{
    std::swap(encoder.line, encoder.line_above);
    ccitt_load(row, encoder.length, encoder.line, encoder.pixels);
    if (std::memcmp(encoder.line, encoder.line_above, ccitt_line_words(encoder.width) * sizeof(u64)) == 0) {
        put_straight(encoder.bits, encoder.changes + 1);
        return;
    }
    std::swap(encoder.list, encoder.list_above);
    encoder.changes = ccitt_index_runs(encoder.line, encoder.width, encoder.list);
    ccitt_put_line_2d(encoder.bits, encoder.list, encoder.list_above, encoder.width);
}

u8* ccitt_begin(CcittEncoder& encoder, StreamWriter& out)
{
    u8* const begin = writer_room(out, ccitt_line_room(encoder.width));
    encoder.bits.to = begin;
    return begin;
}

void ccitt_flush(CcittEncoder& encoder, StreamWriter& out, u8* begin, u32 fill_order)
{
    const usize bytes = static_cast<usize>(encoder.bits.to - begin);
    if (fill_order == kFillOrderReversed) {
        msb_mirror(begin, bytes);
    }
    writer_advance(out, static_cast<u32>(bytes));
}

}  // namespace orv
