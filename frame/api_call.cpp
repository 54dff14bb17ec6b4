#include "frame/api_call.h"

#include "platform/lock.h"

namespace orv
{
namespace
{

// Set while a Job runs; read by those that come from its callbacks.
bool job_runs;
i32 job_handle = kNoHandle;

// The innermost draw; each knows the one around it.
const HandleUse* innermost_use;

}  // namespace

ApiCall::ApiCall()
{
    platform::EnterCriticalSection();
}

ApiCall::~ApiCall()
{
    platform::LeaveCriticalSection();
}

Job::Job(i32 handle) : refused_(job_runs)
{
    if (!refused_) {
        job_runs = true;
        job_handle = handle;
    }
}

Job::~Job()
{
    if (!refused_) {
        job_runs = false;
        job_handle = kNoHandle;
    }
}

bool job_is_running()
{
    return job_runs;
}

HandleUse::HandleUse(i32 handle) : handle_(handle), outer_(innermost_use)
{
    innermost_use = this;
}

HandleUse::~HandleUse()
{
    innermost_use = outer_;
}

bool handle_in_use(i32 handle)
{
    for (const HandleUse* use = innermost_use; use != nullptr; use = use->outer_) {
        if (use->handle_ == handle) {
            return true;
        }
    }
    return job_runs && handle == job_handle;
}

}  // namespace orv
