#!/usr/bin/env python3
"""yuv_golden.py > yuv_golden.inc: checksums of YUV conversions, computed sample by sample.

An opinion of its own down to the last bit: single precision is rounded after every operation by packing.
"""
import math
import struct
import zlib

WIDTH, HEIGHT, SEED = 70, 6, 20
LAYOUTS = {  # ten bits, chroma divisors, summed pixels
    "UYVY": (0, 2, 1), "YUYV": (0, 2, 1), "v210": (1, 2, 1), "P010": (1, 2, 2), "P210": (1, 2, 1), "P410": (1, 1, 1),
    "I420": (0, 2, 2), "NV12": (0, 2, 2), "YV12": (0, 2, 2), "YV16": (0, 2, 1)}
BU, GU, GV, RV, BO, GO, RO = 29725, -2995, -7493, 25229, -3796864, 1350656, -3221120  # BT.709
INVERSE = (1.5748, -0.1873, -0.4681, 1.8556)
WEIGHTS = ((0.2126, 0.7152, 0.0722), (-0.1146, -0.3854, 0.5), (0.5, -0.4542, -0.0458))
DITHER = ((0, 8, 2, 10), (12, 4, 14, 6), (3, 11, 1, 9), (15, 7, 13, 5))


def f32(v):
    return struct.unpack("f", struct.pack("f", v))[0]


def mul(a, b):
    return f32(a * b)


def add(a, b):
    return f32(a + b)


class Random:
    def __init__(self, seed):
        self.state = (seed * 2654435769 + 1) & 0xffffffff

    def byte(self):
        s = self.state
        s ^= s << 13 & 0xffffffff
        s ^= s >> 17
        s ^= s << 5 & 0xffffffff
        self.state = s
        return s >> 11 & 255


class Frame:
    def __init__(self, name, data=None):
        self.name = name
        self.ten, self.across, self.down = LAYOUTS[name]
        w, h = WIDTH, HEIGHT
        luma = 128 * ((w + 47) // 48) * h if name == "v210" else w * h * (2 if self.ten or name in ("UYVY", "YUYV") else 1)
        each = (w // self.across) * (h // self.down) * (2 if self.ten else 1)
        self.packed = name in ("UYVY", "YUYV", "v210")
        self.luma, self.each = luma, each
        size = luma if self.packed else luma + 2 * each
        if data is None:
            random = Random(SEED)
            data = bytearray(random.byte() for _ in range(size))
            for i in range(size if self.ten else 0):
                if name == "v210":
                    data[i] &= 0x3f if i % 4 == 3 else 255
                elif i % 2 == 0:
                    data[i] &= 0xc0
        self.data = data

    def place(self, kind, x, y):
        """Byte and bit of a sample; chroma by its own column and row."""
        w, k = WIDTH, "YUV".index(kind)
        if self.name == "v210":
            n = 2 * x + 1 if k == 0 else 4 * x + 2 * (k - 1)
            return y * (self.luma // HEIGHT) + n // 3 * 4, n % 3 * 10
        size = 2 if self.ten else 1
        if self.packed:
            first = 1 if self.name == "UYVY" else 0
            return y * 2 * w + (2 * x + first if k == 0 else 4 * x + 1 - first + 2 * (k - 1)), 0
        if k == 0:
            return (y * w + x) * size, 0
        columns = w // self.across
        if self.name in ("NV12", "P010", "P210"):
            return self.luma + ((y * columns + x) * 2 + k - 1) * size, 0
        second = k == 2 if self.name in ("I420", "P410") else k == 1
        return self.luma + self.each * second + (y * columns + x) * size, 0

    def get(self, kind, x, y):
        at, bit = self.place(kind, x, y)
        if self.name == "v210":
            return struct.unpack_from("<I", self.data, at)[0] >> bit & 0x3ff
        return struct.unpack_from("<H", self.data, at)[0] >> 6 if self.ten else self.data[at]

    def put(self, kind, x, y, value):
        at, bit = self.place(kind, x, y)
        if self.name == "v210":
            word = struct.unpack_from("<I", self.data, at)[0] | value << bit
            struct.pack_into("<I", self.data, at, word)
        elif self.ten:
            struct.pack_into("<H", self.data, at, value << 6)
        else:
            self.data[at] = value

    def at(self, x, y):
        return self.get("Y", x, y), *(self.get(k, x // self.across, y // self.down) for k in "UV")


def byte(v):
    return min(max(v, 0), 255)


def integers(frame, y, u, v):
    if frame.name in ("UYVY", "YUYV"):
        c = [math.floor(k * 219 / 224 * 4096 + 0.5) for k in INVERSE]
        u, v = u - 128, v - 128
        terms = (c[3] * u + 2048 >> 12, c[2] * v + c[1] * u + 2048 >> 12, c[0] * v + 2048 >> 12)
    elif frame.ten:
        u, v = u - 512, v - 512
        return [byte(y + (t + 32768 >> 14) >> 2) for t in (BU * u, GU * u + GV * v, RV * v)]
    else:
        terms = (u * BU + BO >> 14, u * GU + v * GV + GO >> 14, v * RV + RO >> 14)
    return [byte(y + t) for t in terms]


def floats(frame, y, u, v, gamma, to_bytes):
    chroma = f32(0.9776786) if to_bytes else f32(0.004464286 if gamma else 0.0038340336)
    unit = f32(1.0 if not frame.ten else 0.25 if gamma else 0.24926686)
    rv, gu, gv, bu = (mul(mul(f32(k), chroma), unit) for k in INVERSE)
    units = 4 if frame.ten else 1
    u, v = float(u - 128 * units), float(v - 128 * units)
    if to_bytes:
        y = mul(float(y), 0.25 if frame.ten else 1.0)
    else:
        scale = struct.unpack("f", struct.pack("I", 999661605 if gamma else 998277249))[0]
        y = mul(float(y) - (16.0 * units if gamma else 0.0), mul(scale, unit))
    colour = add(y, mul(u, bu)), add(add(y, mul(u, gu)), mul(v, gv)), add(y, mul(v, rv))
    if not to_bytes:
        return struct.pack("4f", *colour, 1.0)
    return bytes(math.floor(min(max(c, 0.0), 255.0) + 0.5) for c in colour) + b"\xff"


def decode(frame, what):
    """Rows from the top."""
    out = bytearray()
    step = 2 if what == "half" else 1
    for y in range(0, HEIGHT, step):
        for x in range(0, WIDTH, step):
            sample = frame.at(x, y)
            if what == "rgb":
                out += bytes(integers(frame, *sample) + [255])
            else:
                out += floats(frame, *sample, what == "float-gamma", what == "half")
    return out


def encode(name):
    """From bytes, with a gamma."""
    random = Random(SEED + 1)
    rgb = [[[random.byte() for _ in range(4)] for _ in range(WIDTH)] for _ in range(HEIGHT)]
    frame = Frame(name)
    frame.data = bytearray(len(frame.data))
    factor, low, high, centre = (4.0, 4.0, 1019.0, 512.0) if frame.ten else (1.0, 1.0, 254.0, 128.0)
    weights = [[mul(f32(w), factor) for w in row] for row in WEIGHTS]
    down = 1 if name == "P010" else frame.down
    scale = f32(f32(1.0228310823) / (frame.across * down))

    def weighted(w, b, g, r):
        return add(add(mul(w[0], r), mul(w[1], g)), mul(w[2], b))

    def whole(v):
        return int(min(max(v, low), high))

    for y in range(HEIGHT):
        for x in range(WIDTH):
            value = weighted(weights[0], *map(float, rgb[y][x][:3]))
            frame.put("Y", x, y, whole(add(value, DITHER[y & 3][x & 3] / 16)))
    for y in range(HEIGHT // frame.down):
        for x in range(WIDTH // frame.across):
            sums = [float(sum(rgb[y * frame.down + j][x * frame.across + i][c]
                              for j in range(down) for i in range(frame.across))) for c in range(3)]
            for kind, w in zip("UV", weights[1:]):
                value = add(add(mul(weighted(w, *sums), scale), centre), DITHER[y & 3][x & 3] / 16)
                frame.put(kind, x, y, whole(value))
    return frame.data


print("// Made by yuv_golden.py: layout, conversion, CRC-32 of the result.")
for name in LAYOUTS:
    for what in ("rgb", "half", "float", "float-gamma"):
        if (name, what) == ("I420", "half"):  # averaged, not sampled
            continue
        print('{"%s", "%s", 0x%08xu},' % (name, what, zlib.crc32(decode(Frame(name), what))))
    print('{"%s", "encode", 0x%08xu},' % (name, zlib.crc32(encode(name))))
