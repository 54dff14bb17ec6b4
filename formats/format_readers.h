// The readers and encoders that the format table names.
#pragma once

#include "frame/types.h"

namespace orv
{

// Readers: the contract of frame/load.h.
i16 bmp_read_image(u32 offset_or_page, RowCallback row_callback, void* user_data,
                   HeaderCallback header_callback, StreamHandle stream);
i16 tiff_read_image(u32 offset_or_page, RowCallback row_callback, void* user_data,
                    HeaderCallback header_callback, StreamHandle stream);
i16 pcx_read_image(u32 offset_or_page, RowCallback row_callback, void* user_data,
                   HeaderCallback header_callback, StreamHandle stream);
i16 dcx_read_image(u32 offset_or_page, RowCallback row_callback, void* user_data,
                   HeaderCallback header_callback, StreamHandle stream);
i16 tga_read_image(u32 offset_or_page, RowCallback row_callback, void* user_data,
                   HeaderCallback header_callback, StreamHandle stream);

// Encoders: the contract of frame/save.h.
i16 bmp_write_image(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data);
i16 bmp_write_rle(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data);
i16 pcx_write_image(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data);
i16 dcx_write_image(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data);
i16 tga_write_image(StreamHandle stream, ImageHeader* header, RowSource row_source, void* user_data);

// The row coders of bmp_write_rle: kOk, kOutOfMemory or kShortWrite.
i16 rle8_encode_row(StreamHandle stream, const u8* row, i16 width);
i16 rle4_encode_row(StreamHandle stream, const u8* row, u16 width);

}  // namespace orv
