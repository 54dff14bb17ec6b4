// Makes a picture from the bytes, saves a rectangle of it in every format that has an encoder and loads
// it again. Where a format keeps pictures exactly, every pixel is compared, zeros outside the picture. In one
// of the formats it is saved to a file too, with a write or a close that fails.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "frame/format_table.h"
#include "frame/rows.h"
#include "orvimg32/extra.h"
#include "orvimg32/host.h"
#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/stream_check.h"

using namespace orv;
using namespace orv::test;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, usize size);

namespace
{

constexpr u32 kFileBytes = 1 << 18;
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
    info.biWidth = 1 + static_cast<i32>((options >> 2) % (options >> 20 & 15 ? 24 : 300));
    info.biHeight = 1 + static_cast<i32>((options >> 12) % 12);
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

// The colours inside a rectangle of a handle's picture, top row first; 0xRRGGBB. What is outside reads as
// zero bytes.
std::vector<u32> colours(i16 handle, const Rectangle& part)
{
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    const auto* header = static_cast<const ImageHeader*>(orv_block_lock(record.dib_block));
    const i32 bits = header->info.biBitCount;
    const u8* rows = reinterpret_cast<const u8*>(header) + kBitmapHeaderBytes + palette_bytes(header->info);
    std::vector<u32> result;
    for (i32 y = part.top; y < part.top + part.height; y++) {
        const bool inside = y >= 0 && y < record.image_height;
        const u8* row = rows + static_cast<i64>(record.image_height - 1 - y) * record.row_stride;
        const auto byte = [&](i32 at) { return inside && at >= 0 && at < record.row_stride ? row[at] : u8{0}; };
        for (i32 x = part.left; x < part.left + part.width; x++) {
            const i32 at = x * bits >> 3;
            RGBQUAD colour = {byte(at), byte(at + 1), byte(at + 2), 0};
            if (bits != 24) {
                colour = header->palette[byte(at) >> (8 - bits - (x * bits & 7)) & ((1 << bits) - 1)];
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

// A write that is a byte short or a close that fails is told of.
void save_to_failing_file(i16 handle, u64 options)
{
    const i16 format = static_cast<i16>((options >> 6) % kFormatCount);
    char name[40];
    std::snprintf(name, sizeof name, "fuzz_save.%d", static_cast<int>(getpid()));
    const auto save = [&] {
        std::remove(name);
        const i16 result = IMG_save_bitmap(handle, name, format, 1, 1, 1, 1);
        orv_reset_progress();
        return result;
    };
    const u64 closes = platform::testing::close_count();
    const u64 writes = platform::testing::write_count();
    if (save() == kOk) {
        if ((options >> 60 & 1) != 0) {
            platform::testing::fail_close(static_cast<int>(platform::testing::close_count() - closes));
        } else {
            const u64 nth = (options >> 44) % (platform::testing::write_count() - writes);
            platform::testing::shorten_write(1 + static_cast<int>(nth));
        }
        require(save() == kShortWrite, "a file that could not be written is told of", format);
    }
    std::remove(name);
}

}  // namespace

int LLVMFuzzerTestOneInput(const u8* data, usize size)
{
    const int blocks = platform::testing::live_blocks();
    const u64 options = fnv1a(0x9E3779B97F4A7C15, data, size);
    const std::vector<u8> packed = make_packed(data, size, options);
    orv_reset_progress();
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
    require(handle >= 0, "an image is made", -1);
    const ImageRecord& record = *IMG_get_dib_intern(handle);
    Rectangle part{0, 0, static_cast<i16>(record.image_width), static_cast<i16>(record.image_height)};
    if (options >> 40 & 1) {
        // Left edges start on a byte: a multiple of 8 pixels. The rectangle may lie outside, and be larger.
        part.left = static_cast<i16>((static_cast<i32>(options >> 41 & 63) - 32) * 8);
        part.top = static_cast<i16>(static_cast<i32>(options >> 50 & 31) - 16);
        part.width = static_cast<i16>(1 + (options >> 55) % static_cast<u64>(2 * part.width));
        part.height = static_cast<i16>(1 + (options >> 57) % static_cast<u64>(2 * part.height));
        IMG_set_croprect(handle, part.left, part.top, part.width, part.height);
    }
    for (i16 format = 0; format < kFormatCount; format++) {
        if (format_table[format].encoder != nullptr) {
            save_and_load(handle, format, part, options);
        }
    }
    save_to_failing_file(handle, options);
    IMG_delete_bitmap(handle);
    require(platform::testing::live_blocks() == blocks, "saving and loading leave no block", -1);
    return 0;
}
