// Error diffusion to black and white, row by row.
#include "ops/mono_diffusion.h"

#include <array>

#include "frame/blocks.h"
#include "frame/simd.h"
#include "ops/gray_rows.h"

namespace orv
{
namespace
{

// An error is at most 127 either way, and a pixel takes at most a whole one: the shares around it add
// up to 42 forty-seconds and are rounded toward zero.
constexpr i32 kMonoError = 127;
constexpr i32 kLeastGray = -kMonoError;
constexpr i32 kGreatestGray = 255 + kMonoError;

// What becomes of each gray, in tables of their own: the way from a pixel to the next is an addition and
// one load.
struct MonoCuts {
    std::array<i8, kGreatestGray - kLeastGray + 1> error;
    std::array<i8, kGreatestGray - kLeastGray + 1> next;    // 8 forty-seconds of it, one pixel on
    std::array<i8, kGreatestGray - kLeastGray + 1> second;  // 4, two pixels on
};

constexpr MonoCuts kMonoCuts = [] {
    MonoCuts cuts = {};
    for (i32 gray = kLeastGray; gray <= kGreatestGray; ++gray) {
        const usize at = static_cast<usize>(gray - kLeastGray);
        const i32 error = gray >= 128 ? gray - 255 : gray;
        cuts.error[at] = static_cast<i8>(error);
        cuts.next[at] = static_cast<i8>(error * 8 / 42);
        cuts.second[at] = static_cast<i8>(error * 4 / 42);
    }
    return cuts;
}();

static_assert([] {
    for (const i8 error : kMonoCuts.error) {
        if (error < -kMonoError) {
            return false;
        }
    }
    return kMonoError == 127 && kMonoCuts.error[127 - kLeastGray] == 127 &&
           kMonoCuts.error.back() == kMonoError;
}());

// A line is width words and kSpare at each end. Those of lines take the errors that fall over the edge; those
// of shares stay 0.
constexpr usize kSpare = 2;
constexpr usize kLines = 3;
constexpr usize kShareRows = 4;

struct MonoRows {
    i16* line;  // this row's grays with all that has come from below; leaves with its errors
    i16* next;  // what the next row and the one after it have got so far
    i16* after;
    i16* shares;  // four rows: 8, 4, 2 and 1 forty-seconds of the errors
    usize pitch;  // words of a line with its spare ones
    usize width;
};

// error * numerator / 42 toward zero.
template <u32 numerator>
inline i16 forty_seconds(i16 error)
{
    constexpr u32 kReciprocal = 65536 * numerator / 42 + 1;
    static_assert([] {
        for (u32 e = 0; e <= kMonoError; ++e) {
            if (e * kReciprocal >> 16 != e * numerator / 42) {
                return false;
            }
        }
        return true;
    }());
    const u16 size = static_cast<u16>(error < 0 ? -error : error);
    const i16 share = static_cast<i16>(size * kReciprocal >> 16);
    return static_cast<i16>(error < 0 ? -share : share);
}

// The shares of the next row, 2 4 8 4 2, and of the one after it, 1 2 4 2 1.
ORV_TARGET_CLONES
void spread_mono_errors(const MonoRows& rows)
{
    i16* const eight = rows.shares + kSpare;
    i16* const four = eight + rows.pitch;
    i16* const two = four + rows.pitch;
    i16* const one = two + rows.pitch;
    for (usize x = 0; x < rows.width; ++x) {
        eight[x] = forty_seconds<8>(rows.line[x]);
        four[x] = forty_seconds<4>(rows.line[x]);
        two[x] = forty_seconds<2>(rows.line[x]);
        one[x] = forty_seconds<1>(rows.line[x]);
    }
    const std::ptrdiff_t width = static_cast<std::ptrdiff_t>(rows.width);
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        const i32 next = eight[x] + four[x - 1] + four[x + 1] + two[x - 2] + two[x + 2];
        const i32 after = four[x] + two[x - 1] + two[x + 1] + one[x - 2] + one[x + 2];
        rows.next[x] = static_cast<i16>(rows.next[x] + next);
        rows.after[x] = static_cast<i16>(rows.after[x] + after);
    }
}

// Even rows run left to right, odd ones right to left. `whites` gets 1 for a white pixel, 0 for black.
void diffuse_row_mono(u8* whites, i16* line, i32 row, usize width)
{
    const i8* const errors = kMonoCuts.error.data() - kLeastGray;
    const i8* const nexts = kMonoCuts.next.data() - kLeastGray;
    const i8* const seconds = kMonoCuts.second.data() - kLeastGray;
    std::ptrdiff_t next = 0;    // what the pixel before gives this one
    std::ptrdiff_t before = 0;  // what the pixel before that gives it
    std::ptrdiff_t second = 0;  // what the pixel before gives the one behind this
    const std::ptrdiff_t step = (row & 1) == 0 ? 1 : -1;
    std::ptrdiff_t x = step > 0 ? 0 : static_cast<std::ptrdiff_t>(width) - 1;
    for (usize count = 0; count < width; ++count, x += step) {
        const std::ptrdiff_t gray = line[x] + before + next;
        next = nexts[gray];
        before = second;
        second = seconds[gray];
        whites[x] = gray >= 128;
        line[x] = errors[gray];
    }
}

usize pitch_of(usize width)
{
    return width + 2 * kSpare;
}

i16* mono_line(const MonoDiffusion& diffusion, i32 row)
{
    return diffusion.lines + static_cast<usize>(row % static_cast<i32>(kLines)) * pitch_of(diffusion.width) +
           kSpare;
}

}  // namespace

usize mono_diffusion_bytes(usize width)
{
    return (kLines + kShareRows) * pitch_of(width) * sizeof(i16) + width;
}

void mono_diffusion_open(MonoDiffusion& diffusion, u8* work, usize width)
{
    diffusion.width = width;
    diffusion.lines = reinterpret_cast<i16*>(work);
    diffusion.shares = diffusion.lines + kLines * pitch_of(width);
    diffusion.whites = reinterpret_cast<u8*>(diffusion.shares + kShareRows * pitch_of(width));
}

void mono_diffusion_row(const MonoDiffusion& diffusion, i32 row, const u8* grays, u8* out)
{
    const usize width = diffusion.width;
    i16* const line = mono_line(diffusion, row);
    for (usize x = 0; x < width; ++x) {
        line[x] = static_cast<i16>(line[x] + grays[x]);
    }
    diffuse_row_mono(diffusion.whites, line, row, width);
    constexpr std::array<u8, 8> kZeros = {};
    pack_above(diffusion.whites, kZeros, out, width);
    spread_mono_errors({.line = line,
                        .next = mono_line(diffusion, row + 1),
                        .after = mono_line(diffusion, row + 2),
                        .shares = diffusion.shares,
                        .pitch = pitch_of(width),
                        .width = width});
    std::memset(line, 0, width * sizeof(i16));
}

}  // namespace orv
