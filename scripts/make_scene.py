#!/usr/bin/env python3
"""Makes the demo's photograph: a small traced scene with soft shades, shadows, mirrors and fine texture.

    scripts/make_scene.py tests/data/demo/photo.bmp [WIDTH HEIGHT]
"""
import math
import struct
import sys

LIGHT = (0.55, 0.75, -0.36)
BALLS = [  # centre, radius, colour, how much it mirrors
    ((-1.25, 1.0, 4.6), 1.0, (0.85, 0.16, 0.12), 0.18),
    ((0.95, 0.75, 3.7), 0.75, (0.95, 0.75, 0.20), 0.12),
    ((0.35, 1.25, 6.6), 1.25, (0.75, 0.80, 0.85), 0.65),
    ((-0.35, 0.4, 2.9), 0.4, (0.15, 0.35, 0.85), 0.20),
    ((2.55, 0.5, 5.2), 0.5, (0.20, 0.60, 0.25), 0.10),
]


def add(a, b, k=1.0):
    return (a[0] + k * b[0], a[1] + k * b[1], a[2] + k * b[2])


def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def unit(a):
    return add((0, 0, 0), a, 1 / math.sqrt(dot(a, a)))


def noise(x, y):
    """Smooth noise of 0 to 1, the same on every machine."""
    def corner(i, j):
        n = (i * 374761393 + j * 668265263) & 0xFFFFFFFF
        n = ((n ^ n >> 13) * 1274126177) & 0xFFFFFFFF
        return (n ^ n >> 16 & 0xFFFF) / 0xFFFFFFFF
    i, j = math.floor(x), math.floor(y)
    u, v = (t * t * (3 - 2 * t) for t in (x - i, y - j))
    low = corner(i, j) * (1 - u) + corner(i + 1, j) * u
    high = corner(i, j + 1) * (1 - u) + corner(i + 1, j + 1) * u
    return low * (1 - v) + high * v


def cloud(x, y):
    return sum(noise(x * 2 ** k, y * 2 ** k) / 2 ** (k + 1) for k in range(5))


def hit_ball(eye, ray):
    nearest, found = math.inf, None
    for ball in BALLS:
        to = add(ball[0], eye, -1)
        along = dot(to, ray)
        reach = ball[1] ** 2 - dot(to, to) + along * along
        if reach > 0 and 1e-4 < along - math.sqrt(reach) < nearest:
            nearest, found = along - math.sqrt(reach), ball
    return nearest, found


def sky(ray):
    up = max(ray[1], 0.02)
    white = max(0.0, cloud(1.3 * ray[0] / up + 7, 1.3 * ray[2] / up) - 0.5) * 2.2 * min(1.0, up * 5)
    glow = max(0.0, dot(ray, unit(LIGHT))) ** 24
    base = [0.78 - 0.55 * up, 0.86 - 0.38 * up, 0.95 - 0.15 * up]
    return tuple(c * (1 - white) + white + glow * g for c, g in zip(base, (0.4, 0.3, 0.1)))


def floor_colour(x, z):
    grain = 0.82 + 0.36 * (noise(x * 2.2, z * 28) - 0.5)
    plank = 0.86 if math.floor(x * 1.6) % 2 else 1.0
    gap = 0.45 if (x * 1.6) % 1 < 0.03 else 1.0
    return tuple(c * grain * plank * gap for c in (0.72, 0.52, 0.34))


def colour(eye, ray, depth=0):
    distance, ball = hit_ball(eye, ray)
    ground = -eye[1] / ray[1] if ray[1] < -1e-6 else math.inf
    if ball is None and ground > 40:
        return sky(ray)
    if ball is None or ground < distance:
        at, normal, mirror = add(eye, ray, ground), (0.0, 1.0, 0.0), 0.07
        base = floor_colour(at[0], at[2])
        distance = ground
    else:
        at = add(eye, ray, distance)
        normal, base, mirror = unit(add(at, ball[0], -1)), ball[2], ball[3]
    light = unit(LIGHT)
    lit = max(0.0, dot(normal, light))
    if hit_ball(add(at, normal, 1e-3), light)[1]:
        lit *= 0.12
    open_sky = 0.30 + 0.16 * normal[1]
    near = 1.0 if ball and distance != ground else min(
        1.0, min(0.35 + 0.9 * max(0.0, math.dist(at, (b[0][0], 0, b[0][2])) / b[1] - 0.2) for b in BALLS))
    shade = tuple(c * (open_sky * near * s + 0.85 * lit * w)
                  for c, s, w in zip(base, (0.92, 0.97, 1.1), (1.05, 1.0, 0.9)))
    bounce = add(ray, normal, -2 * dot(ray, normal))
    if depth < 3:
        seen = colour(add(at, normal, 1e-3), bounce, depth + 1)
        shade = tuple(a * (1 - mirror) + b * mirror for a, b in zip(shade, seen))
    shine = 0.7 * max(0.0, dot(bounce, light)) ** 60 if lit > 0.2 and mirror > 0.08 else 0.0
    haze = min(1.0, (min(distance, ground) / 40) ** 2)
    return tuple((a + shine) * (1 - haze) + b * haze for a, b in zip(shade, (0.78, 0.86, 0.95)))


def pixel(x, y, width, height):
    total = [0.0, 0.0, 0.0]
    for dx in (0.17, 0.5, 0.83):
        for dy in (0.17, 0.5, 0.83):
            ray = unit(((x + dx - width / 2) / width * 1.15, (height / 2 - y - dy) / width * 1.15 - 0.10, 1.0))
            for i, c in enumerate(colour((0.3, 1.45, -1.6), ray)):
                total[i] += min(1.0, max(0.0, c))
    return bytes(round(255 * (c / 9) ** (1 / 1.35)) for c in reversed(total))


def main():
    name = sys.argv[1]
    width, height = map(int, sys.argv[2:4]) if len(sys.argv) > 3 else (160, 120)
    pad = bytes(-width * 3 % 4)
    rows = [b"".join(pixel(x, y, width, height) for x in range(width)) + pad for y in range(height)]
    size = sum(map(len, rows))
    header = struct.pack("<2sIHHIIiiHHIIiiII", b"BM", 54 + size, 0, 0, 54, 40, width, height, 1, 24, 0, size, 0, 0, 0, 0)
    with open(name, "wb") as out:
        out.write(header + b"".join(reversed(rows)))


main()
