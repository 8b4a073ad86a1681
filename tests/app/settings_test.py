#!/usr/bin/env python3
"""settings_test.py PROGRAM FOLDER [EMULATOR...]: settings through the workbench's verbs, each job a process of its own.

On the Linux build the user and the machine are folders of this test's own.
"""
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, FOLDER, check, main, run_records  # noqa: E402

# Without the emulator: the user and the machine.
HIVES = {} if EMULATOR else {"HOME": str(FOLDER), "XDG_CONFIG_HOME": "", "XDG_CONFIG_DIRS": str(FOLDER / "machine")}


def run(*lines):
    return run_records("\n".join(lines) + "\n", **HIVES)


APP = '"Verb Test" 2.1'
FILL = [f"setting {APP} delete all", f"setting {APP} set -12 number -7", f'setting {APP} set 12 text "a ""b"" \\ ä€😀"',
        f"setting {APP} set 3 texts one two", f"setting {APP} set 3 bytes 00ff", f"setting {APP} set 1 number 5 sub=A\\B"]
LIST = [["setting", "", "12", "number", "-7"], ["setting", "", "B3", "bytes", "00ff"],
        ["setting", "", "S12", "text", '"a \\"b\\" \\\\ ä€😀"'], ["setting", "", "Z3", "texts", '"one" "two"'],
        ["setting", "A\\B", "1", "number", "5"]]


def test_values():
    code, _, err = run(*FILL)
    check("fill", code == 0, err)
    check("list", (found := run(f"setting {APP} list")[1]) == LIST, found)
    check("get", (found := run(f"setting {APP} get 12 text")[1]) == [LIST[2]], found)
    check("get in a sub-key", (found := run(f"setting {APP} get 1 number sub=A\\B")[1]) == [LIST[4]], found)
    run(f"setting {APP} delete 12 number", f"setting {APP} delete all sub=A")
    check("delete", (found := run(f"setting {APP} list")[1]) == LIST[1:4], found)
    run(f"setting {APP} delete all")
    check("delete all", (found := run(f"setting {APP} list")[1]) == [], found)


def test_round_trip():
    run(*FILL)
    _, _, err = run('settings export one.txt app="Verb Test" version=2.1')
    check("export", err == "", err)
    run(f"setting {APP} delete all")
    _, rows, err = run("settings import one.txt")
    check("import", rows == [["settings", "Verb Test", "5"]], err)
    check("all is back", (found := run(f"setting {APP} list")[1]) == LIST, found)
    run('settings import one.txt app="Verb Copy" version=0', 'settings export two.txt app="Verb Copy"')
    one, two = (FOLDER / "one.txt").read_text("utf-8"), (FOLDER / "two.txt").read_text("utf-8")
    check("a copy says the same", one.replace('"Verb Test" 2.1', '"Verb Copy" 0.0') == two, two)
    odd = 'qv-settings 1\napplication "Verb Test" 2.1\nS1 raw 7 010203\n"odd name" raw 11 0102030405060708\nS2 raw 4 01\n'
    (FOLDER / "odd.txt").write_text(odd, newline="\n")
    run(f"setting {APP} delete all", "settings import odd.txt", 'settings export odd2.txt app="Verb Test" version=2.1')
    back = (FOLDER / "odd2.txt").read_text()
    check("odd values", sorted(back.splitlines()) == sorted(odd.splitlines()), back)
    run(f"setting {APP} delete all", 'setting "Verb Copy" 0 delete all')


FAULTS = [
    (f"setting {APP} get 77 text", "0x8004e00a"), (f"setting {APP} delete 77 text", "0x8004e00a"),
    (f"setting {APP} get 12", "0x80070057"), (f"setting {APP} set 1 colour 5", "0x80070057"),
    (f"setting {APP} set 1 number five", "0x80070057"), (f"setting {APP} set 1 bytes 123", "0x80070057"),
    (f"setting {APP} frob 1 number", "0x8004e00a"), ("setting App 1.256 list", "0x80070057"),
    (f"setting {'a' * 250} 1.0 list", "0x800700ce"), ("settings export x.txt", "0x80070057"),
    ("settings import nowhere.txt", "0x8004e007"), ("settings frob x.txt", "0x8004e00a"),
]


def test_faults():
    for line, status in FAULTS:
        code, _, err = run(line)
        check(line[:60], code != 0 and err.startswith(f"line 1\t{status}\t") and err.count("\n") == 1, err)
    (FOLDER / "bad.txt").write_text('qv-settings 1\napplication "Verb Test" 2.1\n1 number 5\n2 number x\n', newline="\n")
    code, rows, err = run("settings import bad.txt")
    check("a bad file names its line", err.startswith("line 1\t0x8004e00b\t") and "\tbad.txt, line 4: " in err,
          err)
    check("and nothing of it is stored", run(f"setting {APP} get 1 number")[0] != 0)
    run(f"setting {APP} delete all")


def test_folders():
    code, rows, err = run("folder profile", "folder documents create=1", "folder settings sub=Verbs version=2.1",
                          "folder documents")
    kinds = [(row[1], row[3]) for row in rows]
    check("folders", code == 0 and kinds == [("profile", "visible"), ("documents", "visible"), ("settings", "hidden"),
                                             ("documents", "visible")], (kinds, err))
    check("the application's own", rows[2][2].endswith("\\Verbs\\2.1\\"), rows)
    check("an unknown one", run("folder nowhere")[2].startswith("line 1\t0x8004e00a\t"))
    _, rows, err = run('folder presets app="Verb Test" version=2.1 set=C:\\Presets', 'folder presets app="Verb Test" version=2.1')
    check("presets", rows == [["folder", "presets", "C:\\Presets"]] * 2, err)
    _, rows, err = run("folder components set=C:\\Shared", "folder themes set=C:\\Own")
    check("shared", [row[2] for row in rows] == ["C:\\Shared\\", "C:\\Own\\"], (rows, err))
    run(f"setting {APP} delete all")


main(test_values, test_round_trip, test_faults, test_folders)
