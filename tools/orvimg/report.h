// What the program tells people: failures in words, and a progress bar.
#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace orvimg
{

// Exit statuses of the program.
enum ExitStatus : int {
    kExitDone = 0,
    kExitFailure = 1,
    kExitUsage = 2,
    kExitDamaged = 3,
    kExitInterrupted = 130
};

// Work that could not be done: "WHAT: WHY (CODE)".
struct Failure : std::runtime_error {
    Failure(const std::string& what, const std::string& why, int result_code);
    int code;  // an OrvResult
};

// A command line that makes no sense.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "TEXT (CODE)": how every result code of the library appears.
std::string with_code(const std::string& text, int code);

// Plain words for a result code, where nothing more exact is known.
std::string words_for(int code);

// What errno says.
std::string system_words();

// "1 page", "3 pages".
std::string counted(int64_t count, const char* noun);

// "orvimg: TEXT" on stderr.
void print_error(const std::string& text);

// The same for what may be silenced by --quiet, and for what is told with --verbose alone.
struct Options;
void print_note(const Options& options, const std::string& text);
void print_detail(const Options& options, const std::string& text);

// A bar on stderr while encoders and operations report percentages; nothing where stderr is no terminal,
// or where the work is done before anybody could read it. One at a time: it owns the library's progress
// callback.
class Progress
{
public:
    explicit Progress(int parts, bool is_quiet = false);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // The next part of the job has begun; what is reported from now on counts within it.
    void next_part(const std::string& label);
    // Leaves the bar as it is while `quiet`: for work that reports a percentage of its own.
    void set_quiet(bool quiet) { quiet_ = quiet; }

private:
    static void report(int16_t percent, void* progress);
    void draw(int percent);

    int parts_;
    int part_ = -1;
    int shown_ = -1;  // percentage on the terminal
    bool quiet_ = false;
    bool terminal_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::string label_;
};

}  // namespace orvimg
