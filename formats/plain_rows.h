// Uncompressed rows that a file holds as an image does: bottom row first, each filled up to 32 bits.
#pragma once

#include "frame/picture_sink.h"
#include "frame/streams.h"

namespace orv
{

// Reads all rows of the picture from the stream's position on, at once where they lie in the image. Bytes
// that the file lacks are zero: every row is delivered. Gives kReaderDone.
i16 read_plain_rows(StreamHandle stream, PictureSink& sink);

}  // namespace orv
