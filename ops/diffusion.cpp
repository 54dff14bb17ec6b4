// Error diffusion to black and white and to the sixteen standard colours.
#include <array>

#include "ops/colour_lines.h"
#include "ops/gray_rows.h"
#include "ops/mono_diffusion.h"
#include "ops/operation.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

// --- Black and white ---

constexpr usize kMonoWork = kGrayOwn;  // place of the working memory

ErrorCode diffusion_measure(Operation& op)
{
    gray_measure(op);
    op.work_bytes[kMonoWork] = mono_diffusion_bytes(static_cast<usize>(op.width));
    return kOk;
}

void mono_row(Operation& op, i32 row)
{
    MonoDiffusion diffusion;
    mono_diffusion_open(diffusion, op.work[kMonoWork], static_cast<usize>(op.width));
    mono_diffusion_row(diffusion, row, gray_row_of(op, row), result_row(op, row));
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

// --- Sixteen colours ---

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
