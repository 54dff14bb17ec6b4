// The HandleTable: the records of all open images.
#pragma once

#include "frame/errors.h"
#include "frame/types.h"

namespace orv
{

// Written by handle_allocate and handle_release alone. The table's block has room for handle_count + 1
// pointers; it exists while handle_count is above 0.
extern ImageRecord** handle_table;
extern i32 handle_table_block;
extern i16 handle_count;

// An index into the table, lowest free one first.
using ImageHandle = i16;

// Finds or makes a slot with a zeroed record: the handle, or kOutOfMemory.
ImageHandle handle_allocate();

// Frees what the record owns and its slot. The image's block, if there is one, is locked by the caller
// and `dib` current. kOk, or kBadHandle.
i16 handle_release(i32 handle);

// The record of a live handle, or null.
ImageRecord* handle_record(i32 handle);

// Locks the image's block and refreshes `dib`: the header, or null where the image has no block.
ImageHeader* image_lock(ImageRecord& record);
void image_unlock(ImageRecord& record);

// The first pixel row behind a header and its palette.
u8* image_pixels(ImageHeader* header);

}  // namespace orv
