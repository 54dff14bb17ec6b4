// WMF of 3000 by 2000 pixels from memory to a handle and back. No library at hand reads or writes bitmaps in
// metafiles. Rates are in bytes of pixels.
#include <memory>
#include <string>

#include "bench/beside.h"
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
constexpr usize kRoom = 32 << 20;

Bytes file_of(i16 handle, i16 format)
{
    Bytes file(kRoom);
    u32 written = 0;
    IMG_save_bitmap_mem_sized(handle, file.data(), static_cast<u32>(file.size()), format, &written);
    file.resize(written);
    return file;
}

// The metafile of this picture with the run-length codes that BMP has for it in the place of its rows.
Bytes coded_file(i16 handle)
{
    constexpr i64 kInMetafile = 98;
    constexpr i64 kInBitmap = 14;
    Bytes file = file_of(handle, ORV_FORMAT_WMF);
    const Bytes bitmap = file_of(handle, ORV_FORMAT_BMP_RLE);
    file.resize(kInMetafile);
    file.insert(file.end(), bitmap.begin() + kInBitmap, bitmap.end());
    return file;
}

bool load(const Bytes& file)
{
    const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
    IMG_delete_bitmap(handle);
    return handle >= 0;
}

i16 handle_of(const Bytes& bitmap)
{
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
}

// Flat areas of `side` pixels, some grainy.
Bytes areas(int bits, int side)
{
    Bytes bitmap = photo(kWidth, kHeight, 8);
    const usize palette = usize{4} << bits;
    const usize stride = static_cast<usize>(row_stride_wide(kWidth, bits));
    Bytes result(bitmap.begin(), bitmap.begin() + static_cast<i64>(40 + palette));
    result[14] = static_cast<u8>(bits);
    result.resize(40 + palette + stride * kHeight);
    for (int y = 0; y < kHeight; ++y) {
        u8* const row = result.data() + 40 + palette + stride * static_cast<usize>(y);
        for (int x = 0; x < kWidth; ++x) {
            const u8 photo = bitmap[kImageHeaderBytes + static_cast<usize>(y * kWidth + x)];
            const int value = (x / side + y / side) % 5 == 0 ? photo : (x / side * 31 + y / side * 17);
            row[x * bits / 8] |= static_cast<u8>((value & ((1 << bits) - 1)) << (8 - bits - x * bits % 8));
        }
    }
    return result;
}

void add(const std::string& name, const Bytes& file, i64 bytes, const char* goal)
{
    add_beside(
        "wmf_decode/" + name, bytes, [=] { return load(file); }, {}, goal);
}

const bool registered = [] {
    const i16 colour = handle_of(photo(kWidth, kHeight, 24));
    add("plain_24", file_of(colour, ORV_FORMAT_WMF), i64{kWidth} * kHeight * 3, "goal 1 GB/s");
    const auto block = std::make_shared<Bytes>(kRoom);
    add_beside(
        "wmf_encode/24", i64{kWidth} * kHeight * 3,
        [=] {
            return IMG_save_bitmap_mem_sized(colour, block->data(), static_cast<u32>(block->size()),
                                             ORV_FORMAT_WMF, nullptr) == 0;
        },
        {}, "");
    add("rle_8", coded_file(handle_of(areas(8, 40))), i64{kWidth} * kHeight, "goal 500 MB/s");
    add("rle_4", coded_file(handle_of(areas(4, 40))), i64{kWidth} * kHeight / 2, "goal 500 MB/s");
    return true;
}();

}  // namespace
