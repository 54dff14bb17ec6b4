// Reader of EPS files of MS-DOS: a binary header that points at a PostScript program and at a preview. The
// preview is loaded where it is a TIFF file; the program is never looked at.
//
//      0  C5 D0 D3 C6
//      4  PostScript program: position, length (32 bits each, as all)
//     12  Windows metafile preview: position, length
//     20  TIFF preview: position, length
//     28  checksum (16 bits), padding (16 bits)
#include <array>

#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/streams.h"

namespace orv
{
namespace
{

constexpr u32 kHeaderBytes = 32;
constexpr u32 kMagic = 0xC6D3D0C5;
constexpr u32 kPreviewAt = 20;
constexpr u32 kFarthest = 0x7FFFFFFF;  // what a stream's positions reach

}  // namespace

i16 eps_read_image(u32 /*offset_or_page*/, PictureSink& sink, StreamHandle stream)
{
    std::array<u8, kHeaderBytes> head{};
    if (!stream_read_exact(stream, head.data(), kHeaderBytes) || load_le32(head.data()) != kMagic) {
        return kBadData;
    }
    const u32 preview = load_le32(head.data() + kPreviewAt);
    if (preview == 0 || preview > kFarthest) {
        return kBadData;
    }
    return tiff_read_image(preview, sink, stream);
}

}  // namespace orv
