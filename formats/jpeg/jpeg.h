// What the reader and the writer of JPEG share: the bytes of ITU-T T.81, the frame header of this system,
// and the tables of the transform.
#pragma once

#include <array>

#include "frame/types.h"

namespace orv
{

// --- The bytes of the format ---

// A segment is a marker, FF and one of these, and for most a 16-bit length that counts itself.
enum JpegMarker : u8 {
    kJpegTemporary = 0x01,
    kJpegSof0 = 0xC0,
    kJpegSof1 = 0xC1,
    kJpegDht = 0xC4,
    kJpegJpg = 0xC8,
    kJpegDac = 0xCC,
    kJpegSof15 = 0xCF,
    kJpegRst0 = 0xD0,
    kJpegRst7 = 0xD7,
    kJpegSoi = 0xD8,
    kJpegEoi = 0xD9,
    kJpegSos = 0xDA,
    kJpegDqt = 0xDB,
    kJpegDri = 0xDD,
    kJpegApp0 = 0xE0,
    kJpegApp14 = 0xEE,
};

// The frame header of this system: T.81's with a fill byte behind the precision, always with room for three
// components, so that its length field reads 18.
inline constexpr u32 kJpegFrameLength = 18;
inline constexpr u32 kJpegFrameBytes = 16;
inline constexpr u32 kJpegComponents = 3;
inline constexpr i32 kJpegMaxFactor = 4;  // of sampling

inline constexpr i32 kBlockSide = 8;
inline constexpr usize kBlockSize = 64;

using JpegBlock = std::array<i16, kBlockSize>;

// --- Order and transform ---

// Position in the file to natural position, row times 8 plus column: the diagonals in turn, upwards first.
inline constexpr std::array<u8, kBlockSize> jpeg_zigzag = [] {
    std::array<u8, kBlockSize> order{};
    i32 row = 0;
    i32 column = 0;
    for (usize k = 0; k < kBlockSize; ++k) {
        order[k] = static_cast<u8>(row * kBlockSide + column);
        const bool upwards = (row + column) % 2 == 0;
        if (upwards && column == 7) {
            ++row;
        } else if (!upwards && row == 7) {
            ++column;
        } else {
            row += upwards ? (row == 0 ? 0 : -1) : 1;
            column += upwards ? 1 : (column == 0 ? 0 : -1);
        }
    }
    return order;
}();

// cos(k pi / 16) / 2 in units of 2^-15, rounded half away from zero.
inline constexpr std::array<i32, 9> kHalfCosine = {16384, 16069, 15137, 13623, 11585, 9102, 6270, 3196, 0};

// T[x][u] at x * 8 + u: c(u) cos((2x + 1) u pi / 16) in Q15, c(0) = 1 / (2 sqrt 2), else 1/2.
inline constexpr std::array<i16, kBlockSize> jpeg_dct_basis = [] {
    std::array<i16, kBlockSize> basis{};
    for (usize x = 0; x < 8; ++x) {
        basis[x * 8] = static_cast<i16>(kHalfCosine[4]);
        for (usize u = 1; u < 8; ++u) {
            const usize turn = (2 * x + 1) * u % 32;  // in steps of pi / 16
            const usize half = turn <= 16 ? turn : 32 - turn;
            basis[x * 8 + u] = static_cast<i16>(half <= 8 ? kHalfCosine[half] : -kHalfCosine[16 - half]);
        }
    }
    return basis;
}();

// --- Huffman tables ---

inline constexpr usize kMaxSymbols = 256;
inline constexpr i32 kMaxCodeBits = 16;

// As a DHT segment has it.
struct JpegHuffmanTable {
    std::array<u8, kMaxCodeBits> counts;   // of codes of 1 to 16 bits
    std::array<u16, kMaxSymbols> symbols;  // in the order of their codes
};

// The tables of a file are named by class and identifier: 0 and 1 for DC, 16 and 17 for AC.
enum JpegTableName : u8 { kDcTable0 = 0x00, kDcTable1 = 0x01, kAcTable0 = 0x10, kAcTable1 = 0x11 };

}  // namespace orv
