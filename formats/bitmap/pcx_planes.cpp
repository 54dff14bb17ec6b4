#include "formats/bitmap/pcx_planes.h"

#include <array>

#include "frame/bytes.h"
#include "frame/simd.h"

namespace orv
{
namespace
{

// A plane's byte as eight pixels of four bits, each with its bit in the lowest place; the first pixel
// in the top four bits of the first byte, which is the number's lowest.
constexpr std::array<u32, 256> make_spread_bits()
{
    std::array<u32, 256> table{};
    for (u32 byte = 0; byte < 256; ++byte) {
        for (u32 pixel = 0; pixel < 8; ++pixel) {
            const u32 shift = pixel / 2 * 8 + (pixel % 2 == 0 ? 4 : 0);
            table[byte] |= (byte >> (7 - pixel) & 1) << shift;
        }
    }
    return table;
}

constexpr std::array<u32, 256> kSpreadBits = make_spread_bits();
static_assert(kSpreadBits[0x80] == 0x10 && kSpreadBits[0x01] == 0x01000000 && kSpreadBits[0xFF] == 0x11111111);

// Brings the lowest bit of each of eight pixels, the first in the top four bits, into one byte.
inline u8 gather_bits(u32 pixels)
{
    u32 bits = pixels & 0x11111111;
    bits = (bits | bits >> 3) & 0x03030303;
    bits = (bits | bits >> 6) & 0x000F000F;
    return static_cast<u8>(bits | bits >> 12);
}

}  // namespace

void pcx_merge_bits(const u8* line, u32 bytes_per_line, i32 planes, u8* pixels, u32 count)
{
    const u8* plane0 = line;
    const u8* plane1 = plane0 + bytes_per_line;
    const u8* plane2 = plane1 + bytes_per_line;
    const u8* plane3 = planes == 4 ? plane2 + bytes_per_line : nullptr;
    for (u32 at = 0; at < count; ++at) {
        u32 merged = kSpreadBits[plane0[at]] | kSpreadBits[plane1[at]] << 1 | kSpreadBits[plane2[at]] << 2;
        if (plane3 != nullptr) {
            merged |= kSpreadBits[plane3[at]] << 3;
        }
        store_le32(pixels + usize{at} * 4, merged);
    }
}

void pcx_split_bits(const u8* pixels, u32 width, u8* line, u32 bytes_per_line)
{
    u8* plane0 = line;
    u8* plane1 = plane0 + bytes_per_line;
    u8* plane2 = plane1 + bytes_per_line;
    u8* plane3 = plane2 + bytes_per_line;
    for (u32 at = 0; at < bytes_per_line; ++at) {
        u32 eight = load_be32(pixels + usize{at} * 4);
        const u32 left = width - at * 8;
        if (left < 8) {
            eight &= ~(0xFFFFFFFFU >> (left * 4));
        }
        plane0[at] = gather_bits(eight);
        plane1[at] = gather_bits(eight >> 1);
        plane2[at] = gather_bits(eight >> 2);
        plane3[at] = gather_bits(eight >> 3);
    }
}

ORV_TARGET_CLONES
void pcx_merge_colours(const u8* line, u32 bytes_per_line, u8* __restrict pixels, u32 count)
{
    const u8* red = line;
    const u8* green = red + bytes_per_line;
    const u8* blue = green + bytes_per_line;
    for (usize at = 0; at < count; ++at) {
        pixels[at * 3] = blue[at];
        pixels[at * 3 + 1] = green[at];
        pixels[at * 3 + 2] = red[at];
    }
}

ORV_TARGET_CLONES
void pcx_split_colours(const u8* pixels, u8* __restrict line, u32 count)
{
    u8* red = line;
    u8* green = red + count;
    u8* blue = green + count;
    for (usize at = 0; at < count; ++at) {
        blue[at] = pixels[at * 3];
        green[at] = pixels[at * 3 + 1];
        red[at] = pixels[at * 3 + 2];
    }
}

}  // namespace orv
