// The one table of formats: an entry a format number. What an entry leaves out, the format does not have.
#include "frame/format_table.h"

#include "formats/format_readers.h"
#include "orvimg32/orvimg32.h"

namespace orv
{
namespace
{

// --- First bytes ---

constexpr Magic kTiffMagic[] = {{0, 2, "MM"}, {0, 2, "II"}};
constexpr Magic kGifMagic[] = {{0, 3, "GIF"}};
constexpr Magic kBmpMagic[] = {{0, 2, "BM"}};
constexpr Magic kEpsMagic[] = {{0, 4, "\xC5\xD0\xD3\xC6"}};
constexpr Magic kDcxMagic[] = {{0, 4, "\xB1\x68\xDE\x3A"}};
constexpr Magic kJpegMagic[] = {{0, 2, "\xFF\xD8"}};
constexpr Magic kWpgMagic[] = {{1, 3, "WPC"}};
constexpr Magic kPcxMagic[] = {{0, 1, "\x0A"}};
// The image types.
constexpr Magic kTgaMagic[] = {{2, 1, "\x02"}, {2, 1, "\x0A"}, {2, 1, "\x03"},
                               {2, 1, "\x01"}, {2, 1, "\x09"}, {2, 1, "\x0B"}};
// The placeable header's key, or a look of a plain metafile's.
constexpr Magic kWmfMagic[] = {{0, 4, "\xD7\xCD\xC6\x9A"}, {0, 1, "\x01"}, {1, 1, "\x02"}};
// The version opcode behind 512 bytes of preamble and 10 of size and frame.
constexpr Magic kPictMagic[] = {{523, 1, "\x11"}, {522, 1, "\x11"}};
constexpr Magic kFaxMagic[] = {{0, 8, {'O', 'R', 'V', 'N', 'F', 'A', 'X', ' '}}};

constexpr i16 kDetectionOrder[] = {
    ORV_FORMAT_TIFF, ORV_FORMAT_GIF, ORV_FORMAT_BMP, ORV_FORMAT_EPS, ORV_FORMAT_DCX,  ORV_FORMAT_JPEG,
    ORV_FORMAT_WPG,  ORV_FORMAT_PCX, ORV_FORMAT_TGA, ORV_FORMAT_WMF, ORV_FORMAT_PICT,
};

// --- Encoders of two formats ---

i16 write_tiff_2(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    return tiff_write_t4(stream, header, source, 2);
}

i16 write_tiff_3(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    return tiff_write_t4(stream, header, source, 3);
}

// --- Containers ---

constexpr ContainerEntry kContainers[] = {
    {{.reader = fax_read_page, .page_count = IMG_tiff_page_count, .told = kFaxMagic}, ORV_FORMAT_TIFF},
};

}  // namespace

const std::span<const i16> detection_order = kDetectionOrder;
const std::span<const ContainerEntry> container_table = kContainers;

// --- Formats ---

const FormatEntry format_table[kFormatCount] = {
    /*  0 TIFF                */ {.reader = tiff_read_image,
                                  .encoder = tiff_write_raw,
                                  .save_depths = kAllDepths,
                                  .existing = ExistingFile::GetsPage,
                                  .page_count = IMG_tiff_page_count,
                                  .ending = "tif",
                                  .told = kTiffMagic},
    /*  1 BMP                 */
    {.reader = bmp_read_image,
     .encoder = bmp_write_image,
     .save_depths = kAllDepths,
     .ending = "bmp",
     .told = kBmpMagic},
    /*  2 PCX                 */
    {.reader = pcx_read_image,
     .encoder = pcx_write_image,
     .save_depths = kAllDepths,
     .ending = "pcx",
     .told = kPcxMagic},
    /*  3 TGA                 */
    {.reader = tga_read_image,
     .encoder = tga_write_image,
     .save_depths = kDepth8 | kDepth24,
     .ending = "tga",
     .told = kTgaMagic},
    /*  4 GIF                 */
    {.reader = gif_read_image,
     .encoder = gif_save_image,
     .save_depths = kDepth4 | kDepth8,
     .ending = "gif",
     .told = kGifMagic},
    /*  5 WPG                 */
    {.reader = wpg_read_image,
     .encoder = wpg_save_image,
     .save_depths = kDepth1 | kDepth4 | kDepth8,
     .ending = "wpg",
     .told = kWpgMagic},
    /*  6 WMF                 */
    {.reader = wmf_read_image,
     .encoder = wmf_save_image,
     .save_depths = kAllDepths,
     .ending = "wmf",
     .told = kWmfMagic},
    /*  7 TIFF, Compression 2 */
    {.encoder = write_tiff_2, .save_depths = kDepth1, .existing = ExistingFile::GetsPage},
    /*  8 TIFF, Compression 3 */
    {.encoder = write_tiff_3, .save_depths = kDepth1, .existing = ExistingFile::GetsPage},
    /*  9 TIFF, LZW           */
    {.encoder = tiff_write_lzw, .save_depths = kAllDepths, .existing = ExistingFile::GetsPage},
    /* 10 TIFF, Compression 4 */
    {.encoder = tiff_write_t6, .save_depths = kDepth1, .existing = ExistingFile::GetsPage},
    /* 11 DCX                 */
    {.reader = dcx_read_image,
     .encoder = dcx_write_image,
     .save_depths = kAllDepths,
     .existing = ExistingFile::GetsPage,
     .page_count = IMG_dcx_page_count,
     .ending = "dcx",
     .told = kDcxMagic},
    /* 12 BMP, run-length     */ {.encoder = bmp_write_rle, .save_depths = kDepth4 | kDepth8},
    /* 13 JPEG                */
    {.reader = jpeg_read_image,
     .encoder = jpeg_write_image,
     .save_depths = kDepth8 | kDepth24,
     .ending = "jpg",
     .told = kJpegMagic},
    /* 14 EPS                 */
    {.reader = eps_read_image,
     .encoder = eps_save_image,
     .save_depths = kAllDepths,
     .no_size = kNotSupported,
     .ending = "eps",
     .told = kEpsMagic},
    /* 15 PICT                */
    {.reader = pict_read_image,
     .encoder = pict_save_image,
     .save_depths = kAllDepths,
     .ending = "pct",
     .told = kPictMagic},
};

}  // namespace orv
