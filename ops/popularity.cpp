// The 255 most frequent colours of four bits a channel, and each pixel's nearest among them.
#include <array>

#include "ops/operation.h"

namespace orv
{
namespace
{

// A colour key has the top nibbles of red, green and blue, red highest: 12 bits.
constexpr usize kKeys = 4096;
constexpr usize kEntries = 256;
constexpr u16 kNotYet = 0xFFFF;

// Neighbouring pixels are mostly alike: in turn they count in different tables, so that no count waits
// for the one before it.
constexpr usize kTables = 4;

enum Work : usize { kHistogram, kPalette, kMap };

// The key palette as keys and as nibbles a channel.
struct KeyPalette {
    std::array<u16, kEntries> keys;
    std::array<i16, kEntries> red, green, blue;
};

u32 pixel_key(const u8* pixel)
{
    return (pixel[2] & 240u) << 4 | (pixel[1] & 240u) | pixel[0] >> 4u;
}

// Counters of 16 bits that wrap: a colour that occurs 65,536 times counts 0.
void popularity_histogram(const Operation& op, u16* histogram)
{
    const usize width = static_cast<usize>(op.width);
    for (i32 row = 0; row < op.height; ++row) {
        const u8* pixel = source_row(op, row);
        usize x = 0;
        for (; x + kTables <= width; x += kTables, pixel += kTables * 3) {
            for (usize t = 0; t < kTables; ++t) {
                u16& counter = histogram[t * kKeys + pixel_key(pixel + t * 3)];
                counter = static_cast<u16>(counter + 1);
            }
        }
        for (; x < width; ++x, pixel += 3) {
            u16& counter = histogram[pixel_key(pixel)];
            counter = static_cast<u16>(counter + 1);
        }
    }
    for (usize t = 1; t < kTables; ++t) {
        for (usize key = 0; key < kKeys; ++key) {
            histogram[key] = static_cast<u16>(histogram[key] + histogram[t * kKeys + key]);
        }
    }
}

// Entry 0 is black, whatever its count, and stays in the race. Among equal counts the highest key wins;
// when all counts are used up that is key 4095, for all entries left.
void popularity_select(u16* histogram, u16* keys)
{
    std::array<i32, kKeys> ranks;  // count above key: the greatest rank is the next colour
    for (usize key = 0; key < kKeys; ++key) {
        ranks[key] = histogram[key] << 12 | static_cast<i32>(key);
    }
    keys[0] = 0;
    for (usize i = 1; i < kEntries; ++i) {
        i32 best = 0;
        for (const i32 rank : ranks) {
            best = rank > best ? rank : best;
        }
        keys[i] = static_cast<u16>(best & 0xFFF);
        ranks[keys[i]] = keys[i];
    }
}

// The entry at the least distance, the first of equals. Distances are of doubled nibbles in the rule,
// which orders them in the same way.
u8 nearest_entry(const KeyPalette& palette, u32 key)
{
    const i32 red = static_cast<i32>(key >> 8), green = key >> 4 & 15, blue = key & 15;
    i32 best = 0x7FFFFFFF;
    for (usize i = 0; i < kEntries; ++i) {
        const i32 r = palette.red[i] - red, g = palette.green[i] - green, b = palette.blue[i] - blue;
        const i32 rank = (r * r + g * g + b * b) << 8 | static_cast<i32>(i);
        best = rank < best ? rank : best;
    }
    return static_cast<u8>(best);
}

// `map` has what is known of each key's nearest entry, kNotYet where nobody has asked.
void popularity_map_row(const u8* source, u8* out, const KeyPalette& palette, u16* map, usize width)
{
    for (usize x = 0; x < width; ++x, source += 3) {
        const u32 key = pixel_key(source);
        if (map[key] == kNotYet) [[unlikely]] {
            map[key] = nearest_entry(palette, key);
        }
        out[x] = static_cast<u8>(map[key]);
    }
}

KeyPalette& key_palette(Operation& op)
{
    return *reinterpret_cast<KeyPalette*>(op.work[kPalette]);
}

ErrorCode popularity_measure(Operation& op)
{
    op.work_bytes[kHistogram] = kTables * kKeys * sizeof(u16);
    op.work_bytes[kPalette] = sizeof(KeyPalette);
    op.work_bytes[kMap] = kKeys * sizeof(u16);
    return kOk;
}

ErrorCode popularity_prepare(Operation& op)
{
    u16* const histogram = reinterpret_cast<u16*>(op.work[kHistogram]);
    KeyPalette& palette = key_palette(op);
    popularity_histogram(op, histogram);
    popularity_select(histogram, palette.keys.data());
    for (usize i = 0; i < kEntries; ++i) {
        palette.red[i] = static_cast<i16>(palette.keys[i] >> 8);
        palette.green[i] = palette.keys[i] >> 4 & 15;
        palette.blue[i] = palette.keys[i] & 15;
    }
    std::memset(op.work[kMap], 0xFF, kKeys * sizeof(u16));
    return kOk;
}

void popularity_row(Operation& op, i32 row)
{
    popularity_map_row(source_row(op, row), result_row(op, row), key_palette(op),
                       reinterpret_cast<u16*>(op.work[kMap]), static_cast<usize>(op.width));
}

// The low nibble of every channel is 0: the brightest entry is 240, 240, 240.
void popularity_finish(Operation& op)
{
    for (usize i = 0; i < kEntries; ++i) {
        const u32 key = key_palette(op).keys[i];
        op.result->palette[i] = {.rgbBlue = static_cast<u8>((key & 15) << 4),
                                 .rgbGreen = static_cast<u8>(key & 240),
                                 .rgbRed = static_cast<u8>(key >> 4 & 240),
                                 .rgbReserved = 0};
    }
}

constexpr OperationPlan kPopularity = {
    .depths = kDepth24,
    .storage = Storage::NewHeader,
    .progress = Progress::Full,
    .result_bits = 8,
    .measure = popularity_measure,
    .prepare = popularity_prepare,
    .row = popularity_row,
    .finish = popularity_finish,
};

}  // namespace
}  // namespace orv

int16_t IMG_popularity_color(int32_t handle)
{
    return orv::operation_run(handle, orv::kPopularity);
}
