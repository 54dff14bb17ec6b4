// Saves and files that the tests of PCX, DCX and TGA share.
#pragma once

#include <string>
#include <vector>

#include "frame/types.h"

namespace orv::test
{

// Settings and counters as at the start of the library, and no job under way.
void reset_jobs();

// Replaces the first colours of an image, 0xRRGGBB.
void set_palette(int handle, const std::vector<u32>& colours);

// Saves a handle's image to memory with the settings as they stand.
std::vector<u8> save_to_memory(int handle, i16 format);

// The percentages that a save to a file reports, its result last.
std::vector<int> save_reporting(int handle, const std::string& path, i16 format, i16 page_total);

// A PCX file from its parts; numbers in the order of the file.
struct PcxParts {
    u8 version = 5;
    u8 bits = 1;
    u16 width = 8;
    u16 height = 1;
    u16 hdpi = 200;
    u16 vdpi = 200;
    std::vector<u8> colours = {};  // red, green, blue
    u8 planes = 1;
    u16 bytes_per_line = 1;
    u16 palette_info = 1;
    std::vector<u8> code = {};  // all behind the header
};
std::vector<u8> pcx_file(const PcxParts& parts);

}  // namespace orv::test
