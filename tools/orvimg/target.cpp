#include "target.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "orvimg32/orvimg32.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr mode_t kPermissions = 0666;

// What a name stands for when it is a link: a link to a file stays a link.
std::string behind_links(const std::string& name)
{
    std::string path = name;
    for (int links = 0; links < 16; ++links) {
        char to[4096];
        const ssize_t length = readlinkat(start_folder(), path.c_str(), to, sizeof to);
        if (length <= 0 || length == static_cast<ssize_t>(sizeof to)) {
            break;
        }
        const std::string next(to, static_cast<size_t>(length));
        const size_t slash = path.rfind('/');
        path.erase(next[0] == '/' || slash == std::string::npos ? 0 : slash + 1).append(next);
    }
    return path;
}

// The pages that a TIFF or DCX file shows, or a negative code.
int16_t pages_of(int descriptor)
{
    return IMG_get_filetype_fd(descriptor) == ORV_FORMAT_DCX ? IMG_dcx_page_count(descriptor)
                                                             : IMG_tiff_page_count(descriptor);
}

std::string descriptor_path(int descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor);
}

// A file on each file system that holds targets to be flushed: one call flushes all of it.
struct Unflushed {
    dev_t device;
    int descriptor;
};
std::vector<Unflushed> unflushed;

void keep_for_flushing(int descriptor)
{
    struct stat about = {};
    if (fstat(descriptor, &about) == 0 &&
        std::ranges::find(unflushed, about.st_dev, &Unflushed::device) == unflushed.end()) {
        unflushed.push_back({about.st_dev, dup(descriptor)});
    }
}

}  // namespace

void flush_targets()
{
    bool is_done = true;
    for (const Unflushed& one : unflushed) {
        is_done = syncfs(one.descriptor) == 0 && is_done;
        close(one.descriptor);
    }
    unflushed.clear();
    if (!is_done) {
        throw Failure("cannot write", system_words(), ORV_SHORT_WRITE);
    }
}

Target::Target(const std::string& name, Existing existing) : name_(name), existing_(existing)
{
    if (name == "-") {
        name_ = "the standard output";
        pass_on_ = dup(STDOUT_FILENO);
        open_new();
        return;
    }
    const std::string path = behind_links(name);
    const size_t slash = path.rfind('/');
    base_ = slash == std::string::npos ? path : path.substr(slash + 1);
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    folder_ = openat(start_folder(), folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (folder_ < 0 || base_.empty()) {
        fail(folder_ < 0 ? system_words() : "the name is empty", ORV_NOT_CREATED);
    }
    struct stat about = {};
    if (fstatat(folder_, base_.c_str(), &about, 0) != 0) {
        open_new();
    } else if (S_ISDIR(about.st_mode)) {
        fail("it is a directory", ORV_NOT_CREATED);
    } else if (existing == Existing::Refuse) {
        fail("it exists", ORV_NOT_CREATED);
    } else if (!S_ISREG(about.st_mode)) {
        pass_on_ = openat(folder_, base_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (pass_on_ < 0) {
            fail(system_words(), ORV_NOT_CREATED);
        }
        open_new();
    } else if (existing == Existing::Append && about.st_size > 0) {
        open_existing();
    } else {
        open_new();
        (void)!fchmod(descriptor_, about.st_mode & 07777);
        if (geteuid() == 0) {
            (void)!fchown(descriptor_, about.st_uid, about.st_gid);
        }
    }
}

Target::~Target()
{
    if (appends_ && descriptor_ >= 0 && pages_of(descriptor_) == whole_pages_) {
        (void)!ftruncate(descriptor_, static_cast<off_t>(whole_bytes_));
    }
    temporary_.reset();
    for (const int descriptor : {descriptor_, pass_on_, folder_}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

// Runs side by side add their pages one after the other.
void Target::open_existing()
{
    descriptor_ = openat(folder_, base_.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor_ < 0) {
        fail(system_words(), ORV_NOT_CREATED);
    }
    while (flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
    }
    appends_ = true;
    page_done();
}

void Target::open_new()
{
    if (pass_on_ >= 0) {
        descriptor_ = memfd_create("orvimg", MFD_CLOEXEC);
    } else {
        descriptor_ = openat(folder_, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, kPermissions);
        if (descriptor_ >= 0 && access(descriptor_path(descriptor_).c_str(), F_OK) != 0) {
            close(descriptor_);  // nothing could give it a name later
            descriptor_ = -1;
        }
        if (descriptor_ < 0) {
            open_named();
        }
    }
    if (descriptor_ < 0) {
        fail(system_words(), ORV_NOT_CREATED);
    }
}

// For file systems that keep no file without a name.
void Target::open_named()
{
    static int count = 0;
    temporary_name_ = ".orvimg-" + std::to_string(getpid()) + "-" + std::to_string(++count) + ".tmp";
    temporary_ = std::make_unique<Leftover>(folder_, temporary_name_);
    descriptor_ = openat(folder_, temporary_name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kPermissions);
    flock(descriptor_, LOCK_EX | LOCK_NB);  // one that nobody holds has been left behind
}

int64_t Target::bytes_so_far() const
{
    struct stat about = {};
    return fstat(descriptor_, &about) == 0 ? int64_t{about.st_size} : 0;
}

void Target::page_done()
{
    if (appends_) {
        whole_bytes_ = bytes_so_far();
        whole_pages_ = pages_of(descriptor_);
    }
}

void Target::commit(Flush flush)
{
    size_ = bytes_so_far();
    if (pass_on_ >= 0) {
        copy_out(pass_on_);
        if (close(std::exchange(pass_on_, -1)) != 0) {
            fail(system_words(), ORV_SHORT_WRITE);
        }
        return;
    }
    const bool is_new = !appends_ && temporary_name_.empty() && flush == Flush::Later && give_new_name();
    if (is_new) {
        keep_for_flushing(descriptor_);
    } else {
        flush_now();
        if (!appends_ && (!temporary_name_.empty() || !give_new_name())) {
            replace_name();
        }
    }
    appends_ = false;
    if (close(std::exchange(descriptor_, -1)) != 0) {
        fail(system_words(), ORV_SHORT_WRITE);
    }
}

void Target::flush_now()
{
    if (fsync(descriptor_) != 0) {
        fail(system_words(), ORV_SHORT_WRITE);
    }
}

// A file without a name can only take one that is free; false where it is taken and may be replaced.
bool Target::give_new_name()
{
    const std::string from = descriptor_path(descriptor_);
    if (linkat(AT_FDCWD, from.c_str(), folder_, base_.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        return true;
    }
    if (errno != EEXIST || existing_ != Existing::Replace) {
        fail(system_words(), ORV_NOT_CREATED);
    }
    return false;
}

void Target::replace_name()
{
    if (temporary_name_.empty()) {
        flock(descriptor_, LOCK_EX | LOCK_NB);
        temporary_name_ = ".orvimg-" + std::to_string(getpid()) + "-new.tmp";
        temporary_ = std::make_unique<Leftover>(folder_, temporary_name_);
        const std::string from = descriptor_path(descriptor_);
        if (linkat(AT_FDCWD, from.c_str(), folder_, temporary_name_.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            fail(system_words(), ORV_NOT_CREATED);
        }
    }
    const unsigned flags = existing_ == Existing::Replace ? 0 : RENAME_NOREPLACE;
    if (renameat2(folder_, temporary_name_.c_str(), folder_, base_.c_str(), flags) != 0) {
        fail(system_words(), ORV_NOT_CREATED);
    }
    temporary_->keep();
}

void Target::copy_out(int to)
{
    std::vector<char> part(1 << 16);
    int64_t at = 0;
    while (at < size_) {
        const ssize_t got = pread(descriptor_, part.data(), part.size(), static_cast<off_t>(at));
        for (ssize_t done = 0; done < got;) {
            const ssize_t wrote = write(to, part.data() + done, static_cast<size_t>(got - done));
            if (wrote < 0 && errno != EINTR) {
                fail(system_words(), ORV_SHORT_WRITE);
            }
            done += std::max<ssize_t>(wrote, 0);
        }
        if (got <= 0) {
            fail(system_words(), ORV_SHORT_WRITE);
        }
        at += got;
    }
}

void Target::fail(const std::string& why, int code) const
{
    throw Failure("cannot write " + name_, why, code);
}

}  // namespace orvimg
