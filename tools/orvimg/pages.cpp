// orvimg split and orvimg merge: files of many pages.
#include <algorithm>
#include <string>
#include <vector>

#include "commands.h"
#include "page_pattern.h"
#include "picture_file.h"
#include "report.h"
#include "saving.h"

namespace orvimg
{

namespace
{

constexpr int kMostPages = 32767;

// One page of an input of merge.
struct Source {
    size_t input;
    int page;
};

// Which pages make up the job. They are counted before the first save, so that OUT may be an input too.
std::vector<Source> sources_of(const Options& options)
{
    std::vector<Source> sources;
    for (size_t input = 0; input < options.inputs.size(); ++input) {
        PictureFile file(options.inputs[input]);
        const int pages = file.page_count();
        const int taken = options.all_pages ? pages : 1;
        if (pages > taken) {
            print_note(options, "note: of the " + counted(pages, "page") + " of " + file.name() +
                                    " the first is taken; --all-pages takes them all");
        }
        for (int page = 1; page <= taken; ++page) {
            sources.push_back({input, page});
        }
    }
    if (sources.size() > kMostPages) {
        throw Failure("cannot write " + options.output,
                      "more than " + std::to_string(kMostPages) + " pages in one job", ORV_NOT_SUPPORTED);
    }
    return sources;
}

// Adds the pages to `target`; how many there are by now stands in `added`.
void add_pages(const Options& options, const std::vector<Source>& sources, Target& target, size_t& added,
               int& status)
{
    Progress progress(1, options.quiet);  // the saves of a job share one percentage
    progress.next_part(options.output);
    start_saving(options, static_cast<int>(sources.size()));
    std::unique_ptr<PictureFile> file;
    size_t input = sources.size();
    for (const Source& source : sources) {
        if (file == nullptr || source.input != input) {
            file = std::make_unique<PictureFile>(options.inputs[source.input]);
            input = source.input;
        }
        Picture picture = load_page(*file, source.page, options, status);
        progress.set_quiet(true);
        apply(options.operations, picture, file->page_name(source.page), progress);
        progress.set_quiet(false);
        save_picture(picture, options, target, options.output);
        ++added;
    }
}

}  // namespace

void settle_split(Options& options)
{
    take_output(options, false);
    if (options.output.empty() || options.inputs.empty()) {
        throw UsageError("split needs IN and PATTERN");
    }
    settle_target_format(options);
    (void)PagePattern(options.output);
}

void settle_merge(Options& options)
{
    take_output(options, true);
    if (options.output.empty() || options.inputs.empty()) {
        throw UsageError("merge needs OUT and IN");
    }
    settle_target_format(options);
    if (!options.format->has_pages) {
        throw UsageError(std::string(options.format->name) +
                         " files hold one picture; merge writes tiff, tiff-huffman, tiff-t4, tiff-t6 and dcx");
    }
    if (options.inputs.size() > 1 && std::count(options.inputs.begin(), options.inputs.end(), "-") > 1) {
        throw UsageError("the standard input can be taken once");
    }
    options.append = true;
}

int run_split(const Options& options)
{
    require_written(*options.format);
    const PagePattern pattern(options.output);
    int status = kExitDone;
    PictureFile file(options.inputs.front());
    const int pages = file.page_count();
    Progress progress(pages * (static_cast<int>(options.operations.size()) + 1), options.quiet);
    for (int page = 1; page <= pages; ++page) {
        const std::string name = pattern.name_of(page);
        Picture picture = load_page(file, page, options, status);
        apply(options.operations, picture, file.page_name(page), progress);
        progress.next_part(name);
        start_saving(options, 1);
        Target target(name, existing_of(options));
        save_picture(picture, options, target, name);
        target.commit(Flush::Later);
        print_detail(options, file.page_name(page) + " -> " + name);
    }
    flush_targets();
    return status;
}

int run_merge(const Options& options)
{
    require_written(*options.format);
    int status = kExitDone;
    const std::vector<Source> sources = sources_of(options);
    Target target(options.output, existing_of(options));
    size_t added = 0;
    try {
        add_pages(options, sources, target, added, status);
    } catch (const Failure& failure) {
        if (added > 0 && target.is_appending()) {
            print_error(options.output + " got the first " + counted(static_cast<int64_t>(added), "page") +
                        " of " + std::to_string(sources.size()));
        }
        throw;
    }
    target.commit();
    print_detail(options, counted(static_cast<int64_t>(added), "page") + " -> " + options.output);
    return status;
}

}  // namespace orvimg
