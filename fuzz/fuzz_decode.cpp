// Decodes any bytes: streaming and into a handle, through detection, or by one reader alone where
// ORV_FUZZ_FORMAT names a format. Everything that a decode promises is checked.
#include <cstdio>
#include <cstdlib>

#include "formats/jpeg/jpeg_header.h"
#include "frame/format_table.h"
#include "frame/rows.h"
#include "frame/scratch.h"
#include "frame/streams.h"
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

#if defined(ORV_FUZZ_FORMAT)
constexpr int kReader = ORV_FUZZ_FORMAT;
#else
constexpr int kReader = -1;
#endif

// Larger images are decoded to the callbacks alone, so that time goes into decoding.
constexpr i64 kMaxImageBytes = 1 << 22;

void require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}

// The state that loads leave behind is put back, so that a file alone does what it did among others.
void prepare()
{
#if defined(ORV_FUZZ_READING)
    orv_set_reading(ORV_FUZZ_READING);
#endif
    jpeg_quant_tables = {};
    jpeg_dc_tables = {};
    jpeg_ac_tables = {};
}

i16 stream_decode(const u8* data, u32 size, i16 page, StreamCheck& check)
{
    if constexpr (kReader < 0) {
        return IMGLOW_decompress_bitmap_mem_sized(data, size, page, check_row, &check, check_header);
    }
    // The stream only reads from the block.
    memory_stream_open_sized(const_cast<u8*>(data), size, MemoryAccess::Read);
    const u32 place = page == 0 ? 0 : kPageMarker | static_cast<u16>(page);
    PictureSink sink = {};
    sink.header_callback = check_header;
    sink.row_callback = check_row;
    sink.user_data = &check;
    const i16 result = format_table[kReader].reader(place, sink, MEMORY_STREAM);
    scratch_free_all();
    return result;
}

[[maybe_unused]] u64 handle_digest(const u8* data, u32 size, i16 page)
{
    const i16 handle = IMG_decompress_bitmap_mem_sized(data, size, page);
    if (handle < 0) {
        return static_cast<u64>(static_cast<i64>(handle));
    }
    const ImageRecord* record = IMG_get_dib_intern(handle);
    require(record->image_width > 0 && record->image_height > 0, "a handle has a size");
    const auto* header = static_cast<const ImageHeader*>(orv_block_lock(record->dib_block));
    const usize bytes = static_cast<usize>(record->row_stride) * static_cast<usize>(record->image_height) +
                        kBitmapHeaderBytes + static_cast<usize>(palette_bytes(header->info));
    const u64 digest = fnv1a(0, header, bytes);
    orv_block_unlock(record->dib_block);
    IMG_delete_bitmap(handle);
    return digest;
}

}  // namespace

int LLVMFuzzerTestOneInput(const u8* data, usize size)
{
    prepare();
    const u64 options = fnv1a(0, data, size);
    const i16 page = static_cast<i16>(options % 4 == 0 ? (options >> 8) % 5 : 0);
    const u32 bytes = static_cast<u32>(size);
    const int blocks = platform::testing::live_blocks();

    StreamCheck first;
    const i16 result = stream_decode(data, bytes, page, first);
    if (first.problem != nullptr) {
        require(false, first.problem);
    }
    require(platform::testing::live_blocks() == blocks, "a streaming decode leaves no block");

    if (row_stride_wide(first.width, first.bits) * first.height > kMaxImageBytes) {
        return 0;
    }
    prepare();  // a JPEG file may use a table ahead of where it brings it
    StreamCheck second;
    require(stream_decode(data, bytes, page, second) == result, "a second decode has the same result");
    require(second.digest == first.digest, "a second decode gives the same rows");
    if constexpr (kReader < 0) {
        const u64 digest = handle_digest(data, bytes, page);
        require(platform::testing::live_blocks() == blocks, "a load leaves no block");
        require(handle_digest(data, bytes, page) == digest, "a second load gives the same image");
    }
    return 0;
}
