// The formats by name, and what the library that runs can do with each.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvimg
{

struct Format {
    int16_t number;           // an OrvFormat
    const char* name;         // as --format takes it
    const char* other_names;  // more names, a blank around each
    const char* extensions;   // of file names that stand for it, a blank around each; may be empty
    const char* extension;    // that a new file gets
    std::string_view magic;   // first bytes to which a reader answers; empty: asked by writing and reading
    bool has_pages;           // saving to an existing file adds a page
    const char* saved_as;     // what a save writes
    const char* loaded_as;    // what ExtraInfo's number stands for after a load
};

// A set of depths, a bit each: 1, 4, 8, 24 bits.
enum DepthSet : unsigned { kNoDepth = 0, kDepth1 = 1, kDepth4 = 2, kDepth8 = 4, kDepth24 = 8 };

std::span<const Format> all_formats();
const Format* format_by_number(int number);  // null for a number that is none
const Format* format_by_name(const std::string& name_or_number);
const Format* format_by_file_name(const std::string& file_name);

std::vector<std::string> format_names();

// ", did you mean bmp-rle?" or nothing, for a name that format_by_name does not know.
std::string format_suggestion(const std::string& name);

unsigned depth_bit(int bits);
std::string depth_list(unsigned depths);  // "4, 8 or 24"

// Asked of the library by tiny saves and loads in memory, so the answer is always the truth about the
// library that runs. Not during a job of several saves: a refused save counts in its progress.
unsigned depths_written(int16_t format);
bool can_write(const Format& format);
bool can_read(const Format& format);
bool can_read_fax_files();

}  // namespace orvimg
