// Writer of TGA, uncompressed, the bottom row first: 24 bits as colour, 8 bits with a colour map or,
// where the palette is gray, without.
#include <algorithm>
#include <array>

#include "formats/bitmap/tga.h"
#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/progress.h"
#include "frame/rows.h"
#include "frame/save.h"
#include "frame/scratch.h"
#include "frame/streams.h"

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

bool header_write(StreamHandle stream, const BITMAPINFOHEADER& info, TgaType type)
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
    return stream_write_all(stream, head.data(), kTgaHeaderBytes);
}

// A target that is full tells so at the rows: the outcome is not looked at here.
void map_write(StreamHandle stream, const RGBQUAD* palette)
{
    std::array<u8, kTgaPaletteEntries * 3> map{};
    for (u32 i = 0; i < kTgaPaletteEntries; ++i) {
        map[i * 3] = palette[i].rgbBlue;
        map[i * 3 + 1] = palette[i].rgbGreen;
        map[i * 3 + 2] = palette[i].rgbRed;
    }
    stream_write_all(stream, map.data(), map.size());
}

// --- Rows ---

ErrorCode rows_write(StreamHandle stream, const BITMAPINFOHEADER& info, RowSource row_source, void* user_data)
{
    const i16 stride = RowStride(static_cast<i16>(info.biWidth), static_cast<i16>(info.biBitCount));
    const u32 bytes = static_cast<u32>(info.biWidth) * (info.biBitCount / 8U);
    u8* row = scratch_alloc(static_cast<u32>(stride));
    if (row == nullptr) {
        return kOutOfMemory;
    }
    ProgressRows progress = progress_rows(info.biHeight);
    for (i32 r = 0; r < info.biHeight; ++r) {
        row_source(user_data, row, static_cast<i16>(r), stride);
        if (!stream_write_all(stream, row, bytes)) {
            return kShortWrite;
        }
        progress_tick(progress, r);
    }
    progress_rows_done();
    scratch_free(row);
    return kOk;
}

}  // namespace

// --- Entry point ---

i16 tga_write_image(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data)
{
    progress_start();
    if (header->info.biBitCount != 8 && header->info.biBitCount != 24) {
        return kNotSupported;
    }
    const TgaType type = type_of(*header);
    progress_bump();
    if (!header_write(stream, header->info, type)) {
        return kShortWrite;
    }
    if (type == kTgaMapped) {
        map_write(stream, header->palette);
    }
    progress_bump();
    const ErrorCode written = rows_write(stream, header->info, row_source, user_data);
    if (written != kOk) {
        return written;
    }
    progress_finish();
    return kOk;
}

}  // namespace orv
