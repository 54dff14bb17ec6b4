// The integer names used throughout, and the public records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "orvimg32/orvimg32.h"

namespace orv
{

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i8 = std::int8_t;
using i16 = std::int16_t;
using i32 = std::int32_t;
using i64 = std::int64_t;
using usize = std::size_t;

// A file descriptor or MEMORY_STREAM.
using StreamHandle = i32;

inline constexpr u32 kBitmapHeaderBytes = 40;
inline constexpr u32 kImageHeaderBytes = 1064;  // header and the largest palette

static_assert(sizeof(BITMAPINFOHEADER) == kBitmapHeaderBytes);
static_assert(sizeof(ImageHeader) == kImageHeaderBytes);

}  // namespace orv
