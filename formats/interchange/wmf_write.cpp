// WMF writer: the smallest metafile that plays a bitmap of any depth.
//
// The bytes of the format, little-endian, sizes of records in 16-bit words:
//
//    0  24  placeable header: key, handle, left, top, right, bottom, units an inch, reserved, checksum
//           (exclusive or of the ten words ahead of it), filler
//   24  18  METAHEADER: type 1, 9 words, version, words from here on, 1 object, largest record, 0
//   42  28  set-up: window origin 0, 0; extent 1, 1; mapping mode 1
//   70   .  META_STRETCHDIB: operation, usage, source and destination rectangles; header, palette, rows
//        6  META_EOF
#include "formats/format_readers.h"
#include "formats/interchange/wmf.h"
#include "frame/bytes.h"
#include "frame/progress.h"
#include "frame/rows.h"
#include "frame/save.h"
#include "frame/stream_writer.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u32 kUnitsPerInch = 907;
constexpr u32 kVersion = 0x0300;
constexpr u32 kChecksumAt = 20;
constexpr u32 kStretchBytes = 28 + kBitmapHeaderBytes;  // the record ahead of the palette
// Words of the METAHEADER and of all records but META_STRETCHDIB.
constexpr u32 kOtherWords = 9 + 5 + 5 + 4 + 3;
constexpr u32 kCopyPixels = 0x00CC0020;  // SRCCOPY

struct Sizes {
    u32 width;
    u32 height;
    u32 palette;      // bytes
    u32 image_bytes;  // rows
    u32 dib_words;    // of META_STRETCHDIB
};

Sizes sizes_of(const ImageHeader& header, const PictureSource& source)
{
    Sizes sizes = {.width = static_cast<u32>(source.width),
                   .height = static_cast<u32>(source.height),
                   .palette = static_cast<u32>(palette_bytes(header.info)),
                   .image_bytes = source.stride * static_cast<u32>(source.height),
                   .dib_words = 0};
    sizes.dib_words = (sizes.image_bytes + sizes.palette + kStretchBytes) / 2;
    return sizes;
}

// --- Headers ---

void put_placeable(StreamWriter& out, const Sizes& sizes)
{
    u8 header[kPlaceableBytes] = {};
    store_le32(header, kPlaceableKey);
    store_le16(header + 10, sizes.width);
    store_le16(header + 12, sizes.height);
    store_le16(header + 14, kUnitsPerInch);
    u32 checksum = 0;
    for (u32 i = 0; i < kChecksumAt; i += 2) {
        checksum ^= load_le16(header + i);
    }
    store_le16(header + kChecksumAt, checksum);
    put_bytes(out, header, kPlaceableBytes);
}

void put_meta_header(StreamWriter& out, const Sizes& sizes)
{
    put_le16(out, 1);
    put_le16(out, kMetaHeaderBytes / 2);
    put_le16(out, kVersion);
    put_le32(out, sizes.dib_words + kOtherWords);
    put_le16(out, 1);
    put_le32(out, sizes.dib_words);
    put_le16(out, 0);
}

void put_record_head(StreamWriter& out, u32 words, MetaFunction function)
{
    put_le32(out, words);
    put_le16(out, function);
}

void wmf_write_setup_records(StreamWriter& out)
{
    put_record_head(out, 5, META_SETWINDOWORG);
    put_le16(out, 0);
    put_le16(out, 0);
    put_record_head(out, 5, META_SETWINDOWEXT);
    put_le16(out, 1);
    put_le16(out, 1);
    put_record_head(out, 4, META_SETMAPMODE);
    put_le16(out, 1);
}

void put_stretch_record(StreamWriter& out, const ImageHeader& header, const Sizes& sizes)
{
    put_record_head(out, sizes.dib_words, META_STRETCHDIB);
    put_le32(out, kCopyPixels);
    put_le16(out, 0);  // the palette holds colours
    for (i32 rectangle = 0; rectangle < 2; ++rectangle) {
        put_le16(out, sizes.height);
        put_le16(out, sizes.width);
        put_le32(out, 0);  // top, left
    }
    BITMAPINFOHEADER info = header.info;
    info.biSize = kBitmapHeaderBytes;
    info.biPlanes = 1;
    info.biSizeImage = sizes.image_bytes;
    put_bytes(out, &info, kBitmapHeaderBytes);
    put_bytes(out, header.palette, sizes.palette);
}

}  // namespace

// --- The entry point ---

i16 wmf_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    progress_start();
    const Sizes sizes = sizes_of(header, source);
    StreamWriter out;
    if (writer_open(out, stream) != kOk) {
        return kOutOfMemory;
    }
    progress_bump();
    put_placeable(out, sizes);
    put_meta_header(out, sizes);
    wmf_write_setup_records(out);
    put_stretch_record(out, header, sizes);
    progress_bump();
    const ErrorCode rows = write_plain_rows(source, out, source.stride);
    if (rows != kOk) {
        return rows;
    }
    put_record_head(out, 3, META_EOF);
    const ErrorCode closed = writer_close(out);
    if (closed == kOk) {
        progress_finish();
    }
    return closed;
}

}  // namespace orv
