#include "formats/jpeg/jpeg_scan.h"

#include <algorithm>

#include "frame/blocks.h"
#include "frame/picture_sink.h"

namespace orv
{
namespace
{

// Decoding tables by number, made for each scan.
std::array<JpegDecodeTable, kJpegTables> dc_decode_tables;
std::array<JpegDecodeTable, kJpegTables> ac_decode_tables;

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
    scan.mcu_blocks = 0;
    for (usize i = 0; i < std::min<usize>(file.frame.components, file.scan.components); ++i) {
        JpegComponent& component = scan.component[file.scan.component[i]];
        const usize h = static_cast<usize>(component.h);
        const usize v = static_cast<usize>(component.v);
        for (usize block = 0; block < h * v; ++block) {
            const usize row = block / h * kBlockSide;
            scan.place[scan.mcu_blocks++] = {&component, row * scan.padded + block % h * kBlockSide};
        }
    }
}

void components_plan(const JpegFile& file, JpegScan& scan)
{
    for (usize i = 0; i < std::min<usize>(file.frame.components, file.scan.components); ++i) {
        const usize number = file.scan.component[i];
        JpegComponent& component = scan.component[number];
        const u32 dc = file.scan.dc_selector[i];
        const u32 ac = file.scan.ac_selector[i];
        component.dc_prediction = 0;
        component.quant_table = jpeg_quant_tables[file.frame.component[number].quant_selector].data();
        component.dc_table = &dc_decode_tables[dc];
        component.ac_table = &ac_decode_tables[ac];
        component.has_zero_block = false;
        jpeg_prepare_table(jpeg_dc_tables[dc], dc_decode_tables[dc]);
        jpeg_prepare_table(jpeg_ac_tables[ac], ac_decode_tables[ac]);
    }
}

// Planes and two rows for spread chroma, in one block that starts cleared.
bool planes_take(usize components, usize strips, JpegScan& scan)
{
    const usize plane = scan.strip * strips + kSampleSlack;
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

// --- Blocks ---

// In front of an MCU, so that none is looked for behind the last.
void restart_if_due(JpegScan& scan)
{
    if (scan.restart_interval == 0 || scan.mcus_done++ < scan.restart_interval) {
        return;
    }
    jpeg_find_restart(scan.bits);
    scan.mcus_done = 1;
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

// Decodes a block as block `number` of those that are transformed together.
void block_decode(JpegScan& scan, JpegComponent& component, usize number, i8* samples)
{
    const auto decode = jpeg_bits_overrun(scan.bits) ? jpeg_decode_zero_block : jpeg_decode_block;
    const u32 last = decode(scan.bits, component, scan.coefficients + number * kBlockSize);
    scan.extent[number] = extent_of(last);
    scan.target[number] = samples;
}

}  // namespace

bool scan_open(const JpegFile& file, usize strips, JpegScan& scan)
{
    scan = {};
    const JpegFrameComponent& first = file.frame.component[0];
    scan.mcu_columns = static_cast<usize>(first.h * kBlockSide);
    scan.mcu_rows = static_cast<usize>(first.v * kBlockSide);
    const usize width = static_cast<usize>(file.frame.samples);
    scan.padded = (width + scan.mcu_columns - 1) / scan.mcu_columns * scan.mcu_columns;
    scan.strip = scan.padded * scan.mcu_rows;
    scan.colours = file.colours;
    scan.inverse = dct_kernels().inverse;
    if (!planes_take(file.frame.components, strips, scan)) {
        return false;
    }
    for (usize i = 0; i < file.frame.components; ++i) {
        scan.component[i].h = static_cast<i16>(file.frame.component[i].h);
        scan.component[i].v = static_cast<i16>(file.frame.component[i].v);
    }
    if (file.frame.components == kJpegComponents) {
        spread_plan(file, 0, scan);
        spread_plan(file, 1, scan);
        scan.halved = first.h == 2 && scan.spreads[0] && scan.spreads[1];
    }
    return true;
}

void scan_begin(const JpegFile& file, StreamHandle stream, u32 most, JpegScan& scan)
{
    components_plan(file, scan);
    places_plan(file, scan);
    scan.restart_interval = file.restart_interval;
    scan.mcus_done = 0;
    scan.bits = jpeg_bits_open(stream, most);
}

void mcu_row_decode(JpegScan& scan)
{
    const usize at_once = kMaxMcuBlocks / scan.mcu_blocks;  // MCUs
    for (usize column = 0; column < scan.padded;) {
        const usize mcus = std::min(at_once, (scan.padded - column) / scan.mcu_columns);
        std::memset(scan.coefficients, 0, mcus * scan.mcu_blocks * sizeof(JpegBlock));
        usize block = 0;
        for (usize mcu = 0; mcu < mcus; ++mcu, column += scan.mcu_columns) {
            restart_if_due(scan);
            for (usize i = 0; i < scan.mcu_blocks; ++i, ++block) {
                const BlockPlace& place = scan.place[i];
                block_decode(scan, *place.component, block, place.component->plane + place.offset + column);
            }
        }
        blocks_transform(scan, block);
    }
}

void block_row_decode(JpegScan& scan, JpegComponent& component, usize across, i8* samples)
{
    const usize h = static_cast<usize>(component.h);
    for (usize column = 0; column < across;) {
        const usize blocks = std::min(kMaxMcuBlocks, across - column);
        std::memset(scan.coefficients, 0, blocks * sizeof(JpegBlock));
        for (usize block = 0; block < blocks; ++block, ++column) {
            restart_if_due(scan);
            block_decode(scan, component, block,
                         samples + column / h * scan.mcu_columns + column % h * kBlockSide);
        }
        blocks_transform(scan, blocks);
    }
}

const char* scan_row_problem(JpegScan& scan)
{
    const bool damaged = scan.bits.damaged;
    scan.bits.damaged = false;
    return jpeg_bits_overrun(scan.bits) ? kNoteDataEnded : damaged ? kNoteBadCode : nullptr;
}

}  // namespace orv
