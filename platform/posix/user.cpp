// The one message, on a host without windows: a line on the standard error stream.
#include "platform/user.h"

#include <unistd.h>

#include <cstring>

namespace platform
{
namespace
{

void put(const char* text)
{
    const ssize_t done = write(STDERR_FILENO, text, std::strlen(text));
    (void)done;  // there is nowhere to report it
}

}  // namespace

int MessageBoxA(const void* /*owner*/, const char* text, const char* caption, unsigned /*type*/)
{
    put(caption);
    put(": ");
    put(text);
    put("\n");
    return 1;
}

}  // namespace platform
