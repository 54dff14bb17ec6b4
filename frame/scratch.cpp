#include "frame/scratch.h"

#include "frame/blocks.h"

namespace orv
{
namespace
{

// The ScratchTable: addresses of blocks that nobody has freed yet. All null between loads and saves.
u8* scratch_table[20];

}  // namespace

u8* scratch_alloc(u32 size)
{
    for (u8*& slot : scratch_table) {
        if (slot == nullptr) {
            slot = block_alloc(size & 0xFFFF);
            return slot;
        }
    }
    return nullptr;
}

void scratch_free(const void* pointer)
{
    if (pointer == nullptr) {
        return;
    }
    for (u8*& slot : scratch_table) {
        if (slot == pointer) {
            block_free(slot);
            slot = nullptr;
            return;
        }
    }
}

void scratch_free_all()
{
    for (usize i = std::size(scratch_table); i-- > 0;) {
        scratch_free(scratch_table[i]);
    }
}

}  // namespace orv
