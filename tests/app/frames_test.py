#!/usr/bin/env python3
"""frames_test.py PROGRAM FOLDER [EMULATOR...]: the verb "frames" on clips that are made and read here, byte by byte."""
import pathlib
import struct
import sys
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import FOLDER, ROOT, check, main, run, run_records  # noqa: E402

WIDTH, HEIGHT, FRAMES = 12, 6, 5


def plane(width, height, seed, peak=256):
    return [(seed + 5 * x + 11 * y) % peak for y in range(height) for x in range(width)]


def y4m(name, space, across, down, size=(WIDTH, HEIGHT), bits=8, head="F25:1 Ip", frame="FRAME\n", tail=b""):
    """Writes a clip and gives its frames: lists of three planes."""
    width, height = size
    frames = []
    data = f"YUV4MPEG2 W{width} H{height} {head} C{space}\n".encode()
    for n in range(FRAMES):
        planes = [plane(width, height, 20 * n, 1 << bits)]
        if across:
            sides = -(-width // across), -(-height // down)
            planes += [plane(*sides, 7 * n + 90, 1 << bits), plane(*sides, 3 * n + 150, 1 << bits)]
        frames.append(planes)
        samples = sum(planes, [])
        data += frame.encode() + struct.pack(f"<{len(samples)}{'B' if bits == 8 else 'H'}", *samples)
    (FOLDER / name).write_bytes(data + tail)
    return frames


def raw(name):
    return (FOLDER / "out" / name).read_bytes()


def words(values):
    return struct.pack(f"<{len(values)}H", *values)


def mingle(a, b):
    return [v for pair in zip(a, b) for v in pair]


def test_places():
    """Each storage comes out as the layout's own bytes."""
    made = {"420mpeg2": ("I420", lambda y, u, v: bytes(y + u + v)),
            "422": ("YV16", lambda y, u, v: bytes(y + v + u)),
            "444": ("P410", lambda y, u, v: words([s << 8 for s in y + u + v])),
            "mono": ("I420", lambda y: bytes(y) + bytes([128] * (WIDTH * HEIGHT // 2))),
            "420p10": ("P010", lambda y, u, v: words([s << 6 for s in y + mingle(u, v)])),
            "422p10": ("P210", lambda y, u, v: words([s << 6 for s in y + mingle(u, v)])),
            "444p10": ("P410", lambda y, u, v: words([s << 6 for s in y + u + v]))}
    ratios = {"420": (2, 2), "422": (2, 1), "444": (1, 1), "mon": (0, 0)}
    for space, (layout, place) in made.items():
        frames = y4m("in.y4m", space, *ratios[space[:3]], bits=10 if space.endswith("p10") else 8)
        code, out, err = run_records(f"set out=out\nframes info in.y4m\nframes convert in.y4m a.raw\n"
                                     f"frames convert out/a.raw:{WIDTH}x{HEIGHT}:{layout}:25 b.y4m\nframes info out/b.y4m")
        check(space, code == 0 and ["frames", "layout", layout] in out and ["frames", "frames", "5"] in out, (out, err))
        check(f"{space} bytes", raw("a.raw") == b"".join(place(*planes) for planes in frames))
        if space not in ("444", "mono"):
            back = raw("b.y4m")
            check(f"{space} back", back[back.index(b"\n"):] == (FOLDER / "in.y4m").read_bytes()[back.index(b"\n") - len(back):],
                  back[:80])


def test_layouts_go_round():
    """From 4:2:0 into every layout and back, nothing moves by more than rounding."""
    frames = y4m("in.y4m", "420jpeg", 2, 2, size=(48, 8))
    want = b"".join(bytes(sum(planes, [])) for planes in frames)
    for layout in ("YV12", "NV12", "P010", "PL10", "P210", "P410", "v210", "YV16", "UYVY", "YUYV"):
        code, _, err = run(f"set out=out\nframes convert in.y4m a.raw layout={layout} matrix=601\n"
                           f"frames convert out/a.raw:48x8:{layout} b.raw layout=I420 matrix=601")
        got = raw("b.raw") if code == 0 else b""
        check(layout, len(got) == len(want), err)
        if layout in ("YV12", "NV12"):
            check(f"{layout} exactly", got == want)


def test_headers():
    y4m("odd.y4m", "420", 2, 2, size=(5, 3), head="F30000:1001 It A10:11 Xnothing", frame="FRAME Ixyz\n", tail=b"FRAME\nabc")
    code, out, err = run_records("frames info odd.y4m\nframes convert odd.y4m b.y4m\nframes info b.y4m")
    for fact in (["rate", "30000/1001"], ["scan", "interlaced, top field first"], ["left over", "9"], ["size", "5x3"],
                 ["length", "0:00:00.167"]):
        check(f"odd {fact}", ["frames", *fact] in out, (out, err))
    check("rewritten", (FOLDER / "b.y4m").read_bytes().startswith(b"YUV4MPEG2 W5 H3 F30000:1001 It A10:11 C420mpeg2\n"))
    check("no rest", code == 0 and out[-1] == ["frames", "length", "0:00:00.167"], out[-1])
    bad = {"not a clip": b"RIFF....", "no end": b"YUV4MPEG2 W4 H4" + b"x" * 2000, "no size": b"YUV4MPEG2 F25:1\nFRAME\n",
           "huge": b"YUV4MPEG2 W65535 H65536\nFRAME\n", "negative": b"YUV4MPEG2 W-4 H4\n", "rate": b"YUV4MPEG2 W4 H4 Fx\n",
           "space": b"YUV4MPEG2 W4 H4 C411\n", "empty": b""}
    for what, data in bad.items():
        (FOLDER / "bad.y4m").write_bytes(data)
        code, out, err = run("frames info bad.y4m")
        check(what, code != 0 and "line 1\t0x8" in err, (code, out, err))
    (FOLDER / "bad.y4m").write_bytes(b"YUV4MPEG2 W30000 H30000 Cmono\nFRAME\nabc")
    code, out, err = run("frames grab bad.y4m x.png")
    check("a frame larger than its file", code != 0 and "no whole frame" in err, err)


def png_size(name):
    data = (FOLDER / "out" / name).read_bytes()
    return struct.unpack(">II", data[16:24]), data[24]


def png_rows(name):
    """The rows of an 8-bit RGB picture without filters of the harder kinds, as this program writes them."""
    data = (FOLDER / "out" / name).read_bytes()
    (width, height), packed, at = png_size(name)[0], b"", 8
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        if kind == b"IDAT":
            packed += data[at + 8:at + 8 + length]
        at += 12 + length
    rows, previous, lines = [], bytes(3 * width), zlib.decompress(packed)
    for y in range(height):
        mode, line = lines[y * (3 * width + 1)], bytearray(lines[y * (3 * width + 1) + 1:(y + 1) * (3 * width + 1)])
        for x in range(3 * width):
            left, up = line[x - 3] if x >= 3 else 0, previous[x]
            corner = previous[x - 3] if x >= 3 else 0
            guess = left + up - corner
            nearest = min((left, up, corner), key=lambda v: abs(guess - v))
            line[x] = (line[x] + (0, left, up, (left + up) // 2, nearest)[mode]) & 255
        rows.append(bytes(line))
        previous = rows[-1]
    return rows


def test_grab():
    """A grey of luma 126 is 128 of 255, give or take the dither; frame and time name the same frame."""
    samples = b"".join(b"FRAME\n" + bytes([16 + 22 * n] * 64 + [128] * 32) for n in range(10))
    (FOLDER / "grey.y4m").write_bytes(b"YUV4MPEG2 W8 H8 F5:1 C420jpeg\n" + samples)
    code, _, err = run("set out=out\nframes grab grey.y4m a.png frame=5\nframes grab grey.y4m b.png time=0:01\n"
                       "frames grab grey.y4m c.png frame=9 size=4x4\nframes grab grey.y4m s.png sheet=3x2 width=16")
    check("grab", code == 0, err)
    check("grey", set(png_rows("a.png")[3]) <= {128, 129}, png_rows("a.png")[3])
    check("same frame", raw("a.png") == raw("b.png"))
    check("size", png_size("c.png") == ((4, 4), 8))
    check("sheet", png_size("s.png") == ((3 * 24 + 8, 2 * 38 + 8), 8), png_size("s.png"))
    for bad in ("frame=10", "frame=-1", "time=x", "sheet=0x4", "bob=1"):
        code, _, err = run(f"frames grab grey.y4m x.png {bad}")
        check(bad, code != 0 and "0x80070057" in err, err)


def test_deinterlace():
    """Rows of one brightness in each field: what stays is the field that was asked for."""
    frame = b"FRAME\n" + (bytes([200] * 8) + bytes([40] * 8)) * 4 + bytes([128] * 32)
    (FOLDER / "fields.y4m").write_bytes(b"YUV4MPEG2 W8 H8 F25:1 It C420jpeg\n" + frame * 2)
    code, out, err = run_records("set out=out\nframes deinterlace fields.y4m a.yuv\nframes deinterlace fields.y4m b.yuv field=0\n"
                                 "frames deinterlace fields.y4m c.y4m bob=1\nframes info out/c.y4m")
    check("deinterlace", code == 0, err)
    check("the top field", all(abs(s - 200) <= 2 for s in raw("a.yuv")[:64]), raw("a.yuv")[:64])
    check("the other", all(abs(s - 40) <= 2 for s in raw("b.yuv")[:64]), raw("b.yuv")[:64])
    check("both", ["frames", "frames", "4"] in out and ["frames", "rate", "50"] in out, out)


def test_example():
    job = f'set out=out\nframes convert "{ROOT / "examples/media/orbit.y4m"}" o.y4m size=48x27\nframes info out/o.y4m'
    code, out, err = run_records(job)
    check("example", code == 0 and ["frames", "frames", "48"] in out, err)


if __name__ == "__main__":
    main(test_places, test_layouts_go_round, test_headers, test_grab, test_deinterlace, test_example)
