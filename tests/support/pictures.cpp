#include "tests/support/pictures.h"

#include <gtest/gtest.h>

#include <cctype>
#include <random>

#include "frame/rows.h"
#include "orvimg32/host.h"
#include "orvimg32/sized.h"
#include "tests/support/files.h"

namespace orv::test
{

namespace
{

usize stride_of(int width, int bits)
{
    return static_cast<usize>(row_stride_wide(width, bits));
}

u32 pixel_at(const ImageHeader& header, const u8* row, int bits, usize x)
{
    if (bits == 24) {
        return static_cast<u32>(row[3 * x] | row[3 * x + 1] << 8 | row[3 * x + 2] << 16);
    }
    const usize bit = x * static_cast<usize>(bits);
    const int shift = 8 - bits - static_cast<int>(bit % 8);
    const RGBQUAD& colour = header.palette[row[bit / 8] >> shift & ((1 << bits) - 1)];
    return static_cast<u32>(colour.rgbRed << 16 | colour.rgbGreen << 8 | colour.rgbBlue);
}

// The number behind spaces and comments in a PNM header, with `pos` moved behind it.
int pnm_number(const std::vector<u8>& file, usize& pos)
{
    while (pos < file.size() && (std::isspace(file[pos]) || file[pos] == '#')) {
        if (file[pos] == '#') {
            while (pos < file.size() && file[pos] != '\n') {
                pos++;
            }
        } else {
            pos++;
        }
    }
    int value = 0;
    while (pos < file.size() && std::isdigit(file[pos])) {
        value = value * 10 + file[pos++] - '0';
    }
    return value;
}

Picture take_picture(i16 handle, const std::string& name)
{
    if (handle < 0) {
        ADD_FAILURE() << name << " does not load: " << handle;
        return {};
    }
    Picture picture = picture_of(handle);
    IMG_delete_bitmap(handle);
    return picture;
}

// A locked image, and what says how to read it.
struct Locked {
    i32 block = 0;
    u16 width = 0, height = 0, bits = 0;
    const ImageHeader* header = nullptr;
    const u8* rows = nullptr;
};

// Without a header where the handle holds no image, which fails the test.
Locked lock(int handle)
{
    Locked image;
    image.block = IMG_bitmap_info(handle, &image.width, &image.height, &image.bits);
    image.header = static_cast<const ImageHeader*>(orv_block_lock(image.block));
    if (image.header == nullptr) {
        ADD_FAILURE() << "handle " << handle << " holds no image";
    } else {
        image.rows =
            reinterpret_cast<const u8*>(image.header) + kBitmapHeaderBytes + palette_bytes(image.header->info);
    }
    return image;
}

}  // namespace

Picture picture_of(int handle)
{
    const auto [block, width, height, bits, header, rows] = lock(handle);
    if (header == nullptr) {
        return {};
    }
    Picture picture{width, height, bits, {}};
    picture.pixels.reserve(usize{width} * height);
    for (usize y = height; y-- > 0;) {
        for (usize x = 0; x < width; x++) {
            picture.pixels.push_back(pixel_at(*header, rows + y * stride_of(width, bits), bits, x));
        }
    }
    orv_block_unlock(block);
    return picture;
}

Picture load_picture(const std::string& path, int page)
{
    if (page == 0) {
        return take_picture(IMG_decompress_bitmap(path.c_str()), path);
    }
    const std::vector<u8> file = read_file(path);
    return load_picture(file, page);
}

Picture load_picture(std::span<const u8> bytes, int page)
{
    return take_picture(
        IMG_decompress_bitmap_mem_sized(bytes.data(), static_cast<u32>(bytes.size()), static_cast<i16>(page)),
        "picture in memory");
}

std::vector<u8> raw_rows(int handle)
{
    const auto [block, width, height, bits, header, rows] = lock(handle);
    if (header == nullptr) {
        return {};
    }
    std::vector<u8> bytes(rows, rows + stride_of(width, bits) * height);
    orv_block_unlock(block);
    return bytes;
}

int make_image(int width, int height, int bits, unsigned seed)
{
    BITMAPINFOHEADER info = {};
    info.biSize = kBitmapHeaderBytes;
    info.biWidth = width;
    info.biHeight = height;
    info.biPlanes = 1;
    info.biBitCount = static_cast<u16>(bits);
    const usize palette = static_cast<usize>(palette_bytes(info));
    std::vector<u8> packed(kBitmapHeaderBytes + palette + stride_of(width, bits) * static_cast<usize>(height));
    std::mt19937 random(seed);
    for (usize i = kBitmapHeaderBytes; i < packed.size(); i++) {
        const bool reserved = i < kBitmapHeaderBytes + palette && i % 4 == 3;
        packed[i] = reserved ? 0 : static_cast<u8>(random() >> 16);
    }
    std::memcpy(packed.data(), &info, sizeof info);
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
    EXPECT_GE(handle, 0) << "no image of " << width << " by " << height << " by " << bits;
    return handle;
}

Picture cropped(const Picture& picture, int left, int top, int width, int height, u32 outside)
{
    Picture part{width, height, picture.bits, {}};
    for (int y = top; y < top + height; y++) {
        for (int x = left; x < left + width; x++) {
            const bool inside = x >= 0 && x < picture.width && y >= 0 && y < picture.height;
            part.pixels.push_back(inside ? picture.pixels[static_cast<usize>(y * picture.width + x)] : outside);
        }
    }
    return part;
}

Picture peer_picture(const std::string& path)
{
    const std::string pnm = temp_path("peer.ppm");
    // A warning makes it report failure although it has read the picture.
    return run("rm -f " + pnm + "; convert-im6.q16 -quiet '" + path + "' -depth 8 ppm:" + pnm + " || test -s " +
               pnm)
               ? read_pnm(pnm)
               : Picture{};
}

Picture read_pnm(const std::string& path)
{
    const std::vector<u8> file = read_file(path);
    if (file.size() < 8 || file[0] != 'P' || file[1] < '4' || file[1] > '6') {
        ADD_FAILURE() << path << " is no raw PNM";
        return {};
    }
    usize pos = 2;
    Picture picture;
    picture.bits = file[1] == '4' ? 1 : file[1] == '5' ? 8 : 24;
    picture.width = pnm_number(file, pos);
    picture.height = pnm_number(file, pos);
    const int top = picture.bits == 1 ? 1 : pnm_number(file, pos);
    pos++;
    const usize width = static_cast<usize>(picture.width);
    const usize row_bytes = (width * static_cast<usize>(picture.bits) + 7) / 8;
    if (file.size() < pos + row_bytes * static_cast<usize>(picture.height) || top > 255) {
        ADD_FAILURE() << path << " is cut short or has deep samples";
        return {};
    }
    for (int y = 0; y < picture.height; y++) {
        const u8* row = file.data() + pos + static_cast<usize>(y) * row_bytes;
        for (usize x = 0; x < width; x++) {
            const u32 gray = picture.bits == 1 ? ((row[x / 8] << (x % 8) & 0x80) != 0 ? 0u : 255u) : row[x];
            picture.pixels.push_back(
                picture.bits == 24 ? static_cast<u32>(row[3 * x] << 16 | row[3 * x + 1] << 8 | row[3 * x + 2])
                                   : gray * 0x010101u);
        }
    }
    return picture;
}

Picture fixture_source(const std::string& path)
{
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::string word = name.substr(0, name.find('-'));
    return read_pnm(data_path("bitmap/" + word + (word == "gray" ? ".pgm" : word == "mono" ? ".pbm" : ".ppm")));
}

void expect_same(const Picture& a, const Picture& b, const char* what)
{
    if (a == b) {
        return;
    }
    if (a.width != b.width || a.height != b.height) {
        ADD_FAILURE() << what << ": " << a.width << " by " << a.height << " against " << b.width << " by "
                      << b.height;
        return;
    }
    usize differ = 0;
    usize first = 0;
    for (usize i = a.pixels.size(); i-- > 0;) {
        if (a.pixels[i] != b.pixels[i]) {
            differ++;
            first = i;
        }
    }
    const usize width = static_cast<usize>(a.width);
    ADD_FAILURE() << what << ": " << differ << " pixels differ, first at " << first % width << ", "
                  << first / width << std::hex << ": " << a.pixels[first] << " against " << b.pixels[first];
}

}  // namespace orv::test
