// orvimg: the library's work from the command line.
#include <cstdio>
#include <exception>
#include <new>

#include "commands.h"
#include "orvimg32/orvimg32.h"
#include "report.h"

using namespace orvimg;

namespace
{

int run(const Options& options)
{
    switch (options.command) {
    case Command::Info: return run_info(options);
    case Command::Convert: return run_convert(options);
    case Command::Split: return run_split(options);
    case Command::Merge: return run_merge(options);
    case Command::Formats: return run_formats();
    case Command::View: return run_view(options);
    }
    return kExitUsage;
}

// What was printed may still fail to arrive, on a full disk for one.
int finish(int status)
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    print_error("cannot write to the standard output");
    return kExitFailure;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        Options options;
        if (const std::optional<int> status = parse_options(argc, argv, options))
            return finish(*status);
        return finish(run(options));
    } catch (const UsageError& error) {
        print_error(error.what());
        return kExitUsage;
    } catch (const std::bad_alloc&) {
        print_error(words_for(ORV_OUT_OF_MEMORY));
    } catch (const std::exception& error) {
        print_error(error.what());
    }
    return kExitFailure;
}
