// The save path: from a handle or a caller's rows through the encoder of the format.
#include "frame/save.h"

#include <algorithm>

#include "frame/blocks.h"
#include "frame/format_table.h"
#include "frame/handles.h"
#include "frame/scratch.h"
#include "frame/streams.h"
#include "orvimg32/sized.h"
#include "platform/files.h"

namespace orv
{

i16 save_page_total = 1;
i32 save_fine_resolution = 1;
i32 save_write_rtc = 1;
i32 save_report_progress = 1;
i16 save_page_counter;
i16 save_percent;

namespace
{

// What frame_row_source reads from.
struct RowContext {
    const u8* pixels;  // the locked image's rows
    i32 stride;        // bytes of a stored row
    i32 height;        // rows of the image
    i32 x_bytes;       // crop rectangle's left edge in a row
    i32 y_rows;        // storage row of the crop rectangle's bottom line
};

// The crop rectangle starts on a byte: at 1 and 4 bits its left edge moves right to the next one.
i32 crop_byte(i32 left, u16 bits)
{
    switch (bits) {
    case 1: return (left + 7) / 8;
    case 4: return (left + 1) / 2;
    case 8: return left;
    default: return left * 3;
    }
}

// Copies a row of the crop rectangle. What lies outside the image reads as zero bytes.
void frame_row_source(void* user_data, void* destination, i16 row, i16 length)
{
    const RowContext& context = *static_cast<const RowContext*>(user_data);
    const i32 storage_row = row + context.y_rows;
    const i32 from = std::clamp(context.x_bytes, 0, context.stride);
    const i32 to = std::clamp(context.x_bytes + length, 0, context.stride);
    const bool inside = storage_row >= 0 && storage_row < context.height && from < to;
    if (!inside || to - from < length) {
        std::memset(destination, 0, static_cast<usize>(length));
    }
    if (inside) {
        std::memcpy(static_cast<u8*>(destination) + (from - context.x_bytes),
                    context.pixels + i64{storage_row} * context.stride + from, static_cast<usize>(to - from));
    }
}

bool is_written(i16 format)
{
    return format >= 0 && format < kFormatCount && format_table[format].encoder != nullptr;
}

// Whether a save of this record can run, as far as format and size tell.
ErrorCode save_check(ImageRecord& record, i16 format)
{
    if (!is_written(format) || record.crop_width < 1 || record.crop_height < 1) {
        return kNotSupported;
    }
    BITMAPINFOHEADER header = image_lock(record)->info;
    image_unlock(record);
    header.biWidth = record.crop_width;
    header.biHeight = record.crop_height;
    return header_check(header);
}

// True where the format does not take the picture's depth.
bool refuses_depth(ImageRecord& record, i16 format)
{
    const u16 bits = image_lock(record)->info.biBitCount;
    image_unlock(record);
    const u8 depth = bits == 1 ? kDepth1 : bits == 4 ? kDepth4 : bits == 8 ? kDepth8 : kDepth24;
    return (format_table[format].save_depths & depth) == 0;
}

struct NamedFormat {
    const char* ending;
    i16 format;
};

constexpr NamedFormat kNamedFormats[] = {
    {"tif", ORV_FORMAT_TIFF}, {"bmp", ORV_FORMAT_BMP},  {"pcx", ORV_FORMAT_PCX}, {"tga", ORV_FORMAT_TGA},
    {"gif", ORV_FORMAT_GIF},  {"wpg", ORV_FORMAT_WPG},  {"wmf", ORV_FORMAT_WMF}, {"dcx", ORV_FORMAT_DCX},
    {"jpg", ORV_FORMAT_JPEG}, {"pct", ORV_FORMAT_PICT}, {"eps", ORV_FORMAT_EPS},
};

i16 format_by_name(const char* file_name)
{
    const int length = file_name == nullptr ? 0 : platform::lstrlenA(file_name);
    if (length >= 3) {
        for (const NamedFormat& named : kNamedFormats) {
            if (platform::lstrcmpiA(file_name + length - 3, named.ending) == 0) {
                return named.format;
            }
        }
    }
    return ORV_FORMAT_BY_NAME;
}

// A file to save to, or -1. One that gets a page is opened as it is; where it can't be read it is made
// only if there is none, so that no pages are lost.
int open_target(const char* file_name, ExistingFile existing)
{
    if (file_name == nullptr || file_name[0] == '\0') {
        return -1;
    }
    if (existing == ExistingFile::Replaced) {
        return platform::_lcreat(file_name, 0);
    }
    const int file = platform::_lopen(file_name, platform::OF_READ);
    if (file < 0) {
        platform::OFSTRUCT made;
        return platform::OpenFile(file_name, &made, platform::OF_CREATE);
    }
    platform::_lclose(file);
    return platform::_lopen(file_name, platform::OF_READWRITE);
}

// The header of what a save of this record writes, in a block of its own; null when memory is out.
ImageHeader* cropped_header(const ImageRecord& record, const ImageHeader* image)
{
    auto* const copy = reinterpret_cast<ImageHeader*>(block_alloc(kImageHeaderBytes));
    if (copy != nullptr) {
        std::memcpy(copy, image, kBitmapHeaderBytes + static_cast<usize>(palette_bytes(image->info)));
        copy->info.biWidth = record.crop_width;
        copy->info.biHeight = record.crop_height;
    }
    return copy;
}

// Saves the crop rectangle of a handle's image by `encode`, which gets header, row source and context.
template <typename Encode>
i16 save_handle(i32 handle, i16 format, Encode encode)
{
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    const ErrorCode checked = save_check(*record, format);
    if (checked != kOk) {
        return checked;
    }
    ImageHeader* const image = image_lock(*record);
    RowContext context = {.pixels = image_pixels(image),
                          .stride = record->row_stride,
                          .height = record->image_height,
                          .x_bytes = crop_byte(record->crop_left, image->info.biBitCount),
                          .y_rows = record->image_height - record->crop_height - record->crop_top};
    ImageHeader* const header = cropped_header(*record, image);
    const i16 result = header == nullptr ? i16{kOutOfMemory} : encode(header, frame_row_source, &context);
    block_free(header);
    image_unlock(*record);
    return result;
}

constexpr StreamHandle kNoStream = -1;

}  // namespace
}  // namespace orv

using namespace orv;

int16_t IMGLOW_save_bitmap(int32_t stream, ImageHeader* header, int16_t format, RowSource row_source,
                           void* user_data)
{
    i16 result = kNotSupported;
    if (is_written(format)) {
        const ErrorCode checked = header_check(header->info);
        result =
            checked == kOk ? format_table[format].encoder(stream, header, row_source, user_data) : i16{checked};
    }
    scratch_free_all();
    return result;
}

int16_t IMGLOW_save_bitmap_mem(void* block, ImageHeader* header, int16_t format, RowSource row_source,
                               void* user_data)
{
    memory_stream_open(block);
    return IMGLOW_save_bitmap(MEMORY_STREAM, header, format, row_source, user_data);
}

int16_t IMGLOW_save_bitmap_mem_sized(void* block, uint32_t size, ImageHeader* header, int16_t format,
                                     RowSource row_source, void* user_data, uint32_t* written)
{
    memory_stream_open_sized(block, size, MemoryAccess::Write);
    const i16 result = IMGLOW_save_bitmap(MEMORY_STREAM, header, format, row_source, user_data);
    if (written != nullptr) {
        *written = stream_size(MEMORY_STREAM);
    }
    return result;
}

int16_t IMG_save_bitmap_fd(int32_t handle, int32_t stream, int16_t format)
{
    return save_handle(handle, format, [=](ImageHeader* header, RowSource row_source, void* context) {
        return IMGLOW_save_bitmap(stream, header, format, row_source, context);
    });
}

int16_t IMG_save_bitmap_mem(int32_t handle, void* block, int16_t format)
{
    return save_handle(handle, format, [=](ImageHeader* header, RowSource row_source, void* context) {
        return IMGLOW_save_bitmap_mem(block, header, format, row_source, context);
    });
}

int16_t IMG_save_bitmap_mem_sized(int32_t handle, void* block, uint32_t size, int16_t format, uint32_t* written)
{
    if (written != nullptr) {
        *written = 0;
    }
    return save_handle(handle, format, [=](ImageHeader* header, RowSource row_source, void* context) {
        return IMGLOW_save_bitmap_mem_sized(block, size, header, format, row_source, context, written);
    });
}

int16_t IMG_save_bitmap(int32_t handle, const char* file_name, int16_t format, int16_t page_total,
                        int32_t fine_resolution, int32_t write_rtc, int32_t report_progress)
{
    save_page_total = page_total;
    save_fine_resolution = fine_resolution;
    save_write_rtc = write_rtc;
    save_report_progress = report_progress;
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    if (format == ORV_FORMAT_BY_NAME) {
        format = format_by_name(file_name);
    }
    const ErrorCode checked = save_check(*record, format);
    if (checked != kOk) {
        return checked;
    }
    if (refuses_depth(*record, format)) {
        // The encoder refuses by itself, with the reports that it makes, and no target is touched.
        return IMG_save_bitmap_fd(handle, kNoStream, format);
    }
    const int file = open_target(file_name, format_table[format].existing);
    if (file < 0) {
        return kNotCreated;
    }
    const i16 result = IMG_save_bitmap_fd(handle, file, format);
    platform::_lclose(file);
    return result;
}
