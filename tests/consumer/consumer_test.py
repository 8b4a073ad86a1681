#!/usr/bin/env python3
"""consumer_test.py PROGRAM FOLDER [EMULATOR...]: installs the package, moves it, and uses it as a stranger would.

Builds a tiny application against qv::toolkit and a tiny module against qv::host, then lets the application run
its own job and the installed workbench load the module.
"""
import os
import pathlib
import shutil
import subprocess
import sys

PROGRAM = pathlib.Path(sys.argv[1])
FOLDER = pathlib.Path(sys.argv[2])
EMULATOR = sys.argv[3:]
SOURCES = pathlib.Path(__file__).resolve().parent
BUILD = PROGRAM.parent.parent
SUFFIX = PROGRAM.suffix


def call(*command, **options):
    done = subprocess.run([str(c) for c in command], capture_output=True, text=True, timeout=300, **options)
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(map(str, command))}\n{done.stdout}\n{done.stderr}\n0 passed, 1 failed")
    return done.stdout


def toolchain():
    """The consumer is built as the package was: same toolchain, same sanitizers."""
    cache = (BUILD / "CMakeCache.txt").read_text()
    value = lambda key: next((l.split("=", 1)[1] for l in cache.splitlines() if l.startswith(key + ":")), "")
    options = ["-G", "Ninja", f"-DCMAKE_BUILD_TYPE={value('CMAKE_BUILD_TYPE')}"]
    if SUFFIX == ".exe":
        options.append(f"-DCMAKE_TOOLCHAIN_FILE={SOURCES.parent.parent}/cmake/mingw-w64.cmake")
    if value("QV_SANITIZE"):
        options.append(f"-DCMAKE_CXX_FLAGS=-fsanitize={value('QV_SANITIZE')}")
    return options


def build(name, package):
    folder = FOLDER / name
    call("cmake", "-S", SOURCES / name, "-B", folder, f"-Dqv_DIR={package}/lib/cmake/qv", *toolchain())
    call("cmake", "--build", folder)
    return folder


def main():
    shutil.rmtree(FOLDER, ignore_errors=True)
    call("cmake", "--install", BUILD, "--prefix", FOLDER / "installed")
    package = FOLDER / "moved"
    (FOLDER / "installed").rename(package)
    faults = []

    application = build("application", package) / f"application{SUFFIX}"
    answer = call(*EMULATOR, application, "a word", cwd=FOLDER)
    if "a job of its own: a word" not in answer or "commands in its menu: 2" not in answer:
        faults.append(f"the application answered: {answer}")

    module = next((build("module", package)).glob("visitor.*[!j]"))
    (FOLDER / "visit.qvjob").write_text(f"module module/{module.name}\n")
    answer = call(*EMULATOR, package / "bin" / f"workbench{SUFFIX}", FOLDER / "visit.qvjob", cwd=FOLDER)
    if "a list of the host's" not in answer:
        faults.append(f"the module answered: {answer}")

    config = {**os.environ, "PKG_CONFIG_PATH": str(package / "lib/pkgconfig")}
    if shutil.which("pkg-config") and str(package) not in call("pkg-config", "--cflags", "qv", env=config):
        faults.append("qv.pc does not follow the moved tree")
    print("\n".join(faults))
    print(f"{3 - len(faults)} passed, {len(faults)} failed")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
