#!/bin/sh
# Makes the WPG fixtures from the pictures of bitmap/. Run in tests/data. Nothing packaged writes WPG, so a
# script packs it after the published layout of WordPerfect Graphics, version 1, with all of the row code
# in use: runs, runs of FF, literals, repeated rows. Every file must come back as its picture; the first
# word of a name says which it is.
set -e
rm -f wpg/*.wpg
python3 - <<'PY'
import struct

def words(*values): return struct.pack(f'<{len(values)}H', *values)

def record(kind, data, form):
    length = {1: lambda n: bytes([n]), 3: lambda n: b'\xff' + words(n),
              5: lambda n: b'\xff' + words(n >> 16 | 0x8000, n & 0xffff)}[form](len(data))
    return bytes([kind]) + length + data

def run_code(rows):
    code, y = b'', 0
    while y < len(rows):
        row, x = rows[y], 0
        while x < len(row):
            n = 1
            while x + n < len(row) and row[x + n] == row[x] and n < 255: n += 1
            if row[x] == 255 and n > 1:
                code += bytes([0x80, n])
            elif n > 2:
                n = min(n, 127)
                code += bytes([0x80 | n, row[x]])
            else:
                n = min(11, len(row) - x)  # whatever it holds
                code += bytes([n]) + row[x:x + n]
            x += n
        y += 1
        n = 0
        while y + n < len(rows) and rows[y + n] == row and n < 255: n += 1
        if n: code += bytes([0, n])
        y += n
    return code

def read_pnm(name):
    magic, size, rest = open('bitmap/' + name, 'rb').read().split(b'\n', 2)
    if magic != b'P4': rest = rest.split(b'\n', 1)[1]
    return *map(int, size.split()), rest

def bitmap(kind, width, height, depth, code):
    place = words(0, 0, 0, width * 16, height * 16) if kind == 0x14 else b''
    return place + words(width, height, depth, 75, 75) + code

def file(name, *records, end=b'\x10\0', first=16):
    head = b'\xffWPC' + struct.pack('<IBBBBHH', first, 1, 0x16, 1, 0, 0, 0)
    open(f'wpg/{name}.wpg', 'wb').write(head + b''.join(records) + end)

def indexed(name):
    width, height, data = read_pnm(name)
    pixels = [data[i:i + 3] for i in range(0, len(data), 3)]
    palette = sorted(set(pixels))
    rows = [bytes(map(palette.index, pixels[y * width:(y + 1) * width])) for y in range(height)]
    return width, height, palette, rows

def colours(palette): return words(0, len(palette)) + b''.join(palette)

start = record(0x0f, bytes([1, 0]) + words(9600, 13200), 1)
drawing = record(0x06, words(9600, 0, 9600, 13200), 1) + record(0x0c, words(1) + b'text' * 90, 3)

width, height, data = read_pnm('mono.pbm')
stride = (width + 7) // 8
mono = [bytes(b ^ 255 for b in data[y * stride:(y + 1) * stride]) for y in range(height)]
file('mono-type1', start, record(0x0b, bitmap(0x0b, width, height, 1, run_code(mono)), 3))
file('mono-type2', start, drawing, record(0x0e, colours([b'\0\0\0', b'\xff\xff\xff']), 1),
     record(0x14, bitmap(0x14, width, height, 1, run_code(mono)), 5))

width, height, palette, rows = indexed('sixteen.ppm')
packed = [bytes(a << 4 | b for a, b in zip(row[::2], row[1::2] + b'\0')) for row in rows]
sixteen = record(0x0b, bitmap(0x0b, width, height, 4, run_code(packed)), 3)
file('sixteen-type1', start, record(0x0e, colours(palette), 1), drawing, sixteen)
file('sixteen-last-of-two', start, record(0x0b, bitmap(0x0b, 5, 5, 8, run_code([b'\1' * 5] * 5)), 1),
     record(0x0e, colours([b'abc'] * 256), 3), record(0x0e, colours(palette), 1), sixteen)

width, height, palette, rows = indexed('palette.ppm')
file('palette-type2', start, record(0x0e, colours(palette), 3),
     record(0x14, bitmap(0x14, width, height, 8, run_code(rows)), 5), end=b'')

width, height, data = read_pnm('gray.pgm')
gray = [data[y * width:(y + 1) * width] for y in range(height)]
file('gray-no-colours', record(0x0b, bitmap(0x0b, width, height, 8, run_code(gray)), 5))

width, height, data = read_pnm('colour.ppm')
blue_first = bytes(v for i in range(0, len(data), 3) for v in reversed(data[i:i + 3]))
file('colour-type1', start, first=26, *[record(0x0b, bitmap(0x0b, width, height, 24, run_code(
    [blue_first[y * width * 3:(y + 1) * width * 3] for y in range(height)])), 3)])
PY
