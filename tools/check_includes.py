#!/usr/bin/env python3
"""Holds the includes of qv/ against the dependencies that the qv_subsystem() calls state.

An include may name a header of the same subsystem or of one that DEPENDS lists, directly or through the
ones below. It also refuses OS headers and platform switches outside qv/platform and the export macro.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
QV = ROOT / "qv"
SHARED = {"qv/api.h"}
OS_HEADERS = re.compile(r"#\s*include\s*<(windows\.h|w[a-z]+nt?\.h|unistd\.h|pthread\.h|dlfcn\.h|sys/.*|fcntl\.h|signal\.h)>")
SWITCH = re.compile(r"#\s*(if|ifdef|ifndef|elif)\b.*\b(_WIN32|__linux__|WIN32|__MINGW32__)\b")


def subsystems():
    """name -> (folder, listed sources, direct dependencies)"""
    found = {}
    for cmake in QV.rglob("CMakeLists.txt"):
        text = re.sub(r"#.*", "", cmake.read_text())
        for call in re.findall(r"qv_subsystem\(([^)]*)\)", text):
            words = call.split()
            name, section, parts = words[0], None, {"SOURCES": [], "DEPENDS": [], "LIBRARIES": []}
            for word in words[1:]:
                if word in parts:
                    section = word
                else:
                    parts[section].append(word)
            found[name] = (cmake.parent, parts["SOURCES"], parts["DEPENDS"])
    return found


def closure(name, table):
    seen, todo = set(), [name]
    while todo:
        current = todo.pop()
        if current not in seen:
            seen.add(current)
            todo += table[current][2]
    return seen


def owners(table):
    """file -> subsystem. Where a folder holds several: the one that lists its source, else the one that lists
    sources beside it, else the one that is called like the folder."""
    result = {}
    for name, (folder, sources, _) in table.items():
        stems = {(folder / s).with_suffix("") for s in sources if "$" not in s}
        for file in folder.rglob("*"):
            if file.suffix not in (".h", ".cpp", ".inc"):
                continue
            key = file.relative_to(ROOT).as_posix()
            plain = pathlib.Path(re.sub(r"_(x86|sse2|avx2?|scalar)$", "", str(file.with_suffix(""))))
            if plain.parent.name == "detail":
                plain = plain.parent.parent / plain.name
            exact = file.with_suffix("") in stems or plain in stems
            beside = any(stem.parent == file.parent for stem in stems)
            rank = (exact, len(folder.parts), beside, folder.name == name)
            if key not in result or rank > result[key][0]:
                result[key] = (rank, name)
    return {key: name for key, (_, name) in result.items()}


def main():
    table = subsystems()
    owner = owners(table)
    faults = []
    for name, (_, _, depends) in table.items():
        faults += [f"{name}: DEPENDS names {d}, which no qv_subsystem() makes" for d in depends if d not in table]
    if faults:
        print("\n".join(faults))
        return 1
    allowed = {name: closure(name, table) for name in table}
    for key, name in sorted(owner.items()):
        text = (ROOT / key).read_text(encoding="utf-8")
        for include in re.findall(r'#\s*include\s*"(qv/[^"]+)"', text):
            if include in SHARED:
                continue
            target = owner.get(include)
            if target is None:
                faults.append(f"{key}: includes {include}, which belongs to no subsystem")
            elif target not in allowed[name]:
                faults.append(f"{key}: includes {include}; {name} does not stand on {target}")
        if not key.startswith("qv/platform/"):
            faults += [f"{key}: {m.group(0)} belongs into qv/platform" for m in OS_HEADERS.finditer(text)]
            if key not in SHARED:
                faults += [f"{key}: {m.group(0)} belongs into qv/platform" for m in SWITCH.finditer(text)]
    print("\n".join(faults) if faults else f"includes: {len(owner)} files of {len(table)} subsystems, no fault")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
