#include "tests/formats/bitmap/job.h"

#include <gtest/gtest.h>

#include "formats/bitmap/pcx.h"
#include "frame/bytes.h"
#include "frame/handles.h"
#include "frame/save.h"
#include "orvimg32/sized.h"

namespace orv::test
{

void reset_jobs()
{
    save_page_total = 1;
    save_fine_resolution = 1;
    save_page_counter = 0;
    save_percent = 0;
    dcx_writing = 0;
}

void set_palette(int handle, const std::vector<u32>& colours)
{
    ImageHeader* header = image_lock(*handle_record(handle));
    for (usize i = 0; i < colours.size(); ++i) {
        header->palette[i] = {.rgbBlue = static_cast<u8>(colours[i]),
                              .rgbGreen = static_cast<u8>(colours[i] >> 8),
                              .rgbRed = static_cast<u8>(colours[i] >> 16),
                              .rgbReserved = 0};
    }
    image_unlock(*handle_record(handle));
}

std::vector<u8> save_to_memory(int handle, i16 format)
{
    std::vector<u8> block(4 << 20);
    u32 written = 0;
    const u32 size = static_cast<u32>(block.size());
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, block.data(), size, format, &written), 0);
    block.resize(written);
    return block;
}

std::vector<int> save_reporting(int handle, const std::string& path, i16 format, i16 page_total)
{
    std::vector<int> reports;
    IMG_set_callback([](i16 percent, void* user) { static_cast<std::vector<int>*>(user)->push_back(percent); },
                     &reports);
    const i16 result = IMG_save_bitmap(handle, path.c_str(), format, page_total, 1, 0, 0);
    IMG_set_callback(nullptr, nullptr);
    reports.push_back(result);
    return reports;
}

std::vector<u8> pcx_file(const PcxParts& parts)
{
    std::vector<u8> file(kPcxHeaderBytes + parts.code.size());
    file[0] = 10;
    file[1] = parts.version;
    file[2] = 1;
    file[3] = parts.bits;
    store_le16(&file[8], parts.width - 1U);
    store_le16(&file[10], parts.height - 1U);
    store_le16(&file[12], parts.hdpi);
    store_le16(&file[14], parts.vdpi);
    std::copy(parts.colours.begin(), parts.colours.end(), file.begin() + 16);
    file[65] = parts.planes;
    store_le16(&file[66], parts.bytes_per_line);
    store_le16(&file[68], parts.palette_info);
    std::copy(parts.code.begin(), parts.code.end(), file.begin() + kPcxHeaderBytes);
    return file;
}

}  // namespace orv::test
