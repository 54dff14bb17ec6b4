// orvimg batch: what its files share. The manager plans, hands jobs to worker processes and writes the report;
// a worker does one job after the other and may die of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "batch_options.h"
#include "options.h"
#include "page_pattern.h"

namespace orvimg
{

// --- The plan ---

struct Job {
    std::string input;    // to open, as it was found
    std::string folder;   // {dir}: below the folder that was given, or as the name was given; may be empty
    std::string trouble;  // why nothing can be done, known from the walk; else empty
    int code = 0;         // of the trouble; 0: passed over, not failed
};

// The pattern of output names, taken apart.
class NamePattern
{
public:
    explicit NamePattern(const std::string& text);  // throws UsageError
    bool has_page() const { return has_page_; }
    // Below the output folder. `page` 0: of an input with one page.
    std::string name_of(const Job& job, const Format& format, int page) const;
    // What stands ahead of and behind the number in the names of an input with many pages.
    std::string before_number(const Job& job, const Format& format) const;
    std::string after_number(const Job& job, const Format& format) const;
    std::string number(int page) const { return page_.number(page); }

private:
    static std::string fill(const std::string& part, const Job& job, const Format& format);
    std::string head_;
    std::string tail_;
    PagePattern page_;
    bool has_page_ = false;
};

struct Plan {
    std::vector<Job> jobs;
    NamePattern names;
    PagesMode pages = PagesMode::All;
};

// Finds the inputs and settles the names. Throws UsageError where two inputs would go to one output.
Plan make_plan(const Options& options);

// The inputs alone, in the order of the command line, folders sorted by name.
std::vector<Job> find_inputs(const Options& options);

std::string file_name_of(const std::string& path);  // behind the last /

// --- One input ---

enum class JobStatus : uint8_t { Ok, Damaged, Failed, Skipped };
constexpr int kTimedOut = -100;  // codes of what only a batch meets
constexpr int kCrashed = -101;

struct JobResult {
    JobStatus status = JobStatus::Ok;
    std::string input;
    std::vector<std::string> outputs;
    std::string format;  // of the input
    int pages = 0;
    std::vector<int> rows_missing;  // of each page that was loaded
    std::vector<int> rows_repaired;
    int code = 0;
    std::string message;
    int64_t bytes_in = 0;
    int64_t bytes_out = 0;
    double milliseconds = 0;
};

const char* status_name(JobStatus status);

// The folders of a path that are missing. Throws Failure.
void make_folders(const std::string& path);

// Never throws for what lies in the input or the output.
JobResult run_job(const Options& options, const Plan& plan, const Job& job);

// --- Reports: a JSON object a line ---

std::string line_of(const JobResult& result);
std::string message_of(const std::string& line);

// Reads a report line by line; what is no whole object is passed over. Throws Failure.
std::vector<JobResult> read_report(const std::string& name);

}  // namespace orvimg
