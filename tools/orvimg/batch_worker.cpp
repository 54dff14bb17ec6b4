#include "batch_worker.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "orvimg32/orvimg32.h"
#include "process.h"
#include "report.h"

namespace orvimg
{

namespace
{

bool read_all(int descriptor, void* bytes, size_t length)
{
    char* at = static_cast<char*>(bytes);
    while (length > 0) {
        const ssize_t got = read(descriptor, at, length);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        at += got;
        length -= static_cast<size_t>(got);
    }
    return true;
}

bool send_all(int socket, const std::string& bytes)
{
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t sent = send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        done += static_cast<size_t>(sent);
    }
    return true;
}

void bound_memory(int64_t bytes)
{
    if (bytes > 0) {
        const rlimit limit = {static_cast<rlim_t>(bytes), static_cast<rlim_t>(bytes)};
        setrlimit(RLIMIT_DATA, &limit);
    }
}

std::string answer_of(const Options& options, const JobResult& result)
{
    const std::string line = line_of(result);
    const bool is_refused = result.status == JobStatus::Damaged && options.batch.damaged == DamagedMode::Fail;
    const AnswerHead head = {static_cast<uint32_t>(line.size()),
                             static_cast<uint8_t>(result.status),
                             static_cast<uint8_t>(result.status == JobStatus::Failed || is_refused),
                             {}};
    return std::string(reinterpret_cast<const char*>(&head), sizeof head) + line;
}

// Ends when the manager is gone, or closes its end.
[[noreturn]] void work(const Options& options, const Plan& plan, int socket, pid_t manager)
{
    start_signals();
    signal(SIGINT, SIG_IGN);  // a terminal sends it to the manager too, which ends the workers
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != manager) {
        _exit(kExitInterrupted);
    }
    bound_memory(options.batch.memory);
    enter_private_folder(private_folder_name());
    uint32_t job = 0;
    while (read_all(socket, &job, sizeof job)) {
        if (!send_all(socket, answer_of(options, run_job(options, plan, plan.jobs[job])))) {
            break;
        }
    }
    leave_private_folder();
    _exit(kExitDone);
}

}  // namespace

Worker start_worker(const Options& options, const Plan& plan, std::span<const int> others)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw Failure("cannot start a worker", system_words(), ORV_OUT_OF_MEMORY);
    }
    const pid_t manager = getpid();
    const pid_t process = fork();
    if (process == 0) {
        close(ends[0]);
        for (const int other : others) {
            close(other);
        }
        work(options, plan, ends[1], manager);
    }
    close(ends[1]);
    if (process < 0) {
        close(ends[0]);
        throw Failure("cannot start a worker", system_words(), ORV_OUT_OF_MEMORY);
    }
    Worker worker;
    worker.process = process;
    worker.socket = ends[0];
    return worker;
}

bool give_job(Worker& worker, uint32_t job)
{
    if (worker.given.empty()) {
        worker.began = Clock::now();
    }
    worker.given.push_back(job);
    return send_all(worker.socket, std::string(reinterpret_cast<const char*>(&job), sizeof job));
}

std::string end_of(const Worker& worker)
{
    int status = 0;
    while (waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS) {
        return "a file became shorter, or could not be read, while it was being read";
    }
    if (WIFSIGNALED(status)) {
        return "its worker was ended by signal " + std::to_string(WTERMSIG(status)) + ", " +
               strsignal(WTERMSIG(status));
    }
    return "its worker ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace orvimg
