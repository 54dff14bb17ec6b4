#include "frame/detect.h"

#include "frame/bytes.h"
#include "frame/format_table.h"
#include "frame/streams.h"
#include "platform/files.h"

namespace orv
{
namespace
{

constexpr u16 kSniffBytes = 10;
constexpr i32 kPictPreamble = 512;

constexpr u32 kEpsMagic = 0xC6D3D0C5;
constexpr u32 kDcxMagic = 0x3ADE68B1;
constexpr u32 kPlaceableWmfMagic = 0x9AC6CDD7;

bool is_tga_type(u8 type)
{
    return type == 1 || type == 2 || type == 3 || type == 9 || type == 10 || type == 11;
}

// The tests go by a few bytes only and give way to each other by their order alone. Bytes that did not
// come are 0, which no test asks for.
i16 format_of_first_bytes(const u8* b)
{
    const u32 value = load_le32(b);
    if ((b[0] == 'M' && b[1] == 'M') || (b[0] == 'I' && b[1] == 'I')) {
        return ORV_FORMAT_TIFF;
    }
    if (b[0] == 'G' && b[1] == 'I' && b[2] == 'F') {
        return ORV_FORMAT_GIF;
    }
    if (b[0] == 'B' && b[1] == 'M') {
        return ORV_FORMAT_BMP;
    }
    if (value == kEpsMagic) {
        return ORV_FORMAT_EPS;
    }
    if (value == kDcxMagic) {
        return ORV_FORMAT_DCX;
    }
    if (b[0] == 0xFF && b[1] == 0xD8) {
        return ORV_FORMAT_JPEG;
    }
    if (b[1] == 'W' && b[2] == 'P' && b[3] == 'C') {
        return ORV_FORMAT_WPG;
    }
    if (b[0] == 10) {
        return ORV_FORMAT_PCX;
    }
    if (is_tga_type(b[2])) {
        return ORV_FORMAT_TGA;
    }
    if (value == kPlaceableWmfMagic || b[0] == 1 || b[1] == 2) {
        return ORV_FORMAT_WMF;
    }
    return kUnknownFormat;
}

}  // namespace

i16 sniff_format(StreamHandle stream)
{
    u8 b[kSniffBytes] = {};
    stream_read(stream, b, kSniffBytes);
    i16 format = format_of_first_bytes(b);
    if (format == kUnknownFormat) {
        // Behind its preamble and 10 bytes of size and frame a picture file has its version opcode.
        std::memset(b, 0, sizeof b);
        if (stream_seek(stream, kPictPreamble, kFromHere) >= 0) {
            stream_read(stream, b, kSniffBytes);
        }
        format = b[0] == 0x11 || b[1] == 0x11 ? i16{ORV_FORMAT_PICT} : kUnknownFormat;
    }
    stream_seek_to(stream, 0);
    return format;
}

}  // namespace orv

using namespace orv;

int16_t IMGLOW_get_filetype(const char* file_name)
{
    if (file_name == nullptr || file_name[0] == '\0') {
        return kUnreadable;
    }
    const int file = platform::_lopen(file_name, platform::OF_READ);
    if (file < 0) {
        return kUnreadable;
    }
    const i16 format = sniff_format(file);
    platform::_lclose(file);
    return format == kUnknownFormat ? i16{kNotSupported} : format;
}

int16_t IMG_get_filetype_fd(int32_t stream)
{
    if (fax_is_container(stream)) {
        return ORV_FORMAT_TIFF;
    }
    stream_seek_to(stream, 0);
    return sniff_format(stream);
}
