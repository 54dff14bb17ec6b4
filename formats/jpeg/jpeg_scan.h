// A scan of a JPEG file on its way to planes of samples.
//
// A strip is what a row of MCUs of all components gives: in each component's plane the first component's rows,
// of its width in whole MCUs. A component with fewer samples fills the first columns of each MCU and the first
// rows.
#pragma once

#include "formats/jpeg/jpeg_colour.h"
#include "formats/jpeg/jpeg_dct.h"
#include "formats/jpeg/jpeg_header.h"
#include "formats/jpeg/jpeg_huffman.h"
#include "frame/picture_sink.h"

namespace orv
{

inline constexpr usize kMaxMcuBlocks = kJpegComponents * kJpegMaxFactor * kJpegMaxFactor;
inline constexpr usize kMaxMcuColumns = usize{kBlockSide} * kJpegMaxFactor;

// A block's place in a row of MCUs.
struct BlockPlace {
    JpegComponent* component;
    usize offset;  // in the component's plane, from the MCU's first column
};

struct JpegScan {
    JpegBits bits;
    JpegComponent component[kJpegComponents];
    usize mcu_columns;  // of samples of the first component, as the next two
    usize mcu_rows;
    usize padded;  // width in whole MCUs
    usize strip;   // samples of a strip in a plane
    BlockPlace place[kMaxMcuBlocks];
    usize mcu_blocks;
    u32 restart_interval;
    u32 mcus_done;  // since the last restart

    JpegColours colours;
    bool halved;      // chroma has every second column: the common case, converted at once
    bool spreads[2];  // a component's chroma is spread before it is converted
    std::array<u8, kMaxMcuColumns> spread[2];
    i8* spread_rows[2];
    u8* memory;  // what planes and rows lie in

    InversePair inverse;
    // Blocks of several MCUs, so that they are transformed in pairs.
    alignas(32) i16 coefficients[(kMaxMcuBlocks + 1) * kBlockSize];
    BlockExtent extent[kMaxMcuBlocks + 1];
    i8* target[kMaxMcuBlocks + 1];
};

// Settles the geometry of the frame and takes planes of `strips` strips. False without memory. The planes start
// as zero and go with block_free(scan.memory).
bool scan_open(const JpegFile& file, usize strips, JpegScan& scan);

// Makes ready for the scan whose headers were read last; the stream stands at its data, of `most` bytes at
// most.
void scan_begin(const JpegFile& file, StreamHandle stream, u32 most, JpegScan& scan);

// Decodes a row of MCUs to where the components' planes point.
void mcu_row_decode(JpegScan& scan);

// Decodes a row of `across` blocks of the one component that the scan has, to rows of the strip from `samples`
// on.
void block_row_decode(JpegScan& scan, JpegComponent& component, usize across, i8* samples);

// Why the rows of the last row of MCUs or blocks are not what the encoder put in, or null.
const char* scan_row_problem(JpegScan& scan);

// Reads a picture in several scans, each of some of its components, of which the first one's headers are read,
// and delivers its rows. False without memory.
bool jpeg_decode_scans(JpegFile& file, StreamHandle stream, JpegScan& scan, PictureSink& sink);

// Converts the strip that the components' planes point to and delivers its rows, from row `row` of the picture
// on. Gives the row behind them.
i32 strip_deliver(JpegScan& scan, PictureSink& sink, i32 row, const char* problem);

}  // namespace orv
