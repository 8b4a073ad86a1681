"""What the script tests share: the program under test, a folder of the test's own, and the count of checks.

A script is called with PROGRAM FOLDER [EMULATOR...].
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

PROGRAM = sys.argv[1]
FOLDER = pathlib.Path(sys.argv[2])
EMULATOR = sys.argv[3:]
ROOT = pathlib.Path(__file__).resolve().parents[2]
# For the leak checker of the build that has one: what is no leak.
LEAKS = f"suppressions={ROOT}/tests/support/leaks.txt:print_suppressions=0"

# What the emulator now and then says of itself: that a process has ended, that a disk's label is not for this user.
EMULATORS_OWN = re.compile(rb"^wine(?: client error)?:[^\n]*\n", re.MULTILINE)

_checks = {True: 0, False: 0}


def check(what, condition, shown=""):
    _checks[bool(condition)] += 1
    if not condition:
        print(f"FAILED: {what}: {shown}")


def start(*arguments, **environment):
    """Runs the program. Its exit code as Linux shows it, the low byte, and the bytes of its two streams."""
    # Files, not pipes: a pipe ends only when the emulator's own background processes let go of it.
    out_file, err_file = FOLDER / "stdout.txt", FOLDER / "stderr.txt"
    for _ in range(2):
        with open(out_file, "w+b") as out, open(err_file, "w+b") as err:
            done = subprocess.run([*EMULATOR, PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=out, stderr=err,
                                  env={**os.environ, "LSAN_OPTIONS": LEAKS, **environment}, timeout=300)
        result = done.returncode & 0xFF, out_file.read_bytes(), EMULATORS_OWN.sub(b"", err_file.read_bytes())
        # An emulator that could not start on a busy machine says so with 1 and no word; the workbench never does.
        if not EMULATOR or result != (1, b"", b""):
            break
    return result


def run_bytes(job, **environment):
    """Runs a job, text or bytes, that stands in the folder."""
    path = FOLDER / "job.qvjob"
    path.write_bytes(job.encode() if isinstance(job, str) else job)
    return start(str(path), **environment)


def run(job, **environment):
    code, out, err = run_bytes(job, **environment)
    return code, out.decode(), err.decode()


def records(out):
    return [line.split("\t") for line in out.splitlines()]


def run_records(job, **environment):
    code, out, err = run(job, **environment)
    return code, records(out), err


def main(*tests):
    """Runs the tests in an empty folder, tells how it went and ends the script."""
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    for test in tests:
        test()
    print(f"{_checks[True]} passed, {_checks[False]} failed")
    sys.exit(1 if _checks[False] else 0)
