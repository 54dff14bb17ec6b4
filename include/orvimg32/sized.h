/*
 * Loading from and saving to memory blocks of known size: the forms to use for data that nobody
 * vouches for. Each is its namesake of orvimg32.h with the block's size in bytes behind the block.
 * Reads end at the end of the block as at the end of a file; writes past it are short.
 */
#ifndef ORVIMG32_SIZED_H
#define ORVIMG32_SIZED_H

#include "orvimg32.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * IMG_decompress_bitmap_mem from a block of `size` bytes, which is only read. A null block counts as
 * empty. Results as IMG_decompress_bitmap_fd.
 */
ORV_API int16_t IMG_decompress_bitmap_mem_sized(const void* block, uint32_t size, int16_t page);

/* IMGLOW_decompress_bitmap_mem from a block of `size` bytes, which is only read. */
ORV_API int16_t IMGLOW_decompress_bitmap_mem_sized(const void* block, uint32_t size, int16_t page,
                                                   RowCallback row_callback, void* user_data,
                                                   HeaderCallback header_callback);

/*
 * IMG_save_bitmap_mem to a block of `size` bytes. A file that does not fit gives ORV_SHORT_WRITE.
 * `written`, which may be null, gets the size of the file so far, on failure too.
 */
ORV_API int16_t IMG_save_bitmap_mem_sized(int32_t handle, void* block, uint32_t size, int16_t format,
                                          uint32_t* written);

/* IMGLOW_save_bitmap_mem to a block of `size` bytes; `written` as above. */
ORV_API int16_t IMGLOW_save_bitmap_mem_sized(void* block, uint32_t size, ImageHeader* header, int16_t format,
                                             RowSource row_source, void* user_data, uint32_t* written);

#ifdef __cplusplus
}
#endif

#endif
