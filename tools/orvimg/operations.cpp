#include "operations.h"

#include <algorithm>

#include "formats.h"
#include "orvimg32/orvimg32.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr unsigned kAnyDepth = kDepth1 | kDepth4 | kDepth8 | kDepth24;
constexpr unsigned kAbove1 = kDepth4 | kDepth8 | kDepth24;

// Among the operations of one result, what suits a photograph best stands first.
constexpr OperationKind kOperations[] = {
    {"--mediancut", Action::Plain, kAbove1, 8, IMG_mediancut_color},
    {"--popularity", Action::Plain, kDepth24, 8, IMG_popularity_color},
    {"--gray", Action::Plain, kAbove1, 8, IMG_color_gray},
    {"--dither diffusion-color", Action::Plain, kAbove1, 4, IMG_diffusion_color},
    {"--dither bayer-color", Action::Plain, kAbove1, 4, IMG_bayer_color},
    {"--dither diffusion", Action::Plain, kAbove1, 1, IMG_diffusion_mono},
    {"--dither bayer", Action::Plain, kAbove1, 1, IMG_bayer_mono},
    {"--dither halftone", Action::Plain, kAbove1, 1, IMG_halftone_mono},
    {"--flip x", Action::Plain, kAnyDepth, 0, IMG_flip_bitmapx},
    {"--flip y", Action::Plain, kAnyDepth, 0, IMG_flip_bitmapy},
    {"--invert", Action::Plain, kAnyDepth, 0, IMG_invert_bitmap},
    {"--crop", Action::Crop, kAnyDepth, 0, nullptr},
    {"--rotate", Action::Rotate, kAnyDepth, 0, nullptr},
    {"--resize", Action::Resize, kAnyDepth, 0, nullptr},
    {"--contrast", Action::Contrast, kAbove1, 0, nullptr},
    {"--brightness", Action::Brightness, kAbove1, 0, nullptr},
    {"--sharpen", Action::Sharpen, kAnyDepth, 0, nullptr},
    {"--blur", Action::Sharpen, kAnyDepth, 0, nullptr},
};

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
    int width = operation.values[0];
    int height = operation.values[1];
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
        throw Failure(operation.text + " reaches beyond " + source + ", which has " +
                      std::to_string(size.width) + " x " + std::to_string(size.height) + " pixels here");
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
        return with_code("it takes " + depth_list(operation.kind->depths) +
                             " bits a pixel, and the picture has " + std::to_string(bits) + " here",
                         code);
    if (operation.kind->action == Action::Sharpen)
        return with_code("a picture with a palette has to be gray: put --gray in front of it", code);
    if (operation.kind->action == Action::Resize)
        return with_code("the picture would be too large", code);
    return words_for(code);
}

}  // namespace

const OperationKind* operation_kind(const std::string& name)
{
    const auto found = std::ranges::find_if(kOperations, [&](const auto& kind) { return name == kind.name; });
    return found == std::end(kOperations) ? nullptr : found;
}

void apply(std::span<const Operation> operations, Picture& picture, const std::string& source,
           Progress& progress)
{
    Tone tone;
    for (const Operation& operation : operations) {
        progress.next_part(operation.text);
        const int16_t result = run(operation, picture, source, tone);
        if (result < 0)
            throw Failure("cannot do " + operation.text + " to " + source + ": " +
                          trouble(operation, picture, result));
        if (operation.kind->result_bits != 0 || operation.kind->action == Action::Crop)
            tone = {};  // these start from the colours as they are now
    }
}

std::string operations_towards(unsigned depths, int bits)
{
    std::vector<const char*> names;
    for (const OperationKind& kind : kOperations)
        if ((depth_bit(kind.result_bits) & depths) != 0 && (kind.depths & depth_bit(bits)) != 0)
            names.push_back(kind.name);
    std::string text;
    for (size_t i = 0; i < names.size(); ++i)
        text += std::string(i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    return text;
}

}  // namespace orvimg
