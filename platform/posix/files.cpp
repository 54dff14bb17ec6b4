// Files and strings on a POSIX host.
#include "platform/files.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/testing.h"

namespace platform
{
namespace
{

constexpr std::int64_t kMaxPosition = 0x7FFFFFFF;

// What platform/testing.h switches and counts.
std::uint64_t writes;
int writes_until_short;
std::uint64_t closes;
int closes_until_failure;

// The number that stands for the memory stream: no file may have it.
constexpr int kMemoryStreamNumber = 32767;
int reserved_number = kMemoryStreamNumber;

int open_repeated(const char* name, int flags, mode_t mode)
{
    int file;
    do {
        file = open(name, flags | O_CLOEXEC, mode);
    } while (file < 0 && errno == EINTR);
    if (file != reserved_number) {
        return file;
    }
    const int moved = fcntl(file, F_DUPFD_CLOEXEC, reserved_number + 1);
    close(file);
    return moved;
}

// What a loop of partial transfers gives: the bytes done, or -1 for a failure ahead of the first.
std::int32_t transferred(std::uint32_t done, ssize_t last)
{
    return last < 0 && done == 0 ? -1 : static_cast<std::int32_t>(done);
}

}  // namespace

int _lopen(const char* name, int mode)
{
    // Without O_NONBLOCK a named pipe would wait for its other end.
    const int file = open_repeated(name, (mode == OF_READWRITE ? O_RDWR : O_RDONLY) | O_NONBLOCK, 0);
    struct stat status;
    if (file >= 0 && (fstat(file, &status) != 0 || S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode))) {
        close(file);
        return -1;
    }
    return file;
}

int _lcreat(const char* name, int /*attributes*/)
{
    // Opening without waiting gives a named pipe that nobody reads yet; writing to it waits.
    const int file = open_repeated(name, O_RDWR | O_CREAT | O_TRUNC | O_NONBLOCK, 0666);
    if (file >= 0) {
        (void)fcntl(file, F_SETFL, fcntl(file, F_GETFL) & ~O_NONBLOCK);
    }
    return file;
}

int _lclose(int file)
{
    ++closes;
    const int closed = close(file);
    return closes_until_failure > 0 && --closes_until_failure == 0 ? -1 : closed;
}

std::int32_t _lread(int file, void* buffer, std::uint32_t count)
{
    std::uint32_t done = 0;
    ssize_t moved = 0;
    while (done < count) {
        moved = read(file, static_cast<char*>(buffer) + done, count - done);
        if (moved < 0 && errno == EINTR) {
            continue;
        }
        if (moved <= 0) {
            break;
        }
        done += static_cast<std::uint32_t>(moved);
    }
    return transferred(done, moved);
}

std::int32_t _lwrite(int file, const void* buffer, std::uint32_t count)
{
    ++writes;
    if (writes_until_short > 0 && --writes_until_short == 0 && count > 0) {
        --count;
    }
    std::uint32_t done = 0;
    ssize_t moved = 0;
    while (done < count) {
        moved = write(file, static_cast<const char*>(buffer) + done, count - done);
        if (moved < 0 && errno == EINTR) {
            continue;
        }
        if (moved <= 0) {
            break;
        }
        done += static_cast<std::uint32_t>(moved);
    }
    return transferred(done, moved);
}

std::int32_t _llseek(int file, std::int32_t offset, int origin)
{
    const off_t here = lseek(file, 0, SEEK_CUR);
    const off_t base = origin == 0 ? 0 : origin == 1 ? here : lseek(file, 0, SEEK_END);
    const std::int64_t target = static_cast<std::int64_t>(base) + offset;
    if (here < 0 || base < 0 || target < 0 || target > kMaxPosition) {
        (void)lseek(file, here, SEEK_SET);
        return -1;
    }
    return static_cast<std::int32_t>(lseek(file, static_cast<off_t>(target), SEEK_SET));
}

std::uint32_t GetFileSize(int file, std::uint32_t* /*high*/)
{
    struct stat status;
    if (fstat(file, &status) != 0 || static_cast<std::int64_t>(status.st_size) > 0xFFFFFFFELL) {
        return 0xFFFFFFFFU;
    }
    return static_cast<std::uint32_t>(status.st_size);
}

int OpenFile(const char* name, OFSTRUCT* made, unsigned flags)
{
    struct stat status;
    if ((flags & OF_CREATE) != 0) {
        const int file = open_repeated(name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0666);
        if (file >= 0 && fstat(file, &status) == 0) {
            *made = {.device = status.st_dev, .node = status.st_ino};
        }
        return file;
    }
    if ((flags & OF_DELETE) != 0) {
        if (lstat(name, &status) != 0 || status.st_dev != made->device || status.st_ino != made->node) {
            return -1;
        }
        return unlink(name);
    }
    return -1;
}

char* lstrcpyA(char* target, const char* source)
{
    return std::strcpy(target, source);
}
int lstrcmpiA(const char* a, const char* b)
{
    return strcasecmp(a, b);
}
int lstrlenA(const char* text)
{
    return static_cast<int>(std::strlen(text));
}

namespace testing
{

void shorten_write(int n)
{
    writes_until_short = n;
}
std::uint64_t write_count()
{
    return writes;
}
void reserve_number(int number)
{
    reserved_number = number == 0 ? kMemoryStreamNumber : number;
}
std::uint64_t close_count()
{
    return closes;
}
void fail_close(int n)
{
    closes_until_failure = n;
}

}  // namespace testing
}  // namespace platform
