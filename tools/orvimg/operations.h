// What can be done to a picture between loading and saving it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "picture.h"

namespace orvimg
{

enum class Action : uint8_t { Plain, Crop, Rotate, Resize, Contrast, Brightness, Sharpen };

struct OperationKind {
    const char* name;  // the option, with its word where it takes one: "--dither bayer"
    Action action;
    unsigned depths;          // DepthSet: what it takes
    int result_bits;          // depth afterwards; 0: the same
    int16_t (*run)(int32_t);  // of a plain action
};

// One operation as it stands on the command line.
struct Operation {
    const OperationKind* kind = nullptr;
    std::string text;  // as it was written, for messages
    int values[4] = {0, 0, 0,
                     0};  // Crop: x, y, width, height; Resize: width, height, 0 where left out; else one number
};

// By the option's name and word; null for a word that is none.
const OperationKind* operation_kind(const std::string& name);

// Runs them in their order. Throws Failure; the picture is then not to be used. `source` names the picture.
class Progress;
void apply(std::span<const Operation> operations, Picture& picture, const std::string& source,
           Progress& progress);

// Options that bring a picture of `bits` to one of `depths`: "--gray or --mediancut". Empty where none does.
std::string operations_towards(unsigned depths, int bits);

}  // namespace orvimg
