// What a batch keeps of its results: the report, the counts, and what people see of it.
#pragma once

#include <chrono>
#include <string>
#include <unordered_map>
#include <vector>

#include "batch.h"

namespace orvimg
{

class BatchLog
{
public:
    // Opens the report, and takes from the one that is resumed what is done. Throws Failure or UsageError.
    BatchLog(const Options& options, const Plan& plan);
    ~BatchLog();
    BatchLog(const BatchLog&) = delete;
    BatchLog& operator=(const BatchLog&) = delete;

    bool is_done(const std::string& input) const { return done_.contains(input); }
    bool is_resumed() const { return is_resumed_; }
    int64_t begun() const { return begun_; }  // when the report was made, in seconds since 1970; 0: not known
    int64_t failures() const { return bad_; }

    void add(const std::string& line, JobStatus status, bool is_bad);
    // Shows the progress, when it is time to.
    void tick();
    // The closing words.
    void close(bool is_whole, bool is_enough);
    int exit_status() const;

private:
    void take_done(const Plan& plan);
    void open_report();
    void open_folders();
    void flush();
    void show_line(const std::string& line, JobStatus status);
    std::string progress_text() const;
    double seconds() const;

    const Options& options_;
    std::unordered_map<std::string, JobStatus> done_;
    bool is_resumed_ = false;
    int64_t begun_ = 0;
    int report_ = -1;
    // Outputs are flushed to disk together, four times a second, and their lines stand in the report only then.
    std::string pending_;
    std::vector<int> folders_;  // open on the file systems of the outputs
    int64_t counts_[4] = {};    // by JobStatus, those of earlier runs among them
    int64_t bad_ = 0;
    int64_t before_ = 0;  // done by earlier runs
    int64_t total_ = 0;
    int64_t shown_lines_ = 0;
    bool is_terminal_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point shown_ = start_;
    std::chrono::steady_clock::time_point flushed_ = start_;
};

// Removes what runs that were killed have left in the folder of `output`, or of all outputs that are due:
// temporary files that nobody holds any more.
void sweep_folder(const std::string& output);
void sweep_folders(const Options& options, const Plan& plan, const std::vector<uint32_t>& due);

}  // namespace orvimg
