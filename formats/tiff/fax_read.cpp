#include "frame/format_table.h"
#include "frame/streams.h"

namespace orv
{
namespace
{

constexpr char kMagic[] = "ORVNFAX ";

bool matches(StreamHandle stream, u32 position, u16 count)
{
    char bytes[8] = {};
    bool const came = stream_seek_to(stream, position) && stream_read_exact(stream, bytes, count);
    stream_seek_to(stream, 0);
    return came && std::memcmp(bytes, kMagic, count) == 0;
}

}  // namespace

bool fax_is_container(StreamHandle stream)
{
    return matches(stream, 0, 8);
}
bool fax_has_marker(StreamHandle stream)
{
    return matches(stream, 8, 7);
}

i16 fax_read_page(i16, RowCallback, void*, HeaderCallback, StreamHandle)
{
    return kNotSupported;
}

}  // namespace orv
