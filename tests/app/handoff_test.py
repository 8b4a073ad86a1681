#!/usr/bin/env python3
"""handoff_test.py PROGRAM FOLDER [EMULATOR...]: what browse and mail call. Recording programs stand on the path in
front of the system's; the emulator's own shell runs the same ones.
"""
import os
import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, FOLDER, check, main, run  # noqa: E402

RECORDER = """#!/bin/sh
: > "$0.part"
for word in "$(pwd)" "$@"; do printf '%s\\n' "$word" >> "$0.part"; done
mv "$0.part" "$0.called"
exit {code}
"""


def prepare(name, code=0):
    tools = FOLDER / "tools"
    tools.mkdir(exist_ok=True)
    (tools / name).write_text(RECORDER.format(code=code))
    (tools / name).chmod(0o755)
    (tools / f"{name}.called").unlink(missing_ok=True)


def job(line, path=None):
    return run(line + "\n", PATH=path or f"{FOLDER / 'tools'}:{os.environ['PATH']}")


def called(name):
    """The folder and the words of the call. The emulator's shell goes on after the step."""
    file = FOLDER / "tools" / f"{name}.called"
    for _ in range(100 if EMULATOR else 1):
        if file.exists():
            return file.read_text().splitlines()
        time.sleep(0.1)
    return []


def addresses():
    for address in ("https://example.org/a?b=c&d=$(touch%20x)", "https://example.org/;reboot"):
        prepare("xdg-open")
        code, out, err = job(f'browse "{address}"')
        check("browse", code == 0 and out == f"browse\t{address}\n", (out, err))
        words = called("xdg-open")
        check("one word", words[1:] == [address], words)
        if not EMULATOR:
            check("holds no folder", words[:1] == ["/"], words)
    if EMULATOR:
        print("skipped: the emulator's opener starts whatever happens to it")
        return
    for line in ("browse --help", "browse https://example.org/"):
        prepare("xdg-open", code=3)
        code, out, err = job(line)
        check(line, code == 5 and "No program here opens" in err and not out, (code, err))
    code, out, err = job("browse https://example.org/", path="/nowhere")
    check("no opener at all", code == 5 and "No program here opens" in err, err)


def letters():
    if EMULATOR:
        print("skipped: the emulator's mail library has no mail program behind it")
        return
    (FOLDER / "take 1;x.wav").write_bytes(b"x")
    place = str(FOLDER / "take 1;x.wav")
    rows = [('mail to ann@example.org subject="Caf\u00e9 $HOME"', ["--subject", "Caf\u00e9 $HOME", "ann@example.org"]),
            ('mail to SMTP:ann@example.org name=Ann', ["ann@example.org"]),
            ('mail file "take 1;x.wav"', ["--attach", place])]
    for line, words in rows:
        prepare("xdg-email")
        code, out, err = job(line)
        check(line, code == 0 and called("xdg-email") == ["/", "--utf8", *words], (err, called("xdg-email")))
    rows = [("mail to --attach", 0, "0x80004005"), ("mail to ann@example.org", 4, "0x80004005"),
            ("mail file missing.wav", 0, "0x8004e007"), ("mail by ann@example.org", 0, "0x80070057")]
    for line, answer, status in rows:
        prepare("xdg-email", code=answer)
        code, out, err = job(line)
        check(line, status in err and not out and (answer != 0 or not called("xdg-email")), err)


main(addresses, letters)
