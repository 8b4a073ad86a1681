#!/usr/bin/env python3
"""errors_test.py PROGRAM FOLDER [EMULATOR...]: what the workbench says when something fails, and that a fault of a
module ends it with a description, a message and the exception's code."""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, check, main, run  # noqa: E402


ENGLISH = "set language=1033\n"


def test_words():
    code, out, err = run(ENGLISH + "error 0x8004e00a context=5 argument=a.prj\nerror -2147467259\nerror 12 language=0x0407\n"
                         "error 0x8004e00e\nerror 0x80070005 language=1031\nerror 0x8004e03c\n")
    lines = [line.split("\t") for line in out.splitlines()]
    check("words", code == 0 and lines[:2] == [
        ["error", "0x8004e00a", r"An error occurred while loading the project file a.prj.\n\nThe item was not found."],
        ["error", "0x80004005",
         r"An error occurred during the current operation.\n\nThe reason for the error could not be determined."]], out + err)
    check("an unknown code, in German", lines[2][1] == "0x0000000c" and "0x0000000c" in lines[2][2]
          and "message missing" not in lines[2][2] and "Fehler" in lines[2][2], lines[2])
    check("the program's name", "re-install Workbench as" in lines[3][2], lines[3])
    check("German", "Fehler" in lines[4][2], lines[4])
    check("the language is back", lines[5][2].endswith(".Buffer to small."), lines[5])


def test_table():
    _, english, _ = run(ENGLISH + "errors\n")
    _, polish, _ = run("set language=0x0415\nerrors\n")
    rows, other = [[line.split("\t") for line in text.splitlines()] for text in (english, polish)]
    check("rows", len(rows) > 200 and all(len(row) == 3 and row[2] for row in rows), english[:300])
    check("the same rows in each language", [r[:2] for r in rows] == [r[:2] for r in other])
    same = sum(a[2] == b[2] for a, b in zip(rows, other))
    check("another language has other words", same <= 3, same)


def test_reports():
    _, _, err = run(ENGLISH + "lines nowhere.txt sort\n")
    fields = err.rstrip("\n").split("\t")
    check("a report", fields[:2] == ["line 2", "0x8004e007"] and len(fields) == 4 and err.count("\n") == 1, err)
    check("its message", fields[2] == "An error occurred during this command (lines) The file could not be opened. Make "
          "sure the file exists and that you have access to the file/folder.", fields[2])
    check("its details", fields[3].endswith("nowhere.txt"), fields[3])
    _, _, err = run("set language=0x040c\nlines nowhere.txt sort\n")
    check("in French", "fichier" in err.split("\t")[2], err)
    _, _, err = run("set language=0x040c\ncpu\nfly\n")
    check("a slip ahead, in French", err.startswith("line 3\t0x8004e00a\t") and "erreur" in err.split("\t")[2], err)
    _, _, err = run(ENGLISH + "set keep-going=1\nlines nowhere.txt sort\nlog 1 x y z\nwav info nowhere.wav\n")
    check("details stay with their step", all("nowhere.txt" not in line for line in err.splitlines()[1:]), err)
    for wrong in ("0", "x", "0x0c01", ""):
        code, _, err = run(ENGLISH + f"set language={wrong}\n")
        check(f"language={wrong}", code == 0x0A and err.startswith("line 2\t0x8004e00a\t"), err)
    for wrong in ("error", "error 0x", "error 12x", "error 0x123456789", "error 1 context=65536", "error 1 context=-1",
                  "error 1 language=0"):
        code, out, err = run(wrong + "\n")
        check(wrong, code != 0 and err.startswith("line 1\t") and out == "", err)


# What QV_FAULT makes of the module, and what is to be read of it.
FAULTS = [
    ("read", 0xC0000005, r"access violation\) READ:0x0000000000000010 IP:0x[0-9A-F]{16}", "main"),
    ("write", 0xC0000005, r"access violation\) WRITE:0x0000000000000018 IP:0x[0-9A-F]{16}", "main"),
    ("wild", 0xC0000005, r"access violation\) READ:0xFFFFFFFFFFFFFFFF IP:0x[0-9A-F]{16}", "main"),
    ("divide", 0xC0000094, r"integer divide by zero\) IP:0x[0-9A-F]{16}", "main"),
    ("illegal", 0xC000001D, r"illegal instruction\) IP:0x[0-9A-F]{16}", "main"),
    ("overflow", 0xC00000FD, r"stack overflow\)", "main"),
    ("thread", 0xC0000005, r"access violation\) READ:0x0000000000000010 IP:0x[0-9A-F]{16}", "worker"),
]


def test_faults():
    for kind, exception, description, thread in FAULTS:
        code, out, err = run(ENGLISH + "cpu\nmodule fault\nos\n", QV_FAULT=kind)
        check(f"{kind}: the code", code == exception & 0xFF, code)
        check(f"{kind}: what came before is there, and nothing after", "cpu\t" in out and "os\t" not in out, out)
        check(f"{kind}: the message", err.startswith("An error occurred during the current operation.\n\nAn Exception has "
                                                     "occurred.\r\n<Details>\r\nWorkbench\r\nException 0x"), err)
        check(f"{kind}: the record", re.search(rf"Exception 0x{exception:X} \({description}", err), err)
        if kind == "overflow" and EMULATOR:
            thread = "(main|worker)"  # Wine 8 leaves no stack for the filter, which then runs on another thread
        check(f"{kind}: the thread", re.search(rf"Thread: {thread} ID=0x[0-9A-F]+ Stack=\r\n", err), err)
        if kind != "overflow":
            check(f"{kind}: the module", re.search(r"In Module '[^']*fault\.(so|dll)' at Address 0x[0-9A-F]{16} \+ 0x", err), err)
    code, _, err = run("set language=0x0407\nmodule fault\n", QV_FAULT="divide")
    check("a fault in German", code == 0x94 and "Fehler" in err and "integer divide by zero" in err, err)
    code, _, err = run(ENGLISH + "module fault\n", QV_FAULT="none")
    check("no fault", code == 0x57 and err.startswith("line 2\t0x80070057\t"), err)


main(test_words, test_table, test_reports, test_faults)
