// The frame's own callbacks, which put a picture under a handle, and the handle made from a bitmap in
// memory, which uses them.
#include <algorithm>

#include "frame/api_call.h"
#include "frame/handles.h"
#include "frame/load.h"
#include "platform/memory.h"

namespace orv
{
namespace
{

constexpr u32 SRCCOPY = 0x00CC0020;

void reset_record(ImageRecord& record, const BITMAPINFOHEADER& header)
{
    record.crop_left = 0;
    record.crop_top = 0;
    record.crop_width = header.biWidth;
    record.crop_height = header.biHeight;
    record.reserved_word = 0;
    record.palette_object = 0;
    record.lut_palette_block = 0;
    record.raster_op = SRCCOPY;
    record.image_width = header.biWidth;
    record.image_height = header.biHeight;
    record.row_stride = RowStride(static_cast<i16>(header.biWidth), static_cast<i16>(header.biBitCount));
}

// A packed bitmap's header and palette, wherever its palette starts and however it is aligned.
ErrorCode copy_header(const ImageHeader* image, ImageHeader& copy, i16& header_bytes)
{
    std::memset(&copy, 0, sizeof copy);
    std::memcpy(&copy.info, image, kBitmapHeaderBytes);
    if (copy.info.biCompression != 0) {
        return kNotSupported;
    }
    header_bytes = static_cast<i16>(copy.info.biSize & 0xFFFF);
    if (header_bytes < static_cast<i16>(kBitmapHeaderBytes)) {
        return kBadData;
    }
    const ErrorCode checked = header_check(copy.info);
    if (checked == kOk) {
        std::memcpy(copy.palette, reinterpret_cast<const u8*>(image) + header_bytes,
                    static_cast<usize>(palette_bytes(copy.info)));
        copy.info.biSize = kBitmapHeaderBytes;
    }
    return checked;
}

}  // namespace

i16 frame_header_sink(ImageHeader* header, void* user_data)
{
    *static_cast<ImageHeader**>(user_data) = header;
    ImageRecord* const record = handle_record(current_handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    const ErrorCode checked = header_check(header->info);
    if (checked != kOk) {
        return checked;
    }
    reset_record(*record, header->info);
    const usize head = kBitmapHeaderBytes + static_cast<usize>(palette_bytes(header->info));
    const usize stride = static_cast<usize>(record->row_stride);
    const usize height = static_cast<usize>(header->info.biHeight);
    const usize rows = (height + 3) & ~usize{3};
    const i32 block =
        platform::GlobalAlloc(platform::GMEM_MOVEABLE | platform::GMEM_UNCLEARED, head + rows * stride);
    void* const address = platform::GlobalLock(block);
    if (address == nullptr) {
        return kOutOfMemory;
    }
    std::memset(static_cast<u8*>(address) + head + height * stride, 0, (rows - height) * stride);
    record->dib_block = block;
    record->dib = address;
    std::memcpy(address, header, head);
    return 1;
}

i16 frame_row_sink(const void* row, void* /*user_data*/, i16 row_number, i16 length)
{
    const ImageRecord* const record = handle_record(current_handle);
    if (record == nullptr || record->dib == nullptr || row_number < 0 || row_number >= record->image_height ||
        length <= 0) {
        return 0;
    }
    u8* const pixels = image_pixels(static_cast<ImageHeader*>(record->dib));
    const i64 place = i64{record->image_height - row_number - 1} * record->row_stride;
    std::memcpy(pixels + place, row, static_cast<usize>(std::min<i32>(length, record->row_stride)));
    return 0;
}

}  // namespace orv

using namespace orv;

int16_t IMG_create_handle(const ImageHeader* image)
{
    const ApiCall call;
    if (image == nullptr) {
        return kBadData;
    }
    ImageHeader header;
    i16 header_bytes;
    const ErrorCode checked = copy_header(image, header, header_bytes);
    if (checked != kOk) {
        return checked;
    }
    current_handle = handle_allocate();
    if (current_handle < 0) {
        return current_handle;
    }
    const i16 handle = current_handle;
    ImageHeader* seen;
    const i16 result = frame_header_sink(&header, &seen);
    if (result < 0) {
        handle_release(handle);
        current_handle = result;
        return result;
    }
    ImageRecord& record = *handle_record(handle);
    const u8* const rows = reinterpret_cast<const u8*>(image) + header_bytes + palette_bytes(header.info);
    for (i32 r = 0; r < record.image_height; ++r) {
        frame_row_sink(rows + i64{r} * record.row_stride, &seen, static_cast<i16>(record.image_height - r - 1),
                       static_cast<i16>(record.row_stride));
    }
    image_unlock(record);
    return handle;
}
