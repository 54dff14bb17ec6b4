// A TIFF picture's directory (TIFF 6.0, section 2) and the state that the TIFF and fax readers share.
#pragma once

#include "frame/load.h"
#include "frame/streams.h"

namespace orv
{

enum TiffCompression : u32 {
    kTiffRaw = 1,
    kTiffHuffman = 2,  // Modified Huffman: T.4 codes, lines on byte boundaries, no EOL
    kTiffT4 = 3,       // always taken as one-dimensional
    kTiffT6 = 4,
    kTiffLzw = 5,
    kTiffPackBits = 32773,
};

enum TiffPhotometric : u32 { kWhiteIsZero = 0, kBlackIsZero = 1, kTiffPalette = 3, kSeparated = 5 };

enum TiffFieldType : u16 { kTiffByte = 1, kTiffAscii = 2, kTiffShort = 3, kTiffLong = 4, kTiffRational = 5 };

inline constexpr u32 kPlanarSeparate = 2;
inline constexpr u32 kPredictorHorizontal = 2;
inline constexpr u32 kFillOrderReversed = 2;

// The values of the directory being read, with what holds where a tag is missing.
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
    u32 ColorMapOffset = 0;  // counted from tiff_base_offset, 0 for none
    u32 XResolution = 204;   // dots per inch
    u32 YResolution = 196;
    u32 FillOrder = 1;
    u32 PlanarConfiguration = 1;
    u32 Predictor = 1;
};

// A directory entry in host order. `value` is the field of four bytes: a number, two SHORTs with the
// first in the low half, up to four BYTEs with the first lowest, or the position of what did not fit.
struct TiffEntry {
    u16 tag;
    u16 type;
    u32 count;
    u32 value;
};

// The picture being read: set on entry to the TIFF and fax readers and by IMG_tiff_page_count, read by
// the decoders.
extern TiffDirectory tiff_directory;
extern StreamHandle tiff_stream;
extern u32 tiff_base_offset;  // all positions in the file count from here
extern u16 tiff_byte_order;
extern TiffEntry tiff_strip_entry;  // StripOffsets of the last directory that had it
extern PictureSink* tiff_sink;

// Numbers in the file's byte order.
u16 tiff_u16(const u8* bytes);
u32 tiff_u32(const u8* bytes);

// Seeks to a position that counts from tiff_base_offset.
bool tiff_seek(u32 position);

// Reads the file header at the stream's position and walks the chain of directories, up to the one
// numbered `page`, into tiff_directory. kOk; kOutOfMemory, also for a header cut short; kBadData for a
// directory cut short; kNoSuchPage.
ErrorCode tiff_read_directory(i16 page);

// Bytes of a row as delivered: 1, 4 and 24 bits as stored rows, any other depth a byte a pixel, raised
// to a multiple of 4.
i16 tiff_row_stride(i16 width, i16 bits);

// Bytes of a row in the file.
i32 tiff_row_bytes(const TiffDirectory& dir);

// Fills the BITMAPINFOHEADER and sets line_doubling, stored_y_resolution and, for a page whose lines
// are doubled, y_resolution.
void tiff_build_header(const TiffDirectory& dir, ImageHeader& header);

}  // namespace orv
