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

ErrorCode tiff_find_chain_end(const TiffFile& file, u32 first, u32& link)
{
    TiffChain chain = {};
    for (u32 position = first;;) {
        if (tiff_enter_directory(file, chain, position) != ChainStep::Entered) {
            return kBadData;
        }
        const u64 field = u64{position} + 2 + chain.entries * kTiffEntryBytes;
        u8 next[4];
        if (!stream_seek_to(file.tiff_stream, field + file.tiff_base_offset) ||
            !stream_read_exact(file.tiff_stream, next, sizeof next)) {
            return kBadData;
        }
        position = tiff_u32(file, next);
        if (position == 0) {
            link = static_cast<u32>(field);
            // One more must still be within the bounds that readers keep.
            return chain.visited < kMaxDirectories ? kOk : kBadData;
        }
    }
}

}  // namespace orv
