// How formats are read and written where there are two ways of it: set by orv_set_reading and orv_set_writing,
// read by the formats that the ways concern.
#pragma once

#include "orvimg32/extra.h"

namespace orv
{

extern OrvReading orv_reading;
extern OrvWriting orv_writing;

}  // namespace orv
