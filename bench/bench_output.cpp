// Printing and drawing: pages of 600 dots an inch to a printer without a surface, as orvimg print has it,
// beside netpbm and Ghostscript at the same work. Peers are programs: their time is that of a whole process,
// with the picture in its plainest file.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "bench/photo.h"
#include "orvimg32/host.h"
#include "platform/testing.h"

namespace
{

using namespace orv;

constexpr int kPageWidth = 4960;  // A4 at 600 dots an inch
constexpr int kPageHeight = 7016;
constexpr double kPagePixels = double{kPageWidth} * kPageHeight;

// A page of text at 300 dots an inch: blobs of ink in lines.
std::vector<u8> fax_page()
{
    constexpr int kWidth = 2480, kHeight = 3508;
    ImageHeader header = {};
    header.info.biSize = kBitmapHeaderBytes;
    header.info.biWidth = kWidth;
    header.info.biHeight = kHeight;
    header.info.biPlanes = 1;
    header.info.biBitCount = 1;
    header.palette[1] = {255, 255, 255, 0};
    const usize stride = static_cast<usize>(row_stride_wide(kWidth, 1));
    std::vector<u8> page(48 + stride * kHeight, 0xFF);
    std::memcpy(page.data(), &header, 48);
    std::minstd_rand random(3);
    for (usize y = 200; y + 300 < kHeight; ++y) {
        for (usize x = 20; y % 50 < 30 && x + 20 < stride; ++x) {
            page[48 + y * stride + x] = static_cast<u8>(random() % 3 == 0 ? random() : 0xFF);
        }
    }
    return page;
}

u64 bytes_seen;

void see_band(HDC, const orv_stretch* call, void*)
{
    const auto& info = *static_cast<const BITMAPINFOHEADER*>(call->header);
    bytes_seen +=
        static_cast<u64>(row_stride_wide(info.biWidth, info.biBitCount)) * static_cast<u64>(info.biHeight);
    benchmark::DoNotOptimize(call->bits);
}

HDC make_printer(int bits, int colours)
{
    const orv_device_traits traits = {.width = kPageWidth,
                                      .height = kPageHeight,
                                      .bits_per_pixel = bits,
                                      .number_of_colours = colours,
                                      .dots_per_inch = 600,
                                      .scaling_supported = 0,
                                      .scaling_shift_x = 0,
                                      .scaling_shift_y = 0,
                                      .technology = nullptr};
    const HDC device = orv_printer_create(&traits);
    orv_device_set_callback(device, see_band, nullptr);
    return device;
}

void print_page(benchmark::State& state, const std::vector<u8>& picture, int bits, int colours)
{
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(picture.data()));
    const HDC device = make_printer(bits, colours);
    platform::testing::reset_peak_bytes();
    const u64 before = platform::testing::peak_bytes();
    for (auto _ : state) {
        if (IMG_print_bitmap(handle, device, 0, kPageHeight, kPageWidth, -kPageHeight) != 0) {
            state.SkipWithError("the page is not printed");
            break;
        }
    }
    state.counters["beside_picture_KB"] = static_cast<double>(platform::testing::peak_bytes() - before) / 1024;
    state.counters["pages/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["pixels/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kPagePixels, benchmark::Counter::kIsRate);
    orv_device_delete(device);
    IMG_delete_bitmap(handle);
}

const std::vector<u8>& photograph()
{
    static const std::vector<u8> picture = bench::photo(3000, 2000, 24);
    return picture;
}

void page_of_1_bit(benchmark::State& state)
{
    print_page(state, fax_page(), 1, 2);
}
BENCHMARK(page_of_1_bit)->Unit(benchmark::kMillisecond);

void photograph_diffused(benchmark::State& state)
{
    print_page(state, photograph(), 1, 2);
}
BENCHMARK(photograph_diffused)->Unit(benchmark::kMillisecond);

void photograph_332(benchmark::State& state)
{
    print_page(state, photograph(), 8, 256);
}
BENCHMARK(photograph_332)->Unit(benchmark::kMillisecond);

void photograph_sixteen(benchmark::State& state)
{
    print_page(state, photograph(), 4, 16);
}
BENCHMARK(photograph_sixteen)->Unit(benchmark::kMillisecond);

void photograph_24(benchmark::State& state)
{
    print_page(state, photograph(), 24, -1);
}
BENCHMARK(photograph_24)->Unit(benchmark::kMillisecond);

// --- The whole program and its peers, from file to file ---

void write_bmp(const char* name, const std::vector<u8>& picture)
{
    const i16 handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(picture.data()));
    IMG_save_bitmap(handle, name, ORV_FORMAT_BMP, 1, 0, 0, 0);
    IMG_delete_bitmap(handle);
}

const char* inputs()
{
    static const bool made = [] {
        write_bmp("bench-photo.bmp", photograph());
        write_bmp("bench-fax.bmp", fax_page());
        return std::system(
                   "bmptopnm bench-photo.bmp > bench-photo.ppm 2>/dev/null &&"
                   "bmptopnm bench-fax.bmp > bench-fax.pbm 2>/dev/null &&"
                   "pnmtops -noturn -imagewidth=8.26 -width=8.27 -height=11.69 bench-photo.ppm > "
                   "bench-photo.ps 2>/dev/null") == 0;
    }();
    return made ? nullptr : "the inputs can't be made";
}

void program(benchmark::State& state, const std::string& command)
{
    if (inputs() != nullptr) {
        state.SkipWithError(inputs());
        return;
    }
    for (auto _ : state) {
        if (std::system(("{ " + command + "; } > /dev/null 2>&1").c_str()) != 0) {
            state.SkipWithError("the program failed");
            break;
        }
    }
    state.counters["pages/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

const bool registered = [] {
    const auto add = [](const char* name, const std::string& command) {
        benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { program(state, command); })
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    };
    const std::string orvimg = "./orvimg print --dpi 600 --to - ";
    const std::string gs = "gs -q -dNOPAUSE -dBATCH -dSAFER -r600 -sPAPERSIZE=a4 -dFIXEDMEDIA -sOutputFile=- ";
    const std::string to_page = "-width 4960 -height 3306 ";
    add("program_fax_orvimg", orvimg + "bench-fax.bmp");
    add("program_fax_netpbm", "pamenlarge 2 bench-fax.pbm | pbmtoepson");
    add("program_diffused_orvimg", orvimg + "bench-photo.bmp");
    add("program_diffused_netpbm_pipe", "ppmtopgm bench-photo.ppm | pamscale -nomix " + to_page +
                                            "| pamditherbw -floyd | pamtopnm | pbmtoepson");
    add("program_diffused_netpbm_dither_alone", "ppmtopgm bench-photo.ppm | pamditherbw -floyd");
    add("program_diffused_ghostscript", gs + "-sDEVICE=pbmraw bench-photo.ps");
    add("program_24_orvimg", orvimg + "--bits 24 bench-photo.bmp");
    add("program_24_ghostscript", gs + "-sDEVICE=ppmraw bench-photo.ps");
    return true;
}();

}  // namespace
