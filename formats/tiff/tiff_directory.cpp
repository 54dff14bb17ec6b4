#include "formats/tiff/tiff_directory.h"

#include <algorithm>

#include "formats/tiff/fax.h"
#include "frame/api_call.h"
#include "frame/blocks.h"
#include "frame/bytes.h"
#include "frame/text_buffers.h"
#include "orvimg32/orvimg32.h"
#include "platform/user.h"

namespace orv
{

// ---- the bytes of the format
//
// Header       byte order word "II" or "MM" | 16 bits version | 32 bits position of the first directory
// Directory    16 bits entry count | entries | 32 bits position of the next directory, 0 for none
// Entry        16 bits tag | 16 bits field type | 32 bits count | 32 bits value, or its position

TiffDirectory tiff_directory;
StreamHandle tiff_stream;
u32 tiff_base_offset;
u16 tiff_byte_order;
TiffEntry tiff_strip_entry;
PictureSink* tiff_sink;

// ---- records and constants

namespace
{

constexpr u16 kBigEndian = 0x4D4D;
constexpr u16 kFileHeaderBytes = 8;
constexpr u32 kEntryBytes = 12;

// Bounds for chains that loop or overlap. No file comes near them.
constexpr i32 kMaxDirectories = 4096;
constexpr u32 kMaxChainEntries = 64 * kMaxDirectories;

enum TiffTag : u16 {
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kCompression = 259,
    kPhotometric = 262,
    kFillOrder = 266,
    kStripOffsets = 273,
    kSamplesPerPixel = 277,
    kRowsPerStrip = 278,
    kStripByteCounts = 279,
    kXResolution = 282,
    kYResolution = 283,
    kPlanarConfiguration = 284,
    kResolutionUnit = 296,
    kDateTime = 306,
    kArtist = 315,
    kPredictor = 317,
    kColorMap = 320,
};

constexpr u32 kUnitCentimetre = 3;
constexpr double kInchFactor = 2.567;  // the factor that these files have always been read with

// A directory's entries as the file has them, in a block of their own, and the one behind it.
struct RawDirectory {
    u8* entries;
    u32 count;
    u32 next;
};

// A walk along the chain.
struct ChainWalk {
    i32 visited;
    u32 entries;  // in all directories visited
};

}  // namespace

// ---- parsing and checks, no pixels

u16 tiff_u16(const u8* bytes)
{
    return tiff_byte_order == kBigEndian ? load_be16(bytes) : load_le16(bytes);
}

u32 tiff_u32(const u8* bytes)
{
    return tiff_byte_order == kBigEndian ? load_be32(bytes) : load_le32(bytes);
}

bool tiff_seek(u32 position)
{
    return stream_seek_to(tiff_stream, u64{position} + tiff_base_offset);
}

namespace
{

TiffEntry entry_of(const u8* bytes)
{
    const u8* field = bytes + 8;
    TiffEntry entry = {
        .tag = tiff_u16(bytes), .type = tiff_u16(bytes + 2), .count = tiff_u32(bytes + 4), .value = 0};
    switch (entry.type) {
    case kTiffByte: entry.value = entry.count > 4 ? tiff_u32(field) : load_le32(field); break;
    case kTiffShort:
        entry.value =
            entry.count > 2 ? tiff_u32(field) : tiff_u16(field) | static_cast<u32>(tiff_u16(field + 2)) << 16;
        break;
    case kTiffAscii:
    case kTiffLong:
    case kTiffRational: entry.value = tiff_u32(field); break;
    default: entry.value = load_le32(field); break;
    }
    return entry;
}

bool read_u32_at(u32 position, u32& value)
{
    u8 bytes[4];
    if (!tiff_seek(position) || !stream_read_exact(tiff_stream, bytes, sizeof bytes)) {
        return false;
    }
    value = tiff_u32(bytes);
    return true;
}

// The first value of an entry. False where the file does not give it; `value` is then as it was. Of a
// RATIONAL it is the numerator, and the stream is left on the denominator.
bool entry_value(const TiffEntry& entry, u32& value)
{
    u8 bytes[2];
    switch (entry.type) {
    case kTiffByte:
        if (entry.count <= 4) {
            value = entry.value & 0xFF;
            return true;
        }
        if (!tiff_seek(entry.value) || !stream_read_exact(tiff_stream, bytes, 1)) {
            return false;
        }
        value = bytes[0];
        return true;
    case kTiffShort:
        if (entry.count <= 2) {
            value = entry.value & 0xFFFF;
            return true;
        }
        if (!tiff_seek(entry.value) || !stream_read_exact(tiff_stream, bytes, 2)) {
            return false;
        }
        value = tiff_u16(bytes);
        return true;
    case kTiffAscii:
    case kTiffLong:
        if (entry.count == 1 || (entry.type == kTiffLong && entry.count == 0)) {
            value = entry.value;
            return true;
        }
        return read_u32_at(entry.value, value);
    case kTiffRational: return read_u32_at(entry.value, value);
    default: value = 0; return true;
    }
}

// Dots per unit: only a RATIONAL has a denominator, and one of 0 leaves the numerator.
void read_resolution(const TiffEntry& entry, u32& resolution)
{
    if (!entry_value(entry, resolution) || entry.type != kTiffRational) {
        return;
    }
    u8 bytes[4];
    if (stream_read_exact(tiff_stream, bytes, sizeof bytes) && tiff_u32(bytes) != 0) {
        resolution /= tiff_u32(bytes);
    }
}

// The text lies where the value field says, even one that would fit into the field. As much is read as
// the buffer takes; the count is not looked at.
void read_text(const TiffEntry& entry, std::span<char> buffer)
{
    char text[kNameBufferBytes];
    if (!tiff_seek(entry.value)) {
        return;
    }
    const u32 length = stream_read(tiff_stream, text, static_cast<u16>(buffer.size()));
    if (length > 0) {
        text_store(buffer, text, length);
    }
}

u32 dots_per_inch(u32 per_centimetre)
{
    return static_cast<u32>(static_cast<u64>(static_cast<double>(per_centimetre) * kInchFactor));
}

void parse_entry(const TiffEntry& entry, TiffDirectory& dir, u32& unit)
{
    switch (entry.tag) {
    case kImageWidth: entry_value(entry, dir.ImageWidth); break;
    case kImageLength: entry_value(entry, dir.ImageLength); break;
    case kBitsPerSample: entry_value(entry, dir.BitsPerSample); break;
    case kCompression:
        entry_value(entry, dir.Compression);
        if (fax_marker_seen) {
            dir.Compression = kTiffT4;
            dir.Photometric = kWhiteIsZero;
        }
        break;
    case kPhotometric: entry_value(entry, dir.Photometric); break;
    case kFillOrder: entry_value(entry, dir.FillOrder); break;
    case kStripOffsets:
        tiff_strip_entry = entry;
        entry_value(entry, dir.StripOffset);
        break;
    case kSamplesPerPixel: entry_value(entry, dir.SamplesPerPixel); break;
    case kRowsPerStrip: entry_value(entry, dir.RowsPerStrip); break;
    case kStripByteCounts: entry_value(entry, dir.StripByteCount); break;
    case kXResolution: read_resolution(entry, dir.XResolution); break;
    case kYResolution: read_resolution(entry, dir.YResolution); break;
    case kPlanarConfiguration: entry_value(entry, dir.PlanarConfiguration); break;
    case kResolutionUnit: entry_value(entry, unit); break;
    case kDateTime: read_text(entry, date_buffer); break;
    case kArtist: read_text(entry, name_buffer); break;
    case kPredictor: entry_value(entry, dir.Predictor); break;
    case kColorMap: dir.ColorMapOffset = entry.value; break;
    default: break;
    }
}

// Entries in file order; later ones win.
void parse_directory(const RawDirectory& raw, TiffDirectory& dir)
{
    dir = TiffDirectory{};
    u32 unit = 0;
    for (u32 i = 0; i < raw.count; ++i) {
        parse_entry(entry_of(raw.entries + i * kEntryBytes), dir, unit);
    }
    // The CCITT decoders make white 1, and rows of kWhiteIsZero are complemented.
    if (dir.Compression == kTiffHuffman || dir.Compression == kTiffT4 || dir.Compression == kTiffT6) {
        dir.Photometric ^= 1;
    }
    if (unit == kUnitCentimetre) {
        dir.XResolution = dots_per_inch(dir.XResolution);
        dir.YResolution = dots_per_inch(dir.YResolution);
    }
}

bool read_entry_count(u32& count)
{
    u8 bytes[2];
    if (!stream_read_exact(tiff_stream, bytes, sizeof bytes)) {
        return false;
    }
    count = tiff_u16(bytes);
    return true;
}

// Reads count * 12 bytes of entries and the next position from the stream's position. On success the
// block is the caller's.
ErrorCode read_raw_directory(u32 count, RawDirectory& raw)
{
    const u32 bytes = count * kEntryBytes;
    raw = {.entries = block_alloc(bytes + 1), .count = count, .next = 0};
    if (!raw.entries) {
        return kOutOfMemory;
    }
    bool whole = true;
    for (u32 done = 0; whole && done < bytes;) {
        const u16 piece = static_cast<u16>(std::min(bytes - done, 0xFFFFu));
        whole = stream_read_exact(tiff_stream, raw.entries + done, piece);
        done += piece;
    }
    u8 next[4];
    if (!whole || !stream_read_exact(tiff_stream, next, sizeof next)) {
        block_free(raw.entries);
        return kBadData;
    }
    raw.next = tiff_u32(next);
    return kOk;
}

// Adds a directory to the walk. False behind the last that a chain may have.
bool chain_step(ChainWalk& walk, u32 count)
{
    ++walk.visited;
    walk.entries += count;
    return walk.visited <= kMaxDirectories && walk.entries <= kMaxChainEntries;
}

// Reads the file header and gives the first directory's position.
bool read_file_header(u32& first)
{
    u8 bytes[kFileHeaderBytes];
    if (!stream_read_exact(tiff_stream, bytes, sizeof bytes)) {
        return false;
    }
    tiff_byte_order = load_le16(bytes);
    first = tiff_u32(bytes + 4);
    return true;
}

}  // namespace

ErrorCode tiff_read_directory(i16 page)
{
    u32 position;
    if (!read_file_header(position)) {
        return kOutOfMemory;
    }
    tiff_strip_entry = {};
    ChainWalk walk = {};
    do {
        if (!tiff_seek(position)) {
            break;
        }
        u32 count;
        if (!read_entry_count(count)) {
            return kBadData;
        }
        if (!chain_step(walk, count)) {
            return kNoSuchPage;
        }
        RawDirectory raw;
        if (const ErrorCode error = read_raw_directory(count, raw); error != kOk) {
            return error;
        }
        parse_directory(raw, tiff_directory);
        position = raw.next;
        block_free(raw.entries);
    } while (position != 0 && walk.visited <= page);
    if (walk.visited == 0) {
        return kBadData;
    }
    return walk.visited - 1 == page ? kOk : kNoSuchPage;
}

namespace
{

// The page count field of a fax container.
i16 fax_page_count(StreamHandle stream)
{
    u8 bytes[2];
    const bool read = stream_seek_to(stream, 8) && stream_read_exact(stream, bytes, sizeof bytes);
    if (!read) {
        return kBadData;
    }
    stream_seek_to(stream, 0);
    return static_cast<i16>(load_le16(bytes));
}

// Counts the directories from the first on, whose entry count has been read. All but the last are
// parsed, so that their texts reach the text buffers.
i16 count_directories(u32 count)
{
    ChainWalk walk = {};
    for (;;) {
        if (!chain_step(walk, count)) {
            return kBadData;
        }
        RawDirectory raw;
        if (const ErrorCode error = read_raw_directory(count, raw); error != kOk) {
            return error;
        }
        if (raw.next != 0) {
            parse_directory(raw, tiff_directory);
        }
        block_free(raw.entries);
        if (raw.next == 0 || !tiff_seek(raw.next)) {
            return static_cast<i16>(walk.visited);
        }
        if (!read_entry_count(count)) {
            return kBadData;
        }
    }
}

}  // namespace

}  // namespace orv

// ---- the exported page counter

int16_t IMG_tiff_page_count(int32_t stream)
{
    using namespace orv;
    const ApiCall call;
    const StreamWindow window(stream);
    tiff_stream = stream;
    if (fax_is_container(stream)) {
        return fax_page_count(stream);
    }
    fax_marker_seen = fax_has_marker(stream) ? 1 : 0;
    tiff_base_offset = 0;
    u32 first;
    if (!read_file_header(first)) {
        return kBadData;
    }
    u32 count;
    if (!tiff_seek(first) || !read_entry_count(count)) {
        platform::MessageBoxA(nullptr, "Can't read ifd", "Debug Info", platform::MB_ICONINFORMATION);
        return kBadData;
    }
    return count_directories(count);
}
