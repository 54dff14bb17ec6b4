// The load path: from a file, a stream or memory through the one reader that fits.
#include "frame/load.h"

#include "frame/detect.h"
#include "frame/format_table.h"
#include "frame/handles.h"
#include "frame/scratch.h"
#include "frame/streams.h"
#include "orvimg32/sized.h"
#include "platform/files.h"

namespace orv
{

i16 current_handle;
ExtraInfo extra_info;
i32 fax_file_open;
i32 fax_marker_seen;
i32 line_doubling;

u32 seek_to_picture(u32 offset_or_page, StreamHandle stream)
{
    const u32 position = is_page(offset_or_page) ? 0 : offset_or_page;
    stream_seek_to(stream, position);
    return position;
}

namespace
{

// Finds the reader of the picture at `offset` and runs it.
i16 read_picture(StreamHandle stream, u32 offset, i16 page, RowCallback row_callback, void* user_data,
                 HeaderCallback header_callback)
{
    // No seek reaches a marked value: the picture at position 0 is meant.
    if (!is_page(offset) && !stream_seek_to(stream, offset)) {
        return kNotSupported;
    }
    extra_info = {};
    const i16 format = sniff_format(stream);
    if (format == kUnknownFormat || format_table[format].reader == nullptr) {
        return kNotSupported;
    }
    extra_info.format = format;
    const u32 offset_or_page = page != 0 ? static_cast<u32>(i32{page}) | kPageMarker : offset;
    return format_table[format].reader(offset_or_page, row_callback, user_data, header_callback, stream);
}

// Fills a new handle by `decode`, which gets the frame's callbacks. A failure leaves nothing behind.
template <typename Decode>
i16 load_into_handle(Decode decode)
{
    const i16 handle = handle_allocate();
    current_handle = handle;
    if (handle < 0) {
        return handle;
    }
    ImageHeader* header = nullptr;
    current_handle = decode(frame_row_sink, &header, frame_header_sink);
    ImageRecord& record = *handle_record(handle);
    if (current_handle >= 0 && record.dib == nullptr) {
        current_handle = kBadData;  // a reader that found no picture
    }
    if (current_handle < 0) {
        handle_release(handle);
    } else {
        image_unlock(record);
    }
    return current_handle;
}

}  // namespace
}  // namespace orv

using namespace orv;

int16_t IMGLOW_decompress_bitmap(int32_t stream, uint32_t offset, int16_t page, RowCallback row_callback,
                                 void* user_data, HeaderCallback header_callback)
{
    fax_file_open = 0;
    i16 result;
    if (fax_is_container(stream)) {
        fax_file_open = 1;
        result = fax_read_page(page, row_callback, user_data, header_callback, stream);
    } else {
        fax_marker_seen = fax_has_marker(stream) ? 1 : 0;
        result = read_picture(stream, offset, page, row_callback, user_data, header_callback);
    }
    scratch_free_all();
    return result < 0 ? result : current_handle;
}

int16_t IMGLOW_decompress_bitmap_mem(void* block, int16_t page, RowCallback row_callback, void* user_data,
                                     HeaderCallback header_callback)
{
    memory_stream_open(block);
    current_handle = IMGLOW_decompress_bitmap(MEMORY_STREAM, 0, page, row_callback, user_data, header_callback);
    return current_handle;
}

int16_t IMGLOW_decompress_bitmap_mem_sized(const void* block, uint32_t size, int16_t page,
                                           RowCallback row_callback, void* user_data,
                                           HeaderCallback header_callback)
{
    memory_stream_open_sized(const_cast<void*>(block), size, MemoryAccess::Read);
    current_handle = IMGLOW_decompress_bitmap(MEMORY_STREAM, 0, page, row_callback, user_data, header_callback);
    return current_handle;
}

int16_t IMG_decompress_bitmap_fd(int32_t stream, uint32_t offset, int16_t page)
{
    return load_into_handle([=](RowCallback rows, void* user_data, HeaderCallback header) {
        return IMGLOW_decompress_bitmap(stream, offset, page, rows, user_data, header);
    });
}

int16_t IMG_decompress_bitmap_mem(void* block, int16_t page)
{
    return load_into_handle([=](RowCallback rows, void* user_data, HeaderCallback header) {
        return IMGLOW_decompress_bitmap_mem(block, page, rows, user_data, header);
    });
}

int16_t IMG_decompress_bitmap_mem_sized(const void* block, uint32_t size, int16_t page)
{
    return load_into_handle([=](RowCallback rows, void* user_data, HeaderCallback header) {
        return IMGLOW_decompress_bitmap_mem_sized(block, size, page, rows, user_data, header);
    });
}

int16_t IMG_decompress_bitmap(const char* file_name)
{
    if (file_name == nullptr || file_name[0] == '\0') {
        return kUnreadable;
    }
    const int file = platform::_lopen(file_name, platform::OF_READ);
    if (file < 0) {
        return kUnreadable;
    }
    const i16 handle = IMG_decompress_bitmap_fd(file, 0, 0);
    platform::_lclose(file);
    return handle;
}

void* IMG_get_extra_info(void)
{
    if (extra_info.stored_y_resolution == 0) {
        extra_info.stored_y_resolution = extra_info.y_resolution;
    }
    return &extra_info;
}
