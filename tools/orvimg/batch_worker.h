// A worker process, as the manager sees it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <span>
#include <string>

#include "batch.h"

namespace orvimg
{

using Clock = std::chrono::steady_clock;

struct Worker {
    pid_t process = -1;
    int socket = -1;
    std::deque<uint32_t> given;  // jobs, the first of them in work
    Clock::time_point began;     // of the first
    std::string received;        // of an answer that has not come to its end
    bool is_late = false;        // killed because of the time it took
};

// An answer: these bytes, then `length` bytes of the report's line.
struct AnswerHead {
    uint32_t length;
    uint8_t status;  // a JobStatus
    uint8_t is_bad;  // counts as a failure, whatever the status
    uint8_t unused[2];
};

// Forks. The child closes `others`, the manager's ends of the other workers.
Worker start_worker(const Options& options, const Plan& plan, std::span<const int> others);

// Hands over a job; false where the worker is gone.
bool give_job(Worker& worker, uint32_t job);

// Waits for a worker that has ended, and tells how.
std::string end_of(const Worker& worker);

}  // namespace orvimg
