// A TIFF in a stream: its numbers and the walk along its chain of directories, for the reader, the page
// counter and the writer that adds a page.
#pragma once

#include "formats/tiff/tiff_format.h"
#include "frame/errors.h"
#include "frame/streams.h"

namespace orv
{

struct TiffFile {
    StreamHandle tiff_stream;
    u32 tiff_base_offset;  // all positions in the file count from here
    u16 tiff_byte_order;   // kBigEndianOrder; anything else is little-endian
    bool fax_marker_seen;  // the fax marker stands at byte 8: pages are T.4, whatever they say
};

// Bring numbers of the file, in place, to the host's order and back.
void tiff_swap16(u16* values, u16 byte_order, usize count);
void tiff_swap32(u32* values, u16 byte_order, usize count);

// Numbers in bytes of the file.
u16 tiff_u16(const TiffFile& file, const u8* bytes);
u32 tiff_u32(const TiffFile& file, const u8* bytes);

// Seeks to a position that counts from the base.
bool tiff_seek(const TiffFile& file, u32 position);

// Reads the file header at the stream's position: byte order and the first directory's position. False where
// it is cut short.
bool tiff_read_file_header(TiffFile& file, u32& first);

// A walk along the chain. Chains that loop or overlap come to an end at bounds that no sound file is near.
inline constexpr i32 kMaxDirectories = 4096;
inline constexpr u32 kMaxChainEntries = 64 * kMaxDirectories;

struct TiffChain {
    i32 visited;      // directories, with the one at hand
    u32 all_entries;  // in all of them
    u32 entries;      // of the one at hand, where the stream stands
};

enum class ChainStep { Entered, Unseekable, CutShort, TooLong };

// Goes to the directory at `position` and reads its entry count.
ChainStep tiff_enter_directory(const TiffFile& file, TiffChain& chain, u32 position);

// Finds where the last directory has the position of the next one, 0, to be replaced by that of an added
// page. kOk, or kBadData for a chain that does not end within the file and the bounds.
ErrorCode tiff_find_chain_end(const TiffFile& file, u32 first, u32& link);

}  // namespace orv
