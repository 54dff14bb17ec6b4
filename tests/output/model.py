"""model.py LIBRARY [CASES [SEED]]: draws random pictures on random devices and works everything out once more, pixel
by pixel and as slowly as it gets: each StretchDIBits that must reach the device's callback, and the surface that is
left. Both must agree to the bit."""
import ctypes as c
import math
import random
import struct
import sys

Traits = type("Traits", (c.Structure,), {"_fields_": [(n, c.c_int32) for n in (
    "width", "height", "bits", "colours", "dpi", "scales", "shift_x", "shift_y")] + [("technology", c.c_char_p)]})
Mapping = c.c_int32 * 9
Stretch = type("Stretch", (c.Structure,), {"_fields_": [(n, c.c_int32) for n in (
    "x", "y", "w", "h", "sx", "sy", "sw", "sh")] + [("bits", c.c_void_p), ("header", c.c_void_p),
                                                    ("usage", c.c_uint32), ("rop", c.c_uint32)]})
Callback = c.CFUNCTYPE(None, c.c_int32, c.POINTER(Stretch), c.c_void_p)
SRCCOPY = 0x00CC0020


# ---- pixels: a picture is a list of rows, bottom row first, of indexes or (blue, green, red)

def stride_of(width, bits):
    return (width * bits + 31) // 32 * 4


def unpack(data, width, height, bits):
    def pixel(row, x):
        if bits == 24:
            return tuple(row[3 * x:3 * x + 3])
        return row[x * bits // 8] >> (8 - bits - x * bits % 8) & (1 << bits) - 1
    stride = stride_of(width, bits)
    return [[pixel(data[y * stride:], x) for x in range(width)] for y in range(height)]


def pack(rows, bits):
    out = bytearray()
    for row in rows:
        line = bytearray(stride_of(len(row), bits))
        for x, value in enumerate(row):
            if bits == 24:
                line[3 * x:3 * x + 3] = bytes(value)
            else:
                line[x * bits // 8] |= value << 8 - bits - x * bits % 8
        out += line
    return bytes(out)


def luma(bgr):
    return (30 * bgr[2] + 59 * bgr[1] + 11 * bgr[0]) // 100


def trunc(a, b):
    return abs(a) // b * (1 if a >= 0 else -1)


CUBE = [((i & 3) * 255 // 3, (i >> 2 & 7) * 255 // 7, (i >> 5) * 255 // 7) for i in range(256)]


def sixteen(half):
    return [tuple((half if i < 8 else 255) * (i >> bit & 1) for bit in (2, 1, 0)) for i in range(16)]


BAYER = [4, 128, 32, 160, 8, 136, 40, 168, 192, 64, 224, 96, 200, 72, 232, 104,
         48, 176, 16, 144, 56, 184, 24, 152, 240, 112, 208, 80, 248, 120, 216, 88,
         12, 140, 44, 172, 4, 132, 36, 164, 204, 76, 236, 108, 196, 68, 228, 100,
         60, 188, 28, 156, 52, 180, 20, 148, 252, 124, 220, 92, 244, 116, 212, 84]


# ---- the band engine

class Engine:
    def __init__(self, picture, palette, bits, crop, device, dest, rop):
        self.picture, self.palette, self.bits, self.rop = picture, palette, bits, rop
        self.crop, self.device = crop, device
        self.calls, self.phase = [], 0
        sx, sy = (device.shift_x, device.shift_y) if device.scales else (0, 0)
        self.shift = sx, sy
        self.left, self.top = dest[:2]
        self.dest_w, self.dest_h = dest[2] * 2 ** sx, dest[3] * 2 ** sy
        self.width, self.height = abs(self.dest_w), abs(self.dest_h)
        postscript = (device.technology or b"").lower() == b"postscript"
        self.mono = device.colours % 65536 < 4 and bits >= 4 and not postscript
        if crop[2] >= 1 and crop[3] >= 1 and self.width and self.height:
            self.run()

    def source_row(self, y):
        height = len(self.picture)
        row = ((self.crop[3] << 8) // self.height * y >> 8) + height - self.crop[1] - self.crop[3]
        return self.picture[min(max(row, 0), height - 1)]

    def pixel(self, row, x):
        return row[x] if 0 <= x < len(row) else (0, 0, 0) if self.bits == 24 else 0

    def scaled_row(self, y):
        row, left = self.source_row(y), self.crop[0]
        if self.crop[2] == self.width:
            return [self.pixel(row, left + x) for x in range(self.width)]
        step = (self.crop[2] << 8) // self.width
        if self.bits == 4:  # from a whole byte on, with the step halved
            return [self.pixel(row, left // 2 * 2 + (x * (step >> 1) >> 7)) for x in range(self.width)]
        return [self.pixel(row, left + (x * step >> 8)) for x in range(self.width)]

    def gray(self, value):
        gray = luma(value if self.bits == 24 else self.palette[value])
        if self.device.dpi == 300 and self.shift[0] == 0:
            gray = min(int(math.pow(gray / 255.0, 0.33333333) * 220.0) + 24, 255)
        return gray

    def gray_row(self, y):
        row, step = self.source_row(y), (self.crop[2] << 8) // self.width
        left = self.crop[0] // 2 * 2 if self.bits == 4 else self.crop[0]
        return [self.gray(self.pixel(row, left + (x * step >> 8))) for x in range(self.width)]

    def fill_window(self, index, y):
        if y < self.height:
            self.window[index][2:-2] = self.gray_row(y)

    def diffused_row(self, y):
        if y == 0:
            self.window = [[0] * (self.width + 4) for _ in range(3)]
            for k in range(3):
                self.fill_window(k, k)
        w, out = self.window, [0] * self.width
        s = 1 if y % 2 == 0 else -1
        for x in range(self.width)[::s]:
            v, p = w[0][x + 2], x + 2
            out[x] = int(v >= 128)
            e = v - 255 if v >= 128 else v
            a8, a4, a2, a1 = trunc(e * 8, 42), trunc(e * 4, 42), trunc(e, 21), trunc(e, 42)
            shares = {0: (0, 0, 0, a8, a4), 1: (a2, a4, a8, a4, a2), 2: (a1, a2, a4, a2, a1)}
            for line, weights in shares.items():
                for k, share in zip(range(-2, 3), weights):
                    w[line][p + k * s] += share
        self.window = [w[1], w[2], list(w[2])]
        self.fill_window(2, y + 3)
        return out

    def run(self):
        bits = 1 if self.mono else self.bits
        palette_bytes = 0 if bits == 24 else 4 << bits
        per_band = min(max((36864 - 40 - palette_bytes) // stride_of(self.width, bits), 1), self.height)
        factor = {1: 2, 2: 4}.get(self.shift[0], 1) * (1 if self.dest_h > 0 else -1)
        position, start = self.top + self.height * factor, 0
        while start < self.height:
            count = min(per_band, self.height - start)
            position -= count * factor
            rows = [self.diffused_row(y) if self.mono else self.scaled_row(y) for y in range(start, start + count)]
            self.draw(rows, bits, position, count)
            start += count

    def draw(self, rows, bits, top, count):
        palette = [(0, 0, 0), (255, 255, 255)] if self.mono else self.palette
        used = 1 << bits
        w, h = self.dest_w * 2 ** self.shift[0], (count if self.dest_h > 0 else -count) * 2 ** self.shift[1]
        if bits == 24 and self.device.bits == 8:
            rows = [[b >> 6 | g >> 3 & 0x1C | r & 0xE0 for b, g, r in row] for row in rows]
            palette, bits, used = CUBE, 8, 256
        elif bits >= 8 and self.device.bits == 4:
            rows = [self.dithered(row) for row in rows]
            palette, bits, used = sixteen(200), 4, 0
            w, h = self.dest_w, count if self.dest_h > 0 else -count
        self.calls.append(((self.left, top, w, h, 0, 0, self.width, count, 0, self.rop),
                           (40, self.width, count, 1, bits, 0, stride_of(self.width, bits) * count, used),
                           palette[:1 << bits] if bits < 24 else [], rows))

    def dithered(self, row):
        out, matrix = [], BAYER[self.phase % 8 * 8:][:8]
        self.phase += 1
        for x, value in enumerate(row):
            b, g, r = value if self.bits == 24 else self.palette[value]
            gray = max((38 * r + 75 * g + 14 * b >> 7) - 40, 0)
            t = matrix[x % 8]
            out.append(8 * (gray >= t) + 4 * (b >= t) + 2 * (g >= t) + (r >= t))
        return out


# ---- the device

def to_pixel(value, window, window_extent, viewport, viewport_extent):
    return ((value - window) * viewport_extent * 2 + window_extent) // (2 * window_extent) + viewport


class Surface:
    def __init__(self, device, mapping, palette):
        white = {1: 1, 4: 15, 8: 255, 24: (255, 255, 255)}[device.bits]
        self.rows = [[white] * device.width for _ in range(device.height)]
        self.bits, self.mapping, self.palette, self.known = device.bits, mapping, palette, {}

    def device_point(self, x, y):
        m = self.mapping
        return to_pixel(x, m[1], m[3], m[5], m[7]), to_pixel(y, m[2], m[4], m[6], m[8])

    def matched(self, value, palette, picture_bits):
        colour = value if picture_bits == 24 else palette[value]
        if self.bits == 24:
            return colour
        if picture_bits < 24 and value < len(self.palette) and self.palette[value] == colour:
            return value
        if colour not in self.known:
            self.known[colour] = min(range(len(self.palette)), key=lambda i: sum(
                (a - b) ** 2 for a, b in zip(colour, self.palette[i])))
        return self.known[colour]

    def combined(self, rop, s, d):
        table, most = rop >> 16 & 255, 255 if self.bits == 24 else (1 << self.bits) - 1
        return sum(1 << bit for bit in range(8) if most >> bit & 1 and
                   table >> (4 + 2 * (s >> bit & 1) + (d >> bit & 1)) & 1)

    def stretch(self, call, palette, rows, picture_bits, pixels=False):
        x, y, w, h, sx, sy, sw, sh, _, rop = call
        (x0, y0), (x1, y1) = ((x, y), (x + w, y + h)) if pixels else (self.device_point(x, y),
                                                                      self.device_point(x + w, y + h))
        wide, high = abs(x1 - x0), abs(y1 - y0)
        for row in range(max(min(y0, y1), 0), min(max(y0, y1), len(self.rows))):
            k = row - y0 if y1 > y0 else y0 - 1 - row
            from_row = sy + sh - 1 - k * sh // high
            if not 0 <= from_row < len(rows):
                continue
            for column in range(max(min(x0, x1), 0), min(max(x0, x1), len(self.rows[0]))):
                k = column - x0 if x1 > x0 else x0 - 1 - column
                from_column = sx + k * sw // wide
                if not 0 <= from_column < len(rows[0]):
                    continue
                new = self.matched(rows[from_row][from_column], palette, picture_bits)
                if rop != SRCCOPY:
                    old = self.rows[row][column]
                    new = tuple(self.combined(rop, s, d) for s, d in zip(new, old)) if self.bits == 24 else \
                        self.combined(rop, new, old)
                self.rows[row][column] = new


# ---- the library

class Library:
    def __init__(self, path):
        self.lib = c.CDLL(path)
        for name in ("IMG_print_bitmap", "IMG_display_bitmap", "IMG_print_bitmap_fast", "IMG_create_handle"):
            getattr(self.lib, name).restype = c.c_int16
        self.lib.IMG_get_dib_intern.restype = c.POINTER(c.c_uint32)
        self.seen = []
        self.callback = Callback(self.see)

    def see(self, device, call, user):
        s = call.contents
        head = struct.unpack("<IiiHHIIiiII", c.string_at(s.header, 40))
        bits = head[4]
        colours = c.string_at(s.header + 40, 0 if bits == 24 else 4 << bits)
        palette = [tuple(colours[i:i + 3]) for i in range(0, len(colours), 4)]
        data = c.string_at(s.bits, stride_of(head[1], bits) * head[2])
        self.seen.append(((s.x, s.y, s.w, s.h, s.sx, s.sy, s.sw, s.sh, s.usage, s.rop),
                          head[:7] + (head[9],), palette, unpack(data, head[1], head[2], bits)))

    def draw(self, how, packed, crop, traits, mapping, dest, rop, realise):
        lib = self.lib
        handle, device = lib.IMG_create_handle(packed), lib.orv_device_create(c.byref(traits))
        assert handle >= 0 and device > 0
        lib.IMG_set_croprect(handle, *map(c.c_int16, crop))
        lib.IMG_get_dib_intern(handle)[11] = rop
        assert lib.orv_device_set_mapping(device, c.byref(Mapping(*mapping))) == 0
        lib.orv_device_set_callback(device, self.callback, None)
        if realise:
            lib.IMG_bitmap_palette(handle, device)
        table, before, after = c.create_string_buffer(1024), Mapping(), Mapping()
        realised = lib.orv_device_palette(device, table)
        lib.orv_device_get_mapping(device, before)
        self.seen = []
        result = getattr(lib, how)(handle, device, *map(c.c_int16, dest))
        lib.orv_device_get_mapping(device, after)
        pixels, stride = c.c_void_p(), c.c_int32()
        lib.orv_device_pixels(device, c.byref(pixels), c.byref(stride))
        rows = unpack(c.string_at(pixels, stride.value * traits.height), traits.width, traits.height, traits.bits)
        lib.orv_device_delete(device)
        lib.IMG_delete_bitmap(handle)
        assert list(before) == list(after), "the mapping is as before"
        colours = [tuple(table.raw[i:i + 3]) for i in range(0, 1024, 4)][:realised or 256][:1 << traits.bits]
        if traits.bits == 1:
            colours = [(0, 0, 0), (255, 255, 255)]
        return result, list(before), colours, rows, self.seen


# ---- random cases

def random_picture(r, width, height, bits):
    palette = [tuple(r.randrange(256) for _ in "bgr") for _ in range(1 << bits)] if bits < 24 else []
    if bits < 24 and r.random() < 0.3:
        palette = [(i * 255 // ((1 << bits) - 1),) * 3 for i in range(1 << bits)]
    def value(x, y):
        noise = r.randrange(60)
        if bits == 24:
            return (x * 255 // width, y * 195 // height + noise, (x + y) * 255 // (width + height))
        return (x * 200 // width + noise) * ((1 << bits) - 1) // 259
    rows = [[value(x, y) for x in range(width)] for y in range(height)]
    head = struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, 0, 0, 300, 300, 0, 0)
    return rows, palette, head + b"".join(bytes(p) + b"\0" for p in palette) + pack(rows, bits)


def random_mapping(r):
    mode = r.choice((1, 1, 2, 3, 4, 5, 6, 7, 8, 8))
    extents = [r.choice((1, 2, 3, 7, -3)) for _ in range(4)]
    return [mode, r.randrange(-9, 9), r.randrange(-9, 9), *extents[:2], r.randrange(-9, 30), r.randrange(-9, 30),
            *extents[2:]]


def one_case(library, r):
    bits, device_bits = r.choice((1, 4, 8, 24)), r.choice((1, 4, 8, 24))
    large = r.random() < 0.15
    width, height = (r.randrange(300, 700), r.randrange(80, 200)) if large else (r.randrange(1, 60), r.randrange(1, 60))
    picture, palette, packed = random_picture(r, width, height, bits)
    crop = (0, 0, width, height) if r.random() < 0.4 else (
        r.randrange(-9, width), r.randrange(-9, height), r.randrange(-1, width + 12), r.randrange(-1, height + 12))
    scales = r.random() < 0.25
    traits = Traits(r.randrange(1, 90), r.randrange(1, 90), device_bits,
                    {1: 2, 4: 16, 8: 256, 24: -1}[device_bits] if r.random() < 0.8 else 2, r.choice((96, 300, 600)),
                    scales, r.randrange(3), r.randrange(3), r.choice((None, None, b"Raster", b"postSCRIPT")))
    mapping = random_mapping(r) if r.random() < 0.5 else [1, 0, 0, 1, 1, 0, 0, 1, 1]
    side = lambda near: near if r.random() < 0.3 else r.randrange(-40, 150)
    dest = (r.randrange(-20, 60), r.randrange(-20, 60), side(crop[2]), side(crop[3]))
    if large and not scales:
        dest = dest[:2] + (r.choice((-1, 1)) * r.randrange(200, 900), r.choice((-1, 1)) * r.randrange(100, 300))
    rop = SRCCOPY if r.random() < 0.85 else r.choice((0x00330008, 0x008800C6, 0x00660046, 0x00EE0086, 0x00B8074A))
    how = r.choice(("IMG_print_bitmap", "IMG_display_bitmap", "IMG_display_bitmap", "IMG_print_bitmap_fast"))
    result, real_mapping, colours, rows, seen = library.draw(how, packed, crop, traits, mapping, dest, rop,
                                                           r.random() < 0.5)
    assert result == 0, (how, result)

    surface = Surface(traits, real_mapping, colours)
    in_pixels = how != "IMG_print_bitmap"
    if in_pixels:
        x0, y0 = surface.device_point(*dest[:2])
        x1, y1 = surface.device_point(dest[0] + dest[2], dest[1] + dest[3])
        dest = (x0, y0, x1 - x0, y1 - y0)
    if how == "IMG_print_bitmap_fast":
        calls = []
        if dest[2] and dest[3] and crop[2] > 0 and crop[3] > 0:
            sx, sy = (traits.shift_x, traits.shift_y) if scales else (0, 0)
            calls = [((*dest[:2], dest[2] << sx, dest[3] << sy, crop[0], height - crop[3] - crop[1], crop[2], crop[3],
                       0, rop), (40, width, height, 1, bits, 0, 0, 0), palette, picture)]
    else:
        calls = Engine(picture, palette, bits, crop, traits, dest, rop).calls
    for wanted, got in zip(calls, seen):
        for what, a, b in zip(("arguments", "header", "palette", "rows"), wanted, got):
            assert a == b, (how, what, a if what != "rows" else "", b if what != "rows" else "")
    assert len(calls) == len(seen), (how, len(calls), len(seen))
    for call, head, table, pixels in calls:
        surface.stretch(call, table, pixels, head[4], in_pixels)
    assert surface.rows == rows, (how, "surface")
    return len(calls)


def main():
    library = Library(sys.argv[1])
    cases = int(sys.argv[2]) if len(sys.argv) > 2 else 300
    first = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    calls = 0
    for seed in range(first, first + cases):
        try:
            calls += one_case(library, random.Random(seed))
        except AssertionError as error:
            sys.exit("case %d: %s" % (seed, error))
    assert library.lib.orv_live_objects() == 0
    print("%d cases, %d calls agree" % (cases, calls))
    if calls * 2 < cases:
        sys.exit("hardly anything was drawn")


main()
