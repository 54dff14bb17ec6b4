#include "formats/tiff/ccitt_line.h"

#include <algorithm>
#include <bit>

namespace orv
{
namespace
{

// The word whose leftmost pixels stand in the first byte in memory.
u64 in_order(u64 word)
{
    return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

// Writes words of a row. The last may have four bytes.
struct RowWriter {
    u8* bytes;
    i32 whole;  // words of eight bytes
    u64 flip;

    [[gnu::always_inline]] void put(i32 word, u64 black) const
    {
        const u64 ordered = in_order(~black ^ flip);
        if (word < whole) [[likely]] {
            std::memcpy(bytes + word * 8, &ordered, 8);
        } else {
            std::memcpy(bytes + word * 8, &ordered, 4);
        }
    }
};

}  // namespace

// Runs are painted from left to right. The word at hand is kept in `black`; one that is entered starts white
// with a run's start and black with a run's end.
void ccitt_paint_list(const CcittRow& row, std::span<const i32> list, i32 end, u8* bytes)
{
    std::memset(bytes, row.flip == 0 ? 0xFF : 0, static_cast<usize>(row.length));
    const RowWriter out = {.bytes = bytes, .whole = row.length / 8, .flip = row.flip};
    usize count = list.size();
    while (count > 0 && list[count - 1] >= row.width) {
        --count;
    }
    i32 at = 0;
    u64 black = 0;
    const auto enter = [&](i32 word, u64 colour) {
        black = word == at ? black : colour;
        at = word;
    };
    const auto paint = [&](i32 from, i32 to) {
        enter(from / kWordBits, 0);
        black ^= ccitt_from(from);
        out.put(at, black);
        const i32 last = to / kWordBits;
        while (at + 1 < last)
            [[unlikely]]
            {
                out.put(++at, ~u64{0});
                black = ~u64{0};
            }
        enter(last, ~u64{0});
        black ^= ccitt_from(to);
    };
    for (usize i = 0; i + 1 < count; i += 2) {
        paint(list[i], list[i + 1]);
        out.put(at, black);
    }
    if (count % 2 != 0) {
        const i32 to = end < row.width ? end : row.width;
        paint(list[count - 1], to);
        if (to < row.width || to % kWordBits != 0) {
            out.put(at, black);
        }
    }
}

void ccitt_paint_words(std::span<const i32> list, i32 end, u64* line, i32 width)
{
    std::fill_n(line, ccitt_line_words(width), ~u64{0});
    for (usize i = 0; i < list.size(); i += 2) {
        const i32 to = i + 1 < list.size() ? list[i + 1] : end;
        ccitt_paint_black(list[i], to - list[i], line, width);
    }
}

void ccitt_paint_black(i32 first, i32 count, u64* line, i32 width)
{
    const i32 end = std::min(first + count, width);
    for (i32 x = std::max(first, 0); x < end;) {
        const i32 next = std::min((x | (kWordBits - 1)) + 1, end);
        line[x / kWordBits] &= ~ccitt_from(x) | (next % kWordBits == 0 ? 0 : ccitt_from(next));
        x = next;
    }
}

void ccitt_store(const CcittRow& row, const u64* line, u8* bytes)
{
    const RowWriter out = {.bytes = bytes, .whole = row.length / 8, .flip = row.flip};
    for (i32 i = 0; i * 8 < row.length; ++i) {
        out.put(i, ~line[i]);
    }
}

void ccitt_load(const u8* row, i32 length, u64* line, i32 width)
{
    for (i32 i = 0; i < length / 8; ++i) {
        u64 word;
        std::memcpy(&word, row + i * 8, 8);
        line[i] = in_order(word);
    }
    if (length % 8 != 0) {
        u64 word = 0;
        std::memcpy(&word, row + length / 8 * 8, 4);
        line[length / 8] = in_order(word);
    }
    line[width / kWordBits] |= ccitt_from(width);
}

usize ccitt_index_runs(const u64* line, i32 width, i32* list)
{
    i32* to = list;
    u64 left = ~u64{0};  // its lowest bit is the pixel to the left
    for (i32 x = 0; x < width; x += kWordBits) {
        const u64 word = line[x / kWordBits];
        for (u64 changes = word ^ (word >> 1 | left << 63); changes != 0;) {
            const i32 place = std::countl_zero(changes);
            *to++ = x + place;
            changes ^= u64{1} << (63 - place);
        }
        left = word;
    }
    // A line that ends black changes behind its last pixel.
    to -= to > list && to[-1] == width;
    std::fill_n(to, kListEnd, width);
    return static_cast<usize>(to - list);
}

}  // namespace orv
