// Tracked scratch blocks, so that a reader or encoder can give up at any point: scratch_free_all runs
// at the end of every load and save.
#pragma once

#include "frame/types.h"

namespace orv
{

// A zeroed block of the LOW 16 BITS of `size` bytes, or null when memory or the 20 slots are out. Ask
// for more than 65,535 bytes from the platform instead.
u8* scratch_alloc(u32 size);

// Frees a block; an address that stands in no slot is ignored.
void scratch_free(const void* pointer);

void scratch_free_all();

}  // namespace orv
