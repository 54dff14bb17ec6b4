// Telling a format by a stream's first bytes.
#pragma once

#include "frame/errors.h"
#include "frame/types.h"

namespace orv
{

inline constexpr i16 kUnknownFormat = -1;

// Sniffs at the stream's position and rewinds to position 0: an OrvFormat, or kUnknownFormat.
i16 sniff_format(StreamHandle stream);

}  // namespace orv
