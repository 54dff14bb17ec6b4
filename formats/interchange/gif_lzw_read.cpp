// The LZW decoder of GIF. How strings are kept: lzw_strings.h.
#include <algorithm>

#include "formats/interchange/gif.h"
#include "formats/interchange/gif_blocks.h"
#include "formats/lzw_strings.h"
#include "frame/blocks.h"
#include "frame/bytes.h"
#include "frame/errors.h"

namespace orv
{

// --- Records and constants ---

namespace
{

struct GifDecoder {
    GifCodes codes;
    GifRows rows;
    u32 width;
    GifBlocks blocks;
    u64 bits;   // next bits of the data, the next one lowest
    u32 count;  // how many
    u32 code_size;

    LzwDictionary* gif_dictionary;
    u32 next_code;   // of the string that is being made
    u32 code_limit;  // the code at which codes grow or the table is full
    u32 growing;     // 1, or 0 once the table is full

    u8* gif_row_buffer;  // the window: the pixels 0 to 255, then the output
    u32 capacity;        // up to which it may be filled
    u32 row_start;       // of the first row that has not been handed on
    u32 at;              // where the next string goes
    u32 stop_at;         // hand rows on from here
};

enum class Stop : u8 { Clear, End, Room, BadCode, DataEnded };

}  // namespace

// --- Codes ---

namespace
{

// Sees to it that a code is there, at the end of the data with what is left. False at the end.
bool gif_more_bits(GifDecoder& d)
{
    GifBlocks& blocks = d.blocks;
    if (blocks.fill - blocks.pos < 8 && !blocks.ended) {
        gif_blocks_refill(blocks);
    }
    while (d.count <= 56 && blocks.pos < blocks.fill) {
        d.bits |= u64{blocks.gif_code_buffer[blocks.pos++]} << d.count;
        d.count += 8;
    }
    return d.count >= d.code_size;
}

// The next code, or a negative number at the end of the data.
i32 gif_take_code(GifDecoder& d)
{
    if (d.count < d.code_size && !gif_more_bits(d)) {
        return -1;
    }
    const i32 code = static_cast<i32>(d.bits & ((1U << d.code_size) - 1));
    d.bits >>= d.code_size;
    d.count -= d.code_size;
    return code;
}

}  // namespace

// --- Strings ---

namespace
{

// What the loop keeps apart from the decoder, so that it stays in registers.
struct GifBits {
    u64 bits;
    u32 count;
    u32 pos;
    u32 fill;
};

inline GifBits gif_bits(const GifDecoder& d)
{
    return {.bits = d.bits, .count = d.count, .pos = d.blocks.pos, .fill = d.blocks.fill};
}

inline void gif_keep_bits(GifDecoder& d, const GifBits& in, u32 size)
{
    d.bits = in.bits;
    d.count = in.count;
    d.blocks.pos = in.pos;
    d.code_size = size;
}

// gif_more_bits for the loop.
inline bool gif_fill_bits(GifDecoder& d, GifBits& in, u32 size)
{
    if (in.count >= size) {
        return true;
    }
    if (in.fill - in.pos >= 8) [[likely]] {
        in.bits |= load_le64(d.blocks.gif_code_buffer + in.pos) << in.count;
        in.pos += (63 - in.count) / 8;
        in.count |= 56;
        return true;
    }
    gif_keep_bits(d, in, size);
    const bool more = gif_more_bits(d);
    in = gif_bits(d);
    return more;
}

// Decodes codes and writes their strings until something else is to be done.
Stop gif_decode_strings(GifDecoder& d)
{
    u8* const window = d.gif_row_buffer;
    LzwDictionary& dictionary = *d.gif_dictionary;
    const u32 stop_at = d.stop_at;
    GifBits in = gif_bits(d);
    u32 limit = d.code_limit;
    u32 growing = d.growing;
    u32 at = d.at;
    u32 next = d.next_code;
    u32 size = d.code_size;
    u32 mask = (1U << size) - 1;
    Stop stop = Stop::Room;
    while (at < stop_at) {
        if (!gif_fill_bits(d, in, size)) {
            stop = Stop::DataEnded;
            break;
        }
        const u32 code = static_cast<u32>(in.bits) & mask;
        u32 length;
        if (code < next) [[likely]] {
            length = lzw_write_string(dictionary, window, code, at);
        } else if (code == next) {
            length = lzw_write_string(dictionary, window, code, at);
            window[at + length - 1] = window[at];  // its last pixel is its first
        } else {
            stop = Stop::BadCode;
            break;
        }
        in.bits >>= size;
        in.count -= size;
        if (length == 0) [[unlikely]] {
            stop = code == d.codes.end_code ? Stop::End : Stop::Clear;
            break;
        }
        next += growing;
        lzw_begin_string(dictionary.strings[next], at, length, code);
        at += length;
        if (next == limit) [[unlikely]] {
            limit *= 2;
            growing = size < kGifMaxCodeBits && next < kGifCodes ? 1 : 0;
            size += growing;
            mask = (1U << size) - 1;
        }
    }
    gif_keep_bits(d, in, size);
    d.code_limit = limit;
    d.growing = growing;
    d.at = at;
    d.next_code = next;
    return stop;
}

}  // namespace

// --- Rows ---

namespace
{

// Settles where decoding stops for rows: soon, and behind the picture's last pixel.
void gif_set_stop(GifDecoder& d)
{
    const u64 picture_end = d.row_start + u64{d.width} * static_cast<u32>(d.rows.left);
    const u32 batch_end = std::min(std::max(d.at, d.row_start + d.width) + kLzwBatchBytes, d.capacity);
    d.stop_at = static_cast<u32>(std::min<u64>(picture_end, batch_end));
}

// Hands on the rows that are complete. False when the picture is.
bool gif_deliver(GifDecoder& d)
{
    for (; d.at - d.row_start >= d.width && d.rows.left > 0; d.row_start += d.width) {
        gif_put_row(d.rows, d.gif_row_buffer + d.row_start);
    }
    gif_set_stop(d);
    return d.rows.left > 0;
}

// Moves what is still needed, from `from` on, to the start of the window.
void gif_move_window(GifDecoder& d, u32 from)
{
    const u32 shift = from - kLzwRoots;
    std::memmove(d.gif_row_buffer + kLzwRoots, d.gif_row_buffer + from, d.at - from);
    d.row_start -= shift;
    d.at -= shift;
}

// Starts the window anew: all strings but the one that is being made lose their places.
void gif_restart_window(GifDecoder& d)
{
    LzwString& made = d.gif_dictionary->strings[d.next_code];
    lzw_forget_places(*d.gif_dictionary, d.gif_row_buffer, d.codes.first_code, d.next_code);
    const u32 from = std::min(d.row_start, made.place);
    made.place -= from - kLzwRoots;
    gif_move_window(d, from);
}

// Starts the table anew and takes the first code behind a clear code, which is a single pixel.
Stop gif_clear(GifDecoder& d)
{
    d.code_size = d.codes.minimum_code_size + 1;
    i32 code;
    do {
        code = gif_take_code(d);
    } while (code == static_cast<i32>(d.codes.clear_code));
    if (code < 0) {
        return Stop::DataEnded;
    }
    if (code >= static_cast<i32>(d.codes.clear_code)) {
        return code == static_cast<i32>(d.codes.end_code) ? Stop::End : Stop::BadCode;
    }
    gif_move_window(d, d.row_start);
    d.next_code = d.codes.first_code;
    // With codes of 2 bits the limit is passed already, and they never grow.
    d.code_limit = d.next_code < 1U << d.code_size ? 1U << d.code_size : kGifCodes;
    d.growing = 1;
    d.gif_dictionary->tails_made = d.next_code;
    d.gif_row_buffer[d.at] = static_cast<u8>(code);
    lzw_begin_string(d.gif_dictionary->strings[d.next_code], d.at, 1, static_cast<u32>(code));
    ++d.at;
    gif_set_stop(d);
    return Stop::Room;
}

// Decodes the picture to its end or to what ends it before.
i16 gif_decode_rows(GifDecoder& d)
{
    Stop stop = gif_clear(d);
    for (;;) {
        if (!gif_deliver(d) || stop == Stop::End) {
            if (d.rows.left > 0) {
                picture_note(*d.rows.sink, "the code stream ends early");
            }
            return kReaderDone;
        }
        if (stop == Stop::BadCode || stop == Stop::DataEnded) {
            picture_note(*d.rows.sink, stop == Stop::BadCode ? kNoteBadCode : kNoteDataEnded);
            return kBadData;
        }
        if (stop == Stop::Clear) {
            stop = gif_clear(d);
            continue;
        }
        if (d.at >= d.capacity) {
            gif_restart_window(d);
            gif_set_stop(d);
        }
        stop = gif_decode_strings(d);
    }
}

bool gif_lzw_init(GifDecoder& d, StreamHandle stream)
{
    d.capacity = kLzwRoots + 2 * d.width + kLzwStringRoom + kLzwWindowBytes;
    d.gif_dictionary = reinterpret_cast<LzwDictionary*>(block_alloc(sizeof(LzwDictionary)));
    d.gif_row_buffer = block_alloc(d.capacity + kLzwStringRoom);
    if (!gif_blocks_open(d.blocks, stream) || d.gif_dictionary == nullptr || d.gif_row_buffer == nullptr) {
        return false;
    }
    lzw_set_roots(*d.gif_dictionary, d.gif_row_buffer, d.codes.clear_code);
    d.row_start = kLzwRoots;
    d.at = kLzwRoots;
    return true;
}

void gif_lzw_free(const GifDecoder& d)
{
    block_free(d.gif_row_buffer);
    block_free(d.gif_dictionary);
}

}  // namespace

i16 gif_lzw_decode(StreamHandle stream, u32 minimum_code_size, GifRows& rows)
{
    GifDecoder d = {};
    d.codes = gif_codes(minimum_code_size);
    d.rows = rows;
    d.width = static_cast<u32>(rows.sink->width);
    const i16 result = gif_lzw_init(d, stream) ? gif_decode_rows(d) : i16{kOutOfMemory};
    gif_lzw_free(d);
    return result;
}

}  // namespace orv
