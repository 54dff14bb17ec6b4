// Writer of DCX: each save makes one page in a temporary file and adds it behind the pages that are
// there. The table's entry is written last, so that a save that fails leaves the pages as they were.
#include <algorithm>
#include <array>

#include "formats/bitmap/dcx.h"
#include "formats/bitmap/pcx.h"
#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/progress.h"
#include "frame/scratch.h"
#include "platform/files.h"

namespace orv
{

i32 dcx_writing;

namespace
{

// --- Records and constants ---

constexpr const char* kTemporaryName = "temp.pcx";
constexpr u32 kCopyBytes = 4000;

// Where the new page goes.
struct Target {
    u32 entry;  // position of its entry in the table
    u32 size;   // bytes that the file has
    u32 page;   // position of the page
};

// --- The target's table, no pixels ---

// Finds the first free entry of a file that has pages. False when none is left ahead of the pages.
bool entry_find(const u8* head, Target& target)
{
    DcxTable table = dcx_table_start();
    u32 lowest = kDcxHeadBytes;
    while (table.position < kDcxHeadBytes) {
        const u32 entry = load_le32(head + table.position);
        if (!dcx_table_take(table, entry)) {
            break;
        }
        lowest = std::min(lowest, entry);
    }
    target.entry = table.position;
    return table.position + kDcxEntryBytes <= lowest;
}

// Looks at what the stream holds and settles where the page goes. A file without the magic is a new
// one, and so is all memory.
ErrorCode target_find(StreamHandle stream, Target& target)
{
    target = {.entry = kDcxEntryBytes, .size = 0, .page = kDcxHeadBytes};
    if (stream == MEMORY_STREAM) {
        return kOk;
    }
    std::array<u8, kDcxHeadBytes> head{};
    stream_seek(stream, 0, kFromStart);
    const u32 size = stream_size(stream);
    const u32 got = stream_read(stream, head.data(), kDcxHeadBytes);
    if (got < std::min(size, kDcxHeadBytes)) {
        return kBadData;  // pages that can't be seen can't be kept
    }
    if (load_le32(head.data()) != kDcxMagic) {
        return kOk;
    }
    target.size = size;
    target.page = std::max(size, kDcxHeadBytes);
    return entry_find(head.data(), target) ? kOk : kBadData;
}

// --- Progress ---

// Adds the page's share of `points` of a whole job.
void percent_add(i32 points)
{
    const i32 total = page_total();
    const i32 top = save_page_counter * 100 / total;
    save_percent = static_cast<i16>(std::min(save_percent + save_page_counter * points / total, top));
    progress_fire(save_percent);
}

void page_start()
{
    save_page_counter = static_cast<i16>(save_page_counter + 1);
    dcx_writing = 1;
    if (save_page_counter == 1) {
        save_percent = 0;
        progress_fire(1);
    }
}

void page_finish()
{
    if (save_page_counter != page_total()) {
        save_percent = static_cast<i16>(save_page_counter * 100 / page_total());
        progress_fire(save_percent);
        return;
    }
    progress_fire(100);
    save_percent = 0;
    save_page_counter = 0;
    dcx_writing = 0;
}

// --- Pages ---

bool write_at(StreamHandle stream, u32 position, const void* bytes, u32 count)
{
    return stream_seek_to(stream, position) && stream_write_all(stream, bytes, count);
}

// Fills the head of a new or short file with zeros up to where the page goes.
bool head_fill(StreamHandle stream, const Target& target)
{
    const std::array<u8, kDcxHeadBytes> zeros{};
    return target.page == target.size || write_at(stream, target.size, zeros.data(), target.page - target.size);
}

bool entry_write(StreamHandle stream, const Target& target)
{
    std::array<u8, kDcxEntryBytes * 2> bytes{};
    store_le32(bytes.data(), kDcxMagic);
    store_le32(bytes.data() + kDcxEntryBytes, target.page);
    if (target.size == 0) {
        return write_at(stream, 0, bytes.data(), bytes.size());
    }
    return write_at(stream, target.entry, bytes.data() + kDcxEntryBytes, kDcxEntryBytes);
}

// Moves `position` behind the page.
ErrorCode page_copy(StreamHandle temporary, StreamHandle stream, u32& position)
{
    u8* block = scratch_alloc(kCopyBytes);
    if (block == nullptr) {
        return kOutOfMemory;
    }
    if (!stream_seek_to(temporary, 0) || !stream_seek_to(stream, position)) {
        return kShortWrite;
    }
    u32 got = kCopyBytes;
    while (got == kCopyBytes) {
        got = stream_read(temporary, block, kCopyBytes);
        if (!stream_write_all(stream, block, got)) {
            return kShortWrite;
        }
        position += got;
    }
    scratch_free(block);
    return kOk;
}

ErrorCode page_add(StreamHandle temporary, StreamHandle stream, const Target& target)
{
    percent_add(5);
    if (!head_fill(stream, target)) {
        return kShortWrite;
    }
    percent_add(10);
    u32 end = target.page;
    const ErrorCode copied = page_copy(temporary, stream, end);
    if (copied != kOk) {
        return copied;
    }
    if (!entry_write(stream, target)) {
        return kShortWrite;
    }
    stream_seek_to(stream, end);
    percent_add(5);
    return kOk;
}

}  // namespace

// --- Entry point ---

i16 dcx_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    Target target{};
    const ErrorCode found = target_find(stream, target);
    if (found != kOk) {
        return found;
    }
    page_start();
    platform::OFSTRUCT made{};
    const StreamHandle temporary = platform::OpenFile(kTemporaryName, &made, platform::OF_CREATE);
    if (temporary < 0) {
        return kNotCreated;
    }
    i16 result = pcx_write_image(temporary, header, source);
    if (result >= 0) {
        result = page_add(temporary, stream, target);
    }
    platform::_lclose(temporary);
    platform::OpenFile(kTemporaryName, &made, platform::OF_DELETE);
    if (result >= 0) {
        page_finish();
    }
    return result;
}

}  // namespace orv
