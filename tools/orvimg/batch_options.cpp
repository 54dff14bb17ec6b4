// The rows of orvimg batch, and what they are checked for before any work.
#include "batch_options.h"

#include <algorithm>

#include "commands.h"
#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

constexpr int64_t kMostBytes = int64_t{1} << 50;

// "600M", "2G": bytes.
int64_t bytes_of(const Argument& argument)
{
    std::string digits = argument.value;
    int shift = 0;
    for (const auto& [letter, bits] : {std::pair{'K', 10}, {'M', 20}, {'G', 30}}) {
        if (digits.ends_with(letter)) {
            shift = bits;
            digits.pop_back();
            break;
        }
    }
    int64_t number = 0;
    if (!read_number(digits, number) || number < 1 || number > kMostBytes >> shift) {
        throw UsageError(argument.name + " takes a number of bytes, as in 600M or 2G, not '" + argument.value +
                         "'");
    }
    return number << shift;
}

void set_shard(Options& options, const Argument& argument)
{
    const std::vector<std::string> parts = split_text(argument.value, '/');
    int64_t shard = 0;
    int64_t shards = 0;
    if (parts.size() != 2 || !read_number(parts[0], shard) || !read_number(parts[1], shards) || shard < 1 ||
        shard > shards || shards > 1000000) {
        throw UsageError("--shard takes I/N, one share of N, I from 1 to N, not '" + argument.value + "'");
    }
    options.batch.shard = static_cast<int>(shard);
    options.batch.shards = static_cast<int>(shards);
}

void set_damaged(Options& options, const Argument& argument)
{
    BatchOptions& batch = options.batch;
    batch.damaged = argument.value == "keep"   ? DamagedMode::Keep
                    : argument.value == "fail" ? DamagedMode::Fail
                                               : DamagedMode::Aside;
    batch.damaged_folder = batch.damaged == DamagedMode::Aside ? argument.value : "";
}

void set_pages(Options& options, const Argument& argument)
{
    options.batch.pages = argument.value == "all"     ? PagesMode::All
                          : argument.value == "first" ? PagesMode::First
                                                      : PagesMode::Join;
}

void set_exists(Options& options, const Argument& argument)
{
    options.batch.exists = argument.value == "skip"    ? ExistsMode::Skip
                           : argument.value == "newer" ? ExistsMode::Newer
                           : argument.value == "fail"  ? ExistsMode::Fail
                                                       : ExistsMode::Replace;
}

template <auto Field>
void batch_text(Options& options, const Argument& argument)
{
    options.batch.*Field = argument.value;
}

template <auto Field>
void batch_flag(Options& options, const Argument&)
{
    options.batch.*Field = true;
}

template <auto Field>
void batch_list(Options& options, const Argument& argument)
{
    (options.batch.*Field).push_back(argument.value);
}

template <auto Field, int64_t Lowest, int64_t Highest>
void batch_number(Options& options, const Argument& argument)
{
    options.batch.*Field = static_cast<int>(number_within(argument, Lowest, Highest));
}

void set_memory(Options& options, const Argument& argument)
{
    options.batch.memory = bytes_of(argument);
}

constexpr OptionRow kRows[] = {
    {"--output -o", "DIR", "", "the folder for what is written", set_text<&Options::output>},
    {"--to", "NAME", "", "format to write, by name or number", set_text<&Options::format_name>},
    {"--files-from", "LIST", "", "more inputs, a name a line; - for the standard input",
     batch_text<&BatchOptions::files_from>},
    {"--null -0", "", "", "names in LIST end with a zero byte", batch_flag<&BatchOptions::null_separated>},
    {"--include", "GLOB", "", "take these files alone; may stand more than once",
     batch_list<&BatchOptions::include>},
    {"--exclude", "GLOB", "", "leave these files out; may stand more than once",
     batch_list<&BatchOptions::exclude>},
    {"--base", "DIR", "", "cut this off the front of the names of files", batch_text<&BatchOptions::base>},
    {"--name", "PATTERN", "", "names of outputs (default: {dir}/{stem}{page:-%04d}.{ext})",
     batch_text<&BatchOptions::name>},
    {"--pages", "WHICH", "all|first|join", "each to a file, the first alone, or all in one file", set_pages},
    {"--jobs -j", "N", "", "worker processes (default: processors)",
     batch_number<&BatchOptions::jobs, 1, 1024>},
    {"--exists", "WHAT", "skip|replace|newer|fail", "what becomes of outputs that exist (default: replace)",
     set_exists},
    {"--dry-run", "", "", "tell what would be written, and end", batch_flag<&BatchOptions::dry_run>},
    {"--report", "FILE", "", "write a line of JSON for each input", batch_text<&BatchOptions::report>},
    {"--resume", "FILE", "", "pass over what this report has, and go on with it",
     batch_text<&BatchOptions::resume>},
    {"--retry-failed", "", "", "with --resume: do again what failed", batch_flag<&BatchOptions::retry_failed>},
    {"--damaged", "WHAT", "", "pictures with rows missing: keep, fail, or a folder for them", set_damaged},
    {"--timeout", "SECONDS", "", "most for one input (default 300; 0: no bound)",
     batch_number<&BatchOptions::timeout, 0, 1000000>},
    {"--memory", "BYTES", "", "most for a worker, as in 2G", set_memory},
    {"--max-failures", "N", "", "stop after so many", batch_number<&BatchOptions::max_failures, 1, 1 << 30>},
    {"--shard", "I/N", "", "do one share of N, told by the names of the files", set_shard},
};

}  // namespace

const std::span<const OptionRow> kBatchOptions = kRows;

void settle_batch(Options& options)
{
    BatchOptions& batch = options.batch;
    if (options.inputs.empty() && batch.files_from.empty()) {
        throw UsageError("batch needs SRC or --files-from");
    }
    if (options.output.empty()) {
        throw UsageError("batch needs -o DIR");
    }
    if (options.format_name.empty()) {
        throw UsageError("batch needs --to FORMAT (orvimg formats lists them)");
    }
    if (std::ranges::find(options.inputs, "-") != options.inputs.end()) {
        throw UsageError(
            "batch takes no picture from the standard input; --files-from - takes names from there");
    }
    settle_target_format(options);
    if (batch.pages == PagesMode::Join && !options.format->has_pages) {
        throw UsageError(std::string(options.format->name) +
                         " files hold one picture; --pages join needs a format "
                         "of many pages");
    }
    if (!batch.resume.empty() && batch.report.empty()) {
        batch.report = batch.resume;
    }
}

}  // namespace orvimg
