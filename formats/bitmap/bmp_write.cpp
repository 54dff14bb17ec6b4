// BMP writer: plain, and run-length coded at 4 and 8 bits. The coded form states the sizes of the plain
// one in its headers: nobody goes back to correct them.
//
// The bytes of the format: file header of 14 bytes, information header of 40, palette, rows bottom row
// first. Codes, two bytes each: count and value (a run of up to 255 pixels); 0, 0 (end of line); 0, 1
// (end of bitmap); 0, count of 3 and up, then that many pixels, padded to an even count of bytes.
#include "formats/format_readers.h"
#include "frame/save.h"
#include "frame/scratch.h"
#include "frame/stream_writer.h"

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

void put_file_header(StreamWriter& out, u32 head_bytes, u32 image_bytes)
{
    put_u8(out, 'B');
    put_u8(out, 'M');
    put_le32(out, head_bytes + image_bytes);
    put_le32(out, 0);
    put_le32(out, head_bytes);
}

void put_info_header(StreamWriter& out, const BITMAPINFOHEADER& header, u32 image_bytes,
                     Compression compression)
{
    BITMAPINFOHEADER copy = header;
    copy.biSizeImage = image_bytes;
    if (compression != kPlain) {
        copy.biCompression = compression;
    }
    put_bytes(out, &copy, kBitmapHeaderBytes);
}

// Writes all that stands ahead of the rows. The progress step between file and information header is
// the plain form's alone.
void put_head(StreamWriter& out, const ImageHeader& header, u32 stride, Compression compression)
{
    const u32 palette = static_cast<u32>(palette_bytes(header.info));
    const u32 image_bytes = stride * static_cast<u32>(header.info.biHeight);
    put_file_header(out, kFileHeaderBytes + kBitmapHeaderBytes + palette, image_bytes);
    if (compression == kPlain) {
        progress_bump();
    }
    put_info_header(out, header.info, image_bytes, compression);
    put_bytes(out, header.palette, palette);
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

constexpr u32 longest_code(u32 row_bytes)
{
    return 4 * row_bytes + 4;
}

// Codes a row and its end-of-line code: the bytes made. No run may grow into what stands behind the pixels.
u32 encode_row(u8* row, u32 used, const RunCoding& coding, u8* out)
{
    row[used] = static_cast<u8>(~row[used - 1]);
    return encode_runs(row, used, coding, out);
}

u32 rle8_encode_row(u8* row, i32 width, u8* out)
{
    return encode_row(row, static_cast<u32>(width), kRuns8, out);
}

// Runs are found among whole bytes, so that the last code of an odd width covers one pixel more.
u32 rle4_encode_row(u8* row, i32 width, u8* out)
{
    return encode_row(row, (static_cast<u32>(width) + 1) / 2, kRuns4, out);
}

// Rows are coded in a copy with room behind it.
ErrorCode put_coded_rows(StreamWriter& out, PictureSource& source, Compression compression)
{
    u8* const copy = scratch_alloc(source.stride + kSpareBytes);
    if (copy == nullptr) {
        return kOutOfMemory;
    }
    return write_rows(source, out, RowOrder::BottomFirst, [&](const u8* row) {
        std::memcpy(copy, row, source.stride);
        u8* const code = writer_room(out, longest_code(source.row_bytes));
        writer_advance(out, compression == kRle8 ? rle8_encode_row(copy, source.width, code)
                                                 : rle4_encode_row(copy, source.width, code));
    });
}

ErrorCode put_rows(StreamWriter& out, PictureSource& source, Compression compression)
{
    if (compression != kPlain) {
        return put_coded_rows(out, source, compression);
    }
    return write_plain_rows(source, out, source.stride);
}

i16 write_picture(StreamHandle stream, const ImageHeader& header, PictureSource& source,
                  Compression compression)
{
    StreamWriter out;
    if (writer_open(out, stream, 0, compression == kPlain ? 0 : longest_code(source.row_bytes)) != kOk) {
        return kOutOfMemory;
    }
    put_head(out, header, source.stride, compression);
    if (compression != kPlain) {
        progress_bump();
    }
    progress_bump();
    const ErrorCode rows = put_rows(out, source, compression);
    if (rows != kOk) {
        return rows;
    }
    if (compression != kPlain) {
        put_bytes(out, kEndOfBitmapCode, sizeof kEndOfBitmapCode);
    }
    const ErrorCode closed = writer_close(out);
    if (closed == kOk) {
        progress_finish();
    }
    return closed;
}

}  // namespace

// --- The entry points ---

i16 bmp_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    progress_start();
    return write_picture(stream, header, source, kPlain);
}

i16 bmp_write_rle(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    progress_start();
    if (source.bits != 4 && source.bits != 8) {
        return kNotSupported;
    }
    return write_picture(stream, header, source, source.bits == 8 ? kRle8 : kRle4);
}

}  // namespace orv
