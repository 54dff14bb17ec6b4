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

// Strips of a picture in memory are coded side by side, a byte of each in turn: what one waits for, the others
// have the time to do.
constexpr u32 kLanes = 3;
constexpr usize kMostMemory = 400 * 1024;  // above it, strips are coded one by one

constexpr u32 kBuckets = 8192;  // of two strings each: four times as many as there are
constexpr u32 kStep = 1663;     // to the next bucket where one is full
constexpr u32 kPrefixBits = 20, kByteBits = 12;
constexpr u32 kNoCode = 1u << kLzwMaxBits;

// The strings seen since the last Clear, and the codes put since. A string is prefix + 16 | byte | code, which
// is never 0; a bucket has the later of its two in the lower half.
struct LzwTable {
    u64 buckets[kBuckets];
    u16 codes[kLzwFull + 2];  // each at the number of the entry that came with it
    u16 runs[kLzwFull];       // code of one, two and more of LzwStrip::run_byte
};

// A strip on its way.
struct LzwStrip {
    LzwTable* table;
    MsbWriter bits;
    const u8* from;  // bytes that are still to be taken
    const u8* end;
    u32 next_code;
    u32 prefix;  // code of the string at hand
    u32 run_byte;
    u32 run_known;   // entries of `runs`
    u32 run_length;  // of the string at hand, where it is known to be one of `runs`; else 0
};

}  // namespace

// --- Codes ---

namespace
{

void lzw_clear_table(LzwStrip& strip)
{
    std::memset(strip.table->buckets, 0, sizeof strip.table->buckets);
    strip.next_code = kLzwFirstFree;
    strip.run_known = 0;
    strip.run_length = 0;
}

// Puts the codes in front of entry `end`. As many bits as the entry's number has are those of its code.
void lzw_put_codes(LzwStrip& strip, u32 end)
{
    const u16* const codes = strip.table->codes;
    MsbWriter bits = strip.bits;
    u32 entry = kLzwFirstFree;
    for (u32 size = kLzwMinBits; entry < end; ++size) {
        const u32 last = std::min(end, 1u << size);
        for (; entry + 4 <= last; entry += 4) {
            u64 four = codes[entry];
            four = four << size | codes[entry + 1];
            four = four << size | codes[entry + 2];
            four = four << size | codes[entry + 3];
            msb_put(bits, four, 4 * size);
        }
        for (; entry < last; ++entry) {
            msb_put(bits, codes[entry], size);
        }
    }
    strip.bits = bits;
}

// Starts a strip, whose bits go to `to`, with the first of its bytes.
void lzw_start(LzwStrip& strip, u8* to, std::span<const u8> bytes)
{
    lzw_clear_table(strip);
    strip.bits = {.to = to, .bits = 0, .count = 0};
    msb_put(strip.bits, kLzwClear, kLzwMinBits);
    strip.prefix = bytes[0];
    strip.from = bytes.data() + 1;
    strip.end = bytes.data() + bytes.size();
}

void lzw_clear_when_full(LzwStrip& strip)
{
    if (strip.next_code == kLzwFull) {
        strip.table->codes[kLzwFull] = kLzwClear;
        lzw_put_codes(strip, kLzwFull + 1);
        lzw_clear_table(strip);
    }
}

// The last string and the end code, which takes the size that the decoder has then: the string is an entry
// to it as any other.
void lzw_finish(LzwStrip& strip)
{
    strip.table->codes[strip.next_code] = static_cast<u16>(strip.prefix);
    strip.table->codes[strip.next_code + 1] = kLzwEnd;
    lzw_put_codes(strip, strip.next_code + 2);
    msb_align(strip.bits);
}

// --- Strings ---

// A string as the table has it, without its code.
u32 string_of(u32 prefix, u32 byte)
{
    return ((prefix + 16) << kPrefixBits) | byte << kByteBits;
}

// Buckets of one byte differ by their prefix alone; those of different bytes are strewn.
u32 bucket_of(u32 prefix, u32 byte)
{
    return prefix ^ (byte * 0xA3D5 >> 3) % kBuckets;
}

// The code of a string, or kNoCode and more, and the bucket that has it or has room for it.
struct LzwFound {
    u32 code;
    u32 bucket;
    u64 strings;
};

[[gnu::always_inline]] inline LzwFound lzw_find(const LzwTable& table, u32 string, u32 bucket)
{
    for (;; bucket = (bucket + kStep) % kBuckets) {
        const u64 strings = table.buckets[bucket];
        const u32 earlier = static_cast<u32>(strings >> 32);
        const u32 code = std::min(static_cast<u32>(strings) ^ string, earlier ^ string);
        if (u64{code / kNoCode} * earlier == 0) [[likely]] {  // it is there, or one of the two is free
            return {code, bucket, strings};
        }
    }
}

// The same, quicker where most strings are known: what is likely branches well.
[[gnu::always_inline]] inline LzwFound lzw_find_likely(const LzwTable& table, u32 string, u32 bucket)
{
    for (;; bucket = (bucket + kStep) % kBuckets) {
        const u64 strings = table.buckets[bucket];
        u32 code = static_cast<u32>(strings) ^ string;
        if (code < kNoCode) {
            return {code, bucket, strings};
        }
        code = static_cast<u32>(strings >> 32) ^ string;
        if (code < kNoCode || code == string) {
            return {code, bucket, strings};
        }
    }
}

// Takes a byte where the string at hand with it is new, and becomes an entry.
[[gnu::always_inline]] inline void start_string(LzwStrip& strip, const LzwFound& found, u32 string, u32 byte)
{
    LzwTable& table = *strip.table;
    table.codes[strip.next_code] = static_cast<u16>(strip.prefix);
    table.buckets[found.bucket] = found.strings << 32 | (string + strip.next_code);
    strip.prefix = byte;
    ++strip.next_code;
    lzw_clear_when_full(strip);
}

// --- Strips side by side ---

// Takes `count` bytes of each strip, of which none fills its table on the way. Whether a string is new is as
// good as a coin's toss in a photograph, so that nothing branches on it: the entry is made ready in any case.
template <u32 lanes>
void take_bytes(std::span<LzwStrip> strips, u32 count)
{
    LzwTable* table[lanes];
    const u8* from[lanes];
    u32 prefix[lanes];
    u32 next_code[lanes];
    for (u32 lane = 0; lane < lanes; ++lane) {
        table[lane] = strips[lane].table;
        from[lane] = strips[lane].from;
        prefix[lane] = strips[lane].prefix;
        next_code[lane] = strips[lane].next_code;
    }
    for (u32 at = 0; at < count; ++at) {
#pragma GCC unroll 4
        for (u32 lane = 0; lane < lanes; ++lane) {
            const u32 byte = from[lane][at];
            const u32 string = string_of(prefix[lane], byte);
            const LzwFound found = lzw_find(*table[lane], string, bucket_of(prefix[lane], byte));
            const u64 known = 0 - ((u64{found.code} - kNoCode) >> 63);  // all bits or none
            const u64 added = found.strings << 32 | (string + next_code[lane]);
            table[lane]->codes[next_code[lane]] = static_cast<u16>(prefix[lane]);
            table[lane]->buckets[found.bucket] = added ^ ((added ^ found.strings) & known);
            prefix[lane] = byte ^ ((byte ^ found.code) & static_cast<u32>(known));
            next_code[lane] += 1 + static_cast<u32>(known);
        }
    }
    for (u32 lane = 0; lane < lanes; ++lane) {
        strips[lane].from = from[lane] + count;
        strips[lane].prefix = prefix[lane];
        strips[lane].next_code = next_code[lane];
    }
}

// Takes all bytes of each strip as long as none has come to its end.
template <u32 lanes>
void lzw_encode_lanes(std::span<LzwStrip> strips)
{
    for (;;) {
        u32 count = kLzwFull;
        for (LzwStrip& strip : strips.first<lanes>()) {
            lzw_clear_when_full(strip);
            count = std::min({count, static_cast<u32>(strip.end - strip.from), kLzwFull - strip.next_code});
        }
        if (count == 0) {
            return;
        }
        take_bytes<lanes>(strips, count);
    }
}

// --- Runs ---

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
void take_run(LzwStrip& strip)
{
    LzwTable& table = *strip.table;
    const u32 byte = strip.run_byte;
    u32 left = count_equal(strip.from, strip.end, byte);
    strip.from += left;
    u32 length = strip.run_length;
    while (left > 0) {
        const u32 step = std::min(left, strip.run_known - length);
        length += step;
        left -= step;
        strip.prefix = table.runs[length - 1];
        if (left == 0) {
            break;
        }
        const u32 string = string_of(strip.prefix, byte);
        const LzwFound found = lzw_find_likely(table, string, bucket_of(strip.prefix, byte));
        const bool known = found.code < kNoCode;
        table.runs[strip.run_known++] = static_cast<u16>(known ? found.code : strip.next_code);
        if (!known) {
            start_string(strip, found, string, byte);
            strip.run_known = std::max(strip.run_known, 1u);  // a Clear leaves the byte by itself
            length = 1;
            --left;
        }
    }
    strip.run_length = strip.from == strip.end ? length : 0;
}

bool repeats_first(const u8* nine)
{
    u64 word;
    std::memcpy(&word, nine + 1, 8);
    return word == *nine * 0x0101010101010101U;
}

// Whether eight bytes repeat the one ahead of them. Only runs of one byte have their strings kept.
[[gnu::always_inline]] inline bool starts_run(LzwStrip& strip, const u8* from, const u8* end)
{
    if (end - from <= 8 || !repeats_first(from) || strip.prefix != *from) [[likely]] {
        return false;
    }
    if (strip.run_known == 0) {
        strip.run_byte = *from;
        strip.run_known = 1;
        strip.table->runs[0] = *from;
    }
    const bool is_kept = strip.run_byte == *from;
    strip.run_length = is_kept ? 1 : 0;
    return is_kept;
}

// Takes all bytes of one strip that are there, runs of one byte as wholes.
void lzw_encode_runs(LzwStrip& given)
{
    if (given.run_length > 0) {
        take_run(given);
    }
    LzwStrip strip = given;  // whose address nobody has, so that it stays in registers
    while (strip.from < strip.end) {
        const u32 byte = *strip.from++;
        const u32 string = string_of(strip.prefix, byte);
        const LzwFound found = lzw_find_likely(*strip.table, string, bucket_of(strip.prefix, byte));
        if (found.code < kNoCode) {
            strip.prefix = found.code;
            continue;
        }
        start_string(strip, found, string, byte);
        if (starts_run(strip, strip.from - 1, strip.end)) [[unlikely]] {
            given = strip;
            take_run(given);
            strip = given;
        }
    }
    given = strip;
}

// Whether half of the bytes stand in runs, so that the strip is coded faster by its runs.
bool has_runs(std::span<const u8> bytes)
{
    u32 runs = 0;
    for (usize at = 0; at + 9 <= bytes.size(); at += 8) {
        runs += repeats_first(&bytes[at]) ? 1 : 0;
    }
    return runs > bytes.size() / 16;
}

}  // namespace

// --- Strips ---

namespace
{

struct LzwPage {
    TiffStrips strips;
    u32 lanes;        // kLanes, which take a strip each; or 1, which takes row by row
    u32 lane_bytes;   // that a lane takes at a time
    u32 packed_room;  // for their codes
    u8* bytes;        // what each lane takes
    u8* packed;       // what becomes of it
    u8* tables;       // positions and byte counts of strips as they are written
    LzwStrip lane[kLanes];
};

// Room for the codes of `bytes` bytes, and for those that wait: no more than one of 12 bits a byte.
u32 code_room(u32 bytes)
{
    return 2 * bytes + 2 * kLzwFull;
}

// A file row's bytes, red first; in `to` where they must be exchanged.
std::span<const u8> take_line(PictureSource& source, const LzwPage& page, i32 y, u8* to)
{
    const std::span row(row_take(source, source.height - 1 - y), page.strips.row_bytes);
    if (source.bits != 24) {
        return row;
    }
    row_copy_swapped(row, to);
    return {to, row.size()};
}

// Codes `rows` rows from file row `first` on, each as it comes.
void put_strip(StreamWriter& out, PictureSource& source, LzwPage& page, i32 first, i32 rows)
{
    LzwStrip& strip = page.lane[0];
    for (i32 y = first; y < first + rows && !out.failed; ++y) {
        const std::span line = take_line(source, page, y, page.bytes);
        if (y == first) {
            lzw_start(strip, page.packed, line);
        } else {
            strip.bits.to = page.packed;
            strip.from = line.data();
            strip.end = line.data() + line.size();
        }
        lzw_encode_runs(strip);
        if (y == first + rows - 1) {
            lzw_finish(strip);
        }
        put_bytes(out, page.packed, static_cast<u32>(strip.bits.to - page.packed));
    }
}

// Codes the strips from file row `first` on side by side, as many as there are lanes.
void pack_strips(PictureSource& source, LzwPage& page, i32 first)
{
    const i32 strip_rows = static_cast<i32>(page.strips.strip_rows);
    u32 lanes = 0;
    bool runs = false;
    for (i32 y = first; lanes < page.lanes && y < source.height; y += strip_rows, ++lanes) {
        u8* const begin = page.bytes + usize{lanes} * page.lane_bytes;
        u8* to = begin;
        for (i32 row = y; row < std::min(y + strip_rows, source.height); ++row, to += page.strips.row_bytes) {
            const std::span line = take_line(source, page, row, to);
            if (line.data() != to) {
                std::memcpy(to, line.data(), line.size());
            }
        }
        const std::span<const u8> bytes(begin, to);
        runs = runs || has_runs(bytes);
        lzw_start(page.lane[lanes], page.packed + usize{lanes} * page.packed_room, bytes);
    }
    if (lanes == kLanes && !runs) {
        lzw_encode_lanes<kLanes>(page.lane);
    }
    for (LzwStrip& strip : std::span(page.lane, lanes)) {
        lzw_encode_runs(strip);
        lzw_finish(strip);
    }
}

ErrorCode put_strips(StreamWriter& out, PictureSource& source, LzwPage& page)
{
    ProgressRows progress = progress_rows(source.height);
    const i32 strip_rows = static_cast<i32>(page.strips.strip_rows);
    i32 y = 0;
    for (u32 strip = 0; strip < page.strips.strips; ++strip) {
        const u32 start = writer_position(out);
        if (page.lanes == 1) {
            put_strip(out, source, page, y, std::min(strip_rows, source.height - y));
        } else {
            const u32 lane = strip % page.lanes;
            if (lane == 0) {
                pack_strips(source, page, y);
            }
            const u8* const packed = page.packed + usize{lane} * page.packed_room;
            put_bytes(out, packed, static_cast<u32>(page.lane[lane].bits.to - packed));
        }
        if (out.failed) {
            return kShortWrite;
        }
        store_le32(page.tables + usize{4} * strip, start);
        store_le32(page.tables + usize{4} * (page.strips.strips + strip), writer_position(out) - start);
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

usize memory_of(const LzwPage& page)
{
    return page.lanes * (sizeof(LzwTable) + page.lane_bytes + page.packed_room) + 8 * usize{page.strips.strips};
}

void set_lanes(LzwPage& page, u32 lanes, u32 lane_bytes)
{
    page.lanes = lanes;
    page.lane_bytes = lane_bytes;
    page.packed_room = code_room(lane_bytes);
}

// Rows that a caller supplies are asked for as each strip is written.
void choose_lanes(LzwPage& page, const PictureSource& source)
{
    set_lanes(page, kLanes, page.strips.strip_rows * page.strips.row_bytes);
    if (source.image == nullptr || page.strips.strips < kLanes || memory_of(page) > kMostMemory) {
        set_lanes(page, 1, page.strips.row_bytes);
    }
}

// All the memory of the page, in one block.
u8* allocate(LzwPage& page)
{
    u8* const block = block_alloc(memory_of(page));
    if (block != nullptr) {
        for (u32 lane = 0; lane < page.lanes; ++lane) {
            page.lane[lane].table = reinterpret_cast<LzwTable*>(block) + lane;
        }
        page.bytes = block + page.lanes * sizeof(LzwTable);
        page.packed = page.bytes + usize{page.lanes} * page.lane_bytes;
        page.tables = page.packed + usize{page.lanes} * page.packed_room;
    }
    return block;
}

}  // namespace

i16 tiff_write_lzw(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    progress_start();
    LzwPage page = {};
    page.strips = tiff_lzw_strips(header.info);
    choose_lanes(page, source);
    StreamWriter out;
    TiffPage tiff;
    const ErrorCode started = tiff_start_file(out, stream, 0, tiff);
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
