// What orvimg info finds out, and its JSON.
#pragma once

#include <string>
#include <vector>

#include "picture_file.h"

namespace orvimg
{

// What is told of one page.
struct PageInfo {
    int page = 1;
    int code = ORV_OK;    // why it can't be read
    std::string trouble;  // the same in words
    bool has_header = false;
    Size size;
    ExtraInfo extra = {};
    Condition condition;
};

struct FileInfo {
    std::string name;
    std::string trouble;  // why nothing can be told
    int code = ORV_OK;
    std::string format_name;
    std::string format_words;
    std::string sampling;  // of JPEG
    int format_number = -1;
    int page_count = 0;
    std::vector<PageInfo> pages;
};

bool is_doubled(const ExtraInfo& extra);

// One array of all files, or a line each.
class JsonFiles
{
public:
    explicit JsonFiles(bool is_lines) : is_lines_(is_lines) {}
    void add(const FileInfo& info);
    void finish() const;

private:
    bool is_lines_;
    bool has_any_ = false;
};

}  // namespace orvimg
