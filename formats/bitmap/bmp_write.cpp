// BMP writer: plain, and run-length coded at 4 and 8 bits. The coded form states the sizes of the plain
// one in its headers: nobody goes back to correct them.
//
// The bytes of the format: file header of 14 bytes, information header of 40, palette, rows bottom row
// first. Codes, two bytes each: count and value (a run of up to 255 pixels); 0, 0 (end of line); 0, 1
// (end of bitmap); 0, count of 3 and up, then that many pixels, padded to an even count of bytes.
#include "formats/format_readers.h"
#include "frame/blocks.h"
#include "frame/bytes.h"
#include "frame/progress.h"
#include "frame/save.h"
#include "frame/scratch.h"
#include "frame/streams.h"

namespace orv
{

namespace
{

// --- Records and constants ---

constexpr u32 kFileHeaderBytes = 14;
constexpr u32 kSpareBytes = 10;  // behind a row, for the look at what follows its last byte
constexpr u8 kEndOfBitmapCode[] = {0, 1};

enum Compression : u32 { kPlain = 0, kRle8 = 1, kRle4 = 2 };

// What the two depths' run-length codings differ in. Both work on whole bytes.
struct RunCoding {
    u32 most;            // bytes in one run
    u32 absolute_least;  // bytes that an absolute run starts with
    u32 pixels_a_byte;
};

constexpr RunCoding kRuns8 = {.most = 255, .absolute_least = 3, .pixels_a_byte = 1};
constexpr RunCoding kRuns4 = {.most = 127, .absolute_least = 2, .pixels_a_byte = 2};

// --- Headers ---

bool write_file_header(StreamHandle stream, u32 head_bytes, u32 image_bytes)
{
    u8 bytes[kFileHeaderBytes] = {'B', 'M'};
    store_le32(bytes + 2, head_bytes + image_bytes);
    store_le32(bytes + 10, head_bytes);
    return stream_write_all(stream, bytes, sizeof bytes);
}

bool write_info_header(StreamHandle stream, const BITMAPINFOHEADER& header, u32 image_bytes,
                       Compression compression)
{
    BITMAPINFOHEADER copy = header;
    copy.biWidth = static_cast<i16>(header.biWidth);
    copy.biHeight = static_cast<i16>(header.biHeight);
    copy.biSizeImage = image_bytes;
    if (compression != kPlain) {
        copy.biCompression = compression;
    }
    return stream_write_all(stream, &copy, kBitmapHeaderBytes);
}

// Writes all that stands ahead of the rows. The progress step between file and information header is
// the plain form's alone.
bool write_head(StreamHandle stream, ImageHeader* header, i16 stride, Compression compression)
{
    const u32 palette = static_cast<u32>(palette_bytes(header->info));
    const u32 image_bytes = static_cast<u32>(stride * header->info.biHeight);
    if (!write_file_header(stream, kFileHeaderBytes + kBitmapHeaderBytes + palette, image_bytes)) {
        return false;
    }
    if (compression == kPlain) {
        progress_bump();
    }
    return write_info_header(stream, header->info, image_bytes, compression) &&
           stream_write_all(stream, header->palette, palette);
}

// --- Rows ---

// Codes the `n` bytes of a row, which at least one readable byte follows, at `out`: the bytes made. Four
// bytes of output for each of input, and 4 more, always suffice.
u32 encode_runs(const u8* row, u32 n, const RunCoding& coding, u8* out)
{
    u32 i = 0;
    u32 o = 0;
    while (i < n) {
        if (row[i] == row[i + 1] || i + 3 >= n) {
            const u8 v = row[i];
            const u32 stop = n - i > coding.most ? i + coding.most : n;
            const u32 start = i++;
            while (i < stop && row[i] == v) {
                ++i;
            }
            out[o++] = static_cast<u8>((i - start) * coding.pixels_a_byte);
            out[o++] = v;
            continue;
        }
        const u32 start = i;
        const u32 stop = n - i > coding.most ? i + coding.most : n;
        i += coding.absolute_least;
        while (i < stop && row[i] != row[i + 1]) {
            ++i;
        }
        out[o++] = 0;
        out[o++] = static_cast<u8>((i - start) * coding.pixels_a_byte);
        std::memcpy(out + o, row + start, i - start);
        o += i - start;
        if ((o & 1) != 0) {
            out[o++] = 0;
        }
    }
    out[o++] = 0;
    out[o++] = 0;
    return o;
}

i16 encode_row(StreamHandle stream, const u8* row, u32 n, const RunCoding& coding)
{
    u8* const coded = block_alloc(usize{4} * n + 4);
    if (coded == nullptr) {
        return kOutOfMemory;
    }
    const bool written = stream_write_all(stream, coded, encode_runs(row, n, coding, coded));
    block_free(coded);
    return written ? kOk : kShortWrite;
}

i16 write_row(StreamHandle stream, u8* row, i16 width, i16 stride, Compression compression)
{
    if (compression == kPlain) {
        return stream_write_all(stream, row, static_cast<u32>(stride)) ? kOk : kShortWrite;
    }
    // No run may grow into what stands behind the pixels.
    const u32 used = compression == kRle8 ? static_cast<u32>(width) : (static_cast<u32>(width) + 1) / 2;
    row[used] = static_cast<u8>(~row[used - 1]);
    const i16 result = compression == kRle8 ? rle8_encode_row(stream, row, width)
                                            : rle4_encode_row(stream, row, static_cast<u16>(width));
    return result < 0 ? kShortWrite : kOk;
}

i16 write_picture(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data,
                  Compression compression)
{
    const i16 width = static_cast<i16>(header->info.biWidth);
    const i16 stride = RowStride(width, static_cast<i16>(header->info.biBitCount));
    if (!write_head(stream, header, stride, compression)) {
        return kShortWrite;
    }
    if (compression != kPlain) {
        progress_bump();
    }
    u8* const row = scratch_alloc(static_cast<u32>(stride) + kSpareBytes);
    if (row == nullptr) {
        return kOutOfMemory;
    }
    progress_bump();
    ProgressRows progress = progress_rows(header->info.biHeight);
    for (i32 r = 0; r < header->info.biHeight; ++r) {
        row_source(user_data, row, static_cast<i16>(r), stride);
        if (write_row(stream, row, width, stride, compression) != kOk) {
            return kShortWrite;
        }
        progress_tick(progress, r);
    }
    progress_rows_done();
    if (compression != kPlain) {
        stream_write_all(stream, kEndOfBitmapCode, sizeof kEndOfBitmapCode);
    }
    scratch_free(row);
    progress_finish();
    return kOk;
}

}  // namespace

// Codes a row of 8-bit pixels and its end-of-line code. One byte behind the row is looked at.
i16 rle8_encode_row(StreamHandle stream, const u8* row, i16 width)
{
    return encode_row(stream, row, static_cast<u32>(width), kRuns8);
}

// The same for 4-bit pixels. Runs are found among whole bytes, so that the last code of an odd width
// covers one pixel more.
i16 rle4_encode_row(StreamHandle stream, const u8* row, u16 width)
{
    return encode_row(stream, row, (u32{width} + 1) / 2, kRuns4);
}

// --- The entry points ---

i16 bmp_write_image(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data)
{
    progress_start();
    return write_picture(stream, header, row_source, user_data, kPlain);
}

i16 bmp_write_rle(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data)
{
    progress_start();
    const u16 bits = header->info.biBitCount;
    if (bits != 4 && bits != 8) {
        return kNotSupported;
    }
    return write_picture(stream, header, row_source, user_data, bits == 8 ? kRle8 : kRle4);
}

}  // namespace orv
