/*
 * OrvImg32: read, change, print and write the pictures of old systems.
 *
 * A picture lives under a small integer handle as an uncompressed bitmap of 1, 4, 8 or 24 bits a
 * pixel. IMG_ functions work on handles. IMGLOW_ functions stream: a reader hands a header and scan
 * lines to the caller's callbacks, a writer pulls scan lines from one, and no handle is involved.
 *
 * Every function that returns int16_t returns a negative OrvResult code on failure and zero, a
 * handle or a count on success, as its comment says.
 *
 * Calls of several threads are put in order by the library: one runs at a time. From inside a callback
 * a load, a save and an operation are refused with ORV_NOT_SUPPORTED, and so is deleting or drawing the
 * image in use; everything else works.
 *
 * Plain C99; C++ programs may include it as it is.
 */
#ifndef ORVIMG32_ORVIMG32_H
#define ORVIMG32_ORVIMG32_H

#include <stdint.h>

#if defined(_WIN32)
#include <windows.h>
#endif

#if !defined(ORV_API)
#if defined(__GNUC__)
#define ORV_API __attribute__((visibility("default")))
#else
#define ORV_API
#endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ results ---- */

/* The negative results. A function's comment lists which of them it gives. */
enum OrvResult {
    ORV_OK = 0,
    ORV_OUT_OF_MEMORY = -1, /* a block of memory could not be had */
    ORV_UNREADABLE = -2,    /* empty name, file that can't be opened, page or bitmap not there */
    ORV_BAD_DATA = -3,      /* the data is not what its format requires */
    ORV_NO_BITMAP = -5,     /* clipboard or device bitmap without a bitmap */
    ORV_NOT_SUPPORTED = -6, /* unknown format, or a depth or size that can't be carried */
    ORV_BAD_HANDLE = -7,    /* negative, out of range, or deleted handle */
    ORV_NOT_CREATED = -8,   /* a file could not be created or opened for writing */
    ORV_NO_SUCH_PAGE = -9,  /* the page asked for does not exist */
    ORV_SHORT_WRITE = -10   /* fewer bytes were written than asked */
};

/* ------------------------------------------------------------------ records ---- */

#if !defined(_WIN32)
/* The 40-byte bitmap header and the palette entry of the Windows device-independent bitmap. */
typedef struct tagBITMAPINFOHEADER {
    uint32_t biSize;         /* 40 */
    int32_t biWidth;         /* pixels, 1 to 32767 */
    int32_t biHeight;        /* rows, 1 to 32767; storage is bottom row first */
    uint16_t biPlanes;       /* 1 */
    uint16_t biBitCount;     /* 1, 4, 8 or 24 */
    uint32_t biCompression;  /* 0 in memory */
    uint32_t biSizeImage;    /* bytes of pixels as the reader stated them; may be 0 */
    int32_t biXPelsPerMeter; /* dots per inch here, not per metre */
    int32_t biYPelsPerMeter; /* dots per inch here, not per metre */
    uint32_t biClrUsed;
    uint32_t biClrImportant;
} BITMAPINFOHEADER;

typedef struct tagRGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
} RGBQUAD;

/* Numbers of things to draw with, which host.h makes. */
typedef int32_t HDC;      /* device: a screen, a printer, a surface in memory */
typedef int32_t HBITMAP;  /* device bitmap */
typedef int32_t HPALETTE; /* palette */
typedef int32_t HWND;     /* window; there is one, number 1 */
#endif

/*
 * A bitmap header with its palette of 2, 16 or 256 entries; none at 24 bits. An ImageHeader that a
 * callback receives, or that is passed in, needs to be only as long as its palette: 40 + 4 * entries
 * bytes. A buffer for any header is sizeof(ImageHeader), 1064 bytes.
 */
typedef struct ImageHeader {
    BITMAPINFOHEADER info;
    RGBQUAD palette[256];
} ImageHeader;

/*
 * What the library keeps for each handle. Memory blocks and GDI objects are 32-bit numbers; lock
 * them with orv_block_lock (host.h). The two addresses are valid inside the library only and stale
 * between calls.
 */
typedef struct ImageRecord {
    int32_t dest_left; /* destination rectangle of the last draw */
    int32_t dest_top;
    int32_t dest_width;
    int32_t dest_height;
    int32_t crop_left; /* crop rectangle in pixels, from the picture's top left corner */
    int32_t crop_top;
    int32_t crop_width;
    int32_t crop_height;
    int32_t reserved_word;     /* 0 */
    int32_t lut_palette_block; /* block with the palette saved by IMG_set_lut, or 0 */
    int32_t dib_block;         /* block with header, palette and pixels */
    uint32_t raster_op;        /* 0x00CC0020, SRCCOPY */
    int32_t palette_object;    /* logical palette, or 0 */
    void* lut_palette;         /* address of lut_palette_block */
    void* dib;                 /* address of dib_block */
    int32_t image_width;       /* pixels */
    int32_t image_height;      /* rows */
    int32_t row_stride;        /* bytes of a stored row, a multiple of 4 */
    int32_t dither_row;        /* phase of the device dither */
} ImageRecord;

/* What is known of the last picture loaded; see IMG_get_extra_info. */
typedef struct ExtraInfo {
    int16_t format;              /* what was loaded, an OrvFormat */
    int16_t x_resolution;        /* dots per inch, 0 where the format gives none */
    int16_t y_resolution;        /* dots per inch after any line doubling */
    int16_t stored_y_resolution; /* dots per inch as the file stores it */
} ExtraInfo;

/*
 * Format numbers. Detection gives 0 to 6, 11 and 13 to 15; IMG_get_extra_info tells the finer ones
 * apart too; saving takes them all, as far as an encoder exists.
 */
enum OrvFormat {
    ORV_FORMAT_BY_NAME = -1, /* IMG_save_bitmap only: decide by the file name's last three letters */
    ORV_FORMAT_TIFF = 0,     /* TIFF: uncompressed on saving, uncompressed or PackBits on loading */
    ORV_FORMAT_BMP = 1,      /* BMP, uncompressed */
    ORV_FORMAT_PCX = 2,
    ORV_FORMAT_TGA = 3,
    ORV_FORMAT_GIF = 4,
    ORV_FORMAT_WPG = 5,
    ORV_FORMAT_WMF = 6,
    ORV_FORMAT_TIFF_HUFFMAN = 7, /* TIFF, Compression 2 (Modified Huffman); saving only */
    ORV_FORMAT_TIFF_T4 = 8,  /* TIFF, Compression 3 (ITU-T T.4); on loading also Compression 2 and fax files */
    ORV_FORMAT_TIFF_LZW = 9, /* TIFF, Compression 5 */
    ORV_FORMAT_TIFF_T6 = 10, /* TIFF, Compression 4 (ITU-T T.6) */
    ORV_FORMAT_DCX = 11,
    ORV_FORMAT_BMP_RLE = 12, /* BMP, run-length compressed */
    ORV_FORMAT_JPEG = 13,
    ORV_FORMAT_EPS = 14,
    ORV_FORMAT_PICT = 15
};

/* The stream number that stands for the one memory stream instead of a file descriptor. */
#define ORV_MEMORY_STREAM 32767

/* ---------------------------------------------------------------- callbacks ---- */

/*
 * Receives the header of a picture, once, before any row. `header` belongs to the reader, and
 * describes what the rows hold: biWidth, biHeight, biBitCount and a full palette. Copy it to keep it.
 * A negative result ends the decode and becomes its result.
 */
typedef int16_t (*HeaderCallback)(ImageHeader* header, void* user_data);

/*
 * Receives one scan line. `row` holds `length` bytes: pixels packed from the high bit down at 1 and
 * 4 bits, an index a byte at 8 bits, blue, green, red at 24 bits. `row_number` counts from 0, the
 * picture's top line, and lies below biHeight; rows may come in any order, and one may come twice.
 * The row is valid during the call only. The result is ignored.
 */
typedef int16_t (*RowCallback)(const void* row, void* user_data, int16_t row_number, int16_t length);

/*
 * Supplies one scan line to an encoder: store `length` bytes of line `row` at `destination`. `row`
 * counts from 0, the BOTTOM line of the picture. Lines may be asked for in any order.
 */
typedef void (*RowSource)(void* user_data, void* destination, int16_t row, int16_t length);

/* Receives a percentage from a running encoder or operation. */
typedef void (*ProgressCallback)(int16_t percent, void* user_data);
typedef void (*LegacyProgressCallback)(int16_t percent);

/* ------------------------------------------------------------------ loading ---- */

/*
 * Loads the picture file `file_name` (page 0) into a new handle. The format is told by the file's
 * first bytes, never by its name.
 * Result: the handle (0 or above), owned by the caller until IMG_delete_bitmap; ORV_UNREADABLE (null
 * or empty name, file can't be opened, or what IMGLOW_decompress_bitmap gives it for),
 * ORV_OUT_OF_MEMORY, ORV_BAD_DATA, ORV_NOT_SUPPORTED, ORV_NOT_CREATED or ORV_NO_SUCH_PAGE as
 * IMGLOW_decompress_bitmap gives them. A failed load leaves nothing behind.
 */
ORV_API int16_t IMG_decompress_bitmap(const char* file_name);

/*
 * The same from an open stream: a file descriptor open for reading, or ORV_MEMORY_STREAM as the last
 * _mem call left it. `offset` is the picture's byte position in the stream; `page` counts from 0 and,
 * where it is not 0, takes the place of `offset`. The stream stays open and the caller's; its
 * position afterwards is unspecified.
 */
ORV_API int16_t IMG_decompress_bitmap_fd(int32_t stream, uint32_t offset, int16_t page);

/*
 * The same from memory: `block` holds a complete file. Its size is not known to the library, so the
 * block must come from a trusted place: use IMG_decompress_bitmap_mem_sized (sized.h) for any other.
 */
ORV_API int16_t IMG_decompress_bitmap_mem(void* block, int16_t page);

/*
 * Decodes a picture from `stream` (as in IMG_decompress_bitmap_fd) to the caller's callbacks, both of
 * which get `user_data`. Neither callback may be null.
 * Result: a handle number without meaning for the caller on success: 0, or what the last load into a
 * handle gave, a negative code of an earlier failure included, so that success is best judged by the
 * callbacks. ORV_OUT_OF_MEMORY; ORV_UNREADABLE (PCX header cut short, DCX page not there);
 * ORV_BAD_DATA (not what the format requires, or no width or height); ORV_NOT_SUPPORTED (no reader
 * knows the data, or its depth or size can't be carried); ORV_NOT_CREATED (planar TIFF: "plane.tmp"
 * can't be made in the current directory); ORV_NO_SUCH_PAGE (TIFF and fax files); or the negative
 * result of the HeaderCallback. Damaged pixel data rarely fails: rows that it does not give are not
 * delivered, and orv_load_report (extra.h) counts them.
 */
ORV_API int16_t IMGLOW_decompress_bitmap(int32_t stream, uint32_t offset, int16_t page,
                                         RowCallback row_callback, void* user_data,
                                         HeaderCallback header_callback);

/* The same from a block of unknown size that holds a complete file, at its start. */
ORV_API int16_t IMGLOW_decompress_bitmap_mem(void* block, int16_t page, RowCallback row_callback,
                                             void* user_data, HeaderCallback header_callback);

/*
 * Makes a handle from a packed bitmap in memory: header, palette of 2, 16 or 256 entries behind its
 * biSize bytes (none at 24 bits), then the rows, bottom row first, each padded to a multiple of 4
 * bytes. The bitmap is copied and stays the caller's.
 * Result: the handle; ORV_OUT_OF_MEMORY; ORV_BAD_DATA (null, width or height below 1, biSize below
 * 40); ORV_NOT_SUPPORTED (biCompression other than 0, depth other than 1, 4, 8, 24, size above 32767, row
 * above 32,764 bytes).
 */
ORV_API int16_t IMG_create_handle(const ImageHeader* image);

/* ---------------------------------------------------------------- detection ---- */

/*
 * Tells the format of a file by its first bytes.
 * Result: an OrvFormat; ORV_UNREADABLE (null or empty name, or can't be opened); ORV_NOT_SUPPORTED
 * (nothing recognises it; fax files too, which IMG_get_filetype_fd knows).
 */
ORV_API int16_t IMGLOW_get_filetype(const char* file_name);

/*
 * Tells the format of an open stream, from its position 0, and leaves it there.
 * Result: an OrvFormat, ORV_FORMAT_TIFF for a fax file; -1 where nothing recognises it.
 */
ORV_API int16_t IMG_get_filetype_fd(int32_t stream);

/*
 * Details of the calling thread's last load: the address of its ExtraInfo, valid for the life of the
 * thread and changed by its next load. Never null. A stored_y_resolution of 0 is set to y_resolution by
 * this call.
 */
ORV_API void* IMG_get_extra_info(void);

/* -------------------------------------------------------------- page counts ---- */

/*
 * Counts the pages of a TIFF or fax file. The stream is left where the walk ended.
 * Result: the count; ORV_BAD_DATA (header or directory cut short, or a chain of more than 4096
 * directories); ORV_OUT_OF_MEMORY. Counting also changes the text buffers of IMGLOW_get_bitmap_name.
 */
ORV_API int16_t IMG_tiff_page_count(int32_t stream);

/*
 * Counts the pages of a DCX file, at most 32,767.
 * Result: the count, or ORV_BAD_DATA where the stream does not start with the DCX magic.
 */
ORV_API int16_t IMG_dcx_page_count(int32_t stream);

/* ------------------------------------------------------ handles and records ---- */

/*
 * Releases an image and all that belongs to it. Result: 0; ORV_BAD_HANDLE; ORV_NOT_SUPPORTED from inside
 * a callback of the save or operation that uses the image.
 */
ORV_API int16_t IMG_delete_bitmap(int32_t handle);

/*
 * Gives width and height in pixels and the depth in bits (1, 4, 8 or 24). None of the three places
 * may be null; they are left alone on failure.
 * Result: the number of the block that holds header, palette and pixels, for orv_block_lock
 * (host.h), or ORV_BAD_HANDLE. An operation may replace the block.
 */
ORV_API int32_t IMG_bitmap_info(int32_t handle, uint16_t* width, uint16_t* height, uint16_t* bits);

/* The image's record, owned by the library and valid until the image is deleted; null for a bad handle. */
ORV_API ImageRecord* IMG_get_dib_intern(int32_t handle);

/*
 * Reads the crop rectangle: pixels, from the picture's top left corner. No place may be null; they
 * are left alone on failure. Result: 0 or ORV_BAD_HANDLE.
 */
ORV_API int16_t IMG_get_croprect(int32_t handle, int16_t* left, int16_t* top, int16_t* width, int16_t* height);

/*
 * Sets the crop rectangle, which saving and drawing obey. The values are not compared with the
 * image: what lies outside it saves as zero bytes. Result: 0 or ORV_BAD_HANDLE.
 */
ORV_API int16_t IMG_set_croprect(int32_t handle, int16_t left, int16_t top, int16_t width, int16_t height);

/*
 * Copies header and palette, 40 bytes and 8, 64, 1024 or 0 more, to `buffer`; sizeof(ImageHeader)
 * bytes always suffice. Result: 0 or ORV_BAD_HANDLE.
 */
ORV_API int16_t IMGLOW_get_bitmap_header(int32_t handle, void* buffer);

/*
 * Copies the two text buffers, which TIFF reading fills from the Artist and DateTime fields and TIFF
 * writing writes out. `name` needs 200 bytes, `date` 40, both with their terminators. Result: 0.
 */
ORV_API int16_t IMGLOW_get_bitmap_name(char* name, char* date);

/* Sets the two text buffers. Texts are cut at 199 and 39 characters. Result: 0. */
ORV_API int16_t IMGLOW_set_bitmap_name(const char* name, const char* date);

/* ----------------------------------------------------------------- progress ---- */

/*
 * Sets the function that encoders and operations report percentages to, with `user` handed through.
 * It stays until replaced; null removes it. It can't stop the work.
 */
ORV_API void IMG_set_callback(ProgressCallback function, void* user);

/* The older form, used while IMG_set_callback has set no function. Null removes it. */
ORV_API void LibInitCallBack(LegacyProgressCallback function);

/* ------------------------------------------------------------------- saving ---- */

/*
 * Saves the crop rectangle of an image to a file. The image is not changed.
 *   format           an OrvFormat, or ORV_FORMAT_BY_NAME. TIFF and DCX formats add a page to an
 *                    existing file; all others replace it.
 *   page_total       the number of saves that make up one job, for progress; below 1 counts as 1
 *   fine_resolution  0 asks PCX and T.4 TIFF for low vertical resolution
 *   write_rtc        non-zero: T.4 TIFF ends with the return-to-control code
 *   report_progress  0 keeps T.4 TIFF silent
 * The last four stay in force for later saves through any function.
 * Result: 0; ORV_BAD_HANDLE; ORV_NOT_SUPPORTED (unknown format, a depth that the format does not
 * take, crop rectangle without width or height), the file system then being left alone;
 * ORV_NOT_CREATED (null or empty name, file can't be created; DCX: "temp.pcx" can't be made);
 * ORV_OUT_OF_MEMORY; ORV_BAD_DATA (a file that no page can be added to); ORV_SHORT_WRITE. A partly
 * written file stays behind.
 */
ORV_API int16_t IMG_save_bitmap(int32_t handle, const char* file_name, int16_t format, int16_t page_total,
                                int32_t fine_resolution, int32_t write_rtc, int32_t report_progress);

/*
 * The same to an open stream, a file descriptor open for reading and writing, with the settings as
 * they stand. The stream stays the caller's.
 */
ORV_API int16_t IMG_save_bitmap_fd(int32_t handle, int32_t stream, int16_t format);

/*
 * The same to memory. `block` must be large enough for the file, of whose size the library says
 * nothing: IMG_save_bitmap_mem_sized (sized.h) is the bounded form.
 */
ORV_API int16_t IMG_save_bitmap_mem(int32_t handle, void* block, int16_t format);

/*
 * Encodes a picture from the caller's row source. `header` gives size, depth and palette, and is not
 * changed. Rows are asked for in the stored length: (width * bits + 31) / 32 * 4 bytes.
 * Result: as IMG_save_bitmap; ORV_BAD_DATA and ORV_NOT_SUPPORTED also for a header of no or
 * unsupported size or depth.
 */
ORV_API int16_t IMGLOW_save_bitmap(int32_t stream, ImageHeader* header, int16_t format, RowSource row_source,
                                   void* user_data);

/* The same to a block that must be large enough. */
ORV_API int16_t IMGLOW_save_bitmap_mem(void* block, ImageHeader* header, int16_t format, RowSource row_source,
                                       void* user_data);

/*
 * Sets the quantisation tables of all JPEG files saved from now on. `quality` is a step, not a quality: 0 is
 * the finest, 100 the coarsest; values outside count as the nearest. The tables that the library begins with
 * can't be brought back. Result: 0.
 */
ORV_API int16_t IMGLOW_set_comp_quality(int16_t quality);

/* --------------------------------------------------------- colour reduction ---- */

/*
 * The operations below change the image under its handle, which stays the same; its block may be
 * replaced. Common results: 0; ORV_BAD_HANDLE; ORV_OUT_OF_MEMORY, the image untouched;
 * ORV_NOT_SUPPORTED for a depth that the operation does not take, the image untouched. Those marked
 * (progress) report to the progress function.
 */

/* 4, 8 or 24 bits to 8: the fixed palette of 8 reds, 8 greens and 4 blues, error diffused. (progress) */
ORV_API int16_t IMG_mediancut_color(int32_t handle);

/* 24 bits to 8: the 255 most frequent colours of four bits a channel, no dithering. (progress) */
ORV_API int16_t IMG_popularity_color(int32_t handle);

/* 4, 8 or 24 bits to 8 bits of gray; white becomes 253. (progress) */
ORV_API int16_t IMG_color_gray(int32_t handle);

/* ---------------------------------------------------------------- dithering ---- */

/* 4, 8 or 24 bits to black and white by an 8 by 8 ordered dither. (progress) */
ORV_API int16_t IMG_bayer_mono(int32_t handle);

/* 4, 8 or 24 bits to black and white by an 8 by 8 clustered-dot halftone. (progress) */
ORV_API int16_t IMG_halftone_mono(int32_t handle);

/* 4, 8 or 24 bits to black and white by error diffusion over three lines. */
ORV_API int16_t IMG_diffusion_mono(int32_t handle);

/* 4, 8 or 24 bits to 4 bits, the sixteen standard colours, by ordered dither. (progress) */
ORV_API int16_t IMG_bayer_color(int32_t handle);

/* 4, 8 or 24 bits to 4 bits, the sixteen standard colours, by error diffusion. (progress) */
ORV_API int16_t IMG_diffusion_color(int32_t handle);

/* ----------------------------------------------------------------- geometry ---- */

/* Mirrors left to right, the crop rectangle too. Any depth. */
ORV_API int16_t IMG_flip_bitmapx(int32_t handle);

/* Mirrors top to bottom, the crop rectangle too. Any depth. */
ORV_API int16_t IMG_flip_bitmapy(int32_t handle);

/*
 * Turns by `angle` degrees: 90 clockwise, 180, 270 counter-clockwise; any other value mirrors on the
 * diagonal from the bottom left to the top right corner. The crop rectangle turns along, and the
 * destination size becomes the crop rectangle's after a quarter turn. Any depth.
 */
ORV_API int16_t IMG_rotate_bitmap(int32_t handle, int16_t angle);

/*
 * Resizes to new_width by new_height pixels (1 to 32767) by point sampling; the crop rectangle is
 * reset to the whole image. Any depth. ORV_NOT_SUPPORTED for a size below 1 or a row of more than
 * 32,764 bytes, the image untouched.
 */
ORV_API int16_t IMG_resize_bitmap(int32_t handle, int16_t new_width, int16_t new_height);

/* --------------------------------------------------------------------- tone ---- */

/*
 * Contrast (-128 and up, 0 neutral, pivot 128) and brightness (0 neutral, a unit moves values by 2).
 * At 4 and 8 bits the palette is worked out anew from the picture's original one at each call; at 24
 * bits the pixels change, and calls add up. ORV_NOT_SUPPORTED at 1 bit.
 */
ORV_API int16_t IMG_set_lut(int32_t handle, int16_t contrast, int16_t brightness);

/* Complements every pixel value: a negative at 1 and 24 bits and for gray ramps. (progress) */
ORV_API int16_t IMG_invert_bitmap(int32_t handle);

/*
 * Sharpens (strength 16 to 128) or blurs (-128 to 15, 0 the weakest) in steps of 16. 4- and 8-bit
 * images need a gray palette, else ORV_NOT_SUPPORTED. 1-bit images stay as they are.
 */
ORV_API int16_t IMG_sharpen_bitmap(int32_t handle, int16_t strength);

/* ------------------------------------------------------------------ drawing ---- */

/*
 * Drawing takes the crop rectangle of an image and scales it to a rectangle of a device, by point sampling. A
 * negative width or height draws to the left or upwards, mirrored. Devices with fewer than four colours get
 * pictures of 4 bits and more diffused to black and white, unless they are PostScript printers; 24-bit pictures
 * go to 8-bit devices in the fixed palette of 8 reds, 8 greens and 4 blues, and pictures of 8 and 24 bits to
 * 4-bit devices in dithered sixteen colours. What can't be drawn draws nothing: a crop rectangle or a
 * destination without width or height, a device that does not exist. Columns outside the picture are zeros,
 * rows outside repeat the nearest one. The device's mapping is afterwards as before. Common results: 0;
 * ORV_BAD_HANDLE; ORV_OUT_OF_MEMORY; ORV_NOT_SUPPORTED for a destination of more than 524,272 pixels a side or
 * a handle that is in use further up.
 */

/* Draws at x, y, width, height in the device's logical units: the rectangle between the two corners' pixels. */
ORV_API int16_t IMG_display_bitmap(int32_t handle, HDC device, int16_t x, int16_t y, int16_t width,
                                   int16_t height);

/*
 * Realises the image's colours in a device: its palette, or the fixed one of 256 colours at 24 bits. The
 * palette stays the image's and goes with it or with the next call. Call it again when the image's palette has
 * changed. Result: 0, ORV_BAD_HANDLE or ORV_OUT_OF_MEMORY.
 */
ORV_API int16_t IMG_bitmap_palette(int32_t handle, HDC device);

/*
 * Makes a bitmap of width by height pixels, 1 or more, as the screen would show the image. Result: the bitmap,
 * which is the caller's to delete (orv_bitmap_delete), ORV_NO_BITMAP for an impossible size, or a common
 * result.
 */
ORV_API int16_t IMG_dib_to_ddb(int32_t handle, int16_t width, int16_t height);

/* Draws a bitmap at x, y in the device's logical units, in its own size. It stays the caller's. Result: 0. */
ORV_API int16_t IMG_display_ddb(int16_t bitmap, HDC device, int16_t x, int16_t y);

/*
 * Prints: as IMG_display_bitmap, but in numbers of pixels, which the device's mapping then takes as logical
 * units. The picture goes out in bands, its bottom first.
 */
ORV_API int16_t IMG_print_bitmap(int32_t handle, HDC device, int16_t x, int16_t y, int16_t width,
                                 int16_t height);

/* Gives the whole image to the device at once, which scales and matches it by itself. */
ORV_API int16_t IMG_print_bitmap_fast(int32_t handle, HDC device, int16_t x, int16_t y, int16_t width,
                                      int16_t height);

/* -------------------------------------------- clipboard and device bitmaps ---- */

/*
 * Writes what the clipboard holds, an image or else a bitmap, to a BMP file. `owner` is the application's
 * window, 0 for none. Result: 1; ORV_NO_BITMAP (the clipboard is busy, or holds nothing or no sound image: no
 * file is made); ORV_OUT_OF_MEMORY, which stands for a file that can't be created too; ORV_SHORT_WRITE.
 */
ORV_API int16_t IMG_save_clipboard(const char* file_name, HWND owner);

/*
 * Makes an image from a device bitmap, which stays the caller's. `palette` gives the colours of 1, 4 and 8
 * bits; 0 stands for the bitmap's own. Result: a handle, ORV_NO_BITMAP, ORV_OUT_OF_MEMORY, or ORV_NOT_SUPPORTED
 * for bitmaps of 16 and 32 bits or too large a row.
 */
ORV_API int16_t IMG_create_handle_ddb(HBITMAP bitmap, HPALETTE palette);

#ifdef __cplusplus
}
#endif

#endif
