// Uncompressed TIFF: one strip of rows without padding, colours as red, green, blue.
#include "formats/format_readers.h"
#include "formats/tiff/tiff_directory_write.h"
#include "formats/tiff/tiff_progress.h"
#include "formats/tiff/tiff_rows.h"
#include "frame/save.h"

namespace orv
{
namespace
{

ErrorCode put_rows(StreamWriter& out, PictureSource& source, TiffProgress& progress)
{
    for (i32 y = 0; y < source.height; ++y) {
        const u8* const row = row_take(source, source.height - 1 - y);
        if (source.bits == 24) {
            row_copy_swapped({row, source.row_bytes}, writer_room(out, source.row_bytes));
            writer_advance(out, source.row_bytes);
        } else {
            put_bytes(out, row, source.row_bytes);
        }
        if (out.failed) {
            return kShortWrite;
        }
        tiff_progress_tick(progress, y);
    }
    return kOk;
}

}  // namespace

i16 tiff_write_raw(StreamHandle stream, ImageHeader& header, PictureSource& source)
{
    TiffProgress progress = tiff_progress_start(source.height, Reporting::On);
    StreamWriter out;
    TiffPage page;
    if (const ErrorCode started = tiff_start_page(out, stream, 0, page); started != kOk) {
        return started;
    }
    tiff_progress_bump(progress);
    tiff_write_directory(out, header, source.width, source.height, kTiffRaw, page);
    tiff_progress_bump(progress);
    if (const ErrorCode rows = put_rows(out, source, progress); rows != kOk) {
        return rows;
    }
    tiff_progress_rows_done(progress);
    if (const ErrorCode finished = tiff_finish_page(out, page); finished != kOk) {
        return finished;
    }
    tiff_progress_finish(progress);
    return kOk;
}

}  // namespace orv
