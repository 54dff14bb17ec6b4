// Uncompressed files of 3000 by 2000 pixels, from memory to a handle and from a handle to memory, beside
// FreeImage, libtiff and Leptonica. What limits all of them is the copy of the pixels and the making of
// fresh memory, so memcpy into used memory stands in the list as well.
#include <fcntl.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "bench/beside.h"
#include "bench/peers.h"
#include "bench/photo.h"
#include "orvimg32/orvimg32.h"
#include "orvimg32/sized.h"

namespace
{

using namespace orv;
using namespace orv::bench;
using Bytes = std::vector<u8>;

constexpr int kWidth = 3000;
constexpr int kHeight = 2000;

// The photograph cut to its top bits.
Bytes bitmap_of(int bits)
{
    Bytes gray = photo(kWidth, kHeight, bits == 24 ? 24 : 8);
    if (bits >= 8) {
        return gray;
    }
    const usize palette = usize{4} << bits;
    const usize stride = static_cast<usize>(row_stride_wide(kWidth, bits));
    Bytes bitmap(40 + palette + stride * kHeight);
    std::copy_n(gray.begin(), 40, bitmap.begin());
    bitmap[14] = static_cast<u8>(bits);
    for (usize i = 0; i < palette; ++i) {
        bitmap[40 + i] = i % 4 == 3 ? 0 : static_cast<u8>(i / 4 * 255 / ((1U << bits) - 1));
    }
    for (usize y = 0; y < kHeight; ++y) {
        for (usize x = 0; x < kWidth; ++x) {
            const usize bit = x * static_cast<usize>(bits);
            const int value = gray[40 + 1024 + y * kWidth + x] >> (8 - bits);
            bitmap[40 + palette + y * stride + bit / 8] |=
                static_cast<u8>(value << (8 - bits - static_cast<int>(bit % 8)));
        }
    }
    return bitmap;
}

i16 handle_of(int bits)
{
    const Bytes bitmap = bitmap_of(bits);
    return IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
}

i64 pixel_bytes(int bits)
{
    return i64{kWidth} * kHeight * bits / 8;
}

Bytes file_of(int bits, i16 format)
{
    Bytes file(usize{kWidth} * kHeight * 4);
    u32 written = 0;
    const i16 handle = handle_of(bits);
    IMG_save_bitmap_mem_sized(handle, file.data(), static_cast<u32>(file.size()), format, &written);
    IMG_delete_bitmap(handle);
    file.resize(written);
    return file;
}

// --- Ours ---

Run our_load(const std::shared_ptr<Bytes>& file)
{
    return [=] {
        const i16 handle = IMG_decompress_bitmap_mem_sized(file->data(), static_cast<u32>(file->size()), 0);
        return IMG_delete_bitmap(handle) == 0;
    };
}

Run our_save(i16 handle, i16 format)
{
    auto block = std::make_shared<Bytes>(usize{kWidth} * kHeight * 4);
    return [=] {
        return IMG_save_bitmap_mem_sized(handle, block->data(), static_cast<u32>(block->size()), format,
                                         nullptr) == 0;
    };
}

// --- Peers ---

Run freeimage_loads(const std::shared_ptr<Bytes>& file, PeerFormat format)
{
    return [=] { return freeimage_load(file->data(), file->size(), format); };
}

Run freeimage_saves(int bits, PeerFormat format)
{
    const Bytes bmp = file_of(bits, ORV_FORMAT_BMP);
    void* const picture = freeimage_picture(bmp.data(), bmp.size());
    return [=] { return freeimage_save(picture, format); };
}

// --- libtiff, rows of the file as they lie ---

struct TiffMemory {
    const Bytes* file;
    Bytes* out;
    toff_t at;
};

tmsize_t tiff_read(thandle_t handle, void* to, tmsize_t count)
{
    auto& memory = *static_cast<TiffMemory*>(handle);
    const auto left = static_cast<tmsize_t>(memory.file->size() - memory.at);
    count = std::min(count, left);
    std::memcpy(to, memory.file->data() + memory.at, static_cast<usize>(count));
    memory.at += static_cast<toff_t>(count);
    return count;
}

toff_t tiff_seek(thandle_t handle, toff_t to, int origin)
{
    auto& memory = *static_cast<TiffMemory*>(handle);
    memory.at = origin == SEEK_SET ? to : origin == SEEK_CUR ? memory.at + to : memory.file->size() + to;
    return memory.at;
}

Run libtiff_load(const std::shared_ptr<Bytes>& file)
{
    return [=] {
        TiffMemory memory = {file.get(), nullptr, 0};
        const auto none = [](thandle_t, void*, tmsize_t) -> tmsize_t { return 0; };
        const auto close = [](thandle_t) { return 0; };
        const auto size = [](thandle_t handle) -> toff_t {
            return static_cast<TiffMemory*>(handle)->file->size();
        };
        TIFF* const tiff =
            TIFFClientOpen("m", "rm", &memory, tiff_read, none, tiff_seek, close, size, nullptr, nullptr);
        if (tiff == nullptr) {
            return false;
        }
        const auto bytes = static_cast<usize>(TIFFStripSize(tiff)) * TIFFNumberOfStrips(tiff);
        auto pixels = std::unique_ptr<u8[]>(static_cast<u8*>(::operator new[](bytes)));
        usize at = 0;
        for (tstrip_t strip = 0; strip < TIFFNumberOfStrips(tiff); ++strip) {
            at += static_cast<usize>(
                std::max<tmsize_t>(TIFFReadEncodedStrip(tiff, strip, pixels.get() + at, -1), 0));
        }
        TIFFClose(tiff);
        benchmark::DoNotOptimize(pixels.get());
        return at > 0;
    };
}

// --- The list ---

struct Format {
    const char* name;
    i16 id;
    PeerFormat peer;
};

void add_format(const Format& format, int bits)
{
    const std::string name = std::string(format.name) + "_" + std::to_string(bits);
    auto file = std::make_shared<Bytes>(file_of(bits, format.id));
    const i64 bytes = pixel_bytes(bits);
    std::vector<Peer> readers;
    if (format.id == ORV_FORMAT_TIFF) {
        readers.push_back({"libtiff's bare rows", libtiff_load(file)});
    } else if (format.id == ORV_FORMAT_BMP) {
        readers.push_back({"Leptonica", [=] { return leptonica_load(file->data(), file->size()); }});
    }
    readers.push_back({"FreeImage", freeimage_loads(file, format.peer)});
    add_beside("load/" + name, bytes, our_load(file), readers, "goal 1");
    add_beside("save/" + name, bytes, our_save(handle_of(bits), format.id),
               {{"FreeImage", freeimage_saves(bits, format.peer)}}, "goal 1");
}

// A narrow and tall picture to a file, beside one write of the same bytes.
void add_tall_save()
{
    constexpr int kTall = 32000;
    const Bytes bitmap = photo(192, kTall, 8);
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data()));
    const std::string path = (std::filesystem::temp_directory_path() / "orvimg32-tall.bmp").string();
    const Run save = [=] { return IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_BMP, 1, 1, 1, 1) == 0; };
    const Run write_once = [=] {
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
        const bool whole = write(file, bitmap.data(), bitmap.size()) == static_cast<ssize_t>(bitmap.size());
        return close(file) == 0 && whole;
    };
    add_beside("save_to_file/tall_bmp_8", 192 * kTall, save, {{"one write", write_once}}, "goal 0.5");
}

void add_handles()
{
    Bytes bitmap = photo(8, 8, 8);
    const Run handles = [bitmap] {
        std::vector<i16> made;
        for (int i = 0; i < 10000; ++i) {
            made.push_back(IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap.data())));
        }
        bool whole = true;
        for (const i16 handle : made) {
            whole = IMG_delete_bitmap(handle) == 0 && whole;
        }
        return whole;
    };
    add_beside("handles/10000_made_and_deleted", 10000, handles, {}, "goal 10 ms");
}

void add_memcpy(int bits)
{
    const usize bytes = static_cast<usize>(pixel_bytes(bits));
    auto from = std::make_shared<Bytes>(bytes, u8{1});
    auto to = std::make_shared<Bytes>(bytes);
    add_beside(
        "memcpy/" + std::to_string(bits), static_cast<i64>(bytes),
        [=] {
            std::memcpy(to->data(), from->data(), from->size());
            benchmark::ClobberMemory();
            return true;
        },
        {}, "");
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    TIFFSetWarningHandler(nullptr);
    for (const int bits : {1, 4, 8, 24}) {
        add_memcpy(bits);
        add_format({"bmp", ORV_FORMAT_BMP, PeerFormat::Bmp}, bits);
        if (bits >= 8) {
            add_format({"tga", ORV_FORMAT_TGA, PeerFormat::Tga}, bits);
        }
    }
    add_tall_save();
    add_handles();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
