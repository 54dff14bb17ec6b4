// The one table of readers and encoders: a line a format number.
#include "frame/format_table.h"

#include "formats/format_readers.h"

namespace orv
{
namespace
{

constexpr FormatEntry kAbsent = {nullptr, nullptr, 0, ExistingFile::Replaced};

}  // namespace

const FormatEntry format_table[kFormatCount] = {
    /*  0 TIFF                */ {tiff_read_image, nullptr, 0, ExistingFile::GetsPage},
    /*  1 BMP                 */ {bmp_read_image, bmp_write_image, kAllDepths, ExistingFile::Replaced},
    /*  2 PCX                 */ {pcx_read_image, pcx_write_image, kAllDepths, ExistingFile::Replaced},
    /*  3 TGA                 */ {tga_read_image, tga_write_image, kDepth8 | kDepth24, ExistingFile::Replaced},
    /*  4 GIF                 */ kAbsent,
    /*  5 WPG                 */ kAbsent,
    /*  6 WMF                 */ kAbsent,
    /*  7 TIFF, Compression 2 */ kAbsent,
    /*  8 TIFF, Compression 3 */ kAbsent,
    /*  9 TIFF, LZW           */ kAbsent,
    /* 10 TIFF, Compression 4 */ kAbsent,
    /* 11 DCX                 */ {dcx_read_image, dcx_write_image, kAllDepths, ExistingFile::GetsPage},
    /* 12 BMP, run-length     */ {nullptr, bmp_write_rle, kDepth4 | kDepth8, ExistingFile::Replaced},
    /* 13 JPEG                */ kAbsent,
    /* 14 EPS                 */ kAbsent,
    /* 15 PICT                */ kAbsent,
};

}  // namespace orv
