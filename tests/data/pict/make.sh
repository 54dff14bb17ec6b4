#!/bin/sh
# Makes the PICT fixtures by netpbm 11, ImageMagick 6, GraphicsMagick 1.3 and a script. Run in tests/data. The first
# word of a name is the picture in bitmap/ that it must give, with "15" five bits of each colour; the second word
# is the program.
set -e
convert=convert-im6.q16
rm -f pict/*.pct
ppmtopict -quiet bitmap/palette.ppm >pict/palette-netpbm.pct
ppmtopict -quiet bitmap/mono.pbm >pict/mono-netpbm.pct
ppmtogif -quiet bitmap/palette.ppm | $convert gif:- pict:pict/palette-magick.pct
$convert bitmap/colour.ppm pict:pict/colour-magick.pct
gm convert bitmap/colour.ppm pict:pict/colour-graphicsmagick.pct
pict/make.py
ls -l pict | awk '$5 > 20000'
