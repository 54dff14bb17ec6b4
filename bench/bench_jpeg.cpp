// JPEG of 3000 by 2000 pixels, from memory to a handle and from a handle to memory, beside libjpeg-turbo: the
// same tables, sampling and coefficients. Each decoding is measured in both layouts of the frame header.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/beside.h"
#include "bench/photo.h"
#include "orvimg32/extra.h"
#include "orvimg32/sized.h"

// Behind <cstdio>.
#include <jpeglib.h>

namespace orv::bench
{
namespace
{

using Bytes = std::vector<u8>;

constexpr int kWidth = 3000;
constexpr int kDescribedWidth = 2720;  // the widest that is written so
constexpr int kHeight = 2000;

usize stride_of(int width, int bits)
{
    return static_cast<usize>(row_stride_wide(width, bits));
}

struct Case {
    int width;
    int bits;
    int horizontal, vertical;  // sampling of the first component
    int quality;               // of libjpeg's tables
    int restart;               // MCUs
};

// --- libjpeg-turbo ---

// Rows of a bitmap, the bottom one first.
Bytes peer_encode(const Case& test, const Bytes& bitmap)
{
    jpeg_compress_struct job;
    jpeg_error_mgr errors;
    job.err = jpeg_std_error(&errors);
    jpeg_create_compress(&job);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&job, &out, &size);
    job.image_width = static_cast<JDIMENSION>(test.width);
    job.image_height = kHeight;
    job.input_components = test.bits / 8;
    job.in_color_space = test.bits == 24 ? JCS_EXT_BGR : JCS_GRAYSCALE;
    jpeg_set_defaults(&job);
    jpeg_set_quality(&job, test.quality, TRUE);
    job.comp_info[0].h_samp_factor = test.horizontal;
    job.comp_info[0].v_samp_factor = test.vertical;
    job.restart_interval = static_cast<unsigned>(test.restart);
    jpeg_start_compress(&job, TRUE);
    const usize stride = stride_of(test.width, test.bits);
    for (usize row = kHeight; row-- > 0;) {
        JSAMPROW place = const_cast<u8*>(bitmap.data() + bitmap.size() - (kHeight - row) * stride);
        jpeg_write_scanlines(&job, &place, 1);
    }
    jpeg_finish_compress(&job);
    jpeg_destroy_compress(&job);
    const Bytes file(out, out + size);
    std::free(out);
    return file;
}

bool peer_decode(const Bytes& file, boolean smooth)
{
    jpeg_decompress_struct job;
    jpeg_error_mgr errors;
    job.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&job);
    jpeg_mem_src(&job, file.data(), file.size());
    jpeg_read_header(&job, TRUE);
    const bool gray = job.num_components == 1;
    job.out_color_space = gray ? JCS_GRAYSCALE : JCS_EXT_BGR;
    job.do_fancy_upsampling = smooth;
    jpeg_start_decompress(&job);
    const usize stride = stride_of(static_cast<int>(job.output_width), gray ? 8 : 24);
    const std::unique_ptr<u8[]> pixels(new u8[stride * job.output_height]);
    while (job.output_scanline < job.output_height) {
        JSAMPROW row = pixels.get() + (job.output_height - 1 - job.output_scanline) * stride;
        jpeg_read_scanlines(&job, &row, 1);
    }
    benchmark::DoNotOptimize(pixels.get());
    benchmark::ClobberMemory();
    jpeg_finish_decompress(&job);
    jpeg_destroy_decompress(&job);
    return true;
}

// --- Ours ---

// The file with a frame header of this system: a fill byte more, and always three components.
Bytes with_described_frame(const Bytes& file)
{
    Bytes out(file.begin(), file.begin() + 2);
    for (usize at = 2;;) {
        const usize length = static_cast<usize>(file[at + 2] << 8 | file[at + 3]);
        const auto segment = file.begin() + static_cast<i64>(at);
        if (file[at + 1] == 0xC0) {
            out.insert(out.end(), {0xFF, 0xC0, 0, 18, file[at + 4], 0});
            out.insert(out.end(), segment + 5, segment + 2 + static_cast<i64>(length));
            out.resize(out.size() + 17 - length);
        } else {
            out.insert(out.end(), segment, segment + 2 + static_cast<i64>(length));
        }
        at += 2 + length;
        if (file[at - length - 1] == 0xDA) {
            out.insert(out.end(), file.begin() + static_cast<i64>(at), file.end());
            return out;
        }
    }
}

Run our_decode(std::shared_ptr<const Bytes> file, OrvReading reading)
{
    return [=] {
        orv_set_reading(reading);
        const i16 handle = IMG_decompress_bitmap_mem_sized(file->data(), static_cast<u32>(file->size()), 0);
        return handle >= 0 && IMG_delete_bitmap(handle) == 0;
    };
}

Run our_encode(i16 handle, OrvWriting writing, std::shared_ptr<Bytes> room)
{
    return [=] {
        orv_set_writing(writing);
        u32 size = 0;
        return IMG_save_bitmap_mem_sized(handle, room->data(), static_cast<u32>(room->size()), ORV_FORMAT_JPEG,
                                         &size) == 0;
    };
}

// --- The list ---

void add_decoding(const std::string& name, const Case& test)
{
    const auto file = std::make_shared<const Bytes>(peer_encode(test, photo(test.width, kHeight, test.bits)));
    const auto described = std::make_shared<const Bytes>(with_described_frame(*file));
    const std::vector<Peer> peers = {{"libjpeg-turbo", [=] { return peer_decode(*file, FALSE); }},
                                     {"smoothing", [=] { return peer_decode(*file, TRUE); }}};
    const i64 bytes = i64{test.width} * kHeight * test.bits / 8;
    add_beside("decode/" + name + "_described", bytes, our_decode(described, ORV_READING_DESCRIBED), peers,
               "goal 1");
    add_beside("decode/" + name + "_standard", bytes, our_decode(file, ORV_READING_WIDE), peers, "goal 1");
}

// The first tables of the library are, but for two entries, those of quality 50.
void add_encoding(const std::string& name, const Case& test, OrvWriting writing)
{
    const auto bitmap = std::make_shared<const Bytes>(photo(test.width, kHeight, test.bits));
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(bitmap->data()));
    add_beside("encode/" + name, i64{test.width} * kHeight * test.bits / 8,
               our_encode(handle, writing, std::make_shared<Bytes>(bitmap->size())),
               {{"libjpeg-turbo", [=] { return !peer_encode(test, *bitmap).empty(); }}}, "goal 1");
}

}  // namespace
}  // namespace orv::bench

int main(int argc, char** argv)
{
    using namespace orv::bench;
    benchmark::Initialize(&argc, argv);
    add_decoding("photo_q50", {kWidth, 24, 2, 1, 50, 0});
    add_decoding("photo_q75", {kWidth, 24, 2, 1, 75, 0});
    add_decoding("photo_q90", {kWidth, 24, 2, 1, 90, 0});
    add_decoding("photo_q75_420", {kWidth, 24, 2, 2, 75, 0});
    add_decoding("photo_q75_444", {kWidth, 24, 1, 1, 75, 0});
    add_decoding("photo_q75_restarts", {kWidth, 24, 2, 1, 75, 8});
    add_decoding("gray_q75", {kWidth, 8, 1, 1, 75, 0});
    add_encoding("photo_standard", {kWidth, 24, 2, 1, 50, 0}, ORV_WRITING_STANDARD);
    add_encoding("photo_described", {kDescribedWidth, 24, 2, 1, 50, 0}, ORV_WRITING_DESCRIBED);
    add_encoding("gray_standard", {kWidth, 8, 1, 1, 50, 0}, ORV_WRITING_STANDARD);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
