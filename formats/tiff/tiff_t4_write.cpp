// TIFF in T.4 one-dimensional coding: with an EOL ahead of every line and 1728 pixels wide, as fax machines
// have it (mode 3), or with neither (mode 2).
#include <algorithm>

#include "formats/format_readers.h"
#include "formats/tiff/ccitt_write.h"
#include "formats/tiff/tiff_directory_write.h"
#include "formats/tiff/tiff_progress.h"
#include "frame/save.h"

namespace orv
{
namespace
{

constexpr i32 kFaxWidth = 1728;

// Six EOLs with their words' fill, the return to control of T.4, as fill order 2 has them, and padding.
constexpr u8 kEndOfPage[18] = {0x00, 0x08, 0x80, 0x00, 0x08, 0x80, 0x00, 0x08, 0x80};

// How many lines are written for how many rows, by powers of two.
struct FaxLines {
    i32 step;    // rows from one line to the next
    i32 copies;  // lines of a row
    i32 height;  // to state
    i32 y_resolution;
};

// Resolutions of up to 104, up to 204 and more dots an inch count as standard, fine and finer; what is asked
// for is standard or fine.
FaxLines fax_lines(const BITMAPINFOHEADER& info)
{
    const i32 stated = info.biYPelsPerMeter;
    const i32 own = stated <= 104 ? 0 : stated <= 204 ? 1 : 2;
    const i32 finer = own - (save_fine_resolution != 0 ? 1 : 0);
    if (finer < 0) {
        return {.step = 1,
                .copies = 2,
                .height = info.biHeight * 2,
                .y_resolution = static_cast<i32>(2 * static_cast<u32>(stated))};
    }
    return {.step = 1 << finer,
            .copies = 1,
            .height = std::max(info.biHeight >> finer, 1),
            .y_resolution = stated >> finer};
}

struct T4Page {
    bool has_eols;  // mode 3
    u32 fill_order;
    FaxLines lines;
};

void put_line(StreamWriter& out, CcittEncoder& encoder, const T4Page& t4)
{
    u8* const begin = ccitt_begin(encoder, out);
    ccitt_put_line_1d(encoder.bits, encoder.list, encoder.width);
    if (t4.has_eols) {
        ccitt_put_eol(encoder.bits, begin);
    } else {
        msb_align(encoder.bits);
    }
    ccitt_flush(encoder, out, begin, t4.fill_order);
}

void put_first_eol(StreamWriter& out, CcittEncoder& encoder, const T4Page& t4)
{
    u8* const begin = ccitt_begin(encoder, out);
    ccitt_put_eol(encoder.bits, begin);
    ccitt_flush(encoder, out, begin, t4.fill_order);
}

// A row is asked for once a line, and before the progress of the line ahead of it is told.
ErrorCode put_rows(StreamWriter& out, CcittEncoder& encoder, const T4Page& t4, PictureSource& source,
                   TiffProgress& progress)
{
    ccitt_take_row(encoder, row_take(source, source.height - 1));
    tiff_progress_bump(progress);
    i32 copies = t4.lines.copies;
    for (i32 y = 0; y < source.height;) {
        put_line(out, encoder, t4);
        if (out.failed) {
            return kShortWrite;
        }
        if (--copies == 0) {
            y += t4.lines.step;
            copies = t4.lines.copies;
        }
        if (y < source.height) {
            ccitt_take_row(encoder, row_take(source, source.height - 1 - y));
        }
        tiff_progress_tick(progress, y);
    }
    return kOk;
}

i16 write_page(StreamWriter& out, CcittEncoder& encoder, const T4Page& t4, const TiffPage& page,
               PictureSource& source, TiffProgress& progress)
{
    const i32 width = t4.has_eols ? kFaxWidth : source.width;
    if (const ErrorCode setup = ccitt_encode_setup(encoder, width, source.width); setup != kOk) {
        return setup;
    }
    if (t4.has_eols) {
        put_first_eol(out, encoder, t4);
    }
    if (const ErrorCode rows = put_rows(out, encoder, t4, source, progress); rows != kOk) {
        return rows;
    }
    tiff_progress_rows_done(progress);
    if (save_write_rtc != 0) {
        put_bytes(out, kEndOfPage, sizeof kEndOfPage);
    }
    tiff_patch_byte_count(out, page);
    return tiff_finish_page(out, page);
}

}  // namespace

i16 tiff_write_t4(StreamHandle stream, ImageHeader& header, PictureSource& source, i16 mode)
{
    TiffProgress progress =
        tiff_progress_start(source.height, save_report_progress != 0 ? Reporting::On : Reporting::Off);
    if (source.bits != 1) {
        return kNotSupported;
    }
    const T4Page t4 = {.has_eols = mode == kTiffT4,
                       .fill_order = mode == kTiffT4 ? kFillOrderReversed : kFillOrderNormal,
                       .lines = fax_lines(header.info)};
    StreamWriter out;
    TiffPage page;
    const u32 room = ccitt_line_room(std::max(source.width, kFaxWidth));
    if (const ErrorCode started = tiff_start_page(out, stream, room, page); started != kOk) {
        return started;
    }
    tiff_progress_bump(progress);
    header.info.biYPelsPerMeter = t4.lines.y_resolution;
    tiff_write_directory(out, header, t4.has_eols ? kFaxWidth : source.width, t4.lines.height,
                         static_cast<TiffCompression>(mode), page);
    CcittEncoder encoder;
    const i16 result = write_page(out, encoder, t4, page, source, progress);
    ccitt_encode_free(encoder);
    if (result == kOk) {
        tiff_progress_finish(progress);
    }
    return result;
}

}  // namespace orv
