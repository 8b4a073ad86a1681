#!/usr/bin/env python3
"""ftp_test.py PROGRAM FOLDER [EMULATOR...]: the verb ftp against a server of this machine."""
import pathlib
import sys

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS / "support"), str(TESTS / "net")]
from workbench import EMULATOR, FOLDER, check, main, run_records  # noqa: E402
import ftp_server  # noqa: E402

HOST, LOGIN = "127.0.0.21", "user=me password=secret"
BIG = 5 << 30


def serve():
    root = FOLDER / "server"
    root.mkdir()
    ftp_server.start(str(root))
    return root


def job(words, login=LOGIN):
    return run_records(f"set out=out\nftp {words} {login}\n")


def commands():
    root = serve()
    (FOLDER / "take.wav").write_bytes(bytes(range(256)) * 1000)
    (FOLDER / "out").mkdir()
    rows = [
        (f"put {HOST} take.wav /folder/new.wav", [["ftp", "put", "take.wav", "256000"]]),
        (f"get {HOST} /folder/new.wav sub/back.wav", [["ftp", "get", "/folder/new.wav", "256000"]]),
        (f"get {HOST} /folder/c.txt empty", [["ftp", "get", "/folder/c.txt", "0"]]),
        (f"mkdir {HOST} /made", [["ftp", "mkdir", "/made"]]),
        (f"rmdir {HOST} /made", [["ftp", "rmdir", "/made"]]),
        (f"list {HOST} /folder *.none", []),
        (f"list {HOST} /folder *.wav", [["ftp", "list", "a.wav", "1"], ["ftp", "list", "b.wav", "2"],
                                        ["ftp", "list", "new.wav", "256000"]]),
        (f"delete {HOST} /folder/new.wav", [["ftp", "delete", "/folder/new.wav"]]),
    ]
    if not EMULATOR:  # whose remote sizes are always 0, and which has no commands with data
        rows += [(f"size {HOST} /big.bin", [["ftp", "size", "/big.bin", str(BIG)]]),
                 (f"partial {HOST} /small.txt part 2 5", [["ftp", "partial", "/small.txt", "5"]])]
    for words, expected in rows:
        code, out, err = job(words)
        check(words, code == 0 and sorted(out) == expected, (code, out, err))
    received = {p.name: p.read_bytes() for p in (FOLDER / "out").rglob("*") if p.is_file()}
    check("the file came back", received.get("back.wav") == (FOLDER / "take.wav").read_bytes(), received.keys())
    check("an empty one too", received.get("empty") == b"", received.keys())
    check("a stretch", EMULATOR or received.get("part") == ftp_server.SMALL[2:7], received.get("part"))
    check("and the server's is gone", not (root / "folder/new.wav").exists())

    (FOLDER / "out/kept").write_bytes(b"old")
    for words, login, status, saying in (
            (f"get {HOST} /missing kept", LOGIN, "0x8004e007", "/missing"),
            (f"get {HOST} /small.txt kept", "user=me password=wrong", "0x8004e0ec", HOST),
            (f"get {HOST} /small.txt kept", "", "0x8004e0ec", HOST),
            ("list 127.0.0.99 / *", LOGIN, "0x8004e0ec", "127.0.0.99"),
            (f"delete {HOST} /missing", LOGIN, "0x80004005", "/missing"),
            (f"partial {HOST} /small.txt kept 1 x", LOGIN, "0x80070057", "two whole numbers"),
            (f"fetch {HOST} /small.txt", LOGIN, "0x80070057", "ftp takes")):
        code, out, err = job(words, login)
        check(words, code != 0 and status in err and saying in err and "wrong" not in err, (code, out, err))
    check("an older file stays", (FOLDER / "out/kept").read_bytes() == b"old")
    check("nothing half stays", not list((FOLDER / "out").rglob("*.part")))


main(commands)
