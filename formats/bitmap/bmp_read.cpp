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

#include "formats/bitmap/bmp_rle.h"
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

struct BmpFile {
    u32 base;          // the picture's position in the stream
    u32 pixel_offset;  // from base
    u16 compression;
    bool core_header;
};

// --- Parsing and checks ---

i16 bmp_row_bytes(i16 width, i16 bits)
{
    return delivered_row_bytes(width, bits);
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

ErrorCode check_headers(const BmpFile& file, BITMAPINFOHEADER& header)
{
    const ErrorCode checked = header_check(header);
    if (checked != kOk) {
        return checked;
    }
    if ((file.compression == kRle8 && header.biBitCount != 8) ||
        (file.compression == kRle4 && header.biBitCount != 4)) {
        return kBadData;
    }
    if (file.core_header) {
        const i16 row_bytes =
            bmp_row_bytes(static_cast<i16>(header.biWidth), static_cast<i16>(header.biBitCount));
        header.biSizeImage = static_cast<u32>(row_bytes * header.biHeight);
    }
    return kOk;
}

// Reads the palette; entries that the file does not give stay black.
void read_palette(StreamHandle stream, const BmpFile& file, ImageHeader& header)
{
    const u32 header_end = file.core_header ? kPaletteBehindCore : kPaletteBehindInfo;
    const u16 bytes = bmp_palette_bytes(header.info);
    if (bytes == 0 || !stream_seek_to(stream, u64{file.base} + header_end)) {
        return;
    }
    if (!file.core_header) {
        stream_read(stream, header.palette, bytes);
        return;
    }
    const u32 entries = bytes / 4U;
    u8 triples[256 * 3] = {};
    stream_read(stream, triples, static_cast<u16>(entries * 3));
    for (u32 i = 0; i < entries; ++i) {
        header.palette[i] = {triples[i * 3], triples[i * 3 + 1], triples[i * 3 + 2], 0};
    }
}

// --- Rows ---

// The file's rows are the image's, in the same order: they go straight to their place.
void read_rows_in_place(StreamHandle stream, std::span<u8> rows, i16 stride)
{
    const usize came = stream_read_all(stream, rows.data(), rows.size());
    const usize cut_row = came % static_cast<usize>(stride);
    std::memset(rows.data() + (came - cut_row), 0, cut_row);
}

i16 read_plain_rows(StreamHandle stream, BmpRows& out)
{
    const std::span<u8> rows = frame_image_rows(out.row_callback);
    if (!rows.empty()) {
        read_rows_in_place(stream, rows, out.stride);
        return kReaderDone;
    }
    const u32 stride = static_cast<u32>(out.stride);
    const u32 rows_per_chunk = std::max<u32>(kChunkBytes / stride, 1);
    u8* const chunk = scratch_alloc(std::max<u32>(kChunkBytes, stride));
    if (chunk == nullptr) {
        return kOutOfMemory;
    }
    while (out.row >= 0) {
        const u32 wanted = rows_per_chunk * stride;
        const u32 came = stream_read(stream, chunk, static_cast<u16>(wanted));
        for (u32 at = 0; at + stride <= came; at += stride) {
            bmp_deliver(out, chunk + at);
        }
        if (came < wanted) {
            break;
        }
    }
    scratch_free(chunk);
    return kReaderDone;
}

i16 read_run_length_rows(StreamHandle stream, u16 compression, u32 width, BmpRows& out)
{
    u8* const chunk = scratch_alloc(kChunkBytes);
    u8* const pixels = scratch_alloc(static_cast<u32>(out.stride));
    if (chunk == nullptr || pixels == nullptr) {
        return kOutOfMemory;
    }
    ChunkReader in = chunk_open(stream, chunk, kChunkBytes);
    if (compression == kRle8) {
        bmp_decode_rle8(in, pixels, width, out);
    } else {
        bmp_decode_rle4(in, pixels, width, out);
    }
    scratch_free(pixels);
    scratch_free(chunk);
    return kReaderDone;
}

i16 read_rows(StreamHandle stream, const BmpFile& file, u32 width, BmpRows& out)
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
    const BmpFile file = read_headers(stream, offset_or_page, header->info);
    const ErrorCode checked = check_headers(file, header->info);
    if (checked != kOk) {
        return checked;
    }
    read_palette(stream, file, *header);
    const i16 wanted = header_callback(header, user_data);
    if (wanted < 0) {
        return wanted;
    }
    const i16 width = static_cast<i16>(header->info.biWidth);
    BmpRows out = {.row_callback = row_callback,
                   .user_data = user_data,
                   .row = header->info.biHeight - 1,
                   .stride = bmp_row_bytes(width, static_cast<i16>(header->info.biBitCount))};
    const i16 result = read_rows(stream, file, static_cast<u32>(width), out);
    scratch_free(header);
    return result;
}

}  // namespace orv
