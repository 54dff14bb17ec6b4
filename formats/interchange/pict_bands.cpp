#include "formats/interchange/pict_bands.h"

#include <algorithm>

#include "formats/bitmap/pcx_planes.h"
#include "formats/bitmap/tga_rows.h"
#include "formats/interchange/pict.h"
#include "formats/interchange/pict_packbits.h"
#include "frame/scratch.h"

namespace orv
{
namespace
{

// --- Packed rows ---

// Takes bytes behind one another and counts them.
struct RowInput {
    ChunkReader& in;
    u32 used;  // bytes of the band
};

// Unpacks a row: the bytes that came. The rest of `row` is cleared.
template <u32 kUnitBytes>
u32 row_unpack(RowInput& input, u8* row, u32 row_bytes)
{
    ChunkReader& in = input.in;
    u32 done = 0;
    while (done < row_bytes && chunk_ensure(in, 1)) {
        const u32 wanted = pict_code_bytes(in.buffer[in.pos], kUnitBytes);
        const bool whole = chunk_ensure(in, wanted);
        const u8* from = in.buffer + in.pos;
        if (whole) {
            done = pict_unpack<kUnitBytes>(from, in.buffer + in.fill, row, done, row_bytes);
        } else {
            const u32 came = *from < 128 ? std::min(chunk_available(in) - 1, row_bytes - done) : 0;
            std::memcpy(row + done, from + 1, came);
            done += came;
            from = in.buffer + in.fill;
        }
        const u32 pos = static_cast<u32>(from - in.buffer);
        input.used += pos - in.pos;
        in.pos = pos;
    }
    std::memset(row + done, 0, row_bytes - done);
    return done;
}

// Steps over the count of a row's packed bytes: the codes tell by themselves where the row ends.
bool count_skip(RowInput& input, u32 row_bytes)
{
    const u32 count_bytes = row_bytes <= kPictShortRow ? 1 : 2;
    if (!chunk_ensure(input.in, count_bytes)) {
        input.in.pos = input.in.fill;
        return false;
    }
    input.in.pos += count_bytes;
    input.used += count_bytes;
    return true;
}

RowState state_of(PictureSink& sink, bool whole)
{
    if (!whole) {
        picture_note(sink, kNoteDataEnded);
    }
    return whole ? RowState::Whole : RowState::Repaired;
}

// Opcodes of two bytes stand on even places, counted from the first byte of the rows.
void band_end(PictInput& in, const RowInput& input)
{
    if (!in.version1 && input.used % 2 != 0 && chunk_ensure(in.pict_read_buffer, 1)) {
        in.pict_read_buffer.pos += 1;
    }
}

// --- Indexed pixels ---

// Two bits a pixel to four: `count` bytes make twice as many.
void row_spread(const u8* pixels, u8* to, u32 count)
{
    for (usize at = 0; at < count; ++at) {
        const u32 four = pixels[at];
        to[at * 2] = static_cast<u8>((four >> 2 & 0x30) | (four >> 4 & 3));
        to[at * 2 + 1] = static_cast<u8>((four << 2 & 0x30) | (four & 3));
    }
}

// Fills `place`, of `stride` bytes, from a row of the file.
void indexed_row_place(const PictBand& band, const u8* row, u8* place, u32 stride)
{
    const u32 spread = band.two_bits ? 2 : 1;
    const u32 kept = std::min(band.row_bytes, stride / spread);
    if (band.two_bits) {
        row_spread(row, place, kept);
    } else {
        std::memcpy(place, row, kept);
    }
    std::memset(place + usize{kept} * spread, 0, stride - kept * spread);
}

// --- Direct pixels ---

void direct_row_place(const PictBand& band, u8* row, u32 row_bytes, u8* place, const PictureSink& sink)
{
    const u32 width = static_cast<u32>(sink.width);
    if (band.pack_type == kPictPackedPlanes) {
        pcx_merge_colours(row, row_bytes / 3, place, width);
    } else {
        swap_words(reinterpret_cast<u16*>(row), static_cast<i16>(width));
        tga_row_from_words(row, place, width);
    }
    std::memset(place + sink.row_bytes, 0, sink.stride - sink.row_bytes);
}

// Bytes that direct_row_place looks at: a row of the file, or more where that is too short for the width.
u32 direct_room(const PictBand& band, u32 row_bytes, i32 width)
{
    const u32 needed = band.pack_type == kPictPackedPlanes ? row_bytes / 3 * 2 + static_cast<u32>(width)
                                                           : static_cast<u32>(width) * 2;
    return std::max(row_bytes, needed);
}

}  // namespace

// --- The bands ---

ErrorCode pict_read_packed_band(PictInput& in, const PictBand& band, PictureSink& sink)
{
    u8* const spare = scratch_alloc(band.row_bytes + 1);
    if (spare == nullptr) {
        return kOutOfMemory;
    }
    RowInput input = {.in = in.pict_read_buffer, .used = 0};
    const bool in_place = !band.two_bits && band.row_bytes <= sink.stride;
    for (i32 i = 0; i < band.rows && count_skip(input, band.row_bytes); ++i) {
        u8* const place = row_lend(sink, band.first_row + i);
        u8* const row = in_place && place != nullptr ? place : spare;
        const u32 came = row_unpack<1>(input, row, band.row_bytes);
        if (place != nullptr && (came > 0 || band.row_bytes == 0)) {
            if (in_place) {
                std::memset(row + band.row_bytes, 0, sink.stride - band.row_bytes);
            } else {
                indexed_row_place(band, row, place, sink.stride);
            }
            row_done(sink, band.first_row + i, state_of(sink, came == band.row_bytes));
        }
    }
    band_end(in, input);
    scratch_free(spare);
    return kOk;
}

ErrorCode pict_read_direct_band(PictInput& in, const PictBand& band, PictureSink& sink)
{
    const bool words = band.pack_type == kPictPackedWords;
    const u32 row_bytes = words ? band.row_bytes : band.row_bytes * 3 / 4;
    u8* const row = scratch_alloc(direct_room(band, row_bytes, sink.width) + 1);
    if (row == nullptr) {
        return kOutOfMemory;
    }
    RowInput input = {.in = in.pict_read_buffer, .used = 0};
    for (i32 i = 0; i < band.rows && count_skip(input, row_bytes); ++i) {
        const u32 came = words ? row_unpack<2>(input, row, row_bytes) : row_unpack<1>(input, row, row_bytes);
        u8* const place = row_lend(sink, band.first_row + i);
        if (place != nullptr && (came > 0 || row_bytes == 0)) {
            direct_row_place(band, row, row_bytes, place, sink);
            row_done(sink, band.first_row + i, state_of(sink, came == row_bytes));
        }
    }
    band_end(in, input);
    scratch_free(row);
    return kOk;
}

ErrorCode pict_read_unpacked(PictInput& in, const PictBand& band, PictureSink& sink)
{
    ChunkReader& data = in.pict_read_buffer;
    for (i32 row = 0; row < sink.height; ++row) {
        const bool whole = chunk_ensure(data, band.row_bytes);
        const u32 came = whole ? band.row_bytes : chunk_available(data);
        if (came == 0) {
            break;
        }
        // Seven bytes at most: the reader takes longer rows for packed ones.
        u8 bytes[8] = {};
        std::memcpy(bytes, data.buffer + data.pos, came);
        data.pos += came;
        indexed_row_place(band, bytes, row_lend(sink, row), sink.stride);
        row_done(sink, row, state_of(sink, whole));
    }
    return kOk;
}

}  // namespace orv
