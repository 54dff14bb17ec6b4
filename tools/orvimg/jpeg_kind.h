// What the headers of a JPEG file tell, for words about it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace orvimg
{

// Tells whether files with T.81's frame header are left unread, as --described has it.
void leave_standard_jpeg(bool is_left);

// "progressive JPEG, not read"; empty where the file shows no such kind.
std::string jpeg_kind(std::span<const uint8_t> file, int page);

// "2x1, 1x1, 1x1 (frame header of T.81)": the sampling of each component; empty where there is no frame.
std::string jpeg_sampling(std::span<const uint8_t> file);

}  // namespace orvimg
