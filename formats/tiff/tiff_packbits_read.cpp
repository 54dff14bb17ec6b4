// PackBits (TIFF 6.0, section 9).
#include <algorithm>

#include "formats/tiff/tiff_strips.h"
#include "frame/chunk_reader.h"

namespace orv
{

// --- The bytes of the format: each row is packed on its own ---
//
// 0..127    that many + 1 bytes follow as they are
// 128       nothing
// 129..255  the next byte 257 - n times

// --- Records and constants ---

namespace
{

constexpr u32 kLongestCode = 129;  // bytes of the longest
constexpr u32 kBlock = 16;

}  // namespace

// --- Rows ---

namespace
{

// Unpacks codes in whole blocks while that stays within the row, and the code in the chunk: the bytes done.
u32 packbits_codes(ChunkReader& in, u8* row, u32 done, u32 row_bytes)
{
    const u8* from = in.buffer + in.pos;
    const u8* const last = in.buffer + in.fill - kLongestCode;
    while (from <= last) {
        const u32 code = *from;
        if (code == 128) [[unlikely]] {
            ++from;
            continue;
        }
        const bool run = code > 128;
        const u32 count = run ? 257 - code : code + 1;
        if (done + count + kBlock > row_bytes) [[unlikely]] {
            break;
        }
        ++from;
        // Whole blocks of the run's byte or of what follows: the first does for most codes.
        const u64 repeated = u64{*from} * 0x0101010101010101U;
        for (u32 i = 0;;) {
            u64 words[2];
            std::memcpy(words, from + i, kBlock);
            words[0] = run ? repeated : words[0];
            words[1] = run ? repeated : words[1];
            std::memcpy(row + done + i, words, kBlock);
            i += kBlock;
            if (i >= count) [[likely]] {
                break;
            }
        }
        from += run ? 1 : count;
        done += count;
    }
    in.pos = static_cast<u32>(from - in.buffer);
    return done;
}

// Unpacks one code; what it has past the row is dropped. False where the data ends before what the row lacks.
bool packbits_code(ChunkReader& in, u8* row, u32& done, u32 row_bytes)
{
    if (!chunk_ensure(in, 1)) {
        return false;
    }
    const u32 code = in.buffer[in.pos];
    const u32 count = code < 128 ? code + 1 : 257 - code;
    const u32 wanted = std::min(count, row_bytes - done);
    const bool complete = code == 128 || chunk_ensure(in, code < 128 ? 1 + count : 2);
    if (!complete && (code > 128 || chunk_available(in) < 1 + wanted)) {
        return false;
    }
    ++in.pos;
    if (code == 128) {
        return true;
    }
    if (code < 128) {
        std::memcpy(row + done, in.buffer + in.pos, wanted);
        in.pos += std::min(count, chunk_available(in));
    } else {
        std::memset(row + done, in.buffer[in.pos++], wanted);
    }
    done += wanted;
    return true;
}

// Unpacks one row. False at the end of data.
bool packbits_row(ChunkReader& in, u8* row, u32 row_bytes, i64& passed)
{
    for (u32 done = 0; done < row_bytes;) {
        if (chunk_available(in) < kLongestCode && !in.ended && !in.unbounded) {
            passed += in.pos;
            chunk_refill(in, kLongestCode);
        }
        if (chunk_available(in) >= kLongestCode) [[likely]] {
            done = packbits_codes(in, row, done, row_bytes);
        }
        if (done < row_bytes && !packbits_code(in, row, done, row_bytes)) {
            return false;
        }
    }
    return true;
}

void decode_packbits_strip(StripWalk& walk, void*)
{
    ChunkReader in = chunk_open(walk.file.tiff_stream);
    i64 passed = 0;
    const u32 row_bytes = static_cast<u32>(walk.row_bytes);
    for (i32 row = walk.first_row; row < walk.first_row + walk.rows; ++row) {
        if (!packbits_row(in, tiff_row_place(walk, row), row_bytes, passed)) {
            picture_note(walk.sink, kNoteDataEnded);
            break;
        }
        tiff_finish_row(walk, row);
    }
    walk.bytes_used += passed + in.pos;
}

}  // namespace

i16 tiff_decode_packbits(StripWalk& walk)
{
    decode_strips(walk, decode_packbits_strip, nullptr);
    return kOk;
}

}  // namespace orv
