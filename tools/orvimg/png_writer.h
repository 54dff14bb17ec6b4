// PNG files of pages, line by line, through libpng.
#pragma once

#include <cstdint>
#include <string>

#include "page_format.h"
#include "target.h"

struct png_struct_def;
struct png_info_def;

namespace orvimg
{

// What fails sticks; only the constructor and `commit` throw.
class PngWriter
{
public:
    PngWriter(const std::string& name, const PageFormat& page);  // throws Failure
    ~PngWriter();
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    void line(const uint8_t* bytes);
    void commit();  // throws Failure

private:
    bool start(const PageFormat& page);

    std::string name_;
    Target target_;
    FILE* file_ = nullptr;
    png_struct_def* png_ = nullptr;
    png_info_def* info_ = nullptr;
    bool has_failed_ = false;
};

}  // namespace orvimg
