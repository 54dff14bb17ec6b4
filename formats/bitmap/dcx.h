// DCX, the file of several PCX pages: what reader and writer share.
//
//      0  magic, then the table: the file positions of the pages in their order, 32 bits each, all
//         little-endian. An entry of 0 ends it. A table without room for that entry ends where the
//         first page begins.
//    404  first page of the files written here, so that their table has 100 entries.
#pragma once

#include "frame/streams.h"

namespace orv
{

inline constexpr u32 kDcxMagic = 987654321;
inline constexpr u32 kDcxHeadBytes = 404;
inline constexpr u32 kDcxEntryBytes = 4;

// A walk along a table, entry by entry.
struct DcxTable {
    u32 position;    // of the next entry
    u32 first_page;  // position of the first page, 0 before the first entry
};

static inline DcxTable dcx_table_start()
{
    return {.position = kDcxEntryBytes, .first_page = 0};
}

// Takes `entry`, which was read at the walk's position. False when the table has ended.
static inline bool dcx_table_take(DcxTable& table, u32 entry)
{
    if (entry == 0 || table.position == table.first_page) {
        return false;
    }
    table.first_page = table.first_page == 0 ? entry : table.first_page;
    table.position += kDcxEntryBytes;
    return true;
}

}  // namespace orv
