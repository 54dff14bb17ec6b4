// Encoding of quantised blocks as Huffman codes.
#pragma once

#include "formats/jpeg/jpeg.h"
#include "frame/types.h"

namespace orv
{

struct JpegCode {
    u16 code;
    u8 length;  // 0 for a symbol without a code
};

// Codes by symbol.
using JpegCodeTable = std::array<JpegCode, kMaxSymbols>;

// From the counts and symbols of a DHT segment.
void jpeg_build_code_tables(std::span<const u8> segment, JpegCodeTable& table);

// Bits on their way out, the first of them in the highest place.
struct JpegBitWriter {
    u8* out;    // has room for what comes
    u64 store;  // the low `count` bits, count below 64
    u32 count;
};

// A component while it is encoded.
struct JpegEncoding {
    i16 dc_prediction;
    const JpegCodeTable* dc_codes;
    const JpegCodeTable* ac_codes;
};

// The room that a block's code never passes: 64 symbols of 16 and values of 11 bits, each byte followed by a
// 00, and what the store held.
inline constexpr u32 kMostBlockBytes = 64 * 27 / 8 * 2 + 16;

// Codes a block of coefficients in natural order, of which `nonzero` has a bit for each that is not zero.
void jpeg_encode_block(JpegBitWriter& bits, JpegEncoding& component, const i16* coefficients, u64 nonzero);

enum class Padding : u8 { ZerosToWord, OnesToByte };

// Writes what is held, filled up to 16 or 8 bits. At most 16 bytes.
void jpeg_finish_bits(JpegBitWriter& bits, Padding padding);

}  // namespace orv
