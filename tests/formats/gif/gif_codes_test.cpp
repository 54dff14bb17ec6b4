// The LZW of GIF: single code streams, and the fast coders beside the plain ones.
#include <gtest/gtest.h>

#include <random>

#include "formats/interchange/gif_lzw_write.h"
#include "frame/scratch.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

using Bytes = std::vector<u8>;

struct Random {
    std::mt19937 engine;

    u32 operator()() { return static_cast<u32>(engine()); }
};

// Gathers codes as a file has them.
struct CodeWriter {
    Bytes bytes;
    u64 bits = 0;
    u32 count = 0;

    void put(u32 code, u32 size)
    {
        bits |= u64{code} << count;
        for (count += size; count >= 8; count -= 8, bits >>= 8) {
            bytes.push_back(static_cast<u8>(bits));
        }
    }

    Bytes blocks(usize block_size) const
    {
        Bytes file;
        Bytes all = bytes;
        all.push_back(static_cast<u8>(bits));
        for (usize at = 0; at < all.size(); at += block_size) {
            const usize size = std::min(block_size, all.size() - at);
            file.push_back(static_cast<u8>(size));
            file.insert(file.end(), all.data() + at, all.data() + at + size);
        }
        file.push_back(0);
        return file;
    }
};

struct Shape {
    i32 width;
    i32 height;
    u16 bits;
    bool interlaced;
};

// What a decode delivered: "row number:bytes" of each row.
struct Decoded {
    i16 result;
    std::string rows;
};

using Decoder = i16 (*)(StreamHandle, u32, GifRows&);

Decoded decode(const Bytes& codes, u32 minimum, const Shape& shape, Decoder decoder)
{
    Decoded decoded = {};
    PictureSink sink = {};
    sink.header_callback = [](ImageHeader*, void*) -> i16 { return 1; };
    sink.row_callback = [](const void* row, void* user, i16 number, i16 length) -> i16 {
        std::string& rows = static_cast<Decoded*>(user)->rows;
        rows += std::to_string(number) + ":";
        rows.append(static_cast<const char*>(row), static_cast<usize>(length));
        return 0;
    };
    sink.user_data = &decoded;
    ImageHeader header = {{40, shape.width, shape.height, 1, shape.bits, 0, 0, 0, 0, 0, 0}, {}};
    EXPECT_GE(picture_begin(sink, header), 0);
    memory_stream_open_sized(const_cast<u8*>(codes.data()), static_cast<u32>(codes.size()), MemoryAccess::Read);
    GifRows rows = gif_rows(sink, shape.interlaced);
    decoded.result = decoder(MEMORY_STREAM, minimum, rows);
    scratch_free_all();
    return decoded;
}

TEST(GifCodes, SingleStreams)
{
    struct Case {
        const char* what;
        u32 minimum;
        std::vector<u32> codes;  // of minimum + 1 bits
        Shape shape;
        i16 result;
        const char* rows;  // number and pixels
    };
    const Shape two_by_two = {2, 2, 8, false};
    const Case cases[] = {
        {"a code just made", 2, {4, 1, 6, 2, 5}, two_by_two, 1, "0:11 1:12"},
        {"no clear code", 2, {1, 6, 2, 5}, two_by_two, 1, "0:11 1:12"},
        {"clear codes in a row", 2, {4, 4, 1, 4, 4, 2, 6}, two_by_two, 1, "0:12 1:22"},
        {"an end behind a clear code", 2, {4, 5}, two_by_two, 1, ""},
        {"a string behind a clear code", 2, {4, 6}, two_by_two, -3, ""},
        {"a code that nothing made", 2, {4, 1, 7}, two_by_two, -3, ""},
        {"an early end", 2, {4, 1, 6, 5}, two_by_two, 1, "0:11"},
        {"data that ends", 2, {4, 4, 4, 1, 6}, two_by_two, -3, "0:11"},
        {"a bad code behind the picture", 2, {4, 1, 6, 6, 7}, {2, 1, 8, false}, 1, "0:11"},
        {"a string over three rows", 2, {4, 1, 6, 7}, {2, 3, 8, false}, 1, "0:11 1:11 2:11"},
        {"codes of 2 bits", 1, {2, 0, 1, 1, 0, 3}, two_by_two, 1, "0:01 1:10"},
        {"two rows by passes", 2, {4, 0, 1}, {1, 2, 8, true}, 1, "0:0 1:1"},
        {"three rows by passes", 2, {4, 0, 1, 2}, {1, 3, 8, true}, 1, "0:0 2:1 1:2"},
        {"four rows by passes", 2, {4, 0, 1, 4, 2, 3}, {1, 4, 8, true}, 1, "0:0 2:1 1:2 3:3"},
        {"ten rows by passes",
         2,
         {4, 0, 1, 4, 2, 3, 4, 0, 1, 4, 2, 3, 4, 0, 1},
         {1, 10, 8, true},
         1,
         "0:0 8:1 4:2 2:3 6:0 1:1 3:2 5:3 7:0 9:1"},
    };
    for (const Case& c : cases) {
        CodeWriter writer;
        for (const u32 code : c.codes) {
            writer.put(code, c.minimum + 1);
        }
        const Bytes codes = writer.blocks(3);
        for (const Decoder decoder : {gif_lzw_decode, gif_lzw_decode_plain}) {
            const Decoded decoded = decode(codes, c.minimum, c.shape, decoder);
            EXPECT_EQ(decoded.result, c.result) << c.what;
            // Pixels as digits, without the padding of rows to 4 bytes.
            std::string rows;
            for (usize at = 0; at < decoded.rows.size(); at += 4) {
                const usize colon = decoded.rows.find(':', at);
                rows += at == 0 ? "" : " ";
                rows += decoded.rows.substr(at, colon + 1 - at);
                for (i32 x = 0; x < c.shape.width; ++x) {
                    rows += static_cast<char>('0' + decoded.rows[colon + 1 + static_cast<usize>(x)]);
                }
                at = colon + 1;
            }
            EXPECT_EQ(rows, c.rows) << c.what;
        }
    }
}

// Codes as no encoder writes them: strings of any length, full tables, few or many clear codes.
// One in `wander` is no continuation of the last.
Bytes wild_codes(u32 minimum, u32 count, u32 clears_in_1000, u32 wander, Random& random)
{
    CodeWriter writer;
    const GifCodes codes = gif_codes(minimum);
    u32 next = kGifCodes + 1;
    u32 size = minimum + 1;
    for (u32 i = 0; i < count; ++i) {
        if (next > kGifCodes || random() % 1000 < clears_in_1000) {
            writer.put(codes.clear_code, size);
            size = minimum + 1;
            next = codes.first_code;
            writer.put(random() % codes.clear_code, size);
            continue;
        }
        u32 code = random() % wander == 0 ? random() % next : next - random() % 3;
        if (code == codes.clear_code || code == codes.end_code || code >= kGifCodes) {
            code = 0;
        }
        writer.put(code, size);
        next += next < kGifCodes ? 1 : 0;
        size += next == 1U << size && size < kGifMaxCodeBits ? 1 : 0;
    }
    return writer.blocks(255);
}

TEST(GifCodes, FastAndPlainDecodersAgree)
{
    Random random = {.engine = std::mt19937(1)};
    for (u32 round = 0; round < 60; ++round) {
        const u32 minimum = 2 + round % 7;
        const u16 bits = std::array<u16, 3>{1, 4, 8}[round / 7 % 3];
        // Every tenth has strings so long that they fill the decoder's window several times.
        const bool is_long = round % 10 == 0;
        const u32 clears = std::array<u32, 4>{0, 1, 20, 300}[is_long ? 0 : round % 4];
        const u32 count = is_long ? 9000 : 500 + random() % 4000;
        Bytes codes = wild_codes(minimum, count, clears, is_long ? 300 : 3, random);
        for (u32 damage = is_long ? 0 : random() % 3; damage > 0; --damage) {
            codes[codes.size() / 2 + random() % (codes.size() / 2)] = static_cast<u8>(random());
        }
        Shape shape = {static_cast<i32>(1 + random() % 3000), static_cast<i32>(1 + random() % 2000), bits,
                       round % 5 == 0};
        if (is_long) {
            shape.height = 3000000 / shape.width + 1;
        }
        const Decoded fast = decode(codes, minimum, shape, gif_lzw_decode);
        const Decoded plain = decode(codes, minimum, shape, gif_lzw_decode_plain);
        EXPECT_EQ(fast.result, plain.result) << "round " << round;
        EXPECT_TRUE(fast.rows == plain.rows) << "round " << round;
    }
}

// --- Encoding ---

// `kind` 0 is noise, 1 runs of all lengths, 2 a pattern with some noise, 3 a single colour.
Bytes make_pixels(u32 kind, u32 colours, usize count, Random& random)
{
    Bytes pixels(count);
    u32 left = 0;
    u8 pixel = 0;
    for (usize i = 0; i < count; ++i) {
        if (kind == 0 || (kind == 1 && left-- == 0)) {
            pixel = static_cast<u8>(random() % colours);
            left = random() % (random() % 8 == 0 ? 900 : 12);
        }
        const bool noise = random() % 50 == 0;
        pixels[i] = kind != 2 ? pixel : static_cast<u8>((noise ? random() : i / 7 * 3) % colours);
    }
    return pixels;
}

Bytes encoded(u32 minimum, const Bytes& pixels, u32 row, bool plain)
{
    Bytes file(pixels.size() * 2 + 1000);
    memory_stream_open_sized(file.data(), static_cast<u32>(file.size()), MemoryAccess::Write);
    StreamWriter out;
    EXPECT_EQ(writer_open(out, MEMORY_STREAM), kOk);
    if (plain) {
        EXPECT_EQ(gif_lzw_encode_plain(out, minimum, pixels.data(), pixels.size()), kOk);
    } else {
        GifEncoder encoder;
        EXPECT_EQ(gif_encoder_init(encoder, out, minimum), kOk);
        gif_encoder_start(encoder);
        for (usize at = 0; at < pixels.size(); at += row) {
            gif_lzw_encode(encoder, pixels.data() + at,
                           static_cast<u32>(std::min<usize>(row, pixels.size() - at)));
        }
        gif_encoder_finish(encoder);
        gif_encoder_free(encoder);
    }
    file.resize(writer_position(out));
    EXPECT_EQ(writer_close(out), kOk);
    return file;
}

TEST(GifCodes, FastAndPlainEncodersAgree)
{
    Random random = {.engine = std::mt19937(2)};
    for (u32 round = 0; round < 64; ++round) {
        const u32 minimum = (round & 1) != 0 ? 4 : 8;
        const u32 kind = round / 2 % 4;
        const u32 count = round < 16 ? 1 + random() % 30 : 20000 + random() % 60000;
        const u32 row = 1 + random() % (round % 3 == 0 ? 7 : 2000);
        const Bytes pixels = make_pixels(kind, 1U << minimum, count, random);
        const Bytes fast = encoded(minimum, pixels, row, false);
        EXPECT_TRUE(fast == encoded(minimum, pixels, row, true)) << "round " << round;
        // All sub-blocks but the last hold 253 or 254 bytes.
        for (usize at = 0; at + fast[at] + 2 < fast.size(); at += fast[at] + 1U) {
            EXPECT_TRUE(fast[at] == 253 || fast[at] == 254) << "round " << round;
        }
    }
}

// Against a model of the encoder in another language: sizes, and sums of all bytes b as sum * 31 + b.
TEST(GifCodes, NoiseAsAModelCodesIt)
{
    struct Case {
        u32 minimum;
        usize size;
        u32 sum;
    };
    for (const Case& c : {Case{4, 18337, 0xCA4AC16B}, Case{8, 41191, 0xEDE60F36}}) {
        Bytes pixels;
        for (u32 i = 0, x = 1; i < 30000; ++i) {
            x = (x * 1103515245 + 12345) & 0x7FFFFFFF;
            pixels.push_back(static_cast<u8>((x >> 16) & ((1U << c.minimum) - 1)));
        }
        const Bytes file = encoded(c.minimum, pixels, 777, false);
        u32 sum = 0;
        for (const u8 byte : file) {
            sum = sum * 31 + byte;
        }
        EXPECT_EQ(file.size(), c.size);
        EXPECT_EQ(sum, c.sum);
    }
}

}  // namespace
}  // namespace orv::test
