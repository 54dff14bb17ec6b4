#include "formats/tiff/msb_bits.h"

#include <algorithm>

#include "frame/simd.h"

namespace orv
{
namespace
{

// Slides the chunk on, so that it has eight bytes or all that may be taken.
void next_chunk(MsbInput& input)
{
    input.passed += input.in.pos;
    chunk_refill(input.in, 8);
    const i64 left = input.limit - input.passed;
    if (input.in.fill >= left) {
        input.in.fill = static_cast<u32>(std::max<i64>(left, 0));
        input.in.ended = true;
    }
}

// Of memory of unknown size a byte is taken when it is called for, and not before.
bool has_byte(MsbInput& input, bool called_for)
{
    if (input.in.unbounded) {
        return called_for && input.in.pos < input.limit && chunk_ensure(input.in, 1);
    }
    return chunk_available(input.in) > 0;
}

}  // namespace

MsbBits msb_refill(MsbInput& input, MsbBits bits, i32 wanted)
{
    if (!input.in.unbounded && !input.in.ended) {
        next_chunk(input);
    }
    while (bits.count <= 56 && has_byte(input, bits.count < wanted)) {
        const u64 byte = input.in.buffer[input.in.pos++];
        bits.bits |= (input.mirrored ? mirror_bytes(byte) : byte) << (56 - bits.count);
        bits.count += 8;
    }
    return bits;
}

ORV_TARGET_CLONES
void msb_mirror(u8* bytes, usize count)
{
    usize i = 0;
    for (; i + 8 <= count; i += 8) {
        u64 word;
        std::memcpy(&word, bytes + i, 8);
        word = mirror_bytes(word);
        std::memcpy(bytes + i, &word, 8);
    }
    for (; i < count; ++i) {
        bytes[i] = static_cast<u8>(mirror_bytes(bytes[i]));
    }
}

}  // namespace orv
