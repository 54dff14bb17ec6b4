// The load path: from a file, a stream or memory through the one reader that fits.
#include "frame/load.h"

#include <algorithm>

#include "frame/api_call.h"
#include "frame/format_table.h"
#include "frame/handles.h"
#include "frame/load_report.h"
#include "frame/scratch.h"
#include "frame/streams.h"
#include "orvimg32/extra.h"
#include "orvimg32/sized.h"
#include "platform/files.h"

namespace orv
{

i16 current_handle;
thread_local ExtraInfo extra_info;
thread_local LoadReport load_report;

u32 seek_to_picture(u32 offset_or_page, StreamHandle stream)
{
    const u32 position = is_page(offset_or_page) ? 0 : offset_or_page;
    stream_seek_to(stream, position);
    return position;
}

namespace
{

// Which picture of a stream is wanted.
struct Wanted {
    StreamHandle stream;
    u32 offset;
    i16 page;
};

// Finds the reader of the picture and runs it.
i16 read_picture(const Wanted& wanted, PictureSink& sink)
{
    if (const ContainerEntry* const container = find_container(wanted.stream); container != nullptr) {
        return container->entry.reader(page_marked(wanted.page), sink, wanted.stream);
    }
    extra_info = {};
    // No seek reaches a marked value: the picture at position 0 is meant.
    if (!is_page(wanted.offset) && !stream_seek_to(wanted.stream, wanted.offset)) {
        return kNotSupported;
    }
    const i16 format = sniff_format(wanted.stream);
    if (format == kUnknownFormat || format_table[format].reader == nullptr) {
        return kNotSupported;
    }
    extra_info.format = format;
    const u32 offset_or_page = wanted.page != 0 ? page_marked(wanted.page) : wanted.offset;
    return format_table[format].reader(offset_or_page, sink, wanted.stream);
}

// Runs a load to whoever is behind the sink.
i16 decode(const Wanted& wanted, PictureSink& sink)
{
    load_report = {.rows = 0, .rows_whole = 0, .rows_repaired = 0, .rows_missing = 0, .reason = ""};
    const StreamWindow window(wanted.stream);
    const i16 result = read_picture(wanted, sink);
    picture_end(sink, result);
    scratch_free_all();
    return result;
}

i16 decode_to_callbacks(const Wanted& wanted, RowCallback row_callback, void* user_data,
                        HeaderCallback header_callback)
{
    const Job job;
    if (job.is_refused()) {
        return kNotSupported;
    }
    PictureSink sink = {};
    sink.header_callback = header_callback;
    sink.row_callback = row_callback;
    sink.user_data = user_data;
    const i16 result = decode(wanted, sink);
    return result < 0 ? result : current_handle;
}

// Fills a new handle. A failure leaves nothing behind.
i16 decode_to_handle(const Wanted& wanted)
{
    const Job job;
    if (job.is_refused()) {
        return kNotSupported;
    }
    const i16 handle = handle_allocate();
    current_handle = handle;
    if (handle < 0) {
        return handle;
    }
    ImageHeader* header = nullptr;
    PictureSink sink = {};
    sink.header_callback = frame_header_sink;
    sink.row_callback = frame_row_sink;
    sink.user_data = &header;
    sink.fills_image = true;
    const i16 result = decode(wanted, sink);
    const bool no_picture = result >= 0 && sink.image == nullptr;
    current_handle = result < 0 ? result : no_picture ? i16{kBadData} : handle;
    if (current_handle < 0) {
        handle_release(handle);
    } else {
        image_unlock(*handle_record(handle));
    }
    return current_handle;
}

}  // namespace
}  // namespace orv

using namespace orv;

int16_t IMGLOW_decompress_bitmap(int32_t stream, uint32_t offset, int16_t page, RowCallback row_callback,
                                 void* user_data, HeaderCallback header_callback)
{
    const ApiCall call;
    return decode_to_callbacks({.stream = stream, .offset = offset, .page = page}, row_callback, user_data,
                               header_callback);
}

int16_t IMGLOW_decompress_bitmap_mem(void* block, int16_t page, RowCallback row_callback, void* user_data,
                                     HeaderCallback header_callback)
{
    const ApiCall call;
    if (job_is_running()) {
        return kNotSupported;
    }
    memory_stream_open(block);
    current_handle = decode_to_callbacks({.stream = MEMORY_STREAM, .offset = 0, .page = page}, row_callback,
                                         user_data, header_callback);
    return current_handle;
}

int16_t IMGLOW_decompress_bitmap_mem_sized(const void* block, uint32_t size, int16_t page,
                                           RowCallback row_callback, void* user_data,
                                           HeaderCallback header_callback)
{
    const ApiCall call;
    if (job_is_running()) {
        return kNotSupported;
    }
    memory_stream_open_sized(const_cast<void*>(block), size, MemoryAccess::Read);
    // Success is 0 here, never what an older load left.
    current_handle = 0;
    current_handle = decode_to_callbacks({.stream = MEMORY_STREAM, .offset = 0, .page = page}, row_callback,
                                         user_data, header_callback);
    return current_handle;
}

int16_t IMG_decompress_bitmap_fd(int32_t stream, uint32_t offset, int16_t page)
{
    const ApiCall call;
    return decode_to_handle({.stream = stream, .offset = offset, .page = page});
}

int16_t IMG_decompress_bitmap_mem(void* block, int16_t page)
{
    const ApiCall call;
    if (job_is_running()) {
        return kNotSupported;
    }
    memory_stream_open(block);
    return decode_to_handle({.stream = MEMORY_STREAM, .offset = 0, .page = page});
}

int16_t IMG_decompress_bitmap_mem_sized(const void* block, uint32_t size, int16_t page)
{
    const ApiCall call;
    if (job_is_running()) {
        return kNotSupported;
    }
    memory_stream_open_sized(const_cast<void*>(block), size, MemoryAccess::Read);
    return decode_to_handle({.stream = MEMORY_STREAM, .offset = 0, .page = page});
}

int16_t IMG_decompress_bitmap(const char* file_name)
{
    const ApiCall call;
    if (file_name == nullptr || file_name[0] == '\0') {
        return kUnreadable;
    }
    const int file = platform::_lopen(file_name, platform::OF_READ);
    if (file < 0) {
        return kUnreadable;
    }
    const i16 handle = decode_to_handle({.stream = file, .offset = 0, .page = 0});
    platform::_lclose(file);
    return handle;
}

void* IMG_get_extra_info(void)
{
    const ApiCall call;
    if (extra_info.stored_y_resolution == 0) {
        extra_info.stored_y_resolution = extra_info.y_resolution;
    }
    return &extra_info;
}

int32_t orv_load_report(struct OrvLoadReport* report)
{
    const ApiCall call;
    if (report == nullptr || report->size < 8) {
        return kBadData;
    }
    OrvLoadReport told = {.size = report->size,
                          .rows = load_report.rows,
                          .rows_whole = load_report.rows_whole,
                          .rows_repaired = load_report.rows_repaired,
                          .rows_missing = load_report.rows_missing,
                          .reason = {}};
    const char* const reason = load_report.reason == nullptr ? "" : load_report.reason;
    std::strncpy(told.reason, reason, sizeof told.reason - 1);
    std::memcpy(report, &told, std::min<usize>(report->size, sizeof told));
    return kOk;
}
