// orvimg help: texts that follow from the tables.
#include <cstdio>

#include "command_line.h"
#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

constexpr int kNameColumn = 26;

// "--output, -o OUT".
std::string names_of(const OptionRow& row)
{
    std::string text;
    for (const std::string& name : split_text(row.names, ' ')) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text + (row.value[0] == '\0' ? "" : " ") + row.value;
}

void print_row(const std::string& name, const std::string& help)
{
    std::printf("  %-*s %s\n", kNameColumn, name.c_str(), help.c_str());
}

}  // namespace

void print_program_help()
{
    std::puts("orvimg reads, changes, converts and shows the pictures of old systems.\n\nCommands:");
    for (const CommandRow& command : all_commands()) {
        if (command.summary[0] != '\0') {
            print_row(std::string(command.name) + " " + command.usage, command.summary);
        }
    }
    std::puts(
        "\norvimg help COMMAND tells more of each, orvimg help operations what can be done to a picture.\n"
        "Pages count from 1. Exit status: 0 done, 1 something failed, 2 the command line makes no sense,\n"
        "3 done, but rows of a picture are missing or repaired.\n\n"
        "Examples:\n"
        "  orvimg info fax.tif\n"
        "  orvimg view photo.bmp\n"
        "  orvimg convert photo.bmp photo.pcx\n"
        "  orvimg split fax.tif 'page-%03d.bmp'\n"
        "  orvimg merge album.dcx one.bmp two.bmp");
}

void print_command_help(const CommandRow& command)
{
    const char* operations = command.takes_operations ? "[OPERATION...] " : "";
    std::printf("orvimg %s [OPTION...] %s%s\n\n%s\n\nOptions:\n", command.name, operations, command.usage,
                command.summary);
    for (const std::span<const OptionRow> group : option_groups(command)) {
        for (const OptionRow& row : group) {
            print_row(names_of(row), row.help);
        }
    }
    if (command.takes_operations) {
        std::puts("\nOperations are done in the order in which they stand: orvimg help operations.");
    }
    if (command.text[0] != '\0') {
        std::printf("\n%s", command.text);
    }
}

void print_operations_help()
{
    std::puts("Operations of convert, split, merge and batch, done in the order in which they stand:\n");
    for (const OperationKind& kind : all_operations()) {
        const char* what = kind.word[0] == '\0' ? kind.value : kind.word;
        print_row(std::string(kind.option) + (what[0] == '\0' ? "" : " ") + what, kind.help);
    }
}

int run_help(const Options& options)
{
    const std::string topic = options.inputs.empty() ? "" : options.inputs.front();
    if (topic.empty()) {
        print_program_help();
    } else if (topic == "operations") {
        print_operations_help();
    } else if (const CommandRow* command = command_by_name(topic)) {
        print_command_help(*command);
    } else {
        throw UsageError("no help on '" + topic + "'; orvimg help lists the commands");
    }
    return kExitDone;
}

}  // namespace orvimg
