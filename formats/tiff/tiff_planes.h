// The plane file, in which the rows of three separate planes wait until all have arrived.
#pragma once

#include "formats/tiff/tiff_directory.h"

namespace orv
{

// Planes are put together for three samples of 8 bits; other planar pictures are read as they lie.
bool tiff_has_planes(const TiffDirectory& dir);

// Makes "plane.tmp" in the current directory. False where that fails, or where something of the name
// exists: it is somebody else's.
bool plane_file_create();

// Stores row `row_number` of the planes laid end to end.
void plane_file_put(const u8* row, i32 row_bytes, i32 row_number);

// Delivers the rows that all three planes have. 0, or kOutOfMemory.
i16 plane_file_deliver(const TiffDirectory& dir);

void plane_file_remove();

}  // namespace orv
