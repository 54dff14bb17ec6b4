// A run of the band engine: what its steps share.
#pragma once

#include "frame/handles.h"
#include "frame/types.h"
#include "ops/gray_rows.h"
#include "ops/mono_diffusion.h"

namespace orv
{

// The shift counts of a device that scales by itself; both 0 where it does not.
struct Scaling {
    bool is_supported;
    i32 x, y;
};

struct BandRun {
    HDC device;
    Scaling scaling;
    bool is_mono;  // the picture is diffused to black and white

    // The picture as the draw found it. Rows are numbered as stored, 0 at the bottom.
    const ImageHeader* image;
    const u8* image_rows;
    i32 image_width, image_height, image_stride;
    i32 bits;
    i32 crop_left, crop_top, crop_width, crop_height;

    // The destination: its size in the device's pixels, ahead of the device's own scaling.
    i32 width, height;  // positive
    u32 column_step;    // distance of source columns, in 1/256 pixels
    i64 row_step;       // of source rows

    // The band: a handle and a record of its own while the run lasts. Row r of the band is row
    // first_row + r of the destination, counted from its bottom.
    i32 handle;
    ImageRecord* band;
    ImageHeader* header;
    u8* rows;
    i32 band_bits, band_stride;
    i32 rows_per_band;
    i32 first_row;

    // Working rows. `grays` is the destination row made of source row `gray_source`, -1 for none.
    u8* columns;
    u8* source_grays;
    u8* wide_row;
    u8* grays;
    i32 gray_source;
    GrayRows* gray_table;
    u8 gray_tone[256];  // of a 24-bit pixel's gray
    bool tones_are_plain;
    MonoDiffusion diffusion;
};

// --- Filling a band ---

// Takes the working rows: kOk or kOutOfMemory.
ErrorCode band_rows_open(BandRun& run);
void band_rows_close(const BandRun& run);

// Makes `count` rows of the band. Rows are asked for in order, each once.
void band_fill(BandRun& run, i32 count);

// --- Drawing it ---

// Sends the band as it stands to the device. A band that memory is wanting for is not drawn.
void band_draw(const BandRun& run);

// Bytes of a palette of 3-3-2 bits, and 24-bit pixels as its indexes. Exposed for tests.
void reduce_row_332(const u8* row, u8* out, usize width);

// Pairs of colour words, dithered to the sixteen colours: `thresholds` are the eight of a matrix row.
// Exposed for tests.
void dither_row_16(const u16* words, const u8* thresholds, u8* out, usize pairs);

}  // namespace orv
