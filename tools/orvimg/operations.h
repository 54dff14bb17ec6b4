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
    const char* option;
    const char* word;  // where the option takes one of a few words: this one; otherwise ""
    Action action;
    unsigned depths;          // DepthSet: what it takes
    int result_bits;          // depth afterwards; 0: the same
    int16_t (*run)(int32_t);  // of a plain action
    int lowest;               // of the number that it takes, both 0 where it takes none
    int highest;
    const char* value;  // how help calls what it takes; "" where that is a word or nothing
    const char* help;
};

// One operation as it stands on the command line.
struct Operation {
    const OperationKind* kind = nullptr;
    std::string text;  // as it was written, for messages
    // Crop: x, y, width, height; Resize: width, height, percent, 0 where left out; else one number
    int values[4] = {0, 0, 0, 0};
};

std::span<const OperationKind> all_operations();
const OperationKind* operation_by_option(const std::string& option);  // the first of that option; may be null
bool takes_value(const OperationKind& kind);
std::vector<std::string> operation_words(const std::string& option);  // that it takes, if it takes words

// Of an option that exists. Throws UsageError.
Operation operation_of(const std::string& option, const std::string& value);

// Runs them in their order. Throws Failure; the picture is then not to be used. `source` names the picture.
class Progress;
void apply(std::span<const Operation> operations, Picture& picture, const std::string& source,
           Progress& progress);

// Options that bring a picture of `bits` to one of `depths`: "--gray or --mediancut". Empty where none does.
std::string operations_towards(unsigned depths, int bits);

}  // namespace orvimg
