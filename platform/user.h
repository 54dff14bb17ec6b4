// The host's user interface under its published names: the one message, the window's device, the clipboard.
#pragma once

#include <cstdint>

#include "orvimg32/orvimg32.h"

namespace platform
{

inline constexpr unsigned MB_ICONINFORMATION = 0x40;

// Shows a message; here a line on the standard error stream.
int MessageBoxA(const void* owner, const char* text, const char* caption, unsigned type);

HWND GetActiveWindow();
// The device of a window, or of the screen for window 0. Each wants a ReleaseDC.
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC device);

enum ClipboardFormat : unsigned { CF_BITMAP = 2, CF_DIB = 8 };

// Non-zero for success.
int OpenClipboard(HWND owner);
int CloseClipboard();
int IsClipboardFormatAvailable(unsigned format);
// What the clipboard holds, which keeps it: a block (CF_DIB) or a bitmap; 0 while it is not open.
std::int32_t GetClipboardData(unsigned format);

}  // namespace platform
