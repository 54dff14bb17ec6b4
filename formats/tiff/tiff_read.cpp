#include "formats/tiff/tiff_read.h"

#include "formats/format_readers.h"
#include "formats/line_doubling.h"
#include "formats/tiff/fax_read.h"
#include "formats/tiff/tiff_planes.h"
#include "formats/tiff/tiff_strips.h"
#include "frame/blocks.h"
#include "frame/load.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{

// --- The bytes of the format: see tiff_format.h and the decoders ---

// --- Parsing and checks, no pixels ---

ErrorCode tiff_build_header(const TiffDirectory& dir, ImageHeader& header)
{
    u32 rows = dir.ImageLength;
    u32 y_resolution = dir.YResolution;
    line_doubling = 0;
    extra_info.stored_y_resolution = static_cast<i16>(y_resolution);
    // A fax page of standard resolution, 204 by 98, becomes one of square pixels.
    const bool fax_coded = dir.Compression == kTiffHuffman || dir.Compression == kTiffT4;
    if (fax_coded && y_resolution < dir.XResolution - 20) {
        if (rows > kMaxSide / 2) {
            return kNotSupported;
        }
        line_doubling = 1;
        rows *= 2;
        y_resolution *= 2;
        extra_info.y_resolution = static_cast<i16>(y_resolution);
    }
    u16 bits = static_cast<u16>(dir.BitsPerSample * dir.SamplesPerPixel);
    if (bits == 32) {
        bits = 24;
    }
    const u32 stride =
        static_cast<u32>(tiff_row_stride(static_cast<i16>(dir.ImageWidth), static_cast<i16>(bits)));
    header.info = {.biSize = kBitmapHeaderBytes,
                   .biWidth = static_cast<i32>(dir.ImageWidth),
                   .biHeight = static_cast<i32>(rows),
                   .biPlanes = 1,
                   .biBitCount = bits,
                   .biCompression = 0,
                   .biSizeImage = stride * rows,
                   .biXPelsPerMeter = static_cast<i32>(dir.XResolution),
                   .biYPelsPerMeter = static_cast<i32>(y_resolution),
                   .biClrUsed = 0,
                   .biClrImportant = 0};
    return kOk;
}

namespace
{

// What the header can't tell: no samples, depths that nobody carries, 2-bit rows whose delivered
// length, a byte a pixel, has no room in 16 bits. Rows of 2 and 16 bits go to streaming callers.
ErrorCode check_picture(const TiffDirectory& dir, const ImageHeader& header)
{
    if (dir.SamplesPerPixel == 0) {
        return kBadData;
    }
    if (const ErrorCode error = header_check(header.info, DepthRule::Streamed); error != kOk) {
        return error;
    }
    switch (static_cast<u64>(dir.BitsPerSample) * dir.SamplesPerPixel) {
    case 2: return row_stride_wide(header.info.biWidth, 8) > kMaxRowStride ? kNotSupported : kOk;
    case 1:
    case 4:
    case 8:
    case 16:
    case 24:
    case 32: return kOk;
    default: return kNotSupported;
    }
}

// The ColorMap: all reds, all greens, all blues, 16 bits each, of which the high byte is kept. What the file
// lacks of it is black.
void tiff_read_color_map(const TiffFile& file, const TiffDirectory& dir, ImageHeader& header)
{
    const u32 entries = header.info.biBitCount <= 8 ? 1u << header.info.biBitCount : 0;
    u16 map[3 * 256] = {};
    if (tiff_seek(file, dir.ColorMapOffset)) {
        stream_read(file.tiff_stream, map, static_cast<u16>(sizeof map[0] * 3 * entries));
    }
    tiff_swap16(map, file.tiff_byte_order, 3 * entries);
    for (u32 i = 0; i < entries; ++i) {
        header.palette[i] = {.rgbBlue = static_cast<u8>(map[2 * entries + i] >> 8),
                             .rgbGreen = static_cast<u8>(map[entries + i] >> 8),
                             .rgbRed = static_cast<u8>(map[i] >> 8),
                             .rgbReserved = 0};
    }
}

}  // namespace

// --- Rows ---

namespace
{

// Sets the format and runs the decoder. A compression that has none leaves the format and the rows.
i16 decode_rows(StripWalk& walk)
{
    const u32 compression = walk.dir.Compression;
    switch (compression) {
    case kTiffRaw: extra_info.format = ORV_FORMAT_TIFF; return tiff_decode_raw(walk);
    case kTiffPackBits: extra_info.format = ORV_FORMAT_TIFF; return tiff_decode_packbits(walk);
    case kTiffHuffman:
    case kTiffT4:
        extra_info.format = ORV_FORMAT_TIFF_T4;
        return tiff_decode_ccitt(walk, static_cast<i16>(compression));
    case kTiffT6:
        extra_info.format = ORV_FORMAT_TIFF_T6;
        return tiff_decode_ccitt(walk, static_cast<i16>(compression));
    case kTiffLzw: extra_info.format = ORV_FORMAT_TIFF_LZW; return tiff_decode_lzw(walk);
    default: picture_note(walk.sink, "the compression is not read"); return kOk;
    }
}

i16 decode_strips_of(StripWalk& walk)
{
    const ErrorCode opened = strip_walk_open(walk);
    const i16 decoded = opened == kOk ? decode_rows(walk) : i16{opened};
    strip_walk_close(walk);
    return decoded;
}

i16 decode_planes(StripWalk& walk)
{
    TiffPlanes* const planes = reinterpret_cast<TiffPlanes*>(block_alloc(sizeof(TiffPlanes)));
    if (planes == nullptr) {
        return kOutOfMemory;
    }
    const ErrorCode opened = planes_open(*planes, walk.sink);
    i16 decoded = opened;
    if (opened == kOk) {
        walk.planes = planes;
        decoded = decode_strips_of(walk);
        const ErrorCode delivered = planes_deliver(*planes);
        decoded = delivered != kOk ? i16{delivered} : decoded;
    }
    planes_close(*planes);
    block_free(planes);
    return decoded;
}

// Header, palette, callback, rows.
i16 read_picture(const TiffFile& file, const TiffDirectory& dir, ImageHeader& header, PictureSink& sink)
{
    extra_info.x_resolution = static_cast<i16>(dir.XResolution);
    extra_info.y_resolution = static_cast<i16>(dir.YResolution);
    ErrorCode error = tiff_build_header(dir, header);
    if (error == kOk) {
        error = check_picture(dir, header);
    }
    if (error != kOk) {
        return error;
    }
    if (dir.ColorMapOffset != 0 && dir.Photometric == kTiffPalette) {
        tiff_read_color_map(file, dir, header);
    } else {
        palette_build_default(&header, "tiff");
    }
    if (const i16 result = picture_begin(sink, header, DepthRule::Streamed); result < 0) {
        return result;
    }
    StripWalk walk = {.file = file, .dir = dir, .sink = sink};
    const i16 status = tiff_has_planes(dir) ? decode_planes(walk) : decode_strips_of(walk);
    return status < 0 ? status : static_cast<i16>(kReaderDone);
}

}  // namespace

// --- The entry point that the table names ---

i16 tiff_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    const bool by_page = is_page(offset_or_page);
    const i16 page = by_page ? static_cast<i16>(offset_or_page) : i16{0};
    TiffFile file = {.tiff_stream = stream,
                     .tiff_base_offset = by_page ? 0 : offset_or_page,
                     .tiff_byte_order = 0,
                     .fax_marker_seen = fax_has_marker(stream)};
    tiff_seek(file, 0);
    u32 first;
    if (!tiff_read_file_header(file, first)) {
        return kOutOfMemory;
    }
    TiffDirectory dir;
    if (const ErrorCode error = tiff_read_directory(file, first, page, dir); error != kOk) {
        return error;
    }
    ImageHeader* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    return header == nullptr ? i16{kOutOfMemory} : read_picture(file, dir, *header, sink);
}

}  // namespace orv
