#include "formats/jpeg/jpeg_bits.h"

#include <algorithm>

#include "formats/jpeg/jpeg.h"

namespace orv
{
namespace
{

// Asked of the stream at a time.
constexpr u32 kInputBytes = 4000;

// A byte and what tells whether it is followed by a stuffed 00.
constexpr i64 kLeastAhead = 2;

// Bytes up to and with the EOI marker, if there is one.
usize bytes_to_eoi(std::span<const u8> bytes)
{
    for (usize i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == kJpegEoi) {
            return i + 2;
        }
    }
    return bytes.size();
}

void borrow_more(JpegBits& bits)
{
    const u32 taken = static_cast<u32>(bits.next - bits.start);
    stream_skip(bits.stream, taken);
    bits.most -= taken;
    std::span<const u8> bytes = stream_borrow(bits.stream, kInputBytes);
    if (stream_is_unbounded(bits.stream)) {
        bytes = bytes.first(bytes_to_eoi(bytes));
    }
    bytes = bytes.first(std::min<usize>(bytes.size(), bits.most));
    bits.start = bytes.data();
    bits.next = bytes.data();
    bits.end = bytes.data() + bytes.size();
    bits.ended = bytes.size() < kInputBytes;
}

}  // namespace

JpegBits jpeg_bits_open(StreamHandle stream, u32 most)
{
    JpegBits bits{};
    bits.stream = stream;
    bits.most = most;
    borrow_more(bits);
    return bits;
}

JpegBits jpeg_refill_slowly(JpegBits bits)
{
    // What stands below `count` bits belongs to the byte at `next`, which comes
    // again.
    while (bits.count < kBitsAfterRefill) {
        if (bits.end - bits.next < kLeastAhead && !bits.ended) {
            borrow_more(bits);
        }
        if (bits.next == bits.end) {
            bits.made_up += kBitsAfterRefill - bits.count;
            bits.count = kBitsAfterRefill;
            return bits;
        }
        const u8 byte = *bits.next++;
        bits.store |= u64{byte} << (kBitsAfterRefill - bits.count);
        bits.count += 8;
        if (byte == 0xFF && bits.next != bits.end && *bits.next == 0) {
            ++bits.next;
        }
    }
    return bits;
}

void jpeg_find_restart(JpegBits& bits)
{
    constexpr u32 kRestartTop = 0xFFD;  // the marker without its number
    constexpr u32 kRestartBits = 12;
    jpeg_refill(bits);
    while (jpeg_peek(bits, kRestartBits) != kRestartTop && bits.count > bits.made_up) {
        jpeg_get_bits(bits, 1);
        jpeg_refill(bits);
    }
    jpeg_get_bits(bits, 16);
}

}  // namespace orv
