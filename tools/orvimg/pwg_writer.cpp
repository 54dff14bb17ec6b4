#include "pwg_writer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace orvimg
{

namespace
{

// --- The bytes of the format ---
//
// "RaS2", then pages: a header of 1796 bytes in big-endian order, then the lines. A line is a byte that says
// how many more times it repeats, then runs of units: n below 128 and one unit, which stands n + 1 times, or
// n above 128 and 257 - n units as they are.

constexpr size_t kHeaderBytes = 1796;
constexpr size_t kFlushFrom = 65536;
constexpr int kMostRepeats = 256;
constexpr size_t kMostRun = 128;

// Fields of the header by their byte offset.
enum Field : size_t {
    kIdentity = 0,
    kResolutionX = 276,
    kResolutionY = 280,
    kOrientation = 344,
    kPagePointsX = 352,
    kPagePointsY = 356,
    kWidth = 372,
    kHeight = 376,
    kBitsPerColor = 384,
    kBitsPerPixel = 388,
    kBytesPerLine = 392,
    kColorSpace = 400,
    kNumColors = 420,
    kCrossFeedTransform = 456,
    kFeedTransform = 460,
    kAlternatePrimary = 480,
    kPageSizeName = 1732,
};

enum ColorSpace : uint32_t { kDeviceBlack = 3, kGray = 18, kColour = 19 };

void store(std::vector<uint8_t>& header, size_t at, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8) {
        header[at++] = static_cast<uint8_t>(value >> shift);
    }
}

void store(std::vector<uint8_t>& header, size_t at, const std::string& text)
{
    std::copy_n(text.data(), std::min<size_t>(text.size(), 63),
                header.begin() + static_cast<std::ptrdiff_t>(at));
}

// --- Runs ---

bool same(const uint8_t* a, const uint8_t* b, size_t unit)
{
    return a[0] == b[0] && (unit == 1 || (a[1] == b[1] && a[2] == b[2]));
}

// How many units from `at` on are alike, at most kMostRun.
size_t run_length(const uint8_t* at, size_t units, size_t unit)
{
    const size_t most = std::min(units, kMostRun);
    size_t length = 1;
    while (length < most && same(at, at + length * unit, unit)) {
        ++length;
    }
    return length;
}

// How many units from `at` on stand ahead of two that are alike, at most kMostRun.
size_t literal_length(const uint8_t* at, size_t units, size_t unit)
{
    const size_t most = std::min(units, kMostRun);
    size_t length = 1;
    while (length < most &&
           (length + 1 == units || !same(at + length * unit, at + (length + 1) * unit, unit))) {
        ++length;
    }
    return length;
}

}  // namespace

PwgWriter::PwgWriter(int descriptor) : descriptor_(descriptor)
{
    held_back_.reserve(kFlushFrom * 2);
    put(reinterpret_cast<const uint8_t*>("RaS2"), 4);
}

void PwgWriter::put_header(const PageFormat& page)
{
    std::vector<uint8_t> header(kHeaderBytes);
    const auto number = [](int value) { return static_cast<uint32_t>(value); };
    store(header, kIdentity, std::string("PwgRaster"));
    store(header, kResolutionX, number(page.dpi));
    store(header, kResolutionY, number(page.dpi));
    store(header, kPagePointsX, number(page.width_points));
    store(header, kPagePointsY, number(page.height_points));
    store(header, kWidth, number(page.width));
    store(header, kHeight, number(page.height));
    store(header, kBitsPerColor, page.bits == 1 ? 1u : 8u);
    store(header, kBitsPerPixel, number(page.bits));
    store(header, kBytesPerLine, static_cast<uint32_t>(page.line_bytes));
    store(header, kColorSpace, page.bits == 1 ? kDeviceBlack : page.bits == 8 ? kGray : kColour);
    store(header, kNumColors, page.bits == 24 ? 3u : 1u);
    store(header, kCrossFeedTransform, 1u);
    store(header, kFeedTransform, 1u);
    store(header, kAlternatePrimary, page.bits == 24 ? 0x00FFFFFFu : 0u);
    store(header, kPageSizeName, page.paper_name);
    put(header.data(), header.size());
}

void PwgWriter::begin_page(const PageFormat& page)
{
    put_header(page);
    unit_ = page.bits == 24 ? 3 : 1;
    last_.assign(page.line_bytes, 0);
    times_ = 0;
}

void PwgWriter::line(const uint8_t* bytes)
{
    if (times_ > 0 && times_ < kMostRepeats && std::memcmp(bytes, last_.data(), last_.size()) == 0) {
        ++times_;
        return;
    }
    put_line();
    std::memcpy(last_.data(), bytes, last_.size());
    times_ = 1;
}

// The line counted so far, with its number.
void PwgWriter::put_line()
{
    if (times_ == 0) {
        return;
    }
    held_back_.push_back(static_cast<uint8_t>(times_ - 1));
    const uint8_t* at = last_.data();
    size_t units = last_.size() / unit_;
    while (units > 0) {
        size_t length = run_length(at, units, unit_);
        size_t stored = 1;
        if (length > 1) {
            held_back_.push_back(static_cast<uint8_t>(length - 1));
        } else {
            stored = length = literal_length(at, units, unit_);
            held_back_.push_back(static_cast<uint8_t>(length == 1 ? 0 : 257 - length));
        }
        held_back_.insert(held_back_.end(), at, at + stored * unit_);
        at += length * unit_;
        units -= length;
    }
    times_ = 0;
    if (held_back_.size() >= kFlushFrom) {
        flush();
    }
}

void PwgWriter::end_page()
{
    put_line();
}

void PwgWriter::finish()
{
    flush();
}

void PwgWriter::put(const uint8_t* bytes, size_t count)
{
    held_back_.insert(held_back_.end(), bytes, bytes + count);
}

void PwgWriter::flush()
{
    size_t done = 0;
    while (trouble_ == 0 && done < held_back_.size()) {
        const ssize_t moved = write(descriptor_, held_back_.data() + done, held_back_.size() - done);
        if (moved > 0) {
            done += static_cast<size_t>(moved);
        } else if (moved == 0 || errno != EINTR) {
            trouble_ = moved == 0 ? ENOSPC : errno;
        }
    }
    held_back_.clear();
}

}  // namespace orvimg
