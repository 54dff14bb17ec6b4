// The save path: from a handle or a caller's rows through the encoder of the format.
#include "frame/save.h"

#include <algorithm>

#include "frame/api_call.h"
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

// The byte of a row at which the crop rectangle starts: at 1 and 4 bits a left edge inside a byte moves
// right to the next one. Pixel -9 of a 1-bit row lies in byte -2, its edge in byte -1.
i32 crop_byte(i32 left, u16 bits)
{
    switch (bits) {
    case 1: return (left + 7) >> 3;
    case 4: return (left + 1) >> 1;
    case 8: return left;
    default: return left * 3;
    }
}

bool has_encoder(i16 format)
{
    return format >= 0 && format < kFormatCount && format_table[format].encoder != nullptr;
}

// Whether a save of this record can run, as far as format and size tell.
ErrorCode save_check(ImageRecord& record, i16 format)
{
    if (!has_encoder(format) || record.crop_width < 1 || record.crop_height < 1) {
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
    return (format_table[format].save_depths & depth_set(bits)) == 0;
}

i16 format_by_name(const char* file_name)
{
    const int length = file_name == nullptr ? 0 : platform::lstrlenA(file_name);
    for (i16 format = 0; length >= 3 && format < kFormatCount; ++format) {
        const char* const ending = format_table[format].ending;
        if (ending != nullptr && platform::lstrcmpiA(file_name + length - 3, ending) == 0) {
            return format;
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

// Runs the encoder of `format` on a copy of `header`, cut to what a file has of it.
i16 encode(StreamHandle stream, const ImageHeader* header, i16 format, PictureSource& source)
{
    if (!has_encoder(format)) {
        return kNotSupported;
    }
    auto* const copy = reinterpret_cast<ImageHeader*>(block_alloc(kImageHeaderBytes));
    if (copy == nullptr) {
        return kOutOfMemory;
    }
    copy->info = header->info;
    copy->info.biSize = kBitmapHeaderBytes;
    copy->info.biWidth = static_cast<i16>(header->info.biWidth);
    copy->info.biHeight = static_cast<i16>(header->info.biHeight);
    i16 result = header_check(copy->info);
    if (result == kBadData) {
        result = format_table[format].no_size;
    }
    if (result == kOk) {
        std::memcpy(copy->palette, header->palette, static_cast<usize>(palette_bytes(copy->info)));
        result = source_open(source, copy->info);
    }
    if (result == kOk) {
        result = format_table[format].encoder(stream, *copy, source);
    }
    block_free(copy);
    scratch_free_all();
    return result;
}

// Saves a caller's rows.
i16 encode_rows(StreamHandle stream, const ImageHeader* header, i16 format, RowSource row_source,
                void* user_data)
{
    const Job job;
    if (job.is_refused()) {
        return kNotSupported;
    }
    PictureSource source = {};
    source.row_source = row_source;
    source.user_data = user_data;
    return encode(stream, header, format, source);
}

// Saves the crop rectangle of a handle's image.
i16 encode_handle(i32 handle, StreamHandle stream, i16 format)
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
    ImageHeader header = {};
    std::memcpy(&header, image, kBitmapHeaderBytes + static_cast<usize>(palette_bytes(image->info)));
    header.info.biWidth = record->crop_width;
    header.info.biHeight = record->crop_height;
    PictureSource source = {};
    source.row_source = frame_row_source;
    source.user_data = &context;
    source.image = &context;
    const i16 result = encode(stream, &header, format, source);
    image_unlock(*record);
    return result;
}

constexpr StreamHandle kNoStream = -1;

// Opens the file, saves to it and closes it. A close that fails is a write that did.
i16 encode_to_file(i32 handle, const char* file_name, i16 format)
{
    const int file = open_target(file_name, format_table[format].existing);
    if (file < 0) {
        return kNotCreated;
    }
    const i16 result = encode_handle(handle, file, format);
    const bool closed = platform::_lclose(file) == 0;
    return result == kOk && !closed ? i16{kShortWrite} : result;
}

}  // namespace
}  // namespace orv

using namespace orv;

int16_t IMGLOW_save_bitmap(int32_t stream, ImageHeader* header, int16_t format, RowSource row_source,
                           void* user_data)
{
    const ApiCall call;
    return encode_rows(stream, header, format, row_source, user_data);
}

int16_t IMGLOW_save_bitmap_mem(void* block, ImageHeader* header, int16_t format, RowSource row_source,
                               void* user_data)
{
    const ApiCall call;
    if (job_is_running()) {
        return kNotSupported;
    }
    memory_stream_open(block);
    return encode_rows(MEMORY_STREAM, header, format, row_source, user_data);
}

int16_t IMGLOW_save_bitmap_mem_sized(void* block, uint32_t size, ImageHeader* header, int16_t format,
                                     RowSource row_source, void* user_data, uint32_t* written)
{
    const ApiCall call;
    if (job_is_running()) {
        return kNotSupported;
    }
    memory_stream_open_sized(block, size, MemoryAccess::Write);
    const i16 result = encode_rows(MEMORY_STREAM, header, format, row_source, user_data);
    if (written != nullptr) {
        *written = stream_size(MEMORY_STREAM);
    }
    return result;
}

int16_t IMG_save_bitmap_fd(int32_t handle, int32_t stream, int16_t format)
{
    const ApiCall call;
    const Job job(handle);
    return job.is_refused() ? i16{kNotSupported} : encode_handle(handle, stream, format);
}

int16_t IMG_save_bitmap_mem(int32_t handle, void* block, int16_t format)
{
    const ApiCall call;
    const Job job(handle);
    if (job.is_refused()) {
        return kNotSupported;
    }
    memory_stream_open(block);
    return encode_handle(handle, MEMORY_STREAM, format);
}

int16_t IMG_save_bitmap_mem_sized(int32_t handle, void* block, uint32_t size, int16_t format, uint32_t* written)
{
    const ApiCall call;
    const Job job(handle);
    if (written != nullptr) {
        *written = 0;
    }
    if (job.is_refused()) {
        return kNotSupported;
    }
    memory_stream_open_sized(block, size, MemoryAccess::Write);
    const i16 result = encode_handle(handle, MEMORY_STREAM, format);
    if (written != nullptr) {
        *written = stream_size(MEMORY_STREAM);
    }
    return result;
}

int16_t IMG_save_bitmap(int32_t handle, const char* file_name, int16_t format, int16_t page_total,
                        int32_t fine_resolution, int32_t write_rtc, int32_t report_progress)
{
    const ApiCall call;
    const Job job(handle);
    if (job.is_refused()) {
        return kNotSupported;
    }
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
        return encode_handle(handle, kNoStream, format);
    }
    return encode_to_file(handle, file_name, format);
}
