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

// --- The bytes of the format: see lzw_codes.h ---
//
// Several strips:  32 bits position of each | 32 bits bytes of each | strips

// --- Records and constants ---

namespace
{

constexpr u32 kSlots = 16384;  // more than four times as many as there are strings
constexpr u32 kStep = 1663;    // to the next slot where one is taken
constexpr u32 kCodeBits = kLzwMaxBits;
constexpr u32 kEmpty = ~0u;  // no string: prefixes end with the table

// The strings seen since the last Clear, each in one slot: prefix, byte and code. A Clear empties the slots
// that were used, and no others where they are few.
struct LzwDictionary {
    u32 slots[kSlots];
    u16 used[kLzwFull];  // slot of each code
    u16 runs[kLzwFull];  // code of one, two and more of LzwCoder::run_byte
};

struct LzwCoder {
    LzwDictionary* lzw_dictionary;
    MsbWriter bits;
    u32 code_size;
    u32 next_code;
    u32 limit;   // next_code at which the size grows, or the table is cleared
    u32 prefix;  // code of the string at hand
    u32 run_byte;
    u32 run_known;   // entries of `runs`
    u32 run_length;  // of the string at hand, where it is known to be one of `runs`; else 0
};

u32 limit_of(u32 code_size)
{
    return code_size == kLzwMaxBits ? kLzwFull : lzw_grows_at(code_size) + 1;
}

}  // namespace

// --- Codes ---

namespace
{

void lzw_put_code(LzwCoder& coder, u32 code)
{
    msb_put(coder.bits, code, coder.code_size);
}

void lzw_reset(LzwCoder& coder)
{
    LzwDictionary& dictionary = *coder.lzw_dictionary;
    if (coder.next_code > kSlots / 16) {  // one by one would take longer
        std::memset(dictionary.slots, 0xFF, sizeof dictionary.slots);
    } else {
        for (u32 code = kLzwFirstFree; code < coder.next_code; ++code) {
            dictionary.slots[dictionary.used[code]] = kEmpty;
        }
    }
    coder.run_known = 0;
    coder.run_length = 0;
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

// Takes a byte where the string at hand with it is new: it becomes an entry, at `found`.
[[gnu::always_inline]] inline void start_string(LzwCoder& coder, i32 found, u32 string, u32 byte)
{
    lzw_put_code(coder, coder.prefix);
    coder.next_code = lzw_add(*coder.lzw_dictionary, found, string, coder.next_code);
    coder.prefix = byte;
    if (coder.next_code == coder.limit) [[unlikely]] {
        lzw_grow(coder);
    }
}

// Bytes from `from` on that are `byte`.
u32 count_equal(const u8* from, const u8* end, u32 byte)
{
    const u8* const start = from;
    const u64 eight = byte * 0x0101010101010101U;
    for (u64 word; end - from >= 8; from += 8) {
        std::memcpy(&word, from, 8);
        if (word != eight) {
            break;
        }
    }
    while (from < end && *from == byte) {
        ++from;
    }
    return static_cast<u32>(from - start);
}

// Takes bytes that repeat `run_byte`, behind a string of run_length of them, in steps as long as the longest
// string of them that is known.
const u8* take_run(LzwCoder& coder, const u8* from, const u8* end)
{
    LzwDictionary& dictionary = *coder.lzw_dictionary;
    const u32 byte = coder.run_byte;
    u32 left = count_equal(from, end, byte);
    from += left;
    u32 length = coder.run_length;
    while (left > 0) {
        const u32 step = std::min(left, coder.run_known - length);
        length += step;
        left -= step;
        coder.prefix = dictionary.runs[length - 1];
        if (left == 0) {
            break;
        }
        const u32 string = (coder.prefix << 8 | byte) << kCodeBits;
        const i32 found = lzw_find(dictionary, slot_of(coder.prefix, byte), string);
        dictionary.runs[coder.run_known++] = static_cast<u16>(found >= 0 ? found : i32(coder.next_code));
        if (found < 0) {
            start_string(coder, found, string, byte);
            coder.run_known = std::max(coder.run_known, 1u);  // a Clear leaves the byte by itself
            length = 1;
            --left;
        }
    }
    coder.run_length = from == end ? length : 0;
    return from;
}

// Whether eight bytes repeat the one ahead of them. Only runs of one byte have their strings kept.
[[gnu::always_inline]] inline bool starts_run(LzwCoder& coder, const u8* from, const u8* end)
{
    u64 word;
    if (end - from <= 8) {
        return false;
    }
    std::memcpy(&word, from + 1, 8);
    if (word != *from * 0x0101010101010101U || coder.prefix != *from) [[likely]] {
        return false;
    }
    if (coder.run_known == 0) {
        coder.run_byte = *from;
        coder.run_known = 1;
        coder.lzw_dictionary->runs[0] = *from;
    }
    const bool is_kept = coder.run_byte == *from;
    coder.run_length = is_kept ? 1 : 0;
    return is_kept;
}

// Takes bytes that follow the string at hand.
void lzw_encode(LzwCoder& given, const u8* from, const u8* end)
{
    if (given.run_length > 0) {
        from = take_run(given, from, end);
    }
    LzwCoder coder = given;  // whose address nobody has, so that it stays in registers
    LzwDictionary& dictionary = *coder.lzw_dictionary;
    for (; from < end; ++from) {
        const u32 byte = *from;
        const u32 string = (coder.prefix << 8 | byte) << kCodeBits;
        const i32 found = lzw_find(dictionary, slot_of(coder.prefix, byte), string);
        if (found >= 0) {
            coder.prefix = static_cast<u32>(found);
            continue;
        }
        start_string(coder, found, string, byte);
        if (starts_run(coder, from, end)) [[unlikely]] {
            given = coder;
            from = take_run(given, from + 1, end) - 1;
            coder = given;
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

// --- Strips ---

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
