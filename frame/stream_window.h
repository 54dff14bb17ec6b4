// The window through which the files of a load are read; StreamWindow of streams.h opens and closes it.
// For streams.cpp alone.
#pragma once

#include "frame/streams.h"

namespace orv
{

// True while the stream is read through the window.
bool window_covers(StreamHandle stream);

i32 window_seek(i32 offset, i32 origin);
u32 window_read(void* buffer, u32 count);
std::span<const u8> window_borrow(StreamHandle stream, u32 least);
void window_skip(u32 count);

}  // namespace orv
