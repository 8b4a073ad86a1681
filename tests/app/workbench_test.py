#!/usr/bin/env python3
"""workbench_test.py PROGRAM FOLDER [EMULATOR...]: runs the workbench as its users do and judges what it prints.

The judges are the standing tools: `sort` of the C locale for sorted text, this script's own searches.
"""
import os
import pathlib
import random
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import FOLDER, check, main, run_bytes, start  # noqa: E402


def sorted_by_tool(path, *options):
    return subprocess.run(["sort", *options, path], env={**os.environ, "LC_ALL": "C"}, capture_output=True,
                          check=True).stdout


def make_lines(path, count):
    """Lines as text files have them: words, duplicates, empty ones, bytes above 127, no line feed at the end."""
    rng = random.Random(count)
    words = ["fader", "Überblendung", "bus", "スレート", "", "take", "x" * 300, "drop frame", "tab\there"]
    lines = [f"{rng.choice(words)}{rng.randrange(count)}" if rng.random() < 0.8 else rng.choice(words)
             for _ in range(count)]
    path.write_bytes("\n".join(lines).encode())


def test_sorting():
    small, large = FOLDER / "small.txt", FOLDER / "large.txt"
    make_lines(small, 700)
    make_lines(large, 200_000)
    for kind in ("pointer", "heap", "inline"):
        for method, file in (("heap", large), ("heap", small), ("selection", small)):
            code, out, err = run_bytes(f"lines {file.name} sort kind={kind} method={method}\n")
            check(f"sort {kind} {method}", code == 0 and out == sorted_by_tool(file), err[:200])
        code, out, err = run_bytes(f"lines small.txt unique kind={kind} out=unique.txt\n")
        check(f"unique {kind}", (FOLDER / "unique.txt").read_bytes() == sorted_by_tool(small, "-u"), err[:200])


def test_searching():
    lines = (FOLDER / "small.txt").read_bytes().split(b"\n")
    for kind in ("pointer", "heap", "inline"):
        _, out, err = run_bytes(f"lines small.txt find=drop kind={kind}\n")
        wanted = b"".join(b"%d\t%s\n" % (i + 1, l) for i, l in enumerate(lines) if b"drop" in l)
        check(f"find {kind}", out == wanted, err[:200])
        for first, count, cut in ((5, 3, lines[5:8]), (0, 0, []), (690, -1, lines[690:]), (9999, 5, [])):
            _, out, err = run_bytes(f"lines small.txt slice={first},{count} kind={kind}\n")
            check(f"slice {kind} {first},{count}", out == b"".join(l + b"\n" for l in cut), err[:200])


def test_limits():
    (FOLDER / "many.txt").write_bytes(b"b\n" * 500_000 + b"a\n" * 500_000)
    code, out, _ = run_bytes("lines many.txt sort kind=inline\n")
    check("a million lines", code == 0 and out == b"a\n" * 500_000 + b"b\n" * 500_000)
    (FOLDER / "many.txt").write_bytes(b"a\n" * 1_000_001)
    code, _, err = run_bytes("lines many.txt sort\n")
    check("one line too many", code != 0 and err.startswith(b"line 1\t0x8004e00b\t"), err[:200])
    (FOLDER / "empty.txt").write_bytes(b"")
    code, out, err = run_bytes("lines empty.txt sort kind=heap\n")
    check("an empty file", code == 0 and out == b"", err)


FAULTS = [
    ("an unknown verb", "cpu\nfly away\n", 2, "0x8004e00a", True),
    ("a missing argument", "lines\n", 1, "0x80070057", True),
    ("too many arguments", "cpu now\n", 1, "0x80070057", True),
    ("an unknown option", "lines small.txt sort colour=red\n", 1, "0x80070057", True),
    ("an unclosed quote", 'cpu\n\nlines "small.txt sort\n', 3, "0x80070057", True),
    ("invalid UTF-8", b"cpu\nlines \xff\xfe sort\n", 2, "0x8004e00b", True),
    ("a file that is not there", "lines nowhere.txt sort\n", 1, "0x8004e007", True),
    ("an unknown kind", "lines small.txt sort kind=ring\n", 1, "0x80070057", True),
    ("an unknown work", "lines small.txt shuffle\n", 1, "0x80070057", True),
    ("a slice that is none", "lines small.txt slice=1\n", 1, "0x80070057", True),
    ("an unknown setting", "set volume=11\n", 1, "0x8004e00a", True),
    ("a module that is not there", "module no_such_module\n", 1, "0x8004e00a", True),
    ("a very long line", b"cpu\n" + b"x" * 100_000_000 + b"\ncpu\n", 2, "0x8004e00b", True),
]


def test_faults():
    for what, job, line, code, _ in FAULTS:
        result, out, err = run_bytes(job)
        start_of_report = f"line {line}\t{code}\t".encode()
        sentence = err[len(start_of_report):].strip()
        check(what, err.startswith(start_of_report) and len(sentence) > 10 and err.count(b"\n") == 1, err[:200])
        check(what + ": exit code", result == int(code, 16) & 0xFF, result)
    code, out, err = run_bytes("nowhere fly\nset keep-going=1\n")
    check("a slip stops the job before it starts", out == b"" and err.startswith(b"line 1\t"), err[:200])
    code, out, err = run_bytes("set keep-going=1\nlines nowhere.txt sort\nfly\nlines small.txt slice=0,1\n")
    check("keep-going runs what follows", out.count(b"\n") == 1 and err.count(b"\n") == 2, err[:200])
    check("keep-going: the first failure is the result", code == 0x07, code)


def test_entry():
    check("no job", start()[0] == 2)
    code, _, err = start(str(FOLDER / "missing.qvjob"))
    check("a job that is not there", code == 0x07 and err.startswith(b"line 0\t0x8004e007\t"), err)


def test_machine_and_module():
    code, out, err = run_bytes("cpu\nos\nclock\nmodule longest_word\n")
    facts = [line.split(b"\t") for line in out.splitlines()]
    check("facts", code == 0 and all(len(f) >= 3 for f in facts), err)
    check("processors", [b"cpu", b"processors", str(os.cpu_count()).encode()] in facts, facts)
    check("sse2", any(f[:2] == [b"cpu", b"support"] and b"sse2" in f[2] for f in facts), facts)
    nap = next((int(f[2]) for f in facts if f[1].startswith(b"a nap")), -1)
    check("the clock counts microseconds", 15_000 <= nap <= 2_000_000, nap)
    check("module", [b"module", b"longest_word", b"interlace"] in facts, facts)


def test_log():
    log = FOLDER / "logs" / "a.log"
    code, out, err = run_bytes("set out=logs\nlog a.log plain one \"two  words\"\nlog a.log error three\n")
    check("log", code == 0 and out == b"log\ta.log\tplain\nlog\ta.log\terror\n", err)
    check("log file", log.read_bytes().replace(b"\r", b"") == b"one two  words\nERR three\n", log.read_bytes())
    code, _, err = run_bytes("log a.log loud x\n")
    check("log level", code == 0x57 and b"A level is" in err, err)


main(test_sorting, test_searching, test_limits, test_faults, test_entry, test_log, test_machine_and_module)
