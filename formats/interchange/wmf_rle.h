// The run-length codes of bitmaps in metafiles.
#pragma once

#include "frame/picture_sink.h"
#include "frame/streams.h"

namespace orv
{

// Decode rows of 8 and 4 bits from the stream's position on, from the bottom row up: kReaderDone or
// kOutOfMemory.
i16 wmf_read_rle8(StreamHandle stream, PictureSink& sink);
i16 wmf_read_rle4(StreamHandle stream, PictureSink& sink);

}  // namespace orv
