// Makes a picture from the bytes, saves a rectangle of it in every format that has an encoder and loads
// it again. Where a format keeps pictures exactly, every pixel is compared.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "frame/format_table.h"
#include "frame/rows.h"
#include "orvimg32/host.h"
#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/stream_check.h"

using namespace orv;
using namespace orv::test;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, usize size);

namespace
{

constexpr u32 kFileBytes = 1 << 20;
constexpr u16 kDepths[] = {1, 4, 8, 24};

// Which depths come back pixel for pixel; one line a format. What is not here must load in some size.
struct SaveRule {
    i16 format;
    u8 exact;    // DepthSet: colours come back
    bool loads;  // false: nothing here reads what it writes
    u32 unseen;  // bytes at the end that may be missing unnoticed
};
constexpr SaveRule kRules[] = {
    {ORV_FORMAT_BMP, kAllDepths, true, 0},
    {ORV_FORMAT_BMP_RLE, kDepth4 | kDepth8, true, 2},
    {ORV_FORMAT_PCX, kAllDepths, true, 0},
    {ORV_FORMAT_DCX, kAllDepths, true, 0},
    {ORV_FORMAT_TGA, kDepth8 | kDepth24, true, 0},
    {ORV_FORMAT_EPS, 0, false, 0},
    {ORV_FORMAT_PICT, kAllDepths, true, 0},
    {ORV_FORMAT_WPG, kDepth4 | kDepth8, true, 0},
    {ORV_FORMAT_GIF, kDepth4 | kDepth8, true, 0},
    {ORV_FORMAT_WMF, kAllDepths, true, 0},
    // No TIFF has the palette of a picture of 1 bit.
    {ORV_FORMAT_TIFF, kDepth4 | kDepth8 | kDepth24, true, 0},
    {ORV_FORMAT_TIFF_LZW, kDepth4 | kDepth8 | kDepth24, true, 0},
};

void require(bool holds, const char* promise, int format)
{
    if (!holds) {
        std::fprintf(stderr, "broken, format %d: %s\n", format, promise);
        std::abort();
    }
}

struct Rectangle {
    i16 left, top, width, height;
};

// A packed image of the options' size and depth: palette and pixels repeat the bytes.
std::vector<u8> make_packed(const u8* data, usize size, u64 options)
{
    BITMAPINFOHEADER info = {};
    info.biSize = kBitmapHeaderBytes;
    info.biBitCount = kDepths[options % 4];
    info.biWidth = 1 + static_cast<i32>((options >> 2) % (options >> 20 & 1 ? 40 : 300));
    info.biHeight = 1 + static_cast<i32>((options >> 12) % 40);
    info.biPlanes = 1;
    const usize stride = static_cast<usize>(row_stride_wide(info.biWidth, info.biBitCount));
    const usize palette = static_cast<usize>(palette_bytes(info));
    std::vector<u8> packed(kBitmapHeaderBytes + palette + stride * static_cast<usize>(info.biHeight));
    std::memcpy(packed.data(), &info, sizeof info);
    for (usize i = 0; i < palette; i++) {
        packed[kBitmapHeaderBytes + i] = i % 4 == 3 ? 0 : static_cast<u8>(i * 37 + (options >> 24));
    }
    for (usize i = 0; i < packed.size() - kBitmapHeaderBytes - palette && size > 0; i++) {
        packed[kBitmapHeaderBytes + palette + i] = data[i % size];
    }
    return packed;
}

// The colours inside a rectangle of a handle's picture, top row first; 0xRRGGBB.
std::vector<u32> colours(i16 handle, const Rectangle& part)
{
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const auto* header = static_cast<const ImageHeader*>(orv_block_lock(record.dib_block));
    const usize bits = header->info.biBitCount;
    const u8* rows = reinterpret_cast<const u8*>(header) + kBitmapHeaderBytes + palette_bytes(header->info);
    std::vector<u32> result;
    for (i32 y = part.top; y < part.top + part.height; y++) {
        const u8* row =
            rows + static_cast<usize>(record.image_height - 1 - y) * static_cast<usize>(record.row_stride);
        for (usize x = static_cast<usize>(part.left); x < static_cast<usize>(part.left + part.width); x++) {
            const u8* bytes = row + x * bits / 8;
            RGBQUAD colour = {bytes[0], bits == 24 ? bytes[1] : u8{0}, bits == 24 ? bytes[2] : u8{0}, 0};
            if (bits != 24) {
                colour = header->palette[*bytes >> (8 - bits - x * bits % 8) & ((1u << bits) - 1)];
            }
            result.push_back(static_cast<u32>(colour.rgbRed << 16 | colour.rgbGreen << 8 | colour.rgbBlue));
        }
    }
    orv_block_unlock(record.dib_block);
    return result;
}

SaveRule rule_of(i16 format)
{
    const auto* rule = std::find_if(std::begin(kRules), std::end(kRules),
                                    [format](const SaveRule& each) { return each.format == format; });
    return rule == std::end(kRules) ? SaveRule{format, 0, true, 0} : *rule;
}

void save_and_load(i16 handle, i16 format, const Rectangle& part, u64 options)
{
    static std::vector<u8> file(kFileBytes);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const int depth = static_cast<int>(options % 4);
    u32 written = 0;
    const i16 result = IMG_save_bitmap_mem_sized(handle, file.data(), kFileBytes, format, &written);
    if ((format_table[format].save_depths >> depth & 1) == 0) {
        require(result == kNotSupported && written == 0, "a depth that it does not take is refused", format);
        return;
    }
    require(written <= kFileBytes, "no more is written than there is room", format);
    const SaveRule rule = rule_of(format);
    if (result < 0) {
        require((rule.exact >> depth & 1) == 0, "a save of a depth that it takes succeeds", format);
        return;
    }
    const u32 whole = written;
    const u32 room = static_cast<u32>(options >> 32) % whole;
    std::vector<u8> small(room);
    const i16 squeezed = IMG_save_bitmap_mem_sized(handle, small.data(), room, format, &written);
    require(written <= room && (squeezed < 0 || room + rule.unseen >= whole), "too small a block is told of",
            format);
    require(IMG_save_bitmap_mem_sized(handle, file.data(), kFileBytes, format, &written) == kOk,
            "a save works again behind one that failed", format);
    if (!rule.loads) {
        return;
    }
    const i16 loaded = IMG_decompress_bitmap_mem_sized(file.data(), written, 0);
    require(loaded >= 0, "what was saved loads", format);
    if ((rule.exact >> depth & 1) != 0) {
        const ImageRecord& copy = *IMG_get_dib_intern(loaded);
        require(copy.image_width == part.width && copy.image_height == part.height, "the size comes back",
                format);
        require(colours(loaded, {0, 0, part.width, part.height}) == colours(handle, part), "colours come back",
                format);
    }
    IMG_delete_bitmap(loaded);
    require(record.crop_width == part.width, "a save leaves the record alone", format);
}

}  // namespace

int LLVMFuzzerTestOneInput(const u8* data, usize size)
{
    const int blocks = platform::testing::live_blocks();
    const u64 options = fnv1a(0x9E3779B97F4A7C15, data, size);
    const std::vector<u8> packed = make_packed(data, size, options);
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
    require(handle >= 0, "an image is made", -1);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    Rectangle part{0, 0, static_cast<i16>(record.image_width), static_cast<i16>(record.image_height)};
    if (options >> 40 & 1) {
        // Left edges start on a byte: a multiple of 8 pixels.
        part.left = static_cast<i16>((options >> 41) % static_cast<u64>(part.width) & ~u64{7});
        part.top = static_cast<i16>((options >> 50) % static_cast<u64>(part.height));
        part.width = static_cast<i16>(part.width - part.left);
        part.height = static_cast<i16>(part.height - part.top);
        IMG_set_croprect(handle, part.left, part.top, part.width, part.height);
    }
    for (i16 format = 0; format < kFormatCount; format++) {
        if (format_table[format].encoder != nullptr) {
            save_and_load(handle, format, part, options);
        }
    }
    IMG_delete_bitmap(handle);
    require(platform::testing::live_blocks() == blocks, "saving and loading leave no block", -1);
    return 0;
}
