// The command line as one plain record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats.h"
#include "operations.h"

namespace orvimg
{

enum class Command : uint8_t { Info, Convert, Split, Merge, Formats, View };
enum class Resolution : int32_t { Standard = 0, Fine = 1 };

struct Options {
    Command command = Command::Info;
    std::vector<std::string> inputs;
    std::string output;              // Split: the pattern
    const Format* format = nullptr;  // what to write
    std::optional<int> page;         // from 1
    std::vector<Operation> operations;
    Resolution resolution = Resolution::Fine;
    bool all_pages = false;  // Merge: every page of each input
    bool json = false;
    int width = 0;  // View: columns, 0 for the terminal's
};

// Fills `options`; an exit status instead where there is nothing to run (help, version, or a mistake, which
// has been told). Throws UsageError.
std::optional<int> parse_options(int argc, const char* const* argv, Options& options);

}  // namespace orvimg
