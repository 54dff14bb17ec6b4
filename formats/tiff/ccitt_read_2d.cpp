// Lines of T.6 coding. A line is decoded to the list of its changing elements and painted at its end.
#include <algorithm>
#include <utility>

#include "formats/tiff/ccitt_read.h"

namespace orv
{
namespace
{

// The line being decoded. `b` points into the changing elements of the line above, `c` behind the last of
// this line; both lists have two elements of -1 ahead of their first.
struct T6Line {
    i32 a0;
    const i32* b;
    const i32* b_first;  // lowest element
    const i32* b_end;    // the first that is not within the width
    i32* c;
    i32* c_first;
    i32* c_end;   // records end here
    bool rising;  // neither list goes back: runs are painted from the list, and groups are taken
};

bool is_black(const T6Line& line)
{
    return ((line.c - line.c_first) & 1) != 0;
}

// --- Groups ---

using Four = i32 __attribute__((vector_size(16)));
using FourBytes = i8 __attribute__((vector_size(4)));

Four load_four(const i32* from)
{
    Four four;
    std::memcpy(&four, from, sizeof four);
    return four;
}

Four shifts_of(const CcittGroup& group)
{
    FourBytes bytes;
    std::memcpy(&bytes, group.shifts, sizeof bytes);
    return __builtin_convertvector(bytes, Four);
}

// -1 for each vertical mode of a group.
constexpr i32 kLanes[kMaxVerticals + 1][4] = {
    {0, 0, 0, 0}, {-1, 0, 0, 0}, {-1, -1, 0, 0}, {-1, -1, -1, 0}, {-1, -1, -1, -1}};

constexpr u32 kAllStraight = (1u << kCcittGroupBits) - 1;

// What groups move on, apart from what the calls for other modes see.
struct T6Place {
    i32 a0;
    const i32* b;
    i32* c;
};

// Carries out the Pass and vertical modes of a group where that is plain: each a1 lies right of a0, in front
// of the next element above and not in front of the one before, so that the next b1 is the next element, and
// all lies within line and list. False where it does not; nothing has been done then.
[[gnu::always_inline]] inline bool take_group(T6Place& at, const CcittGroup& group, const i32* c_end, i32 width)
{
    const i32* const b = at.b + 2 * group.passes;
    const i32 a0 = group.passes == 0 ? at.a0 : b[-1];
    const Four a1 = load_four(b) + shifts_of(group);
    const Four from = {a0, a1[0], a1[1], a1[2]};
    const Four strange = (a1 < from) | (load_four(b + 1) <= a1) | (load_four(b - 1) > a1) | (a1 >= width);
    const Four refused = strange & load_four(kLanes[group.verticals]);
    u64 halves[2];
    std::memcpy(halves, &refused, sizeof halves);
    if ((halves[0] | halves[1]) != 0 || a0 < at.a0 || a0 >= width || c_end - at.c < 4) [[unlikely]] {
        return false;
    }
    std::memcpy(at.c, &a1, sizeof a1);
    at.c += group.verticals;
    at.b = b + group.verticals;
    at.a0 = group.verticals == 0 ? a0 : at.c[-1];
    return true;
}

// Takes V0 as often as it comes, up to the last element within the width: the elements are those above.
[[gnu::always_inline]] inline bool take_straight(T6Place& at, MsbBits& bits, const T6Line& line)
{
    constexpr i64 kAtOnce = 4;
    const i64 wanted = std::min(std::countl_one(bits.bits), bits.count);
    const i64 count = std::min<i64>({wanted, line.b_end - at.b, line.c_end - at.c - kAtOnce});
    if (count <= 0 || at.b[0] < at.a0) [[unlikely]] {
        return false;
    }
    for (i64 i = 0; i < count; i += kAtOnce) {
        const Four four = load_four(at.b + i);
        std::memcpy(at.c + i, &four, sizeof four);
    }
    at.b += count;
    at.c += count;
    at.a0 = at.c[-1];
    msb_skip(bits, static_cast<u32>(count));
    return true;
}

// Takes groups as long as they are plain, up to the first Horizontal or what is no code.
[[gnu::always_inline]] inline void take_groups(MsbInput& input, MsbBits& given, T6Line& line, i32 width,
                                               bool& horizontal)
{
    MsbBits bits = given;
    T6Place at = {.a0 = line.a0, .b = line.b, .c = line.c};
    while (msb_fill(input, bits, kCcittGroupBits)) {
        const u32 code = msb_peek(bits, kCcittGroupBits);
        if (code == kAllStraight) {
            if (!take_straight(at, bits, line)) {
                break;
            }
            continue;
        }
        const CcittGroup& group = ccitt_mode_table[code];
        if (group.length == 0 || !take_group(at, group, line.c_end, width)) {
            break;
        }
        msb_skip(bits, group.length);
        if (group.horizontal) {
            horizontal = true;
            break;
        }
    }
    given = bits;
    line.a0 = at.a0;
    line.b = at.b;
    line.c = at.c;
}

// --- Single modes, on any line ---

// The line goes back: what it has so far is painted, and what comes is painted as it comes.
void stop_rising(T6Line& line, const CcittDecoder& decoder)
{
    if (line.rising) {
        line.rising = false;
        ccitt_paint_words({line.c_first, line.c}, line.a0, decoder.line, decoder.row.width);
    }
}

void move_to(T6Line& line, const CcittDecoder& decoder, i32 x)
{
    if (x < line.a0) {
        stop_rising(line, decoder);
    }
    if (!line.rising && is_black(line)) {
        ccitt_paint_black(line.a0, x - line.a0, decoder.line, decoder.row.width);
    }
    line.a0 = x;
}

// Records a0 as a changing element. False where the list has no more room.
bool record(T6Line& line)
{
    if (line.c == line.c_end) {
        return false;
    }
    *line.c++ = line.a0;
    return true;
}

void skip_passed(T6Line& line, i32 width)
{
    while (line.a0 < width && *line.b <= line.a0) {
        line.b += 2;
    }
}

bool decode_vertical(T6Line& line, const CcittDecoder& decoder, i32 shift)
{
    move_to(line, decoder, *line.b++ + shift);
    if (!record(line)) {
        return false;
    }
    if (shift != 0) {
        line.b -= shift < 0 ? 2 : 0;
        if (line.b < line.b_first) {
            return false;
        }
        skip_passed(line, decoder.row.width);
    }
    return true;
}

// Two runs, the first in the colour at hand, each cut at the width.
bool decode_horizontal(MsbInput& input, MsbBits& bits, T6Line& line, const CcittDecoder& decoder)
{
    for (i32 i = 0; i < 2; ++i) {
        const CcittRunTable& table = ccitt_run_tables[is_black(line)];
        i32 run = ccitt_read_run(input, bits, table);
        if (run >= 64) {
            run = ccitt_finish_run(input, bits, table, run);
        }
        if (run < 0) {
            return false;
        }
        move_to(line, decoder, line.a0 + std::min(run, decoder.row.width - line.a0));
        if (!record(line)) {
            return false;
        }
    }
    skip_passed(line, decoder.row.width);
    return true;
}

// Takes the first mode of the group alone. False ends the strip.
bool decode_first(MsbInput& input, MsbBits& bits, T6Line& line, const CcittDecoder& decoder,
                  const CcittGroup& group)
{
    if (group.passes > 0) {
        msb_skip(bits, ccitt_mode_codes[kModePass].length);
        const i32 b2 = line.b[1];
        line.b += 2;
        move_to(line, decoder, b2);
        return true;
    }
    if (group.verticals > 0) {
        const i32 shift = group.shifts[0];
        msb_skip(bits, ccitt_mode_codes[static_cast<usize>(kModeV0 + shift)].length);
        return decode_vertical(line, decoder, shift);
    }
    msb_skip(bits, ccitt_mode_codes[kModeHorizontal].length);
    return group.horizontal && decode_horizontal(input, bits, line, decoder);
}

// --- Lines ---

// Decodes one line. False ends the strip, with the line as far as it got.
bool decode_line(MsbInput& input, MsbBits& bits, T6Line& line, const CcittDecoder& decoder)
{
    bool whole = true;
    while (whole && line.a0 < decoder.row.width) {
        if (line.rising) {
            bool horizontal = false;
            take_groups(input, bits, line, decoder.row.width, horizontal);
            if (horizontal) {
                whole = decode_horizontal(input, bits, line, decoder);
                continue;
            }
        }
        whole = msb_fill(input, bits, kCcittGroupBits) &&
                decode_first(input, bits, line, decoder, ccitt_mode_table[msb_peek(bits, kCcittGroupBits)]);
    }
    return whole;
}

// Each list ends with the width twice and then with one more: whatever b1 is asked for lies ahead of them,
// and a line that has got to them ends.
void end_list(i32* end, i32 width)
{
    std::fill_n(end, 2, width);
    std::fill_n(end + 2, kListBehind - 2, width + 1);
}

void store_line(const T6Line& line, const CcittDecoder& decoder, u8* row)
{
    if (line.rising) {
        ccitt_paint_list(decoder.row, {line.c_first, line.c}, line.a0, row);
    } else {
        ccitt_store(decoder.row, decoder.line, row);
    }
}

}  // namespace

// The first line's reference is white.
void ccitt_decode_strip_2d(StripWalk& walk, const CcittDecoder& decoder, MsbInput& input, MsbBits bits)
{
    const i32 width = decoder.row.width;
    i32* reference = decoder.reference + kListAhead;
    i32* changes = decoder.changes + kListAhead;
    for (i32* list : {reference, changes}) {
        std::fill_n(list - kListAhead, kListAhead, -1);
    }
    end_list(reference, width);
    const i32* reference_end = reference;
    bool rising = true;
    // A line that the data ends in is delivered as far as it goes, as one with a bad code is.
    for (i32 i = 0; i < walk.rows; ++i) {
        if (!msb_fill(input, bits, 1)) {
            picture_note(walk.sink, kNoteDataEnded);
            return;
        }
        T6Line line = {.a0 = 0,
                       .b = reference,
                       .b_first = reference - kListAhead,
                       .b_end = reference_end,
                       .c = changes,
                       .c_first = changes,
                       .c_end = changes + width + kListMargin - kListAhead - kListBehind,
                       .rising = rising};
        if (!rising) {
            ccitt_paint_words({}, 0, decoder.line, width);
        }
        const bool whole = decode_line(input, bits, line, decoder);
        const i32 row = walk.first_row + i;
        store_line(line, decoder, ccitt_place(walk, row));
        ccitt_deliver(walk, decoder, row, whole ? RowState::Whole : RowState::Repaired);
        if (!whole) {
            picture_note(walk.sink, bits.count > 0 ? kNoteBadCode : kNoteDataEnded);
            return;
        }
        end_list(line.c, width);
        reference_end = line.c;
        while (reference_end > changes && reference_end[-1] >= width) {
            --reference_end;
        }
        rising = line.rising || std::is_sorted(changes - kListAhead, line.c);
        std::swap(reference, changes);
    }
}

}  // namespace orv
