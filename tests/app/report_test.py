#!/usr/bin/env python3
"""report_test.py PROGRAM FOLDER [EMULATOR...]: the configuration report through the workbench, read by a parser of
its own and held against what other programs say of the machine.
"""
import os
import pathlib
import sys
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, FOLDER, check, main, run, run_records  # noqa: E402


def report(words):
    code, out, err = run_records(f"set out=out\nreport r.xml {words}\n")
    data = (FOLDER / "out" / "r.xml").read_bytes()
    check(f"report {words}", code == 0 and out == [["report", "r.xml", str(len(data))]], (out, err))
    check("no line ends", b"\n" not in data, data)
    return ElementTree.fromstring(data)


def shape(element):
    return [child.tag for child in element]


def test_parts():
    check("nothing", (found := shape(report(""))) == [], found)
    root = report('machine products user="R <&> ä€😀"')
    check("root", root.tag == "configinfo" and root.attrib == {"version": "2"}, root.attrib)
    check("user", root.findtext("user") == "R <&> ä€😀", root.findtext("user"))
    check("order", shape(root)[0] == "user" and shape(root)[-1] == "regmachine", shape(root))
    check("products only", set(shape(report("products"))) <= {"product"})


def test_machine():
    machine = report("machine").find("regmachine")
    check("parts", shape(machine) == ["os", "cpu", "memory", "video"], shape(machine))
    check("processors", machine.findtext("cpu/numbercpus") == str(os.cpu_count()), machine.findtext("cpu/numbercpus"))
    cpuinfo = pathlib.Path("/proc/cpuinfo").read_text()
    name = next(line.split(":")[1].strip() for line in cpuinfo.splitlines() if line.startswith("model name"))
    check("processor's name", machine.findtext("cpu/class") == name, machine.findtext("cpu/class"))
    flags = next(line for line in cpuinfo.splitlines() if line.startswith("flags")).split()
    for feature in ("sse", "sse2", "ssse3", "sse4_1", "sse4_2"):
        check(feature, (machine.find(f"cpu/{feature}") is not None) == (feature in flags), shape(machine.find("cpu")))
    kib = int(pathlib.Path("/proc/meminfo").read_text().split()[1])
    physical = int(machine.findtext("memory/physical"))
    check("memory", abs(physical - kib // 1024) <= kib // 1024 // 50, (physical, kib))
    if not EMULATOR:
        release = os.uname().release.split("-")[0].split(".")
        version = f"{int(release[0])}.{int(release[1]):02}.{int(release[2]):03}"
        check("version", machine.findtext("os/version").startswith(version), machine.findtext("os/version"))


def test_refusals():
    code, _, err = run("report r.xml colours\n")
    check("another word", code != 0 and "products and machine" in err, err)


main(test_parts, test_machine, test_refusals)
