/* crop IN OUT LEFT TOP WIDTH HEIGHT: saves a part of a picture; OUT's name tells the format. */
#include <orvimg32/orvimg32.h>
#include <stdio.h>
#include <stdlib.h>

static int16_t number(const char* text)
{
    return (int16_t)strtol(text, NULL, 10);
}

int main(int argc, char** argv)
{
    int16_t result;
    int16_t image = argc == 7 ? IMG_decompress_bitmap(argv[1]) : ORV_UNREADABLE;
    if (image < 0) {
        fprintf(stderr, "crop: cannot read the picture (%d)\n", image);
        return 1;
    }
    IMG_set_croprect(image, number(argv[3]), number(argv[4]), number(argv[5]), number(argv[6]));
    result = IMG_save_bitmap(image, argv[2], ORV_FORMAT_BY_NAME, 1, 1, 1, 1);
    IMG_delete_bitmap(image);
    return result == ORV_OK ? 0 : 1;
}
