// orvimg batch: the manager.
#include "batch.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unordered_map>

#include "batch_log.h"
#include "batch_worker.h"
#include "commands.h"
#include "process.h"
#include "report.h"
#include "saving.h"

namespace orvimg
{

namespace
{

volatile sig_atomic_t interrupted;

void note_interrupt(int number)
{
    interrupted = number;
}

int processors()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    return sched_getaffinity(0, sizeof set, &set) == 0 ? std::max(1, CPU_COUNT(&set)) : 1;
}

class Manager
{
public:
    Manager(const Options& options, const Plan& plan, BatchLog& log, std::vector<uint32_t> due)
        : options_(options), plan_(plan), log_(log), due_(due.rbegin(), due.rend())
    {
    }

    // False where it was interrupted.
    bool run()
    {
        struct sigaction action = {};
        action.sa_handler = note_interrupt;
        sigset_t wanted;
        sigemptyset(&wanted);
        for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
            sigaction(number, &action, nullptr);
            sigaddset(&wanted, number);
        }
        sigset_t before;
        sigprocmask(SIG_BLOCK, &wanted, &before);  // they come while waiting alone
        const size_t count = std::min(due_.size(), static_cast<size_t>(options_.batch.jobs));
        while (workers_.size() < count) {
            add_worker(before);
        }
        while (is_busy() && interrupted == 0 && !is_enough()) {
            wait(before);
            look_at_clocks();
            log_.tick();
        }
        const bool is_whole = interrupted == 0;
        end_workers();
        return is_whole;
    }

    bool is_enough() const
    {
        const int bound = options_.batch.max_failures;
        return bound > 0 && log_.failures() >= bound;
    }

private:
    bool is_busy() const
    {
        return !due_.empty() ||
               std::ranges::any_of(workers_, [](const Worker& worker) { return !worker.given.empty(); });
    }

    void add_worker(const sigset_t& before)
    {
        std::vector<int> others;
        for (const Worker& worker : workers_) {
            others.push_back(worker.socket);
        }
        sigset_t now;
        sigprocmask(SIG_SETMASK, &before, &now);  // for the child
        workers_.push_back(start_worker(options_, plan_, others));
        sigprocmask(SIG_SETMASK, &now, nullptr);
        fill(workers_.back());
    }

    // Jobs wait in the socket, so that no worker waits while the manager flushes; towards the end each worker
    // takes one alone, so that none waits behind a long one.
    void fill(Worker& worker)
    {
        const size_t share = due_.size() / std::max<size_t>(workers_.size(), 1);
        const size_t most = share > 64 ? 32 : share > 4 ? 2 : 1;
        while (worker.given.size() < most && !due_.empty()) {
            const uint32_t job = due_.back();
            due_.pop_back();
            if (!give_job(worker, job)) {
                break;  // its end shows in its socket
            }
        }
    }

    void wait(const sigset_t& before)
    {
        std::vector<pollfd> sockets;
        for (const Worker& worker : workers_) {
            sockets.push_back({worker.socket, POLLIN, 0});
        }
        const timespec patience = {0, 100 * 1000 * 1000};
        if (ppoll(sockets.data(), sockets.size(), &patience, &before) <= 0) {
            return;
        }
        std::vector<size_t> ended;
        for (size_t i = 0; i < sockets.size(); ++i) {
            if (sockets[i].revents != 0 && !receive(workers_[i])) {
                ended.push_back(i);
            }
        }
        for (const size_t i : ended) {
            bury(workers_[i]);
        }
        std::erase_if(workers_, [](const Worker& worker) { return worker.socket < 0; });
        while (!ended.empty() && !due_.empty() && workers_.size() < static_cast<size_t>(options_.batch.jobs)) {
            add_worker(before);
        }
    }

    // Takes what has come. False where the worker has ended.
    bool receive(Worker& worker)
    {
        char part[1 << 16];
        const ssize_t got = read(worker.socket, part, sizeof part);
        if (got <= 0) {
            return got < 0 && errno == EINTR;
        }
        worker.received.append(part, static_cast<size_t>(got));
        AnswerHead head;
        while (worker.received.size() >= sizeof head) {
            std::memcpy(&head, worker.received.data(), sizeof head);
            if (worker.received.size() < sizeof head + head.length) {
                break;
            }
            const std::string line = worker.received.substr(sizeof head, head.length);
            log_.add(line, static_cast<JobStatus>(head.status), head.is_bad != 0);
            worker.received.erase(0, sizeof head + head.length);
            worker.given.pop_front();
            worker.began = Clock::now();
        }
        fill(worker);
        return true;
    }

    // The job in work is what ended the worker; the one behind it has not been begun.
    void bury(Worker& worker)
    {
        const std::string how = end_of(worker);
        close(worker.socket);
        worker.socket = -1;
        if (worker.given.empty()) {
            return;
        }
        const Job& job = plan_.jobs[worker.given.front()];
        worker.given.pop_front();
        due_.insert(due_.end(), worker.given.rbegin(), worker.given.rend());
        JobResult result;
        result.input = job.input;
        result.status = JobStatus::Failed;
        result.code = worker.is_late ? kTimedOut : kCrashed;
        const std::string why =
            worker.is_late ? "it took longer than " + counted(options_.batch.timeout, "second") : how;
        result.message = "cannot convert " + job.input + ": " + with_code(why, result.code);
        result.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - worker.began).count();
        log_.add(line_of(result), result.status, true);
        sweep_folder(options_.output + "/" + plan_.names.name_of(job, *options_.format, 0));
    }

    void look_at_clocks()
    {
        const std::chrono::seconds bound(options_.batch.timeout);
        for (Worker& worker : workers_) {
            if (bound.count() > 0 && !worker.given.empty() && !worker.is_late &&
                Clock::now() - worker.began > bound) {
                worker.is_late = true;
                kill(worker.process, SIGKILL);
            }
        }
    }

    // Workers in the middle of a file leave its target as it was.
    void end_workers()
    {
        for (const Worker& worker : workers_) {
            if (!worker.given.empty()) {
                kill(worker.process, SIGTERM);
            }
            close(worker.socket);
        }
        for (const Worker& worker : workers_) {
            end_of(worker);
        }
    }

    const Options& options_;
    const Plan& plan_;
    BatchLog& log_;
    std::vector<uint32_t> due_;  // the next job last
    std::vector<Worker> workers_;
};

int print_plan(const Options& options, const Plan& plan)
{
    for (const Job& job : plan.jobs) {
        if (!job.trouble.empty()) {
            std::printf("%s: %s\n", job.input.c_str(), job.trouble.c_str());
        } else {
            std::printf("%s -> %s/%s\n", job.input.c_str(), options.output.c_str(),
                        plan.names.name_of(job, *options.format, 0).c_str());
        }
    }
    return kExitDone;
}

}  // namespace

int run_batch(const Options& given)
{
    Options options = given;
    require_written(*options.format);
    options.batch.jobs = options.batch.jobs == 0 ? processors() : options.batch.jobs;
    const Plan plan = make_plan(options);
    if (options.batch.dry_run) {
        return print_plan(options, plan);
    }
    sweep_private_folders();
    BatchLog log(options, plan);
    std::vector<uint32_t> due;
    for (size_t i = 0; i < plan.jobs.size(); ++i) {
        if (!log.is_done(plan.jobs[i].input)) {
            due.push_back(static_cast<uint32_t>(i));
        }
    }
    if (log.is_resumed()) {
        options.batch.made_since = log.begun();
        sweep_folders(options, plan, due);
    }
    Manager manager(options, plan, log, std::move(due));
    const bool is_whole = manager.run();
    log.close(is_whole, manager.is_enough());
    return !is_whole ? kExitInterrupted : log.exit_status();
}

}  // namespace orvimg
