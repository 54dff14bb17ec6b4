// GIF writer: one picture of 4 or 8 bits as a GIF87a file.
//
// The bytes of the format: 13 of signature and screen, the colour table of 16 or 256 colours, 0x2C, 9 of
// the picture's descriptor, the minimum code size, the sub-blocks of codes, 0, 0x3B. The descriptor states
// the table's size once more, without having a table of its own.
#include "formats/format_readers.h"
#include "formats/interchange/gif_lzw_write.h"
#include "frame/bytes.h"
#include "frame/progress.h"
#include "frame/save.h"
#include "frame/scratch.h"
#include "frame/stream_writer.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u32 kTableFlag = 0x80;
constexpr u8 kSeparator = 0x2C;
constexpr u8 kTrailer = 0x3B;

// --- Headers ---

void put_screen(StreamWriter& out, const PictureSource& source)
{
    put_bytes(out, "GIF87a", 6);
    put_le16(out, static_cast<u32>(source.width));
    put_le16(out, static_cast<u32>(source.height));
    put_u8(out, kTableFlag | (source.bits - 1U));
    put_zeros(out, 2);  // background and aspect ratio
}

void put_colour_table(StreamWriter& out, const ImageHeader& header)
{
    for (u32 i = 0; i < 1U << header.info.biBitCount; ++i) {
        const RGBQUAD& colour = header.palette[i];
        put_u8(out, colour.rgbRed);
        put_u8(out, colour.rgbGreen);
        put_u8(out, colour.rgbBlue);
    }
}

void put_descriptor(StreamWriter& out, const PictureSource& source)
{
    put_u8(out, kSeparator);
    put_zeros(out, 4);  // left, top
    put_le16(out, static_cast<u32>(source.width));
    put_le16(out, static_cast<u32>(source.height));
    put_u8(out, source.bits - 1U);
    put_u8(out, source.bits);
}

// --- Rows ---

// Spreads a row of 4 bits, `bytes` bytes of it, to a byte a pixel.
void spread_nibbles(const u8* row, u32 bytes, u8* pixels)
{
    for (u32 i = 0; i < bytes; i += 4) {
        u64 four = load_le32(row + i);
        four = (four | four << 16) & 0x0000FFFF0000FFFF;
        four = (four | four << 8) & 0x00FF00FF00FF00FF;
        store_le64(pixels + 2 * usize{i}, (four >> 4 & 0x000F000F000F000F) | (four & 0x000F000F000F000F) << 8);
    }
}

ErrorCode put_picture(GifEncoder& encoder, PictureSource& source)
{
    u8* const spread = source.bits == 4 ? scratch_alloc(2 * source.stride) : nullptr;
    if (source.bits == 4 && spread == nullptr) {
        return kShortWrite;
    }
    gif_encoder_start(encoder);
    progress_bump();
    const ErrorCode rows = write_rows(source, *encoder.out, RowOrder::TopFirst, [&](const u8* row) {
        if (spread != nullptr) {
            spread_nibbles(row, source.stride, spread);
        }
        gif_lzw_encode(encoder, spread != nullptr ? spread : row, static_cast<u32>(source.width));
    });
    if (rows == kOk) {
        gif_encoder_finish(encoder);
        put_u8(*encoder.out, kTrailer);
    }
    return rows;
}

}  // namespace

// --- The entry point ---

i16 gif_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    if (source.bits != 4 && source.bits != 8) {
        return kNotSupported;
    }
    progress_start();
    StreamWriter out;
    if (writer_open(out, stream) != kOk) {
        return kOutOfMemory;
    }
    put_screen(out, source);
    progress_bump();
    put_colour_table(out, header);
    progress_bump();
    put_descriptor(out, source);
    progress_bump();
    GifEncoder encoder;
    if (gif_encoder_init(encoder, out, source.bits) != kOk) {
        return kOutOfMemory;
    }
    const ErrorCode rows = put_picture(encoder, source);
    gif_encoder_free(encoder);
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
