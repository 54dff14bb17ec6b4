// orvimg convert and orvimg formats: from one format to another.
#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "commands.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr int32_t kWriteRtc = 1;
constexpr int32_t kReportProgress = 1;

// A depth that the format does not take is the one thing that the user can put right with an option.
std::string trouble_with_depth(int bits, const Format& format)
{
    const unsigned depths = depths_written(format.number);
    if (depths == kNoDepth)
        return with_code(std::string("this build does not write ") + format.name, ORV_NOT_SUPPORTED);
    if ((depths & depth_bit(bits)) != 0)
        return words_for(ORV_NOT_SUPPORTED);
    const std::string text = std::string(format.name) + " takes pictures of " + depth_list(depths) +
                             " bits a pixel, and this one has " + std::to_string(bits);
    const std::string remedy = operations_towards(depths, bits);
    return with_code(text + (remedy.empty() ? ", which no operation makes deeper" : "; add " + remedy),
                     ORV_NOT_SUPPORTED);
}

std::string save_trouble(const Picture& picture, const Format& format, int code)
{
    if (code == ORV_NOT_SUPPORTED)
        return trouble_with_depth(picture.size().bits, format);
    if (code == ORV_BAD_DATA && format.has_pages)
        return with_code("it exists, and no page can be added to it", code);
    if (code == ORV_BAD_DATA)
        return with_code("it exists and can't be written over", code);
    if (code == ORV_NOT_CREATED && format.number == ORV_FORMAT_DCX && access("temp.pcx", F_OK) == 0)
        return with_code("a file temp.pcx in the current directory is in the way", code);
    return words_for(code);
}

// ".tif", or "-" for a format that no file name stands for.
std::string first_extension(const Format& format)
{
    const std::string_view all = format.extensions;
    if (all.size() < 2)
        return "-";
    std::string extension = ".";
    extension += all.substr(1, all.find(' ', 1) - 1);
    return extension;
}

}  // namespace

void save_picture(const Picture& picture, const std::string& file_name, const Options& options, int page_total)
{
    const int16_t result = IMG_save_bitmap(
        picture.handle(), file_name.c_str(), options.format->number, static_cast<int16_t>(page_total),
        static_cast<int32_t>(options.resolution), kWriteRtc, kReportProgress);
    if (result < 0)
        throw Failure("cannot write " + file_name + ": " + save_trouble(picture, *options.format, result));
}

int run_convert(const Options& options)
{
    PictureFile file(options.inputs.front());
    Picture picture = file.load(options.page.value_or(1));
    Progress progress(static_cast<int>(options.operations.size()) + 1);
    apply(options.operations, picture, file.name(), progress);
    progress.next_part(options.output);
    save_picture(picture, options.output, options, 1);
    return kExitDone;
}

int run_formats()
{
    std::printf("%-6s  %-12s  %-5s  %-13s  %-8s  %s\n", "NUMBER", "NAME", "READ", "WRITE, BITS", "BY NAME",
                "WHAT");
    for (const Format& format : all_formats()) {
        const unsigned depths = depths_written(format.number);
        const std::string extension = first_extension(format);
        std::printf("%-6d  %-12s  %-5s  %-13s  %-8s  %s%s\n", format.number, format.name,
                    can_read(format) ? "yes" : "no", depths == kNoDepth ? "no" : depth_list(depths).c_str(),
                    extension.c_str(), format.saved_as, format.has_pages ? ", many pages" : "");
    }
    std::printf("%-6s  %-12s  %-5s  %-13s  %-8s  %s\n", "-", "fax", can_read_fax_files() ? "yes" : "no", "no",
                "-", "fax container, many pages");
    return kExitDone;
}

}  // namespace orvimg
