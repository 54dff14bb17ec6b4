#!/bin/sh
# Makes the PCX, DCX and TGA fixtures from a few pictures, by netpbm, ImageMagick 6 and Pillow.
# Run in tests/data. Every file must come back as its picture, pixel for pixel; the first word of a
# name says which picture it is. The one named unread has a depth that no image has. Names with "15"
# hold five bits a colour.
set -e
convert=convert-im6.q16
rm -f bitmap/*.p?m pcx/* dcx/* tga/*

# The pictures: a gradient with noise and flat bars (colour), the same in gray, in 16 colours, in 1 bit.
python3 - <<'PY'
import random
random.seed(5)
W, H = 61, 43
rows = b''
for y in range(H):
    for x in range(W):
        if 8 <= y < 16:
            rows += bytes([(x // 20) * 85, 200, 255 - y])
        else:
            rows += bytes(min(255, max(0, v + random.randint(-3, 3))) for v in (x * 4, y * 6, 255 - x * 2 - y))
open('bitmap/colour.ppm', 'wb').write(b'P6\n%d %d\n255\n' % (W, H) + rows)
PY
ppmtopgm bitmap/colour.ppm >bitmap/gray.pgm
pnmquant -quiet -nofloyd 16 bitmap/colour.ppm >bitmap/sixteen.ppm
pnmquant -quiet -nofloyd 6 bitmap/colour.ppm >bitmap/six.ppm
pnmquant -quiet -nofloyd 200 bitmap/colour.ppm >bitmap/palette.ppm
pamdepth -quiet 31 bitmap/sixteen.ppm | pamdepth -quiet 255 >bitmap/five.ppm
pamditherbw -cluster3 bitmap/gray.pgm | pamtopnm >bitmap/mono.pbm

# PCX
ppmtopcx -quiet -24bit bitmap/colour.ppm >pcx/colour-netpbm.pcx
ppmtopcx -quiet bitmap/palette.ppm >pcx/palette-netpbm.pcx
ppmtopcx -quiet -8bit bitmap/sixteen.ppm >pcx/sixteen-netpbm-8bit.pcx
ppmtopcx -quiet bitmap/sixteen.ppm >pcx/sixteen-netpbm-planes4.pcx
ppmtopcx -quiet -packed bitmap/sixteen.ppm >pcx/sixteen-netpbm-packed4.pcx
ppmtopcx -quiet -planes=3 bitmap/six.ppm >pcx/six-netpbm-planes3.pcx
ppmtopcx -quiet -xpos=7 -ypos=9 bitmap/sixteen.ppm >pcx/sixteen-netpbm-moved.pcx
ppmtopcx -quiet bitmap/mono.pbm >pcx/mono-netpbm.pcx
$convert bitmap/colour.ppm pcx/colour-magick.pcx
ppmtogif -quiet bitmap/palette.ppm | $convert gif:- pcx/palette-magick.pcx
$convert bitmap/gray.pgm pcx/gray-magick.pcx
$convert bitmap/mono.pbm pcx/mono-magick.pcx
python3 - <<'PY'
from PIL import Image
Image.open('bitmap/colour.ppm').save('pcx/colour-pillow.pcx')
Image.open('bitmap/palette.ppm').quantize(256).save('pcx/palette-pillow.pcx')
Image.open('bitmap/gray.pgm').save('pcx/gray-pillow.pcx')
Image.open('bitmap/mono.pbm').save('pcx/mono-pillow.pcx')
PY

pnmquant -quiet -nofloyd 4 bitmap/colour.ppm | ppmtopcx -quiet -packed >pcx/unread-netpbm-2bits.pcx

# DCX: the pages in the order of the name
ppmtogif -quiet bitmap/palette.ppm | $convert bitmap/mono.pbm bitmap/gray.pgm gif:- dcx/mono-gray-palette-magick.dcx

# TGA
ppmtotga -quiet -rgb bitmap/colour.ppm >tga/colour-netpbm-runs.tga
ppmtotga -quiet -rgb -norle bitmap/colour.ppm >tga/colour-netpbm.tga
ppmtotga -quiet -cmap bitmap/palette.ppm >tga/palette-netpbm-runs.tga
ppmtotga -quiet -cmap -norle -name=sixteen bitmap/sixteen.ppm >tga/sixteen-netpbm.tga
ppmtotga -quiet -cmap16 bitmap/five.ppm >tga/five15-netpbm-map.tga
ppmtotga -quiet -mono bitmap/gray.pgm >tga/gray-netpbm-runs.tga
ppmtotga -quiet -mono -norle bitmap/gray.pgm >tga/gray-netpbm.tga
# ImageMagick leaves the rows as they are and notes the orientation.
for runs in None RLE; do
    $convert bitmap/colour.ppm -flip -orient BottomLeft -compress $runs tga/colour-magick-$runs.tga
    $convert bitmap/colour.ppm -orient TopLeft -compress $runs tga/colour-magick-$runs-top.tga
    ppmtogif -quiet bitmap/palette.ppm | $convert gif:- -orient TopLeft -compress $runs tga/palette-magick-$runs-top.tga
    $convert bitmap/gray.pgm -orient TopLeft -compress $runs tga/gray-magick-$runs-top.tga
    $convert bitmap/colour.ppm -alpha set -channel A -evaluate set 40% +channel -orient TopLeft -compress $runs \
        tga/colour-magick-$runs-alpha-top.tga
done
python3 - <<'PY'
import struct
from PIL import Image
colour = Image.open('bitmap/colour.ppm')
alpha = colour.convert('RGBA')
alpha.putalpha(colour.convert('L'))
palette = Image.open('bitmap/palette.ppm').quantize(256)
gray = Image.open('bitmap/gray.pgm')
for name, picture in (('colour', colour), ('colour-alpha', alpha), ('palette', palette), ('gray', gray)):
    first, _, rest = name.partition('-')
    for runs in (None, 'tga_rle'):
        for direction in (-1, 1):
            label = '-'.join(filter(None, (first, 'pillow', rest, 'runs' if runs else '', 'top' if direction > 0 else '')))
            picture.save(f'tga/{label}.tga', compression=runs, orientation=direction)
# Nothing writes 15 and 16 bits a pixel: packed by hand, bit 15 set in every other pixel.
data = colour.tobytes()
words = b''.join(struct.pack('<H', data[i] >> 3 << 10 | data[i + 1] >> 3 << 5 | data[i + 2] >> 3 | (i & 1) << 15)
                 for i in range(0, len(data), 3))
for bits in (15, 16):
    head = struct.pack('<BBBHHBHHHHBB', 0, 0, 2, 0, 0, 0, 0, 0, *colour.size, bits, 0x20)
    open(f'tga/colour15-byhand-{bits}.tga', 'wb').write(head + words)
PY
ls -l pcx dcx tga | awk '$5 > 20000'
