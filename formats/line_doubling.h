// Fax pages of standard resolution: twice as many dots an inch across as down.
#pragma once

#include "frame/types.h"

namespace orv
{

// 1 while a picture is read of which each decoded line is delivered twice. Set by the readers of TIFF, fax
// and PCX for each picture.
inline i32 line_doubling;

}  // namespace orv
