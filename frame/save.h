// The save path: the contract of all encoders, the settings and the counters of a job.
#pragma once

#include "frame/errors.h"
#include "frame/picture_source.h"
#include "frame/rows.h"
#include "frame/types.h"

namespace orv
{

// An encoder of one format. `header` is the frame's own copy: it has the size, depth and palette of what is
// to be written, biSize 40, and has passed header_check. The encoder takes rows of `source`, which is open,
// and writes through a StreamWriter. It gives kOk, kNotSupported for a depth it does not take, kOutOfMemory
// or kShortWrite, and may leave scratch blocks behind.
using Encoder = i16 (*)(StreamHandle stream, ImageHeader& header, PictureSource& source);

// Written by IMG_save_bitmap, read by the encoders.
extern i16 save_page_total;       // saves in the job; read it through page_total()
extern i32 save_fine_resolution;  // PCX and T.4 TIFF: 0 asks for low vertical resolution
extern i32 save_write_rtc;        // T.4 TIFF: non-zero writes the return-to-control code
extern i32 save_report_progress;  // T.4 TIFF: 0 is silent

// Advanced by the encoders; they fall back to 0 at the end of a job's last save.
extern i16 save_page_counter;
extern i16 save_percent;

// save_page_total, at least 1.
static inline i32 page_total()
{
    return save_page_total < 1 ? 1 : save_page_total;
}

}  // namespace orv
