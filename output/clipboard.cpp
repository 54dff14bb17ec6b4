// What the clipboard holds, to a BMP file. An image there is hostile input: it is measured against its block
// before the file is made.
#include <algorithm>
#include <cstdlib>

#include "frame/api_call.h"
#include "frame/blocks.h"
#include "frame/bytes.h"
#include "output/device_header.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "platform/user.h"

namespace orv
{
namespace
{

// --- The file ---
//
// Byte 0 "BM", 2 size of the file, 6 two words 0, 10 where the rows start; then header, palette and rows, the
// bottom row first.
constexpr usize kFileHeaderBytes = 14;
constexpr u16 kMagic = 0x4D42;
constexpr i16 kWritten = 1;

class Target
{
public:
    explicit Target(const char* name) : file_(platform::_lcreat(name, 0)) {}
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    [[nodiscard]] bool is_open() const { return file_ >= 0; }
    // A short write sticks.
    void write(const void* bytes, usize count)
    {
        const u32 wanted = static_cast<u32>(count);
        is_whole_ = is_whole_ && platform::_lwrite(file_, bytes, wanted) == static_cast<i32>(wanted);
    }
    i16 close(i16 result)
    {
        is_whole_ = platform::_lclose(file_) == 0 && is_whole_;
        return result == kWritten && !is_whole_ ? i16{kShortWrite} : result;
    }

private:
    int file_;
    bool is_whole_ = true;
};

void write_headers(Target& target, const ImageHeader& header)
{
    const usize palette = static_cast<usize>(palette_bytes(header.info));
    const u64 stride = static_cast<u64>(row_stride_wide(header.info.biWidth, header.info.biBitCount));
    const usize start = kFileHeaderBytes + kBitmapHeaderBytes + palette;
    u8 file_header[kFileHeaderBytes] = {};
    store_le16(file_header, kMagic);
    store_le32(file_header + 2, static_cast<u32>(start + stride * static_cast<u64>(header.info.biHeight)));
    store_le32(file_header + 10, static_cast<u32>(start));
    target.write(file_header, sizeof file_header);
    target.write(&header, kBitmapHeaderBytes + palette);
}

// --- An image in a block ---

struct PackedImage {
    ImageHeader header;  // as the file gets it
    const u8* rows;      // the file's first row
    i64 pitch;           // from a row to the file's next one
    usize stride;
};

bool is_carried(u32 bits)
{
    return bits == 1 || bits == 4 || bits == 8 || bits == 24;
}

// Where the rows start, by the entries that the block says it has.
u64 rows_offset(const BITMAPINFOHEADER& info, i16 header_bytes)
{
    const u64 full = info.biBitCount == 24 ? 0 : u64{1} << info.biBitCount;
    return static_cast<u64>(header_bytes) + (info.biClrUsed != 0 ? info.biClrUsed : full) * 4;
}

// The palette's room is filled with what stands behind the first 40 bytes, zeros where the block ends: the file
// begins as the block does, whatever size its header states.
void copy_palette_room(PackedImage& image, std::span<const u8> block)
{
    const usize room = static_cast<usize>(palette_bytes(image.header.info));
    std::memcpy(image.header.palette, block.data() + kBitmapHeaderBytes,
                std::min(room, block.size() - kBitmapHeaderBytes));
}

ErrorCode measure_image(std::span<const u8> block, PackedImage& image)
{
    std::memset(&image.header, 0, sizeof image.header);
    if (block.size() < kBitmapHeaderBytes) {
        return kNoBitmap;
    }
    BITMAPINFOHEADER& info = image.header.info;
    std::memcpy(&info, block.data(), kBitmapHeaderBytes);
    const i16 header_bytes = static_cast<i16>(info.biSize & 0xFFFF);
    if (header_bytes < static_cast<i16>(kBitmapHeaderBytes) || info.biWidth < 1 || info.biHeight == 0 ||
        info.biHeight == INT32_MIN || !is_carried(info.biBitCount) || info.biCompression != 0) {
        return kNoBitmap;
    }
    const u64 stride = static_cast<u64>(row_stride_wide(info.biWidth, info.biBitCount));
    const u64 height = static_cast<u64>(std::llabs(i64{info.biHeight}));
    const u64 start = rows_offset(info, header_bytes);
    if (start > block.size() || (block.size() - start) / stride < height) {
        return kNoBitmap;
    }
    copy_palette_room(image, block);
    image.stride = static_cast<usize>(stride);
    image.rows = block.data() + start;
    image.pitch = static_cast<i64>(stride);
    if (info.biHeight < 0) {  // top row first
        image.rows += stride * (height - 1);
        image.pitch = -image.pitch;
        info.biHeight = static_cast<i32>(height);
    }
    return kOk;
}

i16 write_rows(Target& target, const PackedImage& image)
{
    for (i64 r = 0; r < image.header.info.biHeight; ++r) {
        target.write(image.rows + r * image.pitch, image.stride);
    }
    return kWritten;
}

i16 save_image(const char* file_name, i32 clipboard_block)
{
    const auto* const bytes = static_cast<const u8*>(platform::GlobalLock(clipboard_block));
    if (bytes == nullptr) {
        return kOutOfMemory;
    }
    PackedImage image;
    i16 result = measure_image({bytes, platform::GlobalSize(clipboard_block)}, image);
    if (result == kOk) {
        Target target(file_name);
        result = kOutOfMemory;
        if (target.is_open()) {
            write_headers(target, image.header);
            result = target.close(write_rows(target, image));
        }
    }
    platform::GlobalUnlock(clipboard_block);
    return result;
}

// --- A bitmap ---

// The colours in use on the screen, where there are any: those of a bitmap of its kind.
void take_screen_colours(HDC screen, ImageHeader& header)
{
    if (header.info.biBitCount > 8) {
        return;
    }
    platform::PALETTEENTRY entries[256];
    const u32 count = platform::GetSystemPaletteEntries(screen, 0, 1u << header.info.biBitCount, entries);
    for (u32 i = 0; i < count; ++i) {
        header.palette[i] = {.rgbBlue = entries[i].peBlue,
                             .rgbGreen = entries[i].peGreen,
                             .rgbRed = entries[i].peRed,
                             .rgbReserved = 0};
    }
}

i16 write_bitmap(Target& target, HBITMAP bitmap, ImageHeader& header, u8* row)
{
    const HWND window = platform::GetActiveWindow();
    const HDC screen = platform::GetDC(window);
    const HDC device = platform::CreateCompatibleDC(screen);
    if (device == 0) {
        platform::ReleaseDC(window, screen);
        return kOutOfMemory;
    }
    platform::GetDIBits(device, bitmap, 0, 1, nullptr, &header, platform::DIB_RGB_COLORS);
    take_screen_colours(screen, header);
    write_headers(target, header);
    const usize stride = static_cast<usize>(row_stride_wide(header.info.biWidth, header.info.biBitCount));
    for (u32 r = 0; r < static_cast<u32>(header.info.biHeight); ++r) {
        platform::GetDIBits(device, bitmap, r, 1, row, &header, platform::DIB_RGB_COLORS);
        target.write(row, stride);
    }
    platform::DeleteDC(device);
    platform::ReleaseDC(window, screen);
    return kWritten;
}

i16 save_bitmap(const char* file_name, HBITMAP bitmap)
{
    platform::BITMAP description;
    if (platform::GetObjectA(bitmap, sizeof description, &description) == 0) {
        return kNoBitmap;
    }
    Target target(file_name);
    if (!target.is_open()) {
        return kOutOfMemory;
    }
    auto* const header = reinterpret_cast<ImageHeader*>(block_alloc(kDeviceHeaderBytes));
    u8* const row = block_alloc(static_cast<usize>(description.bmWidthBytes));
    i16 result = kOutOfMemory;
    if (header != nullptr && row != nullptr) {
        fill_device_header(*header, description);
        result = write_bitmap(target, bitmap, *header, row);
    }
    block_free(header);
    block_free(row);
    return target.close(result);
}

i16 save_what_is_there(const char* file_name)
{
    if (platform::IsClipboardFormatAvailable(platform::CF_DIB) != 0) {
        return save_image(file_name, platform::GetClipboardData(platform::CF_DIB));
    }
    if (platform::IsClipboardFormatAvailable(platform::CF_BITMAP) != 0) {
        return save_bitmap(file_name, platform::GetClipboardData(platform::CF_BITMAP));
    }
    return kNoBitmap;
}

}  // namespace
}  // namespace orv

using namespace orv;

int16_t IMG_save_clipboard(const char* file_name, HWND owner)
{
    const ApiCall call;
    if (platform::OpenClipboard(owner) == 0) {
        return kNoBitmap;
    }
    const i16 result = file_name == nullptr ? i16{kOutOfMemory} : save_what_is_there(file_name);
    platform::CloseClipboard();
    return result;
}
