// Contrast and brightness, and the negative.
#include <algorithm>

#include "frame/blocks.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "ops/operation.h"
#include "platform/memory.h"

namespace orv
{
namespace
{

// --- Contrast and brightness ---

struct LutRule {
    i32 contrast;    // -128 and up
    i32 brightness;  // a unit moves values by 2
};

// The product alone is cut to 16 bits.
u8 lut_value(const LutRule& rule, i32 value)
{
    const i16 product = static_cast<i16>(value * (2 * rule.contrast + 256) >> 8);
    return static_cast<u8>(std::clamp(product - rule.contrast + 2 * rule.brightness, 0, 255));
}

// True where neither product nor sum leaves 16 bits, which holds for all settings of use.
bool fits_words(const LutRule& rule)
{
    const i32 offset = 2 * rule.brightness - rule.contrast;
    const i32 greatest = 255 * (2 * rule.contrast + 256) >> 8;
    return greatest <= 0x7FFF && greatest + offset <= 0x7FFF && offset >= -0x8000;
}

ORV_TARGET_CLONES
void lut_apply_words(u8* bytes, usize count, u16 factor, i16 offset)
{
    for (usize i = 0; i < count; ++i) {
        const u16 product = static_cast<u16>(static_cast<u32>(static_cast<u16>(bytes[i] << 8)) * factor >> 16);
        const i16 value = static_cast<i16>(product + offset);
        bytes[i] = static_cast<u8>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
}

void lut_apply_table(u8* bytes, usize count, const LutRule& rule)
{
    u8 table[256];
    for (i32 value = 0; value < 256; ++value) {
        table[value] = lut_value(rule, value);
    }
    for (usize i = 0; i < count; ++i) {
        bytes[i] = table[bytes[i]];
    }
}

const LutRule& lut_rule(const Operation& op)
{
    return *static_cast<const LutRule*>(op.argument);
}

// Every byte of a 24-bit picture, padding included.
void lut_apply_rows(Operation& op)
{
    const LutRule& rule = lut_rule(op);
    const usize count = static_cast<usize>(op.stride) * static_cast<usize>(op.height);
    if (fits_words(rule)) {
        lut_apply_words(op.result_rows, count, static_cast<u16>(2 * rule.contrast + 256),
                        static_cast<i16>(2 * rule.brightness - rule.contrast));
    } else {
        lut_apply_table(op.result_rows, count, rule);
    }
}

// The palette anew from the saved one.
void lut_apply_palette(Operation& op)
{
    const LutRule& rule = lut_rule(op);
    const RGBQUAD* const saved = static_cast<const RGBQUAD*>(op.record->lut_palette);
    for (usize i = 0; i < usize{1} << op.bits; ++i) {
        RGBQUAD& entry = op.result->palette[i];
        entry.rgbBlue = lut_value(rule, saved[i].rgbBlue);
        entry.rgbGreen = lut_value(rule, saved[i].rgbGreen);
        entry.rgbRed = lut_value(rule, saved[i].rgbRed);
    }
}

// A palette is saved at the first call for a picture, so that settings do not add up.
ErrorCode lut_prepare(Operation& op)
{
    ImageRecord& record = *op.record;
    if (op.bits == 24 || record.lut_palette_block != 0) {
        return kOk;
    }
    const usize bytes = static_cast<usize>(palette_bytes(op.source->info));
    u8* const saved = block_alloc(bytes);
    if (saved == nullptr) {
        return kOutOfMemory;
    }
    std::memcpy(saved, op.source->palette, bytes);
    record.lut_palette = saved;
    record.lut_palette_block = platform::GlobalHandle(saved);
    return kOk;
}

void lut_image(Operation& op)
{
    if (op.bits == 24) {
        lut_apply_rows(op);
    } else {
        lut_apply_palette(op);
    }
}

constexpr OperationPlan kLut = {
    .depths = kDepth4 | kDepth8 | kDepth24,
    .prepare = lut_prepare,
    .image = lut_image,
};

// --- The negative ---

// Every byte of the row, padding included: indexes at 1, 4 and 8 bits, colours at 24.
void invert_row(Operation& op, i32 row)
{
    u8* const bytes = result_row(op, row);
    const usize count = static_cast<usize>(op.stride);
    for (usize i = 0; i < count; ++i) {
        bytes[i] ^= 0xFF;
    }
}

constexpr OperationPlan kInvert = {
    .depths = kAllDepths,
    .progress = Progress::Full,
    .row = invert_row,
};

}  // namespace
}  // namespace orv

int16_t IMG_set_lut(int32_t handle, int16_t contrast, int16_t brightness)
{
    const orv::LutRule rule = {.contrast = std::max<orv::i32>(contrast, -128), .brightness = brightness};
    return orv::operation_run(handle, orv::kLut, &rule);
}

int16_t IMG_invert_bitmap(int32_t handle)
{
    return orv::operation_run(handle, orv::kInvert);
}
