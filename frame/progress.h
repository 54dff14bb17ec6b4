// Progress: the application's callback and the five steps of an encoder.
#pragma once

#include "frame/types.h"

namespace orv
{

// Calls the application's callback, if one is set.
void progress_fire(i16 percent);

// The five steps share save_page_total, save_page_counter and save_percent (frame/save.h). An encoder
// runs progress_start on entry, progress_bump twice between header and rows, progress_tick behind
// each row, progress_rows_done behind the rows and progress_finish last.
struct ProgressRows {
    i32 rows_per_tick;
    i32 step;
    i32 last_tick;
};

void progress_start();
void progress_bump();
void progress_bump_capped(i32 cap);
ProgressRows progress_rows(i32 height);
void progress_tick(ProgressRows& rows, i32 row);
// The same with a limit other than 90 percent of the page's share.
void progress_tick_capped(ProgressRows& rows, i32 row, i32 cap);
void progress_rows_done();
void progress_finish();

}  // namespace orv
