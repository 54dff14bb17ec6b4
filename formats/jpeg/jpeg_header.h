// The segments in front of a scan, and the tables they bring.
#pragma once

#include "formats/jpeg/jpeg.h"
#include "formats/jpeg/jpeg_colour.h"
#include "frame/errors.h"
#include "frame/streams.h"

namespace orv
{

struct JpegFrameComponent {
    u8 identifier;
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

// Of SOS. Components are told by their order; their identifiers tell only which of them a scan of some has.
struct JpegScanHeader {
    u32 components;
    u8 identifier[kJpegComponents];
    usize component[kJpegComponents];  // their numbers in the frame
    u32 dc_selector[kJpegComponents];
    u32 ac_selector[kJpegComponents];
};

struct JpegFile {
    JpegFrameHeader frame;
    JpegScanHeader scan;
    u32 restart_interval;  // MCUs, 0 for none
    JpegColours colours;
    bool in_scans;  // of some of the components each, which wide reading alone takes
    u32 data;       // position of the scan's data
};

// Tables by number. They stay from one load to the next: a file that leaves one out uses what an earlier one
// brought. Written by jpeg_read_headers, read by the scan.
inline constexpr usize kJpegTables = 4;
extern std::array<std::array<i16, kBlockSize>, kJpegTables> jpeg_quant_tables;  // in the order of the file
extern std::array<JpegHuffmanTable, kJpegTables> jpeg_dc_tables;
extern std::array<JpegHuffmanTable, kJpegTables> jpeg_ac_tables;

// Looks for SOI from `offset` on and reads all segments up to the first SOS. The stream is left at the scan's
// data. kOk or kBadData.
ErrorCode jpeg_read_headers(StreamHandle stream, u32 offset, JpegFile& file);

// Where the data of a scan that begins at `position` ends: at a marker that is none of RST0 to RST7, or with
// the stream.
u32 jpeg_data_end(StreamHandle stream, u32 position);

// Of a picture in several scans: reads the segments from file.data on, up to the next SOS. False where there is
// none or it does not fit.
bool jpeg_read_next_scan(StreamHandle stream, JpegFile& file);

}  // namespace orv
