#include "png_writer.h"

#if defined(ORVIMG_PNG)
#include <png.h>
#endif
#include <unistd.h>

#include <cmath>
#include <csetjmp>
#include <cstdio>

#include "orvimg32/orvimg32.h"
#include "report.h"

namespace orvimg
{

#if defined(ORVIMG_PNG)

namespace
{

constexpr int kCompression = 3;  // previews are looked at, not kept

void ignore_warning(png_structp, png_const_charp) {}

[[noreturn]] void jump_back(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

}  // namespace

PngWriter::PngWriter(const std::string& name, const PageFormat& page)
    : name_(name), target_(name, Existing::Replace)
{
    const int copy = dup(target_.descriptor());
    file_ = copy < 0 ? nullptr : fdopen(copy, "wb");
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, jump_back, ignore_warning);
    info_ = png_ == nullptr ? nullptr : png_create_info_struct(png_);
    has_failed_ = file_ == nullptr || info_ == nullptr || !start(page);
}

// libpng leaves by long jumps, over plain variables alone.
bool PngWriter::start(const PageFormat& page)
{
    if (setjmp(png_jmpbuf(png_)) != 0) {
        return false;
    }
    png_init_io(png_, file_);
    png_set_compression_level(png_, kCompression);
    png_set_filter(png_, 0, page.bits == 1 ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    png_set_IHDR(png_, info_, static_cast<png_uint_32>(page.width), static_cast<png_uint_32>(page.height),
                 page.bits == 1 ? 1 : 8, page.bits == 24 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const png_uint_32 dots_per_metre = static_cast<png_uint_32>(std::lround(page.dpi * 10000.0 / 254));
    png_set_pHYs(png_, info_, dots_per_metre, dots_per_metre, PNG_RESOLUTION_METER);
    png_write_info(png_, info_);
    if (page.bits == 1) {
        png_set_invert_mono(png_);  // 0 is black in a PNG file
    }
    return true;
}

PngWriter::~PngWriter()
{
    png_destroy_write_struct(&png_, &info_);
    if (file_ != nullptr) {
        fclose(file_);
    }
}

void PngWriter::line(const uint8_t* bytes)
{
    if (has_failed_) {
        return;
    }
    if (setjmp(png_jmpbuf(png_)) != 0) {
        has_failed_ = true;
        return;
    }
    png_write_row(png_, bytes);
}

void PngWriter::commit()
{
    if (!has_failed_) {
        if (setjmp(png_jmpbuf(png_)) == 0) {
            png_write_end(png_, info_);
        } else {
            has_failed_ = true;
        }
    }
    if (has_failed_ || fflush(file_) != 0) {
        throw Failure("cannot write " + name_, words_for(ORV_SHORT_WRITE), ORV_SHORT_WRITE);
    }
    target_.commit();
}

#else

PngWriter::PngWriter(const std::string& name, const PageFormat&) : name_(name), target_(name, Existing::Replace)
{
    throw Failure("cannot write " + name, "this build has no libpng", ORV_NOT_SUPPORTED);
}

PngWriter::~PngWriter() = default;
void PngWriter::line(const uint8_t*) {}
void PngWriter::commit() {}

#endif

}  // namespace orvimg
