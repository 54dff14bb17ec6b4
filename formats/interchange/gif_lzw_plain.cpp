// The LZW of GIF a code at a time, bit by bit as the format is told: what the fast coders are measured
// against. Bytes are mirrored, so that codes stand highest bit first.
#include "formats/interchange/gif.h"
#include "formats/interchange/gif_blocks.h"
#include "formats/interchange/gif_lzw_write.h"
#include "frame/blocks.h"
#include "frame/errors.h"

namespace orv
{
namespace
{

constexpr GifMirrorTable make_mirror_table()
{
    GifMirrorTable table = {};
    for (u32 i = 0; i < 256; ++i) {
        for (u32 bit = 0; bit < 8; ++bit) {
            table.entry[i] = static_cast<u8>(table.entry[i] | (i >> bit & 1) << (7 - bit));
        }
    }
    return table;
}

}  // namespace

constexpr GifMirrorTable gif_mirror_table = make_mirror_table();

// --- Decoding ---

namespace
{

struct PlainEntry {
    u8 last_char;
    i16 prefix;  // negative: none
    u16 length;
};

struct PlainBits {
    GifBlocks blocks;  // the bytes from pos on, of which bit_position bits are used
    u32 bit_position;
    u32 code_size;
};

// `bit_count` bits from `bit_position` on, counted from the highest bit of the first mirrored byte; the
// first one becomes the lowest.
u32 gif_extract_bits(const u8* bytes, u32 bit_count, u32 bit_position)
{
    u32 code = 0;
    for (u32 i = 0; i < bit_count; ++i) {
        const u32 at = bit_position + i;
        code |= (gif_mirror_table.entry[bytes[at / 8]] >> (7 - at % 8) & 1U) << i;
    }
    return code;
}

i32 gif_next_code(PlainBits& bits)
{
    GifBlocks& blocks = bits.blocks;
    u32 bits_available = (blocks.fill - blocks.pos) * 8 - bits.bit_position;
    while (bits_available < bits.code_size) {
        if (blocks.ended) {
            return -1;
        }
        gif_blocks_refill(blocks);
        bits_available = blocks.fill * 8 - bits.bit_position;
    }
    const u32 code = gif_extract_bits(blocks.gif_code_buffer + blocks.pos, bits.code_size, bits.bit_position);
    bits.bit_position += bits.code_size;
    blocks.pos += bits.bit_position / 8;
    bits.bit_position %= 8;
    return static_cast<i32>(code);
}

struct PlainDecoder {
    GifCodes codes;
    GifRows* rows;
    PlainBits bits;
    PlainEntry* gif_dictionary;
    u8* gif_row_buffer;
    u32 fill;  // pixels in it
    u32 next_code;
    u32 code_limit;
};

// Writes the string of `code` so that it ends ahead of pixel `end`: its first pixel.
u8 write_backward(const PlainDecoder& d, i32 code, u32 end)
{
    u8 first = 0;
    for (; code >= 0; code = d.gif_dictionary[code].prefix) {
        first = d.gif_dictionary[code].last_char;
        d.gif_row_buffer[--end] = first;
    }
    return first;
}

void put_whole_rows(PlainDecoder& d)
{
    const u32 width = static_cast<u32>(d.rows->sink->width);
    for (; d.fill >= width && d.rows->left > 0; d.fill -= width) {
        gif_put_row(*d.rows, d.gif_row_buffer);
        std::memmove(d.gif_row_buffer, d.gif_row_buffer + width, d.fill - width);
    }
}

// The clear code has been taken: the code behind it, which stands for one pixel.
i32 start_table(PlainDecoder& d)
{
    for (i32 i = 0; i < 256; ++i) {
        d.gif_dictionary[i] = {.last_char = static_cast<u8>(i), .prefix = -1, .length = 1};
    }
    d.bits.code_size = d.codes.minimum_code_size + 1;
    d.next_code = d.codes.first_code;
    d.code_limit = 1U << d.bits.code_size;
    i32 code;
    do {
        code = gif_next_code(d.bits);
    } while (code == static_cast<i32>(d.codes.clear_code));
    if (code >= 0 && code < static_cast<i32>(d.codes.clear_code)) {
        d.gif_row_buffer[d.fill++] = static_cast<u8>(code);
    }
    return code;
}

// Writes the string of a code and adds the string that it completes.
void take_string(PlainDecoder& d, u32 code, i32 previous)
{
    PlainEntry made = {.last_char = 0,
                       .prefix = static_cast<i16>(previous),
                       .length = static_cast<u16>(d.gif_dictionary[previous].length + 1)};
    if (code == d.next_code) {
        d.fill += made.length;
        made.last_char = write_backward(d, previous, d.fill - 1);
        d.gif_row_buffer[d.fill - 1] = made.last_char;
    } else {
        d.fill += d.gif_dictionary[code].length;
        made.last_char = write_backward(d, static_cast<i32>(code), d.fill);
    }
    if (d.next_code < kGifCodes) {
        d.gif_dictionary[d.next_code++] = made;
        if (d.next_code == d.code_limit) {
            d.bits.code_size += d.bits.code_size < kGifMaxCodeBits ? 1 : 0;
            d.code_limit *= 2;
        }
    }
}

i16 decode_plain(PlainDecoder& d)
{
    const i32 clear_code = static_cast<i32>(d.codes.clear_code);
    const i32 end_code = static_cast<i32>(d.codes.end_code);
    i32 code = start_table(d);
    bool is_bad = code > end_code;
    for (i32 previous = code;; previous = code) {
        put_whole_rows(d);
        if (d.rows->left == 0 || code == end_code) {
            return kReaderDone;
        }
        if (code < 0 || is_bad) {
            return kBadData;
        }
        code = gif_next_code(d.bits);
        if (code == clear_code) {
            code = start_table(d);
            is_bad = code > end_code;
        } else if (code >= 0 && code != end_code) {
            is_bad = static_cast<u32>(code) > d.next_code;
            if (!is_bad) {
                take_string(d, static_cast<u32>(code), previous);
            }
        }
    }
}

}  // namespace

i16 gif_lzw_decode_plain(StreamHandle stream, u32 minimum_code_size, GifRows& rows)
{
    PlainDecoder d = {};
    d.codes = gif_codes(minimum_code_size);
    d.rows = &rows;
    d.gif_dictionary = reinterpret_cast<PlainEntry*>(block_alloc(kGifCodes * sizeof(PlainEntry)));
    d.gif_row_buffer = block_alloc(static_cast<u32>(rows.sink->width) + kGifCodes);
    const bool open = gif_blocks_open(d.bits.blocks, stream);
    const bool allocated = open && d.gif_dictionary != nullptr && d.gif_row_buffer != nullptr;
    const i16 result = allocated ? decode_plain(d) : i16{kOutOfMemory};
    block_free(d.gif_row_buffer);
    block_free(d.gif_dictionary);
    return result;
}

// --- Encoding ---

namespace
{

constexpr u16 kNoString = 0xFFFF;

struct PlainNode {
    u16 first_child;   // of the strings that add a pixel to this one
    u16 next_sibling;  // next string with the same prefix
    u8 last_char;
};

struct PlainEncoder {
    StreamWriter* out;
    GifCodes codes;
    PlainNode* gif_code_table;
    u32 code_size;
    u32 next_code;
    u32 limit;
    u32 bit_position;  // in the sub-block, counted from the highest bit of its first byte
    u8 gif_block_buffer[kGifBlockBytes];
};

u32 gif_mirror_code(u32 code, u32 width)
{
    u32 mirrored = 0;
    for (u32 i = 0; i < width; ++i) {
        mirrored |= (code >> i & 1) << (width - 1 - i);
    }
    return mirrored;
}

void put_block(const PlainEncoder& e, u32 count)
{
    put_u8(*e.out, count);
    for (u32 i = 0; i < count; ++i) {
        put_u8(*e.out, gif_mirror_table.entry[e.gif_block_buffer[i]]);
    }
}

void gif_put_code(PlainEncoder& e, u32 code)
{
    const u32 whole = e.bit_position / 8;
    if (whole > kGifBlockFull) {
        put_block(e, whole);
        const u8 last = e.gif_block_buffer[whole];
        std::memset(e.gif_block_buffer, 0, sizeof e.gif_block_buffer);
        e.gif_block_buffer[0] = last;
        e.bit_position %= 8;
    }
    const u32 mirrored = gif_mirror_code(code, e.code_size);
    for (u32 i = e.code_size; i-- > 0; ++e.bit_position) {
        u8& byte = e.gif_block_buffer[e.bit_position / 8];
        byte = static_cast<u8>(byte | (mirrored >> i & 1) << (7 - e.bit_position % 8));
    }
}

// The code of the string that adds `pixel` to `prefix`; else -1 where the prefix has no strings, or the
// last of its strings, negative.
i32 gif_find_child(const PlainEncoder& e, u32 prefix, u8 pixel)
{
    u16 child = e.gif_code_table[prefix].first_child;
    if (child == kNoString) {
        return -1;
    }
    while (e.gif_code_table[child].last_char != pixel) {
        if (e.gif_code_table[child].next_sibling == kNoString) {
            return -child;
        }
        child = e.gif_code_table[child].next_sibling;
    }
    return child;
}

u32 gif_add_child(PlainEncoder& e, i32 found, u32 prefix, u8 pixel)
{
    const u16 code = static_cast<u16>(e.next_code);
    if (found == -1) {
        e.gif_code_table[prefix].first_child = code;
    } else {
        e.gif_code_table[-found].next_sibling = code;
    }
    if (e.next_code < kGifCodes) {
        e.gif_code_table[e.next_code].last_char = pixel;
    }
    return e.next_code + 1;
}

void clear_strings(PlainEncoder& e)
{
    std::memset(e.gif_code_table, 0xFF, kGifCodes * sizeof(PlainNode));
    e.code_size = e.codes.minimum_code_size + 1;
    e.next_code = e.codes.first_code;
}

void encode_plain(PlainEncoder& e, const u8* pixels, usize count)
{
    clear_strings(e);
    e.limit = 1U << e.code_size;
    gif_put_code(e, e.codes.clear_code);
    u32 prefix = pixels[0];
    for (usize i = 1; i < count; ++i) {
        const i32 found = gif_find_child(e, prefix, pixels[i]);
        if (found >= 0) {
            prefix = static_cast<u32>(found);
            continue;
        }
        gif_put_code(e, prefix);
        e.next_code = gif_add_child(e, found, prefix, pixels[i]);
        prefix = pixels[i];
        if (e.next_code == e.limit + 1) {
            if (e.code_size == kGifMaxCodeBits) {
                gif_put_code(e, e.codes.clear_code);
                clear_strings(e);
            } else {
                ++e.code_size;
            }
            e.limit = e.code_size == kGifMaxCodeBits ? kGifTableLimit : 1U << e.code_size;
        }
    }
    gif_put_code(e, prefix);
    gif_put_code(e, e.codes.end_code);
    put_block(e, (e.bit_position + 7) / 8);
    put_u8(*e.out, 0);
}

}  // namespace

ErrorCode gif_lzw_encode_plain(StreamWriter& out, u32 minimum_code_size, const u8* pixels, usize count)
{
    PlainEncoder e = {};
    e.out = &out;
    e.codes = gif_codes(minimum_code_size);
    e.gif_code_table = reinterpret_cast<PlainNode*>(block_alloc(kGifCodes * sizeof(PlainNode)));
    if (e.gif_code_table == nullptr) {
        return kOutOfMemory;
    }
    encode_plain(e, pixels, count);
    block_free(e.gif_code_table);
    return kOk;
}

}  // namespace orv
