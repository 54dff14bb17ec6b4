// orvimg: the library's work from the command line.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>

#include "command_line.h"
#include "jpeg_kind.h"
#include "orvimg32/extra.h"
#include "process.h"
#include "report.h"

using namespace orvimg;

namespace
{

// What was printed may still fail to arrive, on a full disk for one, and that may show only at the close.
int finish(int status)
{
    const bool is_flushed = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (is_flushed && (close(STDOUT_FILENO) == 0 || errno == EBADF)) {
        return status;
    }
    print_error(with_code("cannot write to the standard output: " + system_words(), ORV_SHORT_WRITE));
    return kExitFailure;
}

// Files of other programs are read too, and what is written other programs can read.
void choose_ways(const Options& options)
{
    orv_set_reading(options.described ? ORV_READING_DESCRIBED : ORV_READING_WIDE);
    orv_set_writing(options.described ? ORV_WRITING_DESCRIBED : ORV_WRITING_STANDARD);
    leave_standard_jpeg(options.described);
}

int run(const std::vector<std::string>& words)
{
    try {
        const CommandLine line = parse_command_line(words);
        choose_ways(line.options);
        return line.command == nullptr ? kExitDone : line.command->run(line.options);
    } catch (const UsageError& error) {
        print_error(error.what());
        return kExitUsage;
    } catch (const std::bad_alloc&) {
        print_error(with_code(words_for(ORV_OUT_OF_MEMORY), ORV_OUT_OF_MEMORY));
    } catch (const std::exception& error) {
        print_error(error.what());
    }
    return kExitFailure;
}

}  // namespace

int main(int argc, char** argv)
{
    start_process();
    enter_private_folder();
    const int status = finish(run({argv + 1, argv + argc}));
    leave_private_folder();
    return status;
}
