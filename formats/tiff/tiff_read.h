// What the TIFF and the fax reader share.
#pragma once

#include "formats/tiff/tiff_directory.h"

namespace orv
{

// Fills the BITMAPINFOHEADER and sets line_doubling, stored_y_resolution and, for a page whose lines are
// doubled, y_resolution. kOk, or kNotSupported for a page that doubling would make too high.
ErrorCode tiff_build_header(const TiffDirectory& dir, ImageHeader& header);

}  // namespace orv
