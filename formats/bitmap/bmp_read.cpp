// BMP reader: Windows and OS/2 device-independent bitmaps, plain and run-length coded.
//
// The bytes of the format, little-endian, positions counted from the picture's start:
//
//    0  14  file header; the 32-bit offset of the pixels at byte 10
//   14  40  information header, if its first 32 bits say 40: the palette is at 54, 4 bytes an entry
//   14  12  core header for any other value: 16-bit width at 4, height at 6, bit count at 10; the
//           palette is at 26, 3 bytes an entry
//
// The palette always counts 1 << bits entries. Rows come bottom row first.
#include <algorithm>

#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/chunk_reader.h"
#include "frame/load.h"
#include "frame/scratch.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u16 kFileHeaderBytes = 14;
constexpr u32 kPixelOffsetField = 10;
constexpr u32 kPaletteBehindInfo = 54;
constexpr u32 kPaletteBehindCore = 26;

enum Compression : u16 { kPlain = 0, kRle8 = 1, kRle4 = 2 };

enum Escape : u8 { kEndOfLine = 0, kEndOfBitmap = 1, kDelta = 2 };

struct BmpFile {
    u32 base;          // the picture's position in the stream
    u32 pixel_offset;  // from base
    u16 compression;
    bool core_header;
};

// Where decoded rows go: from the bottom row of the picture up.
struct RowOutput {
    RowCallback row_callback;
    void* user_data;
    i32 row;  // next row to deliver, counted from the top; negative when the picture is full
    i16 stride;
};

// --- Parsing and checks ---

i16 bmp_row_bytes(i16 width, i16 bits)
{
    i32 bytes = width;
    switch (bits) {
    case 1: bytes = (width + 7) / 8; break;
    case 4: bytes = (width + 1) / 2; break;
    case 24: bytes = width * 3; break;
    default: break;
    }
    return static_cast<i16>((bytes + 3) & ~3);
}

u16 bmp_palette_bytes(const BITMAPINFOHEADER& header)
{
    return header.biBitCount >= 16 ? u16{0} : static_cast<u16>(4U << header.biBitCount);
}

void convert_core_header(BITMAPINFOHEADER& header)
{
    u8 core[12];
    std::memcpy(core, &header, sizeof core);
    header = {};
    header.biSize = kBitmapHeaderBytes;
    header.biWidth = load_le16(core + 4);
    header.biHeight = load_le16(core + 6);
    header.biPlanes = 1;
    header.biBitCount = load_le16(core + 10);
}

// Reads file and information header. What did not come counts as zero and so has no size.
BmpFile read_headers(StreamHandle stream, u32 offset_or_page, BITMAPINFOHEADER& header)
{
    BmpFile file = {};
    file.base = seek_to_picture(offset_or_page, stream);
    u8 file_header[kFileHeaderBytes] = {};
    stream_read(stream, file_header, kFileHeaderBytes);
    file.pixel_offset = load_le32(file_header + kPixelOffsetField);
    stream_read(stream, &header, kBitmapHeaderBytes);
    file.core_header = header.biSize != kBitmapHeaderBytes;
    if (file.core_header) {
        convert_core_header(header);
    }
    file.compression = static_cast<u16>(header.biCompression);
    header.biCompression = 0;
    header.biClrUsed = 0;
    return file;
}

ErrorCode check_headers(BmpFile const& file, BITMAPINFOHEADER& header)
{
    ErrorCode const checked = header_check(header);
    if (checked != kOk) {
        return checked;
    }
    if ((file.compression == kRle8 && header.biBitCount != 8) ||
        (file.compression == kRle4 && header.biBitCount != 4)) {
        return kBadData;
    }
    if (file.core_header) {
        i16 const row_bytes =
            bmp_row_bytes(static_cast<i16>(header.biWidth), static_cast<i16>(header.biBitCount));
        header.biSizeImage = static_cast<u32>(row_bytes * header.biHeight);
    }
    return kOk;
}

// Reads the palette; entries that the file does not give stay black.
void read_palette(StreamHandle stream, BmpFile const& file, ImageHeader& header)
{
    u32 const header_end = file.core_header ? kPaletteBehindCore : kPaletteBehindInfo;
    u16 const bytes = bmp_palette_bytes(header.info);
    if (bytes == 0 || !stream_seek_to(stream, u64{file.base} + header_end)) {
        return;
    }
    if (!file.core_header) {
        stream_read(stream, header.palette, bytes);
        return;
    }
    u32 const entries = bytes / 4U;
    u8 triples[256 * 3] = {};
    stream_read(stream, triples, static_cast<u16>(entries * 3));
    for (u32 i = 0; i < entries; ++i) {
        header.palette[i] = {triples[i * 3], triples[i * 3 + 1], triples[i * 3 + 2], 0};
    }
}

// --- Rows ---

void deliver(RowOutput& out, const u8* row)
{
    if (out.row >= 0) {
        out.row_callback(row, out.user_data, static_cast<i16>(out.row), out.stride);
        --out.row;
    }
}

// The file's rows are the image's, in the same order: they go straight to their place.
void read_rows_in_place(StreamHandle stream, std::span<u8> rows, i16 stride)
{
    usize const came = stream_read_all(stream, rows.data(), rows.size());
    usize const cut_row = came % static_cast<usize>(stride);
    std::memset(rows.data() + (came - cut_row), 0, cut_row);
}

i16 read_plain_rows(StreamHandle stream, RowOutput& out)
{
    std::span<u8> const rows = frame_image_rows(out.row_callback);
    if (!rows.empty()) {
        read_rows_in_place(stream, rows, out.stride);
        return kReaderDone;
    }
    u32 const stride = static_cast<u32>(out.stride);
    u32 const rows_per_chunk = std::max<u32>(kChunkBytes / stride, 1);
    u8* const chunk = scratch_alloc(std::max<u32>(kChunkBytes, stride));
    if (chunk == nullptr) {
        return kOutOfMemory;
    }
    while (out.row >= 0) {
        u32 const wanted = rows_per_chunk * stride;
        u32 const came = stream_read(stream, chunk, static_cast<u16>(wanted));
        for (u32 at = 0; at + stride <= came; at += stride) {
            deliver(out, chunk + at);
        }
        if (came < wanted) {
            break;
        }
    }
    scratch_free(chunk);
    return kReaderDone;
}

// A row under construction. Positions behind the width are counted and store nothing.
struct RunRow {
    u8* pixels;
    u32 width;
    u64 col;
};

// How many of `count` pixels from the row's position on are inside the width.
u32 pixels_inside(RunRow const& row, u32 count)
{
    return row.col >= row.width ? 0 : std::min(count, row.width - static_cast<u32>(row.col));
}

// One escape of the 8-bit coding; the two bytes 0, e have been taken. False at the end of the picture
// or of the data.
bool rle8_escape(ChunkReader& in, RunRow& row, RowOutput& out, u32 e)
{
    if (e == kEndOfLine) {
        deliver(out, row.pixels);
        row.col = 0;
        return true;
    }
    if (e == kEndOfBitmap) {
        return false;
    }
    if (e == kDelta) {
        if (!chunk_ensure(in, 2)) {
            return false;
        }
        row.col += in.buffer[in.pos];
        for (u32 dy = in.buffer[in.pos + 1]; dy > 0 && out.row >= 0; --dy) {
            deliver(out, row.pixels);
        }
        in.pos += 2;
        return true;
    }
    if (!chunk_ensure(in, e)) {
        return false;
    }
    std::memcpy(row.pixels + std::min<u64>(row.col, row.width), in.buffer + in.pos, pixels_inside(row, e));
    row.col += e;
    in.pos += e;
    // Codes start at even positions. The pad byte may be missing at the end of the data.
    in.pos += (e & 1) != 0 && chunk_ensure(in, 1) ? 1 : 0;
    return true;
}

void decode_rle8(ChunkReader& in, RunRow& row, RowOutput& out)
{
    while (out.row >= 0 && chunk_ensure(in, 2)) {
        u32 const c = in.buffer[in.pos];
        u8 const v = in.buffer[in.pos + 1];
        in.pos += 2;
        if (c != 0) {
            std::memset(row.pixels + std::min<u64>(row.col, row.width), v, pixels_inside(row, c));
            row.col += c;
        } else if (!rle8_escape(in, row, out, v)) {
            return;
        }
    }
}

// Stores pixel `i` of a run, counted from 0, of a value byte: the high nibble on even i, the low one on
// odd i. A pixel in a byte's high half clears the low one.
void rle4_store(RunRow& row, u32 i, u8 v)
{
    if (row.col < row.width) {
        u8& byte = row.pixels[row.col >> 1];
        u8 const nibble = (i & 1) == 0 ? static_cast<u8>(v >> 4) : static_cast<u8>(v & 0x0F);
        byte = (row.col & 1) == 0 ? static_cast<u8>(nibble << 4) : static_cast<u8>(byte | nibble);
    }
    ++row.col;
}

void rle4_run(RunRow& row, u32 count, u8 v)
{
    u32 i = 0;
    if ((row.col & 1) == 0) {
        // Whole bytes at once.
        u32 const pairs = pixels_inside(row, count) / 2;
        std::memset(row.pixels + std::min<u64>(row.col, row.width) / 2, v, pairs);
        row.col += pairs * 2;
        i = pairs * 2;
    }
    for (; i < count; ++i) {
        rle4_store(row, i, v);
    }
}

void rle4_absolute(RunRow& row, u32 count, const u8* values)
{
    u32 i = 0;
    if ((row.col & 1) == 0) {
        u32 const pairs = pixels_inside(row, count) / 2;
        std::memcpy(row.pixels + std::min<u64>(row.col, row.width) / 2, values, pairs);
        row.col += pairs * 2;
        i = pairs * 2;
    }
    for (; i < count; ++i) {
        rle4_store(row, i, values[i / 2]);
    }
}

// State of the 4-bit coding between codes.
struct Rle4State {
    // Position in a chunk of 10,000 bytes as codes see it: an absolute run ends at an even one. It
    // starts anew wherever less than a row is left of the chunk.
    i32 chunk_pos;
    bool after_absolute;
};

// Takes `count` bytes, which are there.
const u8* rle4_take(ChunkReader& in, Rle4State& state, u32 count)
{
    const u8* const bytes = in.buffer + in.pos;
    in.pos += count;
    state.chunk_pos += static_cast<i32>(count);
    return bytes;
}

enum class Rle4Step { Done, End };

Rle4Step rle4_absolute_step(ChunkReader& in, Rle4State& state, RunRow& row, u32 count)
{
    u32 const bytes = (count + 1) / 2;
    if (!chunk_ensure(in, bytes)) {
        return Rle4Step::End;
    }
    rle4_absolute(row, count, rle4_take(in, state, bytes));
    state.after_absolute = true;
    if ((state.chunk_pos & 1) != 0 && chunk_ensure(in, 1)) {
        rle4_take(in, state, 1);
    }
    return Rle4Step::Done;
}

Rle4Step rle4_escape(ChunkReader& in, Rle4State& state, RunRow& row, RowOutput& out, u32 e)
{
    if (e > kDelta) {
        return rle4_absolute_step(in, state, row, e);
    }
    if (state.after_absolute) {
        // Directly behind an absolute run the pair is a run of e pixels.
        if (!chunk_ensure(in, 1)) {
            return Rle4Step::End;
        }
        rle4_run(row, e, *rle4_take(in, state, 1));
        return Rle4Step::Done;
    }
    if (e == kEndOfLine) {
        deliver(out, row.pixels);
        row.col = 0;
        return Rle4Step::Done;
    }
    if (e == kEndOfBitmap || !chunk_ensure(in, 2)) {
        return Rle4Step::End;
    }
    const u8* const delta = rle4_take(in, state, 2);
    row.col += delta[0];
    if (delta[1] != 0) {
        deliver(out, row.pixels);
        out.row -= delta[1] - 1;  // one delivery, however far the delta goes
    }
    return Rle4Step::Done;
}

// A full line is finished without waiting for its end-of-line code, which is swallowed if it follows.
void rle4_finish_line(ChunkReader& in, Rle4State& state, RunRow& row, RowOutput& out)
{
    if (row.col < row.width) {
        return;
    }
    deliver(out, row.pixels);
    row.col = 0;
    if (chunk_ensure(in, 2) && in.buffer[in.pos] == 0 && in.buffer[in.pos + 1] == 0) {
        rle4_take(in, state, 2);
    }
}

void decode_rle4(ChunkReader& in, RunRow& row, RowOutput& out)
{
    Rle4State state = {.chunk_pos = 0, .after_absolute = false};
    while (out.row >= 0) {
        if (state.chunk_pos >= kChunkBytes - out.stride) {
            state.chunk_pos = 0;
        }
        if (!chunk_ensure(in, 2)) {
            return;
        }
        const u8* const pair = rle4_take(in, state, 2);
        u32 const c = pair[0];
        u8 const v = pair[1];
        if (c != 0) {
            state.after_absolute = false;
            rle4_run(row, c, v);
        } else if (rle4_escape(in, state, row, out, v) == Rle4Step::End) {
            return;
        }
        rle4_finish_line(in, state, row, out);
    }
}

i16 read_run_length_rows(StreamHandle stream, u16 compression, u32 width, RowOutput& out)
{
    u8* const chunk = scratch_alloc(kChunkBytes);
    u8* const pixels = scratch_alloc(static_cast<u32>(out.stride));
    if (chunk == nullptr || pixels == nullptr) {
        return kOutOfMemory;
    }
    ChunkReader in = chunk_open(stream, chunk, kChunkBytes);
    RunRow row = {.pixels = pixels, .width = width, .col = 0};
    if (compression == kRle8) {
        decode_rle8(in, row, out);
    } else {
        decode_rle4(in, row, out);
    }
    scratch_free(pixels);
    scratch_free(chunk);
    return kReaderDone;
}

i16 read_rows(StreamHandle stream, BmpFile const& file, u32 width, RowOutput& out)
{
    // Nothing is delivered of pixels that lie beyond every file, or of an unknown compression.
    if (!stream_seek_to(stream, u64{file.base} + file.pixel_offset)) {
        return kReaderDone;
    }
    switch (file.compression) {
    case kPlain: extra_info.format = ORV_FORMAT_BMP; return read_plain_rows(stream, out);
    case kRle8:
    case kRle4:
        extra_info.format = ORV_FORMAT_BMP_RLE;
        return read_run_length_rows(stream, file.compression, width, out);
    default: return kReaderDone;
    }
}

}  // namespace

// --- The entry point ---

i16 bmp_read_image(u32 offset_or_page, RowCallback row_callback, void* user_data,
                   HeaderCallback header_callback, StreamHandle stream)
{
    auto* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (header == nullptr) {
        return kOutOfMemory;
    }
    BmpFile const file = read_headers(stream, offset_or_page, header->info);
    ErrorCode const checked = check_headers(file, header->info);
    if (checked != kOk) {
        return checked;
    }
    read_palette(stream, file, *header);
    i16 const wanted = header_callback(header, user_data);
    if (wanted < 0) {
        return wanted;
    }
    i16 const width = static_cast<i16>(header->info.biWidth);
    RowOutput out = {.row_callback = row_callback,
                     .user_data = user_data,
                     .row = header->info.biHeight - 1,
                     .stride = bmp_row_bytes(width, static_cast<i16>(header->info.biBitCount))};
    i16 const result = read_rows(stream, file, static_cast<u32>(width), out);
    scratch_free(header);
    return result;
}

}  // namespace orv
