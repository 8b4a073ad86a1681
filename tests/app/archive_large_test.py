#!/usr/bin/env python3
"""archive_large_test.py PROGRAM FOLDER [EMULATOR...]: archives above 4 GiB, which holes in files make cheap: an entry
behind such an offset, an entry of such a size, and the memory that they take.
"""
import pathlib
import resource
import shutil
import sys
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, FOLDER, ROOT, check, main, run_records  # noqa: E402

sys.path.insert(0, str(ROOT / "tools"))
import archive2  # noqa: E402

SIZE = (4 << 30) + 12345
ZEROS = bytes(1 << 20)
TIME = 133000000000000000
# A sanitizer keeps what was freed; the archive is ten times as large all the same.
MEMORY = 400 << 20


def zeros_checksum():
    checksum = 0
    for _ in range(SIZE >> 20):
        checksum = zlib.crc32(ZEROS, checksum)
    return zlib.crc32(ZEROS[:SIZE & 0xFFFFF], checksum)


CHECKSUM = zeros_checksum()


def write_stored(path):
    """Zeros, stored, and a small entry behind them."""
    wide = "zeros.bin".encode("utf-16-le")
    shared = (0, 0, 6, TIME, CHECKSUM, CHECKSUM, SIZE, SIZE)
    second = archive2.LOCAL.size + len(wide) + SIZE
    local, central = archive2.packed("last.txt", 0x20, TIME, b"Cut.\n")
    directory = archive2.CENTRAL.pack(archive2.CENTRAL_MARK, *shared, 9, 0, 0, 0, 0x20, 0, 0) + wide + central(second)
    with open(path, "wb") as file:
        file.write(archive2.LOCAL.pack(archive2.LOCAL_MARK, *shared, 0x20, 9, 0) + wide)
        file.seek(second)
        file.write(local + directory)
        file.write(archive2.END.pack(archive2.END_MARK, 1, 0, 2, 2, len(directory), second + len(local), 0, 0, 0, 0))


def test_reading():
    write_stored(FOLDER / "stored.arc")
    code, shown, err = run_records("archive list stored.arc\n")
    check("sizes", code == 0 and [r[1:3] for r in shown] == [["zeros.bin", str(SIZE)], ["last.txt", "5"]], (shown, err))
    code, _, err = run_records("set out=out\narchive extract stored.arc there name=last.txt\n")
    check("an entry behind 4 GiB", code == 0 and (FOLDER / "out/there/last.txt").read_bytes() == b"Cut.\n", err)
    code, shown, err = run_records("archive validate stored.arc\n")
    check("every byte", code == 0 and shown[-1] == ["archive", "valid", "2"], (shown, err))
    with open(FOLDER / "stored.arc", "r+b") as file:
        file.seek(SIZE - 7)
        file.write(b"\1")
    code, _, err = run_records("archive validate stored.arc\n")
    check("a byte that is not", code != 0 and "0x8004e00b" in err, err)


def inflated(path, start, stored):
    """Length and checksum of what is deflated there."""
    opener, length, checksum = zlib.decompressobj(-15), 0, 0
    with open(path, "rb") as file:
        file.seek(start)
        while stored > 0 and not opener.eof:
            data = file.read(min(stored, 1 << 16))
            stored -= len(data)
            while data:
                plain = opener.decompress(data, 1 << 20)
                length, checksum, data = length + len(plain), zlib.crc32(plain, checksum), opener.unconsumed_tail
    return length, checksum, stored


def test_writing():
    with open(FOLDER / "zeros.bin", "wb") as file:
        file.truncate(SIZE)
    code, _, err = run_records("set out=out\narchive create deflated.arc zeros.bin level=1\n"
                               "archive validate out/deflated.arc\n")
    check("a file above 4 GiB goes in and is whole", code == 0, err)
    made = FOLDER / "out/deflated.arc"
    head = archive2.LOCAL.unpack(made.read_bytes()[:archive2.LOCAL.size])
    check("its header", head[6] == CHECKSUM and head[8] == SIZE, head)
    check("its bytes", inflated(made, archive2.LOCAL.size + 18, head[7]) == (SIZE, CHECKSUM, 0))


def test_memory():
    if EMULATOR:
        print("SKIPPED: memory is measured without the emulator, whose own is in the figure")
        return
    most = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024
    check("flat memory", most < MEMORY, most)
    print(f"at most {most >> 20} MiB")


FOLDER.mkdir(parents=True, exist_ok=True)
if shutil.disk_usage(FOLDER).free < SIZE + (1 << 30):
    print("SKIPPED: the disk has no room that an archive above 4 GiB asks for\n1 passed, 0 failed")
    sys.exit(0)
main(test_reading, test_writing, test_memory)
