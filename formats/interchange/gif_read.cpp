// GIF reader: the first picture of a GIF87a or GIF89a file.
//
// The bytes of the format, little-endian:
//
//    0   6  "GIF", version of three digits
//    6   7  logical screen: width, height, packed byte (bit 7: colour table follows, bits 0 to 2: its
//           size), background, aspect ratio
//   13   .  global colour table: red, green, blue of 2 << size colours
//        .  extensions: 0x21, label, sub-blocks up to one of size 0
//        1  0x2C
//        9  picture: left, top, width, height, packed byte (as above, bit 6: interlaced)
//        .  local colour table
//        1  minimum code size
//        .  sub-blocks of codes
//
// Size and depth are the picture's, not the screen's. Transparency, delays and further pictures are passed
// over.
#include "formats/format_readers.h"
#include "formats/interchange/gif.h"
#include "frame/bytes.h"
#include "frame/load.h"
#include "frame/rows.h"
#include "frame/scratch.h"
#include "frame/streams.h"

namespace orv
{
namespace
{

// --- Records and constants ---

constexpr u16 kScreenBytes = 13;  // with the signature
constexpr u16 kDescriptorBytes = 9;
constexpr u8 kSeparator = 0x2C;
constexpr u8 kExtension = 0x21;
constexpr u8 kCommentLabel = 0xFE;
constexpr u8 kTableFlag = 0x80;
constexpr u8 kInterlacedFlag = 0x40;
constexpr u8 kSizeField = 0x07;
constexpr u32 kColours = 256;

struct GifDescriptor {
    i16 width;
    i16 height;
    u8 packed;
};

struct GifFile {
    StreamHandle stream;
    u8 gif_palette_staging[kColours * 3];  // red, green, blue; cleared, then the tables of the file
    u8 screen_packed;
    bool has_extensions;  // version 89
    GifDescriptor descriptor;
    u8 size_field;  // of the colour table that counts
    u8 minimum_code_size;
};

// --- Parsing and checks ---

bool read_byte(StreamHandle stream, u8& byte)
{
    return stream_read_exact(stream, &byte, 1);
}

// Reads the 2 << size_field colours of a table. False where it is cut short.
bool gif_read_color_table(StreamHandle stream, u8 size_field, u8* buffer)
{
    return stream_read_exact(stream, buffer, static_cast<u16>(3U << (size_field + 1)));
}

bool skip_comment(StreamHandle stream)
{
    // A comment ends at its first zero byte, whatever the sizes of its sub-blocks say.
    u8 byte = 1;
    while (byte != 0) {
        if (!read_byte(stream, byte)) {
            return false;
        }
    }
    return true;
}

bool skip_blocks(StreamHandle stream)
{
    u8 size = 0;
    while (read_byte(stream, size)) {
        if (size == 0) {
            return true;
        }
        u8 block[255];
        if (!stream_read_exact(stream, block, size)) {
            return false;
        }
    }
    return false;
}

// Passes extensions: `lookahead` is the byte that follows them. False where the data ends.
bool skip_extensions(StreamHandle stream, u8& lookahead)
{
    while (lookahead == kExtension) {
        u8 label = 0;
        if (!read_byte(stream, label) ||
            !(label == kCommentLabel ? skip_comment(stream) : skip_blocks(stream)) ||
            !read_byte(stream, lookahead)) {
            return false;
        }
    }
    return true;
}

// Passes everything in front of the picture's descriptor. False where the data ends.
bool find_picture(const GifFile& file)
{
    u8 lookahead = 0;
    if (!read_byte(file.stream, lookahead)) {
        return false;
    }
    if (file.has_extensions && lookahead == kExtension) {
        // The byte behind them counts as the separator, whatever it is.
        return skip_extensions(file.stream, lookahead);
    }
    while (lookahead != kSeparator) {
        if (!read_byte(file.stream, lookahead)) {
            return false;
        }
    }
    return true;
}

bool read_descriptor(StreamHandle stream, GifDescriptor& descriptor)
{
    u8 bytes[kDescriptorBytes];
    if (!stream_read_exact(stream, bytes, kDescriptorBytes)) {
        return false;
    }
    descriptor.width = static_cast<i16>(load_le16(bytes + 4));
    descriptor.height = static_cast<i16>(load_le16(bytes + 6));
    descriptor.packed = bytes[8];
    return true;
}

// Reads all that stands ahead of the codes. False where the data ends.
bool gif_read_file(GifFile& file)
{
    u8 screen[kScreenBytes];
    if (!stream_read_exact(file.stream, screen, kScreenBytes)) {
        return false;
    }
    file.has_extensions = screen[3] == '8' && screen[4] == '9';
    file.screen_packed = screen[10];
    const bool has_global = (file.screen_packed & kTableFlag) != 0;
    const u8 global_size = file.screen_packed & kSizeField;
    if ((has_global && !gif_read_color_table(file.stream, global_size, file.gif_palette_staging)) ||
        !find_picture(file) || !read_descriptor(file.stream, file.descriptor)) {
        return false;
    }
    const bool has_local = (file.descriptor.packed & kTableFlag) != 0;
    const u8 own_size = file.descriptor.packed & kSizeField;
    file.size_field = has_local || !has_global ? own_size : global_size;
    return (!has_local || gif_read_color_table(file.stream, own_size, file.gif_palette_staging)) &&
           read_byte(file.stream, file.minimum_code_size);
}

u16 depth_of(u8 size_field)
{
    return size_field == 0 ? 1 : size_field <= 3 ? 4 : 8;
}

void gif_build_header(const GifDescriptor& descriptor, u8 size_field, ImageHeader& header)
{
    BITMAPINFOHEADER& info = header.info;
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = descriptor.width;
    info.biHeight = descriptor.height;
    info.biPlanes = 1;
    info.biBitCount = depth_of(size_field);
    info.biSizeImage = static_cast<u32>(row_stride_wide(info.biWidth, info.biBitCount) * info.biHeight);
}

void copy_palette(const GifFile& file, ImageHeader& header)
{
    for (u32 i = 0; i < 1U << header.info.biBitCount; ++i) {
        const u8* const colour = file.gif_palette_staging + i * 3;
        header.palette[i] = {colour[2], colour[1], colour[0], 0};
    }
}

}  // namespace

// --- The entry point ---

i16 gif_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream)
{
    GifFile file = {};
    file.stream = stream;
    seek_to_picture(offset_or_page, stream);
    if (!gif_read_file(file) || file.minimum_code_size < 1 || file.minimum_code_size > 8) {
        return kBadData;
    }
    auto* const header = reinterpret_cast<ImageHeader*>(scratch_alloc(kImageHeaderBytes));
    if (header == nullptr) {
        return kOutOfMemory;
    }
    gif_build_header(file.descriptor, file.size_field, *header);
    copy_palette(file, *header);
    const i16 wanted = picture_begin(sink, *header);
    if (wanted < 0) {
        return wanted;
    }
    GifRows rows = gif_rows(sink, (file.descriptor.packed & kInterlacedFlag) != 0);
    return gif_lzw_decode(stream, file.minimum_code_size, rows);
}

}  // namespace orv
