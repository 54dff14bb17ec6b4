// The table of commands.
#include "commands.h"

#include <algorithm>

#include "report.h"

namespace orvimg
{

namespace
{

constexpr OptionRow kViewOptions[] = {
    {"--width", "N", "", "columns to fill (default: the terminal's)", set_number<&Options::width, 1, 1000>},
};

constexpr OptionRow kAppendOptions[] = {
    {"--append", "", "", "add a page to a TIFF or DCX file that exists", set_flag<&Options::append>},
};

constexpr OptionRow kMergeOptions[] = {
    {"--all-pages", "", "", "all pages of each input, not its first alone", set_flag<&Options::all_pages>},
};

void settle_convert(Options& options)
{
    take_output(options, false);
    if (options.output.empty() || options.inputs.empty()) {
        throw UsageError("convert needs IN and OUT");
    }
    settle_target_format(options);
    if (options.append && !options.format->has_pages) {
        throw UsageError(std::string(options.format->name) + " files hold one picture; nothing can be added");
    }
}

// A new command is a row here, its function in a file of its own, and that file in CMakeLists.txt. Its own
// options are an OptionRow table beside it, which may keep what it takes in that file; groups of options.h are
// shared. `settle` looks at the arguments before any work; `run` does the work. Help and completion follow from
// the row.
//
// {name, usage, summary, text, options, operations?, fewest and most arguments, settle, run}
const CommandRow kCommands[] = {
    {"info",
     "FILE...",
     "tell what picture files hold",
     "A FILE of - is the standard input.\n\n"
     "Example:\n  orvimg info fax.tif scan.pcx\n",
     {kJsonOptions, kPageOptions, kReadingOptions},
     false,
     1,
     kAnyNumber,
     nullptr,
     run_info},
    {"view",
     "FILE",
     "show a picture in the terminal",
     "24-bit colour where COLORTERM says truecolor, else 256 colours.\n\n"
     "Example:\n  orvimg view fax.tif --page 2\n",
     {kViewOptions, kPageOptions, kReadingOptions},
     false,
     1,
     1,
     nullptr,
     run_view},
    {"convert",
     "IN OUT",
     "convert one picture to another format",
     "An OUT that exists is replaced once the new one is whole. - is the standard input or output.\n\n"
     "Examples:\n"
     "  orvimg convert photo.bmp photo.pcx\n"
     "  orvimg convert photo.tga small.bmp --resize 320x --mediancut --format bmp-rle\n"
     "  orvimg convert fax.tif page2.bmp --page 2 --rotate 90\n",
     {kOutputOptions, kPageOptions, kReadingOptions, kTargetOptions, kAppendOptions},
     true,
     1,
     1,
     settle_convert,
     run_convert},
    {"split",
     "IN PATTERN",
     "write each page of a file to its own file",
     "PATTERN holds one %d, or %03d with leading zeros, in place of the page number, from 1.\n\n"
     "Example:\n  orvimg split fax.tif 'page-%03d.bmp'\n",
     {kOutputOptions, kReadingOptions, kTargetOptions},
     true,
     1,
     1,
     settle_split,
     run_split},
    {"merge",
     "OUT IN...",
     "add pictures to a file as pages",
     "OUT is a TIFF or DCX file. One that exists keeps its pages and grows.\n\n"
     "Example:\n  orvimg merge album.dcx one.bmp two.pcx three.tga\n",
     {kOutputOptions, kMergeOptions, kReadingOptions, kTargetOptions},
     true,
     1,
     kAnyNumber,
     settle_merge,
     run_merge},
    {"print",
     "IN...",
     "print pictures, to PWG raster that driverless printers take",
     "Every page of every IN becomes a page of the job. Pages are never held whole.\n\n"
     "Examples:\n"
     "  orvimg print fax.tif --to - | lp -d printer -o document-format=image/pwg-raster\n"
     "  orvimg print photo.bmp --bits 24 --dpi 600 --to photo.pwg --preview 'page-%d.png'\n",
     {kPrintOptions, kReadingOptions},
     false,
     1,
     kAnyNumber,
     settle_print,
     run_print},
    {"batch",
     "SRC... -o DIR --to FORMAT",
     "convert files and folders, many at a time",
     "Workers do one file at a time each; one that breaks off costs that file alone. Outputs keep the tree of "
     "the\n"
     "folders. {dir}, {stem}, {name}, {page:-%04d} and {ext} may stand in --name.\n\n"
     "Examples:\n"
     "  orvimg batch scans -o out --to pcx --report run.jsonl\n"
     "  orvimg batch scans -o out --to pcx --resume run.jsonl\n"
     "  find . -name '*.tif' -print0 | orvimg batch --files-from - -0 -o out --to dcx --shard 2/8\n",
     {kBatchOptions, kReadingOptions, kTargetOptions},
     true,
     0,
     kAnyNumber,
     settle_batch,
     run_batch},
    {"report",
     "RUN.JSONL...",
     "add up the reports of batches",
     "Totals by format and status, the slowest inputs, the failures. The exit status is that of the runs "
     "together.\n\n"
     "Example:\n  orvimg report run-*.jsonl\n",
     {kJsonOptions},
     false,
     1,
     kAnyNumber,
     nullptr,
     run_report},
    {"formats",
     "",
     "list the formats that are read and written",
     "",
     {kJsonOptions},
     false,
     0,
     0,
     nullptr,
     run_formats},
    {"complete",
     "WORD...",
     "list what may stand for the last word, for a shell",
     "The words are those of a command line behind orvimg; FILES stands for any file's name.\n",
     {},
     false,
     -1,
     kAnyNumber,
     nullptr,
     run_complete},
    {"help",
     "[COMMAND|operations]",
     "tell about a command, or about the operations",
     "",
     {},
     false,
     0,
     1,
     nullptr,
     run_help},
};

}  // namespace

std::span<const CommandRow> all_commands()
{
    return kCommands;
}

const CommandRow* command_by_name(const std::string& name)
{
    const auto found = std::ranges::find_if(kCommands, [&](const CommandRow& row) { return name == row.name; });
    return found == std::end(kCommands) ? nullptr : found;
}

std::vector<std::span<const OptionRow>> option_groups(const CommandRow& command)
{
    std::vector<std::span<const OptionRow>> groups(command.options);
    groups.push_back(kCommonOptions);
    return groups;
}

}  // namespace orvimg
