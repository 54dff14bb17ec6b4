#include "frame/text_buffers.h"

#include <algorithm>

#include "frame/api_call.h"
#include "frame/errors.h"
#include "platform/files.h"

namespace orv
{

char name_buffer[kNameBufferBytes] = "OrvImg32 raster image library, C iface";
char date_buffer[kDateBufferBytes] = "11-24-1992";

static_assert(sizeof("OrvImg32 raster image library, C iface") - 1 == 38);  // writers put out 38 characters

void text_store(std::span<char> buffer, const char* text, usize length)
{
    const usize room = std::min(length, buffer.size() - 1);
    const void* const end = room == 0 ? nullptr : std::memchr(text, 0, room);
    const usize used = end == nullptr ? room : static_cast<usize>(static_cast<const char*>(end) - text);
    if (used > 0) {
        std::memmove(buffer.data(), text, used);
    }
    std::memset(buffer.data() + used, 0, buffer.size() - used);
}

}  // namespace orv

using namespace orv;

int16_t IMGLOW_get_bitmap_name(char* name, char* date)
{
    const ApiCall call;
    platform::lstrcpyA(name, name_buffer);
    platform::lstrcpyA(date, date_buffer);
    return kOk;
}

int16_t IMGLOW_set_bitmap_name(const char* name, const char* date)
{
    const ApiCall call;
    text_store(name_buffer, name, static_cast<usize>(platform::lstrlenA(name)));
    text_store(date_buffer, date, static_cast<usize>(platform::lstrlenA(date)));
    return kOk;
}
