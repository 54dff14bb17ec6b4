#include "formats/tiff/tiff_file.h"

#include <bit>

#include "frame/bytes.h"

namespace orv
{
namespace
{

bool is_swapped(u16 byte_order)
{
    const bool big_endian = byte_order == kBigEndianOrder;
    return big_endian == (std::endian::native == std::endian::little);
}

}  // namespace

void tiff_swap16(u16* values, u16 byte_order, usize count)
{
    if (is_swapped(byte_order)) {
        for (usize i = 0; i < count; ++i) {
            values[i] = __builtin_bswap16(values[i]);
        }
    }
}

void tiff_swap32(u32* values, u16 byte_order, usize count)
{
    if (is_swapped(byte_order)) {
        for (usize i = 0; i < count; ++i) {
            values[i] = __builtin_bswap32(values[i]);
        }
    }
}

u16 tiff_u16(const TiffFile& file, const u8* bytes)
{
    u16 value;
    std::memcpy(&value, bytes, sizeof value);
    tiff_swap16(&value, file.tiff_byte_order, 1);
    return value;
}

u32 tiff_u32(const TiffFile& file, const u8* bytes)
{
    u32 value;
    std::memcpy(&value, bytes, sizeof value);
    tiff_swap32(&value, file.tiff_byte_order, 1);
    return value;
}

bool tiff_seek(const TiffFile& file, u32 position)
{
    return stream_seek_to(file.tiff_stream, u64{position} + file.tiff_base_offset);
}

bool tiff_read_file_header(TiffFile& file, u32& first)
{
    u8 bytes[kTiffHeaderBytes];
    if (!stream_read_exact(file.tiff_stream, bytes, sizeof bytes)) {
        return false;
    }
    file.tiff_byte_order = load_le16(bytes);
    first = tiff_u32(file, bytes + kTiffFirstField);
    return true;
}

ChainStep tiff_enter_directory(const TiffFile& file, TiffChain& chain, u32 position)
{
    if (!tiff_seek(file, position)) {
        return ChainStep::Unseekable;
    }
    u8 bytes[2];
    if (!stream_read_exact(file.tiff_stream, bytes, sizeof bytes)) {
        return ChainStep::CutShort;
    }
    chain.entries = tiff_u16(file, bytes);
    chain.all_entries += chain.entries;
    ++chain.visited;
    const bool bounded = chain.visited <= kMaxDirectories && chain.all_entries <= kMaxChainEntries;
    return bounded ? ChainStep::Entered : ChainStep::TooLong;
}

namespace
{

// Where a directory lies: its count and entries, and behind them the position of the next.
struct DirectoryPlace {
    u64 start;
    u64 next_field;
};

// Goes to the directory at `position` and on to the next one's position.
bool read_place(const TiffFile& file, TiffChain& chain, u32& position, DirectoryPlace& place)
{
    if (tiff_enter_directory(file, chain, position) != ChainStep::Entered) {
        return false;
    }
    place = {.start = position, .next_field = u64{position} + 2 + chain.entries * kTiffEntryBytes};
    u8 next[4];
    if (!stream_seek_to(file.tiff_stream, place.next_field + file.tiff_base_offset) ||
        !stream_read_exact(file.tiff_stream, next, sizeof next)) {
        return false;
    }
    position = tiff_u32(file, next);
    return true;
}

// Whether the field can be written without changing the header or any directory but its own link.
bool is_free(const TiffFile& file, u32 first, u64 link)
{
    TiffChain chain = {};
    DirectoryPlace place;
    for (u32 position = first; position != 0;) {
        if (!read_place(file, chain, position, place)) {
            return false;
        }
        const u64 end = place.next_field + (place.next_field == link ? 0 : 4);
        if (link < end && link + 4 > place.start) {
            return false;
        }
    }
    return link >= kTiffHeaderBytes;
}

}  // namespace

ErrorCode tiff_find_chain_end(const TiffFile& file, u32 first, u32& link)
{
    TiffChain chain = {};
    DirectoryPlace place = {};
    u32 position = first;
    do {
        if (!read_place(file, chain, position, place)) {
            return kBadData;
        }
    } while (position != 0);
    link = static_cast<u32>(place.next_field);
    // One directory more must still be within the bounds that readers keep.
    const bool takes_page = chain.visited < kMaxDirectories && is_free(file, first, place.next_field);
    return takes_page ? kOk : kBadData;
}

}  // namespace orv
