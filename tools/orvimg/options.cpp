#include "options.h"

#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

constexpr int kLargestPage = 32767;
constexpr int kCoarsestStep = 100;

template <Resolution Value>
void set_resolution(Options& options, const Argument&)
{
    if (options.resolution.value_or(Value) != Value) {
        throw UsageError("--standard and --fine exclude each other");
    }
    options.resolution = Value;
}

void set_jpeg_step(Options& options, const Argument& argument)
{
    options.jpeg_step = static_cast<int>(number_within(argument, 0, kCoarsestStep));
}

void set_json_lines(Options& options, const Argument&)
{
    options.json = true;
    options.json_lines = true;
}

// A new option is a row here, a field in Options, and its use: of a target in save_settings (saving.cpp). Help,
// completion and the suggestions for misspelt names follow from the row. The man page wants a paragraph too.
//
// {names, value, choices, help, take}
constexpr OptionRow kCommon[] = {
    {"--help -h", "", "", "tell about this command", nullptr},
    {"--quiet -q", "", "", "say nothing but errors", set_flag<&Options::quiet>},
    {"--verbose -v", "", "", "tell what was done", set_flag<&Options::verbose>},
};

constexpr OptionRow kPage[] = {
    {"--page", "N", "", "page to take, the first is 1", set_number<&Options::page, 1, kLargestPage>},
};

constexpr OptionRow kReading[] = {
    {"--described", "", "", "read and write JPEG with the frame header of OrvImg32 alone, not T.81's",
     set_flag<&Options::described>},
    {"--strict", "", "", "a picture with missing or repaired rows is a failure", set_flag<&Options::strict>},
};

constexpr OptionRow kTarget[] = {
    {"--format", "NAME", "", "format to write, by name or number (default: by the target's extension)",
     set_text<&Options::format_name>},
    {"--compression", "CODING", "raw|huffman|t4|t6|lzw",
     "coding of a TIFF (default: t6 for 1 bit, else lzw; raw where pages are added)",
     set_text<&Options::compression>},
    {"--no-rtc", "", "", "no closing codes (RTC) behind a TIFF page in huffman and t4",
     set_flag<&Options::no_rtc>},
    {"--fine", "", "", "fine vertical resolution for PCX, DCX and T.4 (default)",
     set_resolution<Resolution::Fine>},
    {"--standard", "", "", "standard resolution: every other line of a fine page",
     set_resolution<Resolution::Standard>},
    {"--jpeg-step", "N", "", "quantisation of JPEG, 0 (finest) to 100", set_jpeg_step},
    {"--no-clobber", "", "", "leave a target that exists as it is, and fail", set_flag<&Options::no_clobber>},
    {"--keep-depth", "", "", "fail rather than make 8 bits of a picture for GIF",
     set_flag<&Options::keep_depth>},
};

constexpr OptionRow kOutput[] = {
    {"--output -o", "OUT", "", "the target, instead of the argument", set_text<&Options::output>},
};

constexpr OptionRow kJson[] = {
    {"--json", "", "", "as JSON", set_flag<&Options::json>},
    {"--jsonl", "", "", "as JSON, one object a line", set_json_lines},
};

}  // namespace

const std::span<const OptionRow> kCommonOptions = kCommon;
const std::span<const OptionRow> kPageOptions = kPage;
const std::span<const OptionRow> kReadingOptions = kReading;
const std::span<const OptionRow> kTargetOptions = kTarget;
const std::span<const OptionRow> kOutputOptions = kOutput;
const std::span<const OptionRow> kJsonOptions = kJson;

int64_t number_within(const Argument& argument, int64_t lowest, int64_t highest)
{
    int64_t number = 0;
    if (!read_number(argument.value, number) || number < lowest || number > highest) {
        throw UsageError(argument.name + " takes a number from " + std::to_string(lowest) + " to " +
                         std::to_string(highest) + ", not '" + argument.value + "'");
    }
    return number;
}

namespace
{

// The coding of a TIFF: as --compression says, else as --format does, else as suits each picture.
void settle_coding(Options& options)
{
    const bool is_tiff = std::string(options.format->name).starts_with("tiff");
    if (options.compression.empty()) {
        options.coding_by_depth = is_tiff && options.format_name.empty();
        return;
    }
    if (!is_tiff) {
        throw UsageError("--compression is for TIFF");
    }
    options.format = format_by_name("tiff-" + options.compression);
}

}  // namespace

void settle_target_format(Options& options)
{
    const std::string& name = options.format_name;
    options.format = name.empty() ? format_by_file_name(options.output) : format_by_name(name);
    if (options.format == nullptr && !name.empty()) {
        throw UsageError("unknown format '" + name + "'" + format_suggestion(name) +
                         " (orvimg formats lists them)");
    }
    if (options.format == nullptr) {
        throw UsageError("cannot tell a format from the name " + options.output +
                         "; give --format (orvimg formats lists them)");
    }
    settle_coding(options);
}

void take_output(Options& options, bool is_first)
{
    if (!options.output.empty() || options.inputs.empty()) {
        return;
    }
    const auto taken = is_first ? options.inputs.begin() : options.inputs.end() - 1;
    options.output = *taken;
    options.inputs.erase(taken);
}

}  // namespace orvimg
