// The progress of a page that counts up to a limit of its own: nine tenths of the way from where the job
// stands to the page's share of it.
#pragma once

#include "frame/progress.h"

namespace orv
{

struct TiffProgress {
    bool silent;  // nothing is counted within the page, and each page counts as a job
    i32 limit;    // percent
    ProgressRows rows;
};

enum class Reporting : u8 { On, Off };

TiffProgress tiff_progress_start(i32 height, Reporting reporting);
void tiff_progress_bump(const TiffProgress& progress);
void tiff_progress_tick(TiffProgress& progress, i32 row);
void tiff_progress_rows_done(const TiffProgress& progress);
void tiff_progress_finish(const TiffProgress& progress);

}  // namespace orv
