// Adds a page to a file of any bytes that begins as a TIFF does, and reads the result back.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "frame/errors.h"
#include "frame/save.h"
#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/stream_check.h"

using namespace orv;
using namespace orv::test;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, usize size);

namespace
{

constexpr i16 kFormats[] = {ORV_FORMAT_TIFF, ORV_FORMAT_TIFF_HUFFMAN, ORV_FORMAT_TIFF_T4, ORV_FORMAT_TIFF_LZW,
                            ORV_FORMAT_TIFF_T6};

void require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}

// The file that a save leaves.
std::vector<u8> contents(int file)
{
    std::vector<u8> bytes(static_cast<usize>(lseek(file, 0, SEEK_END)));
    require(pread(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
            "the file is read");
    return bytes;
}

// A picture of 1 bit whose size and pixels follow the bytes.
i16 make_page(const u8* data, usize size, u64 options)
{
    const i32 width = 1 + static_cast<i32>(options % 70);
    const i32 height = 1 + static_cast<i32>(options / 70 % 9);
    const usize stride = static_cast<usize>(width + 31) / 32 * 4;
    std::vector<u8> packed(48 + stride * static_cast<usize>(height));
    const BITMAPINFOHEADER info = {.biSize = 40,
                                   .biWidth = width,
                                   .biHeight = height,
                                   .biPlanes = 1,
                                   .biBitCount = 1,
                                   .biCompression = 0,
                                   .biSizeImage = 0,
                                   .biXPelsPerMeter = 200,
                                   .biYPelsPerMeter = 200,
                                   .biClrUsed = 0,
                                   .biClrImportant = 0};
    std::memcpy(packed.data(), &info, sizeof info);
    for (usize i = 48; i < packed.size(); ++i) {
        packed[i] = data[i * 7 % size];
    }
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(packed.data()));
}

// The page that was added is the last and is what was saved; those before are counted as before.
void check_added(int file, const std::vector<u8>& now, i16 pages_before, i16 page, i16 format)
{
    const i16 pages = IMG_tiff_page_count(file);
    require(pages_before < 0 || pages == pages_before + 1, "the file has one page more");
    if (pages < 1 || format == ORV_FORMAT_TIFF_T4) {
        return;
    }
    const i16 loaded =
        IMG_decompress_bitmap_mem_sized(now.data(), static_cast<u32>(now.size()), static_cast<i16>(pages - 1));
    require(loaded >= 0, "the added page loads");
    const ImageRecord& copy = *IMG_get_dib_intern(loaded);
    const ImageRecord& own = *IMG_get_dib_intern(page);
    require(copy.image_width == own.image_width && copy.image_height == own.image_height,
            "its size comes back");
    IMG_delete_bitmap(loaded);
}

}  // namespace

int LLVMFuzzerTestOneInput(const u8* data, usize size)
{
    if (size == 0) {
        return 0;
    }
    const int blocks = platform::testing::live_blocks();
    const u64 options = fnv1a(0x9E3779B97F4A7C15, data, size);
    const i16 format = kFormats[options / 1000 % std::size(kFormats)];
    std::vector<u8> old(data, data + size);
    const int file = memfd_create("append", 0);
    require(file >= 0 && pwrite(file, old.data(), size, 0) == static_cast<ssize_t>(size), "the file is made");
    const i16 pages_before = IMG_tiff_page_count(file);
    const i16 page = make_page(data, size, options);
    require(page >= 0, "a page is made");
    save_fine_resolution = 1;
    const i16 result = IMG_save_bitmap_fd(page, file, format);
    const std::vector<u8> now = contents(file);
    if (result != kOk) {
        require(result == kBadData && now == old, "what takes no page is left as it is");
    } else {
        require(format != ORV_FORMAT_TIFF_LZW, "LZW adds no page");
        lseek(file, 0, SEEK_SET);
        check_added(file, now, pages_before, page, format);
    }
    IMG_delete_bitmap(page);
    close(file);
    require(platform::testing::live_blocks() == blocks, "a save leaves no block");
    return 0;
}
