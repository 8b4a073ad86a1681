#!/usr/bin/env python3
"""archive_kill_test.py PROGRAM FOLDER [EMULATOR...]: the workbench is killed while it changes an archive. A second
reader then finds the old archive or the new one, whole; and the same change, made again, succeeds.
"""
import os
import pathlib
import random
import shutil
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, FOLDER, PROGRAM, ROOT, check, main, run  # noqa: E402

sys.path.insert(0, str(ROOT / "tools"))
import archive2  # noqa: E402

ROUNDS = int(os.environ.get("QV_TEST_ROUNDS", "6"))
CHANGES = {
    "create": ("archive create a.arc new method=0", False),
    "add": ("archive add a.arc new", False),
    "delete": ("archive delete a.arc *.txt", False),
    "annotate": ('archive annotate a.arc "a comment that is longer than the last"', False),
    "split": ("archive split a.arc 3000000", False),
    "merge": ("archive merge a.arc", True),
}


def held():
    """What the archive holds, or what is wrong with it."""
    try:
        return {e[0]: e[5] for e in archive2.Archive(FOLDER / "out/a.arc").entries}
    except (archive2.Damaged, OSError) as fault:
        return repr(fault)


def restore(before):
    shutil.rmtree(FOLDER / "out")
    shutil.copytree(before, FOLDER / "out")


def change(step):
    begun = time.monotonic()
    code, out, err = run("set out=out\n" + step + "\n")
    return (code, out, err), time.monotonic() - begun


def killed_after(step, seconds):
    """Whether it was still at work."""
    (FOLDER / "job.qvjob").write_text("set out=out\n" + step + "\n")
    process = subprocess.Popen([*EMULATOR, PROGRAM, str(FOLDER / "job.qvjob")], stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        process.wait(timeout=seconds)
        return False
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return True


def may_be_repeated(what):
    """What was split or merged to its end says so when it is asked for again."""
    volumes = archive2.Archive(FOLDER / "out/a.arc").volumes
    return not (what == "split" and volumes > 1 or what == "merge" and volumes == 1)


def test_kills():
    noise = random.Random(5)
    for name, data in {"old/notes.txt": b"Roll camera.\n", "old/take.wav": noise.randbytes(12_000_000),
                       "new/cut.txt": b"Cut.\n", "new/next.wav": noise.randbytes(6_000_000)}.items():
        (FOLDER / name).parent.mkdir(exist_ok=True)
        (FOLDER / name).write_bytes(data)
    kills = 0
    for what, (step, of_volumes) in CHANGES.items():
        shutil.rmtree(FOLDER / "out", ignore_errors=True)
        made = "archive create a.arc old method=0 comment=one\n" + ("archive split a.arc 3000000\n" if of_volumes else "")
        run("set out=out\n" + made)
        before = FOLDER / f"before-{what}"
        shutil.copytree(FOLDER / "out", before)
        old = held()
        result, takes = change(step)
        new = held()
        check(what, result[0] == 0 and isinstance(old, dict) and isinstance(new, dict), (result, old, new))
        for _ in range(ROUNDS):
            restore(before)
            kills += killed_after(step, takes * noise.uniform(0.2, 0.95))
            now = held()
            check(f"{what}: the old one or the new one", now in (old, new), now if isinstance(now, str) else sorted(now))
            if may_be_repeated(what):
                result, _ = change(step)
                check(f"{what}: once more", result[0] == 0 and held() == new, result)
        shutil.rmtree(before)
    check("many were killed", kills > len(CHANGES) * ROUNDS / 4, kills)
    print(f"killed {kills} times")


main(test_kills)
