#include <leptonica/allheaders.h>

#include "bench/peers.h"

namespace orv::bench
{

bool leptonica_load(const std::uint8_t* file, std::size_t size)
{
    PIX* picture = pixReadMem(file, size);
    const bool loaded = picture != nullptr;
    pixDestroy(&picture);
    return loaded;
}

}  // namespace orv::bench
