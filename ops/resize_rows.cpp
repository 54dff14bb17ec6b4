#include "ops/resize_rows.h"

#include <algorithm>

#include "frame/bytes.h"

namespace orv
{
namespace
{

// How many of `count` positions start, start + step, ... lie below `end`, all in 1/256 pixels.
usize positions_below(u64 end, u64 start, u32 step, usize count)
{
    if (start >= end) {
        return 0;
    }
    return step == 0 ? count : std::min<usize>(count, static_cast<usize>((end - start + step - 1) / step));
}

// Eight pixels within one word, for steps that keep them there: bit 63 is the first source pixel.
u8 eight_of_word(u64 word, u32 fraction, u32 step)
{
    u32 pixels = 0;
    for (int k = 0; k < 8; ++k) {
        pixels = pixels << 1 | static_cast<u32>(word << (fraction >> 8) >> 63);
        fraction += step;
    }
    return static_cast<u8>(pixels);
}

}  // namespace

void resize_row_1(std::span<const u8> source, std::span<u8> target, u32 step, i32 count, u32 start_bit)
{
    const usize pixels = static_cast<usize>(count);
    const usize bytes = (pixels + 7) / 8;
    std::fill_n(target.data(), bytes, u8{0});

    usize position = usize{start_bit} << 8;
    const u64 end = u64{source.size()} * 8 << 8;
    const usize inside = positions_below(end, position, step, pixels);

    // The eighth pixel lies at most 7 + 50 bits behind the word's first one.
    usize i = 0;
    if (step <= 50 * 256 / 7 && source.size() >= 8) {
        const usize last_word = (source.size() - 8) << 11;
        for (; i + 8 <= inside && position <= last_word; i += 8, position += usize{8} * step) {
            const u64 word = load_be64(source.data() + (position >> 11)) << ((position >> 8) & 7);
            target[i / 8] = eight_of_word(word, static_cast<u32>(position & 255), step);
        }
    }
    for (; i < inside; ++i, position += step) {
        const u32 bit = source[position >> 11] >> (~(position >> 8) & 7) & 1u;
        target[i / 8] = static_cast<u8>(target[i / 8] | bit << (~i & 7));
    }
}

void resize_row_4(std::span<const u8> source, std::span<u8> target, u32 step, i32 count)
{
    const u32 half = step >> 1;
    const usize bytes = (static_cast<usize>(count) + 1) / 2;
    const usize inside = positions_below(u64{source.size()} << 8, 0, half, bytes * 2);

    usize position = 0;
    const auto next_nibble = [&]() {
        const u32 nibble = source[position >> 8] >> (position & 128 ? 0 : 4) & 15u;
        position += half;
        return nibble;
    };
    for (usize i = 0; i < inside / 2; ++i) {
        const u32 high = next_nibble();
        target[i] = static_cast<u8>(high << 4 | next_nibble());
    }
    std::fill_n(target.data() + inside / 2, bytes - inside / 2, u8{0});
    if (inside % 2 != 0) {
        target[inside / 2] = static_cast<u8>(next_nibble() << 4);
    }
}

void resize_row_8(std::span<const u8> source, std::span<u8> target, u32 step, i32 count)
{
    const usize pixels = static_cast<usize>(count);
    const usize inside = positions_below(u64{source.size()} << 8, 0, step, pixels);
    const u8* from = source.data();
    u8* to = target.data();
    usize position = 0;
    for (usize i = 0; i < inside; ++i, position += step) {
        to[i] = from[position >> 8];
    }
    std::fill_n(to + inside, pixels - inside, u8{0});
}

void resize_row_24(std::span<const u8> source, std::span<u8> target, u32 step, i32 count)
{
    const usize pixels = static_cast<usize>(count);
    const usize source_pixels = source.size() / 3;
    const usize inside = positions_below(u64{source_pixels} << 8, 0, step, pixels);
    // Four bytes are moved at a time where a pixel follows in the source and in the target.
    const u64 followed = source_pixels == 0 ? 0 : u64{source_pixels - 1} << 8;
    const usize wide = std::min(positions_below(followed, 0, step, pixels), pixels == 0 ? 0 : pixels - 1);

    u8* to = target.data();
    usize position = 0;
    usize i = 0;
    for (; i < wide; ++i, position += step) {
        std::memcpy(to + i * 3, source.data() + (position >> 8) * 3, 4);
    }
    for (; i < inside; ++i, position += step) {
        std::memcpy(to + i * 3, source.data() + (position >> 8) * 3, 3);
    }
    std::fill_n(to + inside * 3, (pixels - inside) * 3, u8{0});
}

void resize_row(i32 bits, std::span<const u8> source, std::span<u8> target, u32 step, i32 count)
{
    switch (bits) {
    case 1: resize_row_1(source, target, step, count); break;
    case 4: resize_row_4(source, target, step, count); break;
    case 8: resize_row_8(source, target, step, count); break;
    default: resize_row_24(source, target, step, count); break;
    }
}

}  // namespace orv
