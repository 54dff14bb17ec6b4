// Reader of WPG: walks the records, takes the last bitmap and the last colour map, and steps over the
// drawing around them.
#include <algorithm>
#include <array>
#include <utility>

#include "formats/format_readers.h"
#include "formats/interchange/wpg.h"
#include "formats/interchange/wpg_runs.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/scratch.h"
#include "frame/streams.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u8 kLongLength = 0xFF;        // ahead of a length of 16 or 32 bits
constexpr u16 kLongestLength = 0x8000;  // in its first word: 31 bits, another word follows
constexpr u64 kFarthest = 0x7FFFFFF0;   // where a record may begin: its data is in reach then
constexpr u32 kMapBytes = kWpgMapHeadBytes + 256 * kWpgColourBytes;

struct Record {
    u8 type;
    u32 length;
    u64 data;  // position
};

struct ColourMap {
    bool is_given;
    u8 bytes[kMapBytes];  // the record's data
};

// The bitmap found by the walk: where its data begins, and its type, 1 or 2. Reset by every load.
i32 wpg_bitmap_position;
i16 wpg_bitmap_type;

// --- Parsing and checks ---

// False where the chain ends without an end record: at the end of the file, or where a record would begin
// out of reach.
bool record_read(StreamHandle stream, u64 position, Record& record)
{
    u8 head[6];
    if (position > kFarthest || !stream_seek_to(stream, position) || !stream_read_exact(stream, head, 1)) {
        return false;
    }
    record = {.type = head[0], .length = 0, .data = position + 2};
    if (record.type == kWpgEnd) {
        return true;
    }
    if (!stream_read_exact(stream, head + 1, 1)) {
        return false;
    }
    record.length = head[1];
    if (head[1] != kLongLength) {
        return true;
    }
    if (!stream_read_exact(stream, head + 2, 2)) {
        return false;
    }
    record.length = load_le16(head + 2);
    record.data += 2;
    if ((record.length & kLongestLength) == 0) {
        return true;
    }
    if (!stream_read_exact(stream, head + 4, 2)) {
        return false;
    }
    record.length = (record.length & 0x7FFF) << 16 | load_le16(head + 4);
    record.data += 2;
    return true;
}

// Size and depth from the front of a bitmap, whose rows begin at the stream's position then.
void bitmap_read(StreamHandle stream, const Record& record, BITMAPINFOHEADER& info)
{
    const bool has_place = record.type == kWpgBitmap2;
    std::array<u8, kWpgPlaceBytes + kWpgBitmapBytes> data{};
    stream_read(stream, data.data(), has_place ? kWpgPlaceBytes + kWpgBitmapBytes : kWpgBitmapBytes);
    const u8* const size = data.data() + (has_place ? kWpgPlaceBytes : 0);
    info.biWidth = static_cast<i16>(load_le16(size));
    info.biHeight = static_cast<i16>(load_le16(size + 2));
    info.biBitCount = load_le16(size + 4);
    wpg_bitmap_position = static_cast<i32>(record.data);
    wpg_bitmap_type = has_place ? 2 : 1;
}

// Of several colour maps a later one covers the earlier ones as far as it goes.
void map_read(StreamHandle stream, const Record& record, ColourMap& map)
{
    stream_read(stream, map.bytes, static_cast<u16>(std::min(record.length, kMapBytes)));
    map.is_given = true;
}

void records_walk(StreamHandle stream, u64 first, BITMAPINFOHEADER& info, ColourMap& map)
{
    wpg_bitmap_position = -1;
    wpg_bitmap_type = 0;
    Record record;
    for (u64 position = first; record_read(stream, position, record) && record.type != kWpgEnd;
         position = record.data + record.length) {
        switch (record.type) {
        case kWpgBitmap1:
        case kWpgBitmap2: bitmap_read(stream, record, info); break;
        case kWpgColourMap: map_read(stream, record, map); break;
        default: break;
        }
    }
}

// The colours of a 1-bit file do not count.
void palette_set(ImageHeader& header, const ColourMap& map)
{
    if (!map.is_given || header.info.biBitCount == 1) {
        palette_build_default(&header, "tiff");
        return;
    }
    const u32 entries = header.info.biBitCount == 24 ? 0 : 1U << header.info.biBitCount;
    const u8* colour = map.bytes + kWpgMapHeadBytes;
    for (u32 i = 0; i < entries; ++i, colour += kWpgColourBytes) {
        header.palette[i] = {
            .rgbBlue = colour[2], .rgbGreen = colour[1], .rgbRed = colour[0], .rgbReserved = 0};
    }
}

ErrorCode header_finish(ImageHeader& header, const ColourMap& map)
{
    BITMAPINFOHEADER& info = header.info;
    info.biSize = kBitmapHeaderBytes;
    info.biPlanes = 1;
    const ErrorCode checked = info.biBitCount == 0 ? kBadData : header_check(info);
    if (checked == kOk) {
        info.biSizeImage = static_cast<u32>(row_stride_wide(info.biWidth, info.biBitCount) * info.biHeight);
        palette_set(header, map);
    }
    return checked;
}

// --- Rows ---

// Rows come from the top. `row` and `previous` hold a row and kWpgRowSlack each, and change places: what the
// codes of a row leave out is as in the row before, so a repeat code gives the row as far as it got.
void wpg_read_rows(StreamHandle stream, PictureSink& sink, u8* row, u8* previous)
{
    ChunkReader in = chunk_open(stream);
    const u32 row_bytes = wpg_row_bytes(static_cast<u32>(sink.width), sink.bits);
    for (i32 y = 0; y < sink.height; std::swap(row, previous)) {
        u32 fill = 0;
        u32 repeat = 0;
        const WpgStop stop = wpg_decode_codes(in, row, row_bytes, fill, repeat);
        if (stop == WpgStop::DataEnded) {
            picture_note(sink, kNoteDataEnded);
            return;
        }
        if (fill < sink.stride) {
            std::memcpy(row + fill, previous + fill, sink.stride - fill);
        }
        const bool repeats = stop == WpgStop::Repeat;
        const bool sound = repeats ? fill == 0 && y > 0 : fill == row_bytes;
        if (!sound) {
            picture_note(sink, kNoteBadCode);
        }
        const i32 left = sink.height - y;
        const i32 count = !repeats ? 1 : repeat == 0 ? left : std::min(static_cast<i32>(repeat), left);
        for (const i32 end = y + count; y < end; ++y) {
            row_give(sink, y, row, sound ? RowState::Whole : RowState::Repaired);
        }
    }
}

ErrorCode rows_read(StreamHandle stream, PictureSink& sink)
{
    const u32 front = kWpgBitmapBytes + (wpg_bitmap_type == 2 ? kWpgPlaceBytes : 0);
    u8* const row = scratch_alloc(sink.stride + kWpgRowSlack);
    u8* const previous = scratch_alloc(sink.stride + kWpgRowSlack);
    if (row == nullptr || previous == nullptr) {
        return kOutOfMemory;
    }
    if (stream_seek_to(stream, static_cast<u64>(wpg_bitmap_position) + front)) {
        wpg_read_rows(stream, sink, row, previous);
    } else {
        picture_note(sink, kNoteDataEnded);
    }
    return kOk;
}

}  // namespace

// --- Entry point ---

i16 wpg_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    ImageHeader* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (header == nullptr) {
        return kOutOfMemory;
    }
    ColourMap map{};
    records_walk(stream, u64{seek_to_picture(offset_or_page, stream)} + kWpgHeaderBytes, header->info, map);
    if (wpg_bitmap_type == 0) {
        return kUnreadable;
    }
    if (const ErrorCode checked = header_finish(*header, map); checked != kOk) {
        return checked;
    }
    if (const i16 accepted = picture_begin(sink, *header); accepted < 0) {
        return accepted;
    }
    const ErrorCode read = rows_read(stream, sink);
    return read == kOk ? i16{kReaderDone} : i16{read};
}

}  // namespace orv
