// Which files a batch works on.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <unordered_set>

#include "batch.h"
#include "orvimg32/orvimg32.h"
#include "process.h"
#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

// A file or folder, whatever its name.
struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const Identity&) const = default;
};

std::optional<struct stat> look_at(const std::string& name)
{
    struct stat about = {};
    if (name.empty() || fstatat(start_folder(), name.c_str(), &about, 0) != 0) {
        return std::nullopt;
    }
    return about;
}

// The parts of a path without ".", and without ".." that would lead out of where it begins.
std::string inside(const std::string& path)
{
    std::vector<std::string> kept;
    for (const std::string& part : split_text(path, '/')) {
        if (part == ".." && !kept.empty()) {
            kept.pop_back();
        } else if (!part.empty() && part != "." && part != "..") {
            kept.push_back(part);
        }
    }
    std::string text;
    for (const std::string& part : kept) {
        text += (text.empty() ? "" : "/") + part;
    }
    return text;
}

std::string folder_of(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

bool matches_any(const std::vector<std::string>& patterns, const std::string& path)
{
    return std::ranges::any_of(patterns, [&](const std::string& pattern) {
        const bool has_folder = pattern.find('/') != std::string::npos;
        return matches_pattern(pattern, has_folder ? path : file_name_of(path));
    });
}

class Finder
{
public:
    explicit Finder(const Options& options) : options_(options)
    {
        for (const std::string& name :
             {options.output, options.batch.damaged_folder, options.batch.report, options.batch.resume}) {
            if (const auto about = look_at(name)) {
                own_.push_back({about->st_dev, about->st_ino});
            }
        }
    }

    void add_named(const std::string& name)
    {
        const auto about = look_at(name);
        if (about && S_ISDIR(about->st_mode)) {
            walk(name);
            return;
        }
        const std::string& base = options_.batch.base;
        const bool is_below = !base.empty() && name.starts_with(base.ends_with('/') ? base : base + "/");
        add_file(name, inside(folder_of(is_below ? name.substr(base.size() + 1) : name)));
    }

    std::vector<Job> take() { return std::move(jobs_); }

private:
    void add_file(const std::string& path, const std::string& folder)
    {
        const std::string shown = folder + (folder.empty() ? "" : "/") + file_name_of(path);
        const BatchOptions& batch = options_.batch;
        const bool is_wanted =
            (batch.include.empty() || matches_any(batch.include, shown)) && !matches_any(batch.exclude, shown);
        if (is_wanted && seen_.insert(path).second) {
            jobs_.push_back({path, folder, "", 0});
        }
    }

    void add_trouble(const std::string& path, const std::string& folder, const std::string& why, int code)
    {
        jobs_.push_back({path, folder, with_code(why, code), code});
    }

    // Folders wait in a list, so depth needs no stack. Links to folders are not followed.
    void walk(const std::string& root)
    {
        std::vector<std::string> waiting = {""};
        while (!waiting.empty()) {
            const std::string folder = waiting.back();
            waiting.pop_back();
            list_folder(root, folder, waiting);
        }
    }

    void list_folder(const std::string& root, const std::string& folder, std::vector<std::string>& waiting)
    {
        const std::string path = root + (root.ends_with('/') || folder.empty() ? "" : "/") + folder;
        const int descriptor = openat(start_folder(), path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR* const list = descriptor < 0 ? nullptr : fdopendir(descriptor);
        if (list == nullptr) {
            add_trouble(path, folder, "cannot read the folder: " + system_words(), ORV_UNREADABLE);
            return;
        }
        std::vector<std::string> names;
        while (const dirent* const entry = readdir(list)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") {
                names.push_back(name);
            }
        }
        std::ranges::sort(names);
        std::vector<std::string> folders;
        for (const std::string& name : names) {
            add_entry(descriptor, std::string(path).append(path.ends_with('/') ? "" : "/").append(name), folder,
                      folders);
        }
        closedir(list);
        waiting.insert(waiting.end(), folders.rbegin(), folders.rend());
    }

    void add_entry(int parent, const std::string& path, const std::string& folder,
                   std::vector<std::string>& folders)
    {
        const std::string name = file_name_of(path);
        struct stat about = {};
        if (fstatat(parent, name.c_str(), &about, AT_SYMLINK_NOFOLLOW) != 0) {
            return;  // gone since it was listed
        }
        const bool is_link = S_ISLNK(about.st_mode);
        if (is_link && fstatat(parent, name.c_str(), &about, 0) != 0) {
            add_file(path, folder);  // its load will tell why
            return;
        }
        if (std::ranges::find(own_, Identity{about.st_dev, about.st_ino}) != own_.end() ||
            (name.starts_with(".orvimg-") && name.ends_with(".tmp"))) {
            return;
        }
        if (S_ISREG(about.st_mode)) {
            add_file(path, folder);
        } else if (!S_ISDIR(about.st_mode)) {
            jobs_.push_back({path, folder, "it is not an ordinary file", 0});
        } else if (is_link) {
            jobs_.push_back({path, folder, "links to folders are not followed", 0});
        } else {
            folders.push_back(folder + (folder.empty() ? "" : "/") + name);
        }
    }

    const Options& options_;
    std::vector<Identity> own_;  // what the batch itself writes
    std::vector<Job> jobs_;
    std::unordered_set<std::string> seen_;
};

std::vector<std::string> read_list(const std::string& name, char separator)
{
    std::vector<std::string> names;
    const auto read_from = [&](std::istream& stream) {
        for (std::string line; std::getline(stream, line, separator);) {
            if (!line.empty()) {
                names.push_back(line);
            }
        }
    };
    if (name == "-") {
        read_from(std::cin);
        return names;
    }
    const int descriptor = openat(start_folder(), name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw Failure("cannot read the list " + name, system_words(), ORV_UNREADABLE);
    }
    std::ifstream file("/proc/self/fd/" + std::to_string(descriptor));
    read_from(file);
    close(descriptor);
    return names;
}

}  // namespace

std::string file_name_of(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::vector<Job> find_inputs(const Options& options)
{
    Finder finder(options);
    for (const std::string& name : options.inputs) {
        finder.add_named(name);
    }
    if (!options.batch.files_from.empty()) {
        for (const std::string& name :
             read_list(options.batch.files_from, options.batch.null_separated ? '\0' : '\n')) {
            finder.add_named(name);
        }
    }
    return finder.take();
}

}  // namespace orvimg
