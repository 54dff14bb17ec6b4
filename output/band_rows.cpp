// Rows of a band: source rows picked and scaled, and, for black and white, brought to gray and diffused.
#include <algorithm>
#include <cmath>

#include "frame/blocks.h"
#include "ops/resize_rows.h"
#include "output/band.h"
#include "pixels/palettes.h"
#include "platform/gdi.h"

namespace orv
{
namespace
{

// --- Source rows ---

// The stored row that shows in a row of the destination, within the picture.
i32 source_row_of(const BandRun& run, i32 row)
{
    const i64 bottom = i64{run.image_height} - run.crop_top - run.crop_height;
    const i64 from = (run.row_step * row >> 8) + bottom;
    return static_cast<i32>(std::clamp<i64>(from, 0, run.image_height - 1));
}

const u8* image_row(const BandRun& run, i32 row)
{
    return run.image_rows + i64{row} * run.image_stride;
}

// The byte that the crop rectangle's left edge lies in; at 4 bits an odd edge moves one pixel left.
i64 first_byte(const BandRun& run)
{
    return (i64{run.crop_left} * run.bits) >> 3;
}

// Pixels that the byte of the left edge holds ahead of it.
u32 pixels_ahead(const BandRun& run)
{
    return run.bits == 1   ? static_cast<u32>(run.crop_left & 7)
           : run.bits == 4 ? static_cast<u32>(run.crop_left & 1)
                           : 0;
}

// Bytes from the left edge's byte to the last pixel of the crop rectangle.
usize crop_bytes(const BandRun& run)
{
    return (static_cast<usize>(run.crop_width) + pixels_ahead(run)) * static_cast<usize>(run.bits) / 8 + 1;
}

// The bytes of a source row from the left edge on, crop_bytes of them: in the picture, or in `columns` with
// zeros for what lies outside it.
std::span<const u8> crop_columns(const BandRun& run, i32 row)
{
    const usize bytes = crop_bytes(run);
    const i64 begin = first_byte(run);
    const u8* const from = image_row(run, row);
    const i64 stored = run.image_stride;
    if (begin >= 0 && begin + static_cast<i64>(bytes) <= stored &&
        i64{run.crop_left} + run.crop_width <= run.image_width) {
        return {from + begin, bytes};
    }
    std::fill_n(run.columns, bytes, u8{0});
    const i64 picture_bits = i64{run.image_width} * run.bits;
    const i64 whole = picture_bits >> 3;
    const i64 first = std::max<i64>(begin, 0);
    const i64 last = std::min(begin + static_cast<i64>(bytes), whole);
    if (first < last) {
        std::memcpy(run.columns + (first - begin), from + first, static_cast<usize>(last - first));
    }
    if ((picture_bits & 7) != 0 && whole >= begin && whole < begin + static_cast<i64>(bytes)) {
        run.columns[whole - begin] = static_cast<u8>(from[whole] & 0xFF00 >> (picture_bits & 7));
    }
    return {run.columns, bytes};
}

// --- Rows in the picture's own depth ---

// Clears what lies behind the last pixel in its byte.
void clear_tail(u8* row, i32 width, i32 bits)
{
    const u32 used = static_cast<u32>(i64{width} * bits & 7);
    if (used != 0) {
        u8& last = row[i64{width} * bits >> 3];
        last = static_cast<u8>(last & 0xFF00 >> used);
    }
}

void copy_row(const BandRun& run, std::span<const u8> from, u8* to)
{
    const u32 ahead = pixels_ahead(run);
    const usize bytes = (static_cast<usize>(run.width) * static_cast<usize>(run.bits) + 7) / 8;
    if (ahead == 0) {
        std::memcpy(to, from.data(), bytes);
    } else if (run.bits == 1) {
        resize_row_1(from, {to, bytes}, 256, run.width, ahead);
    } else {
        for (usize i = 0; i < bytes; ++i) {
            const u32 next = i + 1 < from.size() ? from[i + 1] : 0u;
            to[i] = static_cast<u8>(u32{from[i]} << 4 | next >> 4);
        }
    }
    clear_tail(to, run.width, run.bits);
}

void band_scale_row(BandRun& run, i32 row, u8* to)
{
    const std::span<const u8> from = crop_columns(run, source_row_of(run, row));
    const std::span<u8> target = {to, static_cast<usize>(run.band_stride)};
    if (run.crop_width == run.width) {
        copy_row(run, from, to);
    } else if (run.bits == 1) {
        resize_row_1(from, target, run.column_step, run.width, pixels_ahead(run));
    } else {
        resize_row(run.bits, from, target, run.column_step, run.width);
    }
}

// Rows that show the same source row are the same.
void scale_rows(BandRun& run, i32 count)
{
    i32 previous = -1;
    for (i32 r = 0; r < count; ++r) {
        u8* const to = run.rows + i64{r} * run.band_stride;
        const i32 from = source_row_of(run, run.first_row + r);
        if (from == previous) {
            std::memcpy(to, to - run.band_stride, static_cast<usize>(run.band_stride));
        } else {
            band_scale_row(run, run.first_row + r, to);
            previous = from;
        }
    }
}

// --- Rows of gray, diffused ---

// Printers of 300 dots an inch fill the shadows: their grays run from 24 to 244 along a cube root.
bool wants_gamma(const BandRun& run)
{
    return platform::GetDeviceCaps(run.device, platform::LOGPIXELSX) == 300 && run.scaling.x == 0;
}

u8 tone_of(i32 gray, bool gamma)
{
    const i32 value = gamma ? static_cast<i32>(std::pow(gray / 255.0, 0.33333333) * 220.0) + 24 : gray;
    return static_cast<u8>(std::min(value, 255));
}

u8 entry_tone(const RGBQUAD& c, bool gamma)
{
    return tone_of(luma_100(c.rgbBlue, c.rgbGreen, c.rgbRed), gamma);
}

void build_gray_table(BandRun& run)
{
    const bool gamma = wants_gamma(run);
    GrayRows& table = *run.gray_table;
    table.bits = run.bits;
    table.weights = GrayWeights::Over100;
    table.identity = false;
    run.tones_are_plain = !gamma;
    const RGBQUAD* const palette = run.image->palette;
    for (u32 i = 0; i < 256; ++i) {
        run.gray_tone[i] = tone_of(static_cast<i32>(i), gamma);
        if (run.bits == 8) {
            table.gray[i] = entry_tone(palette[i], gamma);
        } else if (run.bits == 4) {
            table.pair[i][0] = entry_tone(palette[i >> 4], gamma);
            table.pair[i][1] = entry_tone(palette[i & 15], gamma);
        }
    }
}

void apply_tones(const BandRun& run, u8* grays, usize count)
{
    if (run.bits == 24 && !run.tones_are_plain) {
        for (usize x = 0; x < count; ++x) {
            grays[x] = run.gray_tone[grays[x]];
        }
    }
}

// The grays of a destination row. The work is done on the fewer pixels: ahead of the scaling where the row
// grows, behind it where it shrinks.
void make_grays(BandRun& run, i32 source)
{
    std::span<const u8> from = crop_columns(run, source);
    const usize width = static_cast<usize>(run.width);
    const usize crop = static_cast<usize>(run.crop_width);
    if (run.bits == 4 || crop <= width) {
        const u8* const grays = gray_rows_get(*run.gray_table, from.data(), run.source_grays, crop);
        apply_tones(run, run.source_grays, crop);
        resize_row_8({grays, crop}, {run.grays, width}, run.column_step, run.width);
        return;
    }
    resize_row(run.bits, from, {run.wide_row, width * 3}, run.column_step, run.width);
    gray_rows_get(*run.gray_table, run.wide_row, run.grays, width);
    apply_tones(run, run.grays, width);
}

void diffuse_rows(BandRun& run, i32 count)
{
    for (i32 r = 0; r < count; ++r) {
        const i32 source = source_row_of(run, run.first_row + r);
        if (source != run.gray_source) {
            make_grays(run, source);
            run.gray_source = source;
        }
        mono_diffusion_row(run.diffusion, run.first_row + r, run.grays, run.rows + i64{r} * run.band_stride);
    }
}

}  // namespace

// One block holds all working rows.
ErrorCode band_rows_open(BandRun& run)
{
    const usize width = static_cast<usize>(run.width);
    const usize crop = static_cast<usize>(run.crop_width);
    usize bytes = 0;
    const auto place = [&](usize wanted) {
        const usize at = bytes;
        bytes += (wanted + 63) & ~usize{63};
        return at;
    };
    const usize columns = place(crop_bytes(run));
    const usize table = place(run.is_mono ? sizeof(GrayRows) : 0);
    const usize source_grays = place(run.is_mono ? crop + 2 : 0);
    const usize wide_row = place(run.is_mono ? width * 3 : 0);
    const usize grays = place(run.is_mono ? width + 2 : 0);
    const usize errors = place(run.is_mono ? mono_diffusion_bytes(width) : 0);
    u8* const work = block_alloc(bytes);
    if (work == nullptr) {
        return kOutOfMemory;
    }
    run.columns = work + columns;
    if (run.is_mono) {
        run.gray_table = reinterpret_cast<GrayRows*>(work + table);
        run.source_grays = work + source_grays;
        run.wide_row = work + wide_row;
        run.grays = work + grays;
        run.gray_source = -1;
        mono_diffusion_open(run.diffusion, work + errors, width);
        build_gray_table(run);
    }
    return kOk;
}

void band_rows_close(const BandRun& run)
{
    block_free(run.columns);
}

void band_fill(BandRun& run, i32 count)
{
    if (run.is_mono) {
        diffuse_rows(run, count);
    } else {
        scale_rows(run, count);
    }
}

}  // namespace orv
