#!/usr/bin/env python3
"""wav_test.py PROGRAM FOLDER [EMULATOR...]: sound files of every kind through the workbench's verb.

The files are made here byte by byte, and what comes out is judged by arithmetic of this script's own.
"""
import math
import pathlib
import struct
import sys
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import FOLDER, check, main, run_records  # noqa: E402

GUID_TAIL = bytes([0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71])


def chunk(name, body):
    return name + struct.pack("<I", len(body)) + body + b"\0" * (len(body) % 2)


def fmt(tag, channels, rate, size, bits=None):
    return struct.pack("<HHIIHH", tag, channels, rate, rate * channels * size, channels * size, bits or 8 * size)


def extensible(tag, channels, rate, size, valid):
    return (fmt(0xFFFE, channels, rate, size) + struct.pack("<HHI", 22, valid, 3) + struct.pack("<H", tag)
            + GUID_TAIL)


def riff(*chunks, name=b"RIFF"):
    body = b"WAVE" + b"".join(chunks)
    return name + struct.pack("<I", len(body)) + body


def encode(kind, values):
    if kind == "u8":
        return bytes(min(255, round(v * 128) + 128) for v in values)
    if kind in ("f32", "f64"):
        return struct.pack(f"<{len(values)}{'f' if kind == 'f32' else 'd'}", *values)
    bits = int(kind[1:])
    top = (1 << (bits - 1)) - 1
    return b"".join(max(-top - 1, min(top, round(v * (top + 1)))).to_bytes(bits // 8, "little", signed=True)
                    for v in values)


def write(name, data):
    (FOLDER / name).write_bytes(data)


def read_mono(name):
    data = (FOLDER / name).read_bytes()
    ok = data[:4] == b"RIFF" and struct.unpack("<I", data[4:8])[0] == len(data) - 8 and data[20:24] == b"\3\0\1\0"
    at = data.index(b"data")
    size = struct.unpack("<I", data[at + 4:at + 8])[0]
    return ok and at + 8 + size == len(data), list(struct.unpack(f"<{size // 4}f", data[at + 8:]))


def db(amplitude):
    return 20 * math.log10(amplitude)


def test_sample_kinds():
    """Every size of sample, three channels, an unknown chunk of odd length before the samples."""
    values = [0.0, 0.5, -0.25, 0.125, -0.5, 0.25, -1.0, 0.75, -0.125, 0.375, -0.0625, 0.5]
    kinds = [("u8", 1, 1), ("s16", 1, 2), ("s24", 1, 3), ("s32", 1, 4), ("f32", 3, 4), ("f64", 3, 8)]
    names, job = [], ""
    for kind, tag, size in kinds:
        for form in ("plain", "extensible"):
            header = fmt(tag, 3, 48000, size) if form == "plain" else extensible(tag, 3, 48000, size, 8 * size)
            name = f"{kind}-{form}"
            write(f"{name}.wav", riff(chunk(b"LIST", b"odd"), chunk(b"fmt ", header),
                                      chunk(b"data", encode(kind, values)), chunk(b"cue ", b"later")))
            names.append(name)
            job += f"wav info {name}.wav\nwav levels {name}.wav\nwav split {name}.wav {name}\n"
    code, rows, err = run_records(job)
    check("every kind is read", code == 0 and len(rows) == 11 * len(names), err)
    for i, name in enumerate(names):
        facts = rows[11 * i:11 * i + 11]
        check(name, ["wav", "frames", "4"] in facts and ["wav", "channels", "3"] in facts, facts)
        for channel in range(3):
            wanted = values[channel::3]
            whole, got = read_mono(f"{name}/channel-{channel + 1}.wav")
            check(f"{name} channel {channel}", whole and got == wanted, got)
            peak = max(abs(v) for v in wanted)
            rms = math.sqrt(sum(v * v for v in wanted) / 4)
            level = ["level", str(channel + 1), f"{db(peak) + 0.0:.2f}", f"{db(rms):.2f}"]
            check(f"{name} level {channel}", level in facts, facts)


def test_lengths():
    """Files whose sizes say more, less or nothing."""
    samples = encode("s16", [0.5] * 10)
    head = chunk(b"fmt ", fmt(1, 1, 8000, 2))
    unknown = b"data" + struct.pack("<I", 0xFFFFFFFF) + samples
    long_sizes = chunk(b"ds64", struct.pack("<QQQI", 0, 8, 4, 0))
    cases = [
        ("to the end", riff(head, unknown), 10),
        ("zero means unknown", riff(head, b"data\0\0\0\0" + samples), 10),
        ("cut short in a sample", riff(head, b"data" + struct.pack("<I", 1000) + samples[:7]), 3),
        ("RF64", riff(long_sizes, head, unknown, name=b"RF64"), 4),
        ("half a frame at the end", riff(head, b"data" + struct.pack("<I", 9) + samples), 4),
        ("nothing behind the header", riff(head, b"data" + struct.pack("<I", 0)), 0),
    ]
    for i, (_, data, _) in enumerate(cases):
        write(f"length-{i}.wav", data)
    job = "".join(f"wav info length-{i}.wav\n" for i in range(len(cases)))
    code, rows, err = run_records(job + "wav levels length-5.wav\nwav spectrum length-5.wav empty.txt size=64\n")
    counts = [row[2] for row in rows if row[1] == "frames"]
    for (what, _, frames), count in zip(cases, counts):
        check(what, count == str(frames), count)
    check("silence has no level", code == 0 and ["level", "1", "-inf", "-inf"] in rows, (rows, err))
    code, rows, err = run_records("wav levels length-0.wav locale=1\n")
    check("levels for people", code == 0 and rows == [["level", "1", "-6.02 dB", "-6.02 dB"]], (rows, err))


def test_faults():
    good = chunk(b"data", b"\0\0")
    cases = [
        ("empty", b"", "8004e00b"),
        ("not RIFF", b"RIFX" + b"\0" * 40, "8004e00b"),
        ("no samples", riff(chunk(b"fmt ", fmt(1, 1, 8000, 2))), "8004e00b"),
        ("samples before the format", riff(good, chunk(b"fmt ", fmt(1, 1, 8000, 2))), "8004e00b"),
        ("no channels", riff(chunk(b"fmt ", fmt(1, 0, 8000, 2)), good), "8004e00b"),
        ("no rate", riff(chunk(b"fmt ", fmt(1, 1, 0, 2)), good), "8004e00b"),
        ("more bits than bytes", riff(chunk(b"fmt ", fmt(1, 1, 8000, 2, 24)), good), "8004e00b"),
        ("short format", riff(chunk(b"fmt ", b"\1\0\1\0"), good), "8004e00b"),
        ("a chunk of 4 GiB", b"RIFF\0\0\0\0WAVELIST\xff\xff\xff\xff", "8004e00b"),
        ("compressed", riff(chunk(b"fmt ", fmt(2, 1, 8000, 2)), good), "80004001"),
        ("40-bit samples", riff(chunk(b"fmt ", fmt(1, 1, 8000, 5)), good), "80004001"),
        ("foreign extension", riff(chunk(b"fmt ", extensible(1, 1, 8000, 2, 16)[:-1] + b"\0"), good), "80004001"),
    ]
    for i, (_, data, _) in enumerate(cases):
        write(f"fault-{i}.wav", data)
    write("good.wav", riff(chunk(b"fmt ", fmt(1, 1, 8000, 2)), good))
    wanted = [(what, code) for what, _, code in cases]
    job = "set keep-going=1\n" + "".join(f"wav info fault-{i}.wav\n" for i in range(len(cases)))
    for step in ("wav play good.wav", "wav spectrum good.wav", "wav spectrum good.wav a.gif", "wav split good.wav",
                 "wav spectrum good.wav a.png size=100", "wav spectrum good.wav a.png size=32",
                 "wav spectrum good.wav a.png channel=2", "wav spectrum good.wav a.png channel=0"):
        wanted.append((step, "80070057"))
        job += step + "\n"
    code, rows, err = run_records(job)
    reports = err.splitlines()
    check("every fault is reported", code != 0 and rows == [] and len(reports) == len(wanted), reports)
    for line, ((what, status), report) in enumerate(zip(wanted, reports), start=2):
        check(what, report.startswith(f"line {line}\t0x{status}\t"), report)


def unpack_png(data):
    """The rows of an 8-bit indexed picture without filters; every chunk's sum is checked."""
    at, packed, size = 8, b"", (0, 0)
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if zlib.crc32(name + body) != struct.unpack(">I", data[at + 8 + length:at + 12 + length])[0]:
            return size, []
        if name == b"IHDR":
            size = struct.unpack(">II", body[:8])
        packed += body if name == b"IDAT" else b""
        at += 12 + length
    rows = zlib.decompress(packed)
    return size, [rows[y * (size[0] + 1) + 1:(y + 1) * (size[0] + 1)] for y in range(size[1])]


def test_spectrum():
    """A sine reads its own level at its own frequency, in text and as the highest column of the picture."""
    rate, frequency, level = 48000, 3000, 0.25
    left = [level * math.sin(2 * math.pi * frequency * i / rate) for i in range(9000)]
    write("in.wav", riff(chunk(b"fmt ", fmt(3, 2, rate, 4)), chunk(b"data", encode(
        "f32", [v for pair in zip(left, [0.0] * len(left)) for v in pair]))))
    code, rows, err = run_records("wav spectrum in.wav s.txt size=1024 channel=1\nwav spectrum in.wav s.png channel=1\n"
                          "wav spectrum in.wav mixed.txt size=1024\n")
    check("peak", code == 0 and [r[2:] for r in rows[:2]] == [["3000.00", f"{db(level):.2f}"]] * 2, (rows, err))
    check("both channels", rows[2][2:] == ["3000.00", f"{db(level / math.sqrt(2)):.2f}"], rows)
    table = [line.split("\t") for line in (FOLDER / "s.txt").read_text().splitlines()[1:]]
    check("lines", len(table) == 513 and table[512][0] == "24000.00", len(table))
    far = [float(r[1]) for r in table if abs(float(r[0]) - frequency) > 200]
    check("leakage", max(far) < -90, max(far))
    data = (FOLDER / "s.png").read_bytes()
    size, picture = unpack_png(data)
    check("picture", data[:8] == b"\x89PNG\r\n\x1a\n" and size == (1000, 560) and len(picture) == 560, size)
    curve = 5
    top = next(y for y, row in enumerate(picture) if curve in row)
    column = picture[top].index(curve)
    wanted = 84 + math.log(frequency / 20) / math.log(rate / 2 / 20) * (976 - 84)
    height = 48 + -db(level) / 120 * (500 - 48)
    check("peak in the picture", abs(column - wanted) <= 2 and abs(top - height) <= 2, (column, wanted, top, height))


main(test_sample_kinds, test_lengths, test_faults, test_spectrum)
