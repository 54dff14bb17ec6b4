// An image made from a device bitmap.
#include "frame/api_call.h"
#include "frame/blocks.h"
#include "frame/handles.h"
#include "frame/load.h"
#include "output/device_header.h"
#include "platform/user.h"

namespace orv
{
namespace
{

// The device whose palette gives the colours: the screen with the palette asked for, or a memory device, which
// has none selected, for the bitmap's own.
struct ColourDevice {
    HDC screen;
    HDC memory;       // 0: the screen is used
    HPALETTE before;  // selected into the screen ahead of ours, 0 for none
};

bool colour_device_open(ColourDevice& d, HPALETTE palette)
{
    d.screen = platform::GetDC(0);
    d.memory = 0;
    d.before = palette == 0 ? 0 : platform::SelectPalette(d.screen, palette, 0);
    if (d.before != 0) {
        platform::RealizePalette(d.screen);
        return true;
    }
    d.memory = platform::CreateCompatibleDC(d.screen);
    return d.memory != 0;
}

void colour_device_close(const ColourDevice& d)
{
    if (d.before != 0) {
        platform::SelectPalette(d.screen, d.before, 0);
        platform::RealizePalette(d.screen);
    }
    platform::DeleteDC(d.memory);
    platform::ReleaseDC(0, d.screen);
}

// Fills the image of current_handle.
i16 read_bitmap(HDC device, HBITMAP bitmap, ImageHeader& header)
{
    const u32 rows = static_cast<u32>(header.info.biHeight);
    platform::GetDIBits(device, bitmap, 0, rows, nullptr, &header, platform::DIB_RGB_COLORS);
    ImageHeader* seen;
    const i16 result = frame_header_sink(&header, &seen);
    if (result < 0) {
        return result;
    }
    ImageRecord& record = *handle_record(current_handle);
    u8* const pixels = image_pixels(static_cast<ImageHeader*>(record.dib));
    const int read = platform::GetDIBits(device, bitmap, 0, rows, pixels, &header, platform::DIB_RGB_COLORS);
    return read == 0 ? i16{kNoBitmap} : i16{kOk};
}

i16 make_handle(HDC device, HBITMAP bitmap, ImageHeader& header)
{
    current_handle = handle_allocate();
    if (current_handle < 0) {
        return current_handle;
    }
    const i16 handle = current_handle;
    const i16 result = read_bitmap(device, bitmap, header);
    if (result < 0) {
        handle_release(handle);
        current_handle = result;
        return result;
    }
    image_unlock(*handle_record(handle));
    return handle;
}

}  // namespace
}  // namespace orv

using namespace orv;

int16_t IMG_create_handle_ddb(HBITMAP bitmap, HPALETTE palette)
{
    const ApiCall call;
    platform::BITMAP description;
    if (platform::GetObjectA(bitmap, sizeof description, &description) == 0) {
        return kNoBitmap;
    }
    auto* const header = reinterpret_cast<ImageHeader*>(block_alloc(kDeviceHeaderBytes));
    if (header == nullptr) {
        return kOutOfMemory;
    }
    fill_device_header(*header, description);
    ColourDevice device;
    i16 result = kOutOfMemory;
    if (colour_device_open(device, palette)) {
        result = make_handle(device.memory != 0 ? device.memory : device.screen, bitmap, *header);
    }
    colour_device_close(device);
    block_free(header);
    return result;
}
