// The fax container: bare pages of T.4 lines behind a table of their positions.
#include "formats/tiff/fax_read.h"

#include <algorithm>

#include "formats/format_readers.h"
#include "formats/tiff/tiff_read.h"
#include "formats/tiff/tiff_strips.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{

// --- The bytes of the format, all numbers little-endian ---
//
//  0   8 bytes "ORVNFAX "
//  8   16 bits number of pages
// 16   16 bits resolution: 1 is fine, 196 lines an inch; any other 98
// 32   32 bits for each page: its position; the page behind it, or the end, bounds it
//
// A page is T.4 one-dimensional data, fill order 2, 1728 pixels wide. Its lines start with an EOL that
// stands on bytes as 00 00 00 80.

// --- Records and constants ---

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

// --- Parsing and checks, no pixels ---

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

// Where a page lies in the file.
struct FaxPage {
    u32 start;
    u32 bytes;
};

ErrorCode fax_find_page(i16 page, StreamHandle stream, FaxPage& found)
{
    u16 pages;
    if (!fax_read_page_count(stream, pages)) {
        return kBadData;
    }
    if (page < 0 || page >= static_cast<i16>(pages)) {
        return kNoSuchPage;
    }
    u8 bounds[8];
    if (!stream_seek_to(stream, kTablePosition + 4 * static_cast<u32>(page)) ||
        !stream_read_exact(stream, bounds, sizeof bounds)) {
        return kBadData;
    }
    const u32 end = load_le32(bounds + 4);
    found.start = load_le32(bounds);
    found.bytes = end - found.start;
    const bool sound = found.start <= 0x7FFFFFFF && end <= 0x7FFFFFFF && end >= found.start;
    return sound ? kOk : kBadData;
}

// Describes a page as a directory would. A page that begins beyond the file is no page, and neither is one
// that ends there.
ErrorCode fax_describe_page(const FaxPage& page, StreamHandle stream, TiffDirectory& dir)
{
    u16 resolution;
    if (!read_u16_at(stream, kResolutionPosition, resolution)) {
        return kBadData;
    }
    u8 before;
    if (page.start > 0 && (!stream_seek_to(stream, page.start - 1) || !stream_read_exact(stream, &before, 1))) {
        return kBadData;
    }
    u32 lines;
    if (const ErrorCode error = count_lines(stream, page.bytes, lines); error != kOk) {
        return error;
    }
    dir.ImageLength = lines;
    dir.ImageWidth = kPageWidth;
    dir.RowsPerStrip = lines;
    dir.Compression = kTiffT4;
    dir.Photometric = kBlackIsZero;
    dir.XResolution = kXResolution;
    dir.YResolution = resolution == kFine ? kFineYResolution : kStandardYResolution;
    dir.FillOrder = kFillOrderReversed;
    return stream_seek_to(stream, page.start) ? kOk : kBadData;
}

}  // namespace

bool fax_read_page_count(StreamHandle stream, u16& pages)
{
    return read_u16_at(stream, kCountPosition, pages);
}

bool fax_is_container(StreamHandle stream)
{
    return has_magic(stream, 0, kMagicBytes);
}

bool fax_has_marker(StreamHandle stream)
{
    return has_magic(stream, kMarkerPosition, kMarkerBytes);
}

// --- Rows: tiff_decode_ccitt ---

// --- The entry point that the table names ---

i16 fax_read_page(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    FaxPage page;
    TiffDirectory dir;
    ErrorCode error = fax_find_page(static_cast<i16>(offset_or_page), stream, page);
    if (error == kOk) {
        error = fax_describe_page(page, stream, dir);
    }
    if (error != kOk) {
        return error;
    }
    extra_info.format = ORV_FORMAT_TIFF_T4;
    extra_info.x_resolution = static_cast<i16>(dir.XResolution);
    extra_info.y_resolution = static_cast<i16>(dir.YResolution);
    ImageHeader* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (!header) {
        return kOutOfMemory;
    }
    if (error = tiff_build_header(dir, *header); error != kOk) {
        return error;
    }
    palette_build_default(header, "tiff");
    // A page without lines is an empty picture to a streaming caller.
    const bool empty = dir.ImageLength == 0;
    i16 result = empty ? picture_begin_empty(sink, *header) : picture_begin(sink, *header);
    if (result >= 0 && !empty) {
        const TiffFile file = {
            .tiff_stream = stream, .tiff_base_offset = 0, .tiff_byte_order = 0, .fax_marker_seen = false};
        StripWalk walk = {
            .file = file, .dir = dir, .sink = sink, .fax_file_open = true, .fax_page_bytes = page.bytes};
        result = strip_walk_open(walk);
        result = result == kOk ? tiff_decode_ccitt(walk, kTiffT4) : result;
    }
    return result < 0 ? result : static_cast<i16>(kReaderDone);
}

}  // namespace orv
