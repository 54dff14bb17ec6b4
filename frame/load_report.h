// What the last load of this thread could not read; orv_load_report hands it out.
#pragma once

#include "frame/types.h"

namespace orv
{

struct LoadReport {
    i32 rows;  // of the picture, 0 where the load failed ahead of them
    i32 rows_whole;
    i32 rows_repaired;
    i32 rows_missing;
    const char* reason;  // a constant text, empty where nothing is amiss
};

// Cleared at the start of each load, filled by picture_end.
extern thread_local LoadReport load_report;

}  // namespace orv
