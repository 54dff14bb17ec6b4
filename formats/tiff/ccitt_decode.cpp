#include "formats/tiff/ccitt_decode.h"

#include <algorithm>
#include <utility>

#include "formats/line_doubling.h"
#include "formats/tiff/fax.h"
#include "frame/blocks.h"

namespace orv
{

// ---- the bytes of the format: ITU-T T.4 and T.6, see ccitt_tables.h

// ---- records and constants

namespace
{

constexpr i32 kWordBits = 64;

}  // namespace

// ---- parsing and checks, no pixels

namespace
{

// Copies bytes with the bits of each mirrored.
void reverse_bits(const u8* from, u8* bytes, u32 count)
{
    for (u32 i = 0; i < count; ++i) {
        u32 byte = from[i];
        byte = (byte & 0xF0) >> 4 | (byte & 0x0F) << 4;
        byte = (byte & 0xCC) >> 2 | (byte & 0x33) << 2;
        byte = (byte & 0xAA) >> 1 | (byte & 0x55) << 1;
        bytes[i] = static_cast<u8>(byte);
    }
}

// Refills the chunk behind what is unread.
void refill_chunk(CcittInput& in)
{
    constexpr u32 kLeast = 8;
    in.used += in.in.pos;
    in.left -= in.in.pos;
    chunk_refill(in.in, in.in.unbounded ? 4 : kLeast);
    if (in.limited && in.in.fill >= in.left) {
        in.in.fill = in.left;
        in.in.ended = true;
    }
    if (in.reversed) {
        in.in.fill = std::min<u32>(in.in.fill, kChunkBytes);
        in.in.ended = in.in.ended && in.in.fill < kChunkBytes;
        reverse_bits(in.in.buffer, in.mirrored, in.in.fill);
        in.in.buffer = in.mirrored;
    }
}

}  // namespace

CcittBits ccitt_refill(CcittInput& input, CcittBits bits)
{
    if (!input.in.ended) {
        refill_chunk(input);
    }
    while (bits.count <= 56 && input.in.pos < input.in.fill) {
        bits.bits |= u64{input.in.buffer[input.in.pos++]} << (56 - bits.count);
        bits.count += 8;
    }
    return bits;
}

// ---- rows

void ccitt_paint_black(i32 first, i32 count, const CcittLine& line)
{
    const i32 end = std::min(first + count, line.count * kWordBits - 1);
    first = std::max(first, 0);
    if (first >= end) {
        return;
    }
    u64* word = line.words + first / kWordBits;
    u64* const last = line.words + end / kWordBits;
    const u64 from_first = ~u64{0} >> (first % kWordBits);
    const u64 from_end = ~u64{0} >> (end % kWordBits);
    if (word == last) {
        *word &= ~(from_first ^ from_end);
        return;
    }
    *word++ &= ~from_first;
    for (; word < last; ++word) {
        *word = 0;
    }
    *word &= from_end;
}

void ccitt_clear(const CcittLine& line)
{
    std::fill_n(line.words, line.count, ~u64{0});
}

namespace
{

// Writes the line's first `length` bytes, a multiple of 4.
void store_line(const CcittLine& line, u8* row, i32 length)
{
    const auto in_order = [](u64 word) {
        return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
    };
    for (i32 i = 0; i < length / 8; ++i) {
        const u64 word = in_order(line.words[i]);
        std::memcpy(row + i * 8, &word, 8);
    }
    const u64 word = in_order(line.words[length / 8]);
    std::memcpy(row + length / 8 * 8, &word, static_cast<usize>(length % 8));
}

}  // namespace

void ccitt_deliver(StripWalk& walk, const CcittDecoder& decoder, const CcittLine& line, i32 row_number)
{
    ++walk.rows_put;
    const i32 number = line_doubling ? 2 * row_number : row_number;
    u8* const row = row_lend(*tiff_sink, number);
    store_line(line, row, static_cast<i32>(tiff_sink->stride));
    tiff_prepare_row(*decoder.dir, row);
    row_done(*tiff_sink, number);
    if (line_doubling) {
        row_give(*tiff_sink, number + 1, row);
    }
}

namespace
{

void decode_ccitt_strip(StripWalk& walk, void* context)
{
    CcittDecoder& decoder = *static_cast<CcittDecoder*>(context);
    CcittInput input = {.in = chunk_open(walk.stream),
                        .mirrored = decoder.input,
                        .reversed = decoder.dir->FillOrder == kFillOrderReversed,
                        .limited = fax_file_open != 0,
                        .left = fax_page_bytes,
                        .used = 0};
    const CcittBits bits = ccitt_refill(input, {.bits = 0, .count = 0});
    if (bits.count > 0) {
        decoder.mode == kTiffT6 ? ccitt_decode_strip_2d(walk, decoder, input, bits)
                                : ccitt_decode_strip_1d(walk, decoder, input, bits);
    }
    walk.bytes_used += input.used + input.in.pos;
}

bool allocate(CcittDecoder& decoder)
{
    const i32 words = decoder.width / kWordBits + 2;
    const usize line_bytes = static_cast<usize>(words) * sizeof(u64);
    const usize list_bytes = static_cast<usize>(decoder.width + kListMargin) * sizeof(i32);
    const usize lists = decoder.mode == kTiffT6 ? 2 * list_bytes : 0;
    decoder.lines = block_alloc(2 * line_bytes + lists);
    decoder.input = block_alloc(kChunkBytes);
    decoder.current = {.words = reinterpret_cast<u64*>(decoder.lines), .count = words};
    if (!decoder.lines || !decoder.input) {
        return false;
    }
    decoder.previous = {.words = reinterpret_cast<u64*>(decoder.lines + line_bytes), .count = words};
    decoder.reference = reinterpret_cast<i32*>(decoder.lines + 2 * line_bytes);
    decoder.changes = reinterpret_cast<i32*>(decoder.lines + 2 * line_bytes + lists / 2);
    return true;
}

void release(CcittDecoder& decoder)
{
    block_free(decoder.input);
    block_free(decoder.lines);
}

}  // namespace

i16 tiff_decode_ccitt(const TiffDirectory& dir, StreamHandle stream, i16 mode)
{
    if (dir.BitsPerSample * dir.SamplesPerPixel != 1) {
        return kOk;
    }
    CcittDecoder decoder = {};
    decoder.dir = &dir;
    decoder.mode = mode;
    decoder.width = static_cast<i32>(dir.ImageWidth);
    const bool allocated = allocate(decoder);
    if (allocated) {
        StripWalk walk = strip_walk(dir, stream);
        decode_strips(walk, decode_ccitt_strip, &decoder);
    }
    release(decoder);
    return allocated ? kOk : kOutOfMemory;
}

}  // namespace orv
