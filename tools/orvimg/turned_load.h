// A page loaded on its side, so that the picture lies in memory only once.
#pragma once

#include <cstdint>
#include <span>

namespace orvimg
{

// Loads a page as IMG_decompress_bitmap_mem_sized does, but with its stored rows as columns: what was the first
// pixel of every row is the first stored row, and the resolutions change places. Result: a handle, or a code of
// the library.
int16_t load_turned(std::span<const uint8_t> file, int16_t page);

}  // namespace orvimg
