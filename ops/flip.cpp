// The two mirrorings.
#include "ops/flip.h"

#include <array>

namespace orv
{
namespace
{

// A byte of packed pixels with the pixels in reverse order, by bits of a pixel.
constexpr std::array<u8, 256> mirrored_bytes(u32 bits)
{
    std::array<u8, 256> table = {};
    for (u32 value = 0; value < 256; ++value) {
        for (u32 position = 0; position < 8; position += bits) {
            const u32 pixel = value >> position & ((1u << bits) - 1);
            table[value] = static_cast<u8>(table[value] | pixel << (8 - bits - position));
        }
    }
    return table;
}

constexpr std::array<u8, 256> kMirroredBits = mirrored_bytes(1);
constexpr std::array<u8, 256> kMirroredNibbles = mirrored_bytes(4);

// Mirrored byte by byte, the pixels start behind the mirrored padding of the last byte, whose `spare`
// bits are then shifted out. `bytes` is what the pixels take.
void mirror_packed(const std::array<u8, 256>& mirrored, usize bytes, u32 spare, const u8* source, u8* target)
{
    for (usize i = 0; i < bytes; ++i) {
        target[i] = mirrored[source[bytes - 1 - i]];
    }
    if (spare == 0) {
        return;
    }
    for (usize i = 0; i + 1 < bytes; ++i) {
        target[i] = static_cast<u8>(target[i] << spare | target[i + 1] >> (8 - spare));
    }
    target[bytes - 1] = static_cast<u8>(target[bytes - 1] << spare);
}

void mirror_bytes(usize bytes, const u8* source, u8* target)
{
    usize i = 0;
    for (; i + 8 <= bytes; i += 8) {
        u64 pixels;
        std::memcpy(&pixels, source + bytes - 8 - i, sizeof pixels);
        pixels = __builtin_bswap64(pixels);
        std::memcpy(target + i, &pixels, sizeof pixels);
    }
    for (; i < bytes; ++i) {
        target[i] = source[bytes - 1 - i];
    }
}

// Four bytes are moved at a time where a pixel lies behind the source's and the target's.
void mirror_triples(usize width, const u8* source, u8* target)
{
    const u8* from = source + (width - 1) * 3;
    std::memcpy(target, from, 3);
    for (usize i = 1; i + 1 < width; ++i) {
        std::memcpy(target + i * 3, from - i * 3, 4);
    }
    std::memcpy(target + (width - 1) * 3, source, 3);
}

ErrorCode measure_flip_x(Operation& op)
{
    op.work_bytes[0] = static_cast<usize>(op.stride);
    return kOk;
}

void flip_row_x(Operation& op, i32 row)
{
    const std::span<u8> copy(op.work[0], static_cast<usize>(op.stride));
    std::memcpy(copy.data(), source_row(op, row), copy.size());
    mirror_row(op.bits, op.width, copy, {result_row(op, row), copy.size()});
}

// From the last new row down: the end of the new block has just been cleared and is still near.
void flip_image_y(Operation& op)
{
    for (i32 row = op.height - 1; row >= 0; --row) {
        std::memcpy(result_row(op, row), source_row(op, op.height - 1 - row), static_cast<usize>(op.stride));
    }
}

constexpr OperationPlan kFlipX = {
    .depths = kAllDepths,
    .storage = Storage::InPlace,
    .measure = measure_flip_x,
    .row = flip_row_x,
    .finish = [](Operation& op) { crop_flip_x(*op.record); },
};

constexpr OperationPlan kFlipY = {
    .depths = kAllDepths,
    .storage = Storage::SameHeader,
    .image = flip_image_y,
    .finish = [](Operation& op) { crop_flip_y(*op.record); },
};

}  // namespace

void mirror_row(i32 bits, i32 width, std::span<const u8> source, std::span<u8> target)
{
    const usize pixels = static_cast<usize>(width);
    const usize bytes = (pixels * static_cast<usize>(bits) + 7) / 8;
    const u32 spare = static_cast<u32>(bytes * 8 - pixels * static_cast<usize>(bits));
    switch (bits) {
    case 1: mirror_packed(kMirroredBits, bytes, spare, source.data(), target.data()); break;
    case 4: mirror_packed(kMirroredNibbles, bytes, spare, source.data(), target.data()); break;
    case 8: mirror_bytes(bytes, source.data(), target.data()); break;
    default: mirror_triples(pixels, source.data(), target.data()); break;
    }
    std::memset(target.data() + bytes, 0, target.size() - bytes);
}

void crop_flip_x(ImageRecord& record)
{
    record.crop_left = record.image_width - (record.crop_left + record.crop_width);
}

void crop_flip_y(ImageRecord& record)
{
    record.crop_top = record.image_height - (record.crop_top + record.crop_height);
}

}  // namespace orv

int16_t IMG_flip_bitmapx(int32_t handle)
{
    return orv::operation_run(handle, orv::kFlipX);
}

int16_t IMG_flip_bitmapy(int32_t handle)
{
    return orv::operation_run(handle, orv::kFlipY);
}
