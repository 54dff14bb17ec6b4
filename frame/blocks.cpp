#include "frame/blocks.h"

#include "platform/memory.h"

namespace orv
{

u8* block_alloc(usize bytes)
{
    return static_cast<u8*>(platform::GlobalLock(platform::GlobalAlloc(platform::GMEM_SCRATCH, bytes)));
}

void block_free(const void* pointer)
{
    if (pointer != nullptr) {
        const platform::BlockHandle block = platform::GlobalHandle(pointer);
        platform::GlobalUnlock(block);
        platform::GlobalFree(block);
    }
}

}  // namespace orv
