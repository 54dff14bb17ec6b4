// PWG raster files, as PWG 5102.4 has them: what driverless printers take.
#pragma once

#include <cstdint>
#include <vector>

#include "page_format.h"

namespace orvimg
{

// Codes lines as they come and keeps one of them. A write that fails sticks; nothing throws, since lines come
// out of the library's callbacks.
class PwgWriter
{
public:
    explicit PwgWriter(int descriptor);

    void begin_page(const PageFormat& page);
    void line(const uint8_t* bytes);
    void end_page();
    void finish();  // writes what is held back

    int trouble() const { return trouble_; }  // errno of the write that failed, or 0

private:
    void put_header(const PageFormat& page);
    void put_line();
    void put(const uint8_t* bytes, size_t count);
    void flush();

    int descriptor_;
    int trouble_ = 0;
    std::vector<uint8_t> held_back_;
    std::vector<uint8_t> last_;  // the line that is being counted
    size_t unit_ = 1;            // bytes that a run counts in
    int times_ = 0;              // how often `last_` has come
};

}  // namespace orvimg
