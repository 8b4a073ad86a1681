#!/usr/bin/env python3
"""stub_test.py PROGRAM FOLDER [EMULATOR...]: the program in front of self-extracting archives. PROGRAM is the
workbench, which makes the archives; the stub lies beside it.
"""
import os
import pathlib
import shutil
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, FOLDER, PROGRAM, ROOT, check, main, run  # noqa: E402

sys.path.insert(0, str(ROOT / "tools"))
import archive2  # noqa: E402

TIME = 133000000000000000

STUB = pathlib.Path(PROGRAM).with_name("stub.exe" if EMULATOR else "stub")
# What a Windows start resolves without looking into the program's own folder.
KNOWN_LIBRARIES = {"kernel32.dll", "user32.dll", "gdi32.dll", "advapi32.dll", "ole32.dll", "oleaut32.dll",
                   "msvcrt.dll", "shell32.dll", "shlwapi.dll"}
SANITIZERS = {"libasan", "libubsan", "libpthread", "libdl", "libstdc++", "libgcc_s"}
LONG = bytes(range(256)) * 600


def make(name, *further):
    """A self-extracting archive of a small tree in a folder of its own."""
    tree = FOLDER / "tree"
    (tree / "sub").mkdir(parents=True, exist_ok=True)
    (tree / "notes.txt").write_bytes(b"Roll camera.\n")
    (tree / "sub" / "long.dat").write_bytes(LONG)
    shutil.copy(STUB, FOLDER / "stub.bin")
    steps = ["set out=" + name, "archive create t.arc tree method=0 comment=\"two takes\"", *further,
             "archive sea t.arc stub.bin self.exe"]
    code, out, err = run("\n".join(steps) + "\n")
    check(name + " is made", code == 0, out + err)
    made = FOLDER / name / "self.exe"
    made.chmod(0o755)
    return made


def call(program, *arguments, answers="", user=None):
    with open(FOLDER / "answers.txt", "w+b") as given, open(FOLDER / "said.txt", "w+b") as said:
        given.write(answers.encode())
        given.seek(0)
        code = subprocess.run([*EMULATOR, str(program), *arguments], stdin=given, stdout=said,
                              stderr=subprocess.STDOUT, cwd=program.parent, timeout=120, user=user).returncode
        said.seek(0)
        return code, said.read().decode(errors="replace").replace("\r\n", "\n")


def whole(folder):
    return ((folder / "tree/notes.txt").read_bytes(), (folder / "tree/sub/long.dat").read_bytes()) == \
        (b"Roll camera.\n", LONG)


def test_dialogue():
    program = make("plain")
    code, said = call(program, "--list")
    check("lists", code == 0 and "153600  tree\\sub\\long.dat" in said, (code, said))
    code, said = call(program, answers="\n")
    check("asks for a folder", code == 0 and "[self]" in said and "two takes" in said, (code, said))
    check("every byte", whole(program.parent / "self"))
    code, said = call(program, answers="Überblick 映像\n")
    check("a typed folder", code == 0 and whole(program.parent / "Überblick 映像") and "Überblick 映像" in said, said)
    notes = program.parent / "self/tree/notes.txt"
    for what, answers, options, code, text in (
            ("no", "n\nn\n", [], 0, b"mine"), ("skip all", "s\n", [], 0, b"mine"), ("nobody there", "", [], 3, b"mine"),
            ("quit", "q\n", [], 3, b"mine"), ("yes, asked twice", "?\ny\ny\n", [], 0, b"Roll camera.\n"),
            ("all", "a\n", [], 0, b"Roll camera.\n"), ("--yes", "", ["--yes"], 0, b"Roll camera.\n")):
        notes.write_bytes(b"mine")
        got, said = call(program, "--to", "self", *options, answers=answers)
        check(what, got == code and notes.read_bytes() == text, (got, said))
    for what, options, expected in (("wrong use", ["--what"], 2), ("no folder named", ["--to"], 2), ("help", ["--help"], 0)):
        code, said = call(program, *options)
        check(what, code == expected and "--to FOLDER" in said, (code, said))


def test_damage():
    program = make("damaged")
    data = bytearray(program.read_bytes())
    data[len(STUB.read_bytes()) + 300 + data[len(STUB.read_bytes()) + 300:].index(LONG[:256])] ^= 1
    program.write_bytes(data)
    code, said = call(program, "--to", "there")
    check("damaged data", code == 1 and "0x8004E00" in said, (code, said))
    check("what is whole is there", (program.parent / "there/tree/notes.txt").exists())
    program.write_bytes(data[:-200])
    code, said = call(program, "--list")
    check("no end", code == 1 and "no archive" in said, (code, said))
    code, out, err = run("archive list tree/notes.txt\n")
    check("the workbench has words for it", code != 0 and "The file is not an archive" in out + err, out + err)


def test_refused_names():
    good = archive2.packed("good.txt", 0x20, TIME, b"Roll camera.\n")
    for name in ("..\\out.txt", "C:\\out.txt", "\\out.txt", "a\\..\\..\\out.txt", "NUL", "out.txt:s", "out.txt."):
        program = make("refused")
        bad = archive2.packed(name, 0x20, TIME, b"outside")
        directory = bad[1](0) + good[1](len(bad[0]))
        end = archive2.END.pack(archive2.END_MARK, 1, 0, 2, 2, len(directory), len(bad[0]) + len(good[0]),
                                STUB.stat().st_size, 0, 0, 0)
        program.write_bytes(STUB.read_bytes() + bad[0] + good[0] + directory + end)
        before = {p for p in FOLDER.rglob("*out.txt*")}
        code, said = call(program, "--to", "there")
        check(f"{name!r} is refused", code == 1 and "0x8004E00D" in said, (code, said))
        check(f"{name!r} stays inside", {p for p in FOLDER.rglob("*out.txt*")} == before and
              not (program.parent / "there/NUL").exists())
        check("the other one comes", (program.parent / "there/good.txt").read_bytes() == b"Roll camera.\n")
        shutil.rmtree(program.parent)


def test_volumes():
    program = make("set", "archive split t.arc 60000")
    (program.parent / "tree2").mkdir()
    code, said = call(program, "--to", "there")
    check("a set", code == 0 and whole(program.parent / "there"), (code, said))
    (program.parent / "t2.arc").unlink()
    code, said = call(program, "--to", "gone")
    check("a missing volume is named", code == 1 and "t2.arc" in said, (code, said))


def test_target():
    program = make("target")
    (program.parent / "file").write_bytes(b"a file")
    code, said = call(program, "--to", "file")
    check("a file in the folder's place", code == 1 and "can't be made" in said, (code, said))
    if not EMULATOR and os.getuid() == 0:
        closed = program.parent / "closed"
        closed.mkdir(mode=0o555)
        code, said = call(program, "--to", "closed", user=65534)
        check("a folder that takes nothing", code == 1 and not list(closed.iterdir()), (code, said))


def test_libraries():
    program = make("decoys")
    if EMULATOR:
        shown = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", str(STUB)], capture_output=True, text=True).stdout
        needed = {line.split()[-1].lower() for line in shown.splitlines() if "DLL Name:" in line}
        check("asks for known libraries only", needed and needed <= KNOWN_LIBRARIES, needed - KNOWN_LIBRARIES)
        # Not version.dll and zlib1.dll: the emulator's own user32.dll takes these two from the program's folder,
        # before the program's first line; for the program itself the list of imports above rules them out.
        decoys = ["winmm.dll", "cryptbase.dll", "msi.dll", "wininet.dll", "uxtheme.dll"]
    else:
        shown = subprocess.run(["readelf", "-d", str(STUB)], capture_output=True, text=True).stdout
        check("has no run path", "(NEEDED)" in shown and "PATH" not in shown, shown)
        needed = {line.split("[")[1].split(".so")[0] for line in shown.splitlines() if "(NEEDED)" in line}
        # The sanitizers of a build that has them come with libraries of their own.
        check("needs the C library alone", needed <= {"libc", "libm", "ld-linux-x86-64", *SANITIZERS}, needed)
        decoys = ["libz.so.1", "libc.so.6", "libm.so.6"]
    for name in decoys:
        (program.parent / name).write_bytes(b"no library")
    code, said = call(program, "--to", "there")
    check("decoys are left alone", code == 0 and whole(program.parent / "there"), (code, said))


main(test_dialogue, test_damage, test_refused_names, test_volumes, test_target, test_libraries)
