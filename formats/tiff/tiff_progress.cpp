#include "formats/tiff/tiff_progress.h"

#include <algorithm>

#include "frame/save.h"

namespace orv
{
namespace
{

void set_percent(i32 percent)
{
    save_percent = static_cast<i16>(percent);
}

}  // namespace

TiffProgress tiff_progress_start(i32 height, Reporting reporting)
{
    save_page_counter = static_cast<i16>(save_page_counter + 1);
    if (save_page_counter == 1) {
        set_percent(0);
    }
    const i32 share = save_page_counter * 100 / page_total();
    const TiffProgress progress = {.silent = reporting == Reporting::Off,
                                   .limit = save_percent + (share - save_percent) * 90 / 100,
                                   .rows = progress_rows(height)};
    set_percent(save_percent + 1);
    if (!progress.silent) {
        set_percent(std::min<i32>(save_percent, progress.limit));
        progress_fire(save_percent);
    }
    return progress;
}

void tiff_progress_bump(const TiffProgress& progress)
{
    if (!progress.silent) {
        progress_bump_capped(progress.limit);
    }
}

void tiff_progress_tick(TiffProgress& progress, i32 row)
{
    if (!progress.silent) {
        progress_tick_capped(progress.rows, row, progress.limit);
    }
}

void tiff_progress_rows_done(const TiffProgress& progress)
{
    if (!progress.silent) {
        set_percent(std::max<i32>(save_percent, progress.limit));
        progress_fire(save_percent);
    }
}

void tiff_progress_finish(const TiffProgress& progress)
{
    const bool last = save_page_counter == page_total();
    if (!progress.silent) {
        set_percent(save_page_counter * 100 / page_total());
        progress_fire(last ? i16{100} : save_percent);
    }
    if (last || progress.silent) {
        set_percent(0);
        save_page_counter = 0;
    }
}

}  // namespace orv
