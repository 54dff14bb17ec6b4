/*
 * What an application needs beside orvimg32.h on a host that is not Windows: the memory of blocks, and
 * devices, bitmaps, palettes, a screen and a clipboard in the place of the system's. On Windows these are the
 * system's own, and nothing is declared here.
 *
 * Devices, bitmaps and palettes are numbers from 1 to 32767; 0 is none. Functions that return int32_t, HDC,
 * HBITMAP or HPALETTE give 0 or more on success, else -1 (no memory), -2 (no such object) or -3 (arguments
 * that make no object). The calls of several threads are put in order, but what a pointer from here points to
 * is only steady while no other thread draws.
 */
#ifndef ORVIMG32_HOST_H
#define ORVIMG32_HOST_H

#include "orvimg32.h"

#if !defined(_WIN32)

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------- blocks ---- */

/*
 * The address of a block, such as the one whose number IMG_bitmap_info returns: an ImageHeader cut to its
 * palette, then the rows, bottom row first, each (width * bits + 31) / 32 * 4 bytes. Null for a number that is
 * no block's. The address holds until an operation replaces the image's block or the image is deleted. Each
 * lock wants one orv_block_unlock, before the next call that takes the handle.
 */
ORV_API void* orv_block_lock(int32_t block);

/* Gives back one orv_block_lock. Result: 0, or -2 for a number that is no block's. */
ORV_API int32_t orv_block_unlock(int32_t block);

/* ------------------------------------------------------------------ devices ---- */

/* What a device tells of itself: its surface, and what a driver would answer. */
struct orv_device_traits {
    int32_t width;             /* pixels, 1 to 32767 */
    int32_t height;            /* rows, 1 to 32767 */
    int32_t bits_per_pixel;    /* 1, 4, 8 or 24 */
    int32_t number_of_colours; /* that the device shows at once; -1 for true colour. Pictures of 4 bits and more
                                  are diffused to black and white where it is below 4 */
    int32_t dots_per_inch;     /* 0 where it does not matter. At 300, diffusion uses a gamma curve */
    int32_t scaling_supported; /* non-zero: the device scales by powers of 2 and states the two below */
    int32_t scaling_shift_x;   /* 0 to 4 */
    int32_t scaling_shift_y;   /* 0 to 4 */
    const char* technology;    /* copied, at most 63 characters; null: not answered. "PostScript", in any case,
                                  keeps pictures from being diffused */
};

/*
 * Makes a device that is drawn on in memory: white, mapping mode 1, all origins 0 and all extents 1. A
 * 1 by 1 device is as good as any other. Result: the device, -1, or -3 for traits (or null) that no device has.
 */
ORV_API HDC orv_device_create(const struct orv_device_traits* traits);

/*
 * Makes a device without a surface, however large: what is drawn on it reaches its callback alone. For pages,
 * which would take much memory. Results as orv_device_create.
 */
ORV_API HDC orv_printer_create(const struct orv_device_traits* traits);

/* Ends a device and its surface. A screen that goes is no longer the screen. Result: 0 or -2. */
ORV_API int32_t orv_device_delete(HDC device);

/*
 * The surface: rows top first, packed as in an image in memory, `stride` bytes apart. 1 bit: 1 is white, and
 * colours become black or white. 4 and 8 bits: indexes into the palette in use, each colour being matched to
 * the nearest; before one is realised these are 16 or 256 default colours. 24 bits: blue, green, red. Neither
 * place may be null. The pointer holds until the device is deleted. Result: 0; -2; -3 for a printer.
 */
ORV_API int32_t orv_device_pixels(HDC device, const uint8_t** pixels, int32_t* stride);

/*
 * Fills 1024 bytes with the colours of a surface's indexes: blue, green, red, 0 for each, zeros behind the
 * last. Result: the number of entries of the palette that was realised (IMG_bitmap_palette), 0 where none was
 * and the bytes hold the default colours; -2; -3 for null.
 */
ORV_API int32_t orv_device_palette(HDC device, uint8_t* bgrx_1024);

/*
 * How logical coordinates become pixels: pixel = (logical - window origin) * viewport extent / window extent +
 * viewport origin, to the nearest whole number. Modes: 1 pixels, y falling; 2 0.1 mm; 3 0.01 mm; 4 0.01 inch;
 * 5 0.001 inch; 6 1/1440 inch, all five with y rising; 7 any unit, the same on both axes; 8 any units. In
 * modes 1 to 6 the extents follow from the mode, whatever is set; in mode 7 the larger viewport unit shrinks to
 * the smaller one.
 */
struct orv_mapping {
    int32_t mode;
    int32_t window_left, window_top, window_width, window_height;
    int32_t viewport_left, viewport_top, viewport_width, viewport_height;
};

/* Result: 0; -2; -3 for null, another mode, or an extent of 0 where it counts. */
ORV_API int32_t orv_device_set_mapping(HDC device, const struct orv_mapping* mapping);

/* Result: 0; -2; -3 for null. */
ORV_API int32_t orv_device_get_mapping(HDC device, struct orv_mapping* mapping);

/* A piece of a picture on its way to a device, in the device's logical coordinates. */
struct orv_stretch {
    int32_t x, y, width, height; /* destination; a negative size extends to the left or upwards, and mirrors */
    int32_t source_x, source_y;  /* the part of the image, in pixels; y counts from its bottom row. A crop */
    int32_t source_width, source_height; /* rectangle can make it reach outside the image */
    const void* bits;                    /* rows, bottom row first */
    const void* header;                  /* BITMAPINFOHEADER, then the palette of 2, 16 or 256 entries if any */
    uint32_t usage;                      /* 0: the palette holds colours */
    uint32_t raster_op;                  /* 0x00CC0020: the image replaces what was there */
};

/* Sees a piece before it is drawn on the surface. Header and bits are valid during the call only. */
typedef void (*orv_stretch_callback)(HDC device, const struct orv_stretch* call, void* user);

/*
 * Sets the function that sees all pictures drawn on a device; null removes it. This is where the driver of a
 * real printer joins. Pictures arrive in bands, the picture's bottom band first. The function may call the
 * library, but the picture in use can't be deleted or drawn, and nothing loaded, saved or operated on, before
 * it returns. Result: 0 or -2.
 */
ORV_API int32_t orv_device_set_callback(HDC device, orv_stretch_callback callback, void* user);

/*
 * Makes a device the screen, for the functions that ask for the active window's device; 0 takes the screen
 * away, and a 24-bit surface of one pixel stands in. Result: 0 or -2.
 */
ORV_API int32_t orv_screen_set(HDC device);

/* ----------------------------------------------------- bitmaps and palettes ---- */

/*
 * Makes a device bitmap from rows, top row first, packed, each a multiple of 4 bytes. bits: 1, 4, 8, 16, 24 or
 * 32. bgrx: 1 << bits entries of blue, green, red, 0; not looked at above 8 bits. Both are copied. Result: the
 * bitmap, -1, or -3.
 */
ORV_API HBITMAP orv_bitmap_create(int32_t width, int32_t height, int32_t bits, const uint8_t* rows,
                                  const uint8_t* bgrx);

/*
 * Tells of a bitmap, IMG_dib_to_ddb's too. Places may be null. `pixels` gets its rows, top row first, which
 * hold until the bitmap is deleted. Result: 0 or -2.
 */
ORV_API int32_t orv_bitmap_describe(HBITMAP bitmap, int32_t* width, int32_t* height, int32_t* bits,
                                    const uint8_t** pixels, int32_t* stride);

/* Deletes a bitmap, IMG_dib_to_ddb's too; it leaves the clipboard. Result: 0 or -2. */
ORV_API int32_t orv_bitmap_delete(HBITMAP bitmap);

/* Makes a palette of 1 to 256 entries of blue, green, red, 0. Result: the palette, -1, or -3. */
ORV_API HPALETTE orv_palette_create(const uint8_t* bgrx, int32_t entries);

/* Deletes a palette. Devices keep the colours that were realised from it. Result: 0 or -2. */
ORV_API int32_t orv_palette_delete(HPALETTE palette);

/* How many devices, bitmaps and palettes there are, IMG_bitmap_palette's included: what leaks shows here. */
ORV_API int32_t orv_live_objects(void);

/* ---------------------------------------------------------------- clipboard ---- */

/* Puts a copy of a packed image (header, palette, rows) on the clipboard; null clears it. Result: 0 or -1. */
ORV_API int32_t orv_clipboard_set_dib(const void* packed, uint32_t size);

/* Puts a bitmap on the clipboard, which does not copy it; 0 clears it. Result: 0 or -2. */
ORV_API int32_t orv_clipboard_set_bitmap(HBITMAP bitmap);

/* Non-zero: somebody else has the clipboard open, and it can't be opened. Result: 0. */
ORV_API int32_t orv_clipboard_set_busy(int32_t busy);

#ifdef __cplusplus
}
#endif

#endif

#endif
