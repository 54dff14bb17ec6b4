// Drawing of images and bitmaps: parts of pictures stretched onto surfaces.
#include <algorithm>
#include <cstring>

#include "platform/gdi.h"
#include "platform/posix/gdi_colours.h"

namespace platform
{
namespace
{

struct Picture {
    const uint8_t* top;    // the top row
    std::ptrdiff_t pitch;  // bytes from a row to the one below it
    int32_t width, height, bits;
    const RGBQUAD* palette;  // of 1 << bits entries, at 1, 4 and 8 bits
};

// One axis of a draw: pixels from `begin` on, in the picture's order or against it, and what part of the
// picture they show.
struct Axis {
    int64_t begin, length;
    bool is_mirrored;
    int64_t source, source_length;
};

struct Extent {
    int64_t begin, end;
};

// The pixel of the picture that place `at` of the surface shows.
int64_t source_of(const Axis& axis, int64_t at)
{
    const int64_t k = axis.is_mirrored ? axis.begin + axis.length - 1 - at : at - axis.begin;
    return axis.source + k * axis.source_length / axis.length;
}

// The places that lie on a surface of this side and show pixels of a picture of that side. Both ends move
// to the first place that does: places show the picture in order.
Extent visible(const Axis& axis, int32_t surface_side, int32_t picture_side)
{
    Extent e = {std::max<int64_t>(axis.begin, 0), std::min<int64_t>(axis.begin + axis.length, surface_side)};
    const auto shows = [&](int64_t at) {
        return source_of(axis, at) >= 0 && source_of(axis, at) < picture_side;
    };
    while (e.begin < e.end && !shows(e.begin)) {
        ++e.begin;
    }
    while (e.begin < e.end && !shows(e.end - 1)) {
        --e.end;
    }
    return e;
}

// Work of one draw. Drawing is done under one lock, so one is enough.
struct Draw {
    ColourMatcher matcher;
    uint8_t index[256];           // of a picture's palette in the surface's
    int32_t columns[kMostSide];   // picture columns that the visible places show
    uint8_t line[kMostSide * 3];  // values of the visible places: indexes, or blue, green, red
    bool keeps_indexes;           // every index stays what it is
};
Draw work;

void open_colours(const Surface& surface, const Picture& picture)
{
    matcher_open(work.matcher, surface);
    work.keeps_indexes = surface.bits == picture.bits;
    if (picture.bits > 8 || surface.bits > 8) {
        return;
    }
    for (int32_t i = 0; i < 1 << picture.bits; ++i) {
        work.index[i] = matcher_of_index(work.matcher, picture.palette[i], i);
        work.keeps_indexes = work.keeps_indexes && work.index[i] == i;
    }
}

unsigned index_at(const uint8_t* row, int32_t column, int32_t bits)
{
    const unsigned byte = row[(int64_t{column} * bits) >> 3];
    switch (bits) {
    case 1: return byte >> (~column & 7) & 1;
    case 4: return (column & 1) == 0 ? byte >> 4 : byte & 15;
    default: return byte;
    }
}

RGBQUAD colour_at(const Picture& picture, const uint8_t* row, int32_t column)
{
    if (picture.bits <= 8) {
        return picture.palette[index_at(row, column, picture.bits)];
    }
    const uint8_t* const pixel = row + int64_t{column} * (picture.bits / 8);
    if (picture.bits == 16) {  // five bits of red, green and blue from the top, below an unused one
        const int value = pixel[0] | pixel[1] << 8;
        const auto channel = [&](int shift) { return static_cast<uint8_t>((value >> shift & 31) * 255 / 31); };
        return {.rgbBlue = channel(0), .rgbGreen = channel(5), .rgbRed = channel(10), .rgbReserved = 0};
    }
    return {.rgbBlue = pixel[0], .rgbGreen = pixel[1], .rgbRed = pixel[2], .rgbReserved = 0};
}

// Brings a row of the picture to the surface's values.
void fill_line(const Surface& surface, const Picture& picture, const uint8_t* row, size_t count)
{
    if (surface.bits > 8) {
        for (size_t i = 0; i < count; ++i) {
            const RGBQUAD c = colour_at(picture, row, work.columns[i]);
            std::memcpy(work.line + i * 3, &c, 3);
        }
    } else if (picture.bits <= 8) {
        for (size_t i = 0; i < count; ++i) {
            work.line[i] = work.index[index_at(row, work.columns[i], picture.bits)];
        }
    } else {
        for (size_t i = 0; i < count; ++i) {
            work.line[i] = matcher_nearest(work.matcher, colour_at(picture, row, work.columns[i]));
        }
    }
}

// The raster operation's byte is a truth table: bit 4 p + 2 s + d is its result for pattern, source and
// destination. The pattern is white.
uint8_t combined(uint32_t raster_op, uint8_t source, uint8_t destination)
{
    const uint32_t table = raster_op >> 16 & 0xFF;
    uint32_t result = 0;
    for (uint32_t k = 0; k < 4; ++k) {
        const uint32_t s = (k & 2) != 0 ? source : ~uint32_t{source};
        const uint32_t d = (k & 1) != 0 ? destination : ~uint32_t{destination};
        result |= (table >> (4 + k) & 1) != 0 ? s & d : 0;
    }
    return static_cast<uint8_t>(result);
}

void store_bytes(uint8_t* to, size_t count, uint32_t raster_op)
{
    if (raster_op == SRCCOPY) {
        std::memcpy(to, work.line, count);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        to[i] = combined(raster_op, work.line[i], to[i]);
    }
}

// Pixels of 1 or 4 bits, from pixel `begin` of the row on.
void store_packed(uint8_t* row, int32_t bits, size_t begin, size_t count, uint32_t raster_op)
{
    const size_t per_byte = static_cast<size_t>(8 / bits);
    const uint32_t mask = (1u << bits) - 1;
    for (size_t i = 0; i < count; ++i) {
        uint8_t& byte = row[(begin + i) / per_byte];
        const uint32_t shift =
            static_cast<uint32_t>(per_byte - 1 - (begin + i) % per_byte) * static_cast<uint32_t>(bits);
        const uint8_t before = static_cast<uint8_t>(byte >> shift & mask);
        const uint32_t value = raster_op == SRCCOPY ? work.line[i] : combined(raster_op, work.line[i], before);
        byte = static_cast<uint8_t>((byte & ~(mask << shift)) | (value & mask) << shift);
    }
}

void store_line(Surface& surface, uint8_t* row, size_t begin, size_t count, uint32_t raster_op)
{
    if (surface.bits > 8) {
        store_bytes(row + begin * 3, count * 3, raster_op);
    } else if (surface.bits == 8) {
        store_bytes(row + begin, count, raster_op);
    } else {
        store_packed(row, surface.bits, begin, count, raster_op);
    }
}

// Whole bytes that can be copied as they stand: how many pixels at the line's front, 0 where none can.
size_t copied_front(const Surface& surface, const Axis& x, Extent columns, uint32_t raster_op)
{
    const int64_t bits = surface.bits;
    const bool plain =
        work.keeps_indexes && raster_op == SRCCOPY && !x.is_mirrored && x.length == x.source_length;
    if (!plain || columns.begin * bits % 8 != 0 || work.columns[0] * bits % 8 != 0) {
        return 0;
    }
    const int64_t bytes = (columns.end - columns.begin) * bits / 8;
    return static_cast<size_t>(bytes * 8 / bits);
}

void draw_rows(Surface& surface, const Picture& picture, const Axis& x, const Axis& y, uint32_t raster_op)
{
    const Extent columns = visible(x, surface.width, picture.width);
    const Extent rows = visible(y, surface.height, picture.height);
    const size_t count = static_cast<size_t>(std::max<int64_t>(columns.end - columns.begin, 0));
    if (count == 0 || rows.begin >= rows.end) {
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        work.columns[i] = static_cast<int32_t>(source_of(x, columns.begin + static_cast<int64_t>(i)));
    }
    const size_t begin = static_cast<size_t>(columns.begin);
    const size_t front = copied_front(surface, x, columns, raster_op);
    if (front != 0 && front < count) {  // less than a byte is left: the pixels of its own
        std::copy(work.columns + front, work.columns + count, work.columns + 0);
    }
    const size_t front_bytes = front * static_cast<size_t>(surface.bits) / 8;
    const size_t first_byte = begin * static_cast<size_t>(surface.bits) / 8;
    const int64_t source_byte = source_of(x, columns.begin) * picture.bits / 8;
    int64_t filled = -1;
    for (int64_t at = rows.begin; at < rows.end; ++at) {
        uint8_t* const to = surface.pixels + at * surface.stride;
        const int64_t from = source_of(y, at);
        const uint8_t* const row = picture.top + from * picture.pitch;
        std::memcpy(to + first_byte, row + source_byte, front_bytes);
        if (front < count) {
            if (from != filled) {
                fill_line(surface, picture, row, count - front);
                filled = from;
            }
            store_line(surface, to, begin + front, count - front, raster_op);
        }
    }
}

// From logical corners to pixels. False where nothing lies between them.
bool map_axes(HDC device, POINT corner, SIZE size, Axis& x, Axis& y)
{
    const auto far_side = [](int32_t near, int32_t length) {
        const int64_t sum = int64_t{near} + length;
        return static_cast<int32_t>(std::clamp<int64_t>(sum, -INT32_MAX, INT32_MAX));
    };
    POINT points[2] = {corner, {far_side(corner.x, size.cx), far_side(corner.y, size.cy)}};
    LPtoDP(device, points, 2);
    x.begin = std::min(points[0].x, points[1].x);
    y.begin = std::min(points[0].y, points[1].y);
    x.length = std::max(points[0].x, points[1].x) - x.begin;
    y.length = std::max(points[0].y, points[1].y) - y.begin;
    x.is_mirrored = points[1].x < points[0].x;
    y.is_mirrored = points[1].y < points[0].y;
    return x.length != 0 && y.length != 0;
}

bool is_drawable(const BITMAPINFOHEADER& info)
{
    const bool depth =
        info.biBitCount == 1 || info.biBitCount == 4 || info.biBitCount == 8 || info.biBitCount == 24;
    return depth && info.biCompression == 0 && info.biWidth > 0 && info.biHeight > 0;
}

}  // namespace

int StretchDIBits(HDC number, int x, int y, int width, int height, int source_x, int source_y, int source_width,
                  int source_height, const void* bits, const ImageHeader* header, uint32_t usage,
                  uint32_t raster_op)
{
    Device* device = device_of(number);
    if (device == nullptr || !is_drawable(header->info) || usage != DIB_RGB_COLORS || source_width < 1 ||
        source_height < 1) {
        return 0;
    }
    if (device->callback != nullptr) {
        const orv_stretch call = {.x = x,
                                  .y = y,
                                  .width = width,
                                  .height = height,
                                  .source_x = source_x,
                                  .source_y = source_y,
                                  .source_width = source_width,
                                  .source_height = source_height,
                                  .bits = bits,
                                  .header = header,
                                  .usage = usage,
                                  .raster_op = raster_op};
        device->callback(number, &call, device->user);
        device = device_of(number);  // the callback may have deleted it
    }
    if (device == nullptr || surface_of(*device).pixels == nullptr) {
        return source_height;
    }
    const BITMAPINFOHEADER& info = header->info;
    const std::ptrdiff_t stride =
        static_cast<std::ptrdiff_t>(((int64_t{info.biWidth} * info.biBitCount + 31) >> 5) * 4);
    const Picture picture = {.top = static_cast<const uint8_t*>(bits) + (info.biHeight - 1) * stride,
                             .pitch = -stride,
                             .width = info.biWidth,
                             .height = info.biHeight,
                             .bits = info.biBitCount,
                             .palette = header->palette};
    Axis across = {}, down = {};
    across.source = source_x;
    across.source_length = source_width;
    down.source = int64_t{info.biHeight} - source_y - source_height;
    down.source_length = source_height;
    if (map_axes(number, {x, y}, {width, height}, across, down)) {
        Surface& surface = surface_of(*device);
        open_colours(surface, picture);
        draw_rows(surface, picture, across, down, raster_op);
    }
    return source_height;
}

int BitBlt(HDC number, int x, int y, int width, int height, HDC source_number, int source_x, int source_y,
           uint32_t raster_op)
{
    Device* const device = device_of(number);
    Device* const source = device_of(source_number);
    if (device == nullptr || source == nullptr || surface_of(*source).pixels == nullptr || width < 1 ||
        height < 1) {
        return 0;
    }
    Surface& surface = surface_of(*device);
    const Surface& from = surface_of(*source);
    static RGBQUAD colours[256];
    std::fill_n(colours, 256, RGBQUAD{});
    surface_colours(from, colours);
    const Picture picture = {.top = from.pixels,
                             .pitch = from.stride,
                             .width = from.width,
                             .height = from.height,
                             .bits = from.bits,
                             .palette = colours};
    Axis across = {}, down = {};
    across.source = source_x;
    across.source_length = width;
    down.source = source_y;
    down.source_length = height;
    if (surface.pixels != nullptr && map_axes(number, {x, y}, {width, height}, across, down)) {
        open_colours(surface, picture);
        draw_rows(surface, picture, across, down, raster_op);
    }
    return 1;
}

}  // namespace platform
