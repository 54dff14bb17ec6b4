#include "formats/tiff/tiff_rows.h"

#include <algorithm>
#include <array>

#include "frame/simd.h"

namespace orv
{

ORV_TARGET_CLONES
void row_complement(std::span<u8> row)
{
    for (u8& byte : row) {
        byte = static_cast<u8>(~byte);
    }
}

void row_add_left_pixel(std::span<u8> row)
{
    if (row.size() < 3) {
        return;
    }
    u8 left[3] = {row[0], row[1], row[2]};
    usize i = 3;
    for (; i + 3 <= row.size(); i += 3) {
        for (usize k = 0; k < 3; ++k) {
            left[k] = static_cast<u8>(left[k] + row[i + k]);
            row[i + k] = left[k];
        }
    }
    for (usize k = 0; i < row.size(); ++i, ++k) {
        row[i] = static_cast<u8>(row[i] + left[k]);
    }
}

void row_add_left_byte(std::span<u8> row)
{
    u8 left = 0;
    for (u8& byte : row) {
        left = static_cast<u8>(left + byte);
        byte = left;
    }
}

namespace
{

using Block = u8 __attribute__((vector_size(16)));
constexpr usize kGroups = sizeof(Block);  // groups of three in three blocks

// Mask n has the bytes of a block that stand at place n in the groups of a row whose first group starts
// with the block.
constexpr std::array<std::array<u8, sizeof(Block)>, 3> kGroupMasks = [] {
    std::array<std::array<u8, sizeof(Block)>, 3> masks = {};
    for (usize i = 0; i < sizeof(Block); ++i) {
        masks[i % 3][i] = 0xFF;
    }
    return masks;
}();

Block load_block(const u8* p)
{
    Block block;
    std::memcpy(&block, p, sizeof block);
    return block;
}

}  // namespace

void row_swap_red_blue(std::span<u8> row)
{
    u8* p = row.data();
    usize left = row.size() / 3;
    const auto swap_group = [&] {
        std::swap(p[0], p[2]);
        p += 3;
        --left;
    };
    if (left == 0) {
        return;
    }
    swap_group();
    const Block masks[] = {load_block(kGroupMasks[0].data()), load_block(kGroupMasks[1].data()),
                           load_block(kGroupMasks[2].data())};
    // Each byte comes from two to the right or left, or stays. Blocks look two bytes past their ends, and
    // a block starts one place on in its group from the one before. What lies left of a block is loaded
    // ahead of the store before it: a load right behind a store that it half overlaps waits for it.
    constexpr usize kAhead = kGroups / 3 + 1;
    Block left_of = left > kAhead ? load_block(p - 2) : Block{};
    for (; left > kGroups + kAhead; left -= kGroups, p += 3 * sizeof(Block)) {
        Block swapped[3];
        for (u32 i = 0; i < 3; ++i) {
            const u8* const from = p + i * sizeof(Block);
            swapped[i] = (load_block(from + 2) & masks[(3 - i) % 3]) | (load_block(from) & masks[(4 - i) % 3]) |
                         (left_of & masks[(5 - i) % 3]);
            left_of = load_block(from + sizeof(Block) - 2);
        }
        std::memcpy(p, swapped, sizeof swapped);
    }
    while (left > 0) {
        swap_group();
    }
}

void row_copy_swapped(std::span<const u8> row, u8* to)
{
    std::memcpy(to, row.data(), row.size());
    row_swap_red_blue({to, row.size()});
}

void row_cmyk_to_bgr(std::span<u8> row)
{
    const auto light = [](u32 ink, u32 black) { return static_cast<u8>(255 - std::min(ink + black, 255u)); };
    u8* out = row.data();
    for (usize i = 0; i + 4 <= row.size(); i += 4, out += 3) {
        const u32 cyan = row[i];
        const u32 magenta = row[i + 1];
        const u32 yellow = row[i + 2];
        const u32 black = row[i + 3];
        out[0] = light(yellow, black);
        out[1] = light(magenta, black);
        out[2] = light(cyan, black);
    }
}

void row_spread(std::span<const u8> samples, u8* to)
{
    for (const u8 sample : samples) {
        *to = sample;
        to += 3;
    }
}

ORV_TARGET_CLONES
void row_interleave(const u8* blue, const u8* green, const u8* red, u8* to, usize pixels)
{
    for (usize i = 0; i < pixels; ++i) {
        to[3 * i] = blue[i];
        to[3 * i + 1] = green[i];
        to[3 * i + 2] = red[i];
    }
}

}  // namespace orv
