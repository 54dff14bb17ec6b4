/* Loads the library, asks for a file's type and ends: measured as a whole process. */
#include <orvimg32/orvimg32.h>

int main(int argc, char** argv)
{
    return argc == 2 && IMGLOW_get_filetype(argv[1]) == ORV_FORMAT_BMP ? 0 : 1;
}
