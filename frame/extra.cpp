// The small functions of extra.h that belong to no other file.
#include "orvimg32/extra.h"

#include "frame/api_call.h"
#include "frame/format_table.h"
#include "frame/handles.h"
#include "frame/save.h"
#include "frame/streams.h"

namespace orv
{
namespace
{

// One row of an image as red, green, blue, 255.
void row_to_rgba(const u8* row, const ImageHeader& header, u8* out)
{
    const i32 bits = header.info.biBitCount;
    const i32 width = header.info.biWidth;
    if (bits == 24) {
        for (i32 x = 0; x < width; ++x, row += 3, out += 4) {
            const u8 pixel[4] = {row[2], row[1], row[0], 255};
            std::memcpy(out, pixel, sizeof pixel);
        }
        return;
    }
    const u32 most = (1U << bits) - 1;
    for (i32 x = 0; x < width; ++x, out += 4) {
        const i32 bit = x * bits;
        const RGBQUAD& colour = header.palette[row[bit / 8] >> (8 - bits - bit % 8) & most];
        const u8 pixel[4] = {colour.rgbRed, colour.rgbGreen, colour.rgbBlue, 255};
        std::memcpy(out, pixel, sizeof pixel);
    }
}

}  // namespace
}  // namespace orv

using namespace orv;

int32_t orv_version(void)
{
    return ORV_VERSION;
}

void orv_reset_progress(void)
{
    const ApiCall call;
    save_page_counter = 0;
    save_percent = 0;
}

int16_t orv_page_count_mem(const void* block, uint32_t size)
{
    const ApiCall call;
    const MemoryStreamKeeper keeper;
    memory_stream_open_sized(const_cast<void*>(block), size, MemoryAccess::Read);
    const ContainerEntry* const container = find_container(MEMORY_STREAM);
    if (container != nullptr) {
        return container->entry.page_count(MEMORY_STREAM);
    }
    const i16 format = sniff_format(MEMORY_STREAM);
    if (format == kUnknownFormat) {
        return kNotSupported;
    }
    const PageCounter page_count = format_table[format].page_count;
    return page_count == nullptr ? i16{1} : page_count(MEMORY_STREAM);
}

int32_t orv_to_rgba(int32_t handle, void* out, uint32_t stride)
{
    const ApiCall call;
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    const u64 least = u64{4} * static_cast<u32>(record->image_width);
    if (out == nullptr || stride < least) {
        return kBadData;
    }
    ImageHeader* const header = image_lock(*record);
    if (header == nullptr) {
        return kOutOfMemory;
    }
    const u8* const rows = image_pixels(header);
    for (i32 y = 0; y < record->image_height; ++y) {
        const i64 storage_row = record->image_height - 1 - y;
        row_to_rgba(rows + storage_row * record->row_stride, *header,
                    static_cast<u8*>(out) + usize{stride} * static_cast<u32>(y));
    }
    image_unlock(*record);
    return kOk;
}
