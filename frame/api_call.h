// What an exported function holds while it runs.
#pragma once

#include "frame/types.h"

namespace orv
{

// The library's one lock: calls of several threads are put in order. A callback may call back.
class ApiCall
{
public:
    ApiCall();
    ~ApiCall();
    ApiCall(const ApiCall&) = delete;
    ApiCall& operator=(const ApiCall&) = delete;
};

inline constexpr i32 kNoHandle = -1;

// A load, a save or an operation, which use the library's state: one runs at a time, and what a callback
// asks for meanwhile is refused (kNotSupported).
class Job
{
public:
    // `handle` is the image in use, which can't be deleted or drawn until the job ends.
    explicit Job(i32 handle = kNoHandle);
    ~Job();
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    [[nodiscard]] bool is_refused() const { return refused_; }

private:
    bool refused_;
};

// A draw and its band, of which several may run: one in the callback of a device that another draws on. The
// handle can't be deleted or drawn meanwhile.
class HandleUse
{
public:
    explicit HandleUse(i32 handle);
    ~HandleUse();
    HandleUse(const HandleUse&) = delete;
    HandleUse& operator=(const HandleUse&) = delete;

private:
    friend bool handle_in_use(i32 handle);
    i32 handle_;
    const HandleUse* outer_;
};

// For what must not be touched ahead of a Job that would be refused.
bool job_is_running();

bool handle_in_use(i32 handle);

}  // namespace orv
