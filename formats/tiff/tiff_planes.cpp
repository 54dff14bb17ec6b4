#include "formats/tiff/tiff_planes.h"

#include <algorithm>

#include "formats/tiff/tiff_rows.h"
#include "frame/blocks.h"

namespace orv
{

// --- The bytes of the file: rows of `width` bytes, plane behind plane ---

namespace
{

constexpr const char* kPlaneFileName = "plane.tmp";
constexpr i32 kBufferBytes = 32768;  // at least three rows

}  // namespace

// --- Parsing and checks, no pixels ---

bool tiff_has_planes(const TiffDirectory& dir)
{
    return dir.PlanarConfiguration == kPlanarSeparate && dir.SamplesPerPixel == kPlanes &&
           dir.BitsPerSample == 8;
}

ErrorCode planes_open(TiffPlanes& planes, PictureSink& sink)
{
    planes.sink = &sink;
    planes.width = sink.width;
    planes.height = sink.height;
    planes.buffer_rows = std::max(1, kBufferBytes / planes.width);
    planes.tiff_plane_file = platform::OpenFile(kPlaneFileName, &planes.made, platform::OF_CREATE);
    if (planes.tiff_plane_file < 0) {
        return kNotCreated;
    }
    planes.buffer = block_alloc(static_cast<usize>(planes.buffer_rows) * static_cast<u32>(planes.width));
    planes.row = planes.buffer;
    return planes.buffer == nullptr ? kOutOfMemory : kOk;
}

void planes_close(TiffPlanes& planes)
{
    block_free(planes.buffer);
    if (planes.tiff_plane_file >= 0) {
        platform::_lclose(planes.tiff_plane_file);
        platform::OpenFile(kPlaneFileName, &planes.made, platform::OF_DELETE);
    }
}

// --- Rows ---

namespace
{

bool seek_row(const TiffPlanes& planes, i32 row_number)
{
    const i32 position = row_number * planes.width;  // at most 3 * 32767 * 10921
    return platform::_llseek(planes.tiff_plane_file, position, kFromStart) == position;
}

void flush(TiffPlanes& planes)
{
    const i32 bytes = planes.buffered * planes.width;
    if (bytes > 0 &&
        (!seek_row(planes, planes.first_buffered) ||
         platform::_lwrite(planes.tiff_plane_file, planes.buffer, static_cast<u32>(bytes)) != bytes)) {
        planes.failed = true;
    }
    planes.buffered = 0;
    planes.row = planes.buffer;
}

bool has_come(const TiffPlanes& planes, i32 plane, i32 row)
{
    return (planes.came[plane][row / 64] >> (row % 64) & 1) != 0;
}

bool all_have_come(const TiffPlanes& planes, i32 row)
{
    return has_come(planes, 0, row) && has_come(planes, 1, row) && has_come(planes, 2, row);
}

// The rows of three planes wait in the image's row, one behind the other, until all have come. Blue is the last
// plane and a pixel's first byte.
void put_in_image(TiffPlanes& planes, i32 plane, i32 row, bool was_whole)
{
    const usize width = static_cast<usize>(planes.width);
    u8* const place = row_lend(*planes.sink, row);
    if (was_whole) {
        row_spread({planes.row, width}, place + (kPlanes - 1 - plane));
        return;
    }
    std::memcpy(place + static_cast<usize>(plane) * width, planes.row, width);
    if (all_have_come(planes, row)) {
        std::memcpy(planes.buffer, place, 3 * width);
        row_interleave(planes.buffer + 2 * width, planes.buffer + width, planes.buffer, place, width);
        row_done(*planes.sink, row);
    }
}

// Keeps the row for the file. Those behind each other go together.
void put_in_file(TiffPlanes& planes, i32 row_number)
{
    if (planes.buffered == 0) {
        planes.first_buffered = row_number;
    } else if (row_number != planes.first_buffered + planes.buffered) {
        // It goes alone.
        const i32 bytes = planes.buffered * planes.width;
        flush(planes);
        std::memmove(planes.buffer, planes.buffer + bytes, static_cast<usize>(planes.width));
        planes.first_buffered = row_number;
    }
    ++planes.buffered;
    planes.row += planes.width;
    if (planes.buffered == planes.buffer_rows) {
        flush(planes);
    }
}

// Reads `count` rows of a plane: how many came.
i32 read_rows(const TiffPlanes& planes, i32 row_number, i32 count, u8* rows)
{
    if (!seek_row(planes, row_number)) {
        return 0;
    }
    const u32 bytes = static_cast<u32>(count * planes.width);
    return platform::_lread(planes.tiff_plane_file, rows, bytes) / planes.width;
}

void deliver_block(TiffPlanes& planes, i32 first, i32 count)
{
    PictureSink& sink = *planes.sink;
    const i32 block = count * planes.width;
    i32 whole = count;
    for (i32 plane = 0; plane < kPlanes; ++plane) {
        const i32 came = read_rows(planes, plane * planes.height + first, count, planes.buffer + plane * block);
        whole = std::min(whole, came);
    }
    for (i32 i = 0; i < whole; ++i) {
        if (!all_have_come(planes, first + i)) {
            continue;
        }
        const u8* const rows = planes.buffer + i * planes.width;
        row_interleave(rows + 2 * block, rows + block, rows, row_lend(sink, first + i),
                       static_cast<usize>(planes.width));
        row_done(sink, first + i);
    }
}

}  // namespace

void planes_put(TiffPlanes& planes, i32 row_number)
{
    const i32 plane = row_number / planes.height;
    const i32 row = row_number % planes.height;
    const bool was_whole = all_have_come(planes, row);
    planes.came[plane][row / 64] |= u64{1} << (row % 64);
    if (planes.sink->image != nullptr) {
        put_in_image(planes, plane, row, was_whole);
    } else {
        put_in_file(planes, row_number);
    }
}

ErrorCode planes_deliver(TiffPlanes& planes)
{
    PictureSink& sink = *planes.sink;
    if (sink.image != nullptr) {
        return kOk;
    }
    flush(planes);
    if (planes.failed) {
        return kShortWrite;
    }
    const i32 at_once = planes.buffer_rows / kPlanes;
    for (i32 first = 0; first < planes.height; first += at_once) {
        deliver_block(planes, first, std::min(at_once, planes.height - first));
    }
    return kOk;
}

}  // namespace orv
