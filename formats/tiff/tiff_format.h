// The numbers of TIFF 6.0 that both directions use.
//
// Header       byte order word "II" or "MM" | 16 bits version | 32 bits position of the first directory
// Directory    16 bits entry count | entries | 32 bits position of the next directory, 0 for none
// Entry        16 bits tag | 16 bits field type | 32 bits count | 32 bits value, or its position
#pragma once

#include "frame/types.h"

namespace orv
{

inline constexpr u16 kBigEndianOrder = 0x4D4D;     // "MM"
inline constexpr u16 kLittleEndianOrder = 0x4949;  // "II"
inline constexpr u16 kTiffVersion = 42;
inline constexpr u16 kTiffHeaderBytes = 8;
inline constexpr u32 kTiffFirstField = 4;  // of the file header: position of the first directory
inline constexpr u32 kTiffEntryBytes = 12;

enum TiffTag : u16 {
    kNewSubfileType = 254,
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kCompression = 259,
    kPhotometric = 262,
    kFillOrder = 266,
    kStripOffsets = 273,
    kOrientation = 274,
    kSamplesPerPixel = 277,
    kRowsPerStrip = 278,
    kStripByteCounts = 279,
    kXResolution = 282,
    kYResolution = 283,
    kPlanarConfiguration = 284,
    kT4Options = 292,
    kResolutionUnit = 296,
    kPageNumber = 297,
    kDateTime = 306,
    kArtist = 315,
    kPredictor = 317,
    kColorMap = 320,
};

enum TiffFieldType : u16 { kTiffByte = 1, kTiffAscii = 2, kTiffShort = 3, kTiffLong = 4, kTiffRational = 5 };

enum TiffCompression : u32 {
    kTiffRaw = 1,
    kTiffHuffman = 2,  // Modified Huffman: T.4 codes, lines on byte boundaries, no EOL
    kTiffT4 = 3,       // always taken as one-dimensional
    kTiffT6 = 4,
    kTiffLzw = 5,
    kTiffPackBits = 32773,
};

constexpr bool tiff_is_ccitt(u32 compression)
{
    return compression == kTiffHuffman || compression == kTiffT4 || compression == kTiffT6;
}

enum TiffPhotometric : u32 {
    kWhiteIsZero = 0,
    kBlackIsZero = 1,
    kTiffRgb = 2,
    kTiffPalette = 3,
    kSeparated = 5
};

enum TiffResolutionUnit : u32 { kUnitInch = 2, kUnitCentimetre = 3 };

inline constexpr u32 kPlanarContiguous = 1;
inline constexpr u32 kPlanarSeparate = 2;
inline constexpr u32 kPredictorHorizontal = 2;
inline constexpr u32 kFillOrderNormal = 1;
inline constexpr u32 kFillOrderReversed = 2;  // the first bit of each byte is its lowest

}  // namespace orv
