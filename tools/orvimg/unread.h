// Words for files that the library recognises and does not read: what they are and why.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace orvimg
{

// A number of `count` bytes at a position of a file; 0 behind its end.
uint32_t file_number(std::span<const uint8_t> file, size_t at, size_t count, bool is_big_endian = false);

// "BMP header of 124 bytes, not read"; empty where the file shows nothing of that kind. `page` from 1.
std::string why_unread(int format, std::span<const uint8_t> file, int page);

// ": it looks like PNG" for well-known files that are none of the library's; empty for others.
std::string other_kind(std::span<const uint8_t> file);

}  // namespace orvimg
