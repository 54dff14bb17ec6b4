// PICT of 3000 by 2000 pixels, from memory to a handle and from a handle to memory, beside FreeImage's reader
// and GraphicsMagick's writer. The pictures: the synthetic photograph of photo.h, a drawing of flat areas and
// lines, a page of text. FreeImage writes behind its rows below 8 bits, and so has no part in those.
#include <memory>
#include <string>

#include "bench/beside.h"
#include "bench/peers.h"
#include "bench/photo.h"
#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"

namespace
{

using namespace orv;
using namespace orv::bench;
using Bytes = std::vector<u8>;

constexpr int kWidth = 3000;
constexpr int kHeight = 2000;
constexpr usize kBlockBytes = usize{kWidth} * kHeight * 5;

// Flat areas under lines.
int drawing_value(int x, int y)
{
    const int area = (x / 210 * 7 + y / 170 * 5) % 13;
    return x % 50 < 2 || (x + y) % 97 < 3 ? area + 1 : area;
}

// Strokes of a few pixels in words and lines.
int text_value(int x, int y)
{
    const bool inside = y % 40 < 24 && x > 200 && x < kWidth - 200 && x % 90 < 75;
    return inside && (x * 7 + y / 3 * 11) % 23 < 6 ? 1 : 0;
}

Bytes drawn(int bits, int (*value_at)(int x, int y))
{
    const Bytes head = photo(1, 1, 8);
    const usize palette = usize{4} << bits;
    const usize stride = static_cast<usize>(row_stride_wide(kWidth, bits));
    Bytes bitmap(40 + palette + stride * kHeight);
    std::copy_n(head.begin(), 40 + palette, bitmap.begin());
    auto* const info = reinterpret_cast<BITMAPINFOHEADER*>(bitmap.data());
    info->biWidth = kWidth;
    info->biHeight = kHeight;
    info->biBitCount = static_cast<u16>(bits);
    for (int y = 0; y < kHeight; ++y) {
        u8* const row = bitmap.data() + 40 + palette + stride * static_cast<usize>(y);
        for (int x = 0; x < kWidth; ++x) {
            row[x * bits / 8] |= static_cast<u8>(value_at(x, y) << (8 - bits - x * bits % 8));
        }
    }
    return bitmap;
}

bool save(i16 handle, i16 format, Bytes& file, u32& written)
{
    return IMG_save_bitmap_mem_sized(handle, file.data(), static_cast<u32>(file.size()), format, &written) == 0;
}

Bytes file_of(i16 handle, i16 format)
{
    Bytes file(kBlockBytes);
    u32 written = 0;
    save(handle, format, file, written);
    file.resize(written);
    return file;
}

bool load(const Bytes& file)
{
    const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
    IMG_delete_bitmap(handle);
    return handle >= 0;
}

void add(const std::string& name, int bits, const Bytes& bitmap)
{
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
    const auto file = std::make_shared<Bytes>(file_of(handle, ORV_FORMAT_PICT));
    const auto block = std::make_shared<Bytes>(kBlockBytes);
    const Bytes bmp = file_of(handle, ORV_FORMAT_BMP);
    void* const magick = graphicsmagick_picture(bmp.data(), bmp.size());
    const i64 bytes = i64{kWidth} * kHeight * bits / 8;
    std::vector<Peer> readers;
    if (bits >= 8) {
        readers = {{"FreeImage", [=] { return freeimage_load(file->data(), file->size(), PeerFormat::Pict); }}};
    }
    add_beside(
        "pict_decode/" + name, bytes, [=] { return load(*file); }, readers, "goal 2");
    add_beside(
        "pict_encode/" + name, bytes,
        [=] {
            u32 written = 0;
            return save(handle, ORV_FORMAT_PICT, *block, written);
        },
        {{"GraphicsMagick", [=] { return graphicsmagick_save(magick, "PICT"); }}}, "goal 10");
}

const bool registered = [] {
    add("photo_24", 24, photo(kWidth, kHeight, 24));
    add("photo_8", 8, photo(kWidth, kHeight, 8));
    add("drawing_8", 8, drawn(8, drawing_value));
    add("drawing_4", 4, drawn(4, drawing_value));
    add("text_1", 1, drawn(1, text_value));
    return true;
}();

}  // namespace
