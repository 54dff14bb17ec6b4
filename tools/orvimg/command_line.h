// From the words of the command line to a command and its options.
#pragma once

#include <string>
#include <vector>

#include "commands.h"

namespace orvimg
{

struct CommandLine {
    const CommandRow* command = nullptr;  // null where there is nothing to run: the help has been printed
    Options options;
};

// Throws UsageError.
CommandLine parse_command_line(const std::vector<std::string>& words);

// The words that may stand next, for completion: `words` are those behind the program's name, the last being
// the one that is written. The line "FILES" stands for file names.
std::vector<std::string> completions(const std::vector<std::string>& words);

// Texts of help.cpp.
void print_program_help();
void print_command_help(const CommandRow& command);
void print_operations_help();

}  // namespace orvimg
