#!/usr/bin/env python3
"""time_test.py PROGRAM FOLDER [EMULATOR...]: timecode, positions and lists of markers through the workbench's verbs.

Labels are judged by counting them off, one by one, by the rule that broadcasters state.
"""
import pathlib
import random
import shutil
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import FOLDER, ROOT, check, main, run_records  # noqa: E402

EXAMPLES = ROOT / "examples"


def drop_frame_labels(count):
    labels = []
    for minute in range(24 * 60):
        for frame in range(1800):
            if frame < 2 and minute % 10:
                continue
            labels.append("%02d:%02d:%02d;%02d" % (minute // 60, minute % 60, frame // 30, frame % 30))
            if len(labels) == count:
                return labels


def test_labels():
    labels = drop_frame_labels(40_000)
    code, rows, err = run_records("timecode 29.97df list 00:00:00:00 40000\n")
    check("a list in drop frame", code == 0 and [row[0] for row in rows] == labels, err)
    check("its counts", [int(row[1]) for row in rows] == list(range(40_000)))
    check("its times", all(0 <= int(row[2]) - i * 1001 * 10**7 / 30000 < 1.001 for i, row in enumerate(rows)))
    # By number as well as by name.
    _, rows, _ = run_records("timecode 24 add 23:59:59:23 00:00:00:01\ntimecode 1 subtract 00:00:00:00 1\n"
                     "timecode 25 compare 1:2:3:4 1:2:3:5\ntimecode 25 nanos 12:34\n")
    check("sums and order", [row[-1] for row in rows] == ["00:00:00:00", "23:59:59:29", "-1", "133600000"], rows)


def test_positions():
    _, rows, _ = run_records('position clock write 36000000000\nposition 5 write 25000000 short distance\n'
                     'position seconds read "1.5 s" offset=10000000\nposition feet40 read 2+10 fps=24\n')
    check("positions", [row[2:] for row in rows] ==
          [["36000000000", "1:00:00"], ["25000000", "1.1"], ["1.5 s", "25000000", " s"], ["2+10", "37500000", ""]], rows)


def test_markers():
    """What is finer than half a frame gives every label back, whichever way it went."""
    rng = random.Random(3)
    labels = drop_frame_labels(2_589_408)
    marks = sorted(rng.sample(range(len(labels)), 2000))
    text = "# list\n\n" + "".join(f"{labels[mark]}\tn\u00e4me {mark}\tx\n" for mark in marks)
    (FOLDER / "marks.txt").write_text(text, encoding="utf-8", newline="\n")
    shutil.copy(EXAMPLES / "data" / "markers.txt", FOLDER / "example.txt")
    for name in ("marks.txt", "example.txt"):
        for grid in ("samples rate=44100", "time", "seconds", "measures tempo=133.33 beats=7", "nanos", "microseconds",
                     "time75", "frames fps=25", "feet16 fps=30000/1001", "feet40 fps=60", "measure-length ticks=480"):
            there, options = (grid + " ").split(" ", 1)
            code, rows, err = run_records(f"cues {name} from=29.97df to={there} {options} out=there.txt\n"
                                  f"cues there.txt from={there} to=29.97df {options} same={name}\n")
            check(f"{name} by {grid}", code == 0 and len(rows) == 2 and rows[0][0] == rows[1][0] == "cues", err)
    code, rows, _ = run_records("cues marks.txt from=29.97df to=samples rate=48000\n")
    samples = [round(mark * 48000 * 1001 / 30000) for mark in marks]
    got = [int(row[0].replace(",", "")) for row in rows[2:]]
    check("samples by arithmetic", len(got) == 2000 and all(abs(a - b) <= 1 for a, b in zip(got, samples)))


FAULTS = [
    (b"00:00:01;00\tgood\n00:01:00;00\tskipped\n", "29.97df", 2),
    (b"1:2:3:4:5\n", "25", 1),
    (b"00:00:00:25\n", "25", 1),
    (b"1\n2\n\xff\xfe\n", "seconds", 3),
    (b"# c\n\nabc\n", "samples", 3),
    (b"1e9\n", "seconds", 1),
    (b"\tno position\n", "time", 1),
    (b"99999999999999999999\n", "samples", 1),
    (b"1\x002\n", "samples", 1),
    (b"9" * 100_000 + b"\n", "seconds", 1),
    (b"1:2:3:4:5:6\n", "time", 1),
]


def test_hostile_lists():
    for i, (text, source, line) in enumerate(FAULTS):
        (FOLDER / "bad.txt").write_bytes(text)
        (FOLDER / "result.txt").unlink(missing_ok=True)
        code, rows, err = run_records(f"cues bad.txt from={source} to=nanos out=result.txt\n")
        check(f"fault {i}", code != 0 and f"\tLine {line} of the list " in err and len(err) < 300, err[:300])
        check(f"fault {i} writes nothing", not (FOLDER / "result.txt").exists())
    (FOLDER / "bad.txt").write_bytes(b"90000\n")
    _, _, err = run_records("cues bad.txt from=seconds to=25\n")
    check("a day and more", "Line 1 of the list lies beyond 24 hours" in err, err)
    for arguments in ("cues bad.txt from=clock to=25", "cues bad.txt to=25", "cues bad.txt from=25 to=loud",
                      "timecode 31 label 1", "timecode 25 label -1", "timecode 25 count abc", "timecode 25 fly 1",
                      "position time read 5 tempo=0", "position time write x", "position time read 5 long"):
        code, rows, err = run_records(arguments + "\n")
        check(arguments, code != 0 and not rows and err.startswith("line 1\t0x80070057\t"), err)


main(test_labels, test_positions, test_markers, test_hostile_lists)
