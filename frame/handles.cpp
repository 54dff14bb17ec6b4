#include "frame/handles.h"

#include <bit>

#include "frame/api_call.h"
#include "frame/rows.h"
#include "platform/gdi.h"
#include "platform/memory.h"

namespace orv
{

ImageRecord** handle_table;
i32 handle_table_block;
i16 handle_count;

namespace
{

constexpr i16 kMostHandles = 32767;
constexpr i32 kSetBits = 64;

// Which slots hold an image: a bit for each, and a bit for each full word of those, so that the lowest free
// one is found at once. Written with the slots; all 0 without a table.
u64 taken[(kMostHandles + kSetBits) / kSetBits];
u64 full[std::size(taken) / kSetBits];
i32 live_handles;

void slot_take(i32 slot)
{
    const i32 word = slot / kSetBits;
    taken[word] |= u64{1} << (slot % kSetBits);
    if (taken[word] == ~u64{0}) {
        full[word / kSetBits] |= u64{1} << (word % kSetBits);
    }
    ++live_handles;
}

void slot_give_back(i32 slot)
{
    const i32 word = slot / kSetBits;
    taken[word] &= ~(u64{1} << (slot % kSetBits));
    full[word / kSetBits] &= ~(u64{1} << (word % kSetBits));
    --live_handles;
}

// 32,767 where none is free.
i16 lowest_free_slot()
{
    usize i = 0;
    while (i + 1 < std::size(full) && full[i] == ~u64{0}) {
        ++i;
    }
    const i32 word = static_cast<i32>(i) * kSetBits + std::countr_one(full[i]);
    return static_cast<i16>(word * kSetBits + std::countr_one(taken[word]));
}

void drop_table()
{
    platform::LocalUnlock(handle_table_block);
    platform::LocalFree(handle_table_block);
    handle_table = nullptr;
    handle_table_block = 0;
    handle_count = 0;
}

// Takes an empty slot out of the count if it is the last; the table goes with its last image.
void drop_slot(i32 slot)
{
    if (slot == handle_count - 1) {
        --handle_count;
    }
    if (live_handles == 0) {
        drop_table();
    }
}

bool make_table()
{
    handle_table_block = platform::LocalAlloc(platform::GMEM_SCRATCH, 2 * sizeof(ImageRecord*));
    handle_table = static_cast<ImageRecord**>(platform::LocalLock(handle_table_block));
    handle_count = handle_table == nullptr ? 0 : 1;
    return handle_table != nullptr;
}

// Makes room for one slot more. The table stays as it is where that fails.
bool grow_table()
{
    if (handle_count == kMostHandles) {
        return false;
    }
    const usize bytes = (static_cast<usize>(handle_count) + 2) * sizeof(ImageRecord*);
    platform::LocalUnlock(handle_table_block);
    const bool grown = platform::LocalReAlloc(handle_table_block, bytes, platform::GMEM_MOVEABLE) != 0;
    handle_table = static_cast<ImageRecord**>(platform::LocalLock(handle_table_block));
    if (grown) {
        handle_table[handle_count] = nullptr;
        ++handle_count;
    }
    return grown;
}

ImageRecord* make_record()
{
    const platform::BlockHandle block = platform::GlobalAlloc(platform::GMEM_SCRATCH_ZERO, sizeof(ImageRecord));
    return static_cast<ImageRecord*>(platform::GlobalLock(block));
}

void free_block(i32 block)
{
    platform::GlobalUnlock(block);
    platform::GlobalFree(block);
}

}  // namespace

#if UINTPTR_MAX == 0xFFFFFFFF
static_assert(sizeof(ImageRecord) == 76);
#else
static_assert(sizeof(ImageRecord) == 88 && offsetof(ImageRecord, dib) == 64);
#endif

ImageHandle handle_allocate()
{
    if (handle_count == 0 && !make_table()) {
        return kOutOfMemory;
    }
    const i16 slot = lowest_free_slot();
    if (slot == handle_count && !grow_table()) {
        return kOutOfMemory;
    }
    handle_table[slot] = make_record();
    if (handle_table[slot] == nullptr) {
        drop_slot(slot);
        return kOutOfMemory;
    }
    slot_take(slot);
    return slot;
}

i16 handle_release(i32 handle)
{
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    if (record->dib != nullptr) {
        if (record->lut_palette != nullptr) {
            free_block(record->lut_palette_block);
        }
        free_block(record->dib_block);
    }
    if (record->palette_object != 0) {
        platform::DeleteObject(record->palette_object);
    }
    free_block(platform::GlobalHandle(record));
    handle_table[handle] = nullptr;
    slot_give_back(handle);
    drop_slot(handle);
    return kOk;
}

ImageRecord* handle_record(i32 handle)
{
    return handle < 0 || handle >= handle_count ? nullptr : handle_table[handle];
}

ImageHeader* image_lock(ImageRecord& record)
{
    record.dib = platform::GlobalLock(record.dib_block);
    return static_cast<ImageHeader*>(record.dib);
}

void image_unlock(ImageRecord& record)
{
    platform::GlobalUnlock(record.dib_block);
}

u8* image_pixels(ImageHeader* header)
{
    return reinterpret_cast<u8*>(header) + kBitmapHeaderBytes + palette_bytes(header->info);
}

}  // namespace orv

using namespace orv;

int16_t IMG_delete_bitmap(int32_t handle)
{
    const ApiCall call;
    if (handle_in_use(handle)) {
        return kNotSupported;
    }
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    image_lock(*record);
    return handle_release(handle);
}

int32_t IMG_bitmap_info(int32_t handle, uint16_t* width, uint16_t* height, uint16_t* bits)
{
    const ApiCall call;
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    const BITMAPINFOHEADER& header = image_lock(*record)->info;
    *width = static_cast<u16>(header.biWidth);
    *height = static_cast<u16>(header.biHeight);
    *bits = header.biBitCount;
    image_unlock(*record);
    return record->dib_block;
}

ImageRecord* IMG_get_dib_intern(int32_t handle)
{
    const ApiCall call;
    return handle_record(handle);
}

int16_t IMG_get_croprect(int32_t handle, int16_t* left, int16_t* top, int16_t* width, int16_t* height)
{
    const ApiCall call;
    const ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    *left = static_cast<i16>(record->crop_left);
    *top = static_cast<i16>(record->crop_top);
    *width = static_cast<i16>(record->crop_width);
    *height = static_cast<i16>(record->crop_height);
    return kOk;
}

int16_t IMG_set_croprect(int32_t handle, int16_t left, int16_t top, int16_t width, int16_t height)
{
    const ApiCall call;
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    record->crop_left = left;
    record->crop_top = top;
    record->crop_width = width;
    record->crop_height = height;
    return kOk;
}

int16_t IMGLOW_get_bitmap_header(int32_t handle, void* buffer)
{
    const ApiCall call;
    ImageRecord* const record = handle_record(handle);
    if (record == nullptr) {
        return kBadHandle;
    }
    ImageHeader* const header = image_lock(*record);
    std::memcpy(buffer, header, kBitmapHeaderBytes + static_cast<usize>(palette_bytes(header->info)));
    image_unlock(*record);
    return kOk;
}
