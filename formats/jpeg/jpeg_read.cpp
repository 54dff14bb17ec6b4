// Reader of JPEG: sequential, Huffman-coded, 8 bits a sample; gray or colour in one interleaved scan.
#include <algorithm>

#include "formats/format_readers.h"
#include "formats/jpeg/jpeg_colour.h"
#include "formats/jpeg/jpeg_dct.h"
#include "formats/jpeg/jpeg_header.h"
#include "formats/jpeg/jpeg_huffman.h"
#include "frame/blocks.h"
#include "frame/load.h"
#include "frame/rows.h"
#include "frame/scratch.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr usize kMaxMcuBlocks = kJpegComponents * kJpegMaxFactor * kJpegMaxFactor;
constexpr usize kMaxMcuColumns = usize{kBlockSide} * kJpegMaxFactor;

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

// Decoding tables by number, made for each scan.
std::array<JpegDecodeTable, kJpegTables> dc_decode_tables;
std::array<JpegDecodeTable, kJpegTables> ac_decode_tables;

JpegScan jpeg_scan;

// --- Set-up ---

// Where column x of an MCU takes its chroma. In this system's files a component counts as having every column
// where the first has 1 or 3 of them, else as having 8 to an MCU.
void spread_plan(const JpegFile& file, usize i, JpegScan& scan)
{
    const u32 first = static_cast<u32>(file.frame.component[0].h);
    const u32 own = file.frame.standard ? static_cast<u32>(file.frame.component[i + 1].h)
                    : first % 2 == 1    ? first
                                        : 1;
    for (usize x = 0; x < scan.mcu_columns; ++x) {
        scan.spread[i][x] = static_cast<u8>(x * own / first);
    }
    scan.spreads[i] = own != first;
}

void places_plan(const JpegFile& file, JpegScan& scan)
{
    const usize components = std::min(file.frame.components, file.scan.components);
    for (usize i = 0; i < components; ++i) {
        const usize h = static_cast<usize>(file.frame.component[i].h);
        const usize v = static_cast<usize>(file.frame.component[i].v);
        for (usize block = 0; block < h * v; ++block) {
            const usize row = block / h * kBlockSide;
            scan.place[scan.mcu_blocks++] = {&scan.component[i], row * scan.padded + block % h * kBlockSide};
        }
    }
}

void components_plan(const JpegFile& file, JpegScan& scan)
{
    for (usize i = 0; i < file.frame.components; ++i) {
        JpegComponent& component = scan.component[i];
        const u32 dc = file.scan.dc_selector[i];
        const u32 ac = file.scan.ac_selector[i];
        component.quant_table = jpeg_quant_tables[file.frame.component[i].quant_selector].data();
        component.h = static_cast<i16>(file.frame.component[i].h);
        component.v = static_cast<i16>(file.frame.component[i].v);
        component.dc_table = &dc_decode_tables[dc];
        component.ac_table = &ac_decode_tables[ac];
        jpeg_prepare_table(jpeg_dc_tables[dc], dc_decode_tables[dc]);
        jpeg_prepare_table(jpeg_ac_tables[ac], ac_decode_tables[ac]);
    }
}

// Planes for the rows of an MCU and two rows for spread chroma, in one block that starts cleared.
bool planes_take(usize components, JpegScan& scan)
{
    const usize plane = scan.padded * scan.mcu_rows + kSampleSlack;
    const usize row = scan.padded + kSampleSlack;
    scan.memory = block_alloc(components * plane + 2 * row);
    if (scan.memory == nullptr) {
        return false;
    }
    i8* at = reinterpret_cast<i8*>(scan.memory);
    for (usize i = 0; i < components; ++i, at += plane) {
        scan.component[i].plane = at;
    }
    scan.spread_rows[0] = at;
    scan.spread_rows[1] = at + row;
    return true;
}

bool scan_open(const JpegFile& file, StreamHandle stream, JpegScan& scan)
{
    scan = {};
    const JpegFrameComponent& first = file.frame.component[0];
    scan.mcu_columns = static_cast<usize>(first.h * kBlockSide);
    scan.mcu_rows = static_cast<usize>(first.v * kBlockSide);
    const usize width = static_cast<usize>(file.frame.samples);
    scan.padded = (width + scan.mcu_columns - 1) / scan.mcu_columns * scan.mcu_columns;
    scan.restart_interval = file.restart_interval;
    scan.colours = file.colours;
    scan.inverse = dct_kernels().inverse;
    if (!planes_take(file.frame.components, scan)) {
        return false;
    }
    components_plan(file, scan);
    places_plan(file, scan);
    if (file.frame.components == kJpegComponents) {
        spread_plan(file, 0, scan);
        spread_plan(file, 1, scan);
        scan.halved = first.h == 2 && scan.spreads[0] && scan.spreads[1];
    }
    scan.bits = jpeg_bits_open(stream);
    return true;
}

// --- Blocks ---

void restart_if_due(JpegScan& scan)
{
    if (scan.restart_interval == 0 || ++scan.mcus_done < scan.restart_interval) {
        return;
    }
    jpeg_find_restart(scan.bits);
    scan.mcus_done = 0;
    for (JpegComponent& component : scan.component) {
        component.dc_prediction = 0;
    }
}

BlockExtent extent_of(u32 last)
{
    constexpr u32 kLastInCorner = 9;  // the first four diagonals
    return last == 0 ? BlockExtent::Flat : last <= kLastInCorner ? BlockExtent::Corner : BlockExtent::Whole;
}

// Transforms `count` blocks, the last one twice where the number is odd.
void blocks_transform(JpegScan& scan, usize count)
{
    if (count % 2 != 0) {
        std::memcpy(scan.coefficients + count * kBlockSize, scan.coefficients + (count - 1) * kBlockSize,
                    sizeof(JpegBlock));
        scan.extent[count] = scan.extent[count - 1];
        scan.target[count] = scan.target[count - 1];
    }
    for (usize i = 0; i < count; i += 2) {
        scan.inverse(scan.coefficients + i * kBlockSize, std::max(scan.extent[i], scan.extent[i + 1]),
                     scan.target[i], scan.target[i + 1], scan.padded);
    }
}

void mcu_row_decode(JpegScan& scan)
{
    const usize at_once = kMaxMcuBlocks / scan.mcu_blocks;  // MCUs
    const auto decode = jpeg_bits_overrun(scan.bits) ? jpeg_decode_zero_block : jpeg_decode_block;
    for (usize column = 0; column < scan.padded;) {
        const usize mcus = std::min(at_once, (scan.padded - column) / scan.mcu_columns);
        std::memset(scan.coefficients, 0, mcus * scan.mcu_blocks * sizeof(JpegBlock));
        usize block = 0;
        for (usize mcu = 0; mcu < mcus; ++mcu, column += scan.mcu_columns) {
            for (usize i = 0; i < scan.mcu_blocks; ++i, ++block) {
                const BlockPlace& place = scan.place[i];
                const u32 last = decode(scan.bits, *place.component, scan.coefficients + block * kBlockSize);
                scan.extent[block] = extent_of(last);
                scan.target[block] = place.component->plane + place.offset + column;
            }
            restart_if_due(scan);
        }
        blocks_transform(scan, block);
    }
}

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

// Why rows are not what the encoder put in, or null.
const char* mcu_row_problem(JpegScan& scan)
{
    const bool damaged = scan.bits.damaged;
    scan.bits.damaged = false;
    return jpeg_bits_overrun(scan.bits) ? kNoteDataEnded : damaged ? kNoteBadCode : nullptr;
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
    const bool colour = sink.bits == 24;
    ScanState before{};
    bool was_overrun = false;
    for (i32 row = 0; row < sink.height;) {
        const ScanState state = scan_state(scan);
        if (!was_overrun || state != before) {
            was_overrun = jpeg_bits_overrun(scan.bits);
            before = state;
            mcu_row_decode(scan);
        }
        const char* const problem = mcu_row_problem(scan);
        if (problem != nullptr) {
            picture_note(sink, problem);
        }
        for (usize r = 0; r < scan.mcu_rows && row < sink.height; ++r, ++row) {
            row_convert(scan, r, static_cast<usize>(sink.width), colour, row_lend(sink, row));
            row_done(sink, row, problem == nullptr ? RowState::Whole : RowState::Repaired);
        }
    }
}

}  // namespace

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
    if (!scan_open(file, stream, jpeg_scan)) {
        return kOutOfMemory;
    }
    jpeg_decode_scan(jpeg_scan, sink);
    block_free(jpeg_scan.memory);
    scratch_free(header_block);
    return kReaderDone;
}

}  // namespace orv
