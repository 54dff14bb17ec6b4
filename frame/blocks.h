// Working memory straight from the platform, for buffers that may pass the 65,535 bytes of a scratch
// block or that live outside the load and save paths. Whoever takes one releases it on every path.
#pragma once

#include "frame/types.h"

namespace orv
{

// A locked, zeroed block, or null.
u8* block_alloc(usize bytes);

// Releases it; null is ignored.
void block_free(const void* pointer);

}  // namespace orv
