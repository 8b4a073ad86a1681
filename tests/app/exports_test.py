#!/usr/bin/env python3
"""exports_test.py PROGRAM FOLDER [EMULATOR...]: holds qv/app/exports.txt against the executable as built.

Names only: the argument types are the headers' business, and they are spelled differently on the two builds.
On Windows the import table is held against the system's own libraries as well: the executable stands alone.
"""
import pathlib
import re
import subprocess
import sys

PROGRAM = sys.argv[1]
LIST = pathlib.Path(__file__).resolve().parent.parent.parent / "qv/app/exports.txt"
SYSTEM_LIBRARIES = {"kernel32.dll", "user32.dll", "gdi32.dll", "ole32.dll", "oleaut32.dll", "advapi32.dll",
                    "shell32.dll", "version.dll", "msvcrt.dll", "winmm.dll", "comctl32.dll", "shlwapi.dll", "wininet.dll",
                    "msimg32.dll", "msi.dll", "uuid.dll"}


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def demangle(names):
    return subprocess.run(["c++filt", "-p"], input="\n".join(names), capture_output=True, text=True,
                          check=True).stdout.split("\n")


def exported():
    if PROGRAM.endswith(".exe"):
        dump = output("x86_64-w64-mingw32-objdump", "-p", PROGRAM)
        table = dump.split("[Ordinal/Name Pointer] Table", 1)[1]
        return {m for m in re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+[0-9a-f]+\s+)?(\S+)$", table, re.M)}
    return {line.split()[-1] for line in output("nm", "-D", "--defined-only", PROGRAM).splitlines()}


def own_names():
    """Demangled names of the toolkit's exports; the platform layer of the Linux build is not among them."""
    return {n for n in demangle(sorted(exported())) if re.match(r"(Qv|QV|Dib|CQv|CArchive2|CLog|XML|HotCheck|Internet_|ErrorReport_|IsQVLANG)", n)}


def main():
    listed = {l.strip() for l in LIST.read_text().splitlines() if l.strip() and not l.startswith("#")}
    built = own_names()
    faults = [f"listed but not exported: {n}" for n in sorted(listed - built)]
    faults += [f"exported but not listed: {n}" for n in sorted(built - listed)]
    if PROGRAM.endswith(".exe"):
        imports = set(re.findall(r"DLL Name: (\S+)", output("x86_64-w64-mingw32-objdump", "-p", PROGRAM)))
        faults += [f"imports {d}" for d in sorted(imports) if d.lower() not in SYSTEM_LIBRARIES]
    print("\n".join(faults))
    print(f"{len(listed & built)} passed, {len(faults)} failed")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
