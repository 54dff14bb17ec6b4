// A TIFF picture's directory (TIFF 6.0, section 2).
#pragma once

#include "formats/tiff/tiff_file.h"

namespace orv
{

// A directory entry in host order. `value` is the field of four bytes: a number, two SHORTs with the
// first in the low half, up to four BYTEs with the first lowest, or the position of what did not fit.
struct TiffEntry {
    u16 tag;
    u16 type;
    u32 count;
    u32 value;
};

// The values of a directory, with what holds where a tag is missing.
struct TiffDirectory {
    u32 ImageLength = 0;  // rows
    u32 ImageWidth = 0;   // pixels
    u32 RowsPerStrip = 0xFFFFFFFE;
    u32 StripOffset = 0;     // first value; the decoders go through tiff_strip_entry
    u32 StripByteCount = 0;  // first value; strips end by their rows or by their own end code
    u32 SamplesPerPixel = 1;
    u32 BitsPerSample = 1;  // first value
    u32 Compression = kTiffRaw;
    u32 Photometric = kBlackIsZero;
    u32 ColorMapOffset = 0;  // counted from the base, 0 for none
    u32 XResolution = 204;   // dots per inch
    u32 YResolution = 196;
    u32 FillOrder = kFillOrderNormal;
    u32 PlanarConfiguration = kPlanarContiguous;
    u32 Predictor = 1;
    TiffEntry tiff_strip_entry = {};  // StripOffsets of the last directory in the chain that had it
};

// A picture is read also where the position of the next directory is missing. The counter needs that, and
// looks into a directory that has one behind it alone, as it always did: its texts reach the text buffers.
enum class DirectoryUse : u8 { Read, Count };

// Reads the `count` entries at the stream's position into `dir`, which holds the directory before, and gives
// the next one's position. kOk, kOutOfMemory, or kBadData where they are cut short.
ErrorCode tiff_read_entries(const TiffFile& file, u32 count, DirectoryUse use, TiffDirectory& dir, u32& next);

// Walks from the directory at `first` to the one numbered `page`. kOk, kOutOfMemory, kBadData for a
// directory cut short, kNoSuchPage.
ErrorCode tiff_read_directory(const TiffFile& file, u32 first, i16 page, TiffDirectory& dir);

}  // namespace orv
