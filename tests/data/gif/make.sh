#!/bin/sh
# Makes the GIF fixtures from the pictures in ../bitmap, by netpbm, giflib, ImageMagick 6 and Pillow. Run in
# tests/data. The first word of a name says which picture the file must give.
set -e
convert=convert-im6.q16
rm -f gif/*.gif

# ImageMagick is given GIF where a picture has many colours, so that it keeps them.
for picture in palette sixteen six gray mono; do
    pamtogif bitmap/$picture.p?m >gif/$picture-netpbm.gif
    $convert gif/$picture-netpbm.gif gif/$picture-magick.gif
done
pamtogif -interlace bitmap/palette.ppm >gif/palette-netpbm-interlaced.gif
pamtogif -nolzw -comment=ahead bitmap/sixteen.ppm >gif/sixteen-netpbm-unpacked.gif
$convert bitmap/six.ppm -interlace GIF gif/six-magick-interlaced.gif
# Two pictures on a larger screen, with delays: the first one counts.
$convert -delay 5 -page 80x60+9+7 bitmap/sixteen.ppm bitmap/six.ppm -set comment two gif/sixteen-magick-first.gif
/usr/bin/python3 - <<'PY'
import re, subprocess
from PIL import Image
six = Image.open('bitmap/six.ppm').quantize(6)
for name, picture in (('mono', Image.open('bitmap/mono.pbm')), ('six', six),
                      ('palette', Image.open('bitmap/palette.ppm').quantize(256))):
    picture.save(f'gif/{name}-pillow.gif', comment=b'ahead', transparency=1)
    picture.save(f'gif/{name}-pillow-plain.gif', interlace=0, optimize=True)
# giflib builds from text: a table of the picture's own behind a global one of other colours, interlaced,
# with a comment ahead.
for name in ('six', 'palette'):
    text = subprocess.run(['gifbuild', '-d', f'gif/{name}-netpbm.gif'], capture_output=True, check=True).stdout
    head, table, rest = re.match(rb'(.*)screen map\n(.*?\nend\n)(.*)', text, re.S).groups()
    gray = re.sub(rb'rgb +\d+ +\d+ +\d+', b'rgb 009 009 009', table)
    rest = rest.replace(b'image bits', b'image interlaced\nimage map\n' + table + b'image bits', 1)
    text = head + b'screen map\n' + gray + b'\ncomment\nahead\nend\n' + rest
    built = subprocess.run(['gifbuild'], input=text, capture_output=True, check=True).stdout
    open(f'gif/{name}-giflib-local.gif', 'wb').write(built)
PY
ls -l gif | awk '$5 > 20000'
