// Encoder of JPEG: sequential, Huffman-coded, gray or colour with chroma at every second column, in one scan
// without restarts. The described way writes this system's frame header and its colours; the standard way
// writes T.81's and JFIF's, and rounds where the other cuts.
#include <algorithm>

#include "formats/format_readers.h"
#include "formats/jpeg/jpeg_colour.h"
#include "formats/jpeg/jpeg_dct.h"
#include "formats/jpeg/jpeg_encode.h"
#include "formats/jpeg/jpeg_tables.h"
#include "frame/api_call.h"
#include "frame/blocks.h"
#include "frame/progress.h"
#include "frame/save.h"
#include "frame/scratch.h"
#include "frame/settings.h"
#include "frame/stream_writer.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr i32 kMaxDescribedColumns = 2720;  // whose strip fits a scratch block
constexpr usize kStripSlack = 100;
constexpr u32 kDotsPerInch = 96;
constexpr i32 kCoarsestStep = 100;
constexpr u32 kMcuBlocks = 4;  // at most: two of luminance, two of chroma

// In natural order, written to every file: replaced by IMGLOW_set_comp_quality, read by jpeg_write_image.
std::array<u8, kBlockSize> quant_tables[2] = {kQuantLuminance, kQuantChrominance};

struct JpegWriting {
    const ImageHeader* header;
    PictureSource* source;
    bool standard;
    bool colour;
    usize width;
    usize padded;  // in whole MCUs

    // Eight rows of pixels as they are encoded; in the standard way, a row that a palette stands for.
    u8* strip;
    usize strip_stride;
    i8* planes[kJpegComponents];

    JpegCodeTable dc_codes[2];
    JpegCodeTable ac_codes[2];
    QuantDivisor divisor[2];
    JpegEncoding component[kJpegComponents];
    JpegBitWriter bits;
    ForwardPair forward;
};

JpegWriting jpeg_writing;

// --- Headers ---

void put_segment(StreamWriter& out, JpegMarker marker, u32 bytes)
{
    put_u8(out, 0xFF);
    put_u8(out, marker);
    put_be16(out, bytes + 2);
}

void put_quant_tables(StreamWriter& out)
{
    put_segment(out, kJpegDqt, 2 * (1 + kBlockSize));
    for (u32 i = 0; i < 2; ++i) {
        put_u8(out, i);
        for (const u8 place : jpeg_zigzag) {
            put_u8(out, quant_tables[i][place]);
        }
    }
}

void put_huffman_table(StreamWriter& out, JpegTableName name, std::span<const u8> table)
{
    put_segment(out, kJpegDht, static_cast<u32>(1 + table.size()));
    put_u8(out, name);
    put_bytes(out, table.data(), static_cast<u32>(table.size()));
}

// Described files tell of three components whatever they have.
void put_frame(StreamWriter& out, const JpegWriting& writing)
{
    const u32 components = writing.colour ? 3 : 1;
    const u32 told = writing.standard ? components : 3;
    put_segment(out, kJpegSof0, writing.standard ? 6 + 3 * told : kJpegFrameBytes);
    put_u8(out, 8);  // bits a sample
    if (!writing.standard) {
        put_u8(out, 0);
    }
    put_be16(out, static_cast<u32>(writing.header->info.biHeight));
    put_be16(out, static_cast<u32>(writing.header->info.biWidth));
    put_u8(out, components);
    for (u32 i = 1; i <= told; ++i) {
        put_u8(out, i);
        put_u8(out, i == 1 && writing.colour ? 0x21 : 0x11);
        put_u8(out, i == 1 ? 0 : 1);
    }
}

void put_scan(StreamWriter& out, const JpegWriting& writing)
{
    const u32 components = writing.colour ? 3 : 1;
    const u32 told = writing.standard ? components : 3;
    put_segment(out, kJpegSos, 4 + 2 * told);
    put_u8(out, components);
    for (u32 i = 1; i <= told; ++i) {
        put_u8(out, i);
        put_u8(out, i == 1 ? 0x00 : 0x11);
    }
    put_u8(out, 0);   // all coefficients, from 0
    put_u8(out, 63);  // to 63,
    put_u8(out, 0);   // in full
}

void jpeg_write_headers(StreamWriter& out, const JpegWriting& writing)
{
    put_u8(out, 0xFF);
    put_u8(out, kJpegSoi);
    put_segment(out, kJpegApp0, 14);
    put_bytes(out, "JFIF", 5);
    put_be16(out, 0x0100);  // version
    put_u8(out, 1);         // dots per inch
    put_be16(out, kDotsPerInch);
    put_be16(out, kDotsPerInch);
    put_be16(out, 0);  // no thumbnail
    put_quant_tables(out);
    put_frame(out, writing);
    put_huffman_table(out, kDcTable0, kDcLuminance);
    put_huffman_table(out, kAcTable0, kAcLuminance);
    if (writing.colour) {
        put_huffman_table(out, kDcTable1, kDcChrominance);
        put_huffman_table(out, kAcTable1, kAcChrominance);
    }
    put_scan(out, writing);
}

// --- Set-up ---

bool palette_is_gray(const ImageHeader& header)
{
    return std::all_of(header.palette, header.palette + 256, [](const RGBQUAD& entry) {
        return entry.rgbBlue == entry.rgbGreen && entry.rgbGreen == entry.rgbRed;
    });
}

void writing_plan(ImageHeader& header, PictureSource& source, JpegWriting& writing)
{
    writing = {};
    writing.header = &header;
    writing.source = &source;
    writing.standard = orv_writing == ORV_WRITING_STANDARD;
    writing.colour = header.info.biBitCount == 24 || !palette_is_gray(header);
    writing.width = static_cast<usize>(source.width);
    const usize mcu = writing.colour ? 16 : 8;
    writing.padded = (writing.width + mcu - 1) / mcu * mcu;
    writing.strip_stride = static_cast<usize>(row_stride_wide(source.width, writing.colour ? 24 : 8));
    writing.forward = dct_kernels().forward;
}

void tables_plan(JpegWriting& writing)
{
    jpeg_build_code_tables(kDcLuminance, writing.dc_codes[0]);
    jpeg_build_code_tables(kDcChrominance, writing.dc_codes[1]);
    jpeg_build_code_tables(kAcLuminance, writing.ac_codes[0]);
    jpeg_build_code_tables(kAcChrominance, writing.ac_codes[1]);
    const Quantising how = writing.standard ? Quantising::Rounded : Quantising::Truncated;
    for (usize i = 0; i < 2; ++i) {
        writing.divisor[i] = quant_divisor(quant_tables[i], how);
    }
    for (usize i = 0; i < kJpegComponents; ++i) {
        const usize table = i == 0 ? 0 : 1;
        writing.component[i] = {0, &writing.dc_codes[table], &writing.ac_codes[table]};
    }
}

// The strip, cleared; described ones are no wider than a scratch block takes.
bool strip_take(JpegWriting& writing)
{
    const bool fits = writing.standard || writing.padded <= kMaxDescribedColumns;
    writing.strip = fits ? block_alloc(writing.padded * 24 + kStripSlack) : nullptr;
    return writing.strip != nullptr;
}

bool planes_take(JpegWriting& writing)
{
    const usize plane = writing.padded * kBlockSide + kSampleSlack;
    i8* const memory = reinterpret_cast<i8*>(block_alloc(plane * kJpegComponents));
    for (usize i = 0; i < kJpegComponents; ++i) {
        writing.planes[i] = memory == nullptr ? nullptr : memory + i * plane;
    }
    return memory != nullptr;
}

// --- Rows to samples ---

// Expands in place: the indices stand far enough behind the colours that each is read before it is overwritten.
void jpeg_expand_palette_row(const ImageHeader& header, const u8* indices, u8* row, usize stride, usize width)
{
    u8* const moved = row + 2 * width;
    std::memmove(moved, indices, stride);
    for (usize x = 0; x < width; ++x) {
        const RGBQUAD& colour = header.palette[moved[x]];
        row[3 * x] = colour.rgbBlue;
        row[3 * x + 1] = colour.rgbGreen;
        row[3 * x + 2] = colour.rgbRed;
    }
}

// Row `i` of the planes from pixels.
void row_split(JpegWriting& writing, const u8* pixels, usize width, usize i)
{
    i8* const y = writing.planes[0] + i * writing.padded;
    if (!writing.colour) {
        jpeg_split_planes(writing.standard ? JpegColours::Jfif : JpegColours::Video, pixels, width, y, nullptr,
                          nullptr);
        return;
    }
    jpeg_split_planes(writing.standard ? JpegColours::Jfif : JpegColours::Video, pixels, width, y,
                      writing.planes[1] + i * writing.padded, writing.planes[2] + i * writing.padded);
}

void rows_decimate(JpegWriting& writing)
{
    const Decimation how = writing.standard ? Decimation::Averaging : Decimation::Dropping;
    for (usize i = 0; writing.colour && i < kBlockSide; ++i) {
        jpeg_decimate_chroma(writing.planes[1] + i * writing.padded, writing.padded, how);
        jpeg_decimate_chroma(writing.planes[2] + i * writing.padded, writing.padded, how);
    }
}

// The next eight rows from `row` down, as the strip has them: rows that the picture does not fill keep what was
// there, and the columns behind the width are whatever bytes follow. Gives the row below.
i32 strip_fill_described(JpegWriting& writing, i32 row)
{
    for (usize i = 0; i < kBlockSide && row >= 0; ++i, --row) {
        u8* const place = writing.strip + i * writing.strip_stride;
        const u8* const bytes = row_take(*writing.source, row);
        if (writing.colour && writing.source->bits == 8) {
            jpeg_expand_palette_row(*writing.header, bytes, place, writing.source->stride, writing.width);
        } else {
            std::memcpy(place, bytes, writing.strip_stride);
        }
    }
    for (usize i = 0; i < kBlockSide; ++i) {
        row_split(writing, writing.strip + i * writing.strip_stride, writing.padded, i);
    }
    return row;
}

// The colours or grays of a row.
const u8* palette_applied(JpegWriting& writing, const u8* row)
{
    if (writing.source->bits == 24) {
        return row;
    }
    if (writing.colour) {
        jpeg_expand_palette_row(*writing.header, row, writing.strip, writing.source->stride, writing.width);
    } else {
        for (usize x = 0; x < writing.width; ++x) {
            writing.strip[x] = writing.header->palette[row[x]].rgbBlue;
        }
    }
    return writing.strip;
}

// The same without a strip: the last column and the last row are repeated.
i32 strip_fill_standard(JpegWriting& writing, i32 row)
{
    const usize planes = writing.colour ? kJpegComponents : 1;
    for (usize i = 0; i < kBlockSide; ++i) {
        if (row < 0) {
            for (usize plane = 0; plane < planes; ++plane) {
                i8* const place = writing.planes[plane] + i * writing.padded;
                std::memcpy(place, place - writing.padded, writing.padded);
            }
            continue;
        }
        row_split(writing, palette_applied(writing, row_take(*writing.source, row--)), writing.width, i);
        for (usize plane = 0; plane < planes; ++plane) {
            i8* const end = writing.planes[plane] + i * writing.padded + writing.width;
            std::memset(end, end[-1], writing.padded - writing.width);
        }
    }
    return row;
}

// --- Blocks ---

void pair_encode(JpegWriting& writing, usize first, usize second, const i8* one, const i8* two, usize count)
{
    alignas(32) i16 coefficients[2 * kBlockSize];
    u64 masks[2];
    writing.forward(one, two, writing.padded, writing.divisor[first == 0 ? 0 : 1], coefficients, masks);
    jpeg_encode_block(writing.bits, writing.component[first], coefficients, masks[0]);
    if (count > 1) {
        jpeg_encode_block(writing.bits, writing.component[second], coefficients + kBlockSize, masks[1]);
    }
}

void strip_encode(JpegWriting& writing, StreamWriter& out)
{
    for (usize column = 0; column < writing.padded; column += 2 * kBlockSide) {
        u8* const room = writer_room(out, kMcuBlocks * kMostBlockBytes);
        writing.bits.out = room;
        const i8* const y = writing.planes[0] + column;
        const bool single = column + kBlockSide == writing.padded;  // a gray row of an odd number of blocks
        pair_encode(writing, 0, 0, y, single ? y : y + kBlockSide, single ? 1 : 2);
        if (writing.colour) {
            pair_encode(writing, 1, 2, writing.planes[1] + column, writing.planes[2] + column, 2);
        }
        writer_advance(out, static_cast<u32>(writing.bits.out - room));
    }
}

void scan_end(JpegWriting& writing, StreamWriter& out)
{
    u8* const room = writer_room(out, kMostBlockBytes);
    writing.bits.out = room;
    jpeg_finish_bits(writing.bits, writing.standard ? Padding::OnesToByte : Padding::ZerosToWord);
    writer_advance(out, static_cast<u32>(writing.bits.out - room));
    put_u8(out, 0xFF);
    put_u8(out, kJpegEoi);
}

ErrorCode strips_write(JpegWriting& writing, StreamWriter& out)
{
    ProgressRows progress = progress_rows(writing.source->height);
    for (i32 row = writing.source->height - 1; row >= 0;) {
        row = writing.standard ? strip_fill_standard(writing, row) : strip_fill_described(writing, row);
        rows_decimate(writing);
        strip_encode(writing, out);
        if (out.failed) {
            return kShortWrite;
        }
        progress_tick(progress, writing.source->height - 1 - row);
    }
    progress_rows_done();
    scan_end(writing, out);
    return kOk;
}

ErrorCode picture_write(JpegWriting& writing, StreamHandle stream)
{
    StreamWriter out;
    if (writer_open(out, stream) != kOk) {
        return kOutOfMemory;
    }
    jpeg_write_headers(out, writing);
    if (!strip_take(writing)) {
        return kOutOfMemory;
    }
    progress_bump();
    tables_plan(writing);
    if (!planes_take(writing)) {
        return kOutOfMemory;
    }
    progress_bump();
    const ErrorCode written = strips_write(writing, out);
    return written == kOk ? writer_close(out) : written;
}

}  // namespace

// --- Entry points ---

i16 jpeg_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    progress_start();
    if (header.info.biBitCount != 8 && header.info.biBitCount != 24) {
        return kNotSupported;
    }
    JpegWriting& writing = jpeg_writing;
    writing_plan(header, source, writing);
    const ErrorCode written = picture_write(writing, stream);
    block_free(writing.planes[0]);
    block_free(writing.strip);
    if (written == kOk) {
        progress_finish();
    }
    return written;
}

}  // namespace orv

using namespace orv;

int16_t IMGLOW_set_comp_quality(int16_t quality)
{
    const ApiCall call;
    const i32 step = std::clamp<i32>(quality, 0, kCoarsestStep);
    const i32 steps[2] = {step, std::min(2 * step, kCoarsestStep)};
    for (usize table = 0; table < 2; ++table) {
        for (i32 place = 0; place < static_cast<i32>(kBlockSize); ++place) {
            const i32 diagonal = place / kBlockSide + place % kBlockSide;
            const i32 entry = std::min((diagonal + 1) * steps[table] + 1, 255);
            quant_tables[table][static_cast<usize>(place)] = static_cast<u8>(entry);
        }
    }
    return kOk;
}
