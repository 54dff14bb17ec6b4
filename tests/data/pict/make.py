#!/usr/bin/python3
# Packs pictures as PICT files of the kinds that no other program at hand writes. Run in tests/data.
import random
import struct

random.seed(8)


def read_pnm(name):
    kind, width, height, *rest = open('bitmap/' + name, 'rb').read().split(None, 3)
    width, height, data = int(width), int(height), rest[0]
    if kind != b'P4':
        data = data.split(b'\n', 1)[1]
    return width, height, data


def pack(row, unit):
    """Codes chosen at random among those that give the row, with bytes of no effect between them."""
    units = [row[i:i + unit] for i in range(0, len(row), unit)]
    out, at = b'', 0
    while at < len(units):
        same = next((n for n in range(1, len(units) - at) if units[at + n] != units[at]), len(units) - at)
        if same > 1 and random.random() < 0.8:
            n = min(same, random.choice((2, 5, 128)))
            out += bytes([257 - n]) + units[at]
        else:
            n = min(len(units) - at, random.choice((1, 2, 9, 30, 128)))
            out += bytes([n - 1]) + b''.join(units[at:at + n])
        at += n
        out += b'\x80' * (at < len(units) and random.random() < 0.1)
    return out


def rows_packed(rows, unit=1):
    size = 'B' if len(rows[0]) <= 250 else '>H'
    return b''.join(struct.pack(size, len(code)) + code for code in (pack(row, unit) for row in rows))


def rect(*sides):
    return struct.pack('>4h', *sides)


def start(version, bottom):
    versions = {1: b'\x11\x01', 2: b'\x00\x11\x02\xff\x0c\x00' + b'\xff\xfe' + bytes(24)}
    return bytes(512) + bytes(2) + rect(0, 0, bottom, 99) + versions[version]


def bitmap_head(row_bytes, top, bottom, width):
    return struct.pack('>H', row_bytes) + rect(top, 5, bottom, width + 5)


def pixmap(row_bytes, top, bottom, width, pack_type, bits, dpi=72, table=None):
    head = bitmap_head(row_bytes | 0x8000, top, bottom, width)
    head += struct.pack('>HHIIIHHHHIII', 0, pack_type, 0, dpi << 16 | 9, dpi << 16 | 9, 0x10 * (bits > 8), bits, 1,
                        bits, 0, 0, 0)
    if table:  # the entries' numbers are nonsense, the low bytes noise
        head += struct.pack('>IHH', 1, 0x8000, len(table) - 1)
        for r, g, b in table:
            head += struct.pack('>H3H', random.randrange(65536), r << 8 | 1, g << 8 | 0x80, b << 8 | 0xFF)
    return head


RECTS = bytes(16) + b'\0\0'

# Bytes behind the opcodes, each with its length; opcodes that end in bytes FF FF would otherwise be seen.
LENGTHS = {0x01: 10, 0x02: 8, 0x03: 2, 0x04: 1, 0x05: 2, 0x06: 4, 0x07: 4, 0x08: 2, 0x09: 8, 0x0A: 8, 0x0B: 4, 0x0C: 4,
           0x0D: 2, 0x0E: 4, 0x0F: 4, 0x10: 8, 0x11: 1, 0x15: 2, 0x16: 2, 0x20: 8, 0x21: 4, 0x22: 6, 0x23: 2, 0x28: 5,
           0x29: 2, 0x2A: 2, 0x2B: 3, 0x2C: 2, 0x2D: 2, 0x2E: 2, 0x2F: 2, 0xA0: 2, 0xC0: 24}
for base, length in ((0x30, 8), (0x40, 8), (0x50, 8), (0x60, 12), (0x68, 4), (0xD0, 4), (0xD8, 4), (0xE0, 4), (0xE8, 4)):
    LENGTHS.update({base + i: length for i in range(8)})
LENGTHS.update({base + i: 10 for base in (0x70, 0x80) for i in range(4)})
LENGTHS.update({opcode: 4 for opcode in [*range(0x92, 0x98), *range(0x9B, 0xA0)]})


def every_opcode(version):
    """All that is passed over, with data in which an opcode read in the wrong place would end the picture."""
    code = 'B' if version == 1 else '>H'
    out = b''
    for opcode in range(0xF0):
        if opcode in (0x90, 0x91, 0x98, 0x99, 0x9A):
            continue
        out += struct.pack(code, opcode)
        out += b'\0\7\0\5\xff\xff\xff\xff\xff' if opcode == 0xA1 else b'\xff' * LENGTHS.get(opcode, 0)
    return out + (b'\1\x30\1\x42' if version == 2 else b'')


def write(name, data):
    open(f'pict/{name}.pct', 'wb').write(data)


def even(data):
    return data + bytes(len(data) % 2)


# Black on white, one bit: a BitMap in bands with every opcode between them, version 1 and 2.
width, height, data = read_pnm('mono.pbm')
mono = [data[y * 8:y * 8 + 8] for y in range(height)]
for version, code in ((1, 'B'), (2, '>H')):
    out = start(version, height)
    for opcode, top, bottom in ((0x98, 0, 10), (0x90, 10, 11), (0x99, 11, 43)):
        rows = rows_packed(mono[top:bottom])
        out += every_opcode(version) + struct.pack(code, opcode) + bitmap_head(8, top, bottom, width) + RECTS
        out += rows if version == 1 else even(rows)
    write(f'mono-byhand-v{version}', out + struct.pack(code, 0xFF) + b'trailing')

# The same with two bits a pixel, white and black in two places each.
table = [(255, 255, 255), (0, 0, 0), (0, 0, 0), (255, 255, 255)]
quarters = []
for y, row in enumerate(mono):
    row_bits = [row[x // 8] >> (7 - x % 8) & 1 for x in range(64)]
    values = [random.choice((1, 2) if bit else (0, 3)) for bit in row_bits]
    quarters.append(bytes(values[i] << 6 | values[i + 1] << 4 | values[i + 2] << 2 | values[i + 3]
                          for i in range(0, 64, 4)))
write('mono-byhand-2bits', start(2, height) + b'\0\x98' + pixmap(16, 0, height, width, 0, 2, table=table) + RECTS +
      rows_packed(quarters) + b'\0\xff')

# Sixteen colours; a row of 300 bytes, of which the picture takes 31, and no end.
width, height, data = read_pnm('sixteen.ppm')
pixels = [tuple(data[i:i + 3]) for i in range(0, len(data), 3)]
table = sorted(set(pixels))
lines = [[table.index(pixel) for pixel in pixels[y * width:(y + 1) * width]] + [0] for y in range(height)]
rows = [bytes(line[i] << 4 | line[i + 1] for i in range(0, 62, 2)) + bytes(269) for line in lines]
write('sixteen-byhand-wide', start(2, height) + b'\0\x98' + pixmap(300, 0, height, width, 0, 4, table=table) + RECTS +
      rows_packed(rows))

# 256 colours with 44 more than the palette takes, at 144 dots per inch, of which the frame tells half.
width, height, data = read_pnm('palette.ppm')
pixels = [tuple(data[i:i + 3]) for i in range(0, len(data), 3)]
table = (sorted(set(pixels)) + [(1, 2, 3)] * 256)[:300]
rows = [bytes(table.index(pixel) for pixel in pixels[y * width:(y + 1) * width]) for y in range(height)]
write('palette-byhand-144dpi', start(2, height // 2) + b'\0\x98' +
      pixmap(width, 0, height, width, 0, 8, dpi=144, table=table) + RECTS + even(rows_packed(rows)) + b'\0\xff')

# Direct pixels: words of 15 bits, and planes in bands of one row or more, the first with a wrong frame.
width, height, data = read_pnm('colour.ppm')
pixels = [tuple(data[i:i + 3]) for i in range(0, len(data), 3)]
lines = [pixels[y * width:(y + 1) * width] for y in range(height)]
rows = [b''.join(struct.pack('>H', (x & 1) << 15 | r >> 3 << 10 | g >> 3 << 5 | b >> 3)
                 for x, (r, g, b) in enumerate(line)) for line in lines]
write('colour15-byhand-words', start(2, height) + b'\0\x9a' + bytes(4) + pixmap(width * 2, 0, height, width, 3, 16) +
      RECTS + even(rows_packed(rows, 2)) + b'\0\xff')
rows = [bytes(pixel[c] for c in range(3) for pixel in line) for line in lines]
out = start(2, height)
for top, bottom in ((0, 1), (1, 2), (2, 20), (20, 43), (43, 50)):  # the last has no place in the picture
    part = (rows + rows[:7])[top:bottom]
    out += b'\0\x9a' + bytes(4) + pixmap(width * 4, top, bottom, width, 4, 32) + RECTS + even(rows_packed(part))
write('colour-byhand-bands', out + b'\0\xff')
