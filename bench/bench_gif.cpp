// GIF from memory to a handle and from a handle to memory, beside giflib and Pillow: a photograph in 256
// grays, a drawing of flat areas and lines, a page of text at 300 dpi. The files that are decoded are giflib's.
// Rates are in pixels.
#include <memory>
#include <string>

#include "bench/beside.h"
#include "bench/gif_peers.h"
#include "bench/photo.h"
#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"

namespace
{

using namespace orv;
using namespace orv::bench;
using Bytes = std::vector<u8>;

GifPixels photograph()
{
    const Bytes bitmap = photo(3000, 2000, 8);
    return {3000, 2000, 256, {bitmap.begin() + kImageHeaderBytes, bitmap.end()}};
}

// Flat areas, under lines.
GifPixels drawing()
{
    GifPixels picture = {1700, 1300, 16, {}};
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const int area = (x / 210 * 7 + y / 170 * 5) % 13;
            picture.pixels.push_back(static_cast<u8>(x % 150 < 2 || (x + y) % 197 < 3 ? area + 2 : area));
        }
    }
    return picture;
}

// Strokes of a few pixels, slanted and in places bent, in words and lines.
GifPixels page()
{
    GifPixels picture = {2480, 3508, 2, {}};
    std::minstd_rand random(3);
    int word = 0;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const bool inside = y % 52 < 30 && y > 200 && y < 3300 && x > 200 && x < 2280;
            word = x % 61 == 0 ? static_cast<int>(random() % 3) : word;
            const bool ink = inside && (x + y / 52 * 17) % 160 < 131 &&
                             ((x / 27 * 7 + x * 5 + y % 52 / 3 * (11 + x / 27 % 5)) % 29 + word) / 7 == 0;
            picture.pixels.push_back(ink ? 0 : 1);
        }
    }
    return picture;
}

i16 handle_of(const Bytes& file)
{
    return IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
}

bool load(const Bytes& file)
{
    return IMG_delete_bitmap(handle_of(file)) == 0;
}

void add(const std::string& name, GifPixels picture, const char* decode_goal)
{
    const i64 pixels = std::ssize(picture.pixels);
    const auto file = std::make_shared<Bytes>(giflib_save(picture));
    const auto pillow = std::make_shared<Pillow>(*file);
    add_beside(
        "gif_decode/" + name, pixels, [=] { return load(*file); },
        {{"Pillow", [=] { return pillow->decode(); }}, {"giflib", [=] { return giflib_load(*file); }}},
        decode_goal);
    // Two colours make 1 bit, which is not written: it has 16 colours then.
    picture.colours = std::max(picture.colours, 16);
    const auto coloured = std::make_shared<GifPixels>(std::move(picture));
    const i16 handle = handle_of(giflib_save(*coloured));
    const auto block = std::make_shared<Bytes>(coloured->pixels.size() * 2);
    add_beside(
        "gif_encode/" + name, pixels,
        [=] {
            return IMG_save_bitmap_mem_sized(handle, block->data(), static_cast<u32>(block->size()),
                                             ORV_FORMAT_GIF, nullptr) == 0;
        },
        {{"Pillow", [=] { return pillow->encode(); }},
         {"giflib", [=] { return !giflib_save(*coloured).empty(); }}},
        "goal 3");
}

const bool registered = [] {
    add("photo", photograph(), "goal 4");
    add("drawing", drawing(), "goal 6");
    add("page", page(), "goal 9");
    return true;
}();

}  // namespace
