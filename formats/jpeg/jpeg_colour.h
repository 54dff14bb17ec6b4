// Rows of samples to rows of pixels and back, and the sampling of chroma: plain, and on vectors with the same
// results.
#pragma once

#include "formats/jpeg/jpeg.h"

namespace orv
{

// What the second and third component mean.
enum class JpegColours : u8 {
    Video,  // U and V of analogue video: the files of this system
    Jfif,   // Cb and Cr of JFIF: files in T.81's own layout
    Rgb     // red, green and blue themselves: such files that say so
};

// How many columns of pixels a chroma sample of a row stands for.
enum class ChromaStep : u8 { Every, SecondOfSixteen };

// Bytes that may be read behind the padded end of a row of samples.
inline constexpr usize kSampleSlack = 32;

// Eight columns of chroma stand for a row of an MCU: spread[x] tells where column x of the MCU takes its
// sample, which is never behind x. `out` gets `padded` samples, a multiple of the MCU's columns.
void jpeg_expand_chroma(const i8* row, i8* out, usize padded, std::span<const u8> spread);

// `width` pixels of blue, green and red. With SecondOfSixteen each of the first 8 samples of 16 columns of u
// and v stands for two columns.
void jpeg_row_to_colour(JpegColours colours, ChromaStep step, const i8* y, const i8* u, const i8* v,
                        usize width, u8* pixels);
void row_to_colour_plain(JpegColours colours, ChromaStep step, const i8* y, const i8* u, const i8* v,
                         usize width, u8* pixels);

void jpeg_row_to_gray(const i8* y, usize width, u8* pixels);

// A row of `width` pixels of blue, green, red, or of gray bytes where u is null, into rows of samples.
void jpeg_split_planes(JpegColours colours, const u8* pixels, usize width, i8* y, i8* u, i8* v);
void split_planes_plain(JpegColours colours, const u8* pixels, usize width, i8* y, i8* u, i8* v);

enum class Decimation : u8 { Dropping, Averaging };

// Of each 16 columns of a row of `padded` samples the even ones, or the means of two, go to the first 8.
void jpeg_decimate_chroma(i8* row, usize padded, Decimation how);

}  // namespace orv
