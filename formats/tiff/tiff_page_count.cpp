// The exported page counter, which also answers for fax containers.
#include "formats/tiff/fax_read.h"
#include "formats/tiff/tiff_directory.h"
#include "frame/api_call.h"
#include "frame/bytes.h"
#include "orvimg32/orvimg32.h"
#include "platform/user.h"

namespace orv
{
namespace
{

// The page count field of a fax container.
i16 fax_page_count(StreamHandle stream)
{
    u16 pages;
    if (!fax_read_page_count(stream, pages)) {
        return kBadData;
    }
    stream_seek_to(stream, 0);
    return static_cast<i16>(pages);
}

// Counts the directories from the one that the chain has entered.
i16 count_directories(const TiffFile& file, TiffChain& chain)
{
    TiffDirectory dir;
    for (;;) {
        u32 next;
        const ErrorCode error = tiff_read_entries(file, chain.entries, DirectoryUse::Count, dir, next);
        if (error != kOk) {
            return error;
        }
        const ChainStep step = next == 0 ? ChainStep::Unseekable : tiff_enter_directory(file, chain, next);
        if (step == ChainStep::Unseekable) {
            return static_cast<i16>(chain.visited);
        }
        if (step != ChainStep::Entered) {
            return kBadData;
        }
    }
}

i16 count_pages(StreamHandle stream)
{
    const StreamWindow window(stream);
    if (fax_is_container(stream)) {
        return fax_page_count(stream);
    }
    TiffFile file = {.tiff_stream = stream,
                     .tiff_base_offset = 0,
                     .tiff_byte_order = 0,
                     .fax_marker_seen = fax_has_marker(stream)};
    u32 first;
    if (!tiff_read_file_header(file, first)) {
        return kBadData;
    }
    TiffChain chain = {};
    switch (tiff_enter_directory(file, chain, first)) {
    case ChainStep::Entered: return count_directories(file, chain);
    case ChainStep::TooLong: return kBadData;
    default:
        platform::MessageBoxA(nullptr, "Can't read ifd", "Debug Info", platform::MB_ICONINFORMATION);
        return kBadData;
    }
}

}  // namespace
}  // namespace orv

int16_t IMG_tiff_page_count(int32_t stream)
{
    const orv::ApiCall call;
    return orv::count_pages(stream);
}
