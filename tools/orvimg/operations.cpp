#include "operations.h"

#include <algorithm>

#include "formats.h"
#include "options.h"
#include "orvimg32/orvimg32.h"
#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

constexpr unsigned kAnyDepth = kDepth1 | kDepth4 | kDepth8 | kDepth24;
constexpr unsigned kAbove1 = kDepth4 | kDepth8 | kDepth24;

// A new operation is a row here and, where it is more than one call, an Action. Among the operations of one
// result, what suits a photograph best stands first.
//
// {option, word, action, depths, result bits, plain call, lowest, highest, value, help}
constexpr OperationKind kOperations[] = {
    {"--mediancut", "", Action::Plain, kAbove1, 8, IMG_mediancut_color, 0, 0, "",
     "to 8 bits, fixed palette of 8 reds, 8 greens, 4 blues, error diffused"},
    {"--popularity", "", Action::Plain, kDepth24, 8, IMG_popularity_color, 0, 0, "",
     "24 bits to 8: the 255 most frequent colours"},
    {"--gray", "", Action::Plain, kAbove1, 8, IMG_color_gray, 0, 0, "", "to 8 bits of gray"},
    {"--dither", "diffusion-color", Action::Plain, kAbove1, 4, IMG_diffusion_color, 0, 0, "",
     "to the 16 standard colours, error diffused"},
    {"--dither", "bayer-color", Action::Plain, kAbove1, 4, IMG_bayer_color, 0, 0, "",
     "to the 16 standard colours, ordered"},
    {"--dither", "diffusion", Action::Plain, kAbove1, 1, IMG_diffusion_mono, 0, 0, "",
     "to black and white, error diffused"},
    {"--dither", "bayer", Action::Plain, kAbove1, 1, IMG_bayer_mono, 0, 0, "", "to black and white, ordered"},
    {"--dither", "halftone", Action::Plain, kAbove1, 1, IMG_halftone_mono, 0, 0, "",
     "to black and white, in dots that grow"},
    {"--flip", "x", Action::Plain, kAnyDepth, 0, IMG_flip_bitmapx, 0, 0, "", "mirror left to right"},
    {"--flip", "y", Action::Plain, kAnyDepth, 0, IMG_flip_bitmapy, 0, 0, "", "mirror top to bottom"},
    {"--rotate", "90", Action::Rotate, kAnyDepth, 0, nullptr, 0, 0, "", "turn clockwise by a quarter"},
    {"--rotate", "180", Action::Rotate, kAnyDepth, 0, nullptr, 0, 0, "", "turn upside down"},
    {"--rotate", "270", Action::Rotate, kAnyDepth, 0, nullptr, 0, 0, "", "turn counter-clockwise by a quarter"},
    {"--crop", "", Action::Crop, kAnyDepth, 0, nullptr, 0, 0, "X,Y,W,H",
     "keep this part, counted from the top left corner"},
    {"--resize", "", Action::Resize, kAnyDepth, 0, nullptr, 0, 0, "WxH",
     "to this size; Wx or xH keeps the proportions, 50% halves both sides"},
    {"--invert", "", Action::Plain, kAnyDepth, 0, IMG_invert_bitmap, 0, 0, "", "make a negative"},
    {"--contrast", "", Action::Contrast, kAbove1, 0, nullptr, -128, 127, "N", "-128 to 127, 0 changes nothing"},
    {"--brightness", "", Action::Brightness, kAbove1, 0, nullptr, -128, 127, "N",
     "-128 to 127, 0 changes nothing, 1 moves values by 2"},
    {"--sharpen", "", Action::Sharpen, kAnyDepth, 0, nullptr, 16, 128, "N",
     "16 (little) to 128 (much), in steps of 16"},
    {"--blur", "", Action::Sharpen, kAnyDepth, 0, nullptr, 0, 128, "N",
     "0 (little) to 128 (much), in steps of 16"},
};

constexpr int kLargestSide = 32767;
constexpr int kLargestPercent = 10000;

// "--dither bayer", "--gray".
std::string full_name(const OperationKind& kind)
{
    return std::string(kind.option) + (kind.word[0] == '\0' ? "" : " ") + kind.word;
}

// A number of a list; an empty one is 0 where `may_be_empty`.
bool read_part(const std::string& text, int lowest, bool may_be_empty, int& number)
{
    int64_t read = 0;
    if (text.empty()) {
        return may_be_empty;
    }
    if (!read_number(text, read) || read < lowest || read > kLargestSide) {
        return false;
    }
    number = static_cast<int>(read);
    return true;
}

void read_crop(const std::string& value, Operation& operation)
{
    const std::vector<std::string> parts = split_text(value, ',');
    bool is_read = parts.size() == 4 && !value.ends_with(',');
    for (size_t i = 0; is_read && i < 4; ++i) {
        is_read = read_part(parts[i], i < 2 ? 0 : 1, false, operation.values[i]);
    }
    if (!is_read) {
        throw UsageError("--crop takes X,Y,WIDTH,HEIGHT in pixels, as in 10,20,300,200, not '" + value + "'");
    }
}

void read_resize(const std::string& value, Operation& operation)
{
    int64_t percent = 0;
    if (value.ends_with('%') && read_number(value.substr(0, value.size() - 1), percent) && percent > 0 &&
        percent <= kLargestPercent) {
        operation.values[2] = static_cast<int>(percent);
        return;
    }
    const size_t cross = value.find('x');
    if (cross == std::string::npos || value.size() < 2 ||
        !read_part(value.substr(0, cross), 1, true, operation.values[0]) ||
        !read_part(value.substr(cross + 1), 1, true, operation.values[1])) {
        throw UsageError(
            "--resize takes WIDTHxHEIGHT, WIDTHx or xHEIGHT in pixels, or a percentage, as in 320x200 "
            "or 50%, not '" +
            value + "'");
    }
}

void read_amount(const std::string& value, Operation& operation)
{
    const OperationKind& kind = *operation.kind;
    const int64_t number = number_within({kind.option, value}, kind.lowest, kind.highest);
    const bool is_blur = std::string_view(kind.option) == "--blur";
    operation.values[0] = static_cast<int>(is_blur ? -number : number);
}

// On a palette each IMG_set_lut starts from the original colours, so contrast and brightness that were
// set before have to be set along; on 24 bits they add up by themselves.
struct Tone {
    int contrast = 0;
    int brightness = 0;
};

int16_t set_tone(const Picture& picture, const Operation& operation, Tone& tone)
{
    if (picture.size().bits == 24)
        tone = {};
    (operation.kind->action == Action::Contrast ? tone.contrast : tone.brightness) = operation.values[0];
    return IMG_set_lut(picture.handle(), static_cast<int16_t>(tone.contrast),
                       static_cast<int16_t>(tone.brightness));
}

int16_t resize(const Picture& picture, const Operation& operation)
{
    const Size size = picture.size();
    const auto [wanted_width, wanted_height, percent, unused] = operation.values;
    int width = wanted_width;
    int height = wanted_height;
    if (percent != 0) {
        width = std::max(1, (size.width * percent + 50) / 100);
        height = std::max(1, (size.height * percent + 50) / 100);
    }
    if (width == 0)
        width = std::max(1, (size.width * height + size.height / 2) / size.height);
    if (height == 0)
        height = std::max(1, (size.height * width + size.width / 2) / size.width);
    if (width > INT16_MAX || height > INT16_MAX)
        return ORV_NOT_SUPPORTED;
    return IMG_resize_bitmap(picture.handle(), static_cast<int16_t>(width), static_cast<int16_t>(height));
}

int16_t crop(Picture& picture, const Operation& operation, const std::string& source)
{
    const Size size = picture.size();
    const auto [left, top, width, height] = operation.values;
    if (left + width > size.width || top + height > size.height)
        throw Failure("cannot do " + operation.text + " to " + source,
                      "it reaches beyond the picture, which has " + std::to_string(size.width) + " x " +
                          std::to_string(size.height) + " pixels here",
                      ORV_BAD_DATA);
    return picture.cut(left, top, width, height);
}

int16_t run(const Operation& operation, Picture& picture, const std::string& source, Tone& tone)
{
    const int16_t value = static_cast<int16_t>(operation.values[0]);
    switch (operation.kind->action) {
    case Action::Plain: return operation.kind->run(picture.handle());
    case Action::Crop: return crop(picture, operation, source);
    case Action::Rotate: return IMG_rotate_bitmap(picture.handle(), value);
    case Action::Resize: return resize(picture, operation);
    case Action::Contrast:
    case Action::Brightness: return set_tone(picture, operation, tone);
    case Action::Sharpen: return IMG_sharpen_bitmap(picture.handle(), value);
    }
    return ORV_NOT_SUPPORTED;
}

std::string trouble(const Operation& operation, const Picture& picture, int code)
{
    const int bits = picture.size().bits;
    if (code != ORV_NOT_SUPPORTED)
        return words_for(code);
    if ((operation.kind->depths & depth_bit(bits)) == 0)
        return "it takes " + depth_list(operation.kind->depths) + " bits a pixel, and the picture has " +
               std::to_string(bits) + " here";
    if (operation.kind->action == Action::Sharpen)
        return "a picture with a palette has to be gray: put --gray in front of it";
    if (operation.kind->action == Action::Resize)
        return "the picture would be too large";
    return words_for(code);
}

}  // namespace

std::span<const OperationKind> all_operations()
{
    return kOperations;
}

const OperationKind* operation_by_option(const std::string& option)
{
    const auto found =
        std::ranges::find_if(kOperations, [&](const OperationKind& kind) { return option == kind.option; });
    return found == std::end(kOperations) ? nullptr : found;
}

bool takes_value(const OperationKind& kind)
{
    return kind.word[0] != '\0' || kind.value[0] != '\0';
}

std::vector<std::string> operation_words(const std::string& option)
{
    std::vector<std::string> words;
    for (const OperationKind& kind : kOperations) {
        if (option == kind.option && kind.word[0] != '\0') {
            words.emplace_back(kind.word);
        }
    }
    return words;
}

Operation operation_of(const std::string& option, const std::string& value)
{
    Operation operation{operation_by_option(option), option + (value.empty() ? "" : " ") + value};
    const std::vector<std::string> words = operation_words(option);
    if (!words.empty()) {
        const auto word = std::ranges::find(words, value);
        if (word == words.end()) {
            throw UsageError(option + " takes " + either(words) + ", not '" + value + "'" +
                             did_you_mean(value, words));
        }
        operation.kind += word - words.begin();  // the rows of an option stand together
    }
    switch (operation.kind->action) {
    case Action::Plain: break;
    case Action::Crop: read_crop(value, operation); break;
    case Action::Resize: read_resize(value, operation); break;
    case Action::Rotate: operation.values[0] = std::stoi(value); break;
    case Action::Contrast:
    case Action::Brightness:
    case Action::Sharpen: read_amount(value, operation); break;
    }
    return operation;
}

void apply(std::span<const Operation> operations, Picture& picture, const std::string& source,
           Progress& progress)
{
    Tone tone;
    for (const Operation& operation : operations) {
        progress.next_part(operation.text);
        const int16_t result = run(operation, picture, source, tone);
        if (result < 0)
            throw Failure("cannot do " + operation.text + " to " + source, trouble(operation, picture, result),
                          result);
        if (operation.kind->result_bits != 0 || operation.kind->action == Action::Crop)
            tone = {};  // these start from the colours as they are now
    }
}

std::string operations_towards(unsigned depths, int bits)
{
    std::vector<std::string> names;
    for (const OperationKind& kind : kOperations) {
        if ((depth_bit(kind.result_bits) & depths) != 0 && (kind.depths & depth_bit(bits)) != 0) {
            names.push_back(full_name(kind));
        }
    }
    return either(names);
}

}  // namespace orvimg
