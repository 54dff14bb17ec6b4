// orvimg info: what a file holds. It streams, so nothing of a picture is kept but its header.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "commands.h"
#include "report.h"

namespace orvimg
{

namespace
{

// Finding a page takes longer the further back it lies, so of endless files the first pages are listed.
constexpr int kMostListed = 1000;

// What is told of one page.
struct PageInfo {
    int page = 1;
    int code = ORV_OK;  // why it can't be read
    bool has_header = false;
    Size size;
    ExtraInfo extra = {};
};

struct FileInfo {
    std::string name;
    std::string trouble;  // why nothing can be told
    std::string format_name;
    std::string format_words;
    int format_number = -1;
    int page_count = 0;
    std::vector<PageInfo> pages;
};

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

// Decodes the rows too: some readers tell the exact format only then.
PageInfo info_of_page(const PictureFile& file, int page)
{
    PageInfo info;
    info.page = page;
    const int16_t result = IMGLOW_decompress_bitmap(file.descriptor(), 0, static_cast<int16_t>(page - 1),
                                                    drop_row, &info, take_header);
    info.code = info.has_header ? 0 : result;
    info.extra = *static_cast<const ExtraInfo*>(IMG_get_extra_info());
    return info;
}

bool is_doubled(const ExtraInfo& extra)
{
    return extra.stored_y_resolution != extra.y_resolution;
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

FileInfo info_of_file(const std::string& name, std::optional<int> only_page)
{
    FileInfo info;
    info.name = name;
    try {
        PictureFile file(name);
        info.page_count = file.detected() < 0 ? 1 : file.page_count();
        file.require_page(only_page.value_or(1));
        const int first = only_page.value_or(1);
        const int last = only_page.value_or(std::min(info.page_count, kMostListed));
        for (int page = first; page <= last; ++page)
            info.pages.push_back(info_of_page(file, page));
        const PageInfo& shown = info.pages.front();
        if (shown.code < 0 && info.pages.size() == 1)
            info.trouble = "cannot read " + name + ": " + file.trouble(shown.code);
        name_format(info, file, shown);
    } catch (const Failure& failure) {
        info.trouble = failure.what();
    }
    return info;
}

// ---- as text

std::string resolution_text(const ExtraInfo& extra)
{
    if (extra.x_resolution == 0 && extra.y_resolution == 0)
        return "not given";
    const std::string x = std::to_string(extra.x_resolution) + " x ";
    if (!is_doubled(extra))
        return x + std::to_string(extra.y_resolution) + " dpi";
    return x + std::to_string(extra.y_resolution) + " dpi (stored as " + x +
           std::to_string(extra.stored_y_resolution) + ", each line doubled)";
}

std::string size_text(const PageInfo& page)
{
    if (page.code < 0)
        return words_for(page.code);
    return std::to_string(page.size.width) + " x " + std::to_string(page.size.height) + " pixels, " +
           counted(page.size.bits, "bit");
}

void print_text(const FileInfo& info)
{
    const PageInfo& first = info.pages.front();
    std::printf("%s: %s\n", info.name.c_str(), info.format_words.c_str());
    if (first.page != 1)
        std::printf("  page        %d\n", first.page);
    std::printf("  size        %s\n", size_text(first).c_str());
    std::printf("  resolution  %s\n", resolution_text(first.extra).c_str());
    std::printf("  pages       %d\n", info.page_count);
    if (info.pages.size() < 2)
        return;
    for (const PageInfo& page : info.pages) {
        const std::string resolution = page.code < 0 ? "" : ", " + resolution_text(page.extra);
        std::printf("    %-4d      %s%s\n", page.page, size_text(page).c_str(), resolution.c_str());
    }
    if (info.page_count > kMostListed)
        std::printf("    ...       %d more; --page N tells of one\n", info.page_count - kMostListed);
}

// ---- as JSON

// File names are any bytes; what is no UTF-8 becomes the replacement character.
std::string json_text(std::string_view text)
{
    std::string quoted = "\"";
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = c < 0x80                ? 1
                              : c >= 0xC2 && c < 0xE0 ? 2
                              : c >= 0xE0 && c < 0xF0 ? 3
                              : c >= 0xF0 && c < 0xF5 ? 4
                                                      : 0;
        size_t have = length == 0 ? 0 : 1;
        while (have < length && i + have < text.size() &&
               (static_cast<unsigned char>(text[i + have]) & 0xC0) == 0x80)
            ++have;
        if (length == 0 || have < length) {
            quoted += "\\ufffd";
            ++i;
            continue;
        }
        if (c == '"' || c == '\\') {
            quoted += {'\\', static_cast<char>(c)};
        } else if (c < 0x20) {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
            quoted += code;
        } else {
            quoted += text.substr(i, length);
        }
        i += length;
    }
    return quoted + "\"";
}

std::string json_page(const PageInfo& page)
{
    std::string text = "{\"page\": " + std::to_string(page.page);
    if (page.code < 0)
        return text + ", \"error\": " + json_text(words_for(page.code)) +
               ", \"code\": " + std::to_string(page.code) + "}";
    const ExtraInfo& extra = page.extra;
    text += ", \"width\": " + std::to_string(page.size.width) +
            ", \"height\": " + std::to_string(page.size.height) +
            ", \"bits\": " + std::to_string(page.size.bits) +
            ", \"x_resolution\": " + std::to_string(extra.x_resolution) +
            ", \"y_resolution\": " + std::to_string(extra.y_resolution) +
            ", \"stored_y_resolution\": " + std::to_string(extra.stored_y_resolution) +
            ", \"lines_doubled\": " + (is_doubled(extra) ? "true" : "false") + "}";
    return text;
}

std::string json_file(const FileInfo& info)
{
    const std::string start = "{\"file\": " + json_text(info.name);
    if (!info.trouble.empty())
        return start + ", \"error\": " + json_text(info.trouble) + "}";
    std::string pages;
    for (const PageInfo& page : info.pages)
        pages += (pages.empty() ? "\n    " : ",\n    ") + json_page(page);
    return start + ", \"format\": " + json_text(info.format_name) +
           ", \"format_number\": " + std::to_string(info.format_number) +
           ", \"description\": " + json_text(info.format_words) +
           ", \"page_count\": " + std::to_string(info.page_count) + ",\n   \"pages\": [" + pages + "]}";
}

}  // namespace

int run_info(const Options& options)
{
    int status = kExitDone;
    std::string json;
    for (const std::string& name : options.inputs) {
        const FileInfo info = info_of_file(name, options.page);
        const bool is_whole =
            std::ranges::all_of(info.pages, [](const PageInfo& page) { return page.code >= 0; });
        if (!info.trouble.empty() || !is_whole)
            status = kExitFailure;
        if (!info.trouble.empty())
            print_error(info.trouble);
        if (options.json)
            json += (json.empty() ? "\n  " : ",\n  ") + json_file(info);
        else if (info.trouble.empty())
            print_text(info);
    }
    if (options.json)
        std::printf("[%s\n]\n", json.c_str());
    return status;
}

}  // namespace orvimg
