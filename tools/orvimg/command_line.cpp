#include "command_line.h"

#include <algorithm>
#include <cstdio>

#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

// What stands behind the name of an option on the command line.
struct Found {
    const OptionRow* row = nullptr;  // one of these two
    const char* operation = nullptr;
    bool takes_value = false;
};

Found find_option(const CommandRow& command, const std::string& name)
{
    for (const std::span<const OptionRow> group : option_groups(command)) {
        for (const OptionRow& row : group) {
            const std::vector<std::string> names = split_text(row.names, ' ');
            if (std::ranges::find(names, name) != names.end()) {
                return {&row, nullptr, row.value[0] != '\0'};
            }
        }
    }
    const OperationKind* kind = command.takes_operations ? operation_by_option(name) : nullptr;
    return kind == nullptr ? Found{} : Found{nullptr, kind->option, takes_value(*kind)};
}

std::vector<std::string> option_names(const CommandRow& command)
{
    std::vector<std::string> names;
    for (const std::span<const OptionRow> group : option_groups(command)) {
        for (const OptionRow& row : group) {
            names.push_back(split_text(row.names, ' ').front());
        }
    }
    if (command.takes_operations) {
        for (const OperationKind& kind : all_operations()) {
            if (names.back() != kind.option) {
                names.emplace_back(kind.option);
            }
        }
    }
    return names;
}

void check_choice(const OptionRow& row, const Argument& argument)
{
    const std::vector<std::string> words = split_text(row.choices, '|');
    if (!words.empty() && std::ranges::find(words, argument.value) == words.end()) {
        throw UsageError(argument.name + " takes " + either(words) + ", not '" + argument.value + "'" +
                         did_you_mean(argument.value, words));
    }
}

void take(const Found& found, const Argument& argument, Options& options)
{
    if (found.row == nullptr) {
        options.operations.push_back(operation_of(argument.name, argument.value));
        return;
    }
    check_choice(*found.row, argument);
    found.row->take(options, argument);
}

// "--name=value", "-ovalue": what stands in the word itself behind the option's name.
Argument split_word(const std::string& word, bool& has_value)
{
    const bool is_long = word.starts_with("--");
    const size_t end = is_long ? word.find('=') : 2;
    has_value = is_long ? end != std::string::npos : word.size() > 2;
    if (!has_value) {
        return {word, ""};
    }
    return {word.substr(0, end), word.substr(is_long ? end + 1 : end)};
}

bool is_option(const std::string& word)
{
    return word.size() > 1 && word[0] == '-';
}

// Takes the option at words[at], with its value where it has one; the place of the last word taken. `is_help`
// tells that help is asked for.
size_t take_option(const CommandRow& command, const std::vector<std::string>& words, size_t at,
                   Options& options, bool& is_help)
{
    bool has_value = false;
    Argument argument = split_word(words[at], has_value);
    const Found found = find_option(command, argument.name);
    if (found.row == nullptr && found.operation == nullptr) {
        throw UsageError("unknown option " + argument.name +
                         did_you_mean(argument.name, option_names(command)) + " (orvimg help " + command.name +
                         " lists them)");
    }
    if (has_value && !found.takes_value) {
        throw UsageError(argument.name + " takes no value");
    }
    if (found.takes_value && !has_value) {
        if (at + 1 == words.size()) {
            throw UsageError(argument.name + " needs a value");
        }
        argument.value = words[++at];
    }
    if (found.row != nullptr && found.row->take == nullptr) {
        is_help = true;
    } else {
        take(found, argument, options);
    }
    return at;
}

void check_count(const CommandRow& command, const Options& options)
{
    const size_t count = options.inputs.size();
    if (count >= static_cast<size_t>(std::max(command.fewest, 0)) &&
        count <= static_cast<size_t>(command.most)) {
        return;
    }
    const std::string what =
        count > static_cast<size_t>(command.most) ? "too many arguments" : "too few arguments";
    throw UsageError(what + "; the usage is: orvimg " + command.name + " [OPTION...] " + command.usage);
}

std::vector<std::string> command_names()
{
    std::vector<std::string> names;
    for (const CommandRow& row : all_commands()) {
        if (row.summary[0] != '\0') {
            names.emplace_back(row.name);
        }
    }
    return names;
}

// Flags of the program itself. True where one was met.
bool program_flag(const std::string& word)
{
    if (word == "--version") {
        std::puts("orvimg " ORVIMG_VERSION);
        return true;
    }
    if (word == "--help" || word == "-h") {
        print_program_help();
        return true;
    }
    return false;
}

}  // namespace

CommandLine parse_command_line(const std::vector<std::string>& words)
{
    CommandLine line;
    if (words.empty()) {
        throw UsageError("a command is missing: " + either(command_names()) + " (orvimg help tells more)");
    }
    if (program_flag(words.front())) {
        return line;
    }
    const CommandRow* command = command_by_name(words.front());
    if (command == nullptr) {
        throw UsageError("unknown command '" + words.front() + "'" +
                         did_you_mean(words.front(), command_names()) + " (orvimg help lists them)");
    }
    bool is_help = false;
    bool options_ended = command->fewest < 0;
    for (size_t at = 1; at < words.size(); ++at) {
        if (options_ended || !is_option(words[at])) {
            line.options.inputs.push_back(words[at]);
        } else if (words[at] == "--") {
            options_ended = true;
        } else {
            at = take_option(*command, words, at, line.options, is_help);
        }
    }
    if (is_help) {
        print_command_help(*command);
        return line;
    }
    if (command->settle != nullptr) {
        command->settle(line.options);
    }
    check_count(*command, line.options);
    line.command = command;
    return line;
}

std::vector<std::string> completions(const std::vector<std::string>& words)
{
    if (words.size() < 2) {
        return command_names();
    }
    const CommandRow* command = command_by_name(words.front());
    if (command == nullptr) {
        return {};
    }
    const std::string& before = words[words.size() - 2];
    const Found found = words.size() > 2 ? find_option(*command, before) : Found{};
    if (found.row != nullptr && found.takes_value) {
        if (std::string(found.row->value) == "NAME") {
            return format_names();
        }
        const std::vector<std::string> choices = split_text(found.row->choices, '|');
        return choices.empty() ? std::vector<std::string>{"FILES"} : choices;
    }
    if (found.operation != nullptr && found.takes_value) {
        return operation_words(found.operation);
    }
    if (is_option(words.back())) {
        return option_names(*command);
    }
    if (std::string(command->name) == "help") {
        std::vector<std::string> topics = command_names();
        topics.emplace_back("operations");
        return topics;
    }
    return {"FILES"};
}

int run_complete(const Options& options)
{
    for (const std::string& word : completions(options.inputs)) {
        std::puts(word.c_str());
    }
    return kExitDone;
}

}  // namespace orvimg
