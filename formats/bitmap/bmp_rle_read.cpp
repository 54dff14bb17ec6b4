// BMP run-length codes: count and value, or the escapes 0, 0 (end of line), 0, 1 (end of bitmap), 0, 2
// (delta: two bytes, columns and rows to go on) and 0, n (n pixels as they are, padded to an even count
// of bytes). The 4-bit coding departs from the published one in what may follow an absolute run and in
// how full lines end; files depend on both.
#include "formats/bitmap/bmp_rle.h"

#include <algorithm>

namespace orv
{
namespace
{

// --- Records and constants ---

enum Escape : u8 { kEndOfLine = 0, kEndOfBitmap = 1, kDelta = 2 };

// A row under construction. Positions behind the width are counted and store nothing.
struct RunRow {
    u8* pixels;
    u32 width;
    u64 col;
};

// How many of `count` pixels from the row's position on are inside the width.
u32 pixels_inside(const RunRow& row, u32 count)
{
    return row.col >= row.width ? 0 : std::min(count, row.width - static_cast<u32>(row.col));
}

// --- Rows of 8 bits ---

// One escape of the 8-bit coding; the two bytes 0, e have been taken. False at the end of the picture
// or of the data.
bool rle8_escape(ChunkReader& in, RunRow& row, BmpRows& out, u32 e)
{
    if (e == kEndOfLine) {
        bmp_deliver(out);
        row.col = 0;
        return true;
    }
    if (e == kEndOfBitmap) {
        return false;
    }
    if (e == kDelta) {
        if (!chunk_ensure(in, 2)) {
            return false;
        }
        row.col += in.buffer[in.pos];
        for (u32 dy = in.buffer[in.pos + 1]; dy > 0 && out.row >= 0; --dy) {
            bmp_deliver(out);
        }
        in.pos += 2;
        return true;
    }
    if (!chunk_ensure(in, e)) {
        return false;
    }
    std::memcpy(row.pixels + std::min<u64>(row.col, row.width), in.buffer + in.pos, pixels_inside(row, e));
    row.col += e;
    in.pos += e;
    // Codes start at even positions. The pad byte may be missing at the end of the data.
    in.pos += (e & 1) != 0 && chunk_ensure(in, 1) ? 1 : 0;
    return true;
}

// Copies at least 1 byte. Most runs are shorter than a call.
inline void copy_short(u8* to, const u8* from, u32 count)
{
    if (count >= 8) {
        std::memcpy(to, from, count);
        return;
    }
    do {
        *to++ = *from++;
    } while (--count > 0);
}

inline void fill_short(u8* to, u8 value, u32 count)
{
    if (count >= 8) {
        std::memset(to, value, count);
        return;
    }
    do {
        *to++ = value;
    } while (--count > 0);
}

// Decodes runs for as long as whole codes lie in the chunk and inside the row: nothing needs a check.
void rle8_plain_codes(ChunkReader& in, RunRow& row)
{
    constexpr u32 kLongestCode = 2 + 255 + 1;
    u32 pos = in.pos;
    u64 col = row.col;
    while (pos + kLongestCode <= in.fill) {
        const u32 c = in.buffer[pos];
        const u32 v = in.buffer[pos + 1];
        if (c != 0 && col + c <= row.width) {
            fill_short(row.pixels + col, static_cast<u8>(v), c);
            col += c;
            pos += 2;
        } else if (c == 0 && v > kDelta && col + v <= row.width) {
            copy_short(row.pixels + col, in.buffer + pos + 2, v);
            col += v;
            pos += 2 + ((v + 1) & ~1U);
        } else {
            break;
        }
    }
    in.pos = pos;
    row.col = col;
}

// --- Rows of 4 bits ---

// Stores pixel `i` of a run, counted from 0, of a value byte: the high nibble on even i, the low one on
// odd i. A pixel in a byte's high half clears the low one.
void rle4_store(RunRow& row, u32 i, u8 v)
{
    if (row.col < row.width) {
        u8& byte = row.pixels[row.col >> 1];
        const u8 nibble = (i & 1) == 0 ? static_cast<u8>(v >> 4) : static_cast<u8>(v & 0x0F);
        byte = (row.col & 1) == 0 ? static_cast<u8>(nibble << 4) : static_cast<u8>(byte | nibble);
    }
    ++row.col;
}

void rle4_run(RunRow& row, u32 count, u8 v)
{
    u32 i = 0;
    if ((row.col & 1) == 0) {
        // Whole bytes at once.
        const u32 pairs = pixels_inside(row, count) / 2;
        std::memset(row.pixels + std::min<u64>(row.col, row.width) / 2, v, pairs);
        row.col += pairs * 2;
        i = pairs * 2;
    }
    for (; i < count; ++i) {
        rle4_store(row, i, v);
    }
}

void rle4_absolute(RunRow& row, u32 count, const u8* values)
{
    u32 i = 0;
    if ((row.col & 1) == 0) {
        const u32 pairs = pixels_inside(row, count) / 2;
        std::memcpy(row.pixels + std::min<u64>(row.col, row.width) / 2, values, pairs);
        row.col += pairs * 2;
        i = pairs * 2;
    }
    for (; i < count; ++i) {
        rle4_store(row, i, values[i / 2]);
    }
}

// State of the 4-bit coding between codes.
struct Rle4State {
    // Position in a chunk of 10,000 bytes as codes see it: an absolute run ends at an even one. It
    // starts anew wherever less than a row is left of the chunk.
    i32 chunk_pos;
    bool after_absolute;
};

// Takes `count` bytes, which are there.
const u8* rle4_take(ChunkReader& in, Rle4State& state, u32 count)
{
    const u8* const bytes = in.buffer + in.pos;
    in.pos += count;
    state.chunk_pos += static_cast<i32>(count);
    return bytes;
}

enum class Rle4Step { Done, End };

Rle4Step rle4_absolute_step(ChunkReader& in, Rle4State& state, RunRow& row, u32 count)
{
    const u32 bytes = (count + 1) / 2;
    if (!chunk_ensure(in, bytes)) {
        return Rle4Step::End;
    }
    rle4_absolute(row, count, rle4_take(in, state, bytes));
    state.after_absolute = true;
    if ((state.chunk_pos & 1) != 0 && chunk_ensure(in, 1)) {
        rle4_take(in, state, 1);
    }
    return Rle4Step::Done;
}

Rle4Step rle4_escape(ChunkReader& in, Rle4State& state, RunRow& row, BmpRows& out, u32 e)
{
    if (e > kDelta) {
        return rle4_absolute_step(in, state, row, e);
    }
    if (state.after_absolute) {
        // Directly behind an absolute run the pair is a run of e pixels.
        if (!chunk_ensure(in, 1)) {
            return Rle4Step::End;
        }
        rle4_run(row, e, *rle4_take(in, state, 1));
        return Rle4Step::Done;
    }
    if (e == kEndOfLine) {
        bmp_deliver(out);
        row.col = 0;
        return Rle4Step::Done;
    }
    if (e == kEndOfBitmap || !chunk_ensure(in, 2)) {
        return Rle4Step::End;
    }
    const u8* const delta = rle4_take(in, state, 2);
    row.col += delta[0];
    if (delta[1] != 0) {
        bmp_deliver(out);
        out.row -= delta[1] - 1;  // one delivery, however far the delta goes
    }
    return Rle4Step::Done;
}

// A full line is finished without waiting for its end-of-line code, which is swallowed if it follows.
void rle4_finish_line(ChunkReader& in, Rle4State& state, RunRow& row, BmpRows& out)
{
    if (row.col < row.width) {
        return;
    }
    bmp_deliver(out);
    row.col = 0;
    if (chunk_ensure(in, 2) && in.buffer[in.pos] == 0 && in.buffer[in.pos + 1] == 0) {
        rle4_take(in, state, 2);
    }
}

}  // namespace

void bmp_decode_rle8(ChunkReader& in, BmpRows& out)
{
    RunRow row = {.pixels = out.pixels, .width = static_cast<u32>(out.sink->width), .col = 0};
    while (out.row >= 0) {
        rle8_plain_codes(in, row);
        if (!chunk_ensure(in, 2)) {
            return;
        }
        const u32 c = in.buffer[in.pos];
        const u8 v = in.buffer[in.pos + 1];
        in.pos += 2;
        if (c != 0) {
            std::memset(row.pixels + std::min<u64>(row.col, row.width), v, pixels_inside(row, c));
            row.col += c;
        } else if (!rle8_escape(in, row, out, v)) {
            return;
        }
    }
}

void bmp_decode_rle4(ChunkReader& in, BmpRows& out)
{
    RunRow row = {.pixels = out.pixels, .width = static_cast<u32>(out.sink->width), .col = 0};
    Rle4State state = {.chunk_pos = 0, .after_absolute = false};
    while (out.row >= 0) {
        if (state.chunk_pos >= kChunkBytes - static_cast<i32>(out.sink->stride)) {
            state.chunk_pos = 0;
        }
        if (!chunk_ensure(in, 2)) {
            return;
        }
        const u8* const pair = rle4_take(in, state, 2);
        const u32 c = pair[0];
        const u8 v = pair[1];
        if (c != 0) {
            state.after_absolute = false;
            rle4_run(row, c, v);
        } else if (rle4_escape(in, state, row, out, v) == Rle4Step::End) {
            return;
        }
        rle4_finish_line(in, state, row, out);
    }
}

}  // namespace orv
