// orvimg print: pictures onto paper, as PWG raster that any driverless printer takes, or as previews.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "commands.h"
#include "page_pattern.h"
#include "picture_file.h"
#include "print_page.h"
#include "report.h"
#include "text.h"

namespace orvimg
{

namespace
{

constexpr double kMmPerInch = 25.4;
constexpr int kMostPixels = 32767;  // a side of a device

// --- The page and the picture's place on it ---

int pixels_of(double mm, int dpi)
{
    return static_cast<int>(mm / kMmPerInch * dpi + 1e-6);
}

PageFormat page_format(const PrintOptions& print)
{
    PageFormat page;
    page.bits = print.bits;
    page.dpi = print.dpi;
    page.paper_name = print.paper_name;
    page.width = pixels_of(print.paper_width, print.dpi);
    page.height = pixels_of(print.paper_height, print.dpi);
    page.width_points = static_cast<int>(std::lround(print.paper_width / kMmPerInch * 72));
    page.height_points = static_cast<int>(std::lround(print.paper_height / kMmPerInch * 72));
    page.line_bytes = (static_cast<size_t>(page.width) * static_cast<size_t>(page.bits) + 7) / 8;
    return page;
}

struct Inches {
    double width, height;
};

// The size that the picture says it has; a dot of the printer a pixel where it says nothing.
Inches own_size(const Picture& picture, const PageFormat& page)
{
    ImageHeader header;
    IMGLOW_get_bitmap_header(picture.handle(), &header);
    double across = header.info.biXPelsPerMeter;  // dots an inch
    double down = header.info.biYPelsPerMeter;
    if (across < 1 || down < 1) {
        across = down = page.dpi;
    }
    return {header.info.biWidth / across, header.info.biHeight / down};
}

Placement place_on(const PageFormat& page, const PrintOptions& print, Inches size)
{
    const int left = print.is_placed ? pixels_of(print.left, print.dpi) : 0;
    const int top = print.is_placed ? pixels_of(print.top, print.dpi) : 0;
    double dots = print.percent / 100 * page.dpi;  // of the page, an inch of the picture
    if (print.percent == 0) {
        dots = std::min((page.width - left) / size.width, (page.height - top) / size.height);
    }
    Placement place = {left, top, 0, 0};
    const double width = std::max(1.0, std::round(size.width * dots));
    const double height = std::max(1.0, std::round(size.height * dots));
    if (width > kMostPixels || height > kMostPixels) {
        throw UsageError("the picture would be larger than " + std::to_string(kMostPixels) + " dots");
    }
    place.width = static_cast<int>(width);
    place.height = static_cast<int>(height);
    if (!print.is_placed) {
        place.left = (page.width - place.width) / 2;
        place.top = (page.height - place.height) / 2;
    }
    return place;
}

// --- Printing ---

// The printer that the library draws on. Grays are made here, of the colours that the picture has: a device of
// 256 colours would get those of a fixed palette.
class Printer
{
public:
    explicit Printer(const PageFormat& page)
    {
        const orv_device_traits traits = {.width = page.width,
                                          .height = page.height,
                                          .bits_per_pixel = page.bits == 1 ? 1 : 24,
                                          .number_of_colours = page.bits == 1 ? 2 : -1,
                                          .dots_per_inch = page.dpi,
                                          .scaling_supported = 0,
                                          .scaling_shift_x = 0,
                                          .scaling_shift_y = 0,
                                          .technology = nullptr};
        device_ = orv_printer_create(&traits);
        if (device_ <= 0) {
            throw Failure("cannot make a printer", words_for(ORV_OUT_OF_MEMORY), ORV_OUT_OF_MEMORY);
        }
    }
    ~Printer() { orv_device_delete(device_); }
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;
    HDC device() const { return device_; }

private:
    HDC device_;
};

// Turns the picture upside down where it lies. The library draws from the bottom up and paper comes out top
// first: drawn upside down, twice, the picture is right and its top comes first.
void turn_rows_over(const Picture& picture)
{
    uint16_t width = 0;
    uint16_t height = 0;
    uint16_t bits = 0;
    const int32_t block = IMG_bitmap_info(picture.handle(), &width, &height, &bits);
    auto* const image = static_cast<uint8_t*>(orv_block_lock(block));
    const size_t stride = (static_cast<size_t>(width) * bits + 31) / 32 * 4;
    uint8_t* low = image + sizeof(BITMAPINFOHEADER) + (bits > 8 ? 0 : size_t{4} << bits);
    uint8_t* high = low + stride * (height - 1u);
    for (; low < high; low += stride, high -= stride) {
        std::swap_ranges(low, low + stride, high);
    }
    orv_block_unlock(block);
}

void require(int16_t result, const std::string& what)
{
    if (result < 0) {
        throw Failure("cannot print " + what, words_for(result), result);
    }
}

void print_picture(const Picture& picture, const std::string& what, const Options& options,
                   const PageFormat& page, const Printer& printer, PrintedPage& printed)
{
    // Loaded with its rows as columns, a picture needs no more than that to lie on its side.
    if (!options.print.is_landscape) {
        turn_rows_over(picture);
    }
    const Placement place = place_on(page, options.print, own_size(picture, page));
    orv_device_set_callback(printer.device(), PrintedPage::take_band, &printed);
    const auto number = [](int value) {
        return static_cast<int16_t>(std::clamp(value, -kMostPixels, kMostPixels));
    };
    const int16_t result =
        IMG_print_bitmap(picture.handle(), printer.device(), number(place.left),
                         number(place.top + place.height), number(place.width), number(-place.height));
    orv_device_set_callback(printer.device(), nullptr, nullptr);
    require(result, what);
    printed.finish();
}

// The file that the job goes to. The standard output gets it as it comes: it may be long.
struct Job {
    std::unique_ptr<Target> target;
    std::unique_ptr<PwgWriter> pwg;
    std::string name;

    explicit Job(const std::string& to) : name(to == "-" ? "the standard output" : to)
    {
        if (!to.empty() && to != "-") {
            target = std::make_unique<Target>(to, Existing::Replace);
        }
        if (!to.empty()) {
            pwg = std::make_unique<PwgWriter>(target == nullptr ? STDOUT_FILENO : target->descriptor());
        }
    }
    void check() const
    {
        if (pwg != nullptr && pwg->trouble() != 0) {
            throw Failure("cannot write " + name, std::strerror(pwg->trouble()), ORV_SHORT_WRITE);
        }
    }
    void commit() const
    {
        if (pwg != nullptr) {
            pwg->finish();
            check();
        }
        if (target != nullptr) {
            target->commit();
        }
    }
};

}  // namespace

int run_print(const Options& options)
{
    const PageFormat page = page_format(options.print);
    const Printer printer(page);
    const Job job(options.print.to);
    int status = kExitDone;
    int sheet = 0;
    for (const std::string& input : options.inputs) {
        PictureFile file(input);
        const int pages = file.page_count();
        for (int number = 1; number <= pages; ++number) {
            const Picture picture = load_page(file, number, options, status, options.print.is_landscape);
            std::unique_ptr<PngWriter> preview;
            if (!options.print.preview.empty()) {
                preview =
                    std::make_unique<PngWriter>(PagePattern(options.print.preview).name_of(++sheet), page);
            }
            PrintedPage printed(page, job.pwg.get(), preview.get());
            print_picture(picture, file.page_name(number), options, page, printer, printed);
            job.check();
            if (preview != nullptr) {
                preview->commit();
            }
        }
    }
    job.commit();
    return status;
}

}  // namespace orvimg
