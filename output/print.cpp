// Printing: through the band engine in the device's own units, or all at once by the device's means.
#include "frame/rows.h"
#include "output/band_engine.h"
#include "output/device_units.h"
#include "output/draw_call.h"

namespace orv
{
namespace
{

// The device's pixels, scaled up, with sign.
i32 scaled_up(i32 size, i32 shift)
{
    return static_cast<i32>(static_cast<u32>(size) << shift);
}

void stretch_whole(const ImageRecord& record, HDC device, const DeviceRectangle& to)
{
    ImageHeader* const header = static_cast<ImageHeader*>(record.dib);
    const Scaling scaling = device_scaling(device);
    platform::StretchDIBits(
        device, to.left, to.top, scaled_up(to.width, scaling.x), scaled_up(to.height, scaling.y),
        record.crop_left, header->info.biHeight - record.crop_height - record.crop_top, record.crop_width,
        record.crop_height, image_pixels(header), header, platform::DIB_RGB_COLORS, record.raster_op);
}

}  // namespace
}  // namespace orv

using namespace orv;

int16_t IMG_print_bitmap(int32_t handle, HDC device, int16_t x, int16_t y, int16_t width, int16_t height)
{
    const DrawCall draw(handle);
    if (draw.trouble() != kOk) {
        return draw.trouble();
    }
    set_destination(draw.record(), x, y, width, height);
    return band_engine(device, handle);
}

int16_t IMG_print_bitmap_fast(int32_t handle, HDC device, int16_t x, int16_t y, int16_t width, int16_t height)
{
    const DrawCall draw(handle);
    if (draw.trouble() != kOk) {
        return draw.trouble();
    }
    ImageRecord& record = draw.record();
    set_destination(record, x, y, width, height);
    const DeviceRectangle to = device_rectangle(device, record);
    if (to.width == 0 || to.height == 0 || record.crop_width < 1 || record.crop_height < 1) {
        return kOk;
    }
    const DeviceTransform transform = device_neutralise(device);
    stretch_whole(record, device, to);
    device_restore(device, transform);
    return kOk;
}
