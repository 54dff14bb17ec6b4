// orvimg split and orvimg merge: files of many pages.
#include <string>
#include <vector>

#include "commands.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr int kMostPages = 32767;

std::string name_of_page(std::string pattern, int page)
{
    return pattern.replace(pattern.find("%d"), 2, std::to_string(page));
}

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
        if (pages > taken)
            print_error("note: of the " + counted(pages, "page") + " of " + file.name() +
                        " the first is taken; --all-pages takes them all");
        for (int page = 1; page <= taken; ++page)
            sources.push_back({input, page});
    }
    if (sources.size() > kMostPages)
        throw Failure("more than " + std::to_string(kMostPages) + " pages in one job");
    return sources;
}

}  // namespace

int run_split(const Options& options)
{
    PictureFile file(options.inputs.front());
    const int pages = file.page_count();
    Progress progress(pages * (static_cast<int>(options.operations.size()) + 1));
    for (int page = 1; page <= pages; ++page) {
        const std::string name = name_of_page(options.output, page);
        Picture picture = file.load(page);
        apply(options.operations, picture, file.name(), progress);
        progress.next_part(name);
        save_picture(picture, name, options, 1);
    }
    return kExitDone;
}

int run_merge(const Options& options)
{
    const std::vector<Source> sources = sources_of(options);
    Progress progress(1);  // the saves of a job share one percentage
    progress.next_part(options.output);
    size_t added = 0;
    try {
        for (const Source& source : sources) {
            PictureFile file(options.inputs[source.input]);
            Picture picture = file.load(source.page);
            progress.set_quiet(true);
            apply(options.operations, picture, file.name(), progress);
            progress.set_quiet(false);
            save_picture(picture, options.output, options, static_cast<int>(sources.size()));
            ++added;
        }
    } catch (const Failure& failure) {
        if (added == 0)
            throw;
        throw Failure(std::string(failure.what()) + "; " + options.output + " got the first " +
                      counted(static_cast<int>(added), "page") + " of " + std::to_string(sources.size()));
    }
    return kExitDone;
}

}  // namespace orvimg
