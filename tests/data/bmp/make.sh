#!/bin/bash
# Makes the pictures of this folder. ImageMagick's built-in rose is the motif.
set -euo pipefail
cd "$(dirname "$0")"
im=convert-im6.q16
motif=(rose: -resize '37x29!' -strip)
for bits in 1:-monochrome 4:'-colors 16' 8:'-colors 200' 24:; do
    # shellcheck disable=SC2086
    $im "${motif[@]}" ${bits#*:} -compress None "BMP3:im_${bits%%:*}.bmp"
    # shellcheck disable=SC2086
    $im "${motif[@]}" ${bits#*:} pnm:- | ppmtobmp -windows -bpp="${bits%%:*}" >"netpbm_win_${bits%%:*}.bmp"
    # shellcheck disable=SC2086
    $im "${motif[@]}" ${bits#*:} pnm:- | ppmtobmp -os2 -bpp="${bits%%:*}" >"netpbm_os2_${bits%%:*}.bmp"
done
$im "${motif[@]}" -colors 200 -compress RLE BMP3:im_rle8.bmp
$im "${motif[@]}" -negate -posterize 3 -scale '75x29!' -colors 12 -type Palette -compress RLE BMP3:im_rle8_runs.bmp
$im rose: -resize '37x29!' ppm:- | /usr/bin/python3 -c '
import io, sys
from PIL import Image
rose = Image.open(io.BytesIO(sys.stdin.buffer.read()))
rose.save("pillow_24.bmp")
rose.convert("P").save("pillow_8.bmp")
rose.convert("L").save("pillow_gray.bmp")
rose.convert("1").save("pillow_1.bmp")
'
# No common program writes 4-bit runs: encoded and absolute ones in turn, lines ended one by one.
/usr/bin/python3 -c '
import struct
width, rows, data = 37, 29, b""
for y in range(rows):
    x = 0
    while x < width:
        count = min(width - x, 3 + (x * 5 + y * 3) % 11)
        if (x + y) % 2 and count % 4 == 0:
            pixels = [(x + i * y) % 16 for i in range(count)]
            body = bytes(pixels[i] << 4 | pixels[i + 1] for i in range(0, count, 2))
            data += bytes([0, count]) + body
        else:
            data += bytes([count, (x % 16) << 4 | y % 16])
        x += count
    data += b"\0\0"
data += b"\0\1"
palette = b"".join(bytes([i * 16, 255 - i * 9, i * i % 256, 0]) for i in range(16))
info = struct.pack("<IiiHHIIiiII", 40, width, rows, 1, 4, 2, len(data), 0, 0, 16, 0)
head = struct.pack("<2sIHHI", b"BM", 14 + 40 + 64 + len(data), 0, 0, 14 + 40 + 64)
open("rle4.bmp", "wb").write(head + info + palette + data)
'
