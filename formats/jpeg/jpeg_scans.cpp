// Pictures in several scans, as T.81 allows of sequential ones too: each scan brings one component, in rows of
// its own blocks, or two of them in MCUs. The planes of the whole picture are kept until the last scan is read.
#include <algorithm>

#include "formats/jpeg/jpeg_scan.h"
#include "frame/picture_sink.h"

namespace orv
{
namespace
{

constexpr usize kMaxStrips = (usize{kMaxSide} + kBlockSide - 1) / kBlockSide;

struct JpegStrips {
    usize count;
    i8* plane[kJpegComponents];  // of the first strip
    bool came[kJpegComponents];  // in some scan
    std::array<const char*, kMaxStrips> problem;
};

JpegStrips jpeg_strips;

usize ceil_div(usize a, usize b)
{
    return (a + b - 1) / b;
}

void problem_note(JpegStrips& strips, usize strip, const char* problem)
{
    if (strips.problem[strip] == nullptr) {
        strips.problem[strip] = problem;
    }
}

// Blocks of a component that a scan of its own has, across or down: padding that only MCUs need is left out.
usize blocks_along(i16 samples, i32 factor, i32 largest)
{
    const usize own =
        ceil_div(static_cast<usize>(samples) * static_cast<usize>(factor), static_cast<usize>(largest));
    return ceil_div(own, kBlockSide);
}

void planes_point(const JpegStrips& strips, usize strip, JpegScan& scan)
{
    for (usize i = 0; i < kJpegComponents; ++i) {
        scan.component[i].plane = strips.plane[i] + strip * scan.strip;
    }
}

// A scan of two components: a strip at a time. What its data does not hold stays as it is.
void strips_decode(JpegScan& scan, JpegStrips& strips)
{
    for (usize strip = 0; strip < strips.count; ++strip) {
        if (!jpeg_bits_overrun(scan.bits)) {
            planes_point(strips, strip, scan);
            mcu_row_decode(scan);
        }
        problem_note(strips, strip, scan_row_problem(scan));
    }
}

// A scan of component i alone: a row of blocks at a time.
void component_decode(const JpegFrameHeader& frame, usize i, JpegScan& scan, JpegStrips& strips)
{
    const JpegFrameComponent& own = frame.component[i];
    const JpegFrameComponent& first = frame.component[0];
    const usize across = blocks_along(frame.samples, own.h, first.h);
    const usize down = blocks_along(frame.lines, own.v, first.v);
    const usize v = static_cast<usize>(own.v);
    for (usize row = 0; row < down; ++row) {
        if (!jpeg_bits_overrun(scan.bits)) {
            i8* const strip = strips.plane[i] + row / v * scan.strip;
            block_row_decode(scan, scan.component[i], across, strip + row % v * kBlockSide * scan.padded);
        }
        problem_note(strips, row / v, scan_row_problem(scan));
    }
}

// Each component comes in one scan; a scan that repeats one is passed over.
void scan_decode(const JpegFile& file, StreamHandle stream, u32 bytes, JpegScan& scan, JpegStrips& strips)
{
    const std::span<const usize> components(file.scan.component, file.scan.components);
    if (std::ranges::any_of(components, [&](usize i) { return strips.came[i]; })) {
        return;
    }
    for (const usize i : components) {
        strips.came[i] = true;
    }
    scan_begin(file, stream, bytes, scan);
    if (components.size() == 1) {
        component_decode(file.frame, components[0], scan, strips);
    } else {
        strips_decode(scan, strips);
    }
}

}  // namespace

bool jpeg_decode_scans(JpegFile& file, StreamHandle stream, JpegScan& scan, PictureSink& sink)
{
    JpegStrips& strips = jpeg_strips;
    strips = {};
    strips.count = ceil_div(static_cast<usize>(file.frame.lines),
                            static_cast<usize>(file.frame.component[0].v * kBlockSide));
    if (!scan_open(file, strips.count, scan)) {
        return false;
    }
    for (usize i = 0; i < kJpegComponents; ++i) {
        strips.plane[i] = scan.component[i].plane;
    }
    do {
        const u32 end = jpeg_data_end(stream, file.data);
        stream_seek_to(stream, file.data);
        scan_decode(file, stream, end - file.data, scan, strips);
        file.data = end;
    } while (!std::ranges::all_of(strips.came, [](bool came) { return came; }) &&
             jpeg_read_next_scan(stream, file));
    const bool complete = std::ranges::all_of(strips.came, [](bool came) { return came; });
    i32 row = 0;
    for (usize strip = 0; strip < strips.count; ++strip) {
        problem_note(strips, strip, complete ? nullptr : kNoteDataEnded);
        planes_point(strips, strip, scan);
        row = strip_deliver(scan, sink, row, strips.problem[strip]);
    }
    return true;
}

}  // namespace orv
