// Reader of DCX: finds the page in the table and leaves the rest to the PCX reader.
#include <array>

#include "formats/bitmap/dcx.h"
#include "formats/bitmap/pcx.h"
#include "formats/format_readers.h"
#include "frame/api_call.h"
#include "frame/bytes.h"

namespace orv
{
namespace
{

// --- Parsing and checks ---

constexpr i32 kMostPages = 32767;

bool number_read(StreamHandle stream, u32& number)
{
    std::array<u8, kDcxEntryBytes> bytes{};
    if (!stream_read_exact(stream, bytes.data(), kDcxEntryBytes)) {
        return false;
    }
    number = load_le32(bytes.data());
    return true;
}

// Leaves the stream at the table. False for any other file.
bool magic_read(StreamHandle stream)
{
    u32 magic = 0;
    stream_seek(stream, 0, kFromStart);
    return number_read(stream, magic) && magic == kDcxMagic;
}

// Reads at most `wanted` entries: how many there are, the last one in `page`.
i32 table_read(StreamHandle stream, i32 wanted, u32& page)
{
    DcxTable table = dcx_table_start();
    i32 count = 0;
    u32 entry = 0;
    while (count < wanted && number_read(stream, entry) && dcx_table_take(table, entry)) {
        page = entry;
        ++count;
    }
    return count;
}

}  // namespace

// --- Entry points ---

i16 dcx_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    if (!magic_read(stream)) {
        return kBadData;
    }
    const i32 page = static_cast<i16>(offset_or_page);
    u32 position = 0;
    if (page < 0 || table_read(stream, page + 1, position) != page + 1) {
        return kUnreadable;
    }
    return pcx_read_at(position, sink, stream);
}

}  // namespace orv

int16_t IMG_dcx_page_count(int32_t stream)
{
    const orv::ApiCall call;
    const orv::StreamWindow window(stream);
    if (!orv::magic_read(stream)) {
        return orv::kBadData;
    }
    orv::u32 page = 0;
    return static_cast<int16_t>(orv::table_read(stream, orv::kMostPages, page));
}
