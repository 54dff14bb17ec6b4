#include "formats/tiff/tiff_strips.h"

#include <algorithm>

#include "formats/tiff/fax.h"
#include "formats/tiff/tiff_planes.h"
#include "formats/tiff/tiff_rows.h"
#include "frame/blocks.h"
#include "frame/chunk_reader.h"
#include "frame/scratch.h"

namespace orv
{

// ---- the bytes of the format
//
// Compression 1      rows one behind the other, each from a byte boundary
// Compression 32773  PackBits; each row is packed on its own (TIFF 6.0, section 9):
//                    0..127    that many + 1 bytes follow as they are
//                    128       nothing
//                    129..255  the next byte 257 - n times

// ---- records and constants

namespace
{

constexpr u32 kRowSlack = 160;  // behind a row's room: what the longest PackBits code can overshoot by

}  // namespace

// ---- parsing and checks, no pixels

namespace
{

// Whether the entry names one strip by itself, whatever strip is asked for.
bool one_strip_entry(const TiffEntry& entry)
{
    return (entry.type == kTiffLong && entry.count == 1) || (entry.type == kTiffByte && entry.count <= 4) ||
           (entry.type == kTiffShort && entry.count <= 1);
}

// Position of a strip. Tables of SHORT are honoured; whatever else is taken for a table of LONG.
bool strip_position(i32 strip, u32& position)
{
    const TiffEntry& entry = tiff_strip_entry;
    const u32 index = static_cast<u32>(strip);
    if (one_strip_entry(entry)) {
        position = entry.type == kTiffShort ? entry.value & 0xFFFF : entry.value;
        return true;
    }
    if (entry.type == kTiffShort && entry.count == 2) {
        position = index == 0 ? entry.value & 0xFFFF : entry.value >> 16;
        return index < 2;
    }
    const u16 size = entry.type == kTiffShort ? 2 : 4;
    u8 bytes[4];
    if (!tiff_seek(entry.value + size * index) || !stream_read_exact(tiff_stream, bytes, size)) {
        return false;
    }
    position = size == 2 ? tiff_u16(bytes) : tiff_u32(bytes);
    return true;
}

}  // namespace

bool tiff_seek_strip(StreamHandle stream, i32 strip, u32& position)
{
    if (fax_file_open) {
        return true;
    }
    return strip_position(strip, position) && stream_seek_to(stream, u64{position} + tiff_base_offset);
}

namespace
{

bool is_complemented(const TiffDirectory& dir)
{
    const u32 depth = dir.BitsPerSample * dir.SamplesPerPixel;
    return dir.Photometric == kWhiteIsZero &&
           (dir.BitsPerSample == 1 || dir.BitsPerSample == 4 || depth == 8 || depth == 24);
}

// The length of rows that tiff_prepare_row would leave as they are, else 0.
i16 plain_length(const TiffDirectory& dir)
{
    if (is_complemented(dir) || dir.Predictor == kPredictorHorizontal || dir.SamplesPerPixel >= 3) {
        return 0;
    }
    return tiff_row_stride(static_cast<i16>(dir.ImageWidth),
                           static_cast<i16>(dir.BitsPerSample * dir.SamplesPerPixel));
}

}  // namespace

StripWalk strip_walk(const TiffDirectory& dir, StreamHandle stream)
{
    const bool planes = tiff_has_planes(dir);
    const i32 height = static_cast<i32>(dir.ImageLength);
    const bool one_strip = (dir.RowsPerStrip & 0xFFFF) == 0 || dir.RowsPerStrip >= dir.ImageLength;
    return {.stream = stream,
            .row_bytes = planes ? static_cast<i32>(dir.ImageWidth) : tiff_row_bytes(dir),
            .plane_height = height,
            .rows_per_strip = one_strip ? height : static_cast<i32>(dir.RowsPerStrip),
            .planes = planes ? 3 : 1,
            .plain_length = plain_length(dir),
            .first_row = 0,
            .rows = 0,
            .end_row = 0,
            .bytes_used = 0,
            .rows_put = 0};
}

namespace
{

// Strips may overlap, and may hold more than their rows, which later strips then put again. What that
// costs is kept in proportion to the data that they span and to the picture: past a first limit a strip
// puts its own rows alone, past a second one none is decoded.
enum class Budget { Left, OwnRows, Spent };

Budget budget_of(const StripWalk& walk, i64 data_end)
{
    constexpr i64 kAlways = 0x100000;  // bytes that any picture may cost
    const i64 picture = static_cast<i64>(walk.plane_height) * walk.planes * walk.row_bytes;
    const i64 bytes = 4 * data_end + picture + kAlways;
    if (walk.bytes_used > 2 * bytes) {
        return Budget::Spent;
    }
    const bool over = walk.bytes_used > bytes || walk.rows_put * walk.row_bytes > 4 * picture + kAlways;
    return over ? Budget::OwnRows : Budget::Left;
}

// Seeks strip number `strip`. Planes that one entry names follow each other without a gap.
bool seek_next(const StripWalk& walk, i32 strip, i64 used, u32& position)
{
    if (walk.planes > 1 && strip > 0 && one_strip_entry(tiff_strip_entry)) {
        position += static_cast<u32>(used);
        return tiff_seek(position);
    }
    return tiff_seek_strip(walk.stream, strip, position);
}

}  // namespace

void decode_strips(StripWalk& walk, void (*decode_strip)(StripWalk& walk, void* context), void* context)
{
    u32 position = 0;
    i64 used = 0;
    i64 data_end = 0;
    i32 strip = 0;
    for (i32 plane = 0; plane < walk.planes; ++plane) {
        walk.first_row = plane * walk.plane_height;
        const i32 plane_end = walk.first_row + walk.plane_height;
        for (; walk.first_row < plane_end; walk.first_row += walk.rows, ++strip) {
            walk.rows = std::min(walk.rows_per_strip, plane_end - walk.first_row);
            const Budget budget = budget_of(walk, data_end);
            if (budget == Budget::Spent) {
                return;
            }
            walk.end_row = budget == Budget::Left ? plane_end : walk.first_row + walk.rows;
            if (seek_next(walk, strip, used, position)) {
                const i64 before = walk.bytes_used;
                decode_strip(walk, context);
                used = walk.bytes_used - before;
                data_end = std::max(data_end, position + used);
            }
        }
    }
}

// ---- rows

u32 tiff_row_room(const TiffDirectory& dir)
{
    const i16 width = static_cast<i16>(dir.ImageWidth);
    const i16 bits = static_cast<i16>(dir.BitsPerSample * dir.SamplesPerPixel);
    return static_cast<u32>(std::max<i32>(tiff_row_bytes(dir), tiff_row_stride(width, bits))) + kRowSlack;
}

i16 tiff_prepare_row(const TiffDirectory& dir, u8* row)
{
    const u32 samples = dir.SamplesPerPixel;
    const u32 depth = dir.BitsPerSample * samples;
    const i16 width = static_cast<i16>(dir.ImageWidth);
    const std::span<u8> bytes(row, static_cast<usize>(tiff_row_bytes(dir)));
    if (is_complemented(dir)) {
        row_complement(bytes);
    }
    if (dir.Predictor == kPredictorHorizontal) {
        samples == 3 ? row_add_left_pixel(bytes) : row_add_left_byte(bytes);
    }
    if (dir.Photometric == kSeparated && samples == 4 && dir.BitsPerSample == 8) {
        row_cmyk_to_bgr(bytes);
        return tiff_row_stride(width, 24);
    }
    if (samples >= 3) {
        row_swap_red_blue(bytes);
    }
    return tiff_row_stride(width, static_cast<i16>(depth));
}

void tiff_finish_row(u8* row, i16 row_number)
{
    tiff_prepare_row(tiff_directory, row);
    row_give(*tiff_sink, row_number, row);
}

void tiff_put_row(StripWalk& walk, u8* row, i32 row_number)
{
    ++walk.rows_put;
    if (walk.planes > 1) {
        plane_file_put(row, walk.row_bytes, row_number);
    } else if (walk.plain_length != 0) {
        row_give(*tiff_sink, row_number, row);
    } else {
        tiff_finish_row(row, static_cast<i16>(row_number));
    }
}

// ---- rows: uncompressed

namespace
{

struct RawContext {
    u8* block;
    i32 block_rows;
};

// True where rows of the file are no longer than those delivered, and go straight to their place.
bool rows_fit(const StripWalk& walk)
{
    return walk.planes == 1 && static_cast<u32>(walk.row_bytes) <= tiff_sink->stride;
}

// Reads and finishes the strip's rows where they belong.
void read_strip_in_place(StripWalk& walk)
{
    for (i32 i = 0; i < walk.rows; ++i) {
        const i32 number = walk.first_row + i;
        u8* const row = row_lend(*tiff_sink, number);
        const u32 got = stream_read(walk.stream, row, static_cast<u16>(walk.row_bytes));
        walk.bytes_used += static_cast<i64>(got);
        if (got < static_cast<u32>(walk.row_bytes)) {
            picture_note(*tiff_sink, kNoteDataEnded);
            return;
        }
        if (walk.plain_length == 0) {
            tiff_prepare_row(tiff_directory, row);
        }
        row_done(*tiff_sink, number);
    }
}

// Rows are finished where they were read.
void decode_raw_strip(StripWalk& walk, void* context)
{
    const RawContext& raw = *static_cast<RawContext*>(context);
    if (rows_fit(walk)) {
        read_strip_in_place(walk);
        return;
    }
    const i32 end = walk.first_row + walk.rows;
    for (i32 row = walk.first_row; row < end;) {
        const i32 wanted = std::min(raw.block_rows, end - row);
        const u16 count = static_cast<u16>(wanted * walk.row_bytes);
        const u32 got = stream_read(walk.stream, raw.block, count);
        walk.bytes_used += got;
        const i32 whole = static_cast<i32>(got) / walk.row_bytes;
        for (i32 i = 0; i < whole; ++i) {
            tiff_put_row(walk, raw.block + i * walk.row_bytes, row + i);
        }
        if (whole < wanted) {
            return;
        }
        row += wanted;
    }
}

}  // namespace

i16 tiff_decode_raw(const TiffDirectory& dir, StreamHandle stream)
{
    StripWalk walk = strip_walk(dir, stream);
    RawContext raw = {.block = nullptr,
                      .block_rows = std::max(1, static_cast<i32>(kChunkBytes) / walk.row_bytes)};
    const u32 bytes = static_cast<u32>(raw.block_rows * walk.row_bytes) + tiff_row_room(dir);
    raw.block = block_alloc(bytes);
    if (!raw.block) {
        return kOutOfMemory;
    }
    decode_strips(walk, decode_raw_strip, &raw);
    block_free(raw.block);
    return kOk;
}

// ---- rows: PackBits

namespace
{

struct PackBitsContext {
    u8* row;  // tiff_row_room bytes
};

// Codes are unpacked without a look at the bounds while a whole one is in the chunk: at most 129 bytes,
// which give at most 128. The row block has slack for the last.
constexpr u32 kLongestCode = 129;
constexpr u32 kBlock = 16;

// Unpacks codes until the row is full or the chunk nearly empty: the bytes done.
u32 packbits_codes(ChunkReader& in, u8* row, u32 done, u32 row_bytes)
{
    const u8* from = in.buffer + in.pos;
    const u8* const last = in.buffer + in.fill - kLongestCode;
    while (done < row_bytes && from <= last) {
        const u32 code = *from++;
        if (code == 128) [[unlikely]] {
            continue;
        }
        const bool run = code > 128;
        const u32 count = run ? 257 - code : code + 1;
        // Whole blocks of the run's byte or of what follows: the first does for most codes.
        const u64 repeated = u64{*from} * 0x0101010101010101U;
        for (u32 i = 0;;) {
            u64 words[2];
            std::memcpy(words, from + i, kBlock);
            words[0] = run ? repeated : words[0];
            words[1] = run ? repeated : words[1];
            std::memcpy(row + done + i, words, kBlock);
            i += kBlock;
            if (i >= count) [[likely]] {
                break;
            }
        }
        from += run ? 1 : count;
        done += count;
    }
    in.pos = static_cast<u32>(from - in.buffer);
    return done;
}

// Unpacks one of the last codes of the data. False where it does not give what the row lacks.
bool packbits_last_code(ChunkReader& in, u8* row, u32& done, u32 row_bytes)
{
    if (!chunk_ensure(in, 1)) {
        return false;
    }
    const u32 code = in.buffer[in.pos++];
    if (code == 128) {
        return true;
    }
    const u32 count = code < 128 ? code + 1 : 257 - code;
    const u32 wanted = std::min(count, row_bytes - done);
    if (!chunk_ensure(in, code < 128 ? wanted : 1)) {
        return false;
    }
    if (code < 128) {
        std::memcpy(row + done, in.buffer + in.pos, wanted);
        in.pos += std::min(count, chunk_available(in));
    } else {
        std::memset(row + done, in.buffer[in.pos++], wanted);
    }
    done += count;
    return true;
}

// Unpacks one row. False at the end of data.
bool packbits_row(StripWalk& walk, ChunkReader& in, u8* row)
{
    const u32 row_bytes = static_cast<u32>(walk.row_bytes);
    for (u32 done = 0; done < row_bytes;) {
        if (chunk_available(in) < kLongestCode && !in.unbounded) {
            walk.bytes_used += in.pos;
            chunk_refill(in, kLongestCode);
        }
        if (chunk_available(in) >= kLongestCode) [[likely]] {
            done = packbits_codes(in, row, done, row_bytes);
        } else if (!packbits_last_code(in, row, done, row_bytes)) {
            return false;
        }
    }
    return true;
}

void decode_packbits_strip(StripWalk& walk, void* context)
{
    const PackBitsContext& packbits = *static_cast<PackBitsContext*>(context);
    ChunkReader in = chunk_open(walk.stream);
    for (i32 i = 0; i < walk.rows && packbits_row(walk, in, packbits.row); ++i) {
        tiff_put_row(walk, packbits.row, walk.first_row + i);
    }
    walk.bytes_used += in.pos;
}

}  // namespace

i16 tiff_decode_packbits(const TiffDirectory& dir, StreamHandle stream)
{
    StripWalk walk = strip_walk(dir, stream);
    PackBitsContext packbits = {.row = scratch_alloc(tiff_row_room(dir))};
    if (!packbits.row) {
        return kOutOfMemory;
    }
    decode_strips(walk, decode_packbits_strip, &packbits);
    scratch_free(packbits.row);
    return kOk;
}

}  // namespace orv
