#include "saving.h"

#include <fcntl.h>

#include <algorithm>
#include <vector>

#include "orvimg32/extra.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr int32_t kReportProgress = 1;
constexpr int32_t kNoHandle = -1;

// What the library is told of the options ahead of a job's first save. The settings are taken before the
// handle is looked at, so none is needed for them.
void save_settings(const Options& options, int page_total)
{
    if (options.jpeg_step) {
        IMGLOW_set_comp_quality(static_cast<int16_t>(*options.jpeg_step));
    }
    const Resolution resolution = options.resolution.value_or(Resolution::Fine);
    IMG_save_bitmap(kNoHandle, nullptr, options.format->number, static_cast<int16_t>(page_total),
                    static_cast<int32_t>(resolution), options.no_rtc ? 0 : 1, kReportProgress);
}

// A depth that the format does not take is the one thing that the user can put right with an option.
std::string trouble_with_depth(int bits, const Format& format)
{
    const unsigned depths = depths_written(format.number);
    if ((depths & depth_bit(bits)) != 0) {
        return words_for(ORV_NOT_SUPPORTED);
    }
    const std::string text = std::string(format.name) + " takes pictures of " + depth_list(depths) +
                             " bits a pixel, and this one has " + std::to_string(bits);
    const std::string remedy = operations_towards(depths, bits);
    return text + (remedy.empty() ? ", which no operation makes deeper" : "; add " + remedy);
}

std::string save_trouble(const Picture& picture, const Format& format, bool is_appending, int code)
{
    if (code == ORV_NOT_SUPPORTED) {
        return trouble_with_depth(picture.size().bits, format);
    }
    if (code == ORV_BAD_DATA && is_appending) {
        return "it exists, and no page can be added to it";
    }
    return code == ORV_NOT_CREATED ? "a temporary file can't be made" : words_for(code);
}

// The same picture with 8 bits a pixel, from one of 1 bit: a code of the library.
int deepen(Picture& picture)
{
    struct {
        BITMAPINFOHEADER info;
        RGBQUAD palette[256];
    } head = {};
    IMGLOW_get_bitmap_header(picture.handle(), &head);
    const RGBQUAD& one = head.palette[1];
    const uint32_t ink = static_cast<uint32_t>(one.rgbRed << 16 | one.rgbGreen << 8 | one.rgbBlue);
    const std::vector<uint32_t> pixels = picture.pixels();
    const size_t width = static_cast<size_t>(head.info.biWidth);
    const size_t height = static_cast<size_t>(head.info.biHeight);
    const size_t stride = (width + 3) / 4 * 4;
    head.info.biBitCount = 8;
    head.info.biSizeImage = static_cast<uint32_t>(stride * height);
    std::vector<uint8_t> image(sizeof head + stride * height);
    std::copy_n(reinterpret_cast<const uint8_t*>(&head), sizeof head, image.begin());
    for (size_t y = 0; y < height; ++y) {
        uint8_t* const row = image.data() + sizeof head + (height - 1 - y) * stride;
        for (size_t x = 0; x < width; ++x) {
            row[x] = pixels[y * width + x] == ink ? 1 : 0;
        }
    }
    const int16_t handle = IMG_create_handle(reinterpret_cast<const ImageHeader*>(image.data()));
    if (handle >= 0) {
        picture = Picture(handle);
    }
    return handle;
}

// What --keep-depth forbids.
void make_gif_depth(Picture& picture, const Options& options, const std::string& name)
{
    const int bits = picture.size().bits;
    const bool fits = (depths_written(options.format->number) & depth_bit(bits)) != 0;
    if (options.format->number != ORV_FORMAT_GIF || fits || options.keep_depth) {
        return;
    }
    const int result = bits == 1 ? deepen(picture) : IMG_mediancut_color(picture.handle());
    if (result < 0) {
        throw Failure("cannot make 8 bits of the picture for " + name, words_for(result), result);
    }
    print_note(options, "note: " + name + " gets 8 bits a pixel; the picture has " + std::to_string(bits));
}

}  // namespace

void require_written(const Format& format)
{
    if (!can_write(format)) {
        throw Failure("cannot write", std::string("this build does not write ") + format.name,
                      ORV_NOT_SUPPORTED);
    }
}

Existing existing_of(const Options& options)
{
    return options.no_clobber ? Existing::Refuse : options.append ? Existing::Append : Existing::Replace;
}

const Format& target_format(const Options& options, int bits)
{
    if (!options.coding_by_depth) {
        return *options.format;
    }
    return *format_by_number(bits == 1        ? ORV_FORMAT_TIFF_T6
                             : options.append ? ORV_FORMAT_TIFF
                                              : ORV_FORMAT_TIFF_LZW);
}

void start_saving(const Options& options, int page_total)
{
    orv_reset_progress();
    save_settings(options, page_total);
}

void save_picture(Picture& picture, const Options& options, Target& target, const std::string& name)
{
    make_gif_depth(picture, options, name);
    const Format& format = target_format(options, picture.size().bits);
    const int16_t result = IMG_save_bitmap_fd(picture.handle(), target.descriptor(), format.number);
    if (result < 0) {
        throw Failure("cannot write " + name, save_trouble(picture, format, target.is_appending(), result),
                      result);
    }
    target.page_done();
}

}  // namespace orvimg
