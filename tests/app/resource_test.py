#!/usr/bin/env python3
"""resource_test.py PROGRAM FOLDER [EMULATOR...]: resources, menus and dialogs through the workbench, held against
the script that they were compiled from: what the workbench carries, and a compiled file of the test's own.
"""
import pathlib
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import FOLDER, ROOT, check, main, run, run_records  # noqa: E402

SCRIPT = """
LANGUAGE 9, 1
7 RCDATA { "seven", 1, 2 }
NAMED RCDATA { "english" }
LANGUAGE 7, 1
NAMED RCDATA { "deutsch" }
LANGUAGE 0, 0
1 MENU { POPUP "&One" { MENUITEM "&Two", 2 } }
"Über" 300 { "a name of its own" }
"""


def compile_script():
    (FOLDER / "pool.rc").write_text(SCRIPT)
    subprocess.run(["x86_64-w64-mingw32-windres", "-c", "65001", "-O", "res", "pool.rc", "pool.res"], cwd=FOLDER,
                   check=True)


def test_compiled_file():
    compile_script()
    code, shown, err = run_records("resource list pool.res\n")
    names = {tuple(r[1:4]): int(r[4]) for r in shown}
    check("all of it", code == 0 and names == {
        ("rcdata", "7", "0409"): 9, ("rcdata", "NAMED", "0409"): 7, ("rcdata", "NAMED", "0407"): 7,
        ("menu", "1", "0000"): names.get(("menu", "1", "0000")), ("300", "ÜBER", "0000"): 17}, (shown, err))
    for what, name, lang, expected in (("a number", "7", "0x0409", b"seven\x01\x00\x02\x00"),
                                       ("a name", "NAMED", "1033", b"english"),
                                       ("without regard to case", "named", "1031", b"deutsch")):
        code, _, err = run_records(f"set out=got\nresource get pool.res rcdata {name} piece.bin lang={lang}\n")
        got = (FOLDER / "got/piece.bin").read_bytes() if code == 0 else b""
        check(what, got == expected, (got, err))
    for what, step, status in (("a missing one", "resource get pool.res rcdata 8 x.bin", "0x8004e00a"),
                               ("no module", "resource list pool.rc", "0x8004e00a"),
                               ("no language", "resource get pool.res rcdata 7 x.bin lang=x", "0x80070057"),
                               ("no work", "resource take pool.res", "0x80070057")):
        code, out, err = run(step + "\n")
        check(what, code != 0 and f"\t{status}\t" in err, err)
    whole = (FOLDER / "pool.res").read_bytes()
    (FOLDER / "cut.res").write_bytes(whole[:-5])
    code, shown, err = run_records("resource list cut.res\n")
    check("a cut file gives what is whole", code == 0 and len(shown) == 4, (shown, err))


def test_own_resources():
    code, shown, err = run_records("resource list self\n")
    kinds = {r[1] for r in shown}
    check("what the workbench carries", code == 0 and {"menu", "dialog", "manifest"} <= kinds, (shown, err))
    code, shown, err = run_records("set out=got\nresource get self manifest 1 manifest.xml\n")
    check("its manifest", code == 0 and (FOLDER / "got/manifest.xml").exists(), err)
    ElementTree.parse(FOLDER / "got/manifest.xml")
    code, shown, err = run_records("resource get self manifest 99 none.xml\n")
    check("not one that it hasn't", code != 0 and "0x8004e00a" in err, err)


def commands(shown):
    return [int(r[3]) for r in shown if r[0] == "item"]


def test_menu():
    code, whole, err = run_records("menu show self 1\n")
    everything = commands(whole)
    check("the whole menu", code == 0 and len(everything) > 3, err)
    gone = everything[:2]
    code, culled, err = run_records(f"menu show self 1 cull={gone[0]},{gone[1]}\n")
    check("without two", code == 0 and commands(culled) == everything[2:], culled)
    lines = [r[0] for r in culled]
    pairs = list(zip(lines, lines[1:] + ["end"]))
    check("no separator at an end or beside another",
          not any(a == "separator" and b in ("separator", "end", "popup") for a, b in pairs), culled)
    every = ",".join(map(str, everything))
    code, none, err = run_records(f"menu show self 1 cull={every}\n")
    check("nothing left to choose", commands(none) == [], none)
    for what, step in (("no such menu", "menu show self 77"), ("no number", "menu show self 1 cull=x"),
                       ("no work", "menu hide self 1")):
        code, _, err = run_records(step + "\n")
        check(what, code != 0 and len(err) > 30, err)


def test_dialog():
    code, shown, err = run_records("dialog size self 1\n")
    check("a dialog's size", code == 0 and len(shown) == 1, err)
    _, _, title, wide, high, across, down, controls = shown[0]
    script = (ROOT / "qv/app/workbench/workbench.rc").read_text()
    check("as its script has it", f"{wide}, {high}" in script and f'"{title}"' in script and int(controls) > 0, shown)
    # A unit is a quarter of a character wide and an eighth of one high: between one and four points.
    check("in pixels", int(wide) <= int(across) <= 4 * int(wide) and int(high) <= int(down) <= 4 * int(high), shown)
    code, _, err = run_records("dialog size self 99\n")
    check("no such dialog", code != 0 and "0x8004e00a" in err, err)


main(test_compiled_file, test_own_resources, test_menu, test_dialog)
