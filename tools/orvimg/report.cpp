#include "report.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "options.h"
#include "orvimg32/orvimg32.h"

namespace orvimg
{

Failure::Failure(const std::string& what, const std::string& why, int result_code)
    : std::runtime_error(what + ": " + with_code(why, result_code)), code(result_code)
{
}

std::string with_code(const std::string& text, int code)
{
    return text + " (" + std::to_string(code) + ")";
}

std::string words_for(int code)
{
    switch (code) {
    case ORV_OUT_OF_MEMORY: return "not enough memory";
    case ORV_UNREADABLE: return "it can't be read";
    case ORV_BAD_DATA: return "the data is not what its format requires";
    case ORV_NO_BITMAP: return "there is no bitmap";
    case ORV_NOT_SUPPORTED: return "not supported";
    case ORV_BAD_HANDLE: return "no such picture";
    case ORV_NOT_CREATED: return "the file can't be created or opened for writing";
    case ORV_NO_SUCH_PAGE: return "no such page";
    case ORV_SHORT_WRITE: return "the file could not be written to its end; is the disk full?";
    default: return "unknown trouble";
    }
}

std::string system_words()
{
    return std::strerror(errno);
}

std::string counted(int64_t count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void print_error(const std::string& text)
{
    std::fprintf(stderr, "orvimg: %s\n", text.c_str());
}

void print_note(const Options& options, const std::string& text)
{
    if (!options.quiet) {
        print_error(text);
    }
}

void print_detail(const Options& options, const std::string& text)
{
    if (options.verbose) {
        print_error(text);
    }
}

Progress::Progress(int parts, bool is_quiet)
    : parts_(std::max(parts, 1)), terminal_(!is_quiet && isatty(STDERR_FILENO) == 1)
{
    IMG_set_callback(&Progress::report, this);
}

Progress::~Progress()
{
    IMG_set_callback(nullptr, nullptr);
    if (terminal_ && shown_ >= 0)
        std::fputs("\r\033[K", stderr);
}

void Progress::next_part(const std::string& label)
{
    if (quiet_)
        return;
    part_ = std::min(part_ + 1, parts_ - 1);
    label_ = label;
    draw(0);
}

void Progress::report(int16_t percent, void* progress)
{
    Progress* self = static_cast<Progress*>(progress);
    if (!self->quiet_)
        self->draw(percent);
}

// Operations may report more than 100.
void Progress::draw(int percent)
{
    constexpr int kBarLength = 30;
    constexpr size_t kLongestLabel = 40;
    constexpr std::chrono::milliseconds kPatience(300);
    const int whole = (std::max(part_, 0) * 100 + std::clamp(percent, 0, 100)) / parts_;
    if (!terminal_ || whole == shown_ || std::chrono::steady_clock::now() - start_ < kPatience)
        return;
    shown_ = whole;
    const std::string bar(static_cast<size_t>(whole * kBarLength / 100), '#');
    std::fprintf(stderr, "\r\033[K[%-*s] %3d%% %s", kBarLength, bar.c_str(), whole,
                 label_.substr(0, kLongestLabel).c_str());
    std::fflush(stderr);
}

}  // namespace orvimg
