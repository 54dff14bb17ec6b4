// The fax container, and its marker in other files.
#pragma once

#include "frame/streams.h"

namespace orv
{

// Whether the stream is a container, or carries the marker at byte 8. Both leave it at position 0.
bool fax_is_container(StreamHandle stream);
bool fax_has_marker(StreamHandle stream);

// Reads the page count field. False where it is missing.
bool fax_read_page_count(StreamHandle stream, u16& pages);

}  // namespace orv
