/* draw IN SCREEN.ppm PAGE.pbm: shows a picture on a screen of its own size, and prints it twice as large in
   black and white, on devices that this program makes. */
#include <orvimg32/host.h>
#include <stdio.h>
#include <string.h>

static struct orv_device_traits device_traits(int32_t width, int32_t height, int32_t bits, int32_t colours)
{
    struct orv_device_traits traits;
    memset(&traits, 0, sizeof traits);
    traits.width = width;
    traits.height = height;
    traits.bits_per_pixel = bits;
    traits.number_of_colours = colours;
    traits.dots_per_inch = 600;
    return traits;
}

/* The surface of a 24-bit device: rows top first, blue, green, red. */
static int show(int16_t image, int16_t width, int16_t height, const char* name)
{
    struct orv_device_traits traits = device_traits(width, height, 24, -1);
    HDC screen = orv_device_create(&traits);
    FILE* file = fopen(name, "wb");
    const uint8_t* pixels;
    int32_t stride, x, y;
    int result = file != NULL && IMG_display_bitmap(image, screen, 0, 0, width, height) == ORV_OK &&
                 orv_device_pixels(screen, &pixels, &stride) == 0;
    if (result) {
        fprintf(file, "P6 %d %d 255\n", width, height);
        for (y = 0; y < height; ++y) {
            for (x = 0; x < width; ++x) {
                const uint8_t* pixel = pixels + y * stride + x * 3;
                uint8_t rgb[3];
                rgb[0] = pixel[2];
                rgb[1] = pixel[1];
                rgb[2] = pixel[0];
                fwrite(rgb, 1, 3, file);
            }
        }
    }
    orv_device_delete(screen);
    return file != NULL && fclose(file) == 0 && result;
}

struct page {
    FILE* file;
    long start; /* where the rows are in the file */
    int32_t row_bytes;
};

/* A band of the page: bits, bottom row first, 1 for white where the palette says so. PBM has 1 for black. */
static void take_band(HDC device, const struct orv_stretch* band, void* user)
{
    const struct page* page = user;
    const BITMAPINFOHEADER* info = band->header;
    int32_t stride = (info->biWidth + 31) / 32 * 4, r, i;
    (void)device;
    for (r = 0; r < band->source_height; ++r) {
        const uint8_t* row = (const uint8_t*)band->bits + (size_t)r * (size_t)stride;
        fseek(page->file, page->start + (long)(band->y + band->height - 1 - r) * page->row_bytes, SEEK_SET);
        for (i = 0; i < page->row_bytes; ++i)
            putc(~row[i] & 0xFF, page->file);
    }
}

static int print(int16_t image, int16_t width, int16_t height, const char* name)
{
    struct orv_device_traits traits = device_traits(width, height, 1, 2);
    HDC printer = orv_printer_create(&traits);
    struct page page;
    int result;
    page.file = fopen(name, "wb");
    if (page.file == NULL)
        return 0;
    fprintf(page.file, "P4 %d %d\n", width, height);
    page.start = ftell(page.file);
    page.row_bytes = (width + 7) / 8;
    orv_device_set_callback(printer, take_band, &page);
    result = IMG_print_bitmap(image, printer, 0, 0, width, height) == ORV_OK;
    orv_device_delete(printer);
    return fclose(page.file) == 0 && result;
}

int main(int argc, char** argv)
{
    uint16_t width, height, bits;
    int result;
    int16_t image = argc == 4 ? IMG_decompress_bitmap(argv[1]) : ORV_UNREADABLE;
    if (image < 0) {
        fprintf(stderr, "draw: cannot read the picture (%d)\n", image);
        return 1;
    }
    IMG_bitmap_info(image, &width, &height, &bits);
    result = bits >= 4 && show(image, (int16_t)width, (int16_t)height, argv[2]) &&
             print(image, (int16_t)(width * 2), (int16_t)(height * 2), argv[3]);
    IMG_delete_bitmap(image);
    return result ? 0 : 1;
}
