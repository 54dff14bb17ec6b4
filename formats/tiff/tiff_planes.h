// Three separate planes of 8 bits, put together to pixels. In an image they are put straight into it; for a
// streaming caller they wait in a file until all have arrived.
#pragma once

#include "formats/tiff/tiff_directory.h"
#include "frame/picture_sink.h"
#include "platform/files.h"

namespace orv
{

inline constexpr i32 kPlanes = 3;

struct TiffPlanes {
    PictureSink* sink;
    i32 width;
    i32 height;
    u8* row;                   // the place of the row at hand: tiff_row_place gives it
    int tiff_plane_file = -1;  // "plane.tmp"
    platform::OFSTRUCT made;   // identifies it
    u8* buffer;                // rows on their way to the file
    i32 buffered;              // how many
    i32 buffer_rows;           // how many it holds
    i32 first_buffered;        // number of the first
    bool failed;               // the file does not hold what was put
    u64 came[kPlanes][kRowSetWords];
};

// Planes are put together for three samples of 8 bits; other planar pictures are read as they lie.
bool tiff_has_planes(const TiffDirectory& dir);

// Makes "plane.tmp" in the current directory, whoever gets the rows. kOk, kOutOfMemory, or kNotCreated where
// that fails or where something of the name exists: it is somebody else's.
ErrorCode planes_open(TiffPlanes& planes, PictureSink& sink);

// Takes the row in planes.row as number `row_number` of the planes laid end to end.
void planes_put(TiffPlanes& planes, i32 row_number);

// Delivers the rows that all three planes have and that were not put in the image. kOk, kOutOfMemory, or
// kShortWrite where the file could not take them.
ErrorCode planes_deliver(TiffPlanes& planes);

// Removes the file and releases what planes_open took, also behind a failure.
void planes_close(TiffPlanes& planes);

}  // namespace orv
