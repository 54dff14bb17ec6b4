// GIF by giflib, and by Pillow in a process of its own that answers over a pipe.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace orv::bench
{

// A picture of `width` by `height` pixels, a byte each, below `colours` (2, 16 or 256), in a gray ramp.
struct GifPixels {
    int width;
    int height;
    int colours;
    std::vector<std::uint8_t> pixels;
};

std::vector<std::uint8_t> giflib_save(const GifPixels& picture);
bool giflib_load(const std::vector<std::uint8_t>& file);

// A Pillow that has read the file: it decodes it, or encodes what it has, once for each letter that it gets.
class Pillow
{
public:
    explicit Pillow(const std::vector<std::uint8_t>& file);
    ~Pillow();
    Pillow(const Pillow&) = delete;
    Pillow& operator=(const Pillow&) = delete;

    bool decode() const { return ask('d'); }
    bool encode() const { return ask('e'); }

private:
    bool ask(char what) const;

    int socket_;
    int process_;
};

}  // namespace orv::bench
