// WMF reader: the first bitmap of a Windows metafile. The drawing records are stepped over.
//
// The bytes of the format, little-endian: a placeable header of 24 bytes, which a file may lack; 18 bytes
// of METAHEADER; records of a 32-bit size in 16-bit words, a 16-bit function and parameters. In a bitmap
// record a device-independent bitmap follows the parameters: header of 40 bytes, the full palette, rows
// bottom row first, plain or run-length coded.
#include "formats/format_readers.h"
#include "formats/interchange/wmf.h"
#include "formats/interchange/wmf_rle.h"
#include "formats/plain_rows.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/rows.h"
#include "frame/scratch.h"
#include "frame/streams.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u16 kRecordHeadBytes = 8;  // size, function, first parameter
constexpr u32 kLeastRecordWords = 3;

enum Compression : u16 { kPlain = 0, kRle8 = 1, kRle4 = 2 };

struct Record {
    u32 words;
    u16 function;
};

struct Bitmap {
    u64 position;
    u16 function;  // of its record
};

// --- Parsing and checks ---

// Distance of the bitmap from the start of its record; 0 for a record without one.
u32 bitmap_distance(u16 function)
{
    switch (function) {
    case META_BITBLT:
    case META_DIBBITBLT: return 22;
    case META_SETDIBTODEV: return 24;
    case META_DIBSTRETCHBLT: return 26;
    case META_STRETCHDIB: return 28;
    default: return 0;
    }
}

// Reads the head of the record at a position. False where it does not come whole.
bool read_record(StreamHandle stream, u64 position, Record& record)
{
    u8 head[kRecordHeadBytes];
    if (!stream_seek_to(stream, position) || !stream_read_exact(stream, head, kRecordHeadBytes)) {
        return false;
    }
    record = {.words = load_le32(head), .function = load_le16(head + 4)};
    return true;
}

// Walks the records to the first that carries a bitmap. False when there is none.
bool find_bitmap(u32 offset_or_page, StreamHandle stream, Bitmap& bitmap)
{
    u64 position = seek_to_picture(offset_or_page, stream);
    u8 placeable[kPlaceableBytes] = {};
    stream_read(stream, placeable, kPlaceableBytes);
    position += load_le32(placeable) == kPlaceableKey ? kPlaceableBytes + kMetaHeaderBytes : kMetaHeaderBytes;
    for (Record record; read_record(stream, position, record); position += u64{2} * record.words) {
        const u32 distance = bitmap_distance(record.function);
        if (distance != 0) {
            bitmap = {.position = position + distance, .function = record.function};
            return true;
        }
        // A file goes on behind META_EOF as behind any record; memory has no other end.
        if (record.words < kLeastRecordWords || (stream == MEMORY_STREAM && record.function == META_EOF)) {
            return false;
        }
    }
    return false;
}

// Reads the bitmap's header and palette. What did not come is zero and so has no size.
void read_header(StreamHandle stream, const Bitmap& bitmap, ImageHeader& header)
{
    if (!stream_seek_to(stream, bitmap.position)) {
        return;
    }
    stream_read(stream, &header.info, kBitmapHeaderBytes);
    if (depth_set(header.info.biBitCount) != 0 && header.info.biBitCount != 24) {
        stream_read(stream, header.palette, static_cast<u16>(palette_bytes(header.info)));
    }
}

// Makes the header that is handed on and tells what is wrong with it. In `compression` what it said.
ErrorCode refine_header(const Bitmap& bitmap, BITMAPINFOHEADER& info, u16& compression)
{
    // The published META_BITBLT holds another kind of bitmap.
    if (bitmap.function == META_BITBLT &&
        (info.biSize != kBitmapHeaderBytes || info.biPlanes != 1 || header_check(info) != kOk)) {
        return kNotSupported;
    }
    const ErrorCode checked = header_check(info);
    if (checked != kOk) {
        return checked;
    }
    compression = static_cast<u16>(info.biCompression);
    if ((compression == kRle8 && info.biBitCount != 8) || (compression == kRle4 && info.biBitCount != 4)) {
        return kNotSupported;
    }
    info.biSize = kBitmapHeaderBytes;
    info.biPlanes = 1;
    info.biCompression = 0;
    info.biClrUsed = 0;
    return kOk;
}

// --- Rows ---

i16 wmf_read_plain(StreamHandle stream, PictureSink& sink)
{
    return read_plain_rows(stream, sink);
}

i16 read_rows(StreamHandle stream, u16 compression, PictureSink& sink)
{
    switch (compression) {
    case kPlain: return wmf_read_plain(stream, sink);
    case kRle8: return wmf_read_rle8(stream, sink);
    case kRle4: return wmf_read_rle4(stream, sink);
    default: picture_note(sink, "the compression is not read"); return kReaderDone;
    }
}

}  // namespace

// --- The entry point ---

i16 wmf_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    Bitmap bitmap;
    if (!find_bitmap(offset_or_page, stream, bitmap)) {
        picture_note(sink, "the metafile has drawing records and no bitmap");
        return kNotSupported;
    }
    auto* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (header == nullptr) {
        return kOutOfMemory;
    }
    read_header(stream, bitmap, *header);
    u16 compression = kPlain;
    const ErrorCode checked = refine_header(bitmap, header->info, compression);
    if (checked != kOk) {
        return checked;
    }
    const i16 wanted = picture_begin(sink, *header);
    return wanted < 0 ? wanted : read_rows(stream, compression, sink);
}

}  // namespace orv
