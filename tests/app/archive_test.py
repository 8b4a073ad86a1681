#!/usr/bin/env python3
"""archive_test.py PROGRAM FOLDER [EMULATOR...]: archives that the workbench writes and a second program reads, and
the other way round.
"""
import pathlib
import random
import shutil
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import FOLDER, ROOT, check, main, run as run_job  # noqa: E402

sys.path.insert(0, str(ROOT / "tools"))
import archive2  # noqa: E402


def run(job_text):
    code, out, err = run_job("set out=out\n" + job_text)
    return code, out + err


def plant(folder):
    noise = random.Random(7)
    for name, data in {"notes.txt": b"Roll camera.\n", "empty.dat": b"", "sub/long.dat": b"x" * 600000,
                       "sub/deep/noise.wav": noise.randbytes(300000)}.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_bytes(data)


def content(folder):
    return {str(p.relative_to(folder)): p.read_bytes() if p.is_file() else None for p in folder.rglob("*")}


def read_back(what, path, tree):
    try:
        target = FOLDER / "second"
        shutil.rmtree(target, ignore_errors=True)
        archive2.extract(path, target)
        check(what, content(target / "tree") == tree)
    except Exception as fault:  # any fault of the second reader is the finding
        check(what, False, repr(fault))


def test_both_ways():
    plant(FOLDER / "tree")
    tree = content(FOLDER / "tree")
    ours = FOLDER / "out" / "ours.arc"
    for step, what in (("archive create ours.arc tree comment=one", "made"),
                       ("archive add ours.arc tree", "added again"),
                       ("archive annotate ours.arc \"a longer comment\"", "annotated"),
                       ("archive split ours.arc 150000", "in volumes"),
                       ("archive merge ours.arc", "joined"),
                       ("archive create ours.arc tree method=0", "stored"),
                       ("archive sea ours.arc tree/notes.txt self.exe", "behind a stub")):
        code, said = run(step + "\n")
        check(what, code == 0, said)
        read_back(what, ours if "stub" not in what else FOLDER / "out" / "self.exe", tree)
    code, said = run("archive delete ours.arc *.wav\n")
    check("deleted", code == 0, said)
    read_back("without the sound", ours, {n: d for n, d in tree.items() if not n.endswith(".wav")})

    theirs = FOLDER / "theirs.arc"
    archive2.create(theirs, FOLDER / "tree", "from elsewhere")
    code, said = run("archive validate theirs.arc\narchive extract theirs.arc back\n")
    check("another writer's", code == 0 and content(FOLDER / "out" / "back" / "tree") == tree, said)

    broken = bytearray(theirs.read_bytes())
    broken[200000] ^= 1
    theirs.write_bytes(broken)
    code, said = run("archive validate theirs.arc\n")
    check("a turned bit", code != 0 and "0x8004e00b" in said, said)


main(test_both_ways)
