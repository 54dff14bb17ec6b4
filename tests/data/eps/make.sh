#!/bin/sh
# Makes the EPS fixtures: a small program behind the binary header of MS-DOS, and previews made of the
# pictures of bitmap/ by libtiff's tools, ImageMagick 6 and Ghostscript's TIFF devices. Run in tests/data.
# Every file must come back as its picture; the first word of a name says which it is. The ones
# named unread have no TIFF preview.
set -e
rm -f eps/*.eps
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
convert=convert-im6.q16
ppm2tiff bitmap/colour.ppm "$work/rgb.tif"
ppm2tiff bitmap/gray.pgm "$work/grays.tif"
tiffcp -c lzw:2 "$work/rgb.tif" "$work/colour-lzw.tif"
tiffcp -B -c packbits -r 8 "$work/grays.tif" "$work/gray-big-endian.tif"
$convert bitmap/mono.pbm -compress Group4 "$work/mono-g4.tif"
ppmtogif -quiet bitmap/palette.ppm | $convert gif:- -compress None "$work/palette-none.tif"
# render PICTURE DEVICE NAME: a page of the picture's own pixels.
render() {
    {
        echo '61 43 scale /row 183 string def 61 43 8 [61 0 0 -43 0 43]'
        echo '{currentfile row readhexstring pop} bind false 3 colorimage'
        tail -c 7869 "$1" | od -An -v -tx1
        echo showpage
    } >"$work/page.ps"
    gs -q -dBATCH -dNOPAUSE -sDEVICE="$2" -g61x43 -r72 -o "$work/$3.tif" "$work/page.ps"
}
ppmtoppm <bitmap/mono.pbm >"$work/mono.ppm"
render bitmap/colour.ppm tiff24nc colour-gs24
render "$work/mono.ppm" tiffpack mono-gspack
python3 - "$work" <<'PY'
import glob, os, struct, sys
program = b'%!PS-Adobe-3.0 EPSF-3.0\r\n%%BoundingBox: 0 0 61 43\r\n0 0 moveto 61 43 lineto stroke\r\n'
def file(name, metafile, tiff, tiff_first):
    parts = [('program', program), ('metafile', metafile), ('tiff', tiff)]
    body, places = b'', {}
    for part, data in reversed(parts) if tiff_first else parts:
        places[part] = (30 + len(body) if data else 0, len(data))
        body += data
    head = b'\xc5\xd0\xd3\xc6' + struct.pack('<6I', *places['program'], *places['metafile'], *places['tiff'])
    open(f'eps/{name}.eps', 'wb').write(head + b'\xff\xff' + body)
for n, path in enumerate(sorted(glob.glob(sys.argv[1] + '/*-*.tif'))):
    file(os.path.basename(path)[:-4], b'', open(path, 'rb').read(), n % 2 == 0)
file('unread-without-preview', b'', b'', False)
file('unread-metafile-alone', struct.pack('<HHHIHIHIH', 1, 9, 0x300, 12, 0, 3, 0, 3, 0), b'', False)
PY
