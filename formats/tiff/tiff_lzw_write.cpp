// TIFF in LZW: strips of about 10,000 bytes of rows, each a stream of codes by itself.
#include <algorithm>

#include "formats/format_readers.h"
#include "formats/tiff/lzw_codes.h"
#include "formats/tiff/msb_bits.h"
#include "formats/tiff/tiff_directory_write.h"
#include "formats/tiff/tiff_rows.h"
#include "frame/blocks.h"
#include "frame/save.h"

namespace orv
{

// ---- the bytes of the format: see lzw_codes.h
//
// Several strips:  32 bits position of each | 32 bits bytes of each | strips

// ---- records and constants

namespace
{

constexpr u32 kSlots = 16384;  // more than four times as many as there are strings
constexpr u32 kStep = 1663;    // to the next slot where one is taken
constexpr u32 kCodeBits = kLzwMaxBits;
constexpr u32 kEmpty = ~0u;  // no string: prefixes end with the table

// The strings seen since the last Clear, each in one slot: prefix, byte and code. A Clear empties the slots
// that were used, and no others.
struct LzwDictionary {
    u32 slots[kSlots];
    u16 used[kLzwFull];  // slot of each code
};

struct LzwCoder {
    LzwDictionary* lzw_dictionary;
    MsbWriter bits;
    u32 code_size;
    u32 next_code;
    u32 limit;   // next_code at which the size grows, or the table is cleared
    u32 prefix;  // code of the string at hand
};

u32 limit_of(u32 code_size)
{
    return code_size == kLzwMaxBits ? kLzwFull : lzw_grows_at(code_size) + 1;
}

}  // namespace

// ---- codes

namespace
{

void lzw_put_code(LzwCoder& coder, u32 code)
{
    msb_put(coder.bits, code, coder.code_size);
}

void lzw_reset(LzwCoder& coder)
{
    LzwDictionary& dictionary = *coder.lzw_dictionary;
    for (u32 code = kLzwFirstFree; code < coder.next_code; ++code) {
        dictionary.slots[dictionary.used[code]] = kEmpty;
    }
    coder.code_size = kLzwMinBits;
    coder.next_code = kLzwFirstFree;
    coder.limit = limit_of(kLzwMinBits);
}

// Slots of one byte differ by their prefix alone; those of different bytes are strewn.
u32 slot_of(u32 prefix, u32 byte)
{
    return prefix ^ (byte * 0xA3D5 >> 3) % kSlots;
}

// The code of a string, or the free slot for it as a number below 0.
[[gnu::always_inline]] inline i32 lzw_find(const LzwDictionary& dictionary, u32 slot, u32 string)
{
    for (;; slot = (slot + kStep) % kSlots) {
        const u32 there = dictionary.slots[slot];
        if ((there ^ string) < 1u << kCodeBits) {
            return static_cast<i32>(there ^ string);
        }
        if (there == kEmpty) [[likely]] {
            return -1 - static_cast<i32>(slot);
        }
    }
}

u32 lzw_add(LzwDictionary& dictionary, i32 found, u32 string, u32 next_code)
{
    const u32 slot = static_cast<u32>(-1 - found);
    dictionary.slots[slot] = string | next_code;
    dictionary.used[next_code] = static_cast<u16>(slot);
    return next_code + 1;
}

// The table has grown to where the codes do, or to its end.
void lzw_grow(LzwCoder& coder)
{
    if (coder.code_size == kLzwMaxBits) {
        lzw_put_code(coder, kLzwClear);
        lzw_reset(coder);
    } else {
        ++coder.code_size;
        coder.limit = limit_of(coder.code_size);
    }
}

// Takes bytes that follow the string at hand.
void lzw_encode(LzwCoder& given, const u8* from, const u8* end)
{
    LzwCoder coder = given;
    LzwDictionary& dictionary = *coder.lzw_dictionary;
    for (; from < end; ++from) {
        const u32 byte = *from;
        const u32 string = (coder.prefix << 8 | byte) << kCodeBits;
        const i32 found = lzw_find(dictionary, slot_of(coder.prefix, byte), string);
        if (found >= 0) {
            coder.prefix = static_cast<u32>(found);
            continue;
        }
        lzw_put_code(coder, coder.prefix);
        coder.next_code = lzw_add(dictionary, found, string, coder.next_code);
        coder.prefix = byte;
        if (coder.next_code == coder.limit) [[unlikely]] {
            lzw_grow(coder);
        }
    }
    given = coder;
}

// The last string and the end code, which takes the size that the decoder has then: the string is an entry
// to it as any other.
void lzw_finish(LzwCoder& coder)
{
    lzw_put_code(coder, coder.prefix);
    if (coder.next_code + 1 == coder.limit && coder.code_size < kLzwMaxBits) {
        ++coder.code_size;
    }
    lzw_put_code(coder, kLzwEnd);
    msb_align(coder.bits);
}

}  // namespace

// ---- strips

namespace
{

struct LzwPage {
    TiffStrips strips;
    u8* line;    // one row as it is coded
    u8* tables;  // positions and byte counts of strips as they are written
    LzwCoder coder;
};

// Room for the codes of a row: no more than one of 12 bits a byte, and those around it.
u32 row_room(u32 row_bytes)
{
    return 2 * row_bytes + 64;
}

const u8* take_line(PictureSource& source, LzwPage& page, i32 y)
{
    const u8* const row = row_take(source, source.height - 1 - y);
    if (source.bits != 24) {
        return row;
    }
    row_copy_swapped({row, page.strips.row_bytes}, page.line);
    return page.line;
}

// Encodes `rows` rows from file row `first` on.
void lzw_encode_strip(StreamWriter& out, PictureSource& source, LzwPage& page, i32 first, i32 rows)
{
    LzwCoder& coder = page.coder;
    coder.bits = {};
    lzw_reset(coder);
    for (i32 y = first; y < first + rows && !out.failed; ++y) {
        const u8* line = take_line(source, page, y);
        const u8* const end = line + page.strips.row_bytes;
        u8* const begin = writer_room(out, row_room(page.strips.row_bytes));
        coder.bits.to = begin;
        if (y == first) {
            lzw_put_code(coder, kLzwClear);
            coder.prefix = *line++;
        }
        lzw_encode(coder, line, end);
        if (y == first + rows - 1) {
            lzw_finish(coder);
        }
        writer_advance(out, static_cast<u32>(coder.bits.to - begin));
    }
}

ErrorCode put_strips(StreamWriter& out, PictureSource& source, LzwPage& page)
{
    ProgressRows progress = progress_rows(source.height);
    const i32 strip_rows = static_cast<i32>(page.strips.strip_rows);
    u8* offset = page.tables;
    for (i32 y = 0; y < source.height; offset += 4) {
        const u32 start = writer_position(out);
        lzw_encode_strip(out, source, page, y, std::min(strip_rows, source.height - y));
        if (out.failed) {
            return kShortWrite;
        }
        store_le32(offset, start);
        store_le32(offset + 4 * page.strips.strips, writer_position(out) - start);
        y += strip_rows;
        progress_tick(progress, y);
    }
    progress_rows_done();
    return kOk;
}

// One strip has its numbers in the directory, several in tables in front of them.
i16 write_strips(StreamWriter& out, PictureSource& source, LzwPage& page, const TiffPage& tiff)
{
    const u32 table_bytes = page.strips.strips > 1 ? 8 * page.strips.strips : 0;
    put_zeros(out, table_bytes);
    progress_bump();
    if (const ErrorCode strips = put_strips(out, source, page); strips != kOk) {
        return strips;
    }
    if (table_bytes > 0) {
        writer_seek(out, tiff.tiff_data_start);
        put_bytes(out, page.tables, table_bytes);
    } else {
        tiff_patch_byte_count(out, tiff);
    }
    return tiff_finish_page(out, tiff);
}

// The dictionary, the line and the tables, in one block.
u8* allocate(LzwPage& page)
{
    const usize line_bytes = (page.strips.row_bytes + 7) & ~7u;
    u8* const block = block_alloc(sizeof(LzwDictionary) + line_bytes + 8 * usize{page.strips.strips});
    if (block != nullptr) {
        page.coder.lzw_dictionary = reinterpret_cast<LzwDictionary*>(block);
        std::memset(page.coder.lzw_dictionary->slots, 0xFF, sizeof page.coder.lzw_dictionary->slots);
        page.line = block + sizeof(LzwDictionary);
        page.tables = page.line + line_bytes;
    }
    return block;
}

}  // namespace

i16 tiff_write_lzw(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    progress_start();
    LzwPage page = {};
    page.strips = tiff_lzw_strips(header.info);
    StreamWriter out;
    TiffPage tiff;
    const ErrorCode started = tiff_start_file(out, stream, row_room(page.strips.row_bytes), tiff);
    if (started != kOk) {
        return started;
    }
    progress_bump();
    tiff_write_directory(out, header, source.width, source.height, kTiffLzw, tiff);
    u8* const block = allocate(page);
    const i16 result = block == nullptr ? i16{kOutOfMemory} : write_strips(out, source, page, tiff);
    block_free(block);
    if (result == kOk) {
        progress_finish();
    }
    return result;
}

}  // namespace orv
