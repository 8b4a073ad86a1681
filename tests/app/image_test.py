#!/usr/bin/env python3
"""image_test.py PROGRAM FOLDER [EMULATOR...]: pictures of every form through the workbench's verb.

The files are made and read by a program of their own, pictures.py; what the works do is judged by arithmetic here.
"""
import pathlib
import random
import struct
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from pictures import (SAMPLES, SIGNATURE, chunk, make_bmp, make_png, meaning, pack_bits, read_bmp,  # noqa: E402
                      read_png, stride)
from workbench import FOLDER, check, main, run_records  # noqa: E402

DICE = random.Random(7)


def save(name, data):
    (FOLDER / name).write_bytes(data)


def load(name):
    data = (FOLDER / name).read_bytes()
    return (read_png if name.endswith(".png") else read_bmp)(data)


def noise(width, height, samples=3, top=255):
    return [[tuple(DICE.randint(0, top) for _ in range(samples)) for _ in range(width)] for _ in range(height)]


def png8(name, rows):
    save(name, make_png(rows, 2 if len(rows[0][0]) == 3 else 6, 8))


def bytes_of(name, channels=3):
    return [[tuple(c >> 8 for c in p[:channels]) for p in row] for row in load(name)[0]]


def works(what, job):
    code, rows, err = run_records(job)
    check(what, code == 0, err)
    return rows


def farthest(a, b):
    return max((abs(p - q) for r, s in zip(a, b) for x, y in zip(r, s) for p, q in zip(x, y)), default=0)


def test_png_forms():
    """Every colour type and depth, plain and interlaced, with and without transparency, down to one pixel."""
    depths = {0: (1, 2, 4, 8, 16), 2: (8, 16), 3: (1, 2, 4, 8), 4: (8, 16), 6: (8, 16)}
    job, wanted = "", []
    for colour, depth in [(c, d) for c in depths for d in depths[c]]:
        for interlaced, clear, (w, h) in ((0, 0, (13, 9)), (1, 1, (11, 6)), (1, 0, (3, 2)), (0, 1, (1, 1))):
            top = (1 << depth) - 1
            entries = min(top + 1, 200)
            rows = noise(w, h, SAMPLES[colour], entries - 1 if colour == 3 else top)
            palette = bytes(DICE.randint(0, 255) for _ in range(3 * entries)) if colour == 3 else b""
            trns = b""
            if clear and colour in (0, 2):
                trns = struct.pack(f">{SAMPLES[colour]}H", *rows[0][0])
            elif clear and colour == 3:
                trns = bytes(DICE.randint(0, 255) for _ in range((entries + 1) // 2))
            name = f"form-{len(wanted)}.png"
            save(name, make_png(rows, colour, depth, interlaced, palette, trns, pieces=3))
            wanted.append((f"colour {colour}, {depth} bits, interlaced {interlaced}, clear {clear}",
                           [[meaning(p, colour, depth, palette, trns) for p in row] for row in rows]))
            job += f"image convert {name} deep-{name} type=rgba64\nimage convert {name} same-{name}\n"
    works("every form is read", job)
    for i, (what, picture) in enumerate(wanted):
        check(what, load(f"deep-form-{i}.png")[0] == picture)
        check(what + " again", load(f"same-form-{i}.png")[0] == picture)


def test_bmp_forms():
    w, h = 7, 5
    job, wanted = "", []

    def case(what, data, rows):
        nonlocal job
        save(f"form-{len(wanted)}.bmp", data)
        job += f"image convert form-{len(wanted)}.bmp from-bmp-{len(wanted)}.png type=rgba64\n"
        wanted.append((what, rows))

    def wide(rows):
        return [[tuple(257 * c for c in (*p, 255)[:4]) for p in row] for row in rows]

    for bits in (1, 2, 4, 8):
        for header in (12, 40, 64, 124):
            entries = min(1 << bits, 100) if header > 12 else 1 << bits
            colours = [tuple(DICE.randint(0, 255) for _ in range(3)) for _ in range(entries)]
            rows = noise(w, h, 1, entries - 1)
            lines = [pack_bits([v for v, in row], bits).ljust(stride(bits, w), b"\xee") for row in rows[::-1]]
            case(f"{bits} bits, header {header}", make_bmp(bits, lines, w, h, 0, colours, header),
                 wide([[colours[v][::-1] for v, in row] for row in rows]))
    for bits, top in ((24, False), (32, True)):
        rows = noise(w, h)
        lines = [b"".join(bytes(p[::-1]) + b"\7" * (bits // 8 - 3) for p in row).ljust(stride(bits, w), b"\0")
                 for row in rows]
        case(f"{bits} bits", make_bmp(bits, lines if top else lines[::-1], w, -h if top else h), wide(rows))
    masked = [(16, (0xF800, 0x7E0, 0x1F), 40), (16, (0xF00, 0xF0, 0xF, 0xF000), 56), (16, (0x1F, 0x3E0, 0x7C00), 52),
              (32, (0xFF, 0xFF00, 0xFF0000, 0xFF000000), 124), (32, (0xFF0000, 0xFF00, 0xFF, 0xFF000000), 108),
              (32, (0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000), 108), (32, (0xFF000000, 0xFF0000, 0xFF00), 40)]
    for bits, masks, header in masked:
        values = noise(w, h, 1, (1 << bits) - 1)
        lines = [b"".join(v.to_bytes(bits // 8, "little") for v, in row).ljust(stride(bits, w), b"\0")
                 for row in values[::-1]]
        deep = any(bin(m).count("1") > 8 for m in masks)
        unit = 65535 if deep else 255
        exact = masks == (0xF800, 0x7E0, 0x1F)  # held as it is: low bits stay 0 when it is widened
        def channel(v, m):
            if exact:
                return ((v & m) << 16 - m.bit_length()) & 0xFFFF
            return int((v & m) * unit / m + 0.5) * (65535 // unit)
        case(f"masks {masks[0]:x}", make_bmp(bits, lines, w, h, 3, (), header, masks),
             [[tuple(channel(v, m) for m in masks) + (() if len(masks) > 3 else (65535,)) for v, in row] for row in values])
    colours = [(i, 2 * i, 3 * i) for i in range(16)]
    runs = {8: (1, b"\4\1\0\3\2\3\4\7\0\0" b"\0\2\2\1\2\5\1\6\0\1"),
            4: (2, b"\4\x11\0\3\x23\x40\0\0" b"\0\2\2\1\2\x55\1\x60\0\1")}
    picture = [[0] * 7, [0] * 7, [0, 0, 5, 5, 6, 0, 0], [0] * 7, [1, 1, 1, 1, 2, 3, 4]]
    for bits, (coding, codes) in runs.items():
        case(f"runs of {bits} bits", make_bmp(bits, codes, w, h, coding, colours),
             wide([[colours[v][::-1] for v in row] for row in picture]))
    works("every form is read", job)
    for i, (what, picture) in enumerate(wanted):
        got = load(f"from-bmp-{i}.png")[0]
        check(what, got == picture, (got[0][:3], picture[0][:3]))


def test_types():
    """What each type is in a file, and what is left of the colours."""
    rows = [[(0, 0, 0), (255, 255, 255), (90, 90, 90)], [(255, 0, 0), (10, 200, 30), (7, 7, 250)]]
    png8("in.png", rows)
    forms = {"pal1": (1, 0, 40), "gray1": (1, 0, 40), "gray2": (4, 0, 40), "gray4": (4, 0, 40), "gray8": (8, 0, 40),
             "pal4": (4, 0, 40), "pal8": (8, 0, 40), "rgb555": (16, 0, 40), "rgb565": (16, 3, 40),
             "rgb24": (24, 0, 40), "rgb32": (32, 0, 40), "rgba32": (32, 3, 108), "rgb10a2": (32, 3, 108),
             "rgba64": (32, 3, 108), "rgbaf128": (32, 3, 108)}
    works("types", "".join(f"image convert in.png t-{t}.bmp type={t}\nimage convert in.png u-{t}.bmp type={t} rows=top\n"
                           f"image convert t-{t}.bmp v-{t}.png type=rgb24\n" for t in forms))
    coarse = {"rgb555": 8, "rgb565": 8, "rgb10a2": 1, "pal4": 8, "pal8": 8}
    for t, form in forms.items():
        (picture, got), (mirrored, other) = load(f"t-{t}.bmp"), load(f"u-{t}.bmp")
        check(t, got == (*form, False) and other == (*form, True) and picture == mirrored, (got, other))
        back = bytes_of(f"v-{t}.png")
        check(f"{t} in bytes", farthest(back, [[tuple(c >> 8 for c in p[:3]) for p in r] for r in picture]) <= 8)
        if t[:4] not in ("pal1", "gray"):
            check(f"{t} keeps colours", farthest(back, rows) <= coarse.get(t, 0), back)
        else:
            check(f"{t} is grey", all(len(set(p)) == 1 for r in back for p in r) and back[0][0] == (0, 0, 0), back)


def test_places():
    """Flips, pieces, fields and the nearest pixel only move pixels, palettes included."""
    rows = noise(10, 8)
    png8("p.png", rows)
    palette = bytes(DICE.randint(0, 255) for _ in range(48))
    indices = noise(9, 6, 1, 15)
    save("i.png", make_png(indices, 3, 4, 0, palette))
    coloured = [[tuple(palette[3 * v:3 * v + 3]) for v, in row] for row in indices]
    job, cases = "", []
    for name, r in (("p", rows), ("i", coloured)):
        wide = [[q[0]] * 2 + [p for p in q for _ in (0, 1)][2:] for q in r]
        for step, picture in ((f"flip {name}.png OUT way=h", [q[::-1] for q in r]), (f"flip {name}.png OUT way=v", r[::-1]),
                              (f"flip {name}.png OUT way=hv", [q[::-1] for q in r[::-1]]),
                              (f"copy {name}.png OUT from=2,1,5,4", [q[2:7] for q in r[1:5]]),
                              (f"copy {name}.png OUT from=-2,4,5,9", [q[:3] for q in r[4:]]),
                              (f"scale {name}.png OUT size=200% method=nearest", [q for q in wide for _ in (0, 1)])):
            cases.append((step, picture))
            job += f"image {step.replace('OUT', f'place-{len(cases)}.png')}\n"
        job += (f"image fields split {name}.png {name}0.png {name}1.bmp\nimage fields weave {name}0.png {name}1.bmp "
                f"{name}2.png\n")
    job += ("image flip p.png q.png way=h\nimage fields merge p.png q.png m0.png\nimage fields merge p.png q.png m1.png "
            "field=1\nimage fields merge-rotated p.png q.png r1.png field=1\nimage fields deinterlace p.png d1.png field=1\n")
    works("places", job)
    for i, (step, picture) in enumerate(cases, start=1):
        check(step, bytes_of(f"place-{i}.png") == picture)
    for name, r in (("p", rows), ("i", coloured)):
        check("fields", bytes_of(f"{name}0.png") == r[1::2] and bytes_of(f"{name}1.bmp") == r[::2] and
              bytes_of(f"{name}2.png") == r)
    types = {"gray1": "png", "gray2": "png", "gray4": "png", "gray16": "png", "pal1": "bmp", "rgb555": "bmp", "rgb565": "bmp",
             "rgb10a2": "bmp", "rgba32": "png", "rgba64": "png"}
    works("flips", "".join(f"image convert p.png f-{t}.{e} type={t}\nimage flip f-{t}.{e} g-{t}.{e} way=hv\n"
                           for t, e in types.items()))
    png8("ground.png", [[(1, 2, 3)] * 12] * 9)
    works("piece", "image copy i.png onto.png onto=ground.png from=3,2,4,3 to=6,1,4,3\n"
          "image copy f-rgb565.bmp g.bmp from=1,1,4,3\nimage fields split f-rgb565.bmp h0.bmp h1.bmp\n")
    check("a palette's colours go along", bytes_of("onto.png") == [
        [coloured[y + 1][x - 3] if 6 <= x < 10 and 1 <= y < 4 else (1, 2, 3) for x in range(12)] for y in range(9)])
    whole = load("f-rgb565.bmp")[0]
    check("masks go along", load("g.bmp")[0] == [q[1:5] for q in whole[1:4]] and load("h0.bmp")[0] == whole[1::2])
    for t, e in types.items():
        whole, flipped = load(f"f-{t}.{e}"), load(f"g-{t}.{e}")
        check(f"{t} flipped", flipped == ([q[::-1] for q in whole[0][::-1]], whole[1]))
    turned = [q[::-1] for q in rows]
    for field in (0, 1):
        merged = [b if y % 2 != field else a for y, (a, b) in enumerate(zip(rows, turned))]
        check(f"merged {field}", bytes_of(f"m{field}.png") == merged)
    check("merged columns", bytes_of("r1.png") == [[b if x % 2 else a for x, (a, b) in enumerate(zip(p, q))]
                                                   for p, q in zip(rows, turned)])
    still = bytes_of("d1.png")
    means = [[tuple((a + b) // 2 for a, b in zip(p, q)) for p, q in zip(rows[y - 1], rows[min(y + 1, 6)])] for y in (1, 3, 5, 7)]
    check("deinterlaced", still[::2] == rows[::2] and still[1::2] == means, (still[1][0], means[0][0]))


def test_mixing():
    """Averages, fills, fades, blends and soft edges, each against its formula."""
    rows, other = noise(12, 8), noise(12, 8)
    png8("a.png", rows)
    png8("b.png", other)
    png8("black.png", [[(0, 0, 0)] * 40] * 20)
    png8("white.png", [[(255, 255, 255)] * 20] * 10)
    png8("c.png", [[(*p, DICE.randint(0, 255)) for p in row] for row in other])
    clear = bytes_of("c.png", 4)
    works("mixing", """
image scale a.png half.png size=50% method=area
image fill a.png filled.png rect=2,1,4,3 colour=#102030
image fade a.png faded.png amount=0.25 colour=#ff8000
image blend a.png b.png mixed.png amount=0.25
image blend a.png b.png difference.png op=difference
image blend a.png c.png over.png op=over type=rgb24
image blend a.png b.png negative.png op=12 amount=1
image feather white.png soft.png width=3 onto=black.png to=10,5,20,10
image feather white.png left.png width=3 edges=l onto=black.png to=10,5,20,10
image copy white.png part.png onto=black.png to=10.25,5.5,20,10
image copy a.png bent.png from-gamma=1 to-gamma=2
""")
    average = [[tuple(sum(rows[2 * y + j][2 * x + i][c] for i in (0, 1) for j in (0, 1)) / 4 for c in range(3))
                for x in range(6)] for y in range(4)]
    check("area", farthest(bytes_of("half.png"), average) <= 0.5)
    inside = [[(16, 32, 48) if 2 <= x < 6 and 1 <= y < 4 else p for x, p in enumerate(row)] for y, row in enumerate(rows)]
    check("fill", bytes_of("filled.png") == inside)

    def each(f, *pictures):
        return [[tuple(f(*c) for c in zip(*p)) for p in zip(*r)] for r in zip(*pictures)]
    orange = [[(255, 128, 0)] * 12] * 8
    check("fade", farthest(bytes_of("faded.png"), each(lambda a, b: a + (b - a) * .25, rows, orange)) <= 1)
    check("mix", farthest(bytes_of("mixed.png"), each(lambda a, b: a + (b - a) * .25, rows, other)) <= 1)
    check("difference", farthest(bytes_of("difference.png"), each(lambda a, b: abs(a - b), rows, other)) <= 1)
    check("negative", farthest(bytes_of("negative.png"), each(lambda b: 255 - b, other)) <= 1)
    over = [[tuple(a + (b - a) * q[3] / 255 for a, b in zip(p, q)) for p, q in zip(r, s)] for r, s in zip(rows, clear)]
    check("over", farthest(bytes_of("over.png"), over) <= 2, farthest(bytes_of("over.png"), over))
    soft, left, part = bytes_of("soft.png"), bytes_of("left.png"), bytes_of("part.png")
    middle = [soft[10][x][0] for x in range(9, 15)]
    check("soft edges", middle[0] == 0 and middle[4:] == [255, 255] and middle == sorted(middle) and
          0 < middle[1] < middle[2] < 255 and [soft[10][x][0] for x in range(30, 24, -1)] == middle, middle)
    check("one soft edge", left[10][10:15] == soft[10][10:15] and left[10][29][0] == 255 and left[5][20][0] == 255)
    check("parts of pixels", [part[10][x][0] // 16 for x in (9, 10, 11, 29, 30, 31)] == [0, 11, 15, 15, 3, 0] and
          part[5][20][0] // 16 == 7, [part[10][x][0] for x in (9, 10, 11, 29, 30, 31)])
    t, slope = 2 ** -0.9418051838874817 * 0.038183767, 2 ** 1.8836103677749634
    toe = (slope * t - t ** .5) / (t ** .5 - 1)
    bent = each(lambda a: 255 * (a / 255 * slope if a / 255 < t else (a / 255) ** .5 * (1 + toe) - toe), rows)
    check("gamma", farthest(bytes_of("bent.png"), bent) <= 1, farthest(bytes_of("bent.png"), bent))


def test_colours():
    """Fewer colours, and colours that broadcast accepts."""
    few = [[(8 * a + 4, 248 - 8 * a, 64 * b + 4) for a in (0, 9, 18, 27)] for b in range(3)]
    png8("few.png", few)
    png8("many.png", noise(40, 30))
    rows = works("quantise", "image quantise few.png f.png colours=12\nimage quantise many.png m.png colours=20\n")
    check("few colours stay", rows[0][3] == "pal4" and farthest(bytes_of("f.png"), few) <= 8, rows)
    seen = {p for r in bytes_of("m.png") for p in r}
    check("no more than asked for", rows[1][3] == "pal8" and 1 < len(seen) <= 20, len(seen))

    greys = [(v, v, v) for v in range(0, 256, 5)]
    picture = [greys, [(255, 255, 0)] * 26 + [(0, 255, 255)] * 26, [(191, 191, 0)] * 26 + [(90, 60, 50)] * 26]
    png8("legal.png", picture)
    for standard in ("ntsc", "ntsc-yuv", "pal"):
        rows = works(standard, f"image legal legal.png standard={standard}\n"
                     f"image legal legal.png marked.png standard={standard} colour=#0000ff\n"
                     f"image legal legal.png fixed.png standard={standard} fix=1\n"
                     f"image legal fixed.png standard={standard}\n")
        count = ["legal", standard, "52", "156", "33.33"]
        check("counted", rows[0] == rows[1] == rows[3] == count and rows[4] == ["left", "0"], rows)
        check("legal now", rows[-1] == ["legal", standard, "0", "156", "0.00"], rows[-1])
        check("marked", bytes_of("marked.png") == [picture[0], [(0, 0, 255)] * 52, picture[2]])
        fixed = bytes_of("fixed.png")
        luma = [sum(w * c for w, c in zip((.299, .587, .114), p)) for p in (fixed[1][0], (255, 255, 0))]
        check("the rest stays", fixed[0] == picture[0] and fixed[2] == picture[2] and abs(luma[0] - luma[1]) < 12, luma)


def test_yuv():
    """Greys stay grey in every layout, full chroma keeps every colour, and a wrong matrix does what its formula says."""
    layouts = ("NV12", "UYVY", "YUYV", "I420", "YV12", "YV16", "v210", "P010", "PL10", "P210", "P410")
    flat = [(200, 30, 60), (20, 180, 90), (40, 50, 210), (128, 128, 128)]
    greys = [[(4 * x, 4 * x, 4 * x) for x in range(64)] for _ in range(10)]
    colours = [[flat[x // 16] for x in range(64)] for _ in range(10)]
    png8("g.png", greys)
    png8("c.png", colours)
    works("yuv", "".join(f"image yuv g.png g-{n}.png layout={n}\nimage yuv c.png c-{n}.png layout={n} matrix=601\n"
                         for n in layouts) + "image yuv c.png wrong.png layout=P410 matrix=601 back=709\n")
    for n in layouts:
        check(f"{n} greys", farthest(bytes_of(f"g-{n}.png"), greys) <= 3, farthest(bytes_of(f"g-{n}.png"), greys))
        inner = [[row[x] for x in range(64) if 4 <= x % 16 < 12] for row in bytes_of(f"c-{n}.png")]
        wanted = [[row[x] for x in range(64) if 4 <= x % 16 < 12] for row in colours]
        check(f"{n} colours", farthest(inner, wanted) <= 4, farthest(inner, wanted))

    def other(p):
        y = .299 * p[0] + .587 * p[1] + .114 * p[2]
        u, v = (p[2] - y) / 1.772, (p[0] - y) / 1.402
        r, b = y + 1.5748 * v, y + 1.8556 * u
        return tuple(min(255, max(0, c)) for c in (r, (y - .2126 * r - .0722 * b) / .7152, b))
    wrong = [[other(p) for p in row] for row in colours]
    check("wrong matrix", farthest(bytes_of("wrong.png"), wrong) <= 3, farthest(bytes_of("wrong.png"), wrong))


def test_faults():
    good = make_png(noise(4, 4), 2, 8)
    header = struct.pack(">IIBBBBB", 100000, 100000, 8, 2, 0, 0, 0)
    plain = make_bmp(24, bytes(48), 4, 4)
    runs = make_bmp(8, b"\0\1", 30000, 30000, 1, [(0, 0, 0)])
    files = [
        ("empty", b"", "8004e00b"), ("text", b"GIF89a", "8004e00b"), ("cut", good[:-20], "8004e00b"),
        ("checksum", good[:60] + bytes([good[60] ^ 1]) + good[61:], "8004e00b"),
        ("rows missing", make_png(noise(4, 4), 2, 8, size=(4, 5)), "8004e00b"),
        ("rows too many", make_png(noise(4, 4), 2, 8, size=(4, 3)), "8004e00b"),
        ("palette missing", make_png(noise(4, 4, 1, 1), 3, 1), "8004e00b"),
        ("depth", make_png(noise(4, 4, 1, 7), 0, 3), "8004e00b"),
        ("10 gigapixels", SIGNATURE + chunk(b"IHDR", header) + chunk(b"IDAT", b"x") + chunk(b"IEND", b""), "80004001"),
        ("10 bytes of BMP", plain[:10], "8004e00b"), ("rows of BMP missing", plain[:-1], "8004e00b"),
        ("JPEG in BMP", make_bmp(24, bytes(48), 4, 4, 4), "80004001"), ("runs of nothing", runs, "8004e00b"),
        ("3 bits", make_bmp(3, bytes(48), 4, 4), "8004e00b"),
    ]
    png8("good.png", noise(4, 4))
    job, wanted = "set keep-going=1\n", []
    for i, (what, data, status) in enumerate(files):
        save(f"fault-{i}", data)
        job += f"image info fault-{i}\n"
        wanted.append((what, status))
    steps = ["twist good.png", "convert good.png", "convert good.png a.gif", "convert good.png a.png type=rgb25",
             "convert good.png a.png size=3", "scale good.png a.png", "scale good.png a.png size=0x5",
             "scale good.png a.png size=5x5 method=cubic", "fill good.png a.png colour=blue", "fade good.png a.png amount=2",
             "fill good.png a.png rect=1,2,3", "copy good.png a.png from=nan,0,1,1", "copy good.png a.png from=4,0,1,1", "feather good.png a.png",
             "feather good.png a.png width=3 edges=x", "blend good.png fault-0 a.png op=20", "legal good.png fix=1",
             "quantise good.png a.png colours=1", "fields mend good.png a.png", "fields deinterlace good.png a.png field=2"]
    for step in steps:
        job += f"image {step}\n"
        wanted.append((step, "80070057"))
    job += "image info nothing.png\n"
    wanted.append(("no file", "8004e007"))
    code, rows, err = run_records(job)
    reports = err.splitlines()
    check("every fault is reported", code != 0 and rows == [] and len(reports) == len(wanted), (rows, reports))
    for line, ((what, status), report) in enumerate(zip(wanted, reports), start=2):
        check(what, report.startswith(f"line {line}\t0x{status}\t") and report.count("\t") == 3, report)


main(test_png_forms, test_bmp_forms, test_types, test_places, test_mixing, test_colours, test_yuv, test_faults)
