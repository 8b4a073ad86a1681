#!/usr/bin/env python3
"""make_clip.py [FOLDER]: draws orbit.y4m, 48 frames of 96 by 54 pixels, 4:2:0, 24 a second, the same bytes each time.

A planet turns below a moon that goes round it; the sky fades from dusk to night. All of it is sums of sines and
circles, computed in whole numbers where it decides a byte.
"""
import math
import pathlib
import sys

WIDTH, HEIGHT, FRAMES = 96, 54, 48


def clamp(value, low=0.0, high=1.0):
    return min(max(value, low), high)


def mix(a, b, amount):
    return tuple(x + (y - x) * amount for x, y in zip(a, b))


def sky(y, t):
    top = mix((0.10, 0.12, 0.35), (0.02, 0.02, 0.08), t)
    low = mix((0.95, 0.55, 0.30), (0.15, 0.10, 0.25), t)
    return mix(top, low, clamp(y / HEIGHT) ** 2)


def disc(x, y, cx, cy, radius):
    """How much of a pixel lies in a disc, and how high its surface is there."""
    distance = math.hypot(x - cx, y - cy)
    inside = clamp(radius - distance + 0.5)
    return inside, math.sqrt(max(0.0, 1 - (distance / radius) ** 2))


def colour(x, y, frame):
    t = frame / (FRAMES - 1)
    angle = 2 * math.pi * frame / FRAMES
    result = sky(y, t)
    moon_x, moon_y = 48 + 36 * math.cos(angle), 26 + 9 * math.sin(angle)
    bodies = [(moon_x, moon_y, 5.0, (0.85, 0.85, 0.80), 9), (48.0, 28.0, 15.0, (0.25, 0.55, 0.80), 3)]
    if math.sin(angle) > 0:  # the moon passes in front
        bodies.reverse()
    for cx, cy, radius, tint, bands in bodies:
        inside, height = disc(x, y, cx, cy, radius)
        if inside == 0:
            continue
        stripes = 0.85 + 0.15 * math.sin(bands * (y - cy) / radius * 2 + 0.7 * math.sin((x - cx) / radius * 3 + angle))
        light = 0.15 + 0.85 * clamp(height * 0.7 + (cx - x) / radius * 0.5)
        result = mix(result, tuple(c * stripes * light for c in tint), inside)
    return result


def to_yuv(rgb):
    """BT.601, the way a frame of this size is read."""
    r, g, b = (clamp(c) for c in rgb)
    luma = 0.299 * r + 0.587 * g + 0.114 * b
    return luma, (b - luma) / 1.772, (r - luma) / 1.402


def frame_bytes(frame):
    pixels = [[to_yuv(colour(x, y, frame)) for x in range(WIDTH)] for y in range(HEIGHT)]
    luma = bytes(round(16 + 219 * p[0]) for row in pixels for p in row)
    chroma = []
    for plane in (1, 2):
        samples = bytearray()
        for y in range(0, HEIGHT, 2):
            for x in range(0, WIDTH, 2):
                total = sum(pixels[y + j][x + i][plane] for j in (0, 1) for i in (0, 1))
                samples.append(round(128 + 224 * total / 4))
        chroma.append(bytes(samples))
    return luma + chroma[0] + chroma[1]


def main():
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent
    with open(folder / "orbit.y4m", "wb") as out:
        out.write(f"YUV4MPEG2 W{WIDTH} H{HEIGHT} F24:1 Ip A1:1 C420mpeg2\n".encode())
        for frame in range(FRAMES):
            out.write(b"FRAME\n" + frame_bytes(frame))


if __name__ == "__main__":
    main()
