// Services for applications on a host without the Windows memory calls.
#include "orvimg32/host.h"

#include "frame/api_call.h"
#include "platform/memory.h"

void* orv_block_lock(int32_t block)
{
    const orv::ApiCall call;
    return platform::GlobalLock(block);
}
void orv_block_unlock(int32_t block)
{
    const orv::ApiCall call;
    platform::GlobalUnlock(block);
}
