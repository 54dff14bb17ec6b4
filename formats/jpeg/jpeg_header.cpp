#include "formats/jpeg/jpeg_header.h"

#include <algorithm>

#include "frame/bytes.h"
#include "frame/settings.h"

namespace orv
{

std::array<std::array<i16, kBlockSize>, kJpegTables> jpeg_quant_tables;
std::array<JpegHuffmanTable, kJpegTables> jpeg_dc_tables;
std::array<JpegHuffmanTable, kJpegTables> jpeg_ac_tables;

namespace
{

// --- Records and constants ---

constexpr u32 kLengthBytes = 2;  // of the length field, which counts itself
constexpr u32 kMaxLength = 32767;
constexpr u32 kScanBytesKept = 10;
constexpr usize kGrayAlone = 1;
constexpr usize kColour = 3;

// What the headers may name: two tables of each kind, all four in wide reading.
u32 table_limit()
{
    return orv_reading == ORV_READING_WIDE ? kJpegTables : 2;
}

// Selectors other than 0 mean table 1, but in wide reading what they say.
u32 table_number(u32 selector, bool standard)
{
    return standard ? selector : std::min(selector, 1U);
}

// --- Tables ---

// Tables of 64 entries behind a byte of precision and number: 0 and 0 to 3, or 1 with entries of 16 bits.
bool jpeg_read_quant_tables(StreamHandle stream, i32 length)
{
    for (i32 left = length - static_cast<i32>(kLengthBytes); left > 0;) {
        u8 name = 0;
        std::array<u8, kBlockSize * 2> bytes{};
        if (!stream_read_exact(stream, &name, 1)) {
            return false;
        }
        const u32 width = (name >> 4) + 1U;
        const u32 number = name & 15;
        if (width > 2 || number >= kJpegTables) {
            return false;
        }
        const u16 size = static_cast<u16>(kBlockSize * width);
        if (!stream_read_exact(stream, bytes.data(), size)) {
            return false;
        }
        for (usize k = 0; k < kBlockSize; ++k) {
            jpeg_quant_tables[number][k] =
                width == 1 ? i16{bytes[k]} : static_cast<i16>(load_be16(bytes.data() + 2 * k));
        }
        left -= size + 1;
    }
    return true;
}

// Tables of a byte of class and number, 16 counts of codes, and their symbols.
bool jpeg_read_huffman_tables(StreamHandle stream, i32 length)
{
    for (i32 left = length - static_cast<i32>(kLengthBytes); left > 0;) {
        std::array<u8, 1 + kMaxCodeBits> head{};
        if (!stream_read_exact(stream, head.data(), head.size())) {
            return false;
        }
        const u32 number = head[0] & 15;
        u32 symbols = 0;
        for (usize i = 1; i < head.size(); ++i) {
            symbols += head[i];
        }
        if (head[0] >> 4 > 1 || number >= table_limit() || symbols > kMaxSymbols) {
            return false;
        }
        JpegHuffmanTable& table = (head[0] >> 4 == 0 ? jpeg_dc_tables : jpeg_ac_tables)[number];
        std::copy(head.begin() + 1, head.end(), table.counts.begin());
        std::array<u8, kMaxSymbols> bytes{};
        stream_read(stream, bytes.data(), static_cast<u16>(symbols));
        std::copy(bytes.begin(), bytes.end(), table.symbols.begin());
        left -= static_cast<i32>(symbols + head.size());
    }
    return true;
}

// --- Frame and scan ---

// In front of the components, T.81's layout lacks the fill byte, and has only those that there are.
//
//     0 precision   1 fill   2 lines, 2 bytes   4 samples a line   6 components
//     7 identifier, factors (horizontal in the high nibble), quantisation table; three times
bool frame_read(StreamHandle stream, u32 length, bool baseline, JpegFrameHeader& frame)
{
    const bool wide = orv_reading == ORV_READING_WIDE;
    const bool standard = length == 8 + 3 * kGrayAlone || length == 8 + 3 * kColour;
    if (!(length == kJpegFrameLength && baseline) && !(standard && wide)) {
        return false;
    }
    std::array<u8, kJpegFrameBytes> bytes{};
    const usize fill = standard ? 1 : 0;
    stream_read(stream, bytes.data() + fill, static_cast<u16>(length - kLengthBytes));
    if (standard && bytes[1] != 8) {
        return false;
    }
    frame.present = true;
    frame.standard = standard;
    frame.lines = static_cast<i16>(load_be16(bytes.data() + 2));
    frame.samples = static_cast<i16>(load_be16(bytes.data() + 4));
    frame.components = bytes[6] == kColour ? kColour : kGrayAlone;
    for (usize i = 0; i < kJpegComponents; ++i) {
        const u8* const entry = bytes.data() + 7 + 3 * i;
        frame.component[i] = {.identifier = entry[0],
                              .h = entry[1] >> 4,
                              .v = entry[1] & 15,
                              .quant_selector = table_number(entry[2], standard)};
    }
    if (standard && frame.components == kGrayAlone) {
        frame.component[0].h = 1;  // a scan of one component is not interleaved
        frame.component[0].v = 1;
    }
    return !standard || (bytes[6] == frame.components && length == 8 + 3 * frame.components);
}

// Components, then for each its identifier and its tables, DC in the high nibble. The rest is not looked at.
void scan_read(StreamHandle stream, u32 length, bool standard, JpegScanHeader& scan)
{
    std::array<u8, kScanBytesKept> bytes{};
    stream_read(stream, bytes.data(), static_cast<u16>(std::min(length - kLengthBytes, kScanBytesKept)));
    scan.components = bytes[0];
    for (usize i = 0; i < kJpegComponents; ++i) {
        const u8 selectors = bytes[2 + 2 * i];
        scan.identifier[i] = bytes[1 + 2 * i];
        scan.component[i] = i;
        scan.dc_selector[i] = table_number(selectors >> 4, standard);
        scan.ac_selector[i] = table_number(selectors & 15, standard);
    }
}

// Finds the components of a scan of some by their identifiers. False for one that the frame lacks or that comes
// twice.
bool scan_components_find(JpegFile& file)
{
    u32 found = 0;  // a bit for each
    for (usize i = 0; i < file.scan.components; ++i) {
        usize number = 0;
        while (number < file.frame.components &&
               file.frame.component[number].identifier != file.scan.identifier[i]) {
            ++number;
        }
        if (number == file.frame.components || (found >> number & 1) != 0) {
            return false;
        }
        found |= 1U << number;
        file.scan.component[i] = number;
    }
    return true;
}

bool component_check(const JpegFrameHeader& frame, usize i)
{
    const JpegFrameComponent& first = frame.component[0];
    const JpegFrameComponent& component = frame.component[i];
    return component.h >= 1 && component.h <= kJpegMaxFactor && component.v >= 1 &&
           component.v <= kJpegMaxFactor && component.h <= first.h && component.v <= first.v &&
           component.quant_selector < kJpegTables;
}

bool scan_tables_check(const JpegFile& file)
{
    for (usize i = 0; i < std::min(file.frame.components, file.scan.components); ++i) {
        if (file.scan.dc_selector[i] >= kJpegTables || file.scan.ac_selector[i] >= kJpegTables) {
            return false;
        }
    }
    return true;
}

// What a scan needs of the headers. Of a picture in one scan only components that the scan has are looked at.
ErrorCode headers_check(JpegFile& file)
{
    const JpegFrameHeader& frame = file.frame;
    if (!frame.present || file.scan.components == 0 || file.scan.components > kJpegComponents ||
        (frame.standard && file.scan.components > frame.components)) {
        return kBadData;
    }
    file.in_scans = frame.standard && file.scan.components < frame.components;
    if (file.in_scans && !scan_components_find(file)) {
        return kBadData;
    }
    for (usize i = file.scan.components; i < kJpegComponents && !file.in_scans; ++i) {
        file.frame.component[i] = {.identifier = 0, .h = 1, .v = 1, .quant_selector = 0};  // stays as it is
    }
    for (usize i = 0; i < frame.components; ++i) {
        if (!component_check(frame, i)) {
            return kBadData;
        }
    }
    return scan_tables_check(file) ? kOk : kBadData;
}

// --- The walk ---

struct Segment {
    u8 marker;
    u32 length;
    u32 next;  // position behind it
};

bool is_frame(u8 marker)
{
    return marker >= kJpegSof0 && marker <= kJpegSof15 && marker != kJpegDht && marker != kJpegJpg &&
           marker != kJpegDac;
}

// Markers without a length.
bool stands_alone(u8 marker)
{
    return marker == kJpegTemporary || (marker >= kJpegRst0 && marker <= kJpegSoi);
}

// The segment at `position`, of which the marker and the length are read. Wide reading passes over fill bytes
// in front of a marker and markers that stand alone.
bool segment_read(StreamHandle stream, u32 position, Segment& segment)
{
    const bool wide = orv_reading == ORV_READING_WIDE;
    std::array<u8, 4> bytes{};
    if (!stream_seek_to(stream, position) || !stream_read_exact(stream, bytes.data(), 2)) {
        return false;
    }
    position += 2;
    while (wide && bytes[0] == 0xFF && (bytes[1] == 0xFF || stands_alone(bytes[1]))) {
        const u16 missing = bytes[1] == 0xFF ? 1 : 2;  // of the next marker
        if (!stream_read_exact(stream, bytes.data() + 2 - missing, missing)) {
            return false;
        }
        position += missing;
    }
    if (bytes[0] != 0xFF || !stream_read_exact(stream, bytes.data() + 2, 2)) {
        return false;
    }
    segment = {.marker = bytes[1], .length = load_be16(bytes.data() + 2), .next = 0};
    segment.next = position + segment.length;
    return segment.length >= kLengthBytes && (wide || segment.length <= kMaxLength);
}

// An Adobe segment tells by its last byte, 0, that the components are no luminance and chroma.
JpegColours adobe_colours(StreamHandle stream, u32 length, JpegColours colours)
{
    std::array<u8, 12> bytes{};
    const bool known = length >= kLengthBytes + bytes.size() && stream_read_exact(stream, bytes.data(), 12) &&
                       std::memcmp(bytes.data(), "Adobe", 5) == 0;
    return known && bytes[11] == 0 ? JpegColours::Rgb : colours;
}

bool segment_take(StreamHandle stream, const Segment& segment, JpegFile& file)
{
    const i32 length = static_cast<i32>(segment.length);
    switch (segment.marker) {
    case kJpegDqt: return jpeg_read_quant_tables(stream, length);
    case kJpegDht: return jpeg_read_huffman_tables(stream, length);
    case kJpegDri: {
        std::array<u8, 2> bytes{};
        stream_read(stream, bytes.data(), 2);
        file.restart_interval = load_be16(bytes.data());
        return true;
    }
    case kJpegSof0: return frame_read(stream, segment.length, true, file.frame);
    case kJpegSof1:
        return orv_reading != ORV_READING_WIDE || frame_read(stream, segment.length, false, file.frame);
    case kJpegApp14: file.colours = adobe_colours(stream, segment.length, file.colours); return true;
    case kJpegSos: scan_read(stream, segment.length, file.frame.standard, file.scan); return true;
    default: return true;
    }
}

// The position behind SOI, or 0 where the data has none from `offset` on.
u32 find_soi(StreamHandle stream, u32 offset)
{
    std::array<u8, 2> bytes{};
    for (; stream_seek_to(stream, offset) && stream_read_exact(stream, bytes.data(), 2); ++offset) {
        if (bytes[0] == 0xFF && bytes[1] == kJpegSoi) {
            return offset + 2;
        }
    }
    return 0;
}

}  // namespace

ErrorCode jpeg_read_headers(StreamHandle stream, u32 offset, JpegFile& file)
{
    Segment segment{};
    segment.next = find_soi(stream, offset);
    if (segment.next == 0) {
        return kBadData;
    }
    file = {};
    file.colours = JpegColours::Jfif;
    while (segment.marker != kJpegSos) {
        if (!segment_read(stream, segment.next, segment) || !segment_take(stream, segment, file)) {
            return kBadData;
        }
    }
    if (!file.frame.standard) {
        file.colours = JpegColours::Video;
    }
    file.data = segment.next;
    stream_seek_to(stream, segment.next);
    return headers_check(file);
}

u32 jpeg_data_end(StreamHandle stream, u32 position)
{
    constexpr u32 kLookedAt = 4000;
    while (stream_seek_to(stream, position)) {
        const std::span<const u8> bytes = stream_borrow(stream, kLookedAt);
        const usize last = bytes.size() - (bytes.empty() ? 0 : 1);
        for (usize i = 0; i < last; ++i) {
            const u8 next = bytes[i + 1];
            const bool is_data =
                bytes[i] != 0xFF || next == 0 || next == 0xFF || (next >= kJpegRst0 && next <= kJpegRst7);
            if (!is_data) {
                return position + static_cast<u32>(i);
            }
        }
        if (bytes.size() < kLookedAt) {
            return position + static_cast<u32>(bytes.size());
        }
        position += static_cast<u32>(last);
    }
    return position;
}

bool jpeg_read_next_scan(StreamHandle stream, JpegFile& file)
{
    Segment segment{};
    segment.next = file.data;
    do {
        if (!segment_read(stream, segment.next, segment) || segment.marker == kJpegEoi ||
            is_frame(segment.marker) || !segment_take(stream, segment, file)) {
            return false;
        }
    } while (segment.marker != kJpegSos);
    file.data = segment.next;
    return file.scan.components >= 1 && file.scan.components < file.frame.components &&
           scan_components_find(file) && scan_tables_check(file);
}

}  // namespace orv
