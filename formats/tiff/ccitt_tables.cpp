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
    u32 const spare = table_bits - code.length;
    u32 const first = static_cast<u32>(code.bits) << spare;
    for (u32 i = 0; i < 1u << spare; ++i) {
        table[first + i] = entry;
    }
}

constexpr std::array<CcittRun, 1 << kCcittMaxBits> run_table(const CcittRunCodes& codes)
{
    std::array<CcittRun, 1 << kCcittMaxBits> table = {};
    for (i32 i = 0; i < kCcittCodes; ++i) {
        const CcittCode& code = codes[static_cast<usize>(i)];
        CcittRun const run = {.run = static_cast<u16>(ccitt_run_of(i) & 0xFFF),
                              .length = static_cast<u16>(code.length & 0xF)};
        enter(table, kCcittMaxBits, code, run);
    }
    enter(table, kCcittMaxBits, ccitt_eol, CcittRun{.run = kCcittEolRun, .length = 12});
    return table;
}

constexpr std::array<CcittModeEntry, 1 << kCcittModeBits> mode_table()
{
    std::array<CcittModeEntry, 1 << kCcittModeBits> table = {};
    for (u8 mode = kModePass; mode < kCcittModes; ++mode) {
        const CcittCode& code = ccitt_mode_codes[mode];
        enter(table, kCcittModeBits, code, CcittModeEntry{static_cast<CcittMode>(mode), code.length});
    }
    return table;
}

}  // namespace

constexpr std::array<CcittRun, 1 << kCcittMaxBits> ccitt_white_runs = run_table(ccitt_white_codes);
constexpr std::array<CcittRun, 1 << kCcittMaxBits> ccitt_black_runs = run_table(ccitt_black_codes);
constexpr std::array<CcittModeEntry, 1 << kCcittModeBits> ccitt_mode_table = mode_table();

}  // namespace orv
