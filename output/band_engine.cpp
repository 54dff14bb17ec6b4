// The band engine: the destination is made from the bottom up, in bands of at most kBandBudget bytes, each
// of which is drawn before the next one takes its place.
#include "output/band_engine.h"

#include <algorithm>
#include <cstdlib>

#include "frame/api_call.h"
#include "frame/rows.h"
#include "pixels/palettes.h"
#include "platform/files.h"
#include "platform/gdi.h"
#include "platform/memory.h"

namespace orv
{
namespace
{

constexpr i32 kBandBudget = 36864;  // header, palette and rows
constexpr i32 kBandBlockBytes = 65472;
constexpr i32 kMostDeviceSide = kMaxSide << 4;  // what a device can scale a side to
constexpr i32 kMonoColours = 4;                 // devices of fewer colours get black and white

i32 sign_of(i64 value)
{
    return value < 0 ? -1 : 1;
}

bool is_postscript(HDC device)
{
    char technology[platform::kTechnologyBytes] = {};
    platform::Escape(device, platform::GETTECHNOLOGY, 0, nullptr, technology);
    return platform::lstrcmpiA(technology, "PostScript") == 0;
}

bool wants_mono(HDC device, i32 bits)
{
    const u16 colours = static_cast<u16>(platform::GetDeviceCaps(device, platform::NUMCOLORS));
    return colours < kMonoColours && bits >= 4 && !is_postscript(device);
}

// --- The picture and the destination ---

void take_picture(BandRun& run, const ImageRecord& record)
{
    run.image = static_cast<const ImageHeader*>(record.dib);
    run.image_rows = image_pixels(static_cast<ImageHeader*>(record.dib));
    run.image_width = run.image->info.biWidth;
    run.image_height = run.image->info.biHeight;
    run.bits = run.image->info.biBitCount;
    run.image_stride = static_cast<i32>(row_stride_wide(run.image_width, run.bits));
    run.crop_left = record.crop_left;
    run.crop_top = record.crop_top;
    run.crop_width = record.crop_width;
    run.crop_height = record.crop_height;
}

struct Destination {
    i64 left, top;
    i64 width, height;  // with sign, in pixels that the device does not scale up
};

ErrorCode take_destination(BandRun& run, const Destination& destination)
{
    const i64 width = std::llabs(destination.width);
    const i64 height = std::llabs(destination.height);
    if (width > kMostDeviceSide || height > kMostDeviceSide || run.crop_width > kMaxSide ||
        run.crop_height > kMaxSide) {
        return kNotSupported;
    }
    run.width = static_cast<i32>(width);
    run.height = static_cast<i32>(height);
    run.column_step = static_cast<u32>(run.crop_width << 8) / static_cast<u32>(run.width);
    run.row_step = (run.crop_height << 8) / run.height;
    return kOk;
}

// --- The band image ---

void fill_band_header(const BandRun& run)
{
    BITMAPINFOHEADER& info = run.header->info;
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = run.width;
    info.biHeight = run.height;
    info.biPlanes = 1;
    info.biBitCount = static_cast<u16>(run.band_bits);
    info.biSizeImage = static_cast<u32>(run.height) * static_cast<u32>(run.band_stride);
    info.biClrUsed = 1u << run.band_bits;
    if (run.is_mono) {
        palette_build_default(run.header, "tiff");
    } else {
        std::memcpy(run.header->palette, run.image->palette, static_cast<usize>(palette_bytes(info)));
    }
}

void fill_band_record(const BandRun& run, const ImageRecord& source)
{
    ImageRecord& band = *run.band;
    band.crop_width = band.image_width = run.width;
    band.row_stride = run.band_stride;
    band.raster_op = source.raster_op;
}

// The band's handle, record and block.
ErrorCode make_band(BandRun& run, const ImageRecord& source)
{
    run.band_bits = run.is_mono ? 1 : run.bits;
    run.band_stride = static_cast<i32>(row_stride_wide(run.width, run.band_bits));
    const i16 handle = handle_allocate();
    if (handle < 0) {
        return kOutOfMemory;
    }
    run.handle = handle;
    run.band = handle_record(handle);
    // One row at least, however long.
    const i32 bytes = std::max(kBandBlockBytes, static_cast<i32>(kImageHeaderBytes) + run.band_stride);
    run.band->dib_block = platform::GlobalAlloc(platform::GMEM_SCRATCH, static_cast<usize>(bytes));
    run.header = image_lock(*run.band);
    if (run.header == nullptr) {
        handle_release(run.handle);
        return kOutOfMemory;
    }
    fill_band_header(run);
    fill_band_record(run, source);
    run.rows = image_pixels(run.header);
    const i32 room = kBandBudget - static_cast<i32>(kBitmapHeaderBytes) - palette_bytes(run.header->info);
    run.rows_per_band = std::clamp(room / run.band_stride, 1, run.height);
    return kOk;
}

// --- The bands ---

void one_band(BandRun& run, const Destination& destination, i64 top, i32 rows)
{
    ImageRecord& band = *run.band;
    band.dest_left = static_cast<i32>(destination.left);
    band.dest_top = static_cast<i32>(top);
    band.dest_width = static_cast<i32>(destination.width);
    band.dest_height = rows * sign_of(destination.height);
    band.image_height = band.crop_height = rows;
    band_fill(run, rows);

    BITMAPINFOHEADER& info = run.header->info;
    info.biSizeImage = static_cast<u32>(rows) * static_cast<u32>(run.band_stride);
    info.biHeight = rows;
    band_draw(run);
    info.biHeight = run.height;
    run.first_row += rows;
}

// Multiplies positions on a device that scales. It goes by the horizontal count.
i32 position_factor(const Scaling& scaling)
{
    return scaling.x == 1 ? 2 : scaling.x == 2 ? 4 : 1;
}

void run_bands(BandRun& run, const Destination& destination)
{
    const i64 row = i64{position_factor(run.scaling)} * sign_of(destination.height);
    const i32 bands = run.height / run.rows_per_band;
    const i32 rest = run.height % run.rows_per_band;
    i64 top = destination.top + run.height * row;
    for (i32 band = 0; band < bands; ++band) {
        top -= run.rows_per_band * row;
        one_band(run, destination, top, run.rows_per_band);
    }
    if (rest != 0) {
        one_band(run, destination, top - rest * row, rest);
    }
}

}  // namespace

Scaling device_scaling(HDC device)
{
    const i32 asked = platform::GETSCALINGFACTOR;
    platform::POINT shifts = {0, 0};
    if (platform::Escape(device, platform::QUERYESCSUPPORT, sizeof asked, &asked, nullptr) <= 0) {
        return {.is_supported = false, .x = 0, .y = 0};
    }
    platform::Escape(device, platform::GETSCALINGFACTOR, 0, nullptr, &shifts);
    return {.is_supported = true, .x = shifts.x, .y = shifts.y};
}

i16 band_engine(HDC device, i32 handle)
{
    const ImageRecord& record = *handle_record(handle);
    BandRun run = {};
    run.device = device;
    run.scaling = device_scaling(device);
    const Destination destination = {.left = record.dest_left,
                                     .top = record.dest_top,
                                     .width = i64{record.dest_width} * (1 << run.scaling.x),
                                     .height = i64{record.dest_height} * (1 << run.scaling.y)};
    take_picture(run, record);
    if (destination.width == 0 || destination.height == 0 || run.crop_width < 1 || run.crop_height < 1) {
        return kOk;
    }
    ErrorCode result = take_destination(run, destination);
    if (result != kOk) {
        return result;
    }
    run.is_mono = wants_mono(device, run.bits);
    result = make_band(run, record);
    if (result != kOk) {
        return result;
    }
    const HandleUse band_use(run.handle);
    result = band_rows_open(run);
    if (result == kOk) {
        run_bands(run, destination);
        band_rows_close(run);
    }
    handle_release(run.handle);
    return result;
}

}  // namespace orv
