"""A slow, plain decoder and encoder of the files of this system, bit by bit and product by product.

jpeg_model.py random FIRST LAST FOLDER    files of random tables, sampling and codes, by number: N.jpg, and
                                          what they decode to, N.pnm
jpeg_model.py encode STEP FILE.bmp...     the files that the encoder must write of pictures of 8 and 24 bits,
                                          FILE.jpg; a step of -1 stands for the first tables
"""
import math
import random
import struct
import sys

ZIGZAG = [0, 1, 8, 16, 9, 2, 3, 10, 17, 24, 32, 25, 18, 11, 4, 5, 12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6, 7,
          14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46,
          53, 60, 61, 54, 47, 55, 62, 63]


def basis(x, u):
    c = 1 / (2 * math.sqrt(2)) if u == 0 else 0.5
    value = c * math.cos((2 * x + 1) * u * math.pi / 16) * 32768
    return int(math.copysign(math.floor(abs(value) + 0.5), value))


T = [[basis(x, u) for u in range(8)] for x in range(8)]


def i16(value):
    return (value + 0x8000 & 0xFFFF) - 0x8000


def i32(value):
    return (value + 0x80000000 & 0xFFFFFFFF) - 0x80000000


def limit(value, low, high):
    return max(low, min(high, value))


def inverse(block):
    middle = [[i16(i32(sum(block[r * 8 + u] * T[x][u] for u in range(8)) + 16384) >> 15) for x in range(8)]
              for r in range(8)]
    return [[limit(i32(sum(middle[v][x] * T[y][v] for v in range(8)) + 16384) >> 15, -127, 127) for x in range(8)]
            for y in range(8)]


def forward(block):
    middle = [[(sum(block[r][x] * T[x][u] for x in range(8)) + 16384) >> 15 for u in range(8)] for r in range(8)]
    return [(sum(middle[r][u] * T[r][v] for r in range(8)) + 16384) >> 15 for v in range(8) for u in range(8)]


class Bits:
    def __init__(self, data):
        self.bits = []
        at = 0
        while at < len(data):
            byte = data[at]
            self.bits += [byte >> (7 - i) & 1 for i in range(8)]
            at += 2 if byte == 0xFF and data[at + 1:at + 2] == b"\0" else 1
        self.at = 0

    def take(self, n):
        value = 0
        for _ in range(n):
            value = value << 1 | (self.bits[self.at] if self.at < len(self.bits) else 0)
            self.at += 1
        return value


def symbol(bits, table):
    """Run and value, or None for a code that the table does not hold."""
    counts, symbols = table
    offset = passed = last = 0
    for length in range(1, 17):
        c = counts[length - 1]
        if c == 0:
            continue
        offset = offset << (length - last) | bits.take(length - last)
        if offset < c:
            break
        offset -= c
        last = length
        passed += c
    else:
        return None
    run, size = symbols[passed + offset] >> 4, symbols[passed + offset] & 15
    if size == 0:
        return run, 0
    b = bits.take(size)
    return run, b if b >> (size - 1) else b + 1 - (1 << size)


def read_block(bits, component):
    block = [0] * 64
    got = symbol(bits, component["dc"])
    component["prediction"] = i16(component["prediction"] + (got[1] if got else 0))
    block[0] = i16(component["prediction"] * component["quant"][0])
    k = 1
    while got and k < 64:
        got = symbol(bits, component["ac"])
        if got is None or got == (0, 0):
            break
        k = min(k + got[0], 63)
        block[ZIGZAG[k]] = i16(got[1] * component["quant"][k])
        k += 1
    return block


def headers(data):
    quant, huffman, interval, at = {}, {}, 0, 2
    while True:
        marker, length = data[at + 1], struct.unpack(">H", data[at + 2:at + 4])[0]
        body = data[at + 4:at + 2 + length]
        at += 2 + length
        if marker == 0xDB:
            while body:
                wide = body[0] >> 4
                entries = struct.unpack(">64h" if wide else ">64B", body[1:1 + 64 * (wide + 1)])
                quant[body[0] & 15] = entries
                body = body[1 + 64 * (wide + 1):]
        elif marker == 0xC4:
            while body:
                count = sum(body[1:17])
                huffman[body[0]] = (body[1:17], body[17:17 + count])
                body = body[17 + count:]
        elif marker == 0xDD:
            interval = struct.unpack(">H", body)[0]
        elif marker == 0xC0:
            assert length == 18
            frame = body
        elif marker == 0xDA:
            return quant, huffman, interval, frame, body + bytes(10), data[at:]


def decode(data):
    quant, huffman, interval, frame, scan, coded = headers(data)
    height, width, components = struct.unpack(">HHB", frame[2:7])
    components = 3 if components == 3 else 1
    parts = []
    for i in range(min(components, scan[0])):
        factors, table, tables = frame[8 + 3 * i], frame[9 + 3 * i], scan[2 + 2 * i]
        parts.append({"h": factors >> 4, "v": factors & 15, "quant": quant[min(table, 1)], "prediction": 0,
                      "dc": huffman[min(tables >> 4, 1)], "ac": huffman[16 + min(tables & 15, 1)]})
    h1, v1 = parts[0]["h"], parts[0]["v"]
    padded = (width + 8 * h1 - 1) // (8 * h1) * 8 * h1
    planes = [[[0] * padded for _ in range(8 * v1)] for _ in range(components)]
    bits, done, rows = Bits(coded), 0, []
    while len(rows) < height:
        for left in range(0, padded, 8 * h1):
            for plane, part in zip(planes, parts):
                for v in range(part["v"]):
                    for h in range(part["h"]):
                        samples = inverse(read_block(bits, part))
                        for y in range(8):
                            plane[v * 8 + y][left + h * 8:left + h * 8 + 8] = samples[y]
            done += 1
            if interval and done == interval:
                word = bits.take(16)
                while word >> 4 != 0xFFD and bits.at < len(bits.bits):
                    word = word << 1 & 0xFFFF | bits.take(1)
                done = 0
                for part in parts:
                    part["prediction"] = 0
        for r in range(min(8 * v1, height - len(rows))):
            lines = [planes[0][r]]
            for plane, part in zip(planes[1:], parts[1:] + [{"v": 1}] * (3 - len(parts))):
                line = plane[r * part["v"] // v1]
                if h1 in (2, 4):
                    line = [line[x // (8 * h1) * 8 * h1 + x % (8 * h1) // h1] for x in range(padded)]
                lines.append(line)
            rows.append(pixels(lines, width))
    return width, height, components, rows


def pixels(lines, width):
    if len(lines) == 1:
        return bytes(s + 128 for s in lines[0][:width])
    row = bytearray()
    for x in range(width):
        y, u, v = lines[0][x] + 128, lines[1][x], lines[2][x]
        row += bytes(limit(c, 0, 255) for c in
                     (y + (1113 * v >> 10), y - (386 * u >> 10) - (567 * v >> 10), y + (1984 * u >> 10)))
    return bytes(row)


# ---- encoder

def annex_k():
    """The four tables of T.81, Annex K, as counts and symbols."""
    dc = bytes(range(12))

    def ac(text):
        return bytes.fromhex(text.replace(" ", ""))

    def tail(start):
        out = []
        for high, first in start:
            out += [high << 4 | low for low in range(first, 11)]
        return bytes(out)

    luma = ac("01 02 03 00 04 11 05 12 21 31 41 06 13 51 61 07 22 71 14 32 81 91 A1 08 23 42 B1 C1 15 52 D1 F0 24 33 "
              "62 72 82") + bytes([9, 10, 0x16, 0x17, 0x18, 0x19, 0x1A]) + tail(
                  [(2, 5), (3, 4), (4, 3), (5, 3), (6, 3), (7, 3), (8, 3), (9, 2), (10, 2), (11, 2), (12, 2), (13, 2),
                   (14, 1), (15, 1)])
    chroma = ac("00 01 02 03 11 04 05 21 31 06 12 41 51 07 61 71 13 22 32 81 08 14 42 91 A1 B1 C1 09 23 33 52 F0 15 "
                "62 72 D1 0A 16 24 34 E1 25 F1 17 18 19 1A") + tail(
                    [(2, 6), (3, 5), (4, 3), (5, 3), (6, 3), (7, 3), (8, 2), (9, 2), (10, 2), (11, 2), (12, 2),
                     (13, 2), (14, 2), (15, 2)])
    return {0: (bytes([0, 1, 5] + [1] * 6 + [0] * 7), dc), 1: (bytes([0, 3] + [1] * 9 + [0] * 5), dc),
            16: (bytes([0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125]), luma),
            17: (bytes([0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 119]), chroma)}


def codes(table):
    out, code, at = {}, 0, 0
    for length in range(1, 17):
        for _ in range(table[0][length - 1]):
            out[table[1][at]] = format(code, "0%db" % length)
            code, at = code + 1, at + 1
        code <<= 1
    return out


K1 = [16, 11, 10, 16, 24, 40, 51, 61, 12, 12, 14, 19, 26, 58, 60, 55, 14, 13, 16, 24, 40, 57, 69, 56, 14, 17, 22, 29,
      51, 87, 80, 62, 18, 22, 37, 56, 68, 109, 103, 77, 24, 35, 55, 64, 81, 104, 113, 92, 49, 64, 78, 87, 103, 121,
      120, 101, 72, 92, 95, 98, 112, 100, 103, 99]
K2 = [17, 18, 24, 46, 66, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56] + [99] * 5 + [47, 66] + [99] * 38


def quant_tables(step):
    if step < 0:
        return K1, K2
    q = min(step, 100)
    q2 = min(2 * q, 100)
    return [[min((i + j + 1) * s + 1, 255) for i in range(8) for j in range(8)] for s in (q, q2)]


def encode_block(part, block, out):
    coefficients = [int(c / q) for c, q in zip(forward(block), part["quant"])]

    def value(run, v, table):
        size = abs(v).bit_length()
        out.append(table[run << 4 | size])
        if size:
            out.append(format((v if v > 0 else v - 1) & (1 << size) - 1, "0%db" % size))

    value(0, coefficients[0] - part["prediction"], part["dc"])
    part["prediction"] = coefficients[0]
    last = max([k for k in range(1, 64) if coefficients[ZIGZAG[k]]], default=0)
    run = 0
    for k in range(1, last + 1):
        c = coefficients[ZIGZAG[k]]
        if c == 0 and run != 15:
            run += 1
        else:
            value(run, c, part["ac"])
            run = 0
    if last < 63:
        value(0, 0, part["ac"])


def segment(marker, body):
    return bytes([0xFF, marker]) + struct.pack(">H", len(body) + 2) + body


def encode(width, height, palette, rows, step):
    """`rows` top first with their padding; no palette at 24 bits."""
    quant, tables = quant_tables(step), annex_k()
    colour = any(len(set(entry)) > 1 for entry in palette) if palette else True
    out = b"\xFF\xD8" + segment(0xE0, b"JFIF\0" + struct.pack(">HBHHH", 0x0100, 1, 96, 96, 0))
    out += segment(0xDB, b"".join(bytes([i] + [quant[i][z] for z in ZIGZAG]) for i in (0, 1)))
    out += segment(0xC0, struct.pack(">BBHHB", 8, 0, height, width, 3 if colour else 1) +
                   bytes([1, 0x21 if colour else 0x11, 0, 2, 0x11, 1, 3, 0x11, 1]))
    for name in (0, 16, 1, 17) if colour else (0, 16):
        out += segment(0xC4, bytes([name]) + tables[name][0] + tables[name][1])
    out += segment(0xDA, bytes([3 if colour else 1, 1, 0, 2, 0x11, 3, 0x11, 0, 63, 0]))

    mcu = 16 if colour else 8
    padded = (width + mcu - 1) // mcu * mcu
    stride = (width * (24 if colour else 8) + 31) // 32 * 4
    strip = bytearray(padded * 24 + 100)
    parts = [{"prediction": 0, "quant": quant[i > 0], "dc": codes(tables[i > 0]), "ac": codes(tables[16 + (i > 0)])}
             for i in range(3)]
    bits = []
    for top in range(0, height, 8):
        for i, row in enumerate(rows[top:top + 8]):
            if not (palette and colour):
                strip[i * stride:(i + 1) * stride] = row
                continue
            strip[i * stride + 2 * width:i * stride + 2 * width + len(row)] = row
            for x in range(width):
                strip[i * stride + 3 * x:i * stride + 3 * x + 3] = palette[strip[i * stride + 2 * width + x]]
        planes = split(strip, stride, padded, colour)
        for left in range(0, padded, mcu):
            for part, plane, count in zip(parts, planes, (2, 1, 1) if colour else (1,)):
                for h in range(count):
                    encode_block(part, [plane[y][left + 8 * h:left + 8 * h + 8] for y in range(8)], bits)
    bits = "".join(bits)
    bits += "0" * (-len(bits) % 16)
    for at in range(0, len(bits), 8):
        byte = int(bits[at:at + 8], 2)
        out += b"\xFF\0" if byte == 0xFF else bytes([byte])
    return out + b"\xFF\xD9"


def split(strip, stride, padded, colour):
    planes = [[], [], []]
    for i in range(8):
        if not colour:
            planes[0].append([max(strip[i * stride + x] - 128, -127) for x in range(padded)])
            continue
        samples = [[], [], []]
        for x in range(padded):
            b, g, r = strip[i * stride + 3 * x:i * stride + 3 * x + 3]
            for line, s in zip(samples, ((299 * r >> 10) + (587 * g >> 10) + (114 * b >> 10) - 128,
                                         (-148 * r >> 10) + (-289 * g >> 10) + (437 * b >> 10),
                                         (615 * r >> 10) + (-515 * g >> 10) + (-100 * b >> 10))):
                line.append(limit(s, -127, 127))
        planes[0].append(samples[0])
        for plane, line in zip(planes[1:], samples[1:]):
            plane.append([line[x // 16 * 16 + x % 16 * 2 % 16] for x in range(padded)])
    return planes


# ---- random files

def random_table(rng, symbols):
    """Any code, full or not, of the symbols in any order."""
    symbols = rng.sample(symbols, rng.randint(2, min(len(symbols), 200)))
    counts, room, left = [0] * 16, 1, len(symbols)
    for length in range(16):
        room *= 2
        most = min(left, room if length == 15 else room - 1, 255)
        counts[length] = most if length == 15 else min(most, rng.choice([0, 0, 1, 2, most // 3, most // 2]))
        room -= counts[length]
        left -= counts[length]
    return bytes(counts), bytes(symbols[:sum(counts)])


def random_file(seed):
    rng = random.Random(seed)
    h1, v1 = rng.choice([(1, 1), (2, 1), (2, 1), (1, 2), (2, 2), (4, 1), (3, 1), (3, 2), (4, 4)])
    factors = [h1 << 4 | v1] + [rng.randint(1, h1) << 4 | rng.randint(1, v1) for _ in range(2)]
    out = b"\xFF\xD8"
    for number in (0, 1):
        if rng.random() < 0.5:
            out += segment(0xDB, bytes([number]) + bytes(rng.choice([1, 2, 16, 255]) for _ in range(64)))
        else:
            out += segment(0xDB, bytes([16 + number]) + struct.pack(">64H", *(rng.choice([1, 99, 4000, 65535])
                                                                             for _ in range(64))))
    for name in (0, 1, 16, 17):
        counts, symbols = random_table(rng, list(range(16)) if name < 16 else list(range(256)))
        out += segment(0xC4, bytes([name]) + counts + symbols)
    interval = rng.choice([0, 0, 1, 3])
    out += segment(0xDD, struct.pack(">H", interval))
    components = rng.choice([1, 3, 3, 3])
    out += segment(0xC0, struct.pack(">BBHHB", 8, 255, rng.randint(1, 40), rng.randint(1, 70), components) +
                   bytes([1, factors[0], rng.randint(0, 1), 2, factors[1], rng.randint(0, 2), 3, factors[2], 1]))
    out += segment(0xDA, bytes([rng.choice([components, components, 1]), 1, rng.choice([0, 1, 0x11]), 2,
                                rng.choice([0x11, 0x32]), 3, 0x11, 0, 63, 0]))
    for _ in range(rng.randint(0, 3000)):
        out += bytes([rng.choice([rng.randrange(256), rng.randrange(256), 0, 0xFF])])
        if interval and rng.random() < 0.02:
            out += bytes([0xFF, 0xD0 | rng.randrange(16)])
    return out


def read_bmp(path):
    data = open(path, "rb").read()
    start, width, height, bits = struct.unpack("<10xI4xii2xH", data[:30])
    palette = [tuple(data[at:at + 3]) for at in range(54, start, 4)]
    stride = (width * bits + 31) // 32 * 4
    rows = [data[start + i * stride:start + (i + 1) * stride] for i in range(height)]
    return width, height, palette, rows[::-1]


def main(command, *arguments):
    if command == "encode":
        for path in arguments[1:]:
            open(path[:-3] + "jpg", "wb").write(encode(*read_bmp(path), int(arguments[0])))
        return
    for number in range(int(arguments[0]), int(arguments[1]) + 1):
        name = "%s/%d" % (arguments[2], number)
        data = random_file(number)
        width, height, components, rows = decode(data)
        open(name + ".jpg", "wb").write(data)
        open(name + ".pnm", "wb").write(b"P%d\n%d %d\n255\n" % (6 if components == 3 else 5, width, height) +
                                        b"".join(rows))


if __name__ == "__main__":
    main(*sys.argv[1:])
