#include "turned_load.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#include <vector>

#include "orvimg32/host.h"
#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"

namespace orvimg
{

namespace
{

constexpr int kGroup = 32;  // rows that are turned together; a multiple of 8

size_t stride_of(int width, int bits)
{
    return (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
}

size_t header_bytes(const ImageHeader& header)
{
    const unsigned bits = header.info.biBitCount;
    return sizeof(BITMAPINFOHEADER) + (bits > 8 ? 0 : sizeof(RGBQUAD) << bits);
}

// An empty picture. The zeros that it is made of take no memory: nobody writes to them.
int16_t empty_picture(const ImageHeader& header)
{
    const size_t head = header_bytes(header);
    const size_t pixels =
        stride_of(header.info.biWidth, header.info.biBitCount) * static_cast<size_t>(header.info.biHeight);
    void* const zeros = mmap(nullptr, head + pixels, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (zeros == MAP_FAILED) {
        return ORV_OUT_OF_MEMORY;
    }
    std::memcpy(zeros, &header, head);
    const int16_t handle = IMG_create_handle(static_cast<const ImageHeader*>(zeros));
    munmap(zeros, head + pixels);
    return handle;
}

// Bit k of byte i becomes bit i of byte k: three rounds that swap the corners of ever larger squares.
uint64_t turn_bits(uint64_t square)
{
    constexpr std::pair<int, uint64_t> kRounds[] = {
        {7, 0x00AA00AA00AA00AA}, {14, 0x0000CCCC0000CCCC}, {28, 0x00000000F0F0F0F0}};
    for (const auto& [shift, mask] : kRounds) {
        const uint64_t swapped = (square ^ square >> shift) & mask;
        square ^= swapped ^ swapped << shift;
    }
    return square;
}

class TurnedPicture
{
public:
    int16_t begin(const ImageHeader& header);
    void take_row(const void* row, int from_top, size_t length);
    int16_t finish(int16_t result);

private:
    void put_group();
    void put_bits(size_t first);
    void put_nibbles(size_t first);
    template <size_t kBytes>
    void put_bytes();
    bool has(size_t k) const { return (present_ >> k & 1) != 0; }

    int16_t handle_ = -1;
    int32_t block_ = 0;
    uint8_t* pixels_ = nullptr;  // of the turned picture
    size_t stride_ = 0;
    int width_ = 0;  // of the picture as it comes, as the next three
    int height_ = 0;
    int bits_ = 0;
    size_t row_bytes_ = 0;
    std::vector<uint8_t> rows_;  // of a group, the lowest first
    size_t group_ = 0;
    uint32_t present_ = 0;  // a bit for each row of the group that came
};

int16_t TurnedPicture::begin(const ImageHeader& header)
{
    const BITMAPINFOHEADER& info = header.info;
    if (info.biBitCount != 1 && info.biBitCount != 4 && info.biBitCount != 8 && info.biBitCount != 24) {
        return ORV_NOT_SUPPORTED;
    }
    ImageHeader turned = header;
    std::swap(turned.info.biWidth, turned.info.biHeight);
    std::swap(turned.info.biXPelsPerMeter, turned.info.biYPelsPerMeter);
    handle_ = empty_picture(turned);
    if (handle_ < 0) {
        return handle_;
    }
    width_ = info.biWidth;
    height_ = info.biHeight;
    bits_ = info.biBitCount;
    stride_ = stride_of(height_, bits_);
    row_bytes_ = stride_of(width_, bits_);
    rows_.resize(row_bytes_ * kGroup);
    uint16_t unused = 0;
    block_ = IMG_bitmap_info(handle_, &unused, &unused, &unused);
    pixels_ = static_cast<uint8_t*>(orv_block_lock(block_)) + header_bytes(turned);
    return 1;
}

void TurnedPicture::take_row(const void* row, int from_top, size_t length)
{
    if (from_top < 0 || from_top >= height_) {
        return;
    }
    const auto place = static_cast<size_t>(height_ - 1 - from_top);
    if (place / kGroup != group_) {
        put_group();
        group_ = place / kGroup;
    }
    const size_t k = place % kGroup;
    std::memcpy(rows_.data() + k * row_bytes_, row, std::min(length, row_bytes_));
    present_ |= 1U << k;
}

int16_t TurnedPicture::finish(int16_t result)
{
    if (handle_ < 0) {
        return result;
    }
    put_group();
    orv_block_unlock(block_);
    if (result < 0) {
        IMG_delete_bitmap(handle_);
        return result;
    }
    return handle_;
}

void TurnedPicture::put_group()
{
    for (size_t first = 0; first < kGroup && bits_ < 8; first += 8) {
        bits_ == 1 ? put_bits(first) : put_nibbles(first);
    }
    if (present_ != 0 && bits_ >= 8) {
        bits_ == 8 ? put_bytes<1>() : put_bytes<3>();
    }
    present_ = 0;
}

// Eight rows become a byte of each turned row.
void TurnedPicture::put_bits(size_t first)
{
    uint8_t came = 0;  // as the bits lie in the byte
    for (size_t k = 0; k < 8; ++k) {
        came = static_cast<uint8_t>(came | (has(first + k) ? 0x80 >> k : 0));
    }
    const uint8_t* const from = rows_.data() + first * row_bytes_;
    uint8_t* const to = pixels_ + (group_ * kGroup + first) / 8;
    for (int x = 0; x < width_ && came != 0; x += 8) {
        uint64_t square = 0;
        for (size_t k = 0; k < 8; ++k) {
            square = square << 8 | from[k * row_bytes_ + static_cast<size_t>(x) / 8];
        }
        square = turn_bits(square);
        for (int j = 0; j < std::min(8, width_ - x); ++j) {
            uint8_t& byte = to[static_cast<size_t>(x + j) * stride_];
            byte = static_cast<uint8_t>((byte & ~came) | ((square >> (56 - 8 * j)) & came));
        }
    }
}

void TurnedPicture::put_nibbles(size_t first)
{
    for (size_t k = first; k < first + 8; ++k) {
        const uint8_t* const from = rows_.data() + k * row_bytes_;
        const size_t place = group_ * kGroup + k;
        const int shift = place % 2 == 0 ? 4 : 0;
        for (int x = 0; x < width_ && has(k); ++x) {
            const int index = from[x / 2] >> (x % 2 == 0 ? 4 : 0) & 15;
            uint8_t& byte = pixels_[static_cast<size_t>(x) * stride_ + place / 2];
            byte = static_cast<uint8_t>((byte & ~(15 << shift)) | index << shift);
        }
    }
}

template <size_t kBytes>
void TurnedPicture::put_bytes()
{
    uint8_t* const to = pixels_ + group_ * kGroup * kBytes;
    const auto first = static_cast<size_t>(std::countr_zero(present_));
    const size_t behind = kGroup - static_cast<size_t>(std::countl_zero(present_));
    for (size_t x = 0; x < static_cast<size_t>(width_); ++x) {
        for (size_t k = first; k < behind; ++k) {
            if (has(k)) {
                std::memcpy(to + x * stride_ + k * kBytes, rows_.data() + k * row_bytes_ + x * kBytes, kBytes);
            }
        }
    }
}

int16_t take_header(ImageHeader* header, void* user)
{
    return static_cast<TurnedPicture*>(user)->begin(*header);
}

int16_t take_row(const void* row, void* user, int16_t number, int16_t length)
{
    static_cast<TurnedPicture*>(user)->take_row(row, number, length < 0 ? 0 : static_cast<size_t>(length));
    return 0;
}

}  // namespace

int16_t load_turned(std::span<const uint8_t> file, int16_t page)
{
    TurnedPicture picture;
    return picture.finish(IMGLOW_decompress_bitmap_mem_sized(file.data(), static_cast<uint32_t>(file.size()),
                                                             page, take_row, &picture, take_header));
}

}  // namespace orvimg
