#include "formats/format_readers.h"
#include "formats/line_doubling.h"
#include "formats/tiff/fax.h"
#include "formats/tiff/tiff_directory.h"
#include "formats/tiff/tiff_planes.h"
#include "formats/tiff/tiff_strips.h"
#include "frame/load.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{

// ---- the bytes of the format: see tiff_directory.cpp, tiff_strips.cpp and the coders

// ---- parsing and checks, no pixels

i16 tiff_row_stride(i16 width, i16 bits)
{
    return delivered_row_bytes(width, bits);
}

i32 tiff_row_bytes(const TiffDirectory& dir)
{
    return static_cast<i32>((dir.ImageWidth * dir.BitsPerSample * dir.SamplesPerPixel + 7) / 8);
}

void tiff_build_header(const TiffDirectory& dir, ImageHeader& header)
{
    u32 rows = dir.ImageLength;
    u32 y_resolution = dir.YResolution;
    line_doubling = 0;
    extra_info.stored_y_resolution = static_cast<i16>(y_resolution);
    // A fax page of standard resolution, 204 by 98, becomes one of square pixels.
    const bool fax_coded = dir.Compression == kTiffHuffman || dir.Compression == kTiffT4;
    if (fax_coded && y_resolution < dir.XResolution - 20) {
        line_doubling = 1;
        rows *= 2;
        y_resolution *= 2;
        extra_info.y_resolution = static_cast<i16>(y_resolution);
    }
    u16 bits = static_cast<u16>(dir.BitsPerSample * dir.SamplesPerPixel);
    if (bits == 32) {
        bits = 24;
    }
    const i64 stride = tiff_row_stride(static_cast<i16>(dir.ImageWidth), static_cast<i16>(bits));
    header.info = {.biSize = kBitmapHeaderBytes,
                   .biWidth = static_cast<i32>(dir.ImageWidth),
                   .biHeight = static_cast<i32>(rows),
                   .biPlanes = 1,
                   .biBitCount = bits,
                   .biCompression = 0,
                   .biSizeImage = static_cast<u32>(stride * static_cast<i32>(rows)),
                   .biXPelsPerMeter = static_cast<i32>(dir.XResolution),
                   .biYPelsPerMeter = static_cast<i32>(y_resolution),
                   .biClrUsed = 0,
                   .biClrImportant = 0};
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

// The ColorMap: all reds, all greens, all blues, 16 bits each, of which the high byte is kept.
void tiff_read_color_map(const TiffDirectory& dir, ImageHeader& header)
{
    const u32 entries = header.info.biBitCount <= 8 ? 1u << header.info.biBitCount : 0;
    u8* map = scratch_alloc(6 * 256);
    if (!map) {
        return;
    }
    if (tiff_seek(dir.ColorMapOffset)) {
        const u32 got = stream_read(tiff_stream, map, static_cast<u16>(6 * entries));
        std::memset(map + got, 0, 6 * 256 - got);
    }
    for (u32 i = 0; i < entries; ++i) {
        header.palette[i] = {.rgbBlue = static_cast<u8>(tiff_u16(map + 2 * (2 * entries + i)) >> 8),
                             .rgbGreen = static_cast<u8>(tiff_u16(map + 2 * (entries + i)) >> 8),
                             .rgbRed = static_cast<u8>(tiff_u16(map + 2 * i) >> 8),
                             .rgbReserved = 0};
    }
    scratch_free(map);
}

}  // namespace

// ---- rows

namespace
{

// Sets the format and runs the decoder. A compression that has none leaves the format and the rows.
i16 decode_rows(const TiffDirectory& dir)
{
    switch (dir.Compression) {
    case kTiffRaw: extra_info.format = ORV_FORMAT_TIFF; return tiff_decode_raw(dir, tiff_stream);
    case kTiffPackBits: extra_info.format = ORV_FORMAT_TIFF; return tiff_decode_packbits(dir, tiff_stream);
    case kTiffHuffman:
    case kTiffT4:
        extra_info.format = ORV_FORMAT_TIFF_T4;
        return tiff_decode_ccitt(dir, tiff_stream, static_cast<i16>(dir.Compression));
    case kTiffT6:
        extra_info.format = ORV_FORMAT_TIFF_T6;
        return tiff_decode_ccitt(dir, tiff_stream, static_cast<i16>(dir.Compression));
    case kTiffLzw: extra_info.format = ORV_FORMAT_TIFF_LZW; return tiff_decode_lzw(dir, tiff_stream);
    default: return kOk;
    }
}

i16 decode_picture(const TiffDirectory& dir)
{
    if (!tiff_has_planes(dir)) {
        return decode_rows(dir);
    }
    if (!plane_file_create()) {
        return kNotCreated;
    }
    const i16 decoded = decode_rows(dir);
    const i16 delivered = plane_file_deliver(dir);
    plane_file_remove();
    return delivered < 0 ? delivered : decoded;
}

// Header, palette, callback, rows.
i16 read_picture(const TiffDirectory& dir, ImageHeader& header)
{
    extra_info.x_resolution = static_cast<i16>(dir.XResolution);
    extra_info.y_resolution = static_cast<i16>(dir.YResolution);
    tiff_build_header(dir, header);
    if (const ErrorCode error = check_picture(dir, header); error != kOk) {
        return error;
    }
    if (dir.ColorMapOffset != 0 && dir.Photometric == kTiffPalette) {
        tiff_read_color_map(dir, header);
    } else {
        palette_build_default(&header, "tiff");
    }
    if (const i16 result = picture_begin(*tiff_sink, header, DepthRule::Streamed); result < 0) {
        return result;
    }
    const i16 status = decode_picture(dir);
    return status < 0 ? status : static_cast<i16>(kReaderDone);
}

}  // namespace

// ---- the entry point that the table names

i16 tiff_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    fax_file_open = 0;
    fax_marker_seen = fax_has_marker(stream) ? 1 : 0;
    tiff_sink = &sink;
    tiff_stream = stream;
    const bool by_page = is_page(offset_or_page);
    tiff_base_offset = by_page ? 0 : seek_to_picture(offset_or_page, stream);
    const i16 page = by_page ? static_cast<i16>(offset_or_page) : i16{0};
    if (const ErrorCode error = tiff_read_directory(page); error != kOk) {
        return error;
    }
    ImageHeader* header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (!header) {
        return kOutOfMemory;
    }
    const i16 result = read_picture(tiff_directory, *header);
    scratch_free(header);
    return result;
}

}  // namespace orv
