// Writer of TGA, uncompressed, the bottom row first: 24 bits as colour, 8 bits with a colour map or,
// where the palette is gray, without.
#include <algorithm>
#include <array>

#include "formats/bitmap/tga.h"
#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/save.h"
#include "frame/stream_writer.h"

namespace orv
{
namespace
{

// --- Header and map ---

TgaType type_of(const ImageHeader& header)
{
    if (header.info.biBitCount == 24) {
        return kTgaColour;
    }
    const bool gray = std::all_of(
        header.palette, header.palette + kTgaPaletteEntries,
        [](const RGBQUAD& entry) { return entry.rgbBlue == entry.rgbGreen && entry.rgbGreen == entry.rgbRed; });
    return gray ? kTgaGray : kTgaMapped;
}

void put_header(StreamWriter& out, const BITMAPINFOHEADER& info, TgaType type)
{
    std::array<u8, kTgaHeaderBytes> head{};
    head[kTgaImageType] = type;
    if (type == kTgaMapped) {
        head[kTgaMapType] = 1;
        store_le16(head.data() + kTgaMapEntries, kTgaPaletteEntries);
        head[kTgaMapBits] = 24;
    }
    store_le16(head.data() + kTgaWidth, static_cast<u32>(info.biWidth));
    store_le16(head.data() + kTgaHeight, static_cast<u32>(info.biHeight));
    head[kTgaPixelBits] = static_cast<u8>(info.biBitCount);
    put_bytes(out, head.data(), kTgaHeaderBytes);
}

void put_map(StreamWriter& out, const RGBQUAD* palette)
{
    for (u32 i = 0; i < kTgaPaletteEntries; ++i) {
        put_bytes(out, &palette[i], 3);
    }
}

}  // namespace

// --- Entry point ---

i16 tga_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    progress_start();
    if (source.bits != 8 && source.bits != 24) {
        return kNotSupported;
    }
    StreamWriter out;
    if (writer_open(out, stream) != kOk) {
        return kOutOfMemory;
    }
    const TgaType type = type_of(header);
    progress_bump();
    put_header(out, header.info, type);
    if (type == kTgaMapped) {
        put_map(out, header.palette);
    }
    progress_bump();
    const ErrorCode rows = write_plain_rows(source, out, source.row_bytes);
    if (rows != kOk) {
        return rows;
    }
    const ErrorCode closed = writer_close(out);
    if (closed == kOk) {
        progress_finish();
    }
    return closed;
}

}  // namespace orv
