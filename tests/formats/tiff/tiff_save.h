// Saves that the tests of the TIFF writers share.
#pragma once

#include <gtest/gtest.h>

#include "frame/handles.h"
#include "frame/save.h"
#include "orvimg32/sized.h"
#include "platform/files.h"
#include "tests/support/support.h"

namespace orv::test
{

using Bytes = std::vector<u8>;

// Settings and counters as at the start of the library, and no job under way.
inline void reset_jobs()
{
    save_page_total = 1;
    save_fine_resolution = 1;
    save_write_rtc = 1;
    save_report_progress = 1;
    save_page_counter = 0;
    save_percent = 0;
}

inline i16 save(int handle, const std::string& path, i16 format, i16 page_total = 1, i32 report = 0)
{
    return IMG_save_bitmap(handle, path.c_str(), format, page_total, 1, 1, report);
}

inline Bytes saved(int handle, i16 format)
{
    Bytes block(1 << 22);
    u32 written = 0;
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, block.data(), 1 << 22, format, &written), 0);
    block.resize(written);
    return block;
}

inline void set_resolution(int handle, int x, int y)
{
    ImageRecord& record = *handle_record(handle);
    BITMAPINFOHEADER& info = image_lock(record)->info;
    info.biXPelsPerMeter = x;
    info.biYPelsPerMeter = y;
    image_unlock(record);
}

inline i16 count_pages(const std::string& path)
{
    const int stream = platform::_lopen(path.c_str(), platform::OF_READ);
    const i16 pages = IMG_tiff_page_count(stream);
    platform::_lclose(stream);
    return pages;
}

}  // namespace orv::test
