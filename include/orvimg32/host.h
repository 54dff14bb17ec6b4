/*
 * What an application needs beside orvimg32.h on a host without the Windows memory calls: access to
 * the block whose number IMG_bitmap_info returns.
 */
#ifndef ORVIMG32_HOST_H
#define ORVIMG32_HOST_H

#include "orvimg32.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The address of a block: an ImageHeader cut to its palette, then the rows, bottom row first, each
 * (width * bits + 31) / 32 * 4 bytes. Null for a number that is no block's. The address is valid
 * until an operation replaces the image's block or the image is deleted. Each lock wants one
 * orv_block_unlock, before the next call that takes the handle.
 */
ORV_API void* orv_block_lock(int32_t block);

/* Gives back one orv_block_lock. A number that is no locked block's is ignored. */
ORV_API void orv_block_unlock(int32_t block);

#ifdef __cplusplus
}
#endif

#endif
