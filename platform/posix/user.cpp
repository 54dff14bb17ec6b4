// A host without windows: the one message is a line on the standard error stream, the screen a device in
// memory, the clipboard what the application puts on it.
#include "platform/user.h"

#include <unistd.h>

#include <cstring>

#include "platform/gdi.h"
#include "platform/memory.h"
#include "platform/posix/clipboard.h"

namespace platform
{
namespace
{

constexpr HWND kWindow = 1;

HDC screen;  // 0: the stand-in

struct Clipboard {
    BlockHandle dib;
    HBITMAP bitmap;
    bool is_busy;  // held by somebody else
    bool is_open;
};
Clipboard clipboard;

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

HWND GetActiveWindow()
{
    return kWindow;
}

HDC GetDC(HWND /*window*/)
{
    return screen_get();
}

int ReleaseDC(HWND /*window*/, HDC device)
{
    return device == screen_get();
}

void screen_set(HDC device)
{
    screen = device;
}

HDC screen_get()
{
    return screen == 0 ? kStandInScreen : screen;
}

int OpenClipboard(HWND /*owner*/)
{
    if (clipboard.is_busy || clipboard.is_open) {
        return 0;
    }
    clipboard.is_open = true;
    return 1;
}

int CloseClipboard()
{
    const bool was_open = clipboard.is_open;
    clipboard.is_open = false;
    return was_open;
}

int IsClipboardFormatAvailable(unsigned format)
{
    return (format == CF_DIB && clipboard.dib != 0) || (format == CF_BITMAP && clipboard.bitmap != 0);
}

int32_t GetClipboardData(unsigned format)
{
    if (!clipboard.is_open) {
        return 0;
    }
    return format == CF_DIB ? clipboard.dib : format == CF_BITMAP ? clipboard.bitmap : 0;
}

bool clipboard_set_dib(const void* packed, uint32_t size)
{
    BlockHandle block = 0;
    if (packed != nullptr) {
        block = GlobalAlloc(GMEM_MOVEABLE, size);
        void* const address = GlobalLock(block);
        if (address == nullptr) {
            return false;
        }
        std::memcpy(address, packed, size);
        GlobalUnlock(block);
    }
    if (clipboard.dib != 0) {
        GlobalFree(clipboard.dib);
    }
    clipboard.dib = block;
    return true;
}

void clipboard_set_bitmap(HBITMAP bitmap)
{
    clipboard.bitmap = bitmap;
}

void clipboard_set_busy(bool busy)
{
    clipboard.is_busy = busy;
}

void clipboard_forget(HBITMAP bitmap)
{
    if (clipboard.bitmap == bitmap) {
        clipboard.bitmap = 0;
    }
}

}  // namespace platform
