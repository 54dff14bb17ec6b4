// One input of a batch, from its bytes to its outputs.
#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <new>

#include "batch.h"
#include "picture_file.h"
#include "process.h"
#include "report.h"
#include "saving.h"

namespace orvimg
{

namespace
{

class JobRun
{
public:
    JobRun(const Options& options, const Plan& plan, const Job& job, JobResult& result)
        : options_(options), plan_(plan), job_(job), result_(result)
    {
    }

    void run()
    {
        PictureFile file(job_.input);
        result_.bytes_in = file.size();
        const Format* format = format_by_number(file.detected());
        result_.format = file.is_fax() ? "fax" : format == nullptr ? "unknown" : format->name;
        result_.pages = file.page_count();
        if (plan_.pages == PagesMode::Join) {
            join(file, options_.output);
        } else {
            each_page(file);
        }
    }

private:
    // Loads a page, and notes its condition.
    Picture load(PictureFile& file, int page)
    {
        condition_ = {};
        Picture picture = file.load(page, condition_);
        if (!file.is_fax() && file.detected() == ORV_FORMAT_TIFF) {
            const Format* exact = format_by_number(static_cast<const ExtraInfo*>(IMG_get_extra_info())->format);
            result_.format = exact == nullptr ? result_.format : exact->name;
        }
        result_.rows_missing.push_back(condition_.missing);
        result_.rows_repaired.push_back(condition_.repaired);
        if (condition_.is_damaged()) {
            if (options_.strict) {
                throw Failure(file.page_name(page) + " is damaged", condition_.words(), ORV_BAD_DATA);
            }
            result_.status = JobStatus::Damaged;
            note(file.page_name(page) + " is damaged: " + condition_.words());
        }
        return picture;
    }

    void note(const std::string& text) { result_.message += (result_.message.empty() ? "" : "; ") + text; }

    // Whether an output is to be written, as far as --exists has a say. Throws Failure for `fail`.
    bool is_due(const std::string& name) const
    {
        struct stat out = {};
        const BatchOptions& batch = options_.batch;
        const bool refuses = batch.exists == ExistsMode::Fail || options_.no_clobber;
        if ((batch.exists == ExistsMode::Replace && !refuses) ||
            fstatat(start_folder(), name.c_str(), &out, 0) != 0) {
            return true;
        }
        if (batch.made_since > 0 && int64_t{out.st_mtim.tv_sec} >= batch.made_since) {
            return true;  // the run that is resumed was killed between this output and its line
        }
        if (refuses) {
            throw Failure("cannot write " + name, "it exists", ORV_NOT_CREATED);
        }
        struct stat in = {};
        fstatat(start_folder(), job_.input.c_str(), &in, 0);
        const auto time_of = [](const struct stat& about) {
            return int64_t{about.st_mtim.tv_sec} * 1000000000 + about.st_mtim.tv_nsec;
        };
        return batch.exists == ExistsMode::Newer && time_of(in) > time_of(out);
    }

    void save(Picture& picture, const std::string& name)
    {
        make_folders(name);
        start_saving(options_, 1);
        Target target(name, Existing::Replace);
        save_picture(picture, options_, target, name);
        target.commit(Flush::Later);
        result_.bytes_out += target.size();
        result_.outputs.push_back(name);
    }

    void each_page(PictureFile& file)
    {
        const bool is_one = result_.pages == 1 || plan_.pages == PagesMode::First;
        const int last = is_one ? 1 : result_.pages;
        if (!is_one && !plan_.names.has_page()) {
            throw Failure("cannot write the pages of " + job_.input, "--name has no {page}", ORV_NOT_SUPPORTED);
        }
        int left_alone = 0;
        for (int page = 1; page <= last; ++page) {
            const std::string name = plan_.names.name_of(job_, *options_.format, is_one ? 0 : page);
            if (is_due(options_.output + "/" + name)) {
                one_page(file, page, name);
            } else {
                ++left_alone;
            }
        }
        if (left_alone == last) {
            result_.status = JobStatus::Skipped;
            note("the output exists");
        }
    }

    // A page that can't be read does not keep the others from being written.
    void one_page(PictureFile& file, int page, const std::string& name)
    {
        try {
            Picture picture = load(file, page);
            const bool is_kept = !condition_.is_damaged() || options_.batch.damaged != DamagedMode::Fail;
            const bool is_aside = condition_.is_damaged() && options_.batch.damaged == DamagedMode::Aside;
            if (is_kept) {
                Progress silent(1, true);
                apply(options_.operations, picture, file.page_name(page), silent);
                save(picture, (is_aside ? options_.batch.damaged_folder : options_.output) + "/" + name);
            }
        } catch (const Failure& failure) {
            failed_ = true;
            result_.status = JobStatus::Failed;
            result_.code = failure.code;
            note(failure.what());
        }
        if (failed_) {
            result_.status = JobStatus::Failed;
        }
    }

    // All pages into one output below `root`. Damage may show on the last page, so what is to go aside starts
    // again there.
    void join(PictureFile& file, const std::string& root)
    {
        const std::string name = root + "/" + plan_.names.name_of(job_, *options_.format, 0);
        if (!is_due(name)) {
            result_.status = JobStatus::Skipped;
            note("the output exists");
            return;
        }
        make_folders(name);
        start_saving(options_, result_.pages);
        Target target(name, Existing::Replace);
        for (int page = 1; page <= result_.pages; ++page) {
            Picture picture = load(file, page);
            if (condition_.is_damaged() && options_.batch.damaged == DamagedMode::Fail) {
                return;
            }
            if (condition_.is_damaged() && options_.batch.damaged == DamagedMode::Aside &&
                root != options_.batch.damaged_folder) {
                result_.rows_missing.clear();
                result_.rows_repaired.clear();
                result_.message.clear();
                join(file, options_.batch.damaged_folder);
                return;
            }
            Progress silent(1, true);
            apply(options_.operations, picture, file.page_name(page), silent);
            save_picture(picture, options_, target, name);
        }
        target.commit(Flush::Later);
        result_.bytes_out += target.size();
        result_.outputs.push_back(name);
    }

    const Options& options_;
    const Plan& plan_;
    const Job& job_;
    JobResult& result_;
    Condition condition_;  // of the page loaded last
    bool failed_ = false;
};

}  // namespace

void make_folders(const std::string& path)
{
    static std::string made;  // the last one, as files of a folder mostly come one after the other
    const size_t last = path.rfind('/');
    if (last == std::string::npos || path.compare(0, last, made) == 0) {
        return;
    }
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        const std::string folder = path.substr(0, slash);
        if (mkdirat(start_folder(), folder.c_str(), 0777) != 0 && errno != EEXIST && errno != EISDIR) {
            throw Failure("cannot make the folder " + folder, system_words(), ORV_NOT_CREATED);
        }
    }
    made = path.substr(0, last);
}

const char* status_name(JobStatus status)
{
    switch (status) {
    case JobStatus::Ok: return "ok";
    case JobStatus::Damaged: return "damaged";
    case JobStatus::Failed: return "failed";
    case JobStatus::Skipped: return "skipped";
    }
    return "";
}

JobResult run_job(const Options& options, const Plan& plan, const Job& job)
{
    const auto start = std::chrono::steady_clock::now();
    JobResult result;
    result.input = job.input;
    try {
        if (job.trouble.empty()) {
            JobRun(options, plan, job, result).run();
        } else {
            result.status = job.code == 0 ? JobStatus::Skipped : JobStatus::Failed;
            result.code = job.code;
            result.message = job.trouble;
        }
    } catch (const Failure& failure) {
        result.status = JobStatus::Failed;
        result.code = failure.code;
        result.message = failure.what();
    } catch (const std::bad_alloc&) {
        result.status = JobStatus::Failed;
        result.code = ORV_OUT_OF_MEMORY;
        result.message = with_code(words_for(ORV_OUT_OF_MEMORY), ORV_OUT_OF_MEMORY);
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    result.milliseconds = took.count();
    return result;
}

}  // namespace orvimg
