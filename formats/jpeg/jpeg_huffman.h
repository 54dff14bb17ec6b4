// Decoding of Huffman symbols with their values, and of the coefficients of a block.
#pragma once

#include "formats/jpeg/jpeg.h"
#include "formats/jpeg/jpeg_bits.h"

namespace orv
{

inline constexpr u32 kFastBits = 10;

// What a code stands for, with the bits of its value: one entry a possible beginning of kFastBits bits.
struct JpegSymbol {
    u8 bits;    // taken in all, code and value; kNotFast where kFastBits bits do not hold them
    u8 run;     // positions passed over; kEndOfBlock for none and no value; kNoSymbol
    i16 value;  // 0 for a symbol of size 0
};
inline constexpr u8 kNotFast = 0xFF;
inline constexpr u8 kEndOfBlock = 128;  // a multiple of 64, as the next
inline constexpr u8 kNoSymbol = 192;    // the table does not hold the code

// A table made ready for decoding.
struct JpegDecodeTable {
    std::array<JpegSymbol, 1U << kFastBits> fast;
    // Codes of length L begin below used[L] and not below used[L - 1], as numbers of 16 bits.
    std::array<u32, kMaxCodeBits + 1> used;
    std::array<u16, kMaxCodeBits + 1> passed;  // symbols of shorter codes
    u8 longest;                                // length of the longest codes, 0 without any
    std::array<u16, kMaxSymbols> symbols;
};

void jpeg_prepare_table(const JpegHuffmanTable& table, JpegDecodeTable& ready);

// The symbol that begins a number of 32 bits. Of a code that the table does not hold the bits of
// the longest code count as taken.
JpegSymbol jpeg_decode_symbol(const JpegDecodeTable& table, u32 ahead);

// One of a frame's components while its scan is decoded.
struct JpegComponent {
    i16 dc_prediction;
    i8* plane;               // rows of samples of one row of MCUs
    const i16* quant_table;  // in the order of the file
    i16 h;                   // sampling factors
    i16 v;
    const JpegDecodeTable* dc_table;
    const JpegDecodeTable* ac_table;

    // What every block is that lies wholly behind the end of the data, once one has been decoded.
    bool has_zero_block;
    i16 zero_difference;  // of DC
    u32 zero_last;
    JpegBlock zero_block;
};

// Decodes the next block: its coefficients times the quantisation table, column after column, into 64 words
// that are zero. A code that its table does not hold ends the block. Gives the last position of the file's
// order that may hold a coefficient.
u32 jpeg_decode_block(JpegBits& bits, JpegComponent& component, i16* coefficients);

// The same where the data has ended, so that all bits are zero: the codes are looked at once alone.
u32 jpeg_decode_zero_block(JpegBits& bits, JpegComponent& component, i16* coefficients);

}  // namespace orv
