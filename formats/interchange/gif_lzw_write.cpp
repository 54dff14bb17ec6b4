#include "formats/interchange/gif_lzw_write.h"

#include "frame/blocks.h"
#include "frame/bytes.h"

namespace orv
{
namespace
{

// --- Codes ---

void close_block(GifEncoder& e)
{
    e.gif_block_buffer[0] = static_cast<u8>(e.fill);
    put_bytes(*e.out, e.gif_block_buffer, e.fill + 1);
    e.fill = 0;
}

inline void gif_put_code(GifEncoder& e, u32 code)
{
    if (e.fill > kGifBlockFull) [[unlikely]] {
        close_block(e);
    }
    e.bits |= u64{code} << e.count;
    e.count += e.code_size;
    store_le64(e.gif_block_buffer + 1 + e.fill, e.bits);
    e.fill += e.count / 8;
    e.bits >>= e.count & ~7U;
    e.count &= 7;
}

// --- Strings ---

// A string that is looked for: its code, 0 for none, and the slot where it is or belongs.
struct Found {
    u32 code;
    u32 slot;
};

// The two tables, each with its search and its way to add the string that was not found.
struct Rows {
    static Found find(const GifCodeTable& table, u32 prefix, u32 pixel)
    {
        const u32 slot = pixel << kGifMaxCodeBits | prefix;
        return {.code = table.rows[slot], .slot = slot};
    }
    static void add(GifCodeTable& table, u32 slot, u32, u32, u32 code)
    {
        table.rows[slot] = static_cast<u16>(code);
    }
};

struct Hash {
    static constexpr u32 kEmpty = ~0U;  // no string has so high a prefix

    static Found find(const GifCodeTable& table, u32 prefix, u32 pixel)
    {
        const u32 key = (prefix << 8 | pixel) << kGifMaxCodeBits;
        u32 slot = (prefix * 2 ^ pixel * 0x9E3779B1U >> (32 - kGifSlotBits)) & (kGifSlots - 1);
        for (;; slot = (slot + 1) & (kGifSlots - 1)) {
            const u32 there = table.slots[slot];
            if ((there ^ key) < 1U << kGifMaxCodeBits) {
                return {.code = there ^ key, .slot = slot};
            }
            if (there == kEmpty) [[likely]] {
                return {.code = 0, .slot = slot};
            }
        }
    }
    static void add(GifCodeTable& table, u32 slot, u32 prefix, u32 pixel, u32 code)
    {
        table.slots[slot] = (prefix << 8 | pixel) << kGifMaxCodeBits | code;
    }
};

void clear_table(GifEncoder& e)
{
    GifCodeTable& table = *e.gif_code_table;
    if (e.codes.minimum_code_size == kGifRowBits) {
        std::memset(table.rows, 0, sizeof table.rows);
    } else {
        std::memset(table.slots, 0xFF, sizeof table.slots);
    }
    std::memset(table.jumps, 0, sizeof table.jumps);
    e.code_size = e.codes.minimum_code_size + 1;
    e.next_code = e.codes.first_code;
    e.limit = 1U << e.code_size;
}

// The table has grown behind its limit: codes grow, or all starts anew.
void pass_limit(GifEncoder& e)
{
    if (e.code_size == kGifMaxCodeBits) {
        gif_put_code(e, e.codes.clear_code);
        clear_table(e);
        return;
    }
    ++e.code_size;
    e.limit = e.code_size == kGifMaxCodeBits ? kGifTableLimit : 1U << e.code_size;
}

// --- Runs ---

// True where the kGifJump + 1 pixels from here on are the same.
inline bool is_run(const u8* pixels)
{
    return load_le64(pixels) == load_le64(pixels + 1);
}

// Follows the run that pixel i goes on with, in jumps: the place of the next pixel to look at. `prefix` is the
// string that ends ahead of it.
inline u32 follow_run(const GifCodeTable& table, const u8* pixels, u32 i, u32 count, u32& prefix)
{
    while (i > 0 && i + kGifJump <= count && is_run(pixels + i - 1) && table.jumps[prefix] != 0) {
        prefix = table.jumps[prefix];
        i += kGifJump;
    }
    return i;
}

// The last kGifJump + 1 pixels of this string are the same: notes the way to it.
void note_jump(GifCodeTable& table, u32 code)
{
    u32 from = code;
    for (u32 i = 0; i < kGifJump; ++i) {
        from = table.prefixes[from];
    }
    table.jumps[from] = static_cast<u16>(code);
}

template <typename Strings>
void encode_pixels(GifEncoder& e, const u8* pixels, u32 count)
{
    GifCodeTable& table = *e.gif_code_table;
    u32 i = 0;
    if (e.length == 0) {
        e.prefix = pixels[i++];
        e.length = 1;
    }
    u32 prefix = e.prefix;
    u32 length = e.length;
    while (i < count) {
        const u32 followed = follow_run(table, pixels, i, count, prefix);
        if (followed != i) {
            length += followed - i;
            i = followed;
            continue;
        }
        const u8 pixel = pixels[i++];
        const Found found = Strings::find(table, prefix, pixel);
        ++length;
        if (found.code != 0) {
            prefix = found.code;
            continue;
        }
        gif_put_code(e, prefix);
        Strings::add(table, found.slot, prefix, pixel, e.next_code);
        table.prefixes[e.next_code] = static_cast<u16>(prefix);
        if (i > kGifJump && length > kGifJump && is_run(pixels + i - 1 - kGifJump)) {
            note_jump(table, e.next_code);
        }
        prefix = pixel;
        length = 1;
        if (++e.next_code == e.limit + 1) {
            pass_limit(e);
        }
    }
    e.prefix = prefix;
    e.length = length;
}

}  // namespace

ErrorCode gif_encoder_init(GifEncoder& e, StreamWriter& out, u32 minimum_code_size)
{
    e = {};
    e.out = &out;
    e.codes = gif_codes(minimum_code_size);
    e.gif_code_table = reinterpret_cast<GifCodeTable*>(block_alloc(sizeof(GifCodeTable)));
    return e.gif_code_table == nullptr ? kOutOfMemory : kOk;
}

void gif_encoder_start(GifEncoder& e)
{
    clear_table(e);
    gif_put_code(e, e.codes.clear_code);
}

void gif_lzw_encode(GifEncoder& e, const u8* pixels, u32 count)
{
    if (e.codes.minimum_code_size == kGifRowBits) {
        encode_pixels<Rows>(e, pixels, count);
    } else {
        encode_pixels<Hash>(e, pixels, count);
    }
}

void gif_encoder_finish(GifEncoder& e)
{
    gif_put_code(e, e.prefix);
    gif_put_code(e, e.codes.end_code);
    e.fill += e.count > 0 ? 1 : 0;
    close_block(e);
    put_u8(*e.out, 0);
}

void gif_encoder_free(const GifEncoder& e)
{
    block_free(e.gif_code_table);
}

}  // namespace orv
