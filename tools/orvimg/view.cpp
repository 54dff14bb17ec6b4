// orvimg view: a picture in the terminal. A character cell shows two pixels, one above the other: the upper
// half block in the colour of the one on the colour of the other.
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "commands.h"
#include "picture_file.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr int kUsualColumns = 80;
constexpr const char* kUpperHalf = "\u2580";

enum class Colours : uint8_t { Palette256, TrueColour };

struct Canvas {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;  // 0xRRGGBB, the top row first
};

int terminal_columns()
{
    winsize window = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0)
        return window.ws_col;
    const char* columns = std::getenv("COLUMNS");
    const int wanted = columns == nullptr ? 0 : std::atoi(columns);
    return wanted > 0 ? wanted : kUsualColumns;
}

Colours terminal_colours()
{
    const char* colours = std::getenv("COLORTERM");
    const char* terminal = std::getenv("TERM");
    const std::string_view depth = colours == nullptr ? "" : colours;
    const std::string_view name = terminal == nullptr ? "" : terminal;
    const bool is_true = depth == "truecolor" || depth == "24bit" || name.ends_with("-direct");
    return is_true ? Colours::TrueColour : Colours::Palette256;
}

// The mean colour of the pixels that one cell of the canvas covers.
uint32_t mean_colour(const std::vector<uint32_t>& pixels, int width, int left, int right, int top, int bottom)
{
    uint64_t red = 0;
    uint64_t green = 0;
    uint64_t blue = 0;
    for (int y = top; y < bottom; ++y) {
        const uint32_t* row = pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(width);
        for (int x = left; x < right; ++x) {
            red += row[x] >> 16 & 255;
            green += row[x] >> 8 & 255;
            blue += row[x] & 255;
        }
    }
    const uint64_t count = static_cast<uint64_t>(right - left) * static_cast<uint64_t>(bottom - top);
    return static_cast<uint32_t>(red / count << 16 | green / count << 8 | blue / count);
}

// Pixels that are not square, as on fax pages, are shown in their true proportions.
Canvas shrink(const Picture& picture, const ExtraInfo& extra, int columns)
{
    const auto [width, height, bits] = picture.size();
    const bool has_resolution = extra.x_resolution > 0 && extra.y_resolution > 0;
    const int64_t across = has_resolution ? extra.x_resolution : 1;
    const int64_t down = has_resolution ? extra.y_resolution : 1;
    Canvas canvas;
    canvas.width = std::min(columns, width);
    const int64_t rows = (int64_t{height} * canvas.width * across + width * down / 2) / (width * down);
    canvas.height = static_cast<int>(std::clamp<int64_t>(rows, 1, height));
    const std::vector<uint32_t> pixels = picture.pixels();
    for (int y = 0; y < canvas.height; ++y) {
        const int top = static_cast<int>(int64_t{height} * y / canvas.height);
        const int bottom = static_cast<int>(int64_t{height} * (y + 1) / canvas.height);
        for (int x = 0; x < canvas.width; ++x) {
            const int left = static_cast<int>(int64_t{width} * x / canvas.width);
            const int right = static_cast<int>(int64_t{width} * (x + 1) / canvas.width);
            canvas.pixels.push_back(mean_colour(pixels, width, left, right, top, bottom));
        }
    }
    return canvas;
}

// The nearest of the 6 by 6 by 6 colour cube (16 to 231) and the 24 grays (232 to 255).
int nearest_of_256(uint32_t colour)
{
    static constexpr int kLevels[6] = {0, 95, 135, 175, 215, 255};
    const int channels[3] = {static_cast<int>(colour >> 16 & 255), static_cast<int>(colour >> 8 & 255),
                             static_cast<int>(colour & 255)};
    const int mean = (channels[0] + channels[1] + channels[2]) / 3;
    const int gray = std::clamp((mean - 3) / 10, 0, 23);
    int cube = 0;
    int cube_distance = 0;
    int gray_distance = 0;
    for (const int channel : channels) {
        const auto level =
            std::ranges::min_element(kLevels, {}, [&](int value) { return std::abs(value - channel); });
        cube = cube * 6 + static_cast<int>(level - kLevels);
        cube_distance += (*level - channel) * (*level - channel);
        gray_distance += (8 + 10 * gray - channel) * (8 + 10 * gray - channel);
    }
    return gray_distance < cube_distance ? 232 + gray : 16 + cube;
}

// The escape sequence for a foreground (38) or background (48) colour.
std::string colour_code(int ground, uint32_t colour, Colours colours)
{
    const std::string start = "\033[" + std::to_string(ground);
    if (colours == Colours::Palette256)
        return start + ";5;" + std::to_string(nearest_of_256(colour)) + "m";
    return start + ";2;" + std::to_string(colour >> 16 & 255) + ";" + std::to_string(colour >> 8 & 255) + ";" +
           std::to_string(colour & 255) + "m";
}

void print_canvas(const Canvas& canvas, Colours colours)
{
    const size_t width = static_cast<size_t>(canvas.width);
    for (size_t y = 0; y < static_cast<size_t>(canvas.height); y += 2) {
        const bool has_lower = y + 1 < static_cast<size_t>(canvas.height);
        std::string line;
        std::string codes_before;
        for (size_t x = 0; x < width; ++x) {
            std::string codes = colour_code(38, canvas.pixels[y * width + x], colours);
            if (has_lower)
                codes += colour_code(48, canvas.pixels[(y + 1) * width + x], colours);
            if (codes != codes_before)
                line += codes;
            line += kUpperHalf;
            codes_before = std::move(codes);
        }
        std::printf("%s\033[0m\n", line.c_str());
    }
}

}  // namespace

int run_view(const Options& options)
{
    int status = kExitDone;
    PictureFile file(options.inputs.front());
    const Picture picture = load_page(file, options.page == 0 ? 1 : options.page, options, status);
    const ExtraInfo extra = *static_cast<const ExtraInfo*>(IMG_get_extra_info());
    const int columns = options.width > 0 ? options.width : terminal_columns();
    print_canvas(shrink(picture, extra, columns), terminal_colours());
    return status;
}

}  // namespace orvimg
