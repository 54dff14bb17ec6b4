// The segments in front of a scan, and the tables they bring.
#pragma once

#include "formats/jpeg/jpeg.h"
#include "formats/jpeg/jpeg_colour.h"
#include "frame/errors.h"
#include "frame/streams.h"

namespace orv
{

struct JpegFrameComponent {
    i32 h, v;  // sampling factors
    u32 quant_selector;
};

// Of SOF0, in either layout.
struct JpegFrameHeader {
    bool present;
    bool standard;  // in T.81's own layout, which wide reading alone takes
    i16 lines;
    i16 samples;  // a line
    u32 components;
    JpegFrameComponent component[kJpegComponents];
};

// Of SOS. Components are told by their order, never by their identifiers.
struct JpegScanHeader {
    u32 components;
    u32 dc_selector[kJpegComponents];
    u32 ac_selector[kJpegComponents];
};

struct JpegFile {
    JpegFrameHeader frame;
    JpegScanHeader scan;
    u32 restart_interval;  // MCUs, 0 for none
    JpegColours colours;
};

// Tables by number. They stay from one load to the next: a file that leaves one out uses what an earlier one
// brought. Written by jpeg_read_headers, read by the scan.
inline constexpr usize kJpegTables = 4;
extern std::array<std::array<i16, kBlockSize>, kJpegTables> jpeg_quant_tables;  // in the order of the file
extern std::array<JpegHuffmanTable, kJpegTables> jpeg_dc_tables;
extern std::array<JpegHuffmanTable, kJpegTables> jpeg_ac_tables;

// Looks for SOI from `offset` on and reads all segments up to the first SOS. The stream is left at the scan's
// data. kOk or kBadData; kNotSupported for a picture in several scans.
ErrorCode jpeg_read_headers(StreamHandle stream, u32 offset, JpegFile& file);

}  // namespace orv
