// Small TIFF files made by hand, and a caller that keeps what a reader streams to it.
#pragma once

#include <span>
#include <utility>
#include <vector>

#include "frame/load.h"
#include "orvimg32/sized.h"

namespace orv::test
{

struct Tag {
    u16 tag;
    u16 type;  // 1 BYTE, 2 ASCII, 3 SHORT, 4 LONG, 5 RATIONAL
    u32 count;
    u32 value;
};

inline constexpr u32 kDataPosition = 400;

static inline void put_number(std::vector<u8>& file, u32 value, int bytes)
{
    for (int i = 0; i < bytes; ++i) {
        file.push_back(static_cast<u8>(value >> (8 * i)));
    }
}

// Little-endian, one directory, `data` at kDataPosition.
static inline std::vector<u8> make_tiff(const std::vector<Tag>& tags, std::span<const u8> data)
{
    std::vector<u8> file = {'I', 'I', 42, 0, 8, 0, 0, 0};
    put_number(file, static_cast<u32>(tags.size()), 2);
    for (const Tag& tag : tags) {
        put_number(file, tag.tag, 2);
        put_number(file, tag.type, 2);
        put_number(file, tag.count, 4);
        put_number(file, tag.value, 4);
    }
    put_number(file, 0, 4);
    file.resize(kDataPosition);
    file.insert(file.end(), data.begin(), data.end());
    return file;
}

struct Streamed {
    i16 result = 0;
    ImageHeader header = {};
    std::vector<std::pair<int, std::vector<u8>>> rows;  // as they came
};

static inline Streamed stream_file(std::span<const u8> file, i16 page = 0)
{
    Streamed streamed;
    current_handle = 0;  // what a success gives
    const auto header = [](ImageHeader* given, void* user) {
        std::memcpy(&static_cast<Streamed*>(user)->header, given, sizeof(ImageHeader));
        return i16{0};
    };
    const auto row = [](const void* bytes, void* user, i16 number, i16 length) {
        const u8* const from = static_cast<const u8*>(bytes);
        static_cast<Streamed*>(user)->rows.emplace_back(number, std::vector<u8>(from, from + length));
        return i16{0};
    };
    streamed.result = IMGLOW_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), page, row,
                                                         &streamed, header);
    return streamed;
}

}  // namespace orv::test
