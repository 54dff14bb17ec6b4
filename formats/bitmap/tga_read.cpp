// Reader of TGA: image types 1, 2, 3 and their run-length forms at 8, 15, 16, 24 and 32 bits a pixel.
// Pictures of 8 bits stay so, all others become 24 bits; alpha is dropped.
#include <algorithm>
#include <array>

#include "formats/bitmap/tga.h"
#include "formats/bitmap/tga_rows.h"
#include "formats/format_readers.h"
#include "frame/bytes.h"
#include "frame/chunk_reader.h"
#include "frame/load.h"
#include "frame/scratch.h"
#include "ops/palettes.h"

namespace orv
{
namespace
{

// --- Records and constants ---

struct TgaFile {
    u32 id_bytes;
    bool run_length;
    bool top_first;
    i32 width;
    i32 height;
    u32 pixel_bits;   // 8, 15, 16, 24 or 32
    u32 pixel_bytes;  // in the file
    u32 row_bytes;    // in the file
    u32 stride;       // bytes of a delivered row
    u32 map_entries;  // 0 without a colour map
    u32 map_bytes;    // of one entry
};

// --- Parsing and checks ---

ErrorCode header_parse(const u8* head, TgaFile& file, BITMAPINFOHEADER& info)
{
    file.id_bytes = head[kTgaIdLength];
    file.run_length =
        head[kTgaImageType] >= kTgaRunLength + kTgaMapped && head[kTgaImageType] <= kTgaRunLength + kTgaGray;
    file.top_first = (head[kTgaDescriptor] & kTgaTopFirst) != 0;
    file.width = load_le16(head + kTgaWidth);
    file.height = load_le16(head + kTgaHeight);
    file.pixel_bits = head[kTgaPixelBits];
    if (file.pixel_bits != 8 && file.pixel_bits != 15 && file.pixel_bits != 16 && file.pixel_bits != 24 &&
        file.pixel_bits != 32) {
        return kNotSupported;
    }
    file.pixel_bytes = (file.pixel_bits + 7) / 8;
    file.row_bytes = static_cast<u32>(file.width) * file.pixel_bytes;
    if (head[kTgaMapType] != 0) {
        const u32 bits = head[kTgaMapBits];
        if (bits != 15 && bits != 16 && bits != 24 && bits != 32) {
            return kBadData;
        }
        file.map_entries = load_le16(head + kTgaMapEntries);
        file.map_bytes = (bits + 7) / 8;
    }
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = file.width;
    info.biHeight = file.height;
    info.biPlanes = 1;
    info.biBitCount = file.pixel_bits == 8 ? 8 : 24;
    // Stated for 24 bits, whatever the depth.
    info.biSizeImage = static_cast<u32>(row_stride_wide(file.width, 24) * file.height);
    const ErrorCode checked = header_check(info);
    if (checked == kOk) {
        file.stride = static_cast<u32>(row_stride_wide(info.biWidth, info.biBitCount));
    }
    return checked;
}

// Reads on to behind `count` bytes, through a buffer of kChunkBytes.
void bytes_skip(StreamHandle stream, u8* buffer, u32 count)
{
    while (count != 0) {
        const u32 got = stream_read(stream, buffer, static_cast<u16>(std::min<u32>(count, kChunkBytes)));
        if (got == 0) {
            return;
        }
        count -= got;
    }
}

// The map's entries become the palette from its start on; those behind the 256th are passed over, and
// so is the whole map of a picture that has no palette.
void map_read(StreamHandle stream, u8* buffer, const TgaFile& file, ImageHeader& header)
{
    const u32 kept = header.info.biBitCount == 8 ? std::min(file.map_entries, kTgaPaletteEntries) : 0;
    const u32 got = stream_read(stream, buffer, static_cast<u16>(kept * file.map_bytes));
    for (u32 i = 0; (i + 1) * file.map_bytes <= got; ++i) {
        const u8* entry = buffer + usize{i} * file.map_bytes;
        RGBQUAD& colour = header.palette[i];
        if (file.map_bytes == 2) {
            std::array<u8, 3> spread{};
            tga_row_from_words(entry, spread.data(), 1);
            colour = {.rgbBlue = spread[0], .rgbGreen = spread[1], .rgbRed = spread[2], .rgbReserved = 0};
        } else {
            colour = {.rgbBlue = entry[0],
                      .rgbGreen = entry[1],
                      .rgbRed = entry[2],
                      .rgbReserved = file.map_bytes == 4 ? entry[3] : u8{0}};
        }
    }
    bytes_skip(stream, buffer, (file.map_entries - kept) * file.map_bytes);
}

// --- Rows ---

struct RowTarget {
    RowCallback callback;
    void* user_data;
    u8* pixels;  // a row of `stride` bytes, zero behind the pixels
};

// `count` counts the rows of the file.
void row_deliver(const TgaFile& file, const RowTarget& target, const u8* source, i32 count)
{
    const u32 width = static_cast<u32>(file.width);
    switch (file.pixel_bits) {
    case 15:
    case 16: tga_row_from_words(source, target.pixels, width); break;
    case 32: tga_row_from_quads(source, target.pixels, width); break;
    default: std::memcpy(target.pixels, source, file.row_bytes); break;
    }
    const i32 row = file.top_first ? count : file.height - 1 - count;
    target.callback(target.pixels, target.user_data, static_cast<i16>(row), static_cast<i16>(file.stride));
}

// As many whole rows at a time as the chunk holds, at least one. `buffer` has room for them.
void rows_read_raw(StreamHandle stream, const TgaFile& file, const RowTarget& target, u8* buffer)
{
    const i32 batch = static_cast<i32>(std::max(kChunkBytes / file.row_bytes, 1U));
    i32 count = 0;
    while (count < file.height) {
        const i32 wanted = std::min(batch, file.height - count);
        const u32 want = static_cast<u32>(wanted) * file.row_bytes;
        const u32 got = stream_read(stream, buffer, static_cast<u16>(want));
        for (u32 at = 0; got - at >= file.row_bytes; at += file.row_bytes) {
            row_deliver(file, target, buffer + at, count++);
        }
        if (got < want) {
            return;
        }
    }
}

void rows_read_runs(StreamHandle stream, const TgaFile& file, const RowTarget& target, u8* chunk, u8* row)
{
    TgaRuns runs = {.in = chunk_open(stream, chunk, kChunkBytes), .pixel_bytes = file.pixel_bytes};
    for (i32 count = 0; count < file.height; ++count) {
        if (!tga_decode_row(runs, row, static_cast<u32>(file.width))) {
            return;
        }
        row_deliver(file, target, row, count);
    }
}

ErrorCode rows_read(StreamHandle stream, const TgaFile& file, RowCallback row_callback, void* user_data,
                    u8* chunk)
{
    // A row of the file may be longer than the chunk; the widest has 43,684 bytes.
    u8* row = scratch_alloc(std::max<u32>(file.row_bytes, kChunkBytes) + kTgaRowSlack);
    u8* pixels = scratch_alloc(file.stride);
    const bool complete = row != nullptr && pixels != nullptr;
    if (complete) {
        const RowTarget target = {.callback = row_callback, .user_data = user_data, .pixels = pixels};
        if (file.run_length) {
            rows_read_runs(stream, file, target, chunk, row);
        } else {
            rows_read_raw(stream, file, target, row);
        }
    }
    scratch_free(pixels);
    scratch_free(row);
    return complete ? kOk : kOutOfMemory;
}

}  // namespace

// --- Entry point ---

i16 tga_read_image(u32 offset_or_page, RowCallback row_callback, void* user_data,
                   HeaderCallback header_callback, StreamHandle stream)
{
    seek_to_picture(offset_or_page, stream);
    std::array<u8, kTgaHeaderBytes> head{};
    if (!stream_read_exact(stream, head.data(), kTgaHeaderBytes)) {
        return kBadData;
    }
    u8* header_block = scratch_alloc(kImageHeaderBytes);
    u8* chunk = scratch_alloc(kChunkBytes + kTgaChunkSlack);
    if (header_block == nullptr || chunk == nullptr) {
        return kOutOfMemory;
    }
    ImageHeader& header = *reinterpret_cast<ImageHeader*>(header_block);
    TgaFile file{};
    const ErrorCode parsed = header_parse(head.data(), file, header.info);
    if (parsed != kOk) {
        return parsed;
    }
    bytes_skip(stream, chunk, file.id_bytes);
    if (head[kTgaMapType] != 0) {
        map_read(stream, chunk, file, header);
    } else {
        palette_build_default(&header, "tiff");
    }
    const i16 accepted = header_callback(&header, user_data);
    if (accepted < 0) {
        scratch_free_all();
        return accepted;
    }
    const ErrorCode result = rows_read(stream, file, row_callback, user_data, chunk);
    scratch_free(chunk);
    scratch_free(header_block);
    return result == kOk ? i16{kReaderDone} : i16{result};
}

}  // namespace orv
