#include "options.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "report.h"

namespace orvimg
{

namespace
{

constexpr int kLargestPage = 32767;
constexpr int kLargestSide = 32767;

// Words of the command line that are worked out once all of it has been read.
struct Words {
    std::string input;  // of the commands that take one
    std::string format;
    bool standard = false;
    bool fine = false;
};

// All of `text` as decimal numbers with `separator` between them; an empty number is 0 where `may_be_empty`.
bool read_numbers(const std::string& text, char separator, bool may_be_empty, std::span<int> numbers)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    for (size_t i = 0; i < numbers.size(); ++i) {
        const auto [next, error] = std::from_chars(at, end, numbers[i]);
        if (error != std::errc() && !(may_be_empty && next == at))
            return false;
        const bool is_last = i + 1 == numbers.size();
        if (is_last ? next != end : next == end || *next != separator)
            return false;
        at = next + 1;
    }
    return true;
}

bool lies_within(std::span<const int> numbers, int lowest, int highest)
{
    return std::ranges::all_of(numbers, [&](int number) { return number >= lowest && number <= highest; });
}

Operation crop_of(const std::string& text)
{
    Operation operation{operation_kind("--crop"), "--crop " + text};
    const std::span<int> values(operation.values);
    if (!read_numbers(text, ',', false, values) || !lies_within(values.first(2), 0, kLargestSide) ||
        !lies_within(values.last(2), 1, kLargestSide))
        throw CLI::ValidationError("--crop", "takes X,Y,WIDTH,HEIGHT in pixels, as in 10,20,300,200");
    return operation;
}

Operation resize_of(const std::string& text)
{
    Operation operation{operation_kind("--resize"), "--resize " + text};
    const std::span<int> values = std::span<int>(operation.values).first(2);
    const bool is_read = read_numbers(text, 'x', true, values) && lies_within(values, 0, kLargestSide);
    const bool has_zero = text.starts_with('0') || text.find("x0") != std::string::npos;
    if (!is_read || has_zero || (values[0] == 0 && values[1] == 0))
        throw CLI::ValidationError("--resize",
                                   "takes WIDTHxHEIGHT, WIDTHx or xHEIGHT in pixels, as in 320x200");
    return operation;
}

Operation number_of(const std::string& name, int number)
{
    Operation operation{operation_kind(name), name + " " + std::to_string(number)};
    operation.values[0] = name == "--blur" ? -number : number;
    return operation;
}

// The checks without the descriptions that the help texts give in better words.
CLI::Validator within(int lowest, int highest)
{
    return CLI::Range(lowest, highest).description("");
}
CLI::Validator one_of(std::vector<std::string> words)
{
    return CLI::IsMember(std::move(words)).description("");
}

// Every operation joins the list as soon as it is read, so the list has the order of the command line.
void add_operations(CLI::App& app, Options& options)
{
    const auto plain = [&](const std::string& name, const std::string& help) {
        app.add_flag_function(
               name,
               [&options, name](int64_t) {
                   options.operations.push_back({operation_kind(name), name});
               },
               help)
            ->trigger_on_parse()
            ->group("Operations, done in the order in which they stand");
    };
    const auto with = [&](const std::string& name, const char* value, const std::string& help, auto make) {
        return app
            .add_option_function<std::string>(
                name, [&options, make](const std::string& text) { options.operations.push_back(make(text)); },
                help)
            ->trigger_on_parse()
            ->type_name(value)
            ->group("Operations, done in the order in which they stand");
    };
    const auto worded = [](const std::string& name) {
        return [name](const std::string& word) {
            return Operation{operation_kind(name + " " + word), name + " " + word};
        };
    };
    const auto numbered = [](const std::string& name) {
        return [name](const std::string& text) { return number_of(name, std::stoi(text)); };
    };
    with("--crop", "X,Y,W,H", "keep this part, counted from the top left corner", crop_of);
    plain("--gray", "to 8 bits of gray");
    plain("--mediancut", "to 8 bits, fixed palette of 8 reds, 8 greens, 4 blues, error diffused");
    plain("--popularity", "24 bits to 8: the 255 most frequent colours");
    with("--dither", "KIND",
         "to black and white: bayer, halftone, diffusion; to the 16 standard colours: bayer-color, "
         "diffusion-color",
         worded("--dither"))
        ->check(one_of({"bayer", "halftone", "diffusion", "bayer-color", "diffusion-color"}));
    with("--flip", "x|y", "mirror left to right (x) or top to bottom (y)", worded("--flip"))
        ->check(one_of({"x", "y"}));
    with("--rotate", "DEGREES", "turn clockwise by 90, 180 or 270", numbered("--rotate"))
        ->check(one_of({"90", "180", "270"}));
    with("--resize", "WxH", "to this size; Wx or xH keeps the proportions", resize_of);
    with("--contrast", "N", "-128 to 127, 0 changes nothing", numbered("--contrast"))->check(within(-128, 127));
    with("--brightness", "N", "-128 to 127, 0 changes nothing, 1 moves values by 2", numbered("--brightness"))
        ->check(within(-128, 127));
    plain("--invert", "make a negative");
    with("--sharpen", "N", "16 (little) to 128 (much), in steps of 16", numbered("--sharpen"))
        ->check(within(16, 128));
    with("--blur", "N", "0 (little) to 128 (much), in steps of 16", numbered("--blur"))->check(within(0, 128));
}

void add_target(CLI::App& app, Options& options, Words& words)
{
    app.add_option("--format", words.format, "format to write, by name or number (default: by OUT's extension)")
        ->type_name("NAME");
    CLI::Option* fine =
        app.add_flag("--fine", words.fine, "fine vertical resolution for PCX, DCX and T.4 (default)");
    app.add_flag("--standard", words.standard, "standard resolution: every other line of a fine page")
        ->excludes(fine);
    add_operations(app, options);
}

void add_page(CLI::App& app, Options& options)
{
    app.add_option("--page", options.page, "page to take, the first is 1")
        ->type_name("N")
        ->check(within(1, kLargestPage));
}

CLI::App& add_command(CLI::App& app, Options& options, Command command, const char* name, const char* help,
                      const char* examples)
{
    CLI::App* added = app.add_subcommand(name, help);
    added->parse_complete_callback([&options, command] { options.command = command; });
    added->footer(examples);
    return *added;
}

void add_reading_commands(CLI::App& app, Options& options, Words& words)
{
    CLI::App& info = add_command(app, options, Command::Info, "info", "Tell what picture files hold",
                                 "Example:\n  orvimg info fax.tif scan.pcx");
    info.add_option("FILE", options.inputs, "picture files")->required();
    info.add_flag("--json", options.json, "as JSON, one object for each file");
    add_page(info, options);

    CLI::App& view = add_command(app, options, Command::View, "view", "Show a picture in the terminal",
                                 "24-bit colour where COLORTERM says truecolor, else 256 colours.\n\n"
                                 "Example:\n  orvimg view fax.tif --page 2");
    view.add_option("FILE", words.input, "picture file")->required();
    view.add_option("--width", options.width, "columns to fill (default: the terminal's)")
        ->type_name("N")
        ->check(within(1, 1000));
    add_page(view, options);

    add_command(app, options, Command::Formats, "formats", "List the formats that are read and written", "");
}

void add_writing_commands(CLI::App& app, Options& options, Words& words)
{
    CLI::App& convert =
        add_command(app, options, Command::Convert, "convert", "Convert one picture to another format",
                    "An existing OUT is replaced; an existing TIFF or DCX file gets a page added instead.\n\n"
                    "Examples:\n"
                    "  orvimg convert photo.bmp photo.pcx\n"
                    "  orvimg convert photo.tga small.bmp --resize 320x --mediancut --format bmp-rle\n"
                    "  orvimg convert fax.tif page2.bmp --page 2 --rotate 90");
    convert.add_option("IN", words.input, "picture to read")->required();
    convert.add_option("OUT", options.output, "file to write")->required();
    add_page(convert, options);
    add_target(convert, options, words);

    CLI::App& split =
        add_command(app, options, Command::Split, "split", "Write each page of a file to its own file",
                    "An existing file of such a name is replaced; TIFF or DCX gets a page added.\n\n"
                    "Example:\n  orvimg split fax.tif 'page-%d.bmp'");
    split.add_option("IN", words.input, "file with pages")->required();
    split.add_option("PATTERN", options.output, "names to write, with %d in place of the page number, from 1")
        ->required();
    add_target(split, options, words);

    CLI::App& merge = add_command(app, options, Command::Merge, "merge", "Add pictures to a file as pages",
                                  "OUT is a TIFF or DCX file. One that exists keeps its pages and grows.\n\n"
                                  "Example:\n  orvimg merge album.dcx one.bmp two.pcx three.tga");
    merge.add_option("OUT", options.output, "file to write")->required();
    merge.add_option("IN", options.inputs, "pictures to add, one page each")->required();
    merge.add_flag("--all-pages", options.all_pages, "all pages of each input, not its first alone");
    add_target(merge, options, words);
}

const Format& target_format(const Options& options, const Words& words)
{
    if (!words.format.empty()) {
        const Format* named = format_by_name(words.format);
        if (named == nullptr)
            throw UsageError("unknown format '" + words.format + "'" + format_suggestion(words.format) +
                             " (orvimg formats lists them)");
        return *named;
    }
    const Format* format = format_by_file_name(options.output);
    if (format == nullptr)
        throw UsageError("cannot tell a format from the name " + options.output +
                         "; give --format (orvimg formats lists them)");
    return *format;
}

// The pattern is taken apart by this program alone: one %d, and no other %.
void check_pattern(const std::string& pattern)
{
    const size_t place = pattern.find("%d");
    if (place == std::string::npos || pattern.find('%') != place ||
        pattern.find('%', place + 1) != std::string::npos)
        throw UsageError("the pattern needs one %d for the page number, and no other %: page-%d.bmp");
}

void complete(Options& options, const Words& words)
{
    if (!words.input.empty())
        options.inputs.push_back(words.input);
    if (options.command != Command::Convert && options.command != Command::Split &&
        options.command != Command::Merge)
        return;
    options.resolution = words.standard ? Resolution::Standard : Resolution::Fine;
    options.format = &target_format(options, words);
    if (options.command == Command::Split)
        check_pattern(options.output);
    if (options.command == Command::Merge && !options.format->has_pages)
        throw UsageError(std::string(options.format->name) +
                         " files hold one picture; merge writes tiff, tiff-huffman, tiff-t4, tiff-t6 and dcx");
}

}  // namespace

std::optional<int> parse_options(int argc, const char* const* argv, Options& options)
{
    CLI::App app{"Reads, changes and writes the pictures of old systems.", "orvimg"};
    app.set_version_flag("--version", "orvimg " ORVIMG_VERSION);
    app.require_subcommand(1);
    app.get_formatter()->column_width(26);
    app.footer(
        "Examples:\n"
        "  orvimg info fax.tif\n"
        "  orvimg view photo.bmp\n"
        "  orvimg convert photo.bmp photo.pcx\n"
        "  orvimg split fax.tif 'page-%d.bmp'\n"
        "  orvimg merge album.dcx one.bmp two.bmp\n\n"
        "orvimg COMMAND --help tells more of each. Pages count from 1.\n"
        "Exit status: 0 done, 1 something failed, 2 the command line makes no sense.");
    Words words;
    add_reading_commands(app, options, words);
    add_writing_commands(app, options, words);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);  // help or version
        print_error(std::string(error.what()) + " (orvimg --help and orvimg COMMAND --help tell more)");
        return kExitUsage;
    }
    complete(options, words);
    return std::nullopt;
}

}  // namespace orvimg
