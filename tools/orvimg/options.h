// The command line as one plain record, and the rows from which options are made.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "batch_options.h"
#include "formats.h"
#include "operations.h"
#include "print_options.h"

namespace orvimg
{

enum class Resolution : int32_t { Standard = 0, Fine = 1 };

struct Options {
    std::vector<std::string> inputs;  // at first all arguments that are no options
    std::string output;               // split: the pattern; empty: not given
    std::string format_name;          // --format; empty: not given
    std::string compression;          // --compression, of TIFF; empty: not given
    const Format* format = nullptr;   // what to write, once settled
    bool coding_by_depth = false;     // a TIFF whose coding nobody named: target_format (saving.h)
    int page = 0;                     // from 1; 0: not given
    std::vector<Operation> operations;
    std::optional<Resolution> resolution;
    std::optional<int> jpeg_step;
    bool described = false;  // this library's own layouts alone
    bool append = false;
    bool no_clobber = false;
    bool keep_depth = false;
    bool no_rtc = false;  // T.4 pages without their closing codes
    bool strict = false;
    bool quiet = false;
    bool verbose = false;
    bool all_pages = false;  // merge: every page of each input
    bool json = false;
    bool json_lines = false;
    int width = 0;  // view: columns, 0 for the terminal's
    PrintOptions print;
    BatchOptions batch;
};

// One option as it was written.
struct Argument {
    std::string name;   // "--page"
    std::string value;  // empty for a flag
};

// An option: what it is called, what help says, and what it does to the record. `take` throws UsageError.
struct OptionRow {
    const char* names;    // "--output -o": the long one first
    const char* value;    // how help calls its value; "" for a flag
    const char* choices;  // "a|b|c" where only these words are taken; "" otherwise
    const char* help;
    void (*take)(Options& options, const Argument& argument);
};

// The `take` of most rows.
int64_t number_within(const Argument& argument, int64_t lowest, int64_t highest);

template <auto Field>
void set_flag(Options& options, const Argument&)
{
    options.*Field = true;
}

template <auto Field>
void set_text(Options& options, const Argument& argument)
{
    options.*Field = argument.value;
}

template <auto Field, int64_t Lowest, int64_t Highest>
void set_number(Options& options, const Argument& argument)
{
    options.*Field = static_cast<int>(number_within(argument, Lowest, Highest));
}

// Groups of rows that commands share.
extern const std::span<const OptionRow> kCommonOptions;   // every command
extern const std::span<const OptionRow> kPageOptions;     // commands that take one page
extern const std::span<const OptionRow> kReadingOptions;  // commands that load
extern const std::span<const OptionRow> kTargetOptions;   // commands that save
extern const std::span<const OptionRow> kOutputOptions;   // where the one result goes
extern const std::span<const OptionRow> kJsonOptions;
extern const std::span<const OptionRow> kPrintOptions;
extern const std::span<const OptionRow> kBatchOptions;

// What the settling of commands shares. All throw.
void settle_target_format(Options& options);        // from --format, else from the output's name
void take_output(Options& options, bool is_first);  // -o, else the first or last of the arguments

}  // namespace orvimg
