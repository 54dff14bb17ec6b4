#include "formats/tiff/ccitt_tables.h"

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
    for (u32 white = 0; white < kCcittTerminating; ++white) {
        const CcittCode& first = ccitt_white_codes[white];
        for (u32 black = 1; black < kCcittTerminating; ++black) {
            const CcittCode& second = ccitt_black_codes[black];
            if (first.length + second.length > static_cast<i32>(kCcittMaxBits)) {
                continue;
            }
            CcittCode both;
            both.bits = static_cast<u16>(first.bits << second.length | second.bits);
            both.length = static_cast<u8>(first.length + second.length);
            enter(table, kCcittMaxBits, both,
                  CcittPair{static_cast<u8>(white), static_cast<u8>(black), both.length,
                            static_cast<u8>(white + black)});
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

constexpr std::array<CcittModes, 1 << kCcittModeBits> modes_table()
{
    std::array<CcittModes, 1 << kCcittModeBits> table = {};
    for (u32 bits = 0; bits < table.size(); ++bits) {
        CcittModes& entry = table[bits];
        u32 used = 0;
        for (; entry.vertical < 3; ++entry.vertical) {
            const CcittMode mode = first_mode(bits, kCcittModeBits - used);
            used += ccitt_mode_codes[mode].length;
            if (mode < kModeVL3) {
                if (entry.vertical == 0) {
                    entry.other = mode;
                    entry.lengths[0] = static_cast<u8>(used);
                }
                break;
            }
            entry.shifts[entry.vertical] = static_cast<i8>(mode - kModeV0);
            entry.lengths[entry.vertical] = static_cast<u8>(used);
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
constexpr std::array<CcittModes, 1 << kCcittModeBits> ccitt_mode_table = modes_table();

}  // namespace orv
