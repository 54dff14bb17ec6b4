#!/usr/bin/env python3
"""Prints the digest of what each operation makes of each picture, worked out here with tables of its own.

digests_test.cpp builds the same pictures and compares: operation_digests.py > ../data/ops/digests.txt
A line tells operation, picture (kind, width, height, depth), the operation's result, and the digest: the 64-bit
FNV-1a of width, height, depth and bytes of the rows (32 bits each, little-endian), the palette (blue, green, red,
0 an entry), and the rows from the bottom up in whole bytes, with zeros behind the last pixel.
"""

BAYER = (
    (4, 128, 32, 160, 8, 136, 40, 168),
    (192, 64, 224, 96, 200, 72, 232, 104),
    (48, 176, 16, 144, 56, 184, 24, 152),
    (240, 112, 208, 80, 248, 120, 216, 88),
    (12, 140, 44, 172, 4, 132, 36, 164),
    (204, 76, 236, 108, 196, 68, 228, 100),
    (60, 188, 28, 156, 52, 180, 20, 148),
    (252, 124, 220, 92, 244, 116, 212, 84),
)
HALFTONE = (
    (136, 192, 160, 128, 116, 60, 92, 124),
    (168, 232, 224, 212, 84, 20, 28, 40),
    (200, 248, 244, 180, 52, 4, 8, 72),
    (152, 184, 216, 148, 100, 68, 36, 104),
    (112, 56, 88, 120, 140, 196, 164, 132),
    (80, 16, 24, 44, 172, 236, 228, 208),
    (48, 0, 12, 76, 204, 252, 240, 176),
    (96, 64, 32, 108, 156, 188, 220, 144),
)

# Palettes are lists of (blue, green, red).
BLACK_WHITE = [(0, 0, 0), (255, 255, 255)]
GRAYS = [(i, i, i) for i in range(256)]
SIXTEEN = [
    (0, 0, 0), (0, 0, 128), (0, 128, 0), (0, 128, 128),
    (128, 0, 0), (128, 0, 128), (128, 128, 0), (128, 128, 128),
    (0, 0, 0), (0, 0, 255), (0, 255, 0), (0, 255, 255),
    (255, 0, 0), (255, 0, 255), (255, 255, 0), (255, 255, 255),
]
EIGHT_STEPS = (0, 36, 72, 109, 145, 182, 218, 255)
RED3_GREEN3_BLUE2 = [(b, g, r) for r in EIGHT_STEPS for g in EIGHT_STEPS for b in (0, 85, 170, 255)]


def limited(value, top=255):
    return max(0, min(top, value))


def wrapped(value):
    """The low 16 bits as a signed number."""
    return (value + 32768) % 65536 - 32768


class Image:
    """rows[y][x], the bottom row first: an index, or (blue, green, red) at 24 bits."""

    def __init__(self, bits, palette, rows):
        self.bits, self.palette, self.rows = bits, palette, rows
        self.width, self.height = len(rows[0]), len(rows)

    def colours(self):
        return self.rows if self.bits == 24 else [[self.palette[i] for i in row] for row in self.rows]

    def each(self, function):
        """function(x, y, colour) for every pixel, as rows."""
        return [[function(x, y, c) for x, c in enumerate(row)] for y, row in enumerate(self.colours())]

    def stride(self):
        return (self.width * self.bits + 31) // 32 * 4

    def digest(self, sized):
        """The header tells the bytes of the rows once an operation has set them, 0 before."""
        numbers = (self.width, self.height, self.bits, self.stride() * self.height if sized else 0)
        data = b"".join(n.to_bytes(4, "little") for n in numbers)
        data += b"".join(bytes((b, g, r, 0)) for b, g, r in self.palette)
        for row in self.rows:
            if self.bits == 24:
                data += b"".join(bytes(colour) for colour in row)
                continue
            bits = "".join(format(i, "0%db" % self.bits) for i in row)
            bits += "0" * (-len(bits) % 8)
            data += int(bits, 2).to_bytes(len(bits) // 8, "big")
        value = 0xCBF29CE484222325
        for byte in data:
            value = (value ^ byte) * 0x100000001B3 % 2**64
        return format(value, "016x")


def slope(k, y):
    """Slopes of three channels with a grain on them, cut at black and at white."""
    return limited((k * 3 + y * 5 + k % 3 * 40 + k * y % 13 * 2) % 510 - 150)


def square(k, y):
    """Squares of 8 by 8 pixels, one of each gray: each place of a matrix meets them all."""
    return (k // 8 + y // 8 * 16) & 255


def noise(k, y):
    return (k * 40503 + y * 30011 + k * y * 977) >> 5 & 255


def coloured(i, last):
    return (i * 80 + 5) & 255, i * 33 & 255, (255 - i * 9) & 255


def shaded(i, last):
    return (i * 255 // last,) * 3


# Byte k of row y, and the palette's entries.
KINDS = {
    "slopes": (slope, coloured),
    "shades": (slope, shaded),
    "squares": (square, shaded),
    "noise": (noise, coloured),
}
PICTURES = [("slopes", 61, 47, bits) for bits in (24, 8, 4, 1)]
PICTURES += [("squares", 131, 133, 8), ("shades", 61, 47, 4), ("slopes", 301, 90, 24)]
PICTURES += [("noise", width, width % 7 + 1, bits) for width, bits in (
    (1, 24), (1, 4), (2, 8), (3, 4), (3, 24), (7, 24), (18, 4), (31, 8), (130, 24), (130, 8), (18, 1))]


def picture(kind, width, height, bits):
    byte, shade = KINDS[kind]
    palette = [shade(i, 2**bits - 1) for i in range(2**bits)] if bits < 24 else []

    def row(y):
        data = [byte(k, y) for k in range((width * bits + 7) // 8)]
        if bits == 24:
            return list(zip(data[::3], data[1::3], data[2::3]))
        text = "".join(format(value, "08b") for value in data)
        return [int(text[x * bits : (x + 1) * bits], 2) for x in range(width)]

    return Image(bits, palette, [row(y) for y in range(height)])


def luma100(colour):
    return (11 * colour[0] + 59 * colour[1] + 30 * colour[2]) // 100


def luma128(colour):
    return (14 * colour[0] + 75 * colour[1] + 38 * colour[2]) // 128


def gray(image):
    return Image(8, GRAYS, image.each(lambda x, y, c: luma128(c)))


def ordered(matrix):
    return lambda image: Image(
        1, BLACK_WHITE, image.each(lambda x, y, c: int(luma100(c) > matrix[x % 8][y % 8]))
    )


def bayer_color(image):
    def index(x, y, colour):
        threshold = BAYER[x % 8][y % 8]
        luma = luma128(colour) if image.bits == 4 else max(luma128(colour) - 40, 0)
        above = [channel > threshold for channel in colour]
        return 4 * above[0] + 2 * above[1] + above[2] + 8 * (luma > threshold + 40)

    return Image(4, SIXTEEN, image.each(index))


def part(factor, divisor):
    """Of an error, cut towards 0."""
    return lambda error: (1 if error >= 0 else -1) * (abs(error) * factor // divisor)


def shifted(bits):
    return lambda error: error >> bits


# (Columns on, rows up, share of the error.)
A, B, C, D = part(8, 42), part(4, 42), part(1, 21), part(1, 42)
MONO_SHARES = [(1, 0, A), (2, 0, B)]
MONO_SHARES += zip(range(-2, 3), [1] * 5, (C, B, A, B, C))
MONO_SHARES += zip(range(-2, 3), [2] * 5, (D, C, B, C, D))
COLOUR_SHARES = [(1, 0, shifted(2)), (2, 0, shifted(3))]
COLOUR_SHARES += zip(range(-2, 3), [1] * 5, map(shifted, (4, 3, 2, 3, 4)))


def diffusion(bits, palette, alternate, shares, values, choose):
    """values(colour) gives the channels of a pixel that take errors, choose(*channels) its index."""

    def apply(image):
        rows = [[0] * image.width for _ in image.rows]
        words = image.each(lambda x, y, c: list(values(c)))
        for y in range(image.height):
            step = -1 if alternate and y % 2 else 1
            for x in range(image.width)[::step]:
                rows[y][x] = index = choose(*words[y][x])
                for channel, value in enumerate(words[y][x]):
                    error = value - palette[index][channel]
                    for dx, dy, share in shares:
                        column = x + dx * step
                        if 0 <= column < image.width and y + dy < image.height:
                            target = words[y + dy][column]
                            target[channel] = wrapped(target[channel] + share(error))
        return Image(bits, palette, rows)

    return apply


def choose_16(blue, green, red):
    bright = max(blue, green, red) > 220
    return 8 * bright + 4 * (blue > 180) + 2 * (green > 180) + (red > 180)


def choose_332(blue, green, red):
    return limited(red) // 32 * 32 + limited(green) // 32 * 4 + limited(blue) // 64


def popularity(image):
    keys = [[tuple(channel >> 4 for channel in reversed(colour)) for colour in row] for row in image.rows]
    count = {(r, g, b): 0 for r in range(16) for g in range(16) for b in range(16)}
    for row in keys:
        for key in row:
            count[key] = (count[key] + 1) % 65536
    chosen = [(0, 0, 0)]
    while len(chosen) < 256:
        chosen.append(max(count, key=lambda key: (count[key], key)))
        count[chosen[-1]] = 0

    def nearest(key):
        return min(range(256), key=lambda i: (sum((p - q) ** 2 for p, q in zip(chosen[i], key)), i))

    known = {key: nearest(key) for row in keys for key in row}
    palette = [(b * 16, g * 16, r * 16) for r, g, b in chosen]
    return Image(8, palette, [[known[key] for key in row] for row in keys])


def same_form(image, rows):
    return Image(image.bits, image.palette, rows)


def flipx(image):
    return same_form(image, [row[::-1] for row in image.rows])


def flipy(image):
    return same_form(image, image.rows[::-1])


def transpose(image):
    """Mirrors on the diagonal from the bottom left."""
    return same_form(image, [list(column) for column in zip(*image.rows)])


def turn90(image):
    """Clockwise: the left column becomes the top row, its bottom pixel the left one."""
    columns = [list(column) for column in zip(*image.rows)]
    return same_form(image, columns[::-1])


def turn270(image):
    """The other way: the right column becomes the top row, its top pixel the left one."""
    columns = [list(column)[::-1] for column in zip(*image.rows)]
    return same_form(image, columns)


def resize(width, height):
    def apply(image):
        step_x, step_y = image.width * 256 // width, image.height * 256 // height
        if image.bits == 4:
            places = [i * (step_x // 2) // 128 for i in range(width)]
        else:
            places = [i * step_x // 256 for i in range(width)]
        lines = [image.rows[i * step_y // 256] for i in range(height)]
        return same_form(image, [[line[place] for place in places] for line in lines])

    return apply


def lut(contrast, brightness):
    def tone(colour):
        return tuple(
            limited(v * (2 * contrast + 256) // 256 - contrast + 2 * brightness) for v in colour
        )

    def apply(image):
        if image.bits == 24:
            return same_form(image, [[tone(colour) for colour in row] for row in image.rows])
        return Image(image.bits, [tone(colour) for colour in image.palette], image.rows)

    return apply


def invert(image):
    if image.bits == 24:
        return same_form(image, [[tuple(255 - v for v in colour) for colour in row] for row in image.rows])
    top = 2**image.bits - 1
    return same_form(image, [[top - i for i in row] for row in image.rows])


def sharpen(strength):
    """Filters bands of rows, with the zeros behind them, where they lie; the rows next to a band as they were."""

    def apply(image):
        if image.bits == 1:
            return image
        magnitude = abs(strength)
        weight = (144 - magnitude) // 16 if image.bits == 4 else (136 - magnitude) // 8
        apart, top = (3 if image.bits == 24 else 1), (15 if image.bits == 4 else 255)
        rows = [[v for c in row for v in c] if image.bits == 24 else list(row) for row in image.rows]
        used = len(rows[0])
        rows = [row + [0] * (image.stride() * (2 if image.bits == 4 else 1) - used) for row in rows]
        result = []
        size = 32768 // image.stride() - 2
        for start in range(0, image.height, size):
            end = min(start + size, image.height)
            band = [list(rows[limited(y, image.height - 1)]) for y in range(start - 1, end + 1)]
            for y in range(1, len(band) - 1):
                for x in range(apart, len(rows[0]) - apart):
                    total = sum(band[y + dy][x + dx] for dy in (-1, 0, 1) for dx in (-apart, 0, apart))
                    band[y][x] = (total + (weight - 1) * band[y][x]) // (8 + weight)
            result += band[1:-1]
        if strength > 0:
            result = [[limited(2 * v - f, top) for v, f in zip(*pair)] for pair in zip(rows, result)]
        result = [row[:used] for row in result]
        if image.bits == 24:
            result = [list(zip(row[::3], row[1::3], row[2::3])) for row in result]
        return same_form(image, result)

    return apply


def always(image):
    return True


def indexed_or_true(image):
    return image.bits > 1


def true_colour(image):
    return image.bits == 24


def no_colours(image):
    return image.bits == 24 or all(b == g == r for b, g, r in image.palette) or image.bits == 1


# Name, rule, the pictures taken (others are refused and stay), and whether the header then tells the rows' bytes.
OPERATIONS = (
    ("gray", gray, indexed_or_true, True),
    ("bayer_mono", ordered(BAYER), indexed_or_true, True),
    ("halftone_mono", ordered(HALFTONE), indexed_or_true, True),
    ("diffusion_mono", diffusion(1, BLACK_WHITE, True, MONO_SHARES, lambda c: [luma100(c)],
                                 lambda value: int(value >= 128)), indexed_or_true, True),
    ("bayer_color", bayer_color, indexed_or_true, True),
    ("diffusion_color", diffusion(4, SIXTEEN, False, COLOUR_SHARES, list, choose_16), indexed_or_true, True),
    ("mediancut", diffusion(8, RED3_GREEN3_BLUE2, True, COLOUR_SHARES, list, choose_332), indexed_or_true, True),
    ("popularity", popularity, true_colour, True),
    ("flipx", flipx, always, False),
    ("flipy", flipy, always, False),
    ("turn90", turn90, always, True),
    ("turn180", lambda image: flipy(flipx(image)), always, False),
    ("turn270", turn270, always, True),
    ("transpose", transpose, always, True),
    ("shrink", resize(23, 30), always, True),
    ("enlarge", resize(150, 101), always, True),
    ("lut", lut(40, -15), indexed_or_true, False),
    ("invert", invert, always, False),
    ("sharpen", sharpen(64), no_colours, False),
    ("blur", sharpen(-48), no_colours, False),
)

if __name__ == "__main__":
    for source in PICTURES:
        image = picture(*source)
        for name, operation, takes, sized in OPERATIONS:
            if takes(image):
                print(name, *source, 0, operation(image).digest(sized))
            else:
                print(name, *source, -6, image.digest(False))
