#!/usr/bin/env python3
"""make_pictures.py [FOLDER]: draws the pictures of this folder anew, the same bytes each time.

Everything is computed here: a landscape at dusk, test bars, a badge with soft edges, and an interlaced frame of a
ball that flies.
"""
import math
import pathlib
import struct
import sys
import zlib

FOLDER = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent)


def png(name, rows, alpha=False):
    """rows: lists of (red, green, blue[, alpha]) from 0 to 1."""
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    step = 4 if alpha else 3
    packed, above = b"", bytes(step * len(rows[0]))
    for row in rows:
        line = bytes(min(255, max(0, int(c * 255 + 0.5))) for pixel in row for c in pixel[:step])
        packed += b"\2" + bytes((a - b) & 255 for a, b in zip(line, above))
        above = line
    header = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 6 if alpha else 2, 0, 0, 0)
    data = chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(packed, 9)) + chunk(b"IEND", b"")
    (FOLDER / name).write_bytes(b"\x89PNG\r\n\x1a\n" + data)


def hash01(x, y, seed):
    n = (x * 374761393 + y * 668265263 + seed * 2147483647) & 0xFFFFFFFF
    n = ((n ^ (n >> 13)) * 1274126177) & 0xFFFFFFFF
    return ((n ^ (n >> 16)) & 0xFFFF) / 65535


def noise(x, y, seed):
    ix, iy = math.floor(x), math.floor(y)
    fx, fy = x - ix, y - iy
    fx, fy = fx * fx * (3 - 2 * fx), fy * fy * (3 - 2 * fy)
    top = hash01(ix, iy, seed) * (1 - fx) + hash01(ix + 1, iy, seed) * fx
    low = hash01(ix, iy + 1, seed) * (1 - fx) + hash01(ix + 1, iy + 1, seed) * fx
    return top * (1 - fy) + low * fy


def clouds(x, y, seed, octaves=4):
    return sum(noise(x * 2 ** i, y * 2 ** i, seed + i) / 2 ** (i + 1) for i in range(octaves))


def mix(a, b, t):
    t = min(1, max(0, t))
    return tuple(p + (q - p) * t for p, q in zip(a, b))


SUN = (0.66, 0.47)
WIDE = 320 / 180
HILLS = [  # where each chain stands, how high and how fine, its colour in the light and in the haze
    (0.56, 0.10, 2.3, 11, (0.45, 0.33, 0.47)),
    (0.60, 0.09, 3.7, 23, (0.27, 0.22, 0.36)),
    (0.65, 0.06, 6.1, 37, (0.10, 0.11, 0.19)),
]
SHORE = 0.66


def sky(x, y):
    colour = mix((0.10, 0.17, 0.42), (0.98, 0.62, 0.32), (y / 0.62) ** 1.5)
    far = math.hypot((x - SUN[0]) * WIDE, y - SUN[1])
    colour = mix(colour, (1.0, 0.80, 0.45), 0.75 * math.exp(-far * 5))
    streak = clouds(x * 3.0 + 5, y * 11, 3)
    colour = mix(colour, mix((0.55, 0.30, 0.38), (1.0, 0.70, 0.50), math.exp(-far * 2)), (streak - 0.50) * 3.0)
    return mix(colour, (1.0, 0.97, 0.86), (0.055 - far) * 90)


def land(x, y):
    colour = sky(x, y)
    for base, height, fine, seed, tone in HILLS:
        ridge = base - height * clouds(x * fine, seed, seed, 5) + (0.012 * noise(x * 90, seed, 5) if seed == 37 else 0)
        if y > ridge:
            colour = mix(tone, (0.75, 0.45, 0.36), 0.35 * (1 - (y - ridge) * 9) * (seed != 37))
    return colour


def scene(x, y):
    if y < SHORE:
        return land(x, y)
    depth = (y - SHORE) / (1 - SHORE)
    wave = (clouds(x * 9 / (0.3 + depth), y * 60 / (0.25 + depth), 71, 3) - 0.45) * 0.10 * (0.2 + depth)
    mirrored = land(x + wave * 0.3, SHORE - (y - SHORE) * 1.2 + wave)
    return mix(mix(mirrored, (0.05, 0.09, 0.18), 0.25 + 0.35 * depth), (1, 0.9, 0.7), (wave - 0.035) * 14 * depth)


def scene_picture(width, height):
    grain, parts = 0.012, (0.25, 0.75)
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            samples = [scene((x + dx) / width, (y + dy) / height) for dy in parts for dx in parts]
            row.append(tuple(sum(c) / 4 + (hash01(x, y, 90 + i) - 0.5) * grain for i, c in enumerate(zip(*samples))))
        rows.append(row)
    return rows


def bars_picture(width, height):
    """Seven bars at three quarters of the level, the same at full level, a ramp of greys, and steps of hue."""
    order = [(1, 1, 1), (1, 1, 0), (0, 1, 1), (0, 1, 0), (1, 0, 1), (1, 0, 0), (0, 0, 1)]
    rows = []
    for y in range(height):
        at = y / height
        row = []
        for x in range(width):
            bar = order[x * 7 // width]
            if at < 0.45:
                row.append(tuple(c * 0.75 for c in bar))
            elif at < 0.70:
                row.append(bar)
            elif at < 0.85:
                row.append((x / (width - 1),) * 3)
            else:
                hue = x / width * 6
                row.append(tuple(0.5 + 0.5 * min(1, max(-1, 2 - abs((hue - o) % 6 - 3) - 0.5)) for o in (3, 5, 1)))
        rows.append(row)
    return rows


def badge_picture(size):
    """A ring with a triangle that points right, and a shadow."""
    def cover(d):  # of an edge at distance d in pixels
        return min(1, max(0, 0.5 - d))

    def triangle(x, y):
        return max(abs(y) * 0.866 + x * 0.5 - size * 0.14, -x - size * 0.13)

    rows = []
    for y in range(size):
        row = []
        for x in range(size):
            dx, dy = x + 0.5 - size * 0.48, y + 0.5 - size * 0.48
            ring = cover(abs(math.hypot(dx, dy) - size * 0.34) - size * 0.07)
            inner = cover(triangle(dx, dy))
            shadow = 0.55 * math.exp(-max(0, math.hypot(dx - size * 0.05, dy - size * 0.05) - size * 0.36) / (size * 0.04))
            solid = max(ring, inner)
            colour = mix((0, 0, 0), mix((1.0, 0.55, 0.10), (1.0, 0.85, 0.35), 0.5 - dy / size), solid)
            row.append(colour + (solid + (1 - solid) * shadow,))
        rows.append(row)
    return rows


def ball_picture(width, height):
    """Even rows a fiftieth of a second before the odd ones, in which the ball flew on."""
    rows = []
    for y in range(height):
        cx, cy = width * (0.42 if y % 2 == 0 else 0.50), height * (0.52 if y % 2 == 0 else 0.48)
        row = []
        for x in range(width):
            ground = 0.32 if (x // 16 + y // 16) % 2 else 0.22
            colour = mix((ground * 0.6, ground * 0.9, ground), (0.05, 0.07, 0.12), y / height)
            dx, dy, radius = x + 0.5 - cx, y + 0.5 - cy, height * 0.28
            distance = math.hypot(dx, dy)
            light = max(0, 1 - math.hypot(dx + radius * 0.35, dy + radius * 0.35) / (radius * 1.5))
            row.append(mix(colour, mix((0.45, 0.05, 0.05), (1.0, 0.62, 0.45), light), radius - distance + 0.5))
        rows.append(row)
    return rows


def zone_picture(size):
    """Rings that get finer and finer."""
    def ring(x, y):
        return (0.5 + 0.5 * math.cos((x * x + y * y) * math.pi / size / 1.15),) * 3
    return [[ring(x - size / 2, y - size / 2) for x in range(size)] for y in range(size)]


png("scene.png", scene_picture(320, 180))
png("bars.png", bars_picture(280, 160))
png("badge.png", badge_picture(96), alpha=True)
png("zone.png", zone_picture(192))
png("ball-interlaced.png", ball_picture(160, 120))
