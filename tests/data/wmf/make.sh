#!/bin/sh
# Makes the WMF fixtures. Run in tests/data.
/usr/bin/python3 - <<'PY'
"""Makes the WMF fixtures from the pictures in ../bitmap: a writer of metafiles of its own, since no program
at hand puts bitmaps into them. Run in tests/data. A name tells the picture, the record that holds it, and
the coding: 'rle' has runs only, 'abs' pixels as they are as well."""
import struct
from PIL import Image

FIXED = {'bitblt': (0x0922, 22), 'dibbitblt': (0x0940, 22), 'setdib': (0x0D33, 24), 'dibstretch': (0x0B41, 26),
         'stretchdib': (0x0F43, 28)}


def record(function, parameters):
    if len(parameters) % 2:
        parameters += b'\0'
    return struct.pack('<IH', 3 + len(parameters) // 2, function) + parameters


def indices(image, bits):
    if image.mode == 'RGB' and bits < 24:
        image = image.quantize(1 << bits)
    if bits == 24:
        rows = [[image.getpixel((x, y))[::-1] for x in range(image.width)] for y in range(image.height)]
        return rows, b''
    if image.mode == '1':
        image = image.point(lambda v: v).convert('P')
        image = image.point(lambda v: 1 if v else 0)
        palette = [(0, 0, 0), (255, 255, 255)]
    else:
        flat = image.getpalette()
        palette = [tuple(flat[i * 3:i * 3 + 3]) for i in range(len(flat) // 3)]
    palette = (palette + [(0, 0, 0)] * 256)[:1 << bits]
    rows = [list(image.crop((0, y, image.width, y + 1)).getdata()) for y in range(image.height)]
    return rows, b''.join(bytes([b, g, r, 0]) for r, g, b in palette)


def plain(row, bits):
    if bits == 24:
        data = b''.join(bytes(pixel) for pixel in row)
    else:
        text = ''.join(format(pixel, f'0{bits}b') for pixel in row)
        text += '0' * (-len(text) % 8)
        data = int(text, 2).to_bytes(len(text) // 8, 'big')
    return data + b'\0' * (-len(data) % 4)


def coded(row, bits, absolute):
    """A row that its codes fill to the end, and its end-of-line code."""
    out, x = b'', 0
    while x < len(row):
        run = 1
        while run < 255 and x + run < len(row) and row[x + run] == row[x]:
            run += 1
        if absolute and run < 3 and len(row) - x > 7:
            pixels = row[x:x + 7]
            if bits == 8:
                data = bytes(pixels)
            else:
                data = bytes(a << 4 | b for a, b in zip(pixels[::2], pixels[1::2] + [0]))
            out += bytes([0, 7]) + data + b'\0' * (len(data) % 2)
            x += 7
            continue
        out += bytes([run, row[x] * (17 if bits == 4 else 1)])
        x += run
    return out + b'\0\0'


def dib(image, bits, coding):
    rows, palette = indices(image, bits)
    if coding == 'plain':
        data, compression = b''.join(plain(row, bits) for row in rows[::-1]), 0
    else:
        data = b''.join(coded(row, bits, coding == 'abs') for row in rows[::-1]) + b'\0\1'
        compression = 1 if bits == 8 else 2
    return struct.pack('<IiiHHIIiiII', 40, image.width, image.height, 1, bits, compression, len(data), 0, 0, 0,
                       0) + palette + data


def metafile(records, placeable=True):
    body = b''.join(records) + record(0, b'')
    header = struct.pack('<HHHIHIH', 1, 9 if placeable else 0, 0x300, 9 + len(body) // 2, 0,
                         max(len(r) for r in records) // 2, 0)
    key = struct.pack('<IHhhhhHI', 0x9AC6CDD7, 0, 0, 0, 61, 43, 96, 0)
    checksum = 0
    for word in struct.unpack('<10H', key):
        checksum ^= word
    return (key + struct.pack('<HH', checksum, 0) if placeable else b'') + header + body


def bitmap_record(name, data):
    function, distance = FIXED[name]
    return record(function, struct.pack('<I', 0x00CC0020) + bytes(distance - 10) + data)


PEN = record(0x02FA, struct.pack('<HHHI', 0, 1, 0, 255))
LINE = record(0x0213, struct.pack('<HH', 30, 40))
CASES = [('mono', 1, 'dibbitblt', 'plain'), ('sixteen', 4, 'stretchdib', 'plain'), ('sixteen', 4, 'dibstretch', 'rle'),
         ('sixteen', 4, 'stretchdib', 'abs'), ('palette', 8, 'setdib', 'plain'), ('sixteen', 8, 'stretchdib', 'rle'),
         ('palette', 8, 'dibstretch', 'abs'), ('colour', 24, 'bitblt', 'plain')]
for name, bits, kind, coding in CASES:
    image = Image.open(f'bitmap/{name}.' + ('pbm' if name == 'mono' else 'ppm'))
    records = [PEN, LINE, bitmap_record(kind, dib(image, bits, coding)),
               bitmap_record('stretchdib', dib(Image.new('1', (3, 2)), 1, 'plain'))]
    open(f'wmf/{name}-{bits}-{kind}-{coding}.wmf', 'wb').write(metafile(records))
image = Image.open('bitmap/mono.pbm')
open('wmf/mono-1-stretchdib-unplaced.wmf', 'wb').write(
    metafile([PEN, bitmap_record('stretchdib', dib(image, 1, 'plain'))], placeable=False))
open('wmf/unread-drawing.wmf', 'wb').write(metafile([PEN, LINE]))
PY
