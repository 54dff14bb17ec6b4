#include "formats/tiff/tiff_strips.h"

#include <algorithm>

#include "formats/tiff/tiff_rows.h"
#include "frame/blocks.h"

namespace orv
{

// --- The bytes of the format: StripOffsets is a table of LONG or SHORT, or the one offset itself ---

// --- Parsing and checks, no pixels ---

i16 tiff_row_stride(i16 width, i16 bits)
{
    return delivered_row_bytes(width, bits);
}

i32 tiff_row_bytes(const TiffDirectory& dir)
{
    return static_cast<i32>((dir.ImageWidth * dir.BitsPerSample * dir.SamplesPerPixel + 7) / 8);
}

namespace
{

// Whether the entry names one strip by itself, whatever strip is asked for.
bool one_strip_entry(const TiffEntry& entry)
{
    return (entry.type == kTiffLong && entry.count == 1) || (entry.type == kTiffByte && entry.count <= 4) ||
           (entry.type == kTiffShort && entry.count <= 1);
}

// Reads positions from the one of strip `index` on. Tables of SHORT are honoured; whatever else is taken for
// a table of LONG, and the strip for one of it even behind its stated end.
bool read_table(StripWalk& walk, u32 index)
{
    StripTable& table = walk.table;
    const TiffEntry& entry = walk.dir.tiff_strip_entry;
    const u32 size = entry.type == kTiffShort ? 2 : 4;
    const u32 stated = index < entry.count ? entry.count - index : 1;
    u8 bytes[sizeof table.positions];
    const u32 wanted = std::min(stated, kStripTable);
    if (!tiff_seek(walk.file, entry.value + size * index)) {
        return false;
    }
    table.first = index;
    const u32 came = stream_read(walk.file.tiff_stream, bytes, static_cast<u16>(wanted * size));
    table.count = came / size;
    for (u32 i = 0; i < table.count; ++i) {
        table.positions[i] =
            size == 2 ? tiff_u16(walk.file, bytes + 2 * i) : tiff_u32(walk.file, bytes + 4 * i);
    }
    return table.count > 0;
}

bool strip_position(StripWalk& walk, i32 strip, u32& position)
{
    const TiffEntry& entry = walk.dir.tiff_strip_entry;
    const u32 index = static_cast<u32>(strip);
    if (one_strip_entry(entry)) {
        position = entry.type == kTiffShort ? entry.value & 0xFFFF : entry.value;
        return true;
    }
    if (entry.type == kTiffShort && entry.count == 2) {
        position = index == 0 ? entry.value & 0xFFFF : entry.value >> 16;
        return index < 2;
    }
    const StripTable& table = walk.table;
    if (index - table.first >= table.count && !read_table(walk, index)) {
        return false;
    }
    position = table.positions[index - table.first];
    return true;
}

}  // namespace

bool tiff_seek_strip(StripWalk& walk, i32 strip, u32& position)
{
    if (walk.fax_file_open) {
        return true;
    }
    return strip_position(walk, strip, position) && tiff_seek(walk.file, position);
}

namespace
{

TiffFinish finish_of(const TiffDirectory& dir)
{
    const u32 samples = dir.SamplesPerPixel;
    const u32 depth = dir.BitsPerSample * samples;
    const bool complement = dir.Photometric == kWhiteIsZero &&
                            (dir.BitsPerSample == 1 || dir.BitsPerSample == 4 || depth == 8 || depth == 24);
    const bool predictor = dir.Predictor == kPredictorHorizontal;
    const bool cmyk = dir.Photometric == kSeparated && samples == 4 && dir.BitsPerSample == 8;
    return {.complement = complement,
            .add_left_pixel = predictor && samples == 3,
            .add_left_byte = predictor && samples != 3,
            .swap_red_blue = samples >= 3 && !cmyk,
            .cmyk = cmyk};
}

}  // namespace

ErrorCode strip_walk_open(StripWalk& walk)
{
    const TiffDirectory& dir = walk.dir;
    const bool one_strip = (dir.RowsPerStrip & 0xFFFF) == 0 || dir.RowsPerStrip >= dir.ImageLength;
    const i16 width = static_cast<i16>(dir.ImageWidth);
    walk.plane_height = static_cast<i32>(dir.ImageLength);
    walk.plane_count = walk.planes != nullptr ? kPlanes : 1;
    walk.row_bytes = walk.planes != nullptr ? width : tiff_row_bytes(dir);
    walk.rows_per_strip = one_strip ? walk.plane_height : static_cast<i32>(dir.RowsPerStrip);
    walk.finish = finish_of(dir);
    const TiffFinish& todo = walk.finish;
    walk.finishes =
        todo.complement || todo.add_left_pixel || todo.add_left_byte || todo.swap_red_blue || todo.cmyk;
    // Four samples are counted by one byte a pixel, but where colours are made of them.
    const u32 depth = walk.finish.cmyk ? 24 : dir.BitsPerSample * dir.SamplesPerPixel;
    walk.length = tiff_row_stride(width, static_cast<i16>(depth));
    walk.in_place = dir.BitsPerSample * dir.SamplesPerPixel <= 24 && walk.row_bytes <= walk.length;
    if (walk.in_place || walk.planes != nullptr) {
        return kOk;
    }
    if (walk.sink.image == nullptr) {
        walk.sink.stride = static_cast<u32>(walk.length);
    }
    walk.block = block_alloc(static_cast<usize>(std::max(walk.row_bytes, walk.length)));
    return walk.block == nullptr ? kOutOfMemory : kOk;
}

void strip_walk_close(StripWalk& walk)
{
    block_free(walk.block);
    walk.block = nullptr;
}

namespace
{

// Strips may overlap, and may hold more than their rows, which later strips then put again. What that
// costs is kept in proportion to the data that they span and to the picture: as many surplus rows are put as
// the picture has rows, then each strip puts its own alone; past a limit of data none is decoded.
bool data_is_spent(const StripWalk& walk, i64 data_end)
{
    constexpr i64 kAlways = 0x40000;  // bytes that any picture may cost
    const i64 picture = i64{walk.plane_height} * walk.plane_count * walk.row_bytes;
    return walk.bytes_used > 8 * data_end + 4 * picture + kAlways;
}

i32 surplus_left(const StripWalk& walk)
{
    return std::max(0, walk.plane_height * walk.plane_count - (walk.rows_put - walk.first_row));
}

// Seeks strip number `strip`. Planes that one entry names follow each other without a gap.
bool seek_next(StripWalk& walk, i32 strip, i64 used, u32& position)
{
    if (walk.plane_count > 1 && strip > 0 && one_strip_entry(walk.dir.tiff_strip_entry)) {
        position += static_cast<u32>(used);
        return tiff_seek(walk.file, position);
    }
    return tiff_seek_strip(walk, strip, position);
}

}  // namespace

void decode_strips(StripWalk& walk, void (*decode_strip)(StripWalk& walk, void* context), void* context)
{
    u32 position = 0;
    i64 used = 0;
    i64 data_end = 0;
    i32 strip = 0;
    for (i32 plane = 0; plane < walk.plane_count; ++plane) {
        walk.first_row = plane * walk.plane_height;
        const i32 plane_end = walk.first_row + walk.plane_height;
        for (; walk.first_row < plane_end; walk.first_row += walk.rows, ++strip) {
            walk.rows = std::min(walk.rows_per_strip, plane_end - walk.first_row);
            if (data_is_spent(walk, data_end)) {
                picture_note(walk.sink, "the strips overlap");
                return;
            }
            walk.end_row = std::min(plane_end, walk.first_row + walk.rows + surplus_left(walk));
            if (!seek_next(walk, strip, used, position)) {
                picture_note(walk.sink, "a strip lies beyond the file");
                continue;
            }
            const i64 before = walk.bytes_used;
            decode_strip(walk, context);
            used = walk.bytes_used - before;
            data_end = std::max(data_end, position + used);
        }
    }
}

// --- Rows ---

u8* tiff_row_place(StripWalk& walk, i32 row_number)
{
    if (walk.in_place && walk.planes == nullptr) [[likely]] {
        return row_lend(walk.sink, row_number);
    }
    return walk.planes != nullptr ? walk.planes->row : walk.block;
}

namespace
{

void finish(const TiffFinish& finish, std::span<u8> row)
{
    if (finish.complement) {
        row_complement(row);
    }
    if (finish.add_left_pixel) {
        row_add_left_pixel(row);
    } else if (finish.add_left_byte) {
        row_add_left_byte(row);
    }
    if (finish.cmyk) {
        row_cmyk_to_bgr(row);
    } else if (finish.swap_red_blue) {
        row_swap_red_blue(row);
    }
}

// Delivers the row in the block: `length` bytes of it, which may be fewer than the image's row has.
void deliver_block(StripWalk& walk, i32 row_number)
{
    PictureSink& sink = walk.sink;
    if (sink.image == nullptr) {
        row_give(sink, row_number, walk.block);
        return;
    }
    u8* const place = row_lend(sink, row_number);
    const u32 count = std::min(static_cast<u32>(walk.length), sink.stride);
    std::memcpy(place, walk.block, count);
    std::memset(place + count, 0, sink.stride - count);
    row_done(sink, row_number);
}

}  // namespace

void tiff_finish_row(StripWalk& walk, i32 row_number, RowState state)
{
    ++walk.rows_put;
    if (walk.planes != nullptr) {
        planes_put(*walk.planes, row_number);
        return;
    }
    if (walk.finishes) {
        finish(walk.finish, {tiff_row_place(walk, row_number), static_cast<usize>(walk.row_bytes)});
    }
    if (walk.in_place) {
        row_done(walk.sink, row_number, state);
    } else {
        deliver_block(walk, row_number);
    }
}

void tiff_put_row(StripWalk& walk, const u8* row, i32 row_number)
{
    std::memcpy(tiff_row_place(walk, row_number), row, static_cast<usize>(walk.row_bytes));
    tiff_finish_row(walk, row_number);
}

}  // namespace orv
