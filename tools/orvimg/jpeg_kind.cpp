#include "jpeg_kind.h"

namespace orvimg
{

namespace
{

using Bytes = std::span<const uint8_t>;

// The frame header of this library's own files has a byte more than T.81's of three components.
constexpr size_t kDescribedLength = 18;

// The first frame header.
struct Headers {
    unsigned process = 0;  // 0 to 15, as the marker SOFn says
    bool has_frame = false;
    bool is_described = false;
    unsigned bits = 0;
    unsigned components = 0;
    Bytes factors;  // three bytes a component, the factors in the second
};

bool is_standard_left = false;

bool is_frame(uint8_t marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

void take_frame(uint8_t marker, Bytes segment, Headers& headers)
{
    const size_t extra = segment.size() == kDescribedLength ? 1 : 0;
    if (segment.size() < 8 + extra) {
        return;
    }
    headers.has_frame = true;
    headers.process = marker - 0xC0U;
    headers.is_described = extra != 0;
    headers.bits = segment[2];
    headers.components = segment[7 + extra];
    headers.factors = segment.subspan(8 + extra);
}

// Segments with the two bytes of their length, up to the first scan.
Headers read_headers(Bytes file)
{
    Headers headers;
    size_t at = 2;
    while (at + 4 <= file.size() && file[at] == 0xFF) {
        const uint8_t marker = file[at + 1];
        if (marker == 0xFF) {
            ++at;
            continue;
        }
        const size_t length = static_cast<size_t>(file[at + 2] << 8 | file[at + 3]);
        if (length < 2 || file.size() - at - 2 < length) {
            break;
        }
        const Bytes segment = file.subspan(at + 2, length);
        if (is_frame(marker) && !headers.has_frame) {
            take_frame(marker, segment, headers);
        }
        if (marker == 0xDA) {
            break;
        }
        at += 2 + length;
    }
    return headers;
}

// T.81, Table B.1: SOF0 to SOF3, then the same differential, then with arithmetic coding.
std::string process_name(unsigned process)
{
    constexpr const char* kKinds[] = {"", "", "progressive", "lossless"};
    std::string name = process >= 9 ? "arithmetic-coded " : "";
    name += process % 8 >= 5 ? "hierarchical " : "";
    name += kKinds[process % 4];
    return name;
}

}  // namespace

void leave_standard_jpeg(bool is_left)
{
    is_standard_left = is_left;
}

std::string jpeg_kind(Bytes file, int)
{
    const Headers headers = read_headers(file);
    if (!headers.has_frame) {
        return "";
    }
    std::string name = process_name(headers.process);
    if (!name.empty()) {
        name += name.back() == ' ' ? "JPEG" : " JPEG";
    } else if (headers.bits != 8) {
        name = "JPEG of " + std::to_string(headers.bits) + " bits a sample";
    } else if (headers.components != 1 && headers.components != 3) {
        name = "JPEG of " + std::to_string(headers.components) + " components";
    } else if (is_standard_left && !headers.is_described) {
        return "JPEG with the frame header of T.81, which is read without --described";
    }
    return name.empty() ? "" : name + ", not read";
}

std::string jpeg_sampling(Bytes file)
{
    const Headers headers = read_headers(file);
    std::string text;
    for (size_t i = 0; i < headers.components && 3 * i + 1 < headers.factors.size(); ++i) {
        const uint8_t factors = headers.factors[3 * i + 1];
        text += (i == 0 ? "" : ", ") + std::to_string(factors >> 4) + "x" + std::to_string(factors & 15);
    }
    return text.empty()
               ? ""
               : text + (headers.is_described ? " (frame header of OrvImg32)" : " (frame header of T.81)");
}

}  // namespace orvimg
