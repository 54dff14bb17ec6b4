// A picture under its handle.
#pragma once

#include <cstdint>
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

}  // namespace orvimg
