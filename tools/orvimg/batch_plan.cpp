// Which output each input of a batch goes to.
#include <algorithm>
#include <unordered_map>

#include "batch.h"
#include "picture_file.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr const char* kPageStart = "{page";

std::string replace_all(std::string text, const std::string& what, const std::string& with)
{
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
    return text;
}

// Without the last dot and what follows; a name that is all extension is its own stem.
std::string stem_of(const std::string& name)
{
    const size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

// FNV-1a: the same on every machine.
uint64_t hash_of(const std::string& text)
{
    uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : text) {
        hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3U;
    }
    return hash;
}

int page_count_of(const std::string& input)
{
    try {
        return PictureFile(input).page_count();
    } catch (const Failure&) {
        return 1;
    }
}

// Whether the name of an input with one page is also that of a page of another input: both are named.
class PageNames
{
public:
    PageNames(const Plan& plan, const Format& format) : plan_(plan)
    {
        for (const Job& job : plan.jobs) {
            by_frame_.emplace(
                plan.names.before_number(job, format) + '\0' + plan.names.after_number(job, format), &job);
        }
    }

    const Job* page_of_another(const Job& job, const std::string& name) const
    {
        const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
        for (size_t i = 0; i < name.size(); ++i) {
            if (!is_digit(name[i]) || (i > 0 && is_digit(name[i - 1]))) {
                continue;
            }
            size_t end = i;
            while (end < name.size() && is_digit(name[end])) {
                ++end;
            }
            const auto found = by_frame_.find(name.substr(0, i) + '\0' + name.substr(end));
            if (found != by_frame_.end() && found->second != &job && end - i < 6 &&
                is_page(*found->second, name.substr(i, end - i))) {
                return found->second;
            }
        }
        return nullptr;
    }

private:
    bool is_page(const Job& job, const std::string& number) const
    {
        const int page = std::stoi(number);
        const int pages = page_count_of(job.input);
        return pages > 1 && page >= 1 && page <= pages && plan_.names.number(page) == number;
    }

    const Plan& plan_;
    std::unordered_map<std::string, const Job*> by_frame_;
};

[[noreturn]] void refuse(const Job& a, const Job& b, const std::string& name)
{
    throw UsageError(a.input + " and " + b.input + " would both be written to " + name +
                     "; --name can tell them apart, as in '{dir}/{name}{page:-%04d}.{ext}'");
}

void check_clashes(const Plan& plan, const Options& options)
{
    std::unordered_map<std::string, const Job*> taken;
    for (const Job& job : plan.jobs) {
        if (!job.trouble.empty()) {
            continue;
        }
        const std::string name = plan.names.name_of(job, *options.format, 0);
        const auto [place, is_new] = taken.emplace(name, &job);
        if (!is_new) {
            refuse(*place->second, job, name);
        }
    }
    if (plan.pages != PagesMode::All || !plan.names.has_page()) {
        return;
    }
    const PageNames pages(plan, *options.format);
    for (const auto& [name, job] : taken) {
        if (const Job* const other = pages.page_of_another(*job, name)) {
            refuse(*other, *job, name);
        }
    }
}

}  // namespace

NamePattern::NamePattern(const std::string& text) : page_("%d")
{
    const size_t start = text.find(kPageStart);
    if (start == std::string::npos) {
        head_ = text;
        return;
    }
    const size_t end = text.find('}', start);
    if (end == std::string::npos || text.find(kPageStart, end) != std::string::npos) {
        throw UsageError("--name takes {page:-%04d} once, not '" + text + "'");
    }
    const std::string inner = text.substr(start + 5, end - start - 5);
    page_ = PagePattern(inner.empty() ? "%d" : inner.substr(1));
    head_ = text.substr(0, start);
    tail_ = text.substr(end + 1);
    has_page_ = true;
    const std::string ahead = head_ + page_.before();
    if (!inner.empty() && inner[0] != ':') {
        throw UsageError("--name takes {page} or {page:-%04d}, not '" + text + "'");
    }
    if (ahead.empty() || ahead.ends_with('}') || (ahead.back() >= '0' && ahead.back() <= '9')) {
        throw UsageError("--name needs a sign between the name and the page number, as in {stem}{page:-%04d}");
    }
}

std::string NamePattern::fill(const std::string& part, const Job& job, const Format& format)
{
    const std::string name = file_name_of(job.input);
    std::string text = replace_all(part, "{dir}", job.folder);
    text = replace_all(text, "{ext}", format.extension);
    const size_t stem = part.find("{stem}");  // names may hold braces themselves, so they are put in last
    return stem == std::string::npos ? replace_all(text, "{name}", name)
                                     : replace_all(text, "{stem}", stem_of(name));
}

std::string NamePattern::before_number(const Job& job, const Format& format) const
{
    const std::string text = fill(head_, job, format) + page_.before();
    return text.substr(std::min(text.find_first_not_of('/'), text.size()));
}

std::string NamePattern::after_number(const Job& job, const Format& format) const
{
    return page_.after() + fill(tail_, job, format);
}

std::string NamePattern::name_of(const Job& job, const Format& format, int page) const
{
    if (page > 0) {
        return before_number(job, format) + page_.number(page) + after_number(job, format);
    }
    const std::string text = fill(head_, job, format) + fill(tail_, job, format);
    return text.substr(std::min(text.find_first_not_of('/'), text.size()));
}

Plan make_plan(const Options& options)
{
    Plan plan{find_inputs(options), NamePattern(options.batch.name),
              options.batch.pages.value_or(options.format->has_pages ? PagesMode::Join : PagesMode::All)};
    check_clashes(plan, options);
    if (options.batch.shards > 1) {
        std::erase_if(plan.jobs, [&](const Job& job) {
            const uint64_t share = hash_of(job.folder + "/" + file_name_of(job.input)) %
                                   static_cast<uint64_t>(options.batch.shards);
            return share + 1 != static_cast<uint64_t>(options.batch.shard);
        });
    }
    return plan;
}

}  // namespace orvimg
