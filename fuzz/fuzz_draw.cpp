// Draws pictures on devices of any kind, and what device bitmaps and the clipboard make of them. The bytes give
// everything: sizes, traits, mapping, rectangles, pixels.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "frame/rows.h"
#include "orvimg32/host.h"
#include "platform/testing.h"

using namespace orv;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, usize size);

namespace
{

// Time goes into many draws, not into large ones.
constexpr i32 kMostPixels = 1 << 14;  // of a destination, scaled
constexpr i32 kPictureSide = 80;      // of a picture, at most

void require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}

// Bytes one after the other, then zeros.
struct Bytes {
    const u8* at;
    usize left;

    u8 byte()
    {
        if (left == 0) {
            return 0;
        }
        --left;
        return *at++;
    }
    i16 word() { return static_cast<i16>(byte() | byte() << 8); }
    // Mostly small, now and then anything.
    i16 length()
    {
        const u8 kind = byte();
        return kind < 200 ? static_cast<i16>(static_cast<i8>(byte()) * (kind % 4 + 1)) : word();
    }
    i32 depth()
    {
        constexpr i32 kDepths[] = {1, 4, 8, 24};
        return kDepths[byte() % 4];
    }
};

int make_picture(Bytes& in)
{
    const i32 bits = in.depth();
    ImageHeader header = {};
    header.info.biSize = kBitmapHeaderBytes;
    header.info.biWidth = in.byte() % kPictureSide + 1;
    header.info.biHeight = in.byte() % kPictureSide + 1;
    header.info.biPlanes = 1;
    header.info.biBitCount = static_cast<u16>(bits);
    const usize top = kBitmapHeaderBytes + static_cast<usize>(palette_bytes(header.info));
    const usize stride = static_cast<usize>(row_stride_wide(header.info.biWidth, bits));
    std::vector<u8> image(top + stride * static_cast<usize>(header.info.biHeight));
    std::memcpy(image.data(), &header, kBitmapHeaderBytes);
    u32 value = in.byte();
    for (usize i = kBitmapHeaderBytes; i < image.size(); ++i) {
        value = value * 1664525 + 1013904223;
        image[i] = static_cast<u8>(value >> 24);
    }
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(image.data()));
}

// A callback reads all that it is given, as a driver would.
void read_band(HDC, const orv_stretch* call, void* user)
{
    const auto& header = *static_cast<const ImageHeader*>(call->header);
    const auto* const rows = static_cast<const u8*>(call->bits);
    const i64 bytes = row_stride_wide(header.info.biWidth, header.info.biBitCount) * header.info.biHeight;
    u8& sum = *static_cast<u8*>(user);
    for (i64 i = 0; i < bytes; ++i) {
        sum = static_cast<u8>(sum + rows[i]);
    }
}

struct Device {
    HDC dc;
    i32 shift;  // how much larger what is drawn becomes, in both directions together
};

Device make_device(Bytes& in, u8& sum)
{
    const char* const technologies[] = {nullptr, "PostScript", "Raster", ""};
    const orv_device_traits traits = {.width = in.byte() + 1,
                                      .height = in.byte() + 1,
                                      .bits_per_pixel = in.depth(),
                                      .number_of_colours = static_cast<i8>(in.byte()),
                                      .dots_per_inch = in.byte() < 128 ? 300 : 96,
                                      .scaling_supported = in.byte() % 3 == 0,
                                      .scaling_shift_x = in.byte() % 5,
                                      .scaling_shift_y = in.byte() % 5,
                                      .technology = technologies[in.byte() % 4]};
    const HDC device = in.byte() % 4 == 0 ? orv_printer_create(&traits) : orv_device_create(&traits);
    require(device > 0, "sound traits make a device");
    orv_device_set_callback(device, read_band, &sum);
    orv_mapping mapping = {.mode = in.byte() % 8 + 1,
                           .window_left = in.length(),
                           .window_top = in.length(),
                           .window_width = in.length(),
                           .window_height = in.length(),
                           .viewport_left = in.length(),
                           .viewport_top = in.length(),
                           .viewport_width = in.length(),
                           .viewport_height = in.length()};
    orv_device_set_mapping(device, &mapping);
    const i32 shift = traits.scaling_shift_x + traits.scaling_shift_y;
    return {device, traits.scaling_supported != 0 ? shift : 0};
}

// Whether a draw keeps within the time that a target has.
bool is_small(const Device& device, i16 width, i16 height)
{
    orv_mapping m = {};
    orv_device_get_mapping(device.dc, &m);
    const auto pixels = [](i16 side, i32 viewport, i32 window) {
        const i64 mapped = i64{side} * viewport / window;
        return std::max(std::abs(i64{side}), std::abs(mapped)) + 1;
    };
    const i64 across = pixels(width, m.viewport_width, m.window_width);
    const i64 down = pixels(height, m.viewport_height, m.window_height);
    return across * down << device.shift < kMostPixels;
}

void draw(Bytes& in, int handle, const Device& target)
{
    const HDC device = target.dc;
    IMG_set_croprect(handle, in.length(), in.length(), in.length(), in.length());
    IMG_get_dib_intern(handle)->raster_op = in.byte() < 200 ? 0x00CC0020 : static_cast<u32>(in.byte()) << 16;
    const i16 x = in.length(), y = in.length(), width = in.length(), height = in.length();
    const u8 kind = in.byte();
    orv_mapping before = {}, after = {};
    orv_device_get_mapping(device, &before);
    if (kind % 8 == 0) {
        IMG_bitmap_palette(handle, device);
    }
    if (is_small(target, width, height)) {
        const i16 result = kind % 3 == 0   ? IMG_display_bitmap(handle, device, x, y, width, height)
                           : kind % 3 == 1 ? IMG_print_bitmap(handle, device, x, y, width, height)
                                           : IMG_print_bitmap_fast(handle, device, x, y, width, height);
        require(result == 0, "a draw succeeds");
    }
    if (kind % 5 == 0 && is_small(target, width, height)) {
        const i16 bitmap = IMG_dib_to_ddb(handle, width, height);
        IMG_display_ddb(bitmap, device, x, y);
        IMG_delete_bitmap(IMG_create_handle_ddb(bitmap, IMG_get_dib_intern(handle)->palette_object));
        orv_bitmap_delete(bitmap);
    }
    orv_device_get_mapping(device, &after);
    require(std::memcmp(&before, &after, sizeof before) == 0, "the mapping stays");
}

}  // namespace

int LLVMFuzzerTestOneInput(const u8* data, usize size)
{
    const int blocks = platform::testing::live_blocks();
    Bytes in = {data, size};
    u8 sum = 0;
    const int handle = make_picture(in);
    require(handle >= 0, "a sound picture makes a handle");
    const Device device = make_device(in, sum);
    if (in.byte() % 2 == 0) {
        orv_screen_set(device.dc);
    }
    for (int i = 0; i < 4 && in.left > 0; ++i) {
        draw(in, handle, device);
    }
    IMG_delete_bitmap(handle);
    orv_device_delete(device.dc);
    require(orv_live_objects() == 0, "no object is left");
    require(platform::testing::live_blocks() == blocks, "no block is left");
    return 0;
}
