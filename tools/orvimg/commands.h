// The commands of the program. Each gives the exit status or throws Failure.
#pragma once

#include <span>
#include <string>

#include "options.h"

namespace orvimg
{

constexpr int kAnyNumber = 1 << 30;

struct CommandRow {
    const char* name;
    const char* usage;                                          // the arguments: "IN OUT"
    const char* summary;                                        // one line
    const char* text;                                           // more, and examples; lines end with \n
    std::initializer_list<std::span<const OptionRow>> options;  // beside kCommonOptions
    bool takes_operations;
    int fewest;  // arguments that are no options, once `settle` has taken its share
    int most;
    void (*settle)(Options& options);  // checks before any work; may be null
    int (*run)(const Options& options);
};

std::span<const CommandRow> all_commands();
const CommandRow* command_by_name(const std::string& name);

// All groups of a command's options.
std::vector<std::span<const OptionRow>> option_groups(const CommandRow& command);

int run_info(const Options& options);
int run_convert(const Options& options);
int run_split(const Options& options);
int run_merge(const Options& options);
int run_formats(const Options& options);
int run_view(const Options& options);
int run_print(const Options& options);
int run_batch(const Options& options);
int run_report(const Options& options);
int run_help(const Options& options);
int run_complete(const Options& options);

void settle_split(Options& options);
void settle_merge(Options& options);
void settle_print(Options& options);
void settle_batch(Options& options);

}  // namespace orvimg
