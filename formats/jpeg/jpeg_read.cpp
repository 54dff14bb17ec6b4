// Reader of JPEG: sequential, Huffman-coded, 8 bits a sample; gray or colour.
#include "formats/format_readers.h"
#include "formats/jpeg/jpeg_scan.h"
#include "frame/blocks.h"
#include "frame/load.h"
#include "frame/picture_sink.h"
#include "frame/rows.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

JpegScan jpeg_scan;

// --- Rows ---

// The row of component 2 or 3 that belongs to row r of the first.
const i8* chroma_row(JpegScan& scan, usize i, usize r)
{
    const JpegComponent& component = scan.component[i + 1];
    const i8* const row = component.plane + r * static_cast<usize>(component.v) /
                                                static_cast<usize>(scan.component[0].v) * scan.padded;
    if (scan.halved || !scan.spreads[i]) {
        return row;
    }
    jpeg_expand_chroma(row, scan.spread_rows[i], scan.padded, {scan.spread[i].data(), scan.mcu_columns});
    return scan.spread_rows[i];
}

void row_convert(JpegScan& scan, usize r, usize width, bool colour, u8* pixels)
{
    const i8* const y = scan.component[0].plane + r * scan.padded;
    if (!colour) {
        jpeg_row_to_gray(y, width, pixels);
        return;
    }
    jpeg_row_to_colour(scan.colours, scan.halved ? ChromaStep::SecondOfSixteen : ChromaStep::Every, y,
                       chroma_row(scan, 0, r), chroma_row(scan, 1, r), width, pixels);
}

// What a row of MCUs depends on behind the end of the data, where all bits are zero.
struct ScanState {
    u32 mcus_done;
    i16 predictions[kJpegComponents];

    bool operator==(const ScanState& other) const = default;
};

ScanState scan_state(const JpegScan& scan)
{
    return {
        scan.mcus_done,
        {scan.component[0].dc_prediction, scan.component[1].dc_prediction, scan.component[2].dc_prediction}};
}

// Behind the end of the data rows go on coming, decoded from zero bits. A row of MCUs that begins there as the
// one before it did comes out the same and is not decoded again.
void jpeg_decode_scan(JpegScan& scan, PictureSink& sink)
{
    ScanState before{};
    bool was_overrun = false;
    for (i32 row = 0; row < sink.height;) {
        const ScanState state = scan_state(scan);
        if (!was_overrun || state != before) {
            was_overrun = jpeg_bits_overrun(scan.bits);
            before = state;
            mcu_row_decode(scan);
        }
        row = strip_deliver(scan, sink, row, scan_row_problem(scan));
    }
}

bool picture_decode(JpegFile& file, StreamHandle stream, JpegScan& scan, PictureSink& sink)
{
    if (file.in_scans) {
        return jpeg_decode_scans(file, stream, scan, sink);
    }
    if (!scan_open(file, 1, scan)) {
        return false;
    }
    scan_begin(file, stream, kAllBytes, scan);
    jpeg_decode_scan(scan, sink);
    return true;
}

}  // namespace

i32 strip_deliver(JpegScan& scan, PictureSink& sink, i32 row, const char* problem)
{
    if (problem != nullptr) {
        picture_note(sink, problem);
    }
    for (usize r = 0; r < scan.mcu_rows && row < sink.height; ++r, ++row) {
        row_convert(scan, r, static_cast<usize>(sink.width), sink.bits == 24, row_lend(sink, row));
        row_done(sink, row, problem == nullptr ? RowState::Whole : RowState::Repaired);
    }
    return row;
}

// --- Entry point ---

i16 jpeg_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    const u32 offset = seek_to_picture(offset_or_page, stream);
    JpegFile file;
    const ErrorCode parsed = jpeg_read_headers(stream, offset, file);
    if (parsed != kOk) {
        return parsed;
    }
    u8* const header_block = scratch_alloc(kImageHeaderBytes);
    if (header_block == nullptr) {
        return kOutOfMemory;
    }
    ImageHeader& header = *reinterpret_cast<ImageHeader*>(header_block);
    header.info.biSize = kBitmapHeaderBytes;
    header.info.biWidth = file.frame.samples;
    header.info.biHeight = file.frame.lines;
    header.info.biPlanes = 1;
    header.info.biBitCount = file.frame.components == kJpegComponents ? 24 : 8;
    // Stated for 24 bits, whatever the depth.
    header.info.biSizeImage = static_cast<u32>(row_stride_wide(file.frame.samples, 24) * file.frame.lines);
    palette_build_default(&header, "tiff");
    const i16 begun = picture_begin(sink, header);
    if (begun < 0) {
        return begun;
    }
    if (!picture_decode(file, stream, jpeg_scan, sink)) {
        return kOutOfMemory;
    }
    block_free(jpeg_scan.memory);
    scratch_free(header_block);
    return kReaderDone;
}

}  // namespace orv
