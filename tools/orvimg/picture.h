// A picture under its handle, and a file of pictures to take them from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orvimg32/orvimg32.h"

namespace orvimg
{

struct Size {
    int width = 0;
    int height = 0;
    int bits = 0;
};

// Owns one handle of the library.
class Picture
{
public:
    explicit Picture(int16_t handle) : handle_(handle) {}
    Picture(Picture&& other) noexcept : handle_(other.handle_) { other.handle_ = -1; }
    Picture& operator=(Picture&& other) noexcept;
    ~Picture();

    int16_t handle() const { return handle_; }
    Size size() const;
    // 0xRRGGBB, the top row first.
    std::vector<uint32_t> pixels() const;
    // Keeps this part alone, to the pixel at any depth. The part lies inside. Result: a code of the library.
    int16_t cut(int left, int top, int width, int height);

private:
    int16_t handle_;
};

// A file open for reading. Pages count from 1 here, as people count.
class PictureFile
{
public:
    explicit PictureFile(std::string name);  // throws Failure
    ~PictureFile();
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;

    const std::string& name() const { return name_; }
    int descriptor() const { return descriptor_; }
    int detected() const { return detected_; }  // an OrvFormat, or -1
    bool is_fax() const { return is_fax_; }     // the fax container, which is detected as TIFF

    int page_count();
    void require_page(int page);  // throws Failure where it does not exist
    Picture load(int page);       // throws Failure

    // Why the library did not read this file.
    std::string trouble(int code) const;

private:
    std::string name_;
    int descriptor_ = -1;
    int detected_ = -1;
    int page_count_ = 0;  // 0: not counted yet
    bool is_fax_ = false;
};

}  // namespace orvimg
