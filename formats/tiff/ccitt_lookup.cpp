#include "formats/tiff/ccitt_lookup.h"

namespace orv
{
namespace
{

constexpr bool starts_with(const CcittCode& code, const CcittCode& start)
{
    return code.length >= start.length && code.bits >> (code.length - start.length) == start.bits;
}

// No code may start another one, nor EOL.
constexpr bool prefix_free(const CcittRunCodes& codes)
{
    for (usize i = 0; i < codes.size(); ++i) {
        if (codes[i].length < 2 || codes[i].length > kCcittMaxBits || starts_with(ccitt_eol, codes[i]) ||
            starts_with(codes[i], ccitt_eol)) {
            return false;
        }
        for (usize k = 0; k < codes.size(); ++k) {
            if (k != i && starts_with(codes[i], codes[k])) {
                return false;
            }
        }
    }
    return true;
}

constexpr i32 codes_of_length(const CcittRunCodes& codes, u32 length)
{
    i32 count = 0;
    for (const CcittCode& code : codes) {
        count += code.length == length;
    }
    return count;
}

static_assert(prefix_free(ccitt_white_codes) && prefix_free(ccitt_black_codes));
static_assert(codes_of_length(ccitt_white_codes, 8) == 42 && codes_of_length(ccitt_white_codes, 9) == 16);
static_assert(codes_of_length(ccitt_black_codes, 12) == 54 && codes_of_length(ccitt_black_codes, 13) == 20);

template <usize size, typename Entry>
constexpr void enter(std::array<Entry, size>& table, u32 table_bits, const CcittCode& code, Entry entry)
{
    const u32 spare = table_bits - code.length;
    const u32 first = static_cast<u32>(code.bits) << spare;
    for (u32 i = 0; i < 1u << spare; ++i) {
        table[first + i] = entry;
    }
}

constexpr CcittRunTable run_table(const CcittRunCodes& codes)
{
    CcittRunTable table = {};
    for (i32 i = 0; i < kCcittCodes; ++i) {
        const CcittCode& code = codes[static_cast<usize>(i)];
        const CcittRun run = {.run = static_cast<u16>(ccitt_run_of(i) & 0xFFF),
                              .length = static_cast<u16>(code.length & 0xF)};
        enter(table, kCcittMaxBits, code, run);
    }
    enter(table, kCcittMaxBits, ccitt_eol, CcittRun{.run = kCcittEolRun, .length = 12});
    return table;
}

constexpr std::array<CcittPair, 1 << kCcittMaxBits> pair_table()
{
    std::array<CcittPair, 1 << kCcittMaxBits> table = {};
    for (u32 white = 0; white < kCcittCodes; ++white) {
        const CcittCode& first = ccitt_white_codes[white];
        if (white >= kCcittTerminating) {
            const u16 run = static_cast<u16>(ccitt_run_of(static_cast<i32>(white)));
            enter(table, kCcittMaxBits, first, CcittPair{run, 0, first.length});
            continue;
        }
        for (u32 black = 1; black < kCcittTerminating; ++black) {
            const CcittCode& second = ccitt_black_codes[black];
            if (first.length + second.length > static_cast<i32>(kCcittMaxBits)) {
                continue;
            }
            CcittCode both;
            both.bits = static_cast<u16>(first.bits << second.length | second.bits);
            both.length = static_cast<u8>(first.length + second.length);
            enter(table, kCcittMaxBits, both,
                  CcittPair{static_cast<u16>(white), static_cast<u8>(black), both.length});
        }
    }
    return table;
}

// The mode that `bits`, the lowest `count` of them, begin with.
constexpr CcittMode first_mode(u32 bits, u32 count)
{
    for (u8 mode = kModePass; mode < kCcittModes; ++mode) {
        const CcittCode& code = ccitt_mode_codes[mode];
        if (code.length <= count && (bits >> (count - code.length) & ((1u << code.length) - 1)) == code.bits) {
            return static_cast<CcittMode>(mode);
        }
    }
    return kModeInvalid;
}

// Takes a mode into the group. False where it is none that the group can go on with.
constexpr bool enter_mode(CcittGroup& group, CcittMode mode)
{
    if (mode == kModePass && group.verticals == 0 && group.passes < kMaxPasses) {
        ++group.passes;
    } else if (mode >= kModeVL3 && group.verticals < kMaxVerticals) {
        group.shifts[group.verticals++] = static_cast<i8>(mode - kModeV0);
    } else if (mode == kModeHorizontal) {
        group.horizontal = true;
    } else {
        return false;
    }
    group.length = static_cast<u8>(group.length + ccitt_mode_codes[mode].length);
    return true;
}

constexpr std::array<CcittGroup, 1 << kCcittGroupBits> group_table()
{
    std::array<CcittGroup, 1 << kCcittGroupBits> table = {};
    for (u32 bits = 0; bits < table.size(); ++bits) {
        CcittGroup& group = table[bits];
        while (!group.horizontal && enter_mode(group, first_mode(bits, kCcittGroupBits - group.length))) {
        }
    }
    return table;
}

constexpr std::array<CcittRunTable, 2> ccitt_build_tables()
{
    return {run_table(ccitt_white_codes), run_table(ccitt_black_codes)};
}

}  // namespace

constexpr std::array<CcittRunTable, 2> ccitt_run_tables = ccitt_build_tables();
constexpr std::array<CcittPair, 1 << kCcittMaxBits> ccitt_pairs = pair_table();
constexpr std::array<CcittGroup, 1 << kCcittGroupBits> ccitt_mode_table = group_table();

}  // namespace orv
