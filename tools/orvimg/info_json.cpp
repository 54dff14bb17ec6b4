#include <cstdio>
#include <nlohmann/json.hpp>

#include "info.h"
#include "report.h"

namespace orvimg
{

namespace
{

using Json = nlohmann::ordered_json;

Json of_page(const PageInfo& page)
{
    Json json = {{"page", page.page}};
    if (page.code < 0) {
        json["error"] = with_code(page.trouble, page.code);
        json["code"] = page.code;
        return json;
    }
    json["width"] = page.size.width;
    json["height"] = page.size.height;
    json["bits"] = page.size.bits;
    json["x_resolution"] = page.extra.x_resolution;
    json["y_resolution"] = page.extra.y_resolution;
    json["stored_y_resolution"] = page.extra.stored_y_resolution;
    json["lines_doubled"] = is_doubled(page.extra);
    json["rows_missing"] = page.condition.missing;
    json["rows_repaired"] = page.condition.repaired;
    if (page.condition.is_damaged()) {
        json["damage"] = page.condition.words();
    }
    return json;
}

Json of_file(const FileInfo& info)
{
    Json json = {{"file", info.name}};
    if (!info.trouble.empty()) {
        json["error"] = info.trouble;
        json["code"] = info.code;
        return json;
    }
    json["format"] = info.format_name;
    json["format_number"] = info.format_number;
    json["description"] = info.format_words;
    if (!info.sampling.empty()) {
        json["sampling"] = info.sampling;
    }
    json["page_count"] = info.page_count;
    json["pages"] = Json::array();
    for (const PageInfo& page : info.pages) {
        json["pages"].push_back(of_page(page));
    }
    return json;
}

}  // namespace

// File names are any bytes; what is no UTF-8 becomes the replacement character.
void JsonFiles::add(const FileInfo& info)
{
    const std::string text = of_file(info).dump(-1, ' ', false, Json::error_handler_t::replace);
    std::printf("%s%s%s", is_lines_ ? "" : has_any_ ? ",\n  " : "[\n  ", text.c_str(), is_lines_ ? "\n" : "");
    has_any_ = true;
}

void JsonFiles::finish() const
{
    if (!is_lines_) {
        std::fputs(has_any_ ? "\n]\n" : "[]\n", stdout);
    }
}

}  // namespace orvimg
