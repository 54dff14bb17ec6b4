/*
 * What this library adds to the described interface: what a load could not read, pages and formats of
 * files in memory, pixels for viewers, and the version. Nothing here changes what other functions do.
 */
#ifndef ORVIMG32_EXTRA_H
#define ORVIMG32_EXTRA_H

#include "orvimg32.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ version ---- */

/* The interface that this header declares: major * 10000 + minor * 100 + patch. */
#define ORV_VERSION 10000

/* The version of the library that runs, counted like ORV_VERSION. */
ORV_API int32_t orv_version(void);

/* -------------------------------------------------------------- load report ---- */

/*
 * How much of the last picture came. rows = rows_whole + rows_repaired + rows_missing, all 0 where the load
 * failed ahead of the rows.
 */
struct OrvLoadReport {
    uint32_t size;         /* set by the caller: sizeof(struct OrvLoadReport) */
    int32_t rows;          /* rows of the picture */
    int32_t rows_whole;    /* rows that came as the file says */
    int32_t rows_repaired; /* rows in which something was made up, repeated or cut */
    int32_t rows_missing;  /* rows of which nothing came: zero; a RowCallback gets them in
                              uncompressed BMP, TGA and WMF files alone */
    char reason[96];       /* a short text, empty where every row is whole; always terminated */
};

/*
 * Tells how the last load of the calling thread went, a failed one too. `report` gets as many bytes as its
 * `size` says, of this structure's at most. Result: 0; ORV_BAD_DATA for a null report or a size below 8.
 */
ORV_API int32_t orv_load_report(struct OrvLoadReport* report);

/* ----------------------------------------------------------------- settings ---- */

/* What readers take. */
enum OrvReading {
    ORV_READING_DESCRIBED = 0, /* what this library has always taken */
    ORV_READING_WIDE = 1       /* also what a format's published description allows beyond that */
};

/* What encoders write. */
enum OrvWriting {
    ORV_WRITING_DESCRIBED = 0, /* what this library has always written */
    ORV_WRITING_STANDARD = 1   /* what a format's published description asks for */
};

/*
 * Sets what all loads from now on take, an OrvReading. It concerns
 *   JPEG  wide: frame headers in T.81's own layout (SOF0, SOF1 of 8 bits; one or three components), whose
 *         colours are JFIF's; three components in several scans, for which a load takes three bytes a pixel;
 *         fill bytes in front of markers; segments above 32,767 bytes.
 * Result: 0; ORV_NOT_SUPPORTED for any other value.
 */
ORV_API int32_t orv_set_reading(int32_t reading);

/*
 * Sets what all saves from now on write, an OrvWriting. It concerns
 *   JPEG  standard: T.81's frame header and JFIF's colours at any width; coefficients are rounded, chroma is
 *         averaged, and edges are repeated into the padding. Described files have at most 2720 columns.
 * Result: 0; ORV_NOT_SUPPORTED for any other value.
 */
ORV_API int32_t orv_set_writing(int32_t writing);

/* ------------------------------------------------------------------- saving ---- */

/*
 * Puts the page counter and the percentage of saves back to 0, so that the next save begins a job, whatever
 * a failed one left.
 */
ORV_API void orv_reset_progress(void);

/* ---------------------------------------------------------- files in memory ---- */

/*
 * Counts the pages of a TIFF, DCX or fax file of `size` bytes in memory; 1 for a file of a format without
 * pages. Result: the count; ORV_NOT_SUPPORTED where nothing recognises the file; ORV_BAD_DATA and
 * ORV_OUT_OF_MEMORY as IMG_tiff_page_count and IMG_dcx_page_count give them.
 */
ORV_API int16_t orv_page_count_mem(const void* block, uint32_t size);

/* IMG_get_filetype_fd for a file of `size` bytes in memory. A null block counts as empty. */
ORV_API int16_t orv_get_filetype_mem(const void* block, uint32_t size);

/* ------------------------------------------------------------------- pixels ---- */

/*
 * Copies an image to `out` as red, green, blue, 255, four bytes a pixel, the top row first. Rows begin
 * `stride` bytes apart, at least 4 * width; nothing is written between them.
 * Result: 0; ORV_BAD_HANDLE; ORV_BAD_DATA for a null `out` or a stride that is too small.
 */
ORV_API int32_t orv_to_rgba(int32_t handle, void* out, uint32_t stride);

#ifdef __cplusplus
}
#endif

#endif
