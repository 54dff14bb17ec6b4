// The rows of orvimg print, and what they are checked for before any work.
#include "print_options.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "commands.h"
#include "page_pattern.h"
#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

constexpr double kMostMm = 10000;
constexpr int kMostPixels = 32767;

// All of `text` as a number; false for anything else.
bool read_length(const std::string& text, double& value)
{
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && std::isfinite(value) && std::abs(value) <= kMostMm;
}

void set_paper(Options& options, const Argument& argument)
{
    PrintOptions& print = options.print;
    const std::string paper = lower(argument.value);
    if (paper == "a4") {
        print.paper_name = "iso_a4_210x297mm";
        print.paper_width = 210;
        print.paper_height = 297;
    } else if (paper == "letter") {
        print.paper_name = "na_letter_8.5x11in";
        print.paper_width = 215.9;
        print.paper_height = 279.4;
    } else {
        const std::vector<std::string> sides =
            split_text(paper.ends_with("mm") ? paper.substr(0, paper.size() - 2) : "", 'x');
        if (sides.size() != 2 || !read_length(sides[0], print.paper_width) ||
            !read_length(sides[1], print.paper_height) || print.paper_width < 1 || print.paper_height < 1) {
            throw UsageError("--paper takes a4, letter or WxHmm, as in 100x150mm, not '" + argument.value +
                             "'");
        }
        print.paper_name = "custom_" + paper.substr(0, paper.size() - 2) + "_" + paper;
    }
}

void set_bits(Options& options, const Argument& argument)
{
    options.print.bits = std::atoi(argument.value.c_str());
}

void set_dpi(Options& options, const Argument& argument)
{
    options.print.dpi = static_cast<int>(number_within(argument, 10, 9600));
}

void set_fit(Options& options, const Argument&)
{
    options.print.percent = 0;
}

void set_scale(Options& options, const Argument& argument)
{
    if (!read_length(argument.value, options.print.percent) || options.print.percent <= 0) {
        throw UsageError("--scale takes a number of percent above 0, not '" + argument.value + "'");
    }
}

void set_place(Options& options, const Argument& argument)
{
    PrintOptions& print = options.print;
    const std::vector<std::string> sides = split_text(argument.value, ',');
    if (sides.size() != 2 || !read_length(sides[0], print.left) || !read_length(sides[1], print.top)) {
        throw UsageError("--at takes X,Y in mm from the top left, not '" + argument.value + "'");
    }
    print.is_placed = true;
}

template <auto Field>
void print_text(Options& options, const Argument& argument)
{
    options.print.*Field = argument.value;
}

void set_landscape(Options& options, const Argument&)
{
    options.print.is_landscape = true;
}

constexpr OptionRow kRows[] = {
    {"--to", "OUT.pwg", "", "the file to write; - for the standard output", print_text<&PrintOptions::to>},
    {"--preview", "PATTERN", "", "PNG files of what the printer would show, as in page-%d.png",
     print_text<&PrintOptions::preview>},
    {"--paper", "SIZE", "", "a4, letter or WxHmm (default: a4)", set_paper},
    {"--dpi", "N", "", "dots an inch (default: 300)", set_dpi},
    {"--bits", "N", "1|8|24", "black and white, gray or colour (default: 1)", set_bits},
    {"--fit", "", "", "as large as the paper takes (the default)", set_fit},
    {"--scale", "PERCENT", "", "of the picture's own size", set_scale},
    {"--at", "X,Y", "", "mm from the top left corner (default: in the middle)", set_place},
    {"--landscape", "", "", "turned, along the long side of the paper", set_landscape},
};

}  // namespace

const std::span<const OptionRow> kPrintOptions = kRows;

void settle_print(Options& options)
{
    const PrintOptions& print = options.print;
    if (print.to.empty() && print.preview.empty()) {
        throw UsageError("print needs --to OUT.pwg or --preview PATTERN");
    }
    if (!print.preview.empty()) {
        (void)PagePattern(print.preview);
    }
    for (const double side : {print.paper_width, print.paper_height}) {
        const double pixels = side / 25.4 * print.dpi;
        if (pixels < 1 || pixels > kMostPixels) {
            throw UsageError("the paper has to be 1 to 32767 dots a side");
        }
    }
    const double left = print.is_placed ? print.left : 0;
    const double top = print.is_placed ? print.top : 0;
    if (print.percent == 0 && (left >= print.paper_width || top >= print.paper_height)) {
        throw UsageError("nothing fits on the paper at " + std::to_string(left) + "," + std::to_string(top));
    }
}

}  // namespace orvimg
