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

// Key of the string that adds `pixel` to `prefix`: never 0, which is an empty slot's.
inline u32 key_of(u32 prefix, u32 pixel)
{
    return (prefix << 8 | pixel) + 1;
}

inline u32 slot_of(u32 prefix, u32 pixel)
{
    return ((prefix * 2) ^ (pixel * 0x9E3779B1U >> (32 - kGifSlotBits))) & (kGifSlots - 1);
}

void clear_table(GifEncoder& e)
{
    std::memset(e.gif_code_table, 0, kGifSlots * sizeof(u32));
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

}  // namespace

ErrorCode gif_encoder_init(GifEncoder& e, StreamWriter& out, u32 minimum_code_size)
{
    e = {};
    e.out = &out;
    e.codes = gif_codes(minimum_code_size);
    e.prefix = -1;
    e.gif_code_table = reinterpret_cast<u32*>(block_alloc(kGifSlots * sizeof(u32)));
    return e.gif_code_table == nullptr ? kOutOfMemory : kOk;
}

void gif_encoder_start(GifEncoder& e)
{
    clear_table(e);
    gif_put_code(e, e.codes.clear_code);
}

void gif_lzw_encode(GifEncoder& e, const u8* pixels, u32 count)
{
    u32 i = 0;
    if (e.prefix < 0) {
        e.prefix = pixels[i++];
    }
    u32 prefix = static_cast<u32>(e.prefix);
    u32* const table = e.gif_code_table;
    for (; i < count; ++i) {
        const u32 pixel = pixels[i];
        const u32 key = key_of(prefix, pixel);
        u32 slot = slot_of(prefix, pixel);
        while (table[slot] != 0 && table[slot] >> kGifMaxCodeBits != key) {
            slot = (slot + 1) & (kGifSlots - 1);
        }
        if (table[slot] != 0) {
            prefix = table[slot] & (kGifCodes - 1);
            continue;
        }
        gif_put_code(e, prefix);
        table[slot] = key << kGifMaxCodeBits | e.next_code;
        prefix = pixel;
        if (++e.next_code == e.limit + 1) {
            pass_limit(e);
        }
    }
    e.prefix = static_cast<i32>(prefix);
}

void gif_encoder_finish(GifEncoder& e)
{
    gif_put_code(e, static_cast<u32>(e.prefix));
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
