// What the decoders look codes up in: tables made from those of ccitt_codes.h.
#pragma once

#include "formats/tiff/ccitt_codes.h"

namespace orv
{

// What the next 13 bits of the data begin with: a run and the length of its code. Length 0: no code.
struct CcittRun {
    u16 run : 12;
    u16 length : 4;
};

inline constexpr i32 kCcittEolRun = 4095;  // the run of the EOL code

using CcittRunTable = std::array<CcittRun, 1 << kCcittMaxBits>;

extern const std::array<CcittRunTable, 2> ccitt_run_tables;  // white, black

// A white run and a black one behind it, both below 64 and the black one not 0, where 13 bits hold the codes
// of both; or a white make-up code, with a black run of 0; else length 0.
struct CcittPair {
    u16 white;
    u8 black;
    u8 length;
};

extern const std::array<CcittPair, 1 << kCcittMaxBits> ccitt_pairs;

// What the next 12 bits of T.6 data begin with: up to two Pass, then up to four vertical modes, then
// Horizontal or nothing. All are 0 where the bits are no code.
struct CcittGroup {
    i8 shifts[4];     // a1 - b1 of the vertical modes
    u8 passes;        // 0 to 2
    u8 verticals;     // 0 to 4
    bool horizontal;  // the code of Horizontal follows and is counted in `length`
    u8 length;        // bits of all of them
};

inline constexpr u32 kCcittGroupBits = 12;
inline constexpr u8 kMaxPasses = 2;
inline constexpr u8 kMaxVerticals = 4;

extern const std::array<CcittGroup, 1 << kCcittGroupBits> ccitt_mode_table;

}  // namespace orv
