#include "formats/jpeg/jpeg_huffman.h"

#include <algorithm>

namespace orv
{
namespace
{

constexpr u32 kCodeSpace = 1U << kMaxCodeBits;

// Position in the file to column times 8 plus row.
constexpr std::array<u8, kBlockSize> kTurnedZigzag = [] {
    std::array<u8, kBlockSize> order{};
    for (usize k = 0; k < kBlockSize; ++k) {
        order[k] = static_cast<u8>(jpeg_zigzag[k] % 8 * 8 + jpeg_zigzag[k] / 8);
    }
    return order;
}();

// T.81's EXTEND: values whose top bit is clear are negative.
constexpr i32 extend(u32 bits, u32 size)
{
    const bool positive = bits >> (size - 1) != 0;
    return static_cast<i32>(bits) - (positive ? 0 : (1 << size) - 1);
}

// The symbol in the high nibbles and low nibble as its run and value; `ahead` begins with the code.
JpegSymbol symbol_read(u32 symbol, u32 code_bits, u32 ahead)
{
    const u32 run = symbol >> 4;
    const u32 size = symbol & 15;
    if (size == 0) {
        return {static_cast<u8>(code_bits), run == 0 ? kEndOfBlock : static_cast<u8>(run), 0};
    }
    const u32 value = ahead << code_bits >> (32 - size);
    return {static_cast<u8>(code_bits + size), static_cast<u8>(run), static_cast<i16>(extend(value, size))};
}

}  // namespace

void jpeg_prepare_table(const JpegHuffmanTable& table, JpegDecodeTable& ready)
{
    ready.symbols = table.symbols;
    ready.used[0] = 0;
    ready.passed[0] = 0;
    ready.longest = 0;
    u32 symbols = 0;
    for (u32 length = 1; length <= kMaxCodeBits; ++length) {
        const u32 count = table.counts[length - 1];
        ready.passed[length] = static_cast<u16>(symbols);
        ready.used[length] = std::min(ready.used[length - 1] + (count << (kMaxCodeBits - length)), kCodeSpace);
        symbols += count;
        ready.longest = count == 0 ? ready.longest : static_cast<u8>(length);
    }
    for (u32 begin = 0; begin < ready.fast.size(); ++begin) {
        const JpegSymbol symbol = jpeg_decode_symbol(ready, begin << (32 - kFastBits));
        ready.fast[begin] = symbol.bits <= kFastBits ? symbol : JpegSymbol{kNotFast, 0, 0};
    }
}

JpegSymbol jpeg_decode_symbol(const JpegDecodeTable& table, u32 ahead)
{
    const u32 code = ahead >> (32 - kMaxCodeBits);
    u32 length = 1;
    while (length <= kMaxCodeBits && code >= table.used[length]) {
        ++length;
    }
    if (length > kMaxCodeBits) {
        return {table.longest, kNoSymbol, 0};
    }
    const u32 offset = (code - table.used[length - 1]) >> (kMaxCodeBits - length);
    return symbol_read(table.symbols[table.passed[length] + offset], length, ahead);
}

u32 jpeg_decode_block(JpegBits& shared, JpegComponent& component, i16* coefficients)
{
    JpegBits bits = shared;  // kept in registers
    const i16* const quant = component.quant_table;

    jpeg_refill(bits);
    JpegSymbol symbol = component.dc_table->fast[jpeg_peek(bits, kFastBits)];
    if (symbol.bits == kNotFast) {
        symbol = jpeg_decode_symbol(*component.dc_table, jpeg_peek(bits, 32));
    }
    jpeg_skip(bits, symbol.bits);
    component.dc_prediction = static_cast<i16>(component.dc_prediction + symbol.value);
    coefficients[0] = static_cast<i16>(component.dc_prediction * quant[0]);

    const JpegDecodeTable& table = *component.ac_table;
    u32 k = symbol.run == kNoSymbol ? kNoSymbol + 1U : 1;
    while (k < kBlockSize) {
        if (bits.count < 32) {
            jpeg_refill(bits);
        }
        symbol = table.fast[jpeg_peek(bits, kFastBits)];
        if (symbol.bits == kNotFast) [[unlikely]] {
            symbol = jpeg_decode_symbol(table, jpeg_peek(bits, 32));
        }
        jpeg_skip(bits, symbol.bits);
        k += symbol.run;
        if (k >= kBlockSize) [[unlikely]] {
            if (k >= kEndOfBlock) {
                break;
            }
            k = kBlockSize - 1;
        }
        coefficients[kTurnedZigzag[k]] = static_cast<i16>(symbol.value * quant[k]);
        ++k;
    }
    bits.damaged = bits.damaged || k >= kNoSymbol;
    shared = bits;
    return k == kBlockSize ? u32{kBlockSize} - 1 : k % u32{kBlockSize} - 1;
}

u32 jpeg_decode_zero_block(JpegBits& bits, JpegComponent& component, i16* coefficients)
{
    if (!component.has_zero_block) {
        const i16 before = component.dc_prediction;
        component.zero_last = jpeg_decode_block(bits, component, coefficients);
        component.zero_difference = static_cast<i16>(component.dc_prediction - before);
        std::memcpy(component.zero_block.data(), coefficients, sizeof(JpegBlock));
        component.has_zero_block = true;
        return component.zero_last;
    }
    component.dc_prediction = static_cast<i16>(component.dc_prediction + component.zero_difference);
    std::memcpy(coefficients, component.zero_block.data(), sizeof(JpegBlock));
    coefficients[0] = static_cast<i16>(component.dc_prediction * component.quant_table[0]);
    return component.zero_last;
}

}  // namespace orv
