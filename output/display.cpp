// Images shown on a device, and as device bitmaps.
#include "output/device_units.h"
#include "output/draw_call.h"
#include "output/palette.h"
#include "platform/user.h"

namespace orv
{
namespace
{

// A memory device with a new bitmap of the screen's kind selected into it.
struct BitmapDevice {
    HDC screen, device;
    HBITMAP bitmap;
    platform::HGDIOBJ before;
};

bool bitmap_device_open(BitmapDevice& d, i32 width, i32 height)
{
    const HWND window = platform::GetActiveWindow();
    d.screen = platform::GetDC(window);
    d.device = platform::CreateCompatibleDC(d.screen);
    d.bitmap = platform::CreateCompatibleBitmap(d.screen, width, height);
    d.before = platform::SelectObject(d.device, d.bitmap);
    return d.device != 0 && d.bitmap != 0;
}

void bitmap_device_close(const BitmapDevice& d)
{
    platform::SelectObject(d.device, d.before);
    platform::DeleteDC(d.device);
    platform::ReleaseDC(platform::GetActiveWindow(), d.screen);
}

}  // namespace

}  // namespace orv

using namespace orv;

int16_t IMG_display_bitmap(int32_t handle, HDC device, int16_t x, int16_t y, int16_t width, int16_t height)
{
    const DrawCall draw(handle);
    if (draw.trouble() != kOk) {
        return draw.trouble();
    }
    set_destination(draw.record(), x, y, width, height);
    return draw_in_device_units(device, handle);
}

int16_t IMG_dib_to_ddb(int32_t handle, int16_t width, int16_t height)
{
    const DrawCall draw(handle);
    if (draw.trouble() != kOk) {
        return draw.trouble();
    }
    if (width < 1 || height < 1) {
        return kNoBitmap;
    }
    BitmapDevice target;
    i16 result = kOutOfMemory;
    if (bitmap_device_open(target, width, height)) {
        set_destination(draw.record(), 0, 0, width, height);
        result = realise_palette(draw.record(), target.device);
        if (result == kOk) {
            result = draw_in_device_units(target.device, handle);
        }
    }
    bitmap_device_close(target);
    if (result < 0) {
        platform::DeleteObject(target.bitmap);
        return result;
    }
    return static_cast<i16>(target.bitmap);
}

int16_t IMG_display_ddb(int16_t bitmap, HDC device, int16_t x, int16_t y)
{
    const ApiCall call;
    platform::BITMAP description = {};
    const HDC memory = platform::CreateCompatibleDC(device);
    const platform::HGDIOBJ before = platform::SelectObject(memory, bitmap);
    platform::GetObjectA(bitmap, sizeof description, &description);
    platform::BitBlt(device, x, y, description.bmWidth, description.bmHeight, memory, 0, 0, platform::SRCCOPY);
    platform::SelectObject(memory, before);
    platform::DeleteDC(memory);
    return kOk;
}
