// The fax container: bare pages of T.4 lines behind a table of their positions.
#include <algorithm>

#include "formats/tiff/fax.h"
#include "formats/tiff/tiff_strips.h"
#include "frame/bytes.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{

// ---- the bytes of the format, all numbers little-endian
//
//  0   8 bytes "ORVNFAX "
//  8   16 bits number of pages
// 16   16 bits resolution: 1 is fine, 196 lines an inch; any other 98
// 32   32 bits for each page: its position; the page behind it, or the end, bounds it
//
// A page is T.4 one-dimensional data, fill order 2, 1728 pixels wide. Its lines start with an EOL that
// stands on bytes as 00 00 00 80.

// ---- records and constants

u32 fax_page_bytes;
i32 fax_file_open;
i32 fax_marker_seen;

namespace
{

constexpr char kMagic[] = "ORVNFAX ";
constexpr u16 kMagicBytes = 8;
constexpr u16 kMarkerBytes = 7;  // the magic without its blank
constexpr u32 kMarkerPosition = 8;
constexpr u32 kCountPosition = 8;
constexpr u32 kResolutionPosition = 16;
constexpr u32 kTablePosition = 32;

constexpr u16 kFine = 1;
constexpr u32 kPageWidth = 1728;
constexpr u32 kXResolution = 204;
constexpr u32 kFineYResolution = 196;
constexpr u32 kStandardYResolution = 98;

constexpr u16 kPieceBytes = 4096;

}  // namespace

// ---- parsing and checks, no pixels

namespace
{

// Looks for the first `count` characters of the magic and leaves the stream at 0.
bool has_magic(StreamHandle stream, u32 position, u16 count)
{
    u8 bytes[kMagicBytes];
    const bool came = stream_seek_to(stream, position) && stream_read_exact(stream, bytes, count);
    stream_seek_to(stream, 0);
    return came && std::memcmp(bytes, kMagic, count) == 0;
}

bool read_u16_at(StreamHandle stream, u32 position, u16& value)
{
    u8 bytes[2];
    if (!stream_seek_to(stream, position) || !stream_read_exact(stream, bytes, sizeof bytes)) {
        return false;
    }
    value = load_le16(bytes);
    return true;
}

// Counts the EOLs of `size` bytes from the stream's position. The pattern can't overlap itself.
ErrorCode count_lines(StreamHandle stream, u32 size, u32& lines)
{
    u8* const piece = scratch_alloc(kPieceBytes);
    if (!piece) {
        return kOutOfMemory;
    }
    lines = 0;
    u32 zeros = 0;
    bool whole = true;
    while (whole && size > 0) {
        const u16 count = static_cast<u16>(std::min<u32>(size, kPieceBytes));
        whole = stream_read_exact(stream, piece, count);
        size -= count;
        for (u32 i = 0; whole && i < count; ++i) {
            lines += piece[i] == 0x80 && zeros >= 3;
            zeros = piece[i] == 0 ? zeros + 1 : 0;
        }
    }
    scratch_free(piece);
    return whole ? kOk : kBadData;
}

// Finds the page, counts its lines, describes it as a directory would, and leaves the stream at its
// start.
ErrorCode fax_find_page(i16 page, StreamHandle stream, TiffDirectory& dir)
{
    u16 pages;
    u16 resolution;
    if (!read_u16_at(stream, kCountPosition, pages)) {
        return kBadData;
    }
    if (page < 0 || page >= static_cast<i16>(pages)) {
        return kNoSuchPage;
    }
    u8 bounds[8];
    if (!read_u16_at(stream, kResolutionPosition, resolution) ||
        !stream_seek_to(stream, kTablePosition + 4 * static_cast<u32>(page)) ||
        !stream_read_exact(stream, bounds, sizeof bounds)) {
        return kBadData;
    }
    const u32 start = load_le32(bounds);
    const u32 end = load_le32(bounds + 4);
    if (start > 0x7FFFFFFF || end > 0x7FFFFFFF || end < start || !stream_seek_to(stream, start)) {
        return kBadData;
    }
    fax_page_bytes = end - start;
    u32 lines;
    if (const ErrorCode error = count_lines(stream, fax_page_bytes, lines); error != kOk) {
        return error;
    }
    dir = TiffDirectory{};
    dir.ImageLength = lines;
    dir.ImageWidth = kPageWidth;
    dir.RowsPerStrip = lines;
    dir.Compression = kTiffT4;
    dir.Photometric = kBlackIsZero;
    dir.XResolution = kXResolution;
    dir.YResolution = resolution == kFine ? kFineYResolution : kStandardYResolution;
    dir.FillOrder = kFillOrderReversed;
    return stream_seek_to(stream, start) ? kOk : kBadData;
}

}  // namespace

bool fax_is_container(StreamHandle stream)
{
    return has_magic(stream, 0, kMagicBytes);
}

bool fax_has_marker(StreamHandle stream)
{
    return has_magic(stream, kMarkerPosition, kMarkerBytes);
}

// ---- rows: tiff_decode_ccitt

// ---- the entry point that the dispatcher calls

i16 fax_read_page(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    const i16 page = static_cast<i16>(offset_or_page);
    tiff_sink = &sink;
    tiff_stream = stream;
    tiff_base_offset = 0;
    TiffDirectory& dir = tiff_directory;
    if (const ErrorCode error = fax_find_page(page, stream, dir); error != kOk) {
        return error;
    }
    extra_info.format = ORV_FORMAT_TIFF_T4;
    extra_info.x_resolution = static_cast<i16>(dir.XResolution);
    extra_info.y_resolution = static_cast<i16>(dir.YResolution);
    ImageHeader* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (!header) {
        return kOutOfMemory;
    }
    tiff_build_header(dir, *header);
    palette_build_default(header, "tiff");
    // A page without lines is an empty picture to a streaming caller.
    i16 result = dir.ImageLength == 0 ? picture_begin_empty(sink, *header) : picture_begin(sink, *header);
    if (result >= 0 && dir.ImageLength != 0) {
        fax_file_open = 1;
        result = tiff_decode_ccitt(dir, stream, static_cast<i16>(dir.Compression));
        fax_file_open = 0;
    }
    scratch_free(header);
    return result < 0 ? result : static_cast<i16>(kReaderDone);
}

}  // namespace orv
