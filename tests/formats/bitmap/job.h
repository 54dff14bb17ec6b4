// Saves and files that the tests of PCX, DCX and TGA share.
#pragma once

#include <gtest/gtest.h>

#include "formats/bitmap/pcx.h"
#include "frame/bytes.h"
#include "frame/handles.h"
#include "orvimg32/sized.h"
#include "tests/support/support.h"

namespace orv::test
{

using Bytes = std::vector<u8>;

// Settings and counters as at the start of the library, and no job under way.
inline void reset_jobs()
{
    save_page_total = 1;
    save_fine_resolution = 1;
    save_page_counter = 0;
    save_percent = 0;
    dcx_writing = 0;
}

inline i16 save(int handle, const std::string& path, i16 format, i16 page_total = 1, i32 fine = 1)
{
    return IMG_save_bitmap(handle, path.c_str(), format, page_total, fine, 0, 0);
}

// The percentages that a save to a file reports, its result last.
inline std::vector<int> save_reporting(int handle, const std::string& path, i16 format, i16 page_total)
{
    std::vector<int> reports;
    IMG_set_callback([](i16 n, void* user) { static_cast<std::vector<int>*>(user)->push_back(n); }, &reports);
    reports.push_back(save(handle, path, format, page_total));
    IMG_set_callback(nullptr, nullptr);
    return reports;
}

// The file that a save to memory gives.
inline Bytes saved(int handle, i16 format)
{
    Bytes block(1 << 20);
    u32 written = 0;
    EXPECT_EQ(IMG_save_bitmap_mem_sized(handle, block.data(), 1 << 20, format, &written), 0);
    block.resize(written);
    return block;
}

inline i16 load(const Bytes& file)
{
    return IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
}

// Replaces the first colours of an image, 0xRRGGBB.
inline void set_palette(int handle, const std::vector<u32>& colours)
{
    ImageRecord& record = *handle_record(handle);
    std::memcpy(image_lock(record)->palette, colours.data(), colours.size() * 4);
    image_unlock(record);
}

// A header with these bytes at these places, and what stands behind it.
struct Field {
    usize at;
    Bytes bytes;
};
inline Bytes file_of(Bytes header, const std::vector<Field>& fields, const Bytes& rest)
{
    for (const Field& field : fields) {
        std::copy(field.bytes.begin(), field.bytes.end(),
                  header.begin() + static_cast<std::ptrdiff_t>(field.at));
    }
    header.resize(header.size() + rest.size());
    std::copy(rest.begin(), rest.end(), header.end() - std::ssize(rest));
    return header;
}

}  // namespace orv::test
