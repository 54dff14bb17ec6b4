// The transforms in both directions, in 32-bit sums of products in Q15, every rounding fixed: plain, and on
// vectors of two blocks side by side, with the same results.
#pragma once

#include "formats/jpeg/jpeg.h"

namespace orv
{

// --- Back to samples ---

// A block's coefficients, column after column: F[row][column] stands at column * 8 + row.
//
// Rows first, then columns; both sums are rounded by 2^14 and shifted right by 15. The sums wrap at 32 bits,
// what is between the passes at 16; samples are limited to -127..127. Rows of samples are `stride` apart.
void jpeg_inverse_dct(const i16* coefficients, i8* samples, usize stride);

// Where the last coefficient of a block that is not zero lies, so that less can be worked out.
enum class BlockExtent : u8 {
    Flat,    // at 0
    Corner,  // in the upper left 4 by 4
    Whole
};

// Two blocks, the second one's coefficients 64 words behind the first one's; `extent` covers both.
using InversePair = void (*)(const i16* coefficients, BlockExtent extent, i8* first, i8* second, usize stride);

// The same result by the plain transform.
void inverse_pair_plain(const i16* coefficients, BlockExtent extent, i8* first, i8* second, usize stride);

// --- To coefficients ---

// Rows first, then columns, rounded as above; coefficients in natural order.
void jpeg_forward_dct(const i8* samples, usize stride, i16* coefficients);

// Division by table entries 1 to 255: |c| / q is (((4 |c| + 4 bias) * reciprocal) >> 16) * scale >> 16, exact
// for |c| + bias below 2^14. A bias of 0 truncates, one of q / 2 rounds.
struct QuantDivisor {
    alignas(32) std::array<u16, kBlockSize> bias;  // all in natural order
    alignas(32) std::array<u16, kBlockSize> reciprocal;
    alignas(32) std::array<u16, kBlockSize> scale;
    alignas(32) std::array<u16, kBlockSize> entry;
};

enum class Quantising : u8 { Truncated, Rounded };
QuantDivisor quant_divisor(std::span<const u8, kBlockSize> table, Quantising how);

// Divides, towards zero behind the bias. Gives a bit for each position of natural order that is not zero.
u64 jpeg_quantise(i16* coefficients, const QuantDivisor& divisor);

// Samples of two blocks to quantised coefficients, 64 words each, and the masks of what is not zero.
using ForwardPair = void (*)(const i8* first, const i8* second, usize stride, const QuantDivisor& divisor,
                             i16* coefficients, u64* masks);
void forward_pair_plain(const i8* first, const i8* second, usize stride, const QuantDivisor& divisor,
                        i16* coefficients, u64* masks);

// --- What the machine can do ---

struct DctKernels {
    InversePair inverse;
    ForwardPair forward;
};
inline constexpr usize kDctKernelSets = 3;

// Set 0 is the plain one; a later one is faster, or null where the machine lacks it.
const DctKernels* dct_kernel_set(usize number);
const DctKernels& dct_kernels();  // the fastest

}  // namespace orv
