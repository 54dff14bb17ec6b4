// The table of readers and encoders. The frame declares it, formats/format_table.cpp defines it: a new
// format is its own files and its line there.
#pragma once

#include "frame/load.h"
#include "frame/save.h"

namespace orv
{

inline constexpr i16 kFormatCount = 16;

// Bits of FormatEntry::save_depths.
enum DepthSet : u8 { kDepth1 = 1, kDepth4 = 2, kDepth8 = 4, kDepth24 = 8, kAllDepths = 15 };

enum class ExistingFile : u8 { Replaced, GetsPage };

struct FormatEntry {
    Reader reader;          // null where the format is not detected
    Encoder encoder;        // null where it is not written
    u8 save_depths;         // DepthSet: what the encoder takes
    ExistingFile existing;  // what a save does with a file that is there
};

extern const FormatEntry format_table[kFormatCount];  // by FormatId

// The fax container is recognised ahead of the formats and has a reader of its own shape.
bool fax_is_container(StreamHandle stream);
bool fax_has_marker(StreamHandle stream);
i16 fax_read_page(i16 page, RowCallback row_callback, void* user_data, HeaderCallback header_callback,
                  StreamHandle stream);

}  // namespace orv
