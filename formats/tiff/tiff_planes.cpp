#include "formats/tiff/tiff_planes.h"

#include "frame/scratch.h"
#include "platform/files.h"

namespace orv
{

namespace
{

constexpr const char* kPlaneFileName = "plane.tmp";

// The file and what identifies it, from plane_file_create to plane_file_remove.
int tiff_plane_file = -1;
platform::OFSTRUCT plane_file_made;

// Reads row `row_number` of the planes laid end to end. False where the file ends before it.
bool plane_row(u8* row, u32 width, i32 row_number)
{
    const i32 position = row_number * static_cast<i32>(width);
    return platform::_llseek(tiff_plane_file, position, kFromStart) == position &&
           platform::_lread(tiff_plane_file, row, width) == static_cast<i32>(width);
}

}  // namespace

bool tiff_has_planes(const TiffDirectory& dir)
{
    return dir.PlanarConfiguration == kPlanarSeparate && dir.SamplesPerPixel == 3 && dir.BitsPerSample == 8;
}

bool plane_file_create()
{
    tiff_plane_file = platform::OpenFile(kPlaneFileName, &plane_file_made, platform::OF_CREATE);
    return tiff_plane_file >= 0;
}

void plane_file_put(const u8* row, i32 row_bytes, i32 row_number)
{
    const i32 position = row_number * row_bytes;  // at most 3 * 32767 * 10921
    if (platform::_llseek(tiff_plane_file, position, kFromStart) == position) {
        platform::_lwrite(tiff_plane_file, row, static_cast<u32>(row_bytes));
    }
}

i16 plane_file_deliver(const TiffDirectory& dir)
{
    const i32 width = static_cast<i32>(dir.ImageWidth);
    const i32 height = static_cast<i32>(dir.ImageLength);
    const i16 length = tiff_row_stride(static_cast<i16>(width), 24);
    const u32 plane_bytes = static_cast<u32>(width);
    u8* planes = scratch_alloc(3 * plane_bytes);
    u8* row = planes ? scratch_alloc(static_cast<u32>(length)) : nullptr;
    if (!row) {
        scratch_free_all();
        return kOutOfMemory;
    }
    u8* red = planes;
    u8* green = red + plane_bytes;
    u8* blue = green + plane_bytes;
    for (i32 y = 0; y < height; ++y) {
        if (!plane_row(red, plane_bytes, y) || !plane_row(green, plane_bytes, height + y) ||
            !plane_row(blue, plane_bytes, 2 * height + y)) {
            break;
        }
        for (i32 x = 0; x < width; ++x) {
            row[3 * x] = blue[x];
            row[3 * x + 1] = green[x];
            row[3 * x + 2] = red[x];
        }
        row_give(*tiff_sink, y, row);
    }
    scratch_free(row);
    scratch_free(planes);
    return kOk;
}

void plane_file_remove()
{
    platform::_lclose(tiff_plane_file);
    platform::OpenFile(kPlaneFileName, &plane_file_made, platform::OF_DELETE);
    tiff_plane_file = -1;
}

}  // namespace orv
