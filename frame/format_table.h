// The table of formats: all that the frame knows of any format stands in its entry. The frame declares the
// table, formats/format_table.cpp defines it: a new format is its own files and its entry there.
#pragma once

#include "frame/load.h"
#include "frame/rows.h"
#include "frame/save.h"

namespace orv
{

inline constexpr i16 kFormatCount = 16;

enum class ExistingFile : u8 { Replaced, GetsPage };

// Bytes by which a format is told, `count` of them at position `at`. None of them is 0: bytes that a file
// does not have read as 0 and match nothing.
struct Magic {
    u16 at;
    u8 count;
    char bytes[8];
};

// Counts the pages of a stream: the count or a negative code.
using PageCounter = i16 (*)(StreamHandle stream);

struct FormatEntry {
    Reader reader = nullptr;                         // null where the format is not read
    Encoder encoder = nullptr;                       // null where it is not written
    u8 save_depths = 0;                              // DepthSet: what the encoder takes
    ExistingFile existing = ExistingFile::Replaced;  // what a save does with a file that is there
    ErrorCode no_size = kBadData;                    // what a save without width or height gives
    PageCounter page_count = nullptr;                // null for a format without pages
    const char* ending = nullptr;      // three letters by which a file name selects the format, or null
    std::span<const Magic> told = {};  // any of these tells the format
};

extern const FormatEntry format_table[kFormatCount];  // by FormatId

// The formats that are told by their first bytes, in the order in which they are tried: the tests go by a
// few bytes only and give way to each other by this order alone.
extern const std::span<const i16> detection_order;

// Containers are told ahead of all formats, from the start of the stream wherever the picture lies, and
// count as the format of their pages. Their reader always gets a marked page number.
struct ContainerEntry {
    FormatEntry entry;
    i16 format;
};
extern const std::span<const ContainerEntry> container_table;

inline constexpr i16 kUnknownFormat = -1;

// The container that the stream is, or null. The stream is left at position 0.
const ContainerEntry* find_container(StreamHandle stream);

// Sniffs at the stream's position and rewinds to position 0: an OrvFormat, or kUnknownFormat.
i16 sniff_format(StreamHandle stream);

}  // namespace orv
