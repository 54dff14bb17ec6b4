#include "formats/tiff/tiff_directory.h"

#include <algorithm>

#include "frame/blocks.h"
#include "frame/bytes.h"
#include "frame/text_buffers.h"

namespace orv
{

// --- The bytes of the format: see tiff_format.h ---

// --- Records and constants ---

namespace
{

constexpr double kInchFactor = 2.567;  // the factor that these files have always been read with

// A directory's entries as the file has them, in a block of their own, and the position of the next.
struct RawDirectory {
    u8* entries;
    u32 count;
    u32 next;
};

}  // namespace

// --- Parsing and checks, no pixels ---

namespace
{

TiffEntry entry_of(const TiffFile& file, const u8* bytes)
{
    const u8* field = bytes + 8;
    TiffEntry entry = {.tag = tiff_u16(file, bytes),
                       .type = tiff_u16(file, bytes + 2),
                       .count = tiff_u32(file, bytes + 4),
                       .value = 0};
    switch (entry.type) {
    case kTiffByte: entry.value = entry.count > 4 ? tiff_u32(file, field) : load_le32(field); break;
    case kTiffShort:
        entry.value = entry.count > 2
                          ? tiff_u32(file, field)
                          : tiff_u16(file, field) | static_cast<u32>(tiff_u16(file, field + 2)) << 16;
        break;
    case kTiffAscii:
    case kTiffLong:
    case kTiffRational: entry.value = tiff_u32(file, field); break;
    default: entry.value = load_le32(field); break;
    }
    return entry;
}

bool read_u32_at(const TiffFile& file, u32 position, u32& value)
{
    u8 bytes[4];
    if (!tiff_seek(file, position) || !stream_read_exact(file.tiff_stream, bytes, sizeof bytes)) {
        return false;
    }
    value = tiff_u32(file, bytes);
    return true;
}

// The first value of an entry. False where the file does not give it; `value` is then as it was. Of a
// RATIONAL it is the numerator, and the stream is left on the denominator.
bool entry_value(const TiffFile& file, const TiffEntry& entry, u32& value)
{
    u8 bytes[2];
    switch (entry.type) {
    case kTiffByte:
        if (entry.count <= 4) {
            value = entry.value & 0xFF;
            return true;
        }
        if (!tiff_seek(file, entry.value) || !stream_read_exact(file.tiff_stream, bytes, 1)) {
            return false;
        }
        value = bytes[0];
        return true;
    case kTiffShort:
        if (entry.count <= 2) {
            value = entry.value & 0xFFFF;
            return true;
        }
        if (!tiff_seek(file, entry.value) || !stream_read_exact(file.tiff_stream, bytes, 2)) {
            return false;
        }
        value = tiff_u16(file, bytes);
        return true;
    case kTiffAscii:
    case kTiffLong:
        if (entry.count == 1 || (entry.type == kTiffLong && entry.count == 0)) {
            value = entry.value;
            return true;
        }
        return read_u32_at(file, entry.value, value);
    case kTiffRational: return read_u32_at(file, entry.value, value);
    default: value = 0; return true;
    }
}

// Dots per unit: only a RATIONAL has a denominator, and one of 0 leaves the numerator.
void read_resolution(const TiffFile& file, const TiffEntry& entry, u32& resolution)
{
    if (!entry_value(file, entry, resolution) || entry.type != kTiffRational) {
        return;
    }
    u8 bytes[4];
    if (stream_read_exact(file.tiff_stream, bytes, sizeof bytes) && tiff_u32(file, bytes) != 0) {
        resolution /= tiff_u32(file, bytes);
    }
}

// The text lies where the value field says, even one that would fit into the field. As much is read as
// the buffer takes; the count is not looked at.
void read_text(const TiffFile& file, const TiffEntry& entry, std::span<char> buffer)
{
    char text[kNameBufferBytes];
    if (!tiff_seek(file, entry.value)) {
        return;
    }
    const u32 length = stream_read(file.tiff_stream, text, static_cast<u16>(buffer.size()));
    if (length > 0) {
        text_store(buffer, text, length);
    }
}

u32 dots_per_inch(u32 per_centimetre)
{
    return static_cast<u32>(static_cast<u64>(static_cast<double>(per_centimetre) * kInchFactor));
}

void parse_entry(const TiffFile& file, const TiffEntry& entry, TiffDirectory& dir, u32& unit)
{
    switch (entry.tag) {
    case kImageWidth: entry_value(file, entry, dir.ImageWidth); break;
    case kImageLength: entry_value(file, entry, dir.ImageLength); break;
    case kBitsPerSample: entry_value(file, entry, dir.BitsPerSample); break;
    case kCompression:
        entry_value(file, entry, dir.Compression);
        if (file.fax_marker_seen) {
            dir.Compression = kTiffT4;
            dir.Photometric = kWhiteIsZero;
        }
        break;
    case kPhotometric: entry_value(file, entry, dir.Photometric); break;
    case kFillOrder: entry_value(file, entry, dir.FillOrder); break;
    case kStripOffsets:
        dir.tiff_strip_entry = entry;
        entry_value(file, entry, dir.StripOffset);
        break;
    case kSamplesPerPixel: entry_value(file, entry, dir.SamplesPerPixel); break;
    case kRowsPerStrip: entry_value(file, entry, dir.RowsPerStrip); break;
    case kStripByteCounts: entry_value(file, entry, dir.StripByteCount); break;
    case kXResolution: read_resolution(file, entry, dir.XResolution); break;
    case kYResolution: read_resolution(file, entry, dir.YResolution); break;
    case kPlanarConfiguration: entry_value(file, entry, dir.PlanarConfiguration); break;
    case kResolutionUnit: entry_value(file, entry, unit); break;
    case kDateTime: read_text(file, entry, date_buffer); break;
    case kArtist: read_text(file, entry, name_buffer); break;
    case kPredictor: entry_value(file, entry, dir.Predictor); break;
    case kColorMap: dir.ColorMapOffset = entry.value; break;
    default: break;
    }
}

// Entries in file order; later ones win.
void parse_directory(const TiffFile& file, const RawDirectory& raw, TiffDirectory& dir)
{
    const TiffEntry strips = dir.tiff_strip_entry;
    dir = TiffDirectory{};
    dir.tiff_strip_entry = strips;
    u32 unit = 0;
    for (u32 i = 0; i < raw.count; ++i) {
        parse_entry(file, entry_of(file, raw.entries + i * kTiffEntryBytes), dir, unit);
    }
    // The CCITT decoders make white 1, and rows of kWhiteIsZero are complemented.
    if (tiff_is_ccitt(dir.Compression)) {
        dir.Photometric ^= 1;
    }
    if (unit == kUnitCentimetre) {
        dir.XResolution = dots_per_inch(dir.XResolution);
        dir.YResolution = dots_per_inch(dir.YResolution);
    }
}

// Reads the entries at the stream's position and the position of the next directory. With a block in
// `entries` it is the caller's to release.
ErrorCode read_raw_directory(const TiffFile& file, u32 count, DirectoryUse use, RawDirectory& raw)
{
    const u32 bytes = count * kTiffEntryBytes;
    raw = {.entries = block_alloc(bytes + 1), .count = count, .next = 0};
    if (!raw.entries) {
        return kOutOfMemory;
    }
    if (stream_read_all(file.tiff_stream, raw.entries, bytes) != bytes) {
        return kBadData;
    }
    u8 next[4];
    if (!stream_read_exact(file.tiff_stream, next, sizeof next)) {
        return use == DirectoryUse::Read ? kOk : kBadData;
    }
    raw.next = tiff_u32(file, next);
    return kOk;
}

}  // namespace

ErrorCode tiff_read_entries(const TiffFile& file, u32 count, DirectoryUse use, TiffDirectory& dir, u32& next)
{
    RawDirectory raw;
    const ErrorCode error = read_raw_directory(file, count, use, raw);
    if (error == kOk) {
        next = raw.next;
        if (use == DirectoryUse::Read || next != 0) {
            parse_directory(file, raw, dir);
        }
    }
    block_free(raw.entries);
    return error;
}

ErrorCode tiff_read_directory(const TiffFile& file, u32 first, i16 page, TiffDirectory& dir)
{
    TiffChain chain = {};
    u32 position = first;
    do {
        switch (tiff_enter_directory(file, chain, position)) {
        case ChainStep::Entered: break;
        case ChainStep::Unseekable: return chain.visited == 0 ? kBadData : kNoSuchPage;
        case ChainStep::CutShort: return kBadData;
        case ChainStep::TooLong: return kNoSuchPage;
        }
        const ErrorCode error = tiff_read_entries(file, chain.entries, DirectoryUse::Read, dir, position);
        if (error != kOk) {
            return error;
        }
    } while (position != 0 && chain.visited <= page);
    return chain.visited - 1 == page ? kOk : kNoSuchPage;
}

}  // namespace orv
