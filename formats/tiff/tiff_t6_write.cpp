// TIFF in T.6 coding: one strip of two-dimensional lines in fill order 2, in whole words of 16 bits.
#include "formats/format_readers.h"
#include "formats/tiff/ccitt_codes.h"
#include "formats/tiff/ccitt_write.h"
#include "formats/tiff/tiff_directory_write.h"
#include "formats/tiff/tiff_progress.h"
#include "frame/save.h"

namespace orv
{
namespace
{

// A row is asked for before the progress of the one ahead of it is told.
ErrorCode put_rows(StreamWriter& out, CcittEncoder& encoder, PictureSource& source, TiffProgress& progress)
{
    const u8* row = row_take(source, source.height - 1);
    tiff_progress_bump(progress);
    for (i32 y = 0; y < source.height;) {
        u8* const begin = ccitt_begin(encoder, out);
        ccitt_put_row_2d(encoder, row);
        ccitt_flush(encoder, out, begin, kFillOrderReversed);
        if (out.failed) {
            return kShortWrite;
        }
        if (++y < source.height) {
            row = row_take(source, source.height - 1 - y);
        }
        tiff_progress_tick(progress, y);
    }
    return kOk;
}

// The end of the page: EOFB and two EOLs more, of which the bits that fill no word stay away.
void put_end(StreamWriter& out, CcittEncoder& encoder, const TiffPage& page)
{
    u8* const begin = ccitt_begin(encoder, out);
    for (i32 i = 0; i < 4; ++i) {
        msb_put(encoder.bits, ccitt_eol.bits, ccitt_eol.length);
    }
    const u32 end = writer_position(out) + static_cast<u32>(encoder.bits.to - begin);
    encoder.bits.to -= (end - page.tiff_data_start) % 2;
    ccitt_flush(encoder, out, begin, kFillOrderReversed);
}

i16 write_page(StreamWriter& out, CcittEncoder& encoder, const TiffPage& page, PictureSource& source,
               TiffProgress& progress)
{
    if (const ErrorCode setup = ccitt_encode_setup(encoder, source.width, source.width); setup != kOk) {
        return setup;
    }
    if (const ErrorCode rows = put_rows(out, encoder, source, progress); rows != kOk) {
        return rows;
    }
    tiff_progress_rows_done(progress);
    put_end(out, encoder, page);
    tiff_patch_byte_count(out, page);
    return tiff_finish_page(out, page);
}

}  // namespace

i16 tiff_write_t6(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    TiffProgress progress = tiff_progress_start(source.height, Reporting::On);
    if (source.bits != 1) {
        return kNotSupported;
    }
    StreamWriter out;
    TiffPage page;
    if (const ErrorCode started = tiff_start_page(out, stream, ccitt_line_room(source.width), page);
        started != kOk) {
        return started;
    }
    tiff_write_directory(out, header, source.width, source.height, kTiffT6, page);
    tiff_progress_bump(progress);
    CcittEncoder encoder;
    const i16 result = write_page(out, encoder, page, source, progress);
    ccitt_encode_free(encoder);
    if (result == kOk) {
        tiff_progress_finish(progress);
    }
    return result;
}

}  // namespace orv
