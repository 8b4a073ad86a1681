#!/usr/bin/env python3
"""scale_golden.py > scale_golden.inc: checksums of small pictures, worked out in whole numbers and fractions.

Pictures are 32-bit; their bytes are the top bytes of x' = 1664525 x + 1013904223 from the seed on. Checksums are
FNV-1a of the target's bytes, rows from the first down.
"""
from fractions import Fraction as F

ONE = 16384


def picture(width, height, seed):
    rows = []
    for _ in range(height):
        row = []
        for _ in range(width):
            pixel = []
            for _ in range(4):
                seed = (seed * 1664525 + 1013904223) % 2 ** 32
                pixel.append(seed >> 24)
            row.append(pixel)
        rows.append(row)
    return rows


def checksum(values):
    state = 2166136261
    for value in values:
        state = (state ^ value) * 16777619 % 2 ** 32
    return state


def axis(source, target):
    """Steps of a whole image: between centres, and so that the ends meet."""
    pixel = source * ONE // target
    reach = min(source * ONE, target * pixel)
    end = max((reach - ONE) * ONE // ((target - 1) * ONE), 0) if target > 1 else 0
    return pixel, reach, end


def linear(source, target):
    _, reach, end = axis(source, target)
    last = (reach - 1) // ONE
    return [[(i * end // ONE, F(ONE - i * end % ONE, ONE)), (min(i * end // ONE + 1, last), F(i * end % ONE, ONE))]
            for i in range(target)]


def kernel(distance):
    d = abs(distance)
    return F(3, 2) * d ** 3 - F(5, 2) * d ** 2 + 1 if d < 1 else -F(1, 2) * d ** 3 + F(5, 2) * d ** 2 - 4 * d + 2


def cubic(source, target):
    pixel, reach, _ = axis(source, target)
    last = (reach - 1) // ONE
    out = []
    for i in range(target):
        place = 8192 + pixel // 2 + i * pixel
        sample = F(place // 4, 4096) - 1
        taps = range(place // ONE - 2, place // ONE + 2)
        out.append([(min(max(t, 0), last), int(kernel(sample - t) * ONE)) for t in taps])
    return out


def box(source, target):
    pixel, _, _ = axis(source, target)
    assert pixel % ONE == 0 and source * ONE == target * pixel
    width = pixel // ONE
    return [[(i * width + k, F(1, width)) for k in range(width)] for i in range(target)]


def bilinear_byte(rows, across, down, c):
    total = sum(int(wx * wy * 2 ** 24) * rows[y][x][c] for y, wy in down for x, wx in across)
    return (total + 2 ** 23) >> 24


def towards_zero(value):
    return abs(value) // ONE * (1 if value >= 0 else -1)


def cubic_byte(rows, across, down, c):
    total = sum(wx * towards_zero(8192 + sum(wy * rows[y][x][c] for y, wy in down)) for x, wx in across)
    return min(max(towards_zero(total + 8192), 0), 255)


def box_byte(rows, across, down, c):
    return int(sum(wx * wy * rows[y][x][c] for y, wy in down for x, wx in across) + F(1, 2))


KINDS = {"Linear": (linear, bilinear_byte), "Cubic": (cubic, cubic_byte), "Box": (box, box_byte)}


def scaled(kind, source, target, seed):
    weights, byte = KINDS[kind]
    rows = picture(*source, seed)
    across, down = weights(source[0], target[0]), weights(source[1], target[1])
    return [byte(rows, a, d, c) for d in down for a in across for c in range(4)]


def filled(size, field, seed):
    """Rows of the other field as means; rows from the top."""
    rows = picture(*size, seed)
    out = []
    for y, row in enumerate(rows):
        if (y + 1) % 2 == field or size[1] == 1:
            out += [v for pixel in row for v in pixel]
            continue
        above, below = rows[y - 1 if y > 0 else 1], rows[y + 1 if y + 1 < size[1] else y - 1]
        out += [(a + b) // 2 for p, q in zip(above, below) for a, b in zip(p, q)]
    return out


def main():
    print("// Made by scale_golden.py: kind, source, target or field, seed, checksum.")
    for kind, source, target in [("Linear", (13, 9), (31, 22)), ("Linear", (31, 22), (13, 9)),
                                 ("Linear", (16, 16), (32, 16)), ("Linear", (1, 5), (7, 3)),
                                 ("Cubic", (13, 9), (31, 22)), ("Cubic", (31, 22), (13, 9)),
                                 ("Cubic", (8, 8), (16, 16)), ("Cubic", (2, 1), (9, 9)),
                                 ("Box", (32, 16), (16, 8)), ("Box", (64, 32), (8, 8)), ("Box", (16, 64), (4, 4))]:
        seed = source[0] * 100 + target[1]
        print(f"{{GoldenKind::{kind}, {{{source[0]}, {source[1]}}}, {{{target[0]}, {target[1]}}}, {seed}, "
              f"0x{checksum(scaled(kind, source, target, seed)):08x}u}},")
    for size, field in [((9, 7), 0), ((9, 7), 1), ((5, 8), 0), ((33, 2), 1)]:
        print(f"{{GoldenKind::Fields, {{{size[0]}, {size[1]}}}, {{{field}, 0}}, {size[0]}, "
              f"0x{checksum(filled(size, field, size[0])):08x}u}},")


main()
