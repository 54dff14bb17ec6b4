// Reader of PICT: a walk over the opcodes of a QuickDraw picture of version 1 or 2 that takes the pixels and
// passes over all drawing.
#include <algorithm>
#include <array>

#include "formats/format_readers.h"
#include "formats/interchange/pict.h"
#include "formats/interchange/pict_bands.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/scratch.h"
#include "frame/streams.h"

namespace orv
{
namespace
{

// --- Records and constants ---

// Bytes behind an opcode. The lengths are fixed: regions, polygons and text are taken for as long as their
// shortest forms.
struct OpcodeRange {
    u8 first;
    u8 last;
    i16 skip;
};
constexpr OpcodeRange kOpcodeRanges[] = {
    {0x01, 0x01, 10}, {0x02, 0x02, 8},  {0x03, 0x03, 2},  {0x04, 0x04, 1},  {0x05, 0x05, 2},  {0x06, 0x07, 4},
    {0x08, 0x08, 2},  {0x09, 0x0A, 8},  {0x0B, 0x0C, 4},  {0x0D, 0x0D, 2},  {0x0E, 0x0F, 4},  {0x10, 0x10, 8},
    {0x11, 0x11, 1},  {0x15, 0x16, 2},  {0x20, 0x20, 8},  {0x21, 0x21, 4},  {0x22, 0x22, 6},  {0x23, 0x23, 2},
    {0x28, 0x28, 5},  {0x29, 0x2A, 2},  {0x2B, 0x2B, 3},  {0x2C, 0x2F, 2},  {0x30, 0x37, 8},  {0x40, 0x47, 8},
    {0x50, 0x57, 8},  {0x60, 0x67, 12}, {0x68, 0x6F, 4},  {0x70, 0x73, 10}, {0x80, 0x83, 10}, {0x92, 0x97, 4},
    {0x9B, 0x9F, 4},  {0xA0, 0xA0, 2},  {0xC0, 0xC0, 24}, {0xD0, 0xEF, 4},
};

constexpr u32 kKnownOpcodes = 0xF0;

constexpr std::array<i16, kKnownOpcodes> make_opcode_skip()
{
    std::array<i16, kKnownOpcodes> table{};
    for (const OpcodeRange& range : kOpcodeRanges) {
        for (u32 opcode = range.first; opcode <= range.last; ++opcode) {
            table[opcode] = range.skip;
        }
    }
    return table;
}
constexpr std::array<i16, kKnownOpcodes> pict_opcode_skip = make_opcode_skip();

// Two opcodes above the known ones that have no data and do not end the picture.
constexpr u32 kQuietOpcodes[] = {0x130, 0x142};

constexpr u32 kFrameBytes = 12;  // size, frame, version
constexpr u32 kFrameBottom = 6;
constexpr u32 kFrameVersion = 10;
constexpr u32 kHeaderOpcodeBytes = 28;  // the opcode, its data, and the word behind them
constexpr u32 kScreenResolution = 72;
constexpr u32 kMostUnpackedBytes = 7;  // rowBytes, in version 1

struct PictReader {
    PictInput in;
    PictureSink& sink;
    ImageHeader& header;
    bool picture_seen;
    i32 next_row;  // the picture's row at which the next band begins
    i32 frame_bottom;
};

// What a bitmap opcode states ahead of its rows.
struct PictBitmap {
    PictBand band;
    i32 width;
    i32 height;  // of the picture, as this band has it
    u16 bits;    // of the picture; 0 where there is nothing to be made of it
    bool direct;
};

// --- Parsing and checks ---

// The next `count` bytes, or null where fewer are left; nothing is left then.
const u8* take(ChunkReader& in, u32 count)
{
    if (!chunk_ensure(in, count)) {
        in.pos = in.fill;
        return nullptr;
    }
    in.pos += count;
    return in.buffer + in.pos - count;
}

void skip(ChunkReader& in, u32 count)
{
    while (count > 0) {
        const u32 piece = std::min<u32>(count, kChunkBytes);
        if (take(in, piece) == nullptr) {
            return;
        }
        count -= piece;
    }
}

i32 load_be16_signed(const u8* p)
{
    return static_cast<i16>(load_be16(p));
}

// Size, frame and version.
bool start_parse(PictReader& reader)
{
    ChunkReader& in = reader.in.pict_read_buffer;
    const u8* const frame = take(in, kFrameBytes);
    if (frame == nullptr) {
        return false;
    }
    reader.frame_bottom = load_be16_signed(frame + kFrameBottom);
    const u32 version = load_be16(frame + kFrameVersion);
    reader.in.version1 = version == kPictVersion1;
    if (version != kPictVersion2) {
        return reader.in.version1;
    }
    const u8* const mark = take(in, 2);
    if (mark == nullptr || load_be16(mark) != kPictVersion2Mark) {
        return false;
    }
    take(in, kHeaderOpcodeBytes);
    return true;
}

// The frame is in dots of 72 to the inch. Its height may come out a row short.
i32 picture_height(i32 frame_bottom, i32 vertical_resolution, i32 band_rows)
{
    const i32 resolution = vertical_resolution == 0 ? i32{kScreenResolution} : vertical_resolution;
    const i32 height = frame_bottom * resolution / i32{kScreenResolution};
    return height == band_rows - 1 ? band_rows : height;
}

void bounds_parse(const u8* bounds, PictBitmap& bitmap)
{
    bitmap.width = load_be16_signed(bounds + 6) - load_be16_signed(bounds + 2);
    bitmap.band.rows = load_be16_signed(bounds + 4) - load_be16_signed(bounds);
}

void pixmap_parse(const u8* pixmap, const PictReader& reader, PictBitmap& bitmap)
{
    bounds_parse(pixmap + kPictBounds, bitmap);
    const u32 pixel_size = load_be16(pixmap + kPictPixelSize);
    bitmap.band.pack_type = load_be16(pixmap + kPictPackType);
    bitmap.band.two_bits = !bitmap.direct && pixel_size == 2;
    bitmap.height = picture_height(reader.frame_bottom, load_be16_signed(pixmap + kPictVerticalResolution),
                                   bitmap.band.rows);
    if (bitmap.direct) {
        const bool known =
            bitmap.band.pack_type == kPictPackedWords || bitmap.band.pack_type == kPictPackedPlanes;
        bitmap.bits = known ? 24 : 0;
    } else if (pixel_size == 1 || pixel_size == 2 || pixel_size == 4 || pixel_size == 8) {
        bitmap.bits = static_cast<u16>(pixel_size == 2 ? 4 : pixel_size);
    }
}

// Takes the first entries for the palette, by position. An entry's index is not looked at, and the upper
// byte of each colour is kept. Behind the first band the palette stays as it was delivered.
void table_read(PictReader& reader, u32 palette_entries)
{
    ChunkReader& in = reader.in.pict_read_buffer;
    const u8* const head = take(in, kPictTableHeadBytes);
    if (head == nullptr) {
        return;
    }
    const u32 entries = static_cast<u32>(std::max(load_be16_signed(head + kPictTableSize) + 1, 0));
    const u32 kept = reader.picture_seen ? 0 : std::min(entries, palette_entries);
    for (u32 i = 0; i < kept; ++i) {
        const u8* const entry = take(in, kPictEntryBytes);
        if (entry == nullptr) {
            return;
        }
        reader.header.palette[i] = {
            .rgbBlue = entry[6], .rgbGreen = entry[4], .rgbRed = entry[2], .rgbReserved = 0};
    }
    skip(in, (entries - kept) * kPictEntryBytes);
}

// What stands behind the opcode, up to the rows. Where the data ends, the walk finds that by itself: false.
bool bitmap_parse(PictReader& reader, u32 opcode, PictBitmap& bitmap)
{
    ChunkReader& in = reader.in.pict_read_buffer;
    bitmap.direct = opcode == kPictDirectBitsRect;
    if (bitmap.direct) {
        skip(in, 4);
    }
    const u8* const row_bytes = take(in, 2);
    if (row_bytes == nullptr) {
        return false;
    }
    bitmap.band.row_bytes = load_be16(row_bytes) & ~kPictPixMapMark;
    bitmap.band.first_row = reader.next_row;
    if ((load_be16(row_bytes) & kPictPixMapMark) != 0) {
        const u8* const pixmap = take(in, kPictPixMapBytes);
        if (pixmap == nullptr) {
            return false;
        }
        pixmap_parse(pixmap, reader, bitmap);
        if (!bitmap.direct && bitmap.bits != 0) {
            table_read(reader, 1U << bitmap.bits);
        }
    } else {
        const u8* const bounds = take(in, 8);
        if (bounds == nullptr) {
            return false;
        }
        bounds_parse(bounds, bitmap);
        bitmap.height = reader.frame_bottom;
        bitmap.bits = bitmap.direct ? 0 : 1;
        if (!reader.picture_seen) {
            reader.header.palette[0] = {.rgbBlue = 255, .rgbGreen = 255, .rgbRed = 255, .rgbReserved = 0};
        }
    }
    return bitmap.bits == 0 || take(in, kPictRectsBytes) != nullptr;
}

bool is_unpacked(const PictReader& reader, const PictBitmap& bitmap)
{
    return reader.in.version1 && !bitmap.direct && bitmap.band.row_bytes <= kMostUnpackedBytes;
}

ErrorCode bitmap_check(const PictReader& reader, const PictBitmap& bitmap)
{
    if (bitmap.bits == 0) {
        picture_note(reader.sink, "pixels of a depth or packing that is not read");
        return kNotSupported;
    }
    const PictureSink& first = reader.sink;
    if (reader.picture_seen && (bitmap.width != first.width || bitmap.bits != first.bits)) {
        picture_note(reader.sink, "a band of another width or depth");
        return kBadData;
    }
    // So that the work is in proportion to the file: a few bytes make no row of any width.
    const i64 file_bits = i64{bitmap.width} * (bitmap.band.two_bits ? 2 : bitmap.bits);
    const bool too_narrow = is_unpacked(reader, bitmap) && bitmap.band.row_bytes * 8 < file_bits;
    return too_narrow || bitmap.band.rows < 0 ? kBadData : kOk;
}

i16 picture_start(PictReader& reader, const PictBitmap& bitmap)
{
    reader.picture_seen = true;
    BITMAPINFOHEADER& info = reader.header.info;
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = bitmap.width;
    info.biHeight = bitmap.height;
    info.biPlanes = 1;
    info.biBitCount = bitmap.bits;
    info.biSizeImage = static_cast<u32>(row_stride_wide(bitmap.width, bitmap.bits) * bitmap.height);
    return picture_begin(reader.sink, reader.header);
}

// --- Bands ---

i16 band_read(PictReader& reader, u32 opcode)
{
    PictBitmap bitmap{};
    if (!bitmap_parse(reader, opcode, bitmap)) {
        return kOk;
    }
    const ErrorCode checked = bitmap_check(reader, bitmap);
    if (checked != kOk) {
        return checked;
    }
    const i16 begun = reader.picture_seen ? i16{kOk} : picture_start(reader, bitmap);
    if (begun < 0) {
        return begun;
    }
    reader.next_row = std::min(reader.next_row + bitmap.band.rows, kMaxSide);
    const auto read = bitmap.direct                 ? pict_read_direct_band
                      : is_unpacked(reader, bitmap) ? pict_read_unpacked
                                                    : pict_read_packed_band;
    return read(reader.in, bitmap.band, reader.sink);
}

bool is_bitmap(u32 opcode)
{
    return opcode == kPictBitsRect || opcode == kPictBitsRegion || opcode == kPictPackBitsRect ||
           opcode == kPictPackBitsRegion || opcode == kPictDirectBitsRect;
}

void comment_skip(ChunkReader& in)
{
    const u8* const head = take(in, 4);  // kind, length
    if (head != nullptr) {
        skip(in, load_be16(head + 2));
    }
}

// In memory of unknown size there may be nothing behind the last row.
bool may_end(const PictReader& reader)
{
    return reader.picture_seen && reader.in.pict_read_buffer.unbounded && reader.next_row >= reader.sink.height;
}

// Follows the opcodes up to the end of the picture or of the data, which counts as one.
i16 opcodes_walk(PictReader& reader)
{
    ChunkReader& in = reader.in.pict_read_buffer;
    const u32 opcode_bytes = reader.in.version1 ? 1 : 2;
    while (const u8* const code = take(in, opcode_bytes)) {
        const u32 opcode = opcode_bytes == 1 ? code[0] : load_be16(code);
        if (is_bitmap(opcode)) {
            const i16 result = band_read(reader, opcode);
            if (result < 0) {
                return result;
            }
            if (may_end(reader)) {
                break;
            }
        } else if (opcode == kPictLongComment) {
            comment_skip(in);
        } else if (opcode < kKnownOpcodes) {
            skip(in, static_cast<u32>(pict_opcode_skip[opcode]));
        } else if (std::ranges::find(kQuietOpcodes, opcode) == std::end(kQuietOpcodes)) {
            break;
        }
    }
    if (!reader.picture_seen) {
        picture_note(reader.sink, "the picture has drawing and no bitmap");
        return kBadData;
    }
    return kReaderDone;
}

}  // namespace

// --- Entry point ---

i16 pict_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    const u32 position = seek_to_picture(offset_or_page, stream);
    if (!stream_seek_to(stream, u64{position} + kPictPreambleBytes)) {
        return kBadData;
    }
    u8* const header_block = scratch_alloc(kImageHeaderBytes);
    if (header_block == nullptr) {
        return kOutOfMemory;
    }
    PictReader reader = {.in = {.pict_read_buffer = chunk_open(stream), .version1 = false},
                         .sink = sink,
                         .header = *reinterpret_cast<ImageHeader*>(header_block),
                         .picture_seen = false,
                         .next_row = 0,
                         .frame_bottom = 0};
    return start_parse(reader) ? opcodes_walk(reader) : i16{kBadData};
}

}  // namespace orv
