// Pictures for the TIFF benchmarks, and files in memory for libtiff.
#pragma once

#include <tiffio.h>

#include <algorithm>
#include <random>
#include <vector>

#include "bench/photo.h"

namespace orv::bench
{

using Bytes = std::vector<u8>;

// --- Files in memory for libtiff ---

struct MemoryFile {
    Bytes bytes;
    usize position = 0;
};

inline tmsize_t memory_read(thandle_t handle, void* buffer, tmsize_t count)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    const usize there = std::min(static_cast<usize>(count), file.bytes.size() - file.position);
    std::memcpy(buffer, file.bytes.data() + file.position, there);
    file.position += there;
    return static_cast<tmsize_t>(there);
}

inline tmsize_t memory_write(thandle_t handle, void* buffer, tmsize_t count)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    file.bytes.resize(std::max(file.bytes.size(), file.position + static_cast<usize>(count)));
    std::memcpy(file.bytes.data() + file.position, buffer, static_cast<usize>(count));
    file.position += static_cast<usize>(count);
    return count;
}

inline toff_t memory_seek(thandle_t handle, toff_t offset, int origin)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    const usize from = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? file.position : file.bytes.size();
    return file.position = from + offset;
}

inline int memory_map(thandle_t handle, void** base, toff_t* size)
{
    MemoryFile& file = *static_cast<MemoryFile*>(handle);
    *base = file.bytes.data();
    *size = file.bytes.size();
    return 1;
}

inline TIFF* open_memory(MemoryFile& file, const char* mode)
{
    file.position = 0;
    return TIFFClientOpen(
        "memory", mode, &file, memory_read, memory_write, memory_seek, [](thandle_t) { return 0; },
        [](thandle_t handle) { return static_cast<toff_t>(static_cast<MemoryFile*>(handle)->bytes.size()); },
        memory_map, [](thandle_t, void*, toff_t) {});
}

// --- Pictures ---

struct Raster {
    u32 width, height;
    u16 bits;     // a sample
    u16 samples;  // a pixel
    Bytes rows;   // as TIFF has them

    usize row_bytes() const { return (usize{width} * bits * samples + 7) / 8; }
};

inline void black_box(Raster& page, u32 left, u32 top, u32 width, u32 height)
{
    for (u32 y = top; y < top + height; ++y) {
        for (u32 x = left; x < left + width; ++x) {
            page.rows[y * page.row_bytes() + x / 8] |= static_cast<u8>(0x80 >> x % 8);
        }
    }
}

// A letter of stems, bars and bowls, as its number says, 30 dots high.
inline void letter(Raster& page, u32 left, u32 top, u32 which)
{
    if (which % 2 == 0) {
        black_box(page, left, top, 4, 30);
    }
    if (which % 3 == 0) {
        black_box(page, left + 13, top + 9, 4, 21);
    }
    if (which % 5 == 0) {
        black_box(page, left, top + which % 7 * 4, 16, 3);
    }
    for (u32 y = 0; y < 21 && which % 4 != 0; ++y) {  // a ring 18 wide, its pen thicker at the sides
        const u32 rise = y < 11 ? y : 20 - y;
        const u32 inset = rise > 6 ? 0 : (6 - rise) * (6 - rise) / 4;
        const u32 pen = rise < 2 ? 9 - inset : 4;
        black_box(page, left + inset, top + 9 + y, pen, 1);
        black_box(page, left + 18 - inset - pen, top + 9 + y, which % 6 == 1 && rise > 4 ? 0 : pen, 1);
    }
}

inline Raster text_page()
{
    Raster page = {.width = 2480, .height = 3508, .bits = 1, .samples = 1, .rows = {}};
    page.rows.resize(page.row_bytes() * page.height);
    std::minstd_rand random(11);
    for (u32 top = 300; top < 3200; top += random() % 9 == 0 ? 100 : 50) {
        const u32 end = random() % 6 == 0 ? 900 + static_cast<u32>(random() % 1200) : 2230;
        for (u32 left = 250; left < end;) {
            for (u32 n = 1 + static_cast<u32>(random() % 9); n > 0 && left < end; --n, left += 22) {
                letter(page, left, top, 1 + static_cast<u32>(random() % 30));
            }
            left += 16;
        }
    }
    return page;
}

inline Raster photograph(bool palette)
{
    Raster picture = {.width = 3000, .height = 2000, .bits = 8, .samples = u16(palette ? 1 : 3), .rows = {}};
    std::minstd_rand random(7);
    for (int y = 0; y < 2000; ++y) {
        for (int x = 0; x < 3000; ++x) {
            const u8 r = photo_value(x, y, 0, random);
            const u8 g = photo_value(x, y, 1, random);
            const u8 b = photo_value(x, y, 2, random);
            if (palette) {
                picture.rows.push_back(static_cast<u8>((r & 0xE0) | (g & 0xE0) >> 3 | b >> 6));
            } else {
                picture.rows.insert(picture.rows.end(), {r, g, b});
            }
        }
    }
    return picture;
}

// The page as a scanner has it: edges that waver and specks.
inline Raster scanned_page()
{
    Raster page = text_page();
    std::minstd_rand random(5);
    for (usize i = page.row_bytes(); i < page.rows.size(); ++i) {
        const u8 edge = static_cast<u8>(page.rows[i] ^ page.rows[i - page.row_bytes()]);
        page.rows[i] = static_cast<u8>(page.rows[i] ^ (edge & random()) ^ (random() % 400 == 0 ? 0x10 : 0));
    }
    return page;
}

// A fax page of fine resolution: every other line of a page of 1728 dots.
inline Raster fax_page()
{
    const Raster page = text_page();
    Raster fax = {.width = 1728, .height = 2200, .bits = 1, .samples = 1, .rows = {}};
    for (u32 y = 0; y < fax.height; ++y) {
        const auto row = page.rows.begin() + static_cast<i64>((300 + y) * page.row_bytes() + 32);
        fax.rows.insert(fax.rows.end(), row, row + static_cast<i64>(fax.row_bytes()));
    }
    return fax;
}

// A photograph of black and white dots, diffused along the rows.
inline Raster dithered_page()
{
    Raster page = {.width = 2480, .height = 3508, .bits = 1, .samples = 1, .rows = {}};
    page.rows.resize(page.row_bytes() * page.height);
    std::minstd_rand random(7);
    for (u32 y = 0; y < page.height; ++y) {
        int error = static_cast<int>(random() % 256);
        for (u32 x = 0; x < page.width; ++x) {
            error += photo_value(static_cast<int>(x), static_cast<int>(y), 1, random);
            if (error >= 255) {
                error -= 255;
            } else {
                page.rows[y * page.row_bytes() + x / 8] |= static_cast<u8>(0x80 >> x % 8);
            }
        }
    }
    return page;
}

}  // namespace orv::bench
