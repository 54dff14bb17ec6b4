// Drawing: the odd cases that the model does not reach. What ordinary draws give is the model's to tell.
#include <gtest/gtest.h>

#include <functional>

#include "ops/dither.h"
#include "output/band.h"
#include "platform/testing.h"
#include "tests/output/drawing.h"

using namespace orv;
using namespace orv::test;

namespace
{

class Drawing : public testing::Test
{
protected:
    void SetUp() override { objects_ = orv_live_objects(); }
    void TearDown() override { EXPECT_EQ(orv_live_objects(), objects_) << "objects are left"; }

private:
    i32 objects_ = 0;
};

using Draw = i16 (*)(i32, HDC, i16, i16, i16, i16);
constexpr Draw kDraws[] = {IMG_display_bitmap, IMG_print_bitmap, IMG_print_bitmap_fast};

struct Band {
    orv_stretch call;
    BITMAPINFOHEADER info;
    std::vector<u8> rows;
};

void keep_band(HDC, const orv_stretch* call, void* user)
{
    BITMAPINFOHEADER info;
    std::memcpy(&info, call->header, sizeof info);
    const auto* const bits = static_cast<const u8*>(call->bits);
    const i64 bytes = row_stride_wide(info.biWidth, info.biBitCount) * info.biHeight;
    static_cast<std::vector<Band>*>(user)->push_back({*call, info, {bits, bits + bytes}});
}

TEST_F(Drawing, FastRowsAreThePlainOnes)
{
    std::vector<u8> row(3 * 203);
    std::vector<u16> words(4 * 204);
    for (usize i = 0; i < words.size(); ++i) {
        words[i] = static_cast<u16>(i * 7919 % 256);
        row[i % row.size()] = static_cast<u8>(i * 104729 >> 3);
    }
    for (usize width : {1u, 7u, 16u, 18u, 19u, 203u}) {
        std::vector<u8> got(width);
        reduce_row_332(row.data(), got.data(), width);
        for (usize x = 0; x < width; ++x) {
            ASSERT_EQ(got[x], row[x * 3 + 2] / 32 * 32 + row[x * 3 + 1] / 32 * 4 + row[x * 3] / 64) << width;
        }
        for (usize matrix_row = 0; matrix_row < 8; ++matrix_row) {
            const u8* const thresholds = bayer_matrix + matrix_row * 8;
            const usize pairs = (width + 1) / 2;
            dither_row_16(words.data(), thresholds, got.data(), pairs);
            for (usize pair = 0; pair < pairs; ++pair) {
                ASSERT_EQ(got[pair], dither_pixel_pair(&words[pair * 8], thresholds + pair * 2 % 8));
            }
        }
    }
}

TEST_F(Drawing, NonsenseDrawsNothing)
{
    const int handle = make_image(20, 10, 8, 1);
    const HDC device = make_device(30, 30, 24);
    const std::vector<u8> white = surface_bytes(device, 30);
    for (const Draw draw : kDraws) {
        EXPECT_EQ(draw(-1, device, 0, 0, 9, 9), kBadHandle);
        EXPECT_EQ(draw(handle + 1, device, 0, 0, 9, 9), kBadHandle);
        EXPECT_EQ(draw(handle, device, 0, 0, 0, 9), kOk);
        EXPECT_EQ(draw(handle, device, 0, 0, 9, 0), kOk);
        EXPECT_EQ(draw(handle, device, 30, -40, 9, 9), kOk);
        EXPECT_EQ(draw(handle, 0, 0, 0, 9, 9), kOk);
        EXPECT_EQ(draw(handle, device + 1, 0, 0, 9, 9), kOk);
        for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-5, 5}, {5, -5}}) {
            IMG_set_croprect(handle, 0, 0, static_cast<i16>(width), static_cast<i16>(height));
            EXPECT_EQ(draw(handle, device, 0, 0, 9, 9), kOk);
        }
        IMG_set_croprect(handle, 0, 0, 20, 10);
    }
    EXPECT_EQ(surface_bytes(device, 30), white);
    EXPECT_EQ(IMG_dib_to_ddb(handle, 0, 5), kNoBitmap);
    EXPECT_EQ(IMG_dib_to_ddb(-1, 5, 5), kBadHandle);
    EXPECT_EQ(IMG_bitmap_palette(-1, device), kBadHandle);

    // A unit of the window is far more than a device is wide.
    const orv_mapping huge = {8, 0, 0, 1, 1, 0, 0, 1 << 30, 1 << 30};
    EXPECT_EQ(orv_device_set_mapping(device, &huge), 0);
    EXPECT_EQ(IMG_display_bitmap(handle, device, 0, 0, 9, 9), kNotSupported);
    orv_mapping after;
    EXPECT_EQ(orv_device_get_mapping(device, &after), 0);
    EXPECT_EQ(std::memcmp(&huge, &after, sizeof huge), 0);
    EXPECT_EQ(orv_device_delete(device), 0);
    EXPECT_EQ(orv_device_delete(device), -2);
    IMG_delete_bitmap(handle);
}

TEST_F(Drawing, TraitsThatMakeNoDevice)
{
    EXPECT_EQ(orv_device_create(nullptr), -3);
    const auto refused = [](const std::function<void(orv_device_traits&)>& change) {
        orv_device_traits traits = traits_of(5, 5, 8);
        change(traits);
        return orv_device_create(&traits) == -3 && orv_printer_create(&traits) == -3;
    };
    EXPECT_TRUE(refused([](auto& t) { t.width = 0; }));
    EXPECT_TRUE(refused([](auto& t) { t.height = 32768; }));
    EXPECT_TRUE(refused([](auto& t) { t.bits_per_pixel = 16; }));
    EXPECT_TRUE(refused([](auto& t) { t.scaling_shift_x = 5; }));
    EXPECT_TRUE(refused([](auto& t) { t.scaling_shift_y = -1; }));
    EXPECT_FALSE(refused([](auto& t) { t.width = 5; }));
    EXPECT_EQ(orv_device_delete(1), 0);
}

// A row of 1.5 MB is far beyond a band's budget.
TEST_F(Drawing, LongRowsGoOneByOne)
{
    const int handle = make_image(700, 3, 24, 5);
    orv_device_traits traits = traits_of(32767, 32767, 24);
    traits.scaling_supported = 1;
    traits.scaling_shift_x = 4;
    const HDC device = orv_printer_create(&traits);
    std::vector<Band> bands;
    EXPECT_EQ(orv_device_set_callback(device, keep_band, &bands), 0);
    EXPECT_EQ(IMG_print_bitmap(handle, device, 0, 0, 32767, 3), kOk);
    ASSERT_EQ(bands.size(), 3u);
    for (i32 i = 0; i < 3; ++i) {
        EXPECT_EQ(bands[static_cast<usize>(i)].info.biWidth, 32767 << 4);
        EXPECT_EQ(bands[static_cast<usize>(i)].info.biHeight, 1);
        EXPECT_EQ(bands[static_cast<usize>(i)].call.y, 2 - i);
    }
    const u8* pixels;
    i32 stride;
    EXPECT_EQ(orv_device_pixels(device, &pixels, &stride), -3);
    EXPECT_EQ(orv_device_delete(device), 0);
    IMG_delete_bitmap(handle);
}

// --- Callbacks that turn on their caller ---

struct Meddler {
    i32 handle;
    i32 other;
    int calls;
    std::vector<i16> results;
};

void meddle(HDC device, const orv_stretch*, void* user)
{
    Meddler& m = *static_cast<Meddler*>(user);
    if (m.calls++ != 0) {
        return;
    }
    m.results = {IMG_delete_bitmap(m.handle),
                 IMG_delete_bitmap(2),  // the band's own
                 IMG_print_bitmap(m.handle, device, 0, 0, 5, 5),
                 IMG_invert_bitmap(m.handle),
                 IMG_save_bitmap(m.other, "meddled.bmp", ORV_FORMAT_BMP, 1, 0, 0, 0),
                 IMG_decompress_bitmap(data_path("bmp/im_8.bmp").c_str()),
                 IMG_print_bitmap(m.other, device, 0, 0, 5, 5),
                 IMG_delete_bitmap(m.other),
                 static_cast<i16>(orv_device_delete(device))};
}

TEST_F(Drawing, CallbacksCannotPullTheRugAway)
{
    for (const Draw draw : kDraws) {
        Meddler m = {make_image(40, 40, 24, 2), make_image(8, 8, 8, 3), 0, {}};
        const HDC device = make_device(40, 40, 8);
        EXPECT_EQ(orv_device_set_callback(device, meddle, &m), 0);
        EXPECT_EQ(draw(m.handle, device, 0, 0, 200, 300), kOk);
        const i16 no = kNotSupported;
        const bool has_band = draw != IMG_print_bitmap_fast;
        EXPECT_EQ(m.results, (std::vector<i16>{no, has_band ? no : i16{kBadHandle}, no, no, no, no, 0, 0, 0}));
        EXPECT_EQ(orv_device_delete(device), -2);
        EXPECT_EQ(IMG_delete_bitmap(m.handle), kOk);
    }
}

// --- Palettes and device bitmaps ---

TEST_F(Drawing, PalettesBelongToTheirImage)
{
    const HDC device = make_device(4, 4, 8);
    const int handle = make_image(4, 4, 8, 4);
    u8 colours[1024];
    EXPECT_EQ(orv_device_palette(device, colours), 0);
    EXPECT_EQ(IMG_bitmap_palette(handle, device), kOk);
    EXPECT_EQ(IMG_bitmap_palette(handle, device), kOk);
    EXPECT_EQ(orv_live_objects(), 2) << "the first palette has gone";
    EXPECT_EQ(orv_device_palette(device, colours), 256);
    const ImageRecord* const record = IMG_get_dib_intern(handle);
    ImageHeader header;
    IMGLOW_get_bitmap_header(handle, &header);
    EXPECT_EQ(std::memcmp(colours, header.palette, 12), 0);
    EXPECT_EQ(orv_palette_delete(record->palette_object), 0);
    EXPECT_EQ(orv_device_palette(device, colours), 256) << "colours stay when their palette goes";
    EXPECT_EQ(IMG_bitmap_palette(handle, device), kOk);
    IMG_delete_bitmap(handle);
    EXPECT_EQ(orv_live_objects(), 1);
    orv_device_delete(device);
}

TEST_F(Drawing, BitmapsComeBackAsImages)
{
    for (const int bits : {1, 4, 8, 24}) {
        const int handle = make_image(37, 11, bits, 9u + static_cast<unsigned>(bits));
        const HDC screen = make_device(50, 20, bits);
        EXPECT_EQ(orv_screen_set(screen), 0);
        EXPECT_EQ(orv_screen_set(9999), -2);
        const i16 bitmap = IMG_dib_to_ddb(handle, 37, 11);
        ASSERT_GT(bitmap, 0);
        EXPECT_EQ(IMG_get_dib_intern(handle)->dest_width, 37);
        const int back = IMG_create_handle_ddb(bitmap, 0);
        ASSERT_GE(back, 0);
        if (bits != 1) {  // a screen of 1 bit is black and white, whatever the palette
            expect_same(picture_of(back), picture_of(handle), "through a bitmap");
        } else {
            EXPECT_EQ(picture_of(back).width, 37);
        }
        EXPECT_EQ(IMG_bitmap_palette(handle, screen), kOk);
        EXPECT_EQ(IMG_display_ddb(bitmap, screen, 0, 9), kOk);
        EXPECT_EQ(IMG_display_bitmap(handle, screen, 0, 9, 37, 11), kOk);
        const std::vector<u8> drawn = surface_bytes(screen, 20);
        EXPECT_EQ(IMG_display_ddb(bitmap, screen, 0, 9), kOk);
        EXPECT_EQ(surface_bytes(screen, 20), drawn) << bits << " bits: bitmap and image look the same";

        u8 before[1024], after[1024];
        const u8 red_and_blue[8] = {0, 0, 255, 0, 255, 0, 0, 0};
        const HPALETTE palette = orv_palette_create(red_and_blue, 2);
        const i32 entries = orv_device_palette(screen, before);
        const int recoloured = IMG_create_handle_ddb(bitmap, palette);
        EXPECT_EQ(orv_device_palette(screen, after), entries);
        EXPECT_EQ(std::memcmp(before, after, sizeof before), 0) << "the realised palette is back";
        ImageHeader header;
        IMGLOW_get_bitmap_header(recoloured, &header);
        EXPECT_TRUE(bits > 8 || std::memcmp(header.palette, red_and_blue, 8) == 0);
        EXPECT_EQ(IMG_create_handle_ddb(palette, 0), kNoBitmap);
        orv_palette_delete(palette);
        orv_bitmap_delete(bitmap);
        orv_device_delete(screen);
        for (const int image : {handle, back, recoloured}) {
            IMG_delete_bitmap(image);
        }
    }
    const std::vector<u8> rows(400);
    const HBITMAP deep = orv_bitmap_create(10, 10, 32, rows.data(), nullptr);
    EXPECT_EQ(IMG_create_handle_ddb(deep, 0), kNotSupported);
    EXPECT_EQ(IMG_display_ddb(static_cast<i16>(deep), 0, 0, 0), kOk);
    EXPECT_EQ(orv_bitmap_delete(deep), 0);
    EXPECT_EQ(orv_bitmap_create(10, 10, 8, rows.data(), nullptr), -3);
}

// --- Hosts that run out of memory ---

TEST_F(Drawing, EveryAllocationFailingOnce)
{
    const auto draw_all = [](int image_bits, int device_bits) {
        const int model = make_image(30, 20, image_bits, 7);
        const std::vector<u8> packed = packed_image(model);
        IMG_delete_bitmap(model);
        check_allocations([=]() -> i16 {
            const int handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
            const HDC device = make_device(64, 64, device_bits);
            i16 worst = handle < 0 ? static_cast<i16>(handle) : device < 0 ? i16{kOutOfMemory} : i16{kOk};
            const auto note = [&](i16 result) { worst = std::min(worst, result); };
            orv_screen_set(device < 0 ? 0 : device);
            note(IMG_bitmap_palette(handle, device));
            for (const Draw draw : kDraws) {
                note(draw(handle, device, 2, 3, 50, 40));
            }
            const i16 bitmap = IMG_dib_to_ddb(handle, 12, 12);
            note(bitmap);
            const i16 back = IMG_create_handle_ddb(bitmap, 0);
            note(bitmap < 0 ? i16{0} : back);
            IMG_display_ddb(bitmap, device, 0, 0);
            IMG_delete_bitmap(back);
            orv_bitmap_delete(bitmap);
            orv_device_delete(device);
            IMG_delete_bitmap(handle);
            EXPECT_EQ(orv_live_objects(), 0);
            return worst == kBadHandle ? i16{kOutOfMemory} : worst;
        });
    };
    for (const int device_bits : {1, 4, 8, 24}) {
        draw_all(24, device_bits);
        draw_all(8, device_bits);
    }
}

// --- Mapping modes ---

TEST_F(Drawing, MappingFollowsTheMode)
{
    const HDC device = make_device(10, 10, 24);
    const auto mapped = [&](orv_mapping m) {
        EXPECT_EQ(orv_device_set_mapping(device, &m), 0);
        orv_device_get_mapping(device, &m);
        return std::vector<i32>{m.window_width, m.window_height, m.viewport_width, m.viewport_height};
    };
    EXPECT_EQ(mapped({1, 0, 0, 5, 6, 0, 0, 7, 8}), (std::vector<i32>{1, 1, 1, 1}));
    EXPECT_EQ(mapped({2, 0, 0, 5, 6, 0, 0, 7, 8}), (std::vector<i32>{254, 254, 96, -96}));
    EXPECT_EQ(mapped({6, 0, 0, 5, 6, 0, 0, 7, 8}), (std::vector<i32>{1440, 1440, 96, -96}));
    EXPECT_EQ(mapped({7, 0, 0, 100, 100, 0, 0, 70, -80}), (std::vector<i32>{100, 100, 70, -70}));
    EXPECT_EQ(mapped({8, 0, 0, 100, 100, 0, 0, 70, -80}), (std::vector<i32>{100, 100, 70, -80}));
    const orv_mapping bad_mode = {9, 0, 0, 1, 1, 0, 0, 1, 1}, bad_extent = {8, 0, 0, 0, 1, 0, 0, 1, 1};
    EXPECT_EQ(orv_device_set_mapping(device, &bad_mode), -3);
    EXPECT_EQ(orv_device_set_mapping(device, &bad_extent), -3);
    EXPECT_EQ(orv_device_set_mapping(device, nullptr), -3);
    orv_device_delete(device);
}

}  // namespace
