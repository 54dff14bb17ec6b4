// Error diffusion to black and white and to the sixteen standard colours.
#include <array>

#include "frame/simd.h"
#include "ops/colour_lines.h"
#include "ops/gray_rows.h"
#include "ops/operation.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

// ---- black and white

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

// The places of the working memory. A line is width words and kSpare at each end, which stay 0.
constexpr usize kSpare = 2;
enum DiffusionWork : usize { kLines = kGrayOwn, kShares };

struct MonoRows {
    i16* line;  // this row's grays with all that has come from below; leaves with its errors
    i16* next;  // what the next row and the one after it have got so far
    i16* after;
    i16* shares;  // four rows: 8, 4, 2 and 1 forty-seconds of the errors
    usize pitch;  // words of a line with its spare ones
    usize width;
};

i16* mono_line(Operation& op, i32 row)
{
    const usize pitch = static_cast<usize>(op.width) + 2 * kSpare;
    return reinterpret_cast<i16*>(op.work[kLines]) + static_cast<usize>(row % 3) * pitch + kSpare;
}

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

ErrorCode diffusion_measure(Operation& op)
{
    const usize width = static_cast<usize>(op.width);
    gray_measure(op);
    op.work_bytes[kLines] = 3 * (width + 2 * kSpare) * sizeof(i16);
    op.work_bytes[kShares] = 4 * (width + 2 * kSpare) * sizeof(i16);
    return kOk;
}

void mono_row(Operation& op, i32 row)
{
    const usize width = static_cast<usize>(op.width);
    const u8* const grays = gray_row_of(op, row);
    i16* const line = mono_line(op, row);
    for (usize x = 0; x < width; ++x) {
        line[x] = static_cast<i16>(line[x] + grays[x]);
    }
    u8* const whites = op.work[kGrayBytes];
    diffuse_row_mono(whites, line, row, width);
    constexpr std::array<u8, 8> kZeros = {};
    pack_above(whites, kZeros, result_row(op, row), width);
    spread_mono_errors({.line = line,
                        .next = mono_line(op, row + 1),
                        .after = mono_line(op, row + 2),
                        .shares = reinterpret_cast<i16*>(op.work[kShares]),
                        .pitch = width + 2 * kSpare,
                        .width = width});
    std::memset(line, 0, width * sizeof(i16));
}

constexpr OperationPlan kDiffusionMono = {
    .depths = kDepth4 | kDepth8 | kDepth24,
    .storage = Storage::NewHeader,
    .saved_palette = SavedPalette::Ends,
    .result_bits = 1,
    .palette = "tiff",
    .measure = diffusion_measure,
    .prepare = gray_prepare<GrayWeights::Over100>,
    .row = mono_row,
};

// ---- sixteen colours

// Words above kSelected set their channel's bit, any word above kBright the intensity bit.
constexpr i32 kSelected = 180;
constexpr i32 kBright = 220;
constexpr i32 kHalf = 128;  // of the palette's entries 0 to 7

// Bounds of errors and words, as in the diffusion to 3-3-2: a word is a byte and at most a whole error.
constexpr i32 kLeastError = -80;
constexpr i32 kGreatestError = kSelected;
constexpr i32 kLeastWord = kLeastError;
constexpr i32 kGreatestWord = 255 + kGreatestError;
constexpr usize kWords = kGreatestWord - kLeastWord + 1;

// The errors of all words with half intensity, then with full.
constexpr std::array<i16, 2 * kWords> kErrors = [] {
    std::array<i16, 2 * kWords> table = {};
    for (i32 word = kLeastWord; word <= kGreatestWord; ++word) {
        const usize at = static_cast<usize>(word - kLeastWord);
        table[at] = static_cast<i16>(word > kSelected ? word - kHalf : word);
        table[kWords + at] = static_cast<i16>(word > kSelected ? word - 255 : word);
    }
    return table;
}();

static_assert([] {
    for (i32 word = kLeastWord; word <= kGreatestWord; ++word) {
        const usize at = static_cast<usize>(word - kLeastWord);
        const i32 alone = kErrors[at + (word > kBright ? kWords : 0)];
        const i32 beside_bright = kErrors[at + kWords];
        if (alone < kLeastError || alone > kGreatestError || beside_bright < kLeastError ||
            beside_bright > kGreatestError) {
            return false;
        }
    }
    return kLeastError % 16 == 0;
}());

// One channel along the row.
struct Channel {
    i32 word;
    i32 last;    // error of the pixel before
    i32 before;  // of the one before that
};

inline void take_word(Channel& c, i16 word)
{
    c.word = word + (c.before >> 3) + (c.last >> 2);
}

inline void leave_error(Channel& c, i16& word, const i16* errors)
{
    c.before = c.last;
    c.last = word = errors[c.word - kLeastWord];
}

// Left to right on every row. Gives an index a pixel, and leaves the errors in `line`, their shares in
// the line `line_distance` words on.
void diffuse_row_16(u8* out, i16* line, std::ptrdiff_t line_distance, usize width)
{
    Channel blue = {}, green = {}, red = {};
    u32 left = 0;
    for (usize x = 0; x < width; ++x) {
        i16* const words = line + x * kWordsPerPixel;
        take_word(blue, words[0]);
        take_word(green, words[1]);
        take_word(red, words[2]);
        const bool bright = ((kBright - blue.word) | (kBright - green.word) | (kBright - red.word)) < 0;
        const i16* const errors = kErrors.data() + (bright ? kWords : 0);
        const u32 index = (bright ? 8u : 0u) | (blue.word > kSelected ? 4u : 0u) |
                          (green.word > kSelected ? 2u : 0u) | (red.word > kSelected ? 1u : 0u);
        leave_error(blue, words[0], errors);
        leave_error(green, words[1], errors);
        leave_error(red, words[2], errors);
        left = (x & 1) == 0 ? index << 4 : left | index;
        out[x / 2] = static_cast<u8>(left);
    }
    spread_colour_errors(line, line + line_distance, width);
}

void sixteen_row(Operation& op, i32 row)
{
    if (row == 0) {
        colour_line_fill(op, 0);
    }
    colour_line_fill(op, row + 1);
    i16* const line = colour_line(op, row);
    diffuse_row_16(result_row(op, row), line, colour_line(op, row + 1) - line, static_cast<usize>(op.width));
}

constexpr OperationPlan kDiffusionColour = {
    .depths = kDepth4 | kDepth8 | kDepth24,
    .storage = Storage::NewHeader,
    .progress = Progress::Full,
    .saved_palette = SavedPalette::Ends,
    .result_bits = 4,
    .palette = "pcx",
    .measure = colour_lines_measure,
    .row = sixteen_row,
};

}  // namespace
}  // namespace orv

int16_t IMG_diffusion_mono(int32_t handle)
{
    return orv::operation_run(handle, orv::kDiffusionMono);
}

int16_t IMG_diffusion_color(int32_t handle)
{
    return orv::operation_run(handle, orv::kDiffusionColour);
}
