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
#include "formats/plain_rows.h"
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
    u32 header_bytes;  // as stated
    u16 compression;
    bool core_header;
};

// --- Parsing and checks ---

u32 bmp_row_bytes(i32 width, i32 bits)
{
    return static_cast<u32>(row_stride_wide(width, bits));
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
BmpFile header_parse(u32 offset_or_page, StreamHandle stream, BITMAPINFOHEADER& header)
{
    BmpFile file = {};
    file.base = seek_to_picture(offset_or_page, stream);
    u8 file_header[kFileHeaderBytes] = {};
    stream_read(stream, file_header, kFileHeaderBytes);
    file.pixel_offset = load_le32(file_header + kPixelOffsetField);
    stream_read(stream, &header, kBitmapHeaderBytes);
    file.header_bytes = header.biSize;
    file.core_header = header.biSize != kBitmapHeaderBytes;
    if (file.core_header) {
        convert_core_header(header);
    }
    file.compression = static_cast<u16>(header.biCompression);
    header.biCompression = 0;
    header.biClrUsed = 0;
    return file;
}

// Sizes of information headers that later versions of the format published. They are read as core headers,
// which mostly makes an impossible picture of them.
constexpr u32 kLaterHeaders[] = {16, 52, 56, 64, 108, 124};

ErrorCode header_refine(const BmpFile& file, BITMAPINFOHEADER& header)
{
    if (header.biHeight < 0) {
        return kNotSupported;  // rows from the top down
    }
    const ErrorCode checked = header_check(header);
    if (checked != kOk && file.core_header) {
        const bool later = std::find(std::begin(kLaterHeaders), std::end(kLaterHeaders), file.header_bytes) !=
                           std::end(kLaterHeaders);
        return later ? kNotSupported : kBadData;
    }
    if (checked != kOk) {
        return checked;
    }
    if ((file.compression == kRle8 && header.biBitCount != 8) ||
        (file.compression == kRle4 && header.biBitCount != 4)) {
        return kBadData;
    }
    if (file.core_header) {
        header.biSizeImage =
            bmp_row_bytes(header.biWidth, header.biBitCount) * static_cast<u32>(header.biHeight);
    }
    return kOk;
}

// Reads the palette; entries that the file does not give stay black.
void palette_read(StreamHandle stream, const BmpFile& file, ImageHeader& header)
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

i16 read_run_length_rows(StreamHandle stream, u16 compression, PictureSink& sink)
{
    BmpRows out = {.sink = &sink, .pixels = scratch_alloc(sink.stride), .row = sink.height - 1};
    if (out.pixels == nullptr) {
        return kOutOfMemory;
    }
    ChunkReader in = chunk_open(stream);
    if (compression == kRle8) {
        bmp_decode_rle8(in, out);
    } else {
        bmp_decode_rle4(in, out);
    }
    if (in.ended) {
        picture_note(sink, kNoteDataEnded);
    }
    return kReaderDone;
}

i16 read_rows(StreamHandle stream, const BmpFile& file, PictureSink& sink)
{
    const bool coded = file.compression == kRle8 || file.compression == kRle4;
    if (coded) {
        extra_info.format = ORV_FORMAT_BMP_RLE;
    }
    // Nothing is delivered of pixels that lie beyond every file, or of an unknown compression.
    if (!stream_seek_to(stream, u64{file.base} + file.pixel_offset)) {
        picture_note(sink, "the pixels lie beyond the file");
        return kReaderDone;
    }
    if (coded) {
        return read_run_length_rows(stream, file.compression, sink);
    }
    if (file.compression == kPlain) {
        return read_plain_rows(stream, sink);
    }
    picture_note(sink, "the compression is not read");
    return kReaderDone;
}

}  // namespace

// --- The entry point ---

i16 bmp_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    auto* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (header == nullptr) {
        return kOutOfMemory;
    }
    const BmpFile file = header_parse(offset_or_page, stream, header->info);
    const ErrorCode checked = header_refine(file, header->info);
    if (checked != kOk) {
        return checked;
    }
    palette_read(stream, file, *header);
    const i16 wanted = picture_begin(sink, *header);
    return wanted < 0 ? wanted : read_rows(stream, file, sink);
}

}  // namespace orv
