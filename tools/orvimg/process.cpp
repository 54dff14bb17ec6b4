#include "process.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

namespace orvimg
{

namespace
{

// What the signal handler reads: plain memory, so that nothing has to be allocated there.
struct Slot {
    std::atomic<bool> used;
    int folder;
    char name[256];
};
constexpr int kSlots = 4;
Slot slots[kSlots];

char private_folder[4096];  // empty: none
int start_folder_descriptor = AT_FDCWD;

// The library's temporary files, and the folder that holds them.
void remove_private_folder()
{
    if (private_folder[0] == '\0') {
        return;
    }
    unlink("temp.pcx");
    unlink("plane.tmp");
    if (chdir("/") == 0) {
        rmdir(private_folder);
    }
    private_folder[0] = '\0';
}

void remove_leftovers()
{
    for (Slot& slot : slots) {
        if (slot.used) {
            unlinkat(slot.folder, slot.name, 0);
        }
    }
    remove_private_folder();
}

void end_by_signal(int number)
{
    remove_leftovers();
    if (number == SIGBUS) {  // the system's answer where a mapped file has become shorter
        constexpr char kText[] =
            "orvimg: a file became shorter, or can't be read, while it was being read (-2)\n";
        (void)!write(STDERR_FILENO, kText, sizeof kText - 1);
    }
    signal(number, SIG_DFL);
    raise(number);
}

void see_to_signal(int number)
{
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler == SIG_IGN) {
        return;  // as under nohup
    }
    struct sigaction action = {};
    action.sa_handler = end_by_signal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigaction(number, &action, nullptr);
}

}  // namespace

void start_process()
{
    const int folder = open(".", O_PATH | O_DIRECTORY | O_CLOEXEC);
    start_folder_descriptor = folder < 0 ? AT_FDCWD : folder;
    start_signals();
}

void start_signals()
{
    for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGQUIT, SIGPIPE, SIGALRM, SIGXCPU, SIGBUS}) {
        see_to_signal(number);
    }
#if !defined(__SANITIZE_ADDRESS__)
    for (const int number : {SIGSEGV, SIGABRT, SIGFPE, SIGILL}) {
        see_to_signal(number);
    }
#endif
    signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is a failed write
}

int start_folder()
{
    return start_folder_descriptor;
}

void enter_private_folder(const std::string& parent)
{
    const char* const wanted = parent.empty() ? std::getenv("TMPDIR") : parent.c_str();
    for (const char* place : {wanted, "/tmp", "/var/tmp"}) {
        if (place == nullptr || place[0] != '/') {
            continue;
        }
        const std::string folder = std::string(place) + "/orvimg-XXXXXX";
        if (folder.size() >= sizeof private_folder) {
            continue;
        }
        char made[sizeof private_folder];
        std::memcpy(made, folder.c_str(), folder.size() + 1);
        if (mkdtemp(made) != nullptr && chdir(made) == 0) {
            std::memcpy(private_folder, made, folder.size() + 1);
            // Held as long as a process of this run lives; one that nobody holds has been left behind.
            flock(open(made, O_RDONLY | O_DIRECTORY | O_CLOEXEC), LOCK_SH | LOCK_NB);
            return;
        }
    }
    (void)!chdir("/");
}

void sweep_private_folders()
{
    constexpr time_t kYoung = 10;  // seconds in which one may be made and not yet held
    std::error_code ignored;
    const std::filesystem::path parent = std::filesystem::path(private_folder).parent_path();
    for (const auto& entry : std::filesystem::directory_iterator(parent, ignored)) {
        struct stat about = {};
        const std::string path = entry.path();
        if (!entry.path().filename().string().starts_with("orvimg-") || lstat(path.c_str(), &about) != 0 ||
            !S_ISDIR(about.st_mode) || about.st_uid != geteuid() ||
            time(nullptr) - about.st_mtim.tv_sec < kYoung) {
            continue;
        }
        const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
        if (folder >= 0 && flock(folder, LOCK_EX | LOCK_NB) == 0) {
            std::filesystem::remove_all(entry.path(), ignored);
        }
        if (folder >= 0) {
            close(folder);
        }
    }
}

// Workers that were killed have left their folders in this one.
void leave_private_folder()
{
    const std::string name = private_folder;
    remove_private_folder();
    std::error_code ignored;
    if (!name.empty()) {
        std::filesystem::remove_all(name, ignored);
    }
}

std::string private_folder_name()
{
    return private_folder;
}

Leftover::Leftover(int folder, const std::string& name) : slot_(-1)
{
    for (int slot = 0; slot < kSlots && slot_ < 0; ++slot) {
        if (!slots[slot].used && name.size() < sizeof slots[slot].name) {
            slot_ = slot;
        }
    }
    if (slot_ >= 0) {
        slots[slot_].folder = folder;
        std::memcpy(slots[slot_].name, name.c_str(), name.size() + 1);
        slots[slot_].used = true;
    }
}

Leftover::~Leftover()
{
    if (slot_ >= 0) {
        unlinkat(slots[slot_].folder, slots[slot_].name, 0);
        slots[slot_].used = false;
    }
}

void Leftover::keep()
{
    if (slot_ >= 0) {
        slots[slot_].used = false;
        slot_ = -1;
    }
}

}  // namespace orvimg
