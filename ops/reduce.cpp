// Colour reduction without statistics: the 3-3-2 palette with error diffusion, and gray.
#include <array>

#include "ops/colour_lines.h"
#include "ops/gray_rows.h"
#include "ops/operation.h"
#include "pixels/palettes.h"

namespace orv
{
namespace
{

// --- The 3-3-2 palette, diffused ---

// Errors stay in these bounds, and so do the words, which are a byte and at most a whole error. The
// lower bound is a multiple of 16, which the shares' rounding does not pass.
constexpr i32 kLeastError = -64;
constexpr i32 kGreatestError = 63;
constexpr i32 kLeastWord = kLeastError;
constexpr i32 kGreatestWord = 255 + kGreatestError;

// What becomes of a word: its error and its bits of the index.
struct Cut {
    i16 error;
    u8 index;
};

using CutTable = std::array<Cut, kGreatestWord - kLeastWord + 1>;

constexpr i32 clamp_byte(i32 value)
{
    return value < 0 ? 0 : value > 255 ? 255 : value;
}

// `levels` values from 0 to 255, chosen by a byte's top bits; the index bits start at `shift`.
constexpr CutTable make_cuts(i32 levels, i32 shift)
{
    CutTable table = {};
    for (i32 word = kLeastWord; word <= kGreatestWord; ++word) {
        const i32 level = clamp_byte(word) * levels / 256;
        const i32 error = word - level * 255 / (levels - 1);
        table[static_cast<usize>(word - kLeastWord)] = {static_cast<i16>(error),
                                                        static_cast<u8>(level << shift)};
    }
    return table;
}

constexpr bool errors_stay_bounded(const CutTable& table)
{
    for (const Cut& cut : table) {
        if (cut.error < kLeastError || cut.error > kGreatestError) {
            return false;
        }
    }
    return kLeastError % 16 == 0;
}

constexpr CutTable kBlueCuts = make_cuts(4, 0);
constexpr CutTable kGreenCuts = make_cuts(8, 2);
constexpr CutTable kRedCuts = make_cuts(8, 5);
static_assert(errors_stay_bounded(kBlueCuts) && errors_stay_bounded(kGreenCuts) &&
              errors_stay_bounded(kRedCuts));

struct RowErrors {
    i32 last;    // of the pixel before, in the scan's order
    i32 before;  // of the one before that
};

// Cuts one word with what has come along the row, leaving its error in its place.
inline u32 cut_word(i16& word, RowErrors& errors, const CutTable& table)
{
    const Cut cut = table[static_cast<usize>(word + (errors.before >> 3) - kLeastWord + (errors.last >> 2))];
    errors.before = errors.last;
    errors.last = cut.error;
    word = cut.error;
    return cut.index;
}

// Even rows run left to right, odd ones right to left. Leaves the errors in `line` and their shares in
// the line `line_distance` words on.
void diffuse_row_332(u8* out, i16* line, std::ptrdiff_t line_distance, i32 row, usize width)
{
    RowErrors blue = {}, green = {}, red = {};
    const std::ptrdiff_t step = (row & 1) == 0 ? 1 : -1;
    std::ptrdiff_t x = step > 0 ? 0 : static_cast<std::ptrdiff_t>(width) - 1;
    for (usize count = 0; count < width; ++count, x += step) {
        i16* const word = line + x * static_cast<std::ptrdiff_t>(kWordsPerPixel);
        out[x] = static_cast<u8>(cut_word(word[0], blue, kBlueCuts) | cut_word(word[1], green, kGreenCuts) |
                                 cut_word(word[2], red, kRedCuts));
    }
    spread_colour_errors(line, line + line_distance, width);
}

void mediancut_row(Operation& op, i32 row)
{
    if (row == 0) {
        colour_line_fill(op, 0);
    }
    colour_line_fill(op, row + 1);
    i16* const line = colour_line(op, row);
    diffuse_row_332(result_row(op, row), line, colour_line(op, row + 1) - line, row,
                    static_cast<usize>(op.width));
}

constexpr OperationPlan kMediancut = {
    .depths = kDepth4 | kDepth8 | kDepth24,
    .storage = Storage::NewHeader,
    .progress = Progress::Full,
    .saved_palette = SavedPalette::Ends,
    .result_bits = 8,
    .palette = "targa",
    .measure = colour_lines_measure,
    .row = mediancut_row,
};

// --- Gray ---

void gray_row(Operation& op, i32 row)
{
    const usize width = static_cast<usize>(op.width);
    std::memcpy(result_row(op, row), gray_row_of(op, row), width);
}

constexpr OperationPlan kGray = {
    .depths = kDepth4 | kDepth8 | kDepth24,
    .storage = Storage::NewHeader,
    .progress = Progress::Full,
    .saved_palette = SavedPalette::Ends,
    .result_bits = 8,
    .palette = "tiff",
    .measure = gray_measure,
    .prepare = gray_prepare<GrayWeights::Over128>,
    .row = gray_row,
};

}  // namespace

}  // namespace orv

int16_t IMG_mediancut_color(int32_t handle)
{
    return orv::operation_run(handle, orv::kMediancut);
}

int16_t IMG_color_gray(int32_t handle)
{
    return orv::operation_run(handle, orv::kGray);
}
