// Every fast kernel beside its plain version, to the bit; jpeg_model.py checks what these compute.
#include <random>

#include "formats/jpeg/jpeg_colour.h"
#include "formats/jpeg/jpeg_dct.h"
#include "tests/formats/jpeg/jpeg_support.h"

namespace orv::test
{
namespace
{

// Common and absurd coefficients: small, of any 16 bits, at the ends, few.
i16 coefficient(u32 kind, std::mt19937& random)
{
    switch (kind) {
    case 0: return static_cast<i16>(static_cast<int>(random() % 200) - 100);
    case 1: return static_cast<i16>(random());
    case 2: return random() % 2 == 0 ? i16{32767} : i16{-32768};
    default: return random() % 4 == 0 ? static_cast<i16>(random() % 2000) : i16{0};
    }
}

TEST(JpegKernels, InverseTransforms)
{
    std::mt19937 random(1);
    for (u32 i = 0; i < 30000 && !HasFailure(); ++i) {
        const auto extent = static_cast<BlockExtent>(i % 3);
        const usize side = extent == BlockExtent::Flat ? 1 : extent == BlockExtent::Corner ? 4 : 8;
        alignas(32) std::array<i16, 2 * kBlockSize> blocks{};
        for (usize at = 0; at < blocks.size(); ++at) {
            blocks[at] = at % 8 < side && at % 64 / 8 < side ? coefficient(i / 3 % 4, random) : i16{0};
        }
        std::array<i8, 8 * 16> plain{};
        inverse_pair_plain(blocks.data(), extent, plain.data(), plain.data() + 8, 16);
        for (usize set = 1; set < kDctKernelSets; ++set) {
            if (const DctKernels* const kernels = dct_kernel_set(set)) {
                std::array<i8, 8 * 16> fast{};
                kernels->inverse(blocks.data(), extent, fast.data(), fast.data() + 8, 16);
                EXPECT_EQ(fast, plain) << "set " << set << ", blocks " << i;
            }
        }
    }
}

TEST(JpegKernels, ForwardTransformsAndQuantising)
{
    std::mt19937 random(2);
    for (u32 i = 0; i < 20000 && !HasFailure(); ++i) {
        std::array<i8, 8 * 16> samples{};
        for (i8& sample : samples) {
            sample = i % 3 == 0 ? (random() % 2 == 0 ? i8{127} : i8{-128}) : static_cast<i8>(random());
        }
        std::array<u8, kBlockSize> table{};
        for (u8& entry : table) {
            entry = static_cast<u8>(1 + random() % (i % 5 == 0 ? 3 : 255));
        }
        const QuantDivisor divisor =
            quant_divisor(table, i % 2 == 0 ? Quantising::Truncated : Quantising::Rounded);
        struct Result {
            alignas(32) std::array<i16, 2 * kBlockSize> blocks;
            std::array<u64, 2> masks;
            bool operator==(const Result&) const = default;
        };
        Result plain{};
        forward_pair_plain(samples.data(), samples.data() + 8, 16, divisor, plain.blocks.data(),
                           plain.masks.data());
        for (usize set = 1; set < kDctKernelSets; ++set) {
            if (const DctKernels* const kernels = dct_kernel_set(set)) {
                Result fast{};
                kernels->forward(samples.data(), samples.data() + 8, 16, divisor, fast.blocks.data(),
                                 fast.masks.data());
                EXPECT_EQ(fast, plain) << "set " << set << ", blocks " << i;
            }
        }
    }
}

TEST(JpegKernels, Colours)
{
    std::mt19937 random(3);
    constexpr usize kWidest = 200;
    for (u32 i = 0; i < 4000 && !HasFailure(); ++i) {
        const usize width = 1 + random() % kWidest;
        std::array<std::array<i8, kWidest + kSampleSlack>, 3> rows{};
        for (auto& row : rows) {
            for (i8& sample : row) {
                sample = static_cast<i8>(random() % 8 == 0 ? 127 : random() % 8 == 0 ? -128 : random());
            }
        }
        const auto colours = i % 2 == 0 ? JpegColours::Video : JpegColours::Jfif;
        const auto step = i / 2 % 2 == 0 ? ChromaStep::Every : ChromaStep::SecondOfSixteen;
        Bytes plain(3 * kWidest + 1);
        Bytes fast(3 * kWidest + 1);
        row_to_colour_plain(colours, step, rows[0].data(), rows[1].data(), rows[2].data(), width, plain.data());
        jpeg_row_to_colour(colours, step, rows[0].data(), rows[1].data(), rows[2].data(), width, fast.data());
        EXPECT_EQ(fast, plain) << width << " pixels";

        for (u8& byte : plain) {
            byte = static_cast<u8>(random() % 8 == 0 ? 255 : random() % 8 == 0 ? 0 : random());
        }
        auto split = rows;
        auto split_plain = rows;
        jpeg_split_planes(colours, plain.data(), width, split[0].data(), split[1].data(), split[2].data());
        split_planes_plain(colours, plain.data(), width, split_plain[0].data(), split_plain[1].data(),
                           split_plain[2].data());
        EXPECT_EQ(split, split_plain) << width << " pixels";
    }
}

}  // namespace
}  // namespace orv::test
