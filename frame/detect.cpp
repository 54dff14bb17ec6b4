// Telling a format by a stream's first bytes.
#include "frame/api_call.h"
#include "frame/format_table.h"
#include "frame/streams.h"
#include "orvimg32/extra.h"
#include "platform/files.h"

namespace orv
{
namespace
{

constexpr u16 kSniffBytes = 10;

// Ten bytes of the stream at a time, read where a test first asks for them, in rising order.
struct Sniff {
    StreamHandle stream;
    u32 at;  // of bytes[0], from where the sniff began; behind it the stream stands
    u8 bytes[kSniffBytes];
};

// PICT has a preamble of 512 bytes ahead of its size, frame and version.
constexpr u32 kBehindPreamble = 512 + kSniffBytes;

void sniff_at(Sniff& sniff, u32 at)
{
    std::memset(sniff.bytes, 0, sizeof sniff.bytes);
    if (stream_seek(sniff.stream, static_cast<i32>(at - sniff.at - kSniffBytes), kFromHere) >= 0) {
        stream_read(sniff.stream, sniff.bytes, kSniffBytes);
    }
    sniff.at = at;
}

bool matches(Sniff& sniff, std::span<const Magic> told)
{
    for (const Magic& magic : told) {
        if (magic.at >= kBehindPreamble && sniff.at == 0) {
            sniff_at(sniff, kBehindPreamble);
        }
        if (magic.at >= sniff.at && magic.at + magic.count <= sniff.at + kSniffBytes &&
            std::memcmp(sniff.bytes + (magic.at - sniff.at), magic.bytes, magic.count) == 0) {
            return true;
        }
    }
    return false;
}

Sniff sniff_start(StreamHandle stream)
{
    Sniff sniff = {.stream = stream, .at = 0, .bytes = {}};
    stream_read(stream, sniff.bytes, kSniffBytes);
    return sniff;
}

// The format of the stream as a whole, containers too.
i16 format_from_start(StreamHandle stream)
{
    const ContainerEntry* const container = find_container(stream);
    if (container != nullptr) {
        return container->format;
    }
    stream_seek_to(stream, 0);
    return sniff_format(stream);
}

}  // namespace

const ContainerEntry* find_container(StreamHandle stream)
{
    for (const ContainerEntry& container : container_table) {
        Sniff sniff = {};
        if (stream_seek_to(stream, 0)) {
            sniff = sniff_start(stream);
        }
        stream_seek_to(stream, 0);
        if (matches(sniff, container.entry.told)) {
            return &container;
        }
    }
    return nullptr;
}

i16 sniff_format(StreamHandle stream)
{
    Sniff sniff = sniff_start(stream);
    i16 found = kUnknownFormat;
    for (const i16 format : detection_order) {
        if (matches(sniff, format_table[format].told)) {
            found = format;
            break;
        }
    }
    stream_seek_to(stream, 0);
    return found;
}

}  // namespace orv

using namespace orv;

int16_t IMGLOW_get_filetype(const char* file_name)
{
    const ApiCall call;
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
    const ApiCall call;
    const StreamWindow window(stream);
    return format_from_start(stream);
}

int16_t orv_get_filetype_mem(const void* block, uint32_t size)
{
    const ApiCall call;
    const MemoryStreamKeeper keeper;
    memory_stream_open_sized(const_cast<void*>(block), size, MemoryAccess::Read);
    return format_from_start(MEMORY_STREAM);
}
