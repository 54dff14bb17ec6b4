// Rows of GIF pictures on their way to the sink.
#include <algorithm>

#include "formats/interchange/gif.h"
#include "frame/bytes.h"

namespace orv
{
namespace
{

// Where the passes of an interlaced picture start, and by how much they step.
struct Pass {
    i32 start;
    i32 step;
};
constexpr Pass kPasses[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};

// Eight pixels, the first in the lowest byte, to a byte with the first in the highest bit: the product
// brings bit 0 of byte i to bit 63 - i, and no two bits meet.
u8 pack_eight(u64 pixels)
{
    return static_cast<u8>((pixels & 0x0101010101010101) * 0x8040201008040201 >> 56);
}

void pack_bits(const u8* pixels, u32 width, u8* row)
{
    u32 x = 0;
    for (; x + 8 <= width; x += 8) {
        *row++ = pack_eight(load_le64(pixels + x));
    }
    if (x < width) {
        gif_pack_row_plain(pixels + x, width - x, 1, row);
    }
}

void pack_nibbles(const u8* pixels, u32 width, u8* row)
{
    for (u32 i = 0; i < width / 2; ++i) {
        row[i] = static_cast<u8>(pixels[2 * i] << 4 | (pixels[2 * i + 1] & 0x0F));
    }
    if ((width & 1) != 0) {
        row[width / 2] = static_cast<u8>(pixels[width - 1] << 4);
    }
}

}  // namespace

GifRows gif_rows(PictureSink& sink, bool interlaced)
{
    return {.sink = &sink, .row = 0, .left = sink.height, .pass = 0, .interlaced = interlaced};
}

void gif_put_row(GifRows& rows, const u8* pixels)
{
    PictureSink& sink = *rows.sink;
    gif_pack_row(pixels, static_cast<u32>(sink.width), sink.bits, row_lend(sink, rows.row));
    row_done(sink, rows.row);
    --rows.left;
    rows.row += rows.interlaced ? kPasses[rows.pass].step : 1;
    while (rows.row >= sink.height && rows.left > 0) {
        rows.row = kPasses[++rows.pass].start;
    }
}

void gif_pack_row(const u8* pixels, u32 width, u32 bit_count, u8* row)
{
    switch (bit_count) {
    case 1: pack_bits(pixels, width, row); break;
    case 4: pack_nibbles(pixels, width, row); break;
    default: std::memcpy(row, pixels, width); break;
    }
}

void gif_pack_row_plain(const u8* pixels, u32 width, u32 bit_count, u8* row)
{
    const u32 mask = (1U << bit_count) - 1;
    const u32 pixels_a_byte = 8 / bit_count;
    std::memset(row, 0, (width + pixels_a_byte - 1) / pixels_a_byte);
    for (u32 i = 0; i < width; ++i) {
        const u32 shift = 8 - bit_count * (i % pixels_a_byte + 1);
        row[i / pixels_a_byte] = static_cast<u8>(row[i / pixels_a_byte] | (pixels[i] & mask) << shift);
    }
}

}  // namespace orv
