// The host's user interface: the one message.
#pragma once

namespace platform
{

inline constexpr unsigned MB_ICONINFORMATION = 0x40;

// Shows a message; here a line on the standard error stream.
int MessageBoxA(const void* owner, const char* text, const char* caption, unsigned type);

}  // namespace platform
