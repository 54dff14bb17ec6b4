// orvimg info: what a file holds. It streams, so nothing of a picture is kept but its header.
#include "info.h"

#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "jpeg_kind.h"
#include "orvimg32/sized.h"
#include "report.h"

namespace orvimg
{

namespace
{

// Finding a page takes longer the further back it lies, so of endless files the first pages are listed.
constexpr int kMostListed = 1000;

int16_t take_header(ImageHeader* header, void* page)
{
    PageInfo* info = static_cast<PageInfo*>(page);
    info->has_header = true;
    info->size = {header->info.biWidth, header->info.biHeight, header->info.biBitCount};
    return ORV_OK;
}

int16_t drop_row(const void*, void*, int16_t, int16_t)
{
    return ORV_OK;
}

// Decodes the rows too: some readers tell the exact format only then, and damage shows.
PageInfo info_of_page(PictureFile& file, int page)
{
    PageInfo info;
    info.page = page;
    info.code = IMGLOW_decompress_bitmap_mem_sized(file.bytes().data(), file.size(), file.aim(page), drop_row,
                                                   &info, take_header);
    info.condition = last_condition();
    file.aim(1);
    info.extra = *static_cast<const ExtraInfo*>(IMG_get_extra_info());
    if (info.code < 0) {
        info.trouble = file.trouble(page, info.code, info.condition.reason);
    } else if (info.condition.is_empty()) {
        info.trouble = file.emptiness(page, info.condition, info.code);
    } else {
        info.code = ORV_OK;
    }
    return info;
}

// The EPS reader hands over to the TIFF reader, which then speaks for the format.
void name_format(FileInfo& info, const PictureFile& file, const PageInfo& page)
{
    const int number = file.detected() == ORV_FORMAT_EPS ? file.detected() : page.extra.format;
    const Format* format = format_by_number(number);
    info.format_number = number;
    info.format_name = file.is_fax() ? "fax" : format == nullptr ? "unknown" : format->name;
    info.format_words = file.is_fax()       ? "fax container, T.4 lines"
                        : format == nullptr ? "unknown"
                                            : format->loaded_as;
}

void look_at_pages(FileInfo& info, PictureFile& file, const Options& options)
{
    info.page_count = file.page_count();
    const int only_page = options.page;
    file.require_page(std::max(only_page, 1));
    const int first = std::max(only_page, 1);
    const int last = only_page > 0 ? only_page : std::min(info.page_count, kMostListed);
    for (int page = first; page <= last; ++page) {
        info.pages.push_back(info_of_page(file, page));
    }
    const PageInfo& shown = info.pages.front();
    if (shown.code < 0 && info.pages.size() == 1) {
        throw Failure("cannot read " + file.page_name(shown.page), shown.trouble, shown.code);
    }
    name_format(info, file, shown);
    info.sampling = info.format_number == ORV_FORMAT_JPEG ? jpeg_sampling(file.bytes()) : "";
}

FileInfo info_of_file(const std::string& name, const Options& options)
{
    FileInfo info;
    info.name = name;
    try {
        PictureFile file(name);
        look_at_pages(info, file, options);
    } catch (const Failure& failure) {
        info.trouble = failure.what();
        info.code = failure.code;
    }
    return info;
}

std::string resolution_text(const ExtraInfo& extra)
{
    if (extra.x_resolution == 0 && extra.y_resolution == 0) {
        return "not given";
    }
    const std::string x = std::to_string(extra.x_resolution) + " x ";
    if (!is_doubled(extra)) {
        return x + std::to_string(extra.y_resolution) + " dpi";
    }
    return x + std::to_string(extra.y_resolution) + " dpi (stored as " + x +
           std::to_string(extra.stored_y_resolution) + ", each line doubled)";
}

std::string size_text(const PageInfo& page)
{
    if (page.code < 0) {
        return with_code("can't be read: " + page.trouble, page.code);
    }
    return std::to_string(page.size.width) + " x " + std::to_string(page.size.height) + " pixels, " +
           counted(page.size.bits, "bit");
}

void print_text(const FileInfo& info)
{
    const PageInfo& first = info.pages.front();
    std::printf("%s: %s\n", info.name.c_str(), info.format_words.c_str());
    if (first.page != 1) {
        std::printf("  page        %d\n", first.page);
    }
    std::printf("  size        %s\n", size_text(first).c_str());
    std::printf("  resolution  %s\n", resolution_text(first.extra).c_str());
    if (!info.sampling.empty()) {
        std::printf("  sampling    %s\n", info.sampling.c_str());
    }
    if (info.pages.size() == 1 && first.condition.is_damaged()) {
        std::printf("  damage      %s\n", first.condition.words().c_str());
    }
    std::printf("  pages       %d\n", info.page_count);
    if (info.pages.size() < 2) {
        return;
    }
    for (const PageInfo& page : info.pages) {
        const std::string resolution = page.code < 0 ? "" : ", " + resolution_text(page.extra);
        const std::string damage =
            page.code < 0 || !page.condition.is_damaged() ? "" : "; " + page.condition.words();
        std::printf("    %-4d      %s%s%s\n", page.page, size_text(page).c_str(), resolution.c_str(),
                    damage.c_str());
    }
    if (info.page_count > kMostListed) {
        std::printf("    ...       %d more; --page N tells of one\n", info.page_count - kMostListed);
    }
}

// A failure weighs more than damage. Says on stderr what is wrong.
int judge(const FileInfo& info, const Options& options)
{
    if (!info.trouble.empty()) {
        print_error(info.trouble);
        return kExitFailure;
    }
    int status = kExitDone;
    for (const PageInfo& page : info.pages) {
        const bool is_damaged = page.condition.is_damaged();
        if (page.code < 0 || (is_damaged && options.strict)) {
            status = kExitFailure;
        } else if (is_damaged && status == kExitDone) {
            status = kExitDamaged;
        }
    }
    if (status != kExitDone) {
        print_note(options, std::string(status == kExitFailure ? "" : "warning: ") + info.name +
                                ": pages are damaged or can't be read");
    }
    return status;
}

// The worse of two statuses.
int worse(int a, int b)
{
    const auto rank = [](int status) { return status == kExitDone ? 0 : status == kExitDamaged ? 1 : 2; };
    return rank(a) >= rank(b) ? a : b;
}

}  // namespace

bool is_doubled(const ExtraInfo& extra)
{
    return extra.stored_y_resolution != extra.y_resolution;
}

int run_info(const Options& options)
{
    int status = kExitDone;
    JsonFiles json(options.json_lines);
    for (const std::string& name : options.inputs) {
        const FileInfo info = info_of_file(name, options);
        status = worse(status, judge(info, options));
        if (options.json) {
            json.add(info);
        } else if (info.trouble.empty()) {
            print_text(info);
        }
    }
    if (options.json) {
        json.finish();
    }
    return status;
}

}  // namespace orvimg
