#include "picture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "formats.h"
#include "orvimg32/host.h"
#include "report.h"

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

PictureFile::PictureFile(std::string name) : name_(std::move(name))
{
    descriptor_ = open(name_.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0)
        throw Failure("cannot read " + name_ + ": " + with_code(std::strerror(errno), ORV_UNREADABLE));
    struct stat about = {};
    if (fstat(descriptor_, &about) != 0 || !S_ISREG(about.st_mode)) {
        close(descriptor_);
        const char* what = S_ISDIR(about.st_mode) ? "it is a directory" : "it is not an ordinary file";
        throw Failure("cannot read " + name_ + ": " + with_code(what, ORV_UNREADABLE));
    }
    detected_ = IMG_get_filetype_fd(descriptor_);
    char magic[8] = {};
    is_fax_ = pread(descriptor_, magic, sizeof magic, 0) == sizeof magic &&
              std::memcmp(magic, "ORVNFAX ", sizeof magic) == 0;
}

PictureFile::~PictureFile()
{
    close(descriptor_);
}

int PictureFile::page_count()
{
    if (page_count_ == 0) {
        int count = 1;
        if (detected_ == ORV_FORMAT_TIFF)
            count = IMG_tiff_page_count(descriptor_);
        else if (detected_ == ORV_FORMAT_DCX)
            count = IMG_dcx_page_count(descriptor_);
        if (count < 0)
            throw Failure("cannot count the pages of " + name_ + ": " + trouble(count));
        page_count_ = std::max(count, 1);
    }
    return page_count_;
}

// Formats without pages read their one picture whatever page is asked for, so this is asked first. The
// first page is always worth a try, also where the pages behind it can't be counted.
void PictureFile::require_page(int page)
{
    if (page > 1 && page > page_count())
        throw Failure(name_ + " has " + counted(page_count(), "page") + ", " +
                      with_code("there is no page " + std::to_string(page), ORV_NO_SUCH_PAGE));
}

Picture PictureFile::load(int page)
{
    require_page(page);
    const int16_t handle = IMG_decompress_bitmap_fd(descriptor_, 0, static_cast<int16_t>(page - 1));
    if (handle < 0) {
        const std::string which = page > 1 ? "page " + std::to_string(page) + " of " : "";
        throw Failure("cannot read " + which + name_ + ": " + trouble(handle));
    }
    return Picture(handle);
}

std::string PictureFile::trouble(int code) const
{
    const Format* format = format_by_number(detected_);
    const std::string kind = is_fax_ ? "fax" : format == nullptr ? "unknown" : format->name;
    if (code == ORV_NOT_SUPPORTED && format == nullptr)
        return with_code("not a picture that OrvImg32 knows", code);
    if (code == ORV_NOT_SUPPORTED && !(is_fax_ ? can_read_fax_files() : can_read(*format)))
        return with_code("it looks like " + kind + ", which this build does not read", code);
    if (code == ORV_NOT_SUPPORTED)
        return with_code("it looks like " + kind + ", of a kind, depth or size that OrvImg32 does not carry",
                         code);
    if (code == ORV_BAD_DATA)
        return with_code("it looks like " + kind + ", but the data is damaged", code);
    if (code == ORV_NOT_CREATED)
        return with_code("the temporary file plane.tmp can't be made in the current directory", code);
    return words_for(code);
}

}  // namespace orvimg
