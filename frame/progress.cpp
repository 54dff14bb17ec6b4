#include "frame/progress.h"

#include <algorithm>
#include <limits>

#include "frame/api_call.h"
#include "frame/save.h"

namespace orv
{
namespace
{

// A save of one page goes to kStartSteps percent in its preparations, in kRowTicks ticks to kRowsEnd percent
// with its rows, and from there to 100. The pages of a job share the hundred percent.
constexpr i32 kStartSteps = 5;
constexpr i32 kRowTicks = 20;
constexpr i32 kTickPercent = 4;
constexpr i32 kRowsEnd = 90;
constexpr i32 kLastStep = 10;
constexpr i32 kWhole = 100;

// Set by IMG_set_callback and LibInitCallBack, read by progress_fire. Null at the start.
ProgressCallback progress_function;
void* progress_user_data;
LegacyProgressCallback legacy_progress_function;

void set_percent(i32 percent)
{
    save_percent = static_cast<i16>(percent);
}

// What `percent_of_page` of the page under way stands for in the whole job.
i32 job_percent(i32 percent_of_page)
{
    return save_page_counter * percent_of_page / page_total();
}

}  // namespace

void progress_fire(i16 percent)
{
    if (progress_function != nullptr) {
        progress_function(percent, progress_user_data);
    } else if (legacy_progress_function != nullptr) {
        legacy_progress_function(percent);
    }
}

void progress_start()
{
    save_page_counter = static_cast<i16>(save_page_counter + 1);
    if (save_page_counter == 1) {
        set_percent(0);
    }
    set_percent(save_percent + 1);
    progress_fire(save_percent);
}

void progress_bump()
{
    progress_bump_capped(std::numeric_limits<i16>::max());
}

void progress_bump_capped(i32 cap)
{
    const i32 total = page_total();
    if (total > kStartSteps) {
        if (save_page_counter <= kStartSteps) {
            set_percent(save_percent + 1);
        }
    } else {
        const i32 each = kStartSteps / total;
        set_percent(save_percent + each);
        if (each * total < kStartSteps && save_page_counter == total) {
            set_percent(save_percent + kStartSteps - each * total);
        }
    }
    set_percent(std::min<i32>(save_percent, cap));
    progress_fire(save_percent);
}

ProgressRows progress_rows(i32 height)
{
    return {.rows_per_tick = std::max(height / kRowTicks, 1),
            .step = std::max(kTickPercent / page_total(), 1),
            .last_tick = -1};
}

void progress_tick_capped(ProgressRows& rows, i32 row, i32 cap)
{
    if (row - rows.last_tick < rows.rows_per_tick) {
        return;
    }
    set_percent(std::min(save_percent + rows.step, cap));
    progress_fire(save_percent);
    rows.last_tick = row;
}

void progress_tick(ProgressRows& rows, i32 row)
{
    progress_tick_capped(rows, row, job_percent(kRowsEnd));
}

void progress_rows_done()
{
    set_percent(std::max<i32>(save_percent, job_percent(kRowsEnd)));
    if (save_page_counter == page_total() && save_percent < kRowsEnd) {
        set_percent(kRowsEnd);
    }
    progress_fire(save_percent);
}

void progress_finish()
{
    set_percent(save_percent + std::max(kLastStep / page_total(), 1));
    set_percent(std::max<i32>(save_percent, job_percent(kWhole)));
    if (save_page_counter == page_total()) {
        progress_fire(kWhole);
        set_percent(0);
        save_page_counter = 0;
    } else {
        progress_fire(save_percent);
    }
}

}  // namespace orv

void IMG_set_callback(ProgressCallback function, void* user)
{
    const orv::ApiCall call;
    orv::progress_function = function;
    orv::progress_user_data = user;
}

void LibInitCallBack(LegacyProgressCallback function)
{
    const orv::ApiCall call;
    orv::legacy_progress_function = function;
}
