// Files and strings under the host's published names. A file is a descriptor number, never 32767;
// -1 is none.
#pragma once

#include <cstdint>

namespace platform
{

enum OpenMode : int { OF_READ = 0, OF_READWRITE = 2 };

// Open an existing file, never a directory: a descriptor or -1.
int _lopen(const char* name, int mode);
// Create or truncate a file, readable and writable: a descriptor or -1.
int _lcreat(const char* name, int attributes);
// 0, or -1 where what was written did not all arrive.
int _lclose(int file);
// Move up to `count` bytes: the number moved, short only at the end of data or on a failure behind
// some bytes, or -1.
std::int32_t _lread(int file, void* buffer, std::uint32_t count);
std::int32_t _lwrite(int file, const void* buffer, std::uint32_t count);
// Origin 0 is the start, 1 the position, 2 the end. The new position, or -1 with the position unmoved:
// positions lie in 0 to 2^31 - 1.
std::int32_t _llseek(int file, std::int32_t offset, int origin);
// Bytes of a file, or 0xFFFFFFFF. `high` must be null.
std::uint32_t GetFileSize(int file, std::uint32_t* high);

inline constexpr unsigned OF_DELETE = 0x200;
inline constexpr unsigned OF_CREATE = 0x1000;

// What OpenFile notes of a file it made, so that it deletes no other.
struct OFSTRUCT {
    std::uint64_t device;
    std::uint64_t node;
};

// OF_CREATE: makes a new file, readable and writable, that nothing of the name stands in the way of,
// no link either: a descriptor or -1. OF_DELETE: removes the name if it is still the file that `made`
// tells of: non-negative, or -1.
int OpenFile(const char* name, OFSTRUCT* made, unsigned flags);

// Copy a string with its terminator / compare without regard to case / bytes ahead of the terminator.
char* lstrcpyA(char* target, const char* source);
int lstrcmpiA(const char* a, const char* b);
int lstrlenA(const char* text);

}  // namespace platform
