#include "formats/jpeg/jpeg_encode.h"

#include <bit>

namespace orv
{
namespace
{

// For each byte of a mask in natural order, the bits that its ones are in the order of the file.
struct MaskOrder {
    u64 bits[8][256];
};

constexpr MaskOrder kMaskOrder = [] {
    MaskOrder order{};
    for (u32 k = 0; k < kBlockSize; ++k) {
        const u32 row = jpeg_zigzag[k] / 8U;
        const u32 bit = 1U << jpeg_zigzag[k] % 8U;
        for (u32 byte = 0; byte < 256; ++byte) {
            order.bits[row][byte] |= (byte & bit) != 0 ? u64{1} << k : 0;
        }
    }
    return order;
}();

u64 file_order(u64 mask)
{
    u64 ordered = 0;
    for (u32 row = 0; row < 8; ++row) {
        ordered |= kMaskOrder.bits[row][mask >> (8 * row) & 0xFF];
    }
    return ordered;
}

// Writes 64 bits. An FF is followed by 00.
void bits_write(JpegBitWriter& bits, u64 word)
{
    constexpr u64 kOnes = 0x0101010101010101;
    constexpr u64 kTops = 0x8080808080808080;
    const bool stuffed = ((~word - kOnes) & word & kTops) != 0;
    for (u32 shift = 64; shift > 0;) {
        shift -= 8;
        const u8 byte = static_cast<u8>(word >> shift);
        *bits.out++ = byte;
        if (stuffed && byte == 0xFF) {
            *bits.out++ = 0;
        }
    }
}

// n is 1 to 32, and `value` has no bits above.
[[gnu::always_inline]] inline void jpeg_put_bits(JpegBitWriter& bits, u32 n, u32 value)
{
    const u32 count = bits.count + n;
    if (count < 64) {
        bits.store = bits.store << n | value;
        bits.count = count;
        return;
    }
    const u32 left = count - 64;  // less than n
    bits_write(bits, bits.store << (n - left) | u64{value} >> left);
    bits.store = value;  // what was written of it is shifted out before it counts
    bits.count = left;
}

// The code of a run and of the size of the value, then the value's low bits, less 1 where it is negative.
[[gnu::always_inline]] inline void jpeg_encode_value(JpegBitWriter& bits, u32 run, i32 value,
                                                     const JpegCodeTable& codes)
{
    const i32 sign = value >> 31;
    const u32 size = static_cast<u32>(std::bit_width(static_cast<u32>((value ^ sign) - sign)));
    const JpegCode code = codes[run * 16 + size];
    const u32 low = static_cast<u32>(value + sign) & ((1U << size) - 1);
    jpeg_put_bits(bits, code.length + size, u32{code.code} << size | low);
}

}  // namespace

void jpeg_build_code_tables(std::span<const u8> segment, JpegCodeTable& table)
{
    table = {};
    u32 code = 0;
    usize symbol = kMaxCodeBits;
    for (u8 length = 1; length <= kMaxCodeBits; ++length, code <<= 1) {
        for (u32 i = 0; i < segment[length - 1U]; ++i, ++code) {
            table[segment[symbol++]] = {static_cast<u16>(code), length};
        }
    }
}

void jpeg_encode_block(JpegBitWriter& shared, JpegEncoding& component, const i16* coefficients, u64 nonzero)
{
    constexpr u32 kZeroRun = 15;  // with the value 0: sixteen zeros
    JpegBitWriter bits = shared;  // kept in registers
    jpeg_encode_value(bits, 0, coefficients[0] - component.dc_prediction, *component.dc_codes);
    component.dc_prediction = coefficients[0];

    const JpegCodeTable& codes = *component.ac_codes;
    u32 coded = 0;  // positions so far, less 1
    for (u64 left = file_order(nonzero) & ~u64{1}; left != 0; left &= left - 1) {
        const u32 k = static_cast<u32>(std::countr_zero(left));
        u32 run = k - coded - 1;
        for (; run > kZeroRun; run -= kZeroRun + 1) {
            jpeg_encode_value(bits, kZeroRun, 0, codes);
        }
        jpeg_encode_value(bits, run, coefficients[jpeg_zigzag[k]], codes);
        coded = k;
    }
    if (coded < kBlockSize - 1) {
        jpeg_encode_value(bits, 0, 0, codes);
    }
    shared = bits;
}

void jpeg_finish_bits(JpegBitWriter& bits, Padding padding)
{
    const u32 unit = padding == Padding::ZerosToWord ? 16 : 8;
    const u32 spare = (unit - bits.count % unit) % unit;
    if (spare > 0) {
        jpeg_put_bits(bits, spare, padding == Padding::ZerosToWord ? 0 : (1U << spare) - 1);
    }
    for (; bits.count > 0; bits.count -= 8) {
        const u8 byte = static_cast<u8>(bits.store >> (bits.count - 8));
        *bits.out++ = byte;
        if (byte == 0xFF) {
            *bits.out++ = 0;
        }
    }
}

}  // namespace orv
