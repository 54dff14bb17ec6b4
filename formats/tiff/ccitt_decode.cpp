#include "formats/tiff/tiff_strips.h"

namespace orv
{

i16 tiff_decode_ccitt(const TiffDirectory&, StreamHandle, i16)
{
    return kOk;
}

}  // namespace orv
