// The readers and encoders that the format table names.
#pragma once

#include "frame/picture_sink.h"
#include "frame/picture_source.h"
#include "frame/types.h"

namespace orv
{

// Readers: the contract of frame/load.h.
i16 bmp_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 dcx_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 eps_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 fax_read_page(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 gif_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 jpeg_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 pcx_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 pict_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 tga_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 tiff_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 wmf_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);
i16 wpg_read_image(u32 offset_or_page, PictureSink& sink, StreamHandle stream);

// Encoders: the contract of frame/save.h.
i16 bmp_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 bmp_write_rle(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 dcx_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 eps_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 gif_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 jpeg_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 pcx_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 pict_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 tiff_write_lzw(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 tiff_write_raw(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 tiff_write_t6(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 tga_write_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 wmf_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source);
i16 wpg_save_image(StreamHandle stream, ImageHeader& header, PictureSource& source);

// The encoder of two formats: mode 2 or 3, which is also the number of the TIFF compression.
i16 tiff_write_t4(StreamHandle stream, ImageHeader& header, PictureSource& source, i16 mode);

}  // namespace orv
