#include "batch_log.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "process.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr std::chrono::milliseconds kTerminalStep(250);
constexpr std::chrono::seconds kPlainStep(30);
constexpr std::chrono::milliseconds kFlushStep(250);
constexpr int64_t kMostShown = 20;  // failures told one by one where a report holds them all

std::string clock_text(double seconds)
{
    const long long whole = std::llround(seconds);
    char text[48];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
    }
    return text;
}

bool write_all(int descriptor, const std::string& text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t wrote = write(descriptor, text.data() + done, text.size() - done);
        if (wrote < 0 && errno == EINTR) {
            continue;
        }
        if (wrote <= 0) {
            return false;
        }
        done += static_cast<size_t>(wrote);
    }
    return true;
}

// A line that was cut off by a kill goes, so that the next begins on a line of its own.
void cut_last_line(int report)
{
    struct stat about = {};
    fstat(report, &about);
    off_t end = about.st_size;
    char byte = '\n';
    while (end > 0 && pread(report, &byte, 1, end - 1) == 1 && byte != '\n') {
        --end;
    }
    if (end < about.st_size) {
        (void)!ftruncate(report, end);
    }
}

// When a file was made, in seconds since 1970; 0 where the file system does not know.
int64_t birth_of(int descriptor)
{
    struct statx about = {};
    const bool is_known =
        statx(descriptor, "", AT_EMPTY_PATH, STATX_BTIME, &about) == 0 && (about.stx_mask & STATX_BTIME) != 0;
    return is_known ? about.stx_btime.tv_sec : 0;
}

}  // namespace

BatchLog::BatchLog(const Options& options, const Plan& plan)
    : options_(options),
      total_(static_cast<int64_t>(plan.jobs.size())),
      is_terminal_(!options.quiet && isatty(STDERR_FILENO) == 1)
{
    const std::string& resume = options.batch.resume;
    is_resumed_ = !resume.empty() && faccessat(start_folder(), resume.c_str(), F_OK, 0) == 0;
    if (is_resumed_) {
        take_done(plan);
    }
    open_report();
    open_folders();
}

BatchLog::~BatchLog()
{
    folders_.push_back(report_);
    for (const int descriptor : folders_) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
}

// Errors of writing show in descriptors that were open before them.
void BatchLog::open_folders()
{
    for (const std::string& name : {options_.output, options_.batch.damaged_folder}) {
        if (!name.empty()) {
            make_folders(name + "/");
            folders_.push_back(openat(start_folder(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        }
    }
}

void BatchLog::flush()
{
    for (const int folder : folders_) {
        if (folder >= 0 && syncfs(folder) != 0) {
            throw Failure("cannot write the outputs", system_words(), ORV_SHORT_WRITE);
        }
    }
    if (report_ >= 0 && !write_all(report_, pending_)) {
        throw Failure("cannot write the report", system_words(), ORV_SHORT_WRITE);
    }
    pending_.clear();
    flushed_ = std::chrono::steady_clock::now();
}

void BatchLog::take_done(const Plan& plan)
{
    for (const JobResult& result : read_report(options_.batch.resume)) {
        done_[result.input] = result.status;
    }
    if (options_.batch.retry_failed) {
        std::erase_if(done_, [](const auto& entry) { return entry.second == JobStatus::Failed; });
    }
    for (const Job& job : plan.jobs) {
        const auto found = done_.find(job.input);
        if (found != done_.end()) {
            ++counts_[static_cast<size_t>(found->second)];
            ++before_;
        }
    }
}

void BatchLog::open_report()
{
    const BatchOptions& batch = options_.batch;
    const std::string& name = batch.report.empty() ? batch.resume : batch.report;
    if (name.empty()) {
        return;
    }
    if (name == "-") {
        report_ = dup(STDOUT_FILENO);
        return;
    }
    const bool goes_on = name == batch.resume;
    const int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | (goes_on ? 0 : O_EXCL);
    report_ = openat(start_folder(), name.c_str(), flags, 0666);
    if (report_ < 0 && errno == EEXIST) {
        throw UsageError("the report " + name + " exists; go on with it by --resume " + name);
    }
    if (report_ < 0) {
        throw Failure("cannot write " + name, system_words(), ORV_NOT_CREATED);
    }
    if (flock(report_, LOCK_EX | LOCK_NB) != 0) {
        throw Failure("cannot write " + name, "another run writes it", ORV_NOT_CREATED);
    }
    cut_last_line(report_);
    begun_ = birth_of(report_);
}

void BatchLog::add(const std::string& line, JobStatus status, bool is_bad)
{
    ++counts_[static_cast<size_t>(status)];
    bad_ += is_bad ? 1 : 0;
    if (report_ >= 0) {
        pending_ += line;
    }
    if (status == JobStatus::Failed || status == JobStatus::Damaged) {
        show_line(line, status);
    }
}

void BatchLog::show_line(const std::string& line, JobStatus status)
{
    const bool has_report = report_ >= 0;
    if (options_.quiet && (has_report || status != JobStatus::Failed)) {
        return;
    }
    if (has_report && ++shown_lines_ > kMostShown) {
        if (shown_lines_ == kMostShown + 1) {
            print_error("more of the kind stand in the report alone");
        }
        return;
    }
    if (is_terminal_) {
        std::fputs("\r\033[K", stderr);
    }
    print_error(std::string(status == JobStatus::Damaged ? "warning: " : "") + message_of(line));
}

double BatchLog::seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

std::string BatchLog::progress_text() const
{
    const int64_t done = counts_[0] + counts_[1] + counts_[2] + counts_[3];
    const double rate = static_cast<double>(done - before_) / std::max(seconds(), 0.001);
    const std::string left = rate > 0 ? clock_text(static_cast<double>(total_ - done) / rate) + " left" : "";
    char text[160];
    std::snprintf(text, sizeof text, "%lld of %lld, %.0f a second, %lld damaged, %lld failed, %s",
                  static_cast<long long>(done), static_cast<long long>(total_), rate,
                  static_cast<long long>(counts_[1]), static_cast<long long>(counts_[2]), left.c_str());
    return text;
}

void BatchLog::tick()
{
    const auto now = std::chrono::steady_clock::now();
    if (!pending_.empty() && now - flushed_ >= kFlushStep) {
        flush();
    }
    if (options_.quiet ||
        now - shown_ < (is_terminal_ ? std::chrono::nanoseconds(kTerminalStep) : kPlainStep)) {
        return;
    }
    shown_ = now;
    if (is_terminal_) {
        std::fprintf(stderr, "\r\033[K%s", progress_text().c_str());
    } else {
        print_error(progress_text());
    }
}

void BatchLog::close(bool is_whole, bool is_enough)
{
    flush();
    if (report_ >= 0 && fsync(report_) != 0 && errno != EINVAL && errno != EROFS) {
        throw Failure("cannot write the report", system_words(), ORV_SHORT_WRITE);
    }
    if (options_.quiet) {
        return;
    }
    if (is_terminal_) {
        std::fputs("\r\033[K", stderr);
    }
    const int64_t done = counts_[0] + counts_[1] + counts_[2] + counts_[3];
    const double rate = static_cast<double>(done - before_) / std::max(seconds(), 0.001);
    std::fprintf(
        stderr, "orvimg: %lld of %s: %lld ok, %lld damaged, %lld failed, %lld skipped; %s, %.0f a second\n",
        static_cast<long long>(done), counted(total_, "input").c_str(), static_cast<long long>(counts_[0]),
        static_cast<long long>(counts_[1]), static_cast<long long>(counts_[2]),
        static_cast<long long>(counts_[3]), clock_text(seconds()).c_str(), rate);
    const std::string& report = options_.batch.report.empty() ? options_.batch.resume : options_.batch.report;
    if (!is_whole) {
        print_error(report.empty() ? "interrupted"
                                   : "interrupted; the same command with --resume " + report + " goes on");
    } else if (is_enough && done < total_) {
        print_error("stopped after " + counted(bad_, "failure"));
    }
}

int BatchLog::exit_status() const
{
    if (bad_ > 0 || counts_[static_cast<size_t>(JobStatus::Failed)] > 0) {
        return kExitFailure;
    }
    return counts_[static_cast<size_t>(JobStatus::Damaged)] > 0 ? kExitDamaged : kExitDone;
}

void sweep_folder(const std::string& output)
{
    const size_t slash = output.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : output.substr(0, slash + 1);
    const int descriptor = openat(start_folder(), folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const list = descriptor < 0 ? nullptr : fdopendir(descriptor);
    if (list == nullptr) {
        return;
    }
    while (const dirent* const entry = readdir(list)) {
        const std::string name = entry->d_name;
        if (!name.starts_with(".orvimg-") || !name.ends_with(".tmp")) {
            continue;
        }
        const int file = openat(descriptor, name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0) {
            unlinkat(descriptor, name.c_str(), 0);
        }
        if (file >= 0) {
            ::close(file);
        }
    }
    closedir(list);
}

void sweep_folders(const Options& options, const Plan& plan, const std::vector<uint32_t>& due)
{
    std::set<std::string> folders;
    for (const uint32_t job : due) {
        const std::string output =
            options.output + "/" + plan.names.name_of(plan.jobs[job], *options.format, 0);
        folders.insert(output.substr(0, output.rfind('/') + 1));
    }
    for (const std::string& folder : folders) {
        sweep_folder(folder);
    }
}

}  // namespace orvimg
