#include "picture.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "orvimg32/host.h"

namespace orvimg
{

Picture& Picture::operator=(Picture&& other) noexcept
{
    std::swap(handle_, other.handle_);
    return *this;
}

Picture::~Picture()
{
    if (handle_ >= 0)
        IMG_delete_bitmap(handle_);
}

Size Picture::size() const
{
    uint16_t width = 0;
    uint16_t height = 0;
    uint16_t bits = 0;
    IMG_bitmap_info(handle_, &width, &height, &bits);
    return {width, height, bits};
}

namespace
{

// The stored picture of a handle, locked while this lives: header and palette, rows from the bottom up.
class LockedImage
{
public:
    explicit LockedImage(int16_t handle)
    {
        uint16_t width = 0;
        uint16_t height = 0;
        uint16_t bits = 0;
        block_ = IMG_bitmap_info(handle, &width, &height, &bits);
        bytes_ = static_cast<const uint8_t*>(orv_block_lock(block_));
        IMGLOW_get_bitmap_header(handle, &header);
    }
    ~LockedImage() { orv_block_unlock(block_); }
    LockedImage(const LockedImage&) = delete;
    LockedImage& operator=(const LockedImage&) = delete;

    const uint8_t* row(int y) const  // y counts from the top
    {
        const size_t from_bottom = static_cast<size_t>(header.info.biHeight - 1 - y);
        return bytes_ + header_bytes(header) + from_bottom * stride_of(header);
    }

    static size_t header_bytes(const ImageHeader& header)
    {
        const unsigned bits = header.info.biBitCount;
        return sizeof(BITMAPINFOHEADER) + (bits == 24 ? 0 : sizeof(RGBQUAD) << bits);
    }

    static size_t stride_of(const ImageHeader& header)
    {
        return (static_cast<size_t>(header.info.biWidth) * header.info.biBitCount + 31) / 32 * 4;
    }

    ImageHeader header = {};

private:
    int32_t block_;
    const uint8_t* bytes_;
};

// The pixel's index at 1, 4 or 8 bits; the first pixel lies in the high bits.
unsigned index_at(const uint8_t* row, unsigned x, unsigned bits)
{
    const unsigned bit = x * bits;
    return static_cast<unsigned>(row[bit / 8] >> (8 - bits - bit % 8)) & ((1U << bits) - 1);
}

uint32_t colour_at(const uint8_t* row, unsigned x, const ImageHeader& header)
{
    if (header.info.biBitCount == 24) {
        const uint8_t* bgr = row + 3 * x;
        return static_cast<uint32_t>(bgr[2] << 16 | bgr[1] << 8 | bgr[0]);
    }
    const RGBQUAD& entry = header.palette[index_at(row, x, header.info.biBitCount)];
    return static_cast<uint32_t>(entry.rgbRed << 16 | entry.rgbGreen << 8 | entry.rgbBlue);
}

// `width` pixels of `row` from `left` on. `part` is cleared.
void copy_part(const uint8_t* row, unsigned left, unsigned width, unsigned bits, uint8_t* part)
{
    if (bits >= 8) {
        std::copy_n(row + left * (bits / 8), width * (bits / 8), part);
        return;
    }
    for (unsigned x = 0; x < width; ++x) {
        const unsigned bit = x * bits;
        part[bit / 8] |= static_cast<uint8_t>(index_at(row, left + x, bits) << (8 - bits - bit % 8));
    }
}

}  // namespace

std::vector<uint32_t> Picture::pixels() const
{
    const LockedImage image(handle_);
    std::vector<uint32_t> pixels;
    pixels.reserve(static_cast<size_t>(image.header.info.biWidth) *
                   static_cast<size_t>(image.header.info.biHeight));
    for (int y = 0; y < image.header.info.biHeight; ++y)
        for (int x = 0; x < image.header.info.biWidth; ++x)
            pixels.push_back(colour_at(image.row(y), static_cast<unsigned>(x), image.header));
    return pixels;
}

int16_t Picture::cut(int left, int top, int width, int height)
{
    std::vector<uint8_t> packed;
    {
        const LockedImage image(handle_);
        ImageHeader header = image.header;
        header.info.biWidth = width;
        header.info.biHeight = height;
        header.info.biSizeImage = 0;
        const size_t header_bytes = LockedImage::header_bytes(header);
        const size_t stride = LockedImage::stride_of(header);
        packed.resize(sizeof(ImageHeader) + stride * static_cast<size_t>(height));
        std::memcpy(packed.data(), &header, header_bytes);
        for (int y = 0; y < height; ++y)
            copy_part(image.row(top + y), static_cast<unsigned>(left), static_cast<unsigned>(width),
                      header.info.biBitCount,
                      packed.data() + header_bytes + stride * static_cast<size_t>(height - 1 - y));
    }
    const int16_t part = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
    if (part < 0)
        return part;
    *this = Picture(part);
    return ORV_OK;
}

}  // namespace orvimg
